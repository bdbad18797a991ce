// script.h - the demo's input when nobody is at the keys: a fixed sequence
// of mouse events and keys on the title panel, then steering during play.
#ifndef TVXDEMO_SCRIPT_H
#define TVXDEMO_SCRIPT_H

#include "game.h"
#include "title.h"

#include <vector>

// The title panel's events for this frame of the title.
std::vector<InputEvent> TitleScript(int frame);
// The steering for this frame of play: towards the nearest falling gem.
Controls PlayScript(const PlayField& field);

#endif
