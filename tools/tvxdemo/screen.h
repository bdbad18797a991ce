// screen.h - where the demo shows its frames and hears its input: the
// headless device, an SDL window (--window, portable build with SDL2), or a
// plain window on Windows.
#ifndef TVXDEMO_SCREEN_H
#define TVXDEMO_SCREEN_H

#include "game.h"
#include "title.h"

#include <vector>

class Canvas;
class Palette;

// A window for CanvasInitialize whose client area is width x height, with
// the display's canvas rectangle set to that area; null when none opened.
void* OpenScreen(int width, int height, bool window);
void CloseScreen(void* window);
// The device context for the system palette's GDI calls.
void* ScreenDeviceContext(void* window);

// Takes the player's input since the last frame: mouse and keys for the
// title panel, the arrow keys' state for play; `quit` when the window was
// closed or Escape pressed. Nothing where no player can be at the keys.
void PollInput(void* window, std::vector<InputEvent>* events, Controls* controls, bool* quit);
// Keeps time: the headless sound clock moves by one frame, and a real
// window waits for the frame's time to come.
void Pace(void* window, int frame, int framesPerSecond);

// The top-left width x height of the screen as R, G, B bytes, through the
// palette `display` set.
bool ReadScreen(Canvas& display, Palette& palette, unsigned char* rgb, int width, int height);
// Everything the sound device played, where the device can tell.
bool ReadSound(std::vector<unsigned char>* samples);

#endif
