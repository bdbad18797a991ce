// headless.h - steering and reading the headless display and sound devices.
//
// The portable build draws and plays into memory instead of a screen and a
// sound card. A game's own tests use these calls to check its frames and its
// mixed sound without either:
//
//     HeadlessReset();
//     CanvasInitialize(0, HeadlessWindow(), 640, 480, 8, &status);
//     ... build the display canvas, set the palette, draw, Flip ...
//     unsigned char rgb[640 * 480 * 3];
//     HeadlessReadScreen(nullptr, rgb, 640, 480);   // what a player would see
//
// Every DirectDraw, GDI and DirectSound call the library makes is written to
// a trace (HeadlessTrace) and can be made to fail (HeadlessFail), so error
// paths can be tested as easily as the good ones. Sound moves only when the
// test advances the virtual clock (HeadlessAdvance); what the primary buffer
// plays is captured for HeadlessReadSound.
//
// Only the portable build has these devices; there is no such header on
// Windows. Not thread-safe: steer the devices from the game's main thread.
#ifndef TOLLIVEX_HEADLESS_H
#define TOLLIVEX_HEADLESS_H

#include "tvxcommon.h"

// Forgets failure rules, the trace, captured sound and the clock, and restores
// the defaults: screen 640 x 480, pitch padding 0, primary sound buffer 65 536
// bytes. Device objects still alive are forgotten, not released.
TVX_API void HeadlessReset();

// A window handle for CanvasInitialize and Digimix::InitSoundCard; its client
// area is the whole screen.
TVX_API void* HeadlessWindow();

// The desktop size in windowed mode (full screen takes SetDisplayMode's size).
TVX_API void HeadlessSetScreen(int width, int height);

// Copies the top-left width x height of the primary surface as 8-bit indices
// and/or R, G, B bytes through the palette attached to the primary (none:
// black). Either pointer may be null. Returns 0, or -1 when there is no
// primary surface or the area is larger than the screen.
TVX_API int HeadlessReadScreen(unsigned char* indices, unsigned char* rgb, int width, int height);

// Surfaces created afterwards have a pitch of width + bytes.
TVX_API void HeadlessSetPitchPadding(int bytes);

// Every live surface answers DDERR_SURFACELOST from IsLost, Lock and Blt
// until its own Restore.
TVX_API void HeadlessLoseSurfaces();

// The named call (as in the trace, e.g. "IDirectDrawSurface::Lock" or
// "CreatePalette") succeeds `after` more times, then returns `result` once
// and does nothing. Rules for one call queue up: each starts counting once
// the one before it has fired.
TVX_API void HeadlessFail(const char* call, long result, int after);

// Every device call since the reset, one '\n'-terminated line each: the
// call's name, then its numeric arguments in decimal, space-separated.
TVX_API const char* HeadlessTrace();

// The size of the next primary sound buffer: its ring, its play cursor's wrap
// and what GetCaps reports.
TVX_API void HeadlessSetSoundBufferBytes(unsigned long bytes);

// Moves the virtual clock: every playing buffer's cursor advances by its
// bytes per second x ms / 1000 (fractions carried). The bytes the primary
// plays, with every playing secondary of its format summed in, are captured.
TVX_API void HeadlessAdvance(unsigned long milliseconds);

// Copies up to `max` bytes of the sound captured since the reset and returns
// the whole captured length (HeadlessReadSound(nullptr, 0) asks the length).
TVX_API unsigned long HeadlessReadSound(unsigned char* out, unsigned long max);

// Chooses the device behind DirectDraw and DirectSound: "headless" (the
// default) or "sdl2", a real window and sound card through SDL, for a game
// that passes its SDL_Window* where Windows takes an HWND. Overrides the
// TOLLIVEX_DEVICE environment variable; takes effect from the next
// DirectDrawCreate or DirectSoundCreate. Returns 0, or -1 for a device this
// build does not have.
TVX_API int SetPortableDevice(const char* name);

#endif
