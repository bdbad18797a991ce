// Helpers the surface, image and sprite tests share: seeded random bytes, a
// canvas drawn as text and a sub-canvas inside a wider parent.
#ifndef TOLLIVEX_TESTS_PICTURES_H
#define TOLLIVEX_TESTS_PICTURES_H

#include "support/workdir.h"

#include <tollivex.h>

#include <random>
#include <string>
#include <vector>

namespace tvxtest {

using Bytes = std::vector<unsigned char>;

// The same bytes for a seed on every system.
inline Bytes RandomBytes(size_t count, unsigned seed)
{
    std::mt19937 random(seed);
    Bytes bytes(count);
    for (auto& b : bytes)
        b = static_cast<unsigned char>(random());
    return bytes;
}

// The canvas as text, rows separated by spaces: '.' for 0, otherwise the
// colour's low hexadecimal digit (tests draw with small colours).
inline std::string Picture(Canvas& canvas)
{
    std::string text;
    for (short y = 0; y < canvas.QueryHeight(); ++y) {
        if (y > 0)
            text += ' ';
        for (short x = 0; x < canvas.QueryWidth(); ++x) {
            const unsigned long pixel = canvas.GetPixel(x, y);
            text += pixel == 0 ? '.' : "0123456789abcdef"[pixel & 15];
        }
    }
    return text;
}

inline void LockNow(Canvas& canvas)
{
    int restored = 0;
    canvas.Lock(&restored, 0);
}

// A locked sub-canvas at (left, top) of a parent filled with `fill`: what
// is drawn past the sub-canvas's edges shows in the parent.
struct Window {
    Canvas parent;
    Canvas canvas;
    Window(int parentWidth, int parentHeight, int left, int top, int width, int height, int topDown = 1,
           unsigned char fill = 0)
        : parent(static_cast<unsigned short>(parentWidth), static_cast<unsigned short>(parentHeight), topDown,
                 CANVAS_MEMORY),
          canvas(static_cast<unsigned short>(left), static_cast<unsigned short>(top),
                 static_cast<unsigned short>(width), static_cast<unsigned short>(height), &parent)
    {
        parent.Clear(fill);
        LockNow(canvas);
    }
};

} // namespace tvxtest

#endif
