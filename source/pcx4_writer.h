// pcx4_writer.h - the module's PCX writer, kept out of the public interface.
//
// Writes a canvas as an 8-bit, one-plane PCX image with the palette's colours
// at the end. Used by tools and tests; no exported operation reaches it.
#ifndef TOLLIVEX_PCX4_WRITER_H
#define TOLLIVEX_PCX4_WRITER_H

#include <cstdio>

class Canvas;
class Palette;

// Returns 0, or the failure code (ERR_DISK_WRITE on a short write).
// showProgress prints a progress line per row to stdout.
unsigned short WritePcxCanvas(FILE* file, Canvas* canvas, Palette* palette, int showProgress);

#endif
