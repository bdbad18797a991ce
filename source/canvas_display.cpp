// canvas_display.cpp - the display module: DirectDraw set-up, the display
// canvas's surfaces and the system palette.
#include "tollivex/canvas.h"

namespace {
// Set by a full-screen initialisation that asked for the DirectDraw palette
// alone; read by the window system.
int ddPaletteOnly = 0;
}

int QueryDDPaletteOnly()
{
    return ddPaletteOnly;
}
