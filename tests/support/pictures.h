// Helpers the canvas, palette and PCX tests share: seeded random bytes, a
// canvas drawn as text, and the library's assertion log line.
#ifndef TOLLIVEX_TESTS_PICTURES_H
#define TOLLIVEX_TESTS_PICTURES_H

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

inline std::string AssertLine(const std::string& file, unsigned long line)
{
    return "Assert error in file " + file + " at line " + std::to_string(line) + ".";
}

} // namespace tvxtest

#endif
