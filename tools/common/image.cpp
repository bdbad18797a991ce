// image.cpp - PNG through libpng, PCX through the library's painter and writer.
#include "image.h"

#include "toolcore.h"
#include "pcx4_writer.h"

#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>

namespace tvxtool {

namespace {

const unsigned char kPngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

// libpng reports errors by longjmp; these routines keep every C++ object
// with a destructor outside the setjmp frame.
struct PngReader {
    png_structp png = nullptr;
    png_infop info = nullptr;
    ~PngReader() { png_destroy_read_struct(&png, &info, nullptr); }
};

struct PngWriter {
    png_structp png = nullptr;
    png_infop info = nullptr;
    ~PngWriter() { png_destroy_write_struct(&png, &info); }
};

// Errors end in a longjmp back to the caller's setjmp; the tool says in its
// own words what went wrong, so libpng's messages stay quiet.
void PngError(png_structp png, png_const_charp)
{
    png_longjmp(png, 1);
}

void PngWarning(png_structp, png_const_charp) {}

void GreyRamp(Image* image)
{
    for (int i = 0; i < 256; ++i)
        std::memset(&image->palette[i * 3], i, 3);
}

// Reads the rows once the header says the image is one we take.
bool ReadPngRows(PngReader& reader, std::vector<png_bytep>& rows)
{
    if (setjmp(png_jmpbuf(reader.png)))
        return false;
    png_read_image(reader.png, rows.data());
    png_read_end(reader.png, nullptr);
    return true;
}

bool ReadPngHeader(PngReader& reader, FILE* file, png_uint_32* width, png_uint_32* height, int* depth, int* colour)
{
    if (setjmp(png_jmpbuf(reader.png)))
        return false;
    png_init_io(reader.png, file);
    png_set_user_limits(reader.png, 16384, 16384);
    png_read_info(reader.png, reader.info);
    png_get_IHDR(reader.png, reader.info, width, height, depth, colour, nullptr, nullptr, nullptr);
    if (*depth < 8)
        png_set_packing(reader.png);
    if (*depth == 16)
        png_set_strip_16(reader.png);
    png_read_update_info(reader.png, reader.info);
    return true;
}

bool ReadPng(FILE* file, Image* image, std::string* why)
{
    PngReader reader;
    reader.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, PngError, PngWarning);
    reader.info = reader.png ? png_create_info_struct(reader.png) : nullptr;
    if (!reader.info)
        return *why = "out of memory", false;
    png_uint_32 width = 0;
    png_uint_32 height = 0;
    int depth = 0;
    int colour = 0;
    if (!ReadPngHeader(reader, file, &width, &height, &depth, &colour))
        return *why = "damaged PNG header", false;
    if (colour != PNG_COLOR_TYPE_PALETTE && colour != PNG_COLOR_TYPE_GRAY)
        return *why = "not a palette image (true colour or alpha); save it with a palette", false;
    if (width > 32767 || height > 32767)
        return *why = "image larger than 32767 pixels", false;

