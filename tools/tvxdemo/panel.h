// panel.h - the window system on show: a small panel of widgets under a
// given root, driven by a scripted sequence of mouse events and keys.
#ifndef TVXDEMO_PANEL_H
#define TVXDEMO_PANEL_H

class Canvas;
class MemManager;
class MWin;
class SpriteManager;
struct _FontDef;

// Builds a push button, a slider, a list box with its scroll bar, an entry
// field and a label in a panel at (x, y) under `root`, painting into
// `canvas`; feeds the script into the root as a game feeds its input, paints
// after every step, prints what the widgets report and takes the panel down
// again. `font` must be a solid font. Returns the number of reports.
int RunWidgetPanel(MWin* root, Canvas* canvas, MemManager* memory, SpriteManager* sprites, _FontDef* font, short x,
                   short y);

#endif
