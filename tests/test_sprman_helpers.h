// Helpers shared by the sprite and font tests: records written byte by byte,
// a manager with its collaborators, canvas reading, and a reference model of
// the row encoding that knows nothing of the library's own decoders.
#ifndef TOLLIVEX_TESTS_SPRMAN_HELPERS_H
#define TOLLIVEX_TESTS_SPRMAN_HELPERS_H

#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace sprtest {

using Bytes = std::vector<unsigned char>;

inline void Add16(Bytes& out, unsigned value)
{
    out.push_back(static_cast<unsigned char>(value));
    out.push_back(static_cast<unsigned char>(value >> 8));
}

inline void Add32(Bytes& out, uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
        out.push_back(static_cast<unsigned char>(value >> shift));
}

// A record: header, then each row as written (its command count first).
inline Bytes Record(unsigned type, unsigned width, unsigned height, int hotX, int hotY,
                    const std::vector<Bytes>& rows)
{
    Bytes out;
    Add16(out, type);
    Add16(out, width);
    Add16(out, height);
    Add16(out, static_cast<unsigned>(hotX) & 0xFFFF);
    Add16(out, static_cast<unsigned>(hotY) & 0xFFFF);
    for (const Bytes& row : rows)
        out.insert(out.end(), row.begin(), row.end());
    return out;
}

// A sprite-set block: slot count, offsets (0xFFFFFFFF for empty), then the
// records stored in the given order of slots (slot order by default).
inline Bytes SetBlock(const std::vector<Bytes>& records, std::vector<unsigned> order = {})
{
    if (order.empty())
        for (unsigned i = 0; i < records.size(); ++i)
            order.push_back(i);
    std::vector<uint32_t> offsets(records.size(), 0xFFFFFFFFu);
    Bytes data;
    for (unsigned i : order) {
        if (!records[i].empty()) {
            offsets[i] = static_cast<uint32_t>(data.size());
            data.insert(data.end(), records[i].begin(), records[i].end());
        }
    }
    Bytes out;
    Add16(out, static_cast<unsigned>(records.size()));
    for (uint32_t offset : offsets)
        Add32(out, offset);
    out.insert(out.end(), data.begin(), data.end());
    return out;
}

// A decoded sprite: width x height values, -1 where nothing is drawn.
struct Bitmap {
    int width = 0;
    int height = 0;
    std::vector<int> pixels;

    Bitmap() = default;
    Bitmap(int w, int h, int fill = -1) : width(w), height(h), pixels(size_t(w) * size_t(h), fill) {}
    int& at(int x, int y) { return pixels[size_t(y) * size_t(width) + size_t(x)]; }
    int at(int x, int y) const { return pixels[size_t(y) * size_t(width) + size_t(x)]; }
};

// The right edge of the opaque pixels: the width the encoder writes.
inline int Extent(const Bitmap& b)
{
    int right = 0;
    for (int y = 0; y < b.height; ++y)
        for (int x = 0; x < b.width; ++x)
            if (b.at(x, y) >= 0)
                right = std::max(right, x + 1);
    return right;
}

// Reference decoder of a record's rows into a bitmap as wide as the rightmost
// drawn pixel reaches (at least the header width).
inline Bitmap Decode(const Bytes& record)
{
    const unsigned height = record[4] | record[5] << 8;
    std::vector<std::vector<std::pair<int, int>>> rows(height);
    size_t p = 10;
    int widest = record[2] | record[3] << 8;
    for (unsigned r = 0; r < height; ++r) {
        int column = 0;
        for (unsigned k = record[p++]; k > 0; --k) {
            const unsigned char command = record[p++];
            const int n = command & 63;
            switch (command >> 6) {
            case 3: column += n; continue;
            case 2:
                for (int i = 0; i < n; ++i)
                    rows[r].push_back({column++, record[p]});
                p += 1;
                break;
            case 1:
                for (int i = 0; i < 2 * n; ++i)
                    rows[r].push_back({column++, record[p + (i & 1)]});
                p += 2;
                break;
            default:
                for (int i = 0; i < n; ++i)
                    rows[r].push_back({column++, record[p++]});
                break;
            }
            widest = std::max(widest, column);
        }
    }
    Bitmap out(widest, int(height));
    for (unsigned r = 0; r < height; ++r)
        for (auto [x, v] : rows[r])
            out.at(x, int(r)) = v;
    return out;
}

// The canvas's pixels row by row, read through the row table.
inline std::vector<Bytes> Pixels(Canvas& canvas)
{
    std::vector<Bytes> rows;
    for (unsigned y = 0; y < canvas.QueryHeight(); ++y) {
        const unsigned char* row = canvas.QueryRowAddress(y);
        rows.emplace_back(row, row + canvas.QueryWidth());
    }
    return rows;
}

// A manager wired as a game wires it, with one empty set ready.
class SpriteTest : public testing::Test {
protected:
    void SetUp() override { DebugInit(); }

    unsigned char NewSet(unsigned short count, const char* name = "TEST")
    {
        unsigned char set = 0;
        EXPECT_EQ(sprites.CreateNewSpriteset(const_cast<char*>(name), count, &set), ERR_OK);
        return set;
    }

    // A set whose slot i holds records[i] (an empty vector leaves it empty).
    unsigned char SetOf(const std::vector<Bytes>& records, const char* name = "TEST")
    {
        const unsigned char set = NewSet(static_cast<unsigned short>(records.size()), name);
        for (size_t i = 0; i < records.size(); ++i) {
            if (records[i].empty())
                continue;
            Bytes copy = records[i];
            EXPECT_EQ(sprites.SetSprite(copy.data(), copy.size(), set, static_cast<unsigned short>(i)), ERR_OK);
        }
        return set;
    }

    Bytes RecordAt(unsigned char set, unsigned short sprite)
    {
        unsigned char* record = nullptr;
        unsigned long size = 0;
        EXPECT_EQ(sprites.QuerySprite(&record, &size, set, sprite), ERR_OK);
        return record == nullptr ? Bytes() : Bytes(record, record + size);
    }

    MemManager memory;
    DiskData disk{&memory};
    Library library{&memory, &disk};
    SpriteManager sprites{&memory, &library};
};

inline bool IsAssertFrom(const std::string& line, const std::string& source)
{
    return line.rfind("Assert error in file " + source + " at line ", 0) == 0;
}

} // namespace sprtest

#endif
