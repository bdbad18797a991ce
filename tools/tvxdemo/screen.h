// screen.h - where the demo shows its frame, and how it reads it back: the
// headless device natively, a plain window on Windows.
#ifndef TVXDEMO_SCREEN_H
#define TVXDEMO_SCREEN_H

// A window for CanvasInitialize whose client area is width x height, at the
// top-left of the screen, with the display's canvas rectangle set to that
// area; null when none could be made.
void* OpenScreen(int width, int height);
// The device context for the system palette's GDI calls.
void* ScreenDeviceContext(void* window);
// What the player sees in the top-left width x height, as R, G, B bytes.
bool ReadScreen(void* window, unsigned char* rgb, int width, int height);
void CloseScreen(void* window);

#endif
