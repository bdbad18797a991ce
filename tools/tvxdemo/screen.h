// screen.h - where the demo shows its frame, and how it reads it back: the
// headless device natively, a plain window on Windows.
#ifndef TVXDEMO_SCREEN_H
#define TVXDEMO_SCREEN_H

// A window for CanvasInitialize whose client area is width x height, at the
// top-left of the screen, with the display's canvas rectangle set to that
// area; null when none could be made.
void* OpenScreen(int width, int height);
class Canvas;
class Palette;

// The device context for the system palette's GDI calls.
void* ScreenDeviceContext(void* window);
// The top-left width x height of the screen as R, G, B bytes, through the
// palette `display` set.
bool ReadScreen(Canvas& display, Palette& palette, unsigned char* rgb, int width, int height);
void CloseScreen(void* window);

#endif
