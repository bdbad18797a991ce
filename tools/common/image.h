// image.h - palettised images in and out of PNG and PCX files.
//
// The tools see every picture as 8-bit colour indices with a 256-colour
// palette, as the library draws them. PNG files go through libpng: palette
// images of any depth and 8-bit greyscale (whose palette is the grey ramp)
// are read; true-colour images are refused, since a palette must be chosen
// by the artist, not guessed. PCX files go through the library's own painter
// and writer, so the tools read and write them exactly as games do.
#ifndef TVXTOOL_IMAGE_H
#define TVXTOOL_IMAGE_H

#include <filesystem>
#include <string>
#include <vector>

namespace tvxtool {

struct Image {
    int width = 0;
    int height = 0;
    std::vector<unsigned char> pixels;  // width * height indices, rows top down
    std::vector<unsigned char> palette = std::vector<unsigned char>(768); // 256 RGB triples

    unsigned char At(int x, int y) const { return pixels[static_cast<size_t>(y) * width + x]; }
};

// Reads a PNG or PCX file, told apart by its first bytes. On failure `why`
// says what is wrong in a few words.
bool ReadImage(const std::filesystem::path& path, Image* image, std::string* why);
// Both writers go through a temporary file: a failure leaves nothing behind.
bool WritePng(const std::filesystem::path& path, const Image& image, std::string* why);
bool WritePcx(const std::filesystem::path& path, const Image& image, std::string* why);

}

#endif
