// tollivex.h - everything a game needs from the library in one include.
#ifndef TOLLIVEX_H
#define TOLLIVEX_H

#include "tollivex/tvxcommon.h"
#include "tollivex/semaphor.h"
#include "tollivex/memman.h"
#include "tollivex/diskdata.h"
#include "tollivex/lzss.h"
#include "tollivex/library.h"
#include "tollivex/dataman.h"
#include "tollivex/canvas.h"
#include "tollivex/palette.h"
#include "tollivex/bitmap.h"
#include "tollivex/pcx4.h"
#include "tollivex/sprman.h"
#include "tollivex/font.h"
#include "tollivex/digimix2.h"
#include "tollivex/hotspot.h"
#include "tollivex/mwin.h"
#include "tollivex/pushbtn.h"
#include "tollivex/scroll.h"
#include "tollivex/listbox.h"
#include "tollivex/entry.h"
#include "tollivex/stattext.h"

#endif
