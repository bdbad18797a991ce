// output.cpp - PNG and WAVE files without a compression library.
#include "output.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace {

uint32_t Crc(const unsigned char* data, size_t size, uint32_t crc = 0xFFFFFFFFu)
{
    static uint32_t table[256];
    if (table[1] == 0) {
        for (uint32_t n = 0; n < 256; ++n) {
            uint32_t c = n;
            for (int k = 0; k < 8; ++k)
                c = c & 1 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            table[n] = c;
        }
    }
    for (size_t i = 0; i < size; ++i)
        crc = table[(crc ^ data[i]) & 0xFF] ^ (crc >> 8);
    return crc;
}

void Big32(std::vector<unsigned char>& out, uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<unsigned char>(value >> shift));
}

void Little(std::vector<unsigned char>& out, uint32_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        out.push_back(static_cast<unsigned char>(value >> (8 * i)));
}

void Chunk(std::vector<unsigned char>& png, const char* kind, const std::vector<unsigned char>& data)
{
    Big32(png, static_cast<uint32_t>(data.size()));
    const size_t start = png.size();
    png.insert(png.end(), kind, kind + 4);
    png.insert(png.end(), data.begin(), data.end());
    Big32(png, Crc(&png[start], png.size() - start) ^ 0xFFFFFFFFu);
}

// A zlib stream of stored blocks: no compression, so no library.
std::vector<unsigned char> Stored(const std::vector<unsigned char>& raw)
{
    std::vector<unsigned char> out{0x78, 0x01};
    uint32_t a = 1, b = 0;
    for (unsigned char byte : raw) {
        a = (a + byte) % 65521;
        b = (b + a) % 65521;
    }
    for (size_t at = 0; at < raw.size() || at == 0; at += 65535) {
        const size_t length = std::min<size_t>(65535, raw.size() - at);
        out.push_back(at + length >= raw.size() ? 1 : 0);
        Little(out, static_cast<uint32_t>(length), 2);
        Little(out, static_cast<uint32_t>(length ^ 0xFFFF), 2);
        out.insert(out.end(), raw.begin() + static_cast<long>(at), raw.begin() + static_cast<long>(at + length));
        if (raw.empty())
            break;
    }
    Big32(out, b << 16 | a);
    return out;
}

bool Save(const std::string& path, const std::vector<unsigned char>& bytes)
{
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "wb"), &std::fclose);
    return file && std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
}

}

bool WritePng(const std::string& path, const Frame& frame)
{
    std::vector<unsigned char> header;
    Big32(header, static_cast<uint32_t>(frame.width));
    Big32(header, static_cast<uint32_t>(frame.height));
    header.insert(header.end(), {8, 2, 0, 0, 0}); // 8-bit RGB
    std::vector<unsigned char> rows;
    rows.reserve(size_t(frame.width * 3 + 1) * frame.height);
    for (int y = 0; y < frame.height; ++y) {
        rows.push_back(0);
        const auto first = frame.rgb.begin() + static_cast<long>(size_t(y) * frame.width * 3);
        rows.insert(rows.end(), first, first + frame.width * 3);
    }
    std::vector<unsigned char> png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    Chunk(png, "IHDR", header);
    Chunk(png, "IDAT", Stored(rows));
    Chunk(png, "IEND", {});
    return Save(path, png);
}

bool WriteWave(const std::string& path, const std::vector<unsigned char>& samples, unsigned rate)
{
    std::vector<unsigned char> wave{'R', 'I', 'F', 'F'};
    Little(wave, static_cast<uint32_t>(36 + samples.size()), 4);
    wave.insert(wave.end(), {'W', 'A', 'V', 'E', 'f', 'm', 't', ' '});
    Little(wave, 16, 4);
    Little(wave, 1, 2); // PCM
    Little(wave, 1, 2); // mono
    Little(wave, rate, 4);
    Little(wave, rate, 4);
    Little(wave, 1, 2);
    Little(wave, 8, 2);
    wave.insert(wave.end(), {'d', 'a', 't', 'a'});
    Little(wave, static_cast<uint32_t>(samples.size()), 4);
    wave.insert(wave.end(), samples.begin(), samples.end());
    return Save(path, wave);
}

Frame ContactSheet(const std::vector<Frame>& frames, int columns, int shrink)
{
    Frame sheet;
    if (frames.empty())
        return sheet;
    const int cellWidth = frames[0].width / shrink, cellHeight = frames[0].height / shrink;
    const int rows = (int(frames.size()) + columns - 1) / columns;
    sheet.width = columns * cellWidth;
    sheet.height = rows * cellHeight;
    sheet.rgb.assign(size_t(sheet.width) * sheet.height * 3, 0);
    for (size_t i = 0; i < frames.size(); ++i) {
        const int left = int(i) % columns * cellWidth, top = int(i) / columns * cellHeight;
        for (int y = 0; y < cellHeight; ++y)
            for (int x = 0; x < cellWidth; ++x)
                for (int c = 0; c < 3; ++c)
                    sheet.rgb[(size_t(top + y) * sheet.width + left + x) * 3 + c] =
                        frames[i].rgb[(size_t(y * shrink) * frames[i].width + x * shrink) * 3 + c];
    }
    return sheet;
}
