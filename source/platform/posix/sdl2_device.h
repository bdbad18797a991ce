// sdl2_device.h - a real window and sound card for the portable build.
//
// The headless devices keep doing all the work (surfaces, palettes, sound
// rings, the trace and failure rules); when the game asks for the sdl2
// device, this module shows their results through SDL. The game creates its
// own SDL_Window and passes it where Windows takes an HWND, and keeps its own
// event loop, exactly as a Windows game keeps its message loop.
//
//   video: after every blit onto a primary surface the screen is presented
//          into the window through the primary's palette, scaled with
//          nearest pixels and letter-boxed in full screen; a minimised
//          window loses the surfaces as a switched-away DirectDraw would.
//   sound: an SDL audio device in the primary buffer's format pulls the
//          primary's ring from the headless sound device, so play cursors
//          move by what the card has consumed instead of a virtual clock.
#ifndef TOLLIVEX_POSIX_SDL2_DEVICE_H
#define TOLLIVEX_POSIX_SDL2_DEVICE_H

#include <cstdint>

namespace sdl2 {

// True when the game chose the sdl2 device (SetPortableDevice or the
// TOLLIVEX_DEVICE environment variable).
bool Selected();

// Video. OpenVideo fails when SDL has no video; AttachWindow when `window`
// is no SDL window. The window's size becomes the desktop's.
bool OpenVideo();
bool AttachWindow(void* window, int* width, int* height);
void CloseVideo();
void SetFullScreen(bool fullScreen);
// Shows `width` x `height` 8-bit pixels through `rgbx`, 256 entries of red,
// green, blue and a flag byte.
void Present(const uint8_t* pixels, long pitch, int width, int height, const uint8_t* rgbx);
// A minimised or hidden window shows nothing: its surfaces are lost.
bool Minimised();

// Sound. InitAudio fails when SDL has no audio. The producer runs on SDL's
// audio thread and must fill `bytes` bytes.
bool InitAudio();
using Producer = void (*)(uint8_t* out, unsigned long bytes);
bool OpenAudio(unsigned long rate, unsigned channels, unsigned bits, Producer producer);
void CloseAudio();

}

#endif