    image->width = static_cast<int>(width);
    image->height = static_cast<int>(height);
    image->pixels.assign(static_cast<size_t>(width) * height, 0);
    std::fill(image->palette.begin(), image->palette.end(), 0);
    if (colour == PNG_COLOR_TYPE_GRAY) {
        GreyRamp(image);
    } else {
        png_colorp entries = nullptr;
        int count = 0;
        png_get_PLTE(reader.png, reader.info, &entries, &count);
        for (int i = 0; i < count && i < 256; ++i) {
            image->palette[i * 3] = entries[i].red;
            image->palette[i * 3 + 1] = entries[i].green;
            image->palette[i * 3 + 2] = entries[i].blue;
        }
    }
    std::vector<png_bytep> rows(height);
    for (png_uint_32 y = 0; y < height; ++y)
        rows[y] = &image->pixels[static_cast<size_t>(y) * width];
    if (!ReadPngRows(reader, rows))
        return *why = "damaged or truncated PNG data", false;
    return true;
}

bool ReadPcx(std::vector<unsigned char>& bytes, Image* image, std::string* why)
{
    PcxPainter painter(bytes.data(), bytes.size());
    _BITMAPSTATS stats{};
    if (painter.QueryBitmapStats(&stats) == ERR_FAILURE)
        return *why = std::string("not a PCX image we read: ") + ExplainError(painter.errorCode), false;
    Canvas canvas(stats.width, stats.height, 1, CANVAS_MEMORY);
    int restored = 0;
    if (canvas.errorCode != 0 || canvas.Lock(&restored, 0) == ERR_FAILURE)
        return *why = "out of memory", false;
    painter.AssociateCanvas(&canvas);
    if (painter.PaintCanvas(1, 1) == ERR_FAILURE)
        return *why = std::string("damaged PCX data: ") + ExplainError(painter.errorCode), false;
    image->width = stats.width;
    image->height = stats.height;
    image->pixels.resize(static_cast<size_t>(stats.width) * stats.height);
    for (int y = 0; y < image->height; ++y)
        std::memcpy(&image->pixels[static_cast<size_t>(y) * image->width], canvas.QueryRowAddress(y), image->width);
    std::memcpy(image->palette.data(), painter.palette, 768);
    return true;
}

// Runs `write` on a temporary file and moves it to `path` when it succeeded.
template <typename Write>
bool WriteThroughTemporary(const std::filesystem::path& path, std::string* why, Write write)
{
    std::filesystem::path part = path;
    part += ".part";
    bool written = false;
    {
        File file(std::fopen(part.string().c_str(), "wb"));
        if (!file)
            return *why = "cannot create " + part.string(), false;
        written = write(file.get());
        written = std::fflush(file.get()) == 0 && written;
    }
    std::error_code error;
    if (written)
        std::filesystem::rename(part, path, error);
    if (!written || error) {
        std::filesystem::remove(part, error);
        if (why->empty())
            *why = "cannot write " + path.string();
        return false;
    }
    return true;
}

bool WritePngTo(FILE* file, const Image& image)
{
    PngWriter writer;
    writer.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, PngError, PngWarning);
    writer.info = writer.png ? png_create_info_struct(writer.png) : nullptr;
    if (!writer.info)
        return false;
    png_color entries[256];
    for (int i = 0; i < 256; ++i)
        entries[i] = {image.palette[i * 3], image.palette[i * 3 + 1], image.palette[i * 3 + 2]};
    if (setjmp(png_jmpbuf(writer.png)))
        return false;
    png_init_io(writer.png, file);
    png_set_IHDR(writer.png, writer.info, image.width, image.height, 8, PNG_COLOR_TYPE_PALETTE,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_PLTE(writer.png, writer.info, entries, 256);
    png_write_info(writer.png, writer.info);
    for (int y = 0; y < image.height; ++y)
        png_write_row(writer.png, &image.pixels[static_cast<size_t>(y) * image.width]);
    png_write_end(writer.png, nullptr);
    return true;
}

}

bool ReadImage(const std::filesystem::path& path, Image* image, std::string* why)
{
    std::vector<unsigned char> bytes;
    if (!ReadWholeFile(path, &bytes))
        return *why = "cannot read " + path.string(), false;
    if (bytes.size() >= 8 && std::memcmp(bytes.data(), kPngSignature, 8) == 0) {
        File file(std::fopen(path.string().c_str(), "rb"));
        return file ? ReadPng(file.get(), image, why) : (*why = "cannot read " + path.string(), false);
    }
    if (!bytes.empty() && bytes[0] == 0x0A)
        return ReadPcx(bytes, image, why);
    return *why = "neither a PNG nor a PCX file", false;
}

bool WritePng(const std::filesystem::path& path, const Image& image, std::string* why)
{
    if (image.width <= 0 || image.height <= 0)
        return *why = "an empty image cannot be written", false;
    return WriteThroughTemporary(path, why, [&](FILE* file) { return WritePngTo(file, image); });
}

bool WritePcx(const std::filesystem::path& path, const Image& image, std::string* why)
{
    if (image.width <= 0 || image.height <= 0 || image.width > 65535 || image.height > 65535)
        return *why = "a PCX image needs 1 to 65535 pixels each way", false;
    Canvas canvas(static_cast<unsigned short>(image.width), static_cast<unsigned short>(image.height), 1,
                  CANVAS_MEMORY);
    int restored = 0;
    if (canvas.errorCode != 0 || canvas.Lock(&restored, 0) == ERR_FAILURE)
        return *why = "out of memory", false;
    for (int y = 0; y < image.height; ++y)
        std::memcpy(canvas.QueryRowAddress(y), &image.pixels[static_cast<size_t>(y) * image.width], image.width);
    Palette palette;
    std::vector<unsigned char> triples = image.palette;
    palette.SetValuesFromRaw8(triples.data(), 0, 256);
    return WriteThroughTemporary(path, why, [&](FILE* file) {
        return WritePcxCanvas(file, &canvas, &palette, 0) == 0;
    });
}

}
