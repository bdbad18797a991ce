// tvxsprite - cuts sprites out of a PNG or PCX sheet into a sprite set of a
// library file, and draws a set back as a PNG contact sheet, both through
// the library's own encoders and display routines.
#include "image.h"
#include "toolcore.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

namespace {

using namespace tvxtool;

const char* const kUsage =
    "Usage: tvxsprite <command> ...\n"
    "\n"
    "  cut SHEET LIB SET (--grid WxH | --rects FILE) [options]\n"
    "      encode sprites cut from SHEET (PNG or PCX) as set SET of library\n"
    "      file LIB, replacing a set of that name\n"
    "      --grid WxH        cells of W x H pixels, left to right, top to bottom\n"
    "      --rects FILE      one sprite per line: x y width height [hotX hotY];\n"
    "                        '#' starts a comment\n"
    "      --hot X,Y         hot spot of every grid cell (default 0,0)\n"
    "      --transparent N   colour index that is transparent (default 0)\n"
    "      --shade           make shade sprites: pixels 0..31 are brightness\n"
    "                        changes, 32..255 transparent\n"
    "      --compress        store the set LZSS-compressed\n"
    "  sheet LIB SET OUT.png [--grid WxH] [--columns N] [--palette NAME]\n"
    "      draw every sprite of SET into a contact sheet on colour 0: in cells\n"
    "      of W x H (default: the largest sprite), N to a row (default 16),\n"
    "      coloured by palette block NAME of LIB (default: a grey ramp)\n"
    "Exit status: 0 on success, 1 on failure, 2 on a usage error.\n";

const unsigned long kSpriteType = FourCC("SPR1");

struct Rect {
    int x, y, width, height, hotX, hotY;
};

struct Options {
    std::vector<std::string> operands;
    int cellWidth = 0;
    int cellHeight = 0;
    std::string rectsFile;
    int hotX = 0;
    int hotY = 0;
    int transparent = 0;
    int columns = 16;
    bool shade = false;
    bool compress = false;
    std::string palette;
};

bool ParsePair(const std::string& text, char separator, int* a, int* b)
{
    char extra = 0;
    const std::string format = std::string("%d") + separator + "%d%c";
    return std::sscanf(text.c_str(), format.c_str(), a, b, &extra) == 2;
}

int ParseOptions(const Messages& messages, int argc, char** argv, Options* options)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        const std::string value = hasValue ? argv[i + 1] : "";
        if (arg == "--shade") {
            options->shade = true;
        } else if (arg == "--compress") {
            options->compress = true;
        } else if (arg.rfind("--", 0) == 0 && !hasValue) {
            return messages.Usage(arg + " needs a value");
        } else if (arg == "--grid") {
            if (!ParsePair(value, 'x', &options->cellWidth, &options->cellHeight) || options->cellWidth < 1 ||
                options->cellHeight < 1)
                return messages.Usage("--grid needs WxH with positive sizes: " + value);
            ++i;
        } else if (arg == "--hot") {
            if (!ParsePair(value, ',', &options->hotX, &options->hotY))
                return messages.Usage("--hot needs X,Y: " + value);
            ++i;
        } else if (arg == "--transparent" || arg == "--columns") {
            char* end = nullptr;
            const long number = std::strtol(value.c_str(), &end, 10);
            const long highest = arg == "--columns" ? 4096 : 255;
            if (*end != '\0' || number < (arg == "--columns" ? 1 : 0) || number > highest)
                return messages.Usage(arg + " needs a number up to " + std::to_string(highest) + ": " + value);
            (arg == "--columns" ? options->columns : options->transparent) = static_cast<int>(number);
            ++i;
        } else if (arg == "--rects" || arg == "--palette") {
            (arg == "--rects" ? options->rectsFile : options->palette) = value;
            ++i;
        } else if (arg.rfind("--", 0) == 0) {
            return messages.Usage("unknown option " + arg);
        } else {
            options->operands.push_back(arg);
        }
    }
    return kExitOk;
}

bool ReadRects(const std::string& path, std::vector<Rect>* rects, std::string* why)
{
    std::ifstream in(path);
    if (!in)
        return *why = "cannot read " + path, false;
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        line = line.substr(0, line.find('#'));
        std::istringstream fields(line);
        Rect rect{0, 0, 0, 0, 0, 0};
        if (!(fields >> rect.x))
            continue; // blank or comment
        if (!(fields >> rect.y >> rect.width >> rect.height) || rect.width < 1 || rect.height < 1)
            return *why = path + " line " + std::to_string(number) + ": needs x y width height", false;
        fields >> rect.hotX >> rect.hotY;
        rects->push_back(rect);
    }
    if (rects->empty())
        return *why = path + " lists no rectangle", false;
    return true;
}

std::vector<Rect> GridRects(const Image& sheet, const Options& options)
{
    std::vector<Rect> rects;
    for (int y = 0; y + options.cellHeight <= sheet.height; y += options.cellHeight) {
        for (int x = 0; x + options.cellWidth <= sheet.width; x += options.cellWidth)
            rects.push_back({x, y, options.cellWidth, options.cellHeight, options.hotX, options.hotY});
    }
    return rects;
}

bool InsideSheet(const Rect& rect, const Image& sheet)
{
    return rect.x >= 0 && rect.y >= 0 && rect.x + rect.width <= sheet.width && rect.y + rect.height <= sheet.height;
}

// Copies the sheet into a canvas the encoders can read.
bool SheetCanvas(const Image& sheet, Canvas& canvas)
{
    int restored = 0;
    if (canvas.errorCode != 0 || canvas.Lock(&restored, 0) == ERR_FAILURE)
        return false;
    for (int y = 0; y < sheet.height; ++y)
        std::memcpy(canvas.QueryRowAddress(y), &sheet.pixels[static_cast<size_t>(y) * sheet.width], sheet.width);
    return true;
}

int Encode(const Messages& messages, SpriteManager& sprites, unsigned char set, const std::vector<Rect>& rects,
           const Options& options)
{
    unsigned char transparent[256] = {};
    transparent[options.transparent] = 1;
    for (size_t i = 0; i < rects.size(); ++i) {
        const Rect& r = rects[i];
        const auto sprite = static_cast<unsigned short>(i);
        const auto x = static_cast<unsigned short>(r.x);
        const auto y = static_cast<unsigned short>(r.y);
        const auto w = static_cast<unsigned short>(r.width);
        const auto h = static_cast<unsigned short>(r.height);
        sprites.SetEncodeBufferSize(std::max(sprites.QueryEncodeBufferSize(), 64ul + 4ul * w * h));
        const ERRORSTATUS result =
            options.shade ? sprites.EncodeTransSprite(set, sprite, x, y, w, h, static_cast<short>(r.x + r.hotX),
                                                      static_cast<short>(r.y + r.hotY), transparent)
                          : sprites.EncodeSprite(set, sprite, x, y, w, h, static_cast<short>(r.hotX),
                                                 static_cast<short>(r.hotY), transparent);
        if (result == ERR_FAILURE)
            return messages.Fail("cannot encode sprite " + std::to_string(i), sprites.errorCode);
        if (rects.size() >= 64)
            messages.Progress("encoding", i + 1, rects.size());
    }
    return kExitOk;
}

int Cut(const Messages& messages, const Options& options)
{
    if (options.operands.size() != 4)
        return messages.Usage("cut needs SHEET LIB SET");
    if ((options.cellWidth > 0) == !options.rectsFile.empty())
        return messages.Usage("cut needs exactly one of --grid and --rects");
    const std::string& setName = options.operands[3];
    if (setName.empty() || setName.size() > 19)
        return messages.Usage("set names have 1 to 19 characters: " + setName);

    Image sheet;
    std::string why;
    if (!ReadImage(options.operands[1], &sheet, &why))
        return messages.FailPlain(options.operands[1] + ": " + why);
    std::vector<Rect> rects;
    if (options.rectsFile.empty())
        rects = GridRects(sheet, options);
    else if (!ReadRects(options.rectsFile, &rects, &why))
        return messages.FailPlain(why);
    if (rects.empty() || rects.size() > 65535)
        return messages.FailPlain("the sheet holds no whole grid cell");
    for (const Rect& rect : rects) {
        if (!InsideSheet(rect, sheet))
            return messages.FailPlain("a rectangle lies outside the sheet: " + std::to_string(rect.x) + " " +
                                      std::to_string(rect.y) + " " + std::to_string(rect.width) + " " +
                                      std::to_string(rect.height));
    }

    LibraryFile file;
    if (const int status = file.Enter(options.operands[2], messages); status != kExitOk)
        return status;
    Session session;
    SpriteManager sprites(&session.memory, &session.library);
    Canvas canvas(static_cast<unsigned short>(sheet.width), static_cast<unsigned short>(sheet.height), 1,
                  CANVAS_MEMORY);
    if (!SheetCanvas(sheet, canvas))
        return messages.Fail("cannot hold the sheet", ERR_NO_MEMORY);
    sprites.AssociateEncodeCanvas(&canvas);
    std::vector<char> name = Writable(setName);
    unsigned char set = 0;
    if (sprites.CreateNewSpriteset(name.data(), static_cast<unsigned short>(rects.size()), &set) == ERR_FAILURE)
        return messages.Fail("cannot make set " + setName, sprites.errorCode);
    if (const int status = Encode(messages, sprites, set, rects, options); status != kExitOk)
        return status;

    unsigned char* block = nullptr;
    unsigned long size = 0;
    if (sprites.RequestSaveBlock(set, &block, &size) == ERR_FAILURE)
        return messages.Fail("cannot make the set's block", sprites.errorCode);
    const unsigned long flags = LIB_ADD_REPLACE | (options.compress ? LIB_ADD_COMPRESS : 0);
    const int status = AddBlock(session, file, setName, kSpriteType, block, size, flags, messages);
    sprites.ReleaseSaveBlock(&block);
    if (status == kExitOk)
        std::printf("%zu %s sprites in set %s\n", rects.size(), options.shade ? "shade" : "normal", setName.c_str());
    return status;
}

void GreyPalette(Image* image)
{
    for (int i = 0; i < 256; ++i)
        std::memset(&image->palette[i * 3], i, 3);
}

// Draws every sprite of the set at its cell's top-left corner, hot spot ignored.
void DrawSheet(SpriteManager& sprites, unsigned char set, unsigned short count, const Options& options,
               int cellWidth, int cellHeight, Image* sheet)
{
    const int columns = std::min<int>(options.columns, std::max<int>(count, 1));
    const int rows = (count + columns - 1) / columns;
    sheet->width = columns * cellWidth;
    sheet->height = std::max(rows, 1) * cellHeight;
    Canvas canvas(static_cast<unsigned short>(sheet->width), static_cast<unsigned short>(sheet->height), 1,
                  CANVAS_MEMORY);
    int restored = 0;
    canvas.Lock(&restored, 0);
    canvas.Clear(0);
    sprites.AssociateCanvas(&canvas);
    for (unsigned short sprite = 0; sprite < count; ++sprite) {
        unsigned short width = 0, height = 0;
        short hotX = 0, hotY = 0;
        if (sprites.QuerySpriteDimensions(set, sprite, &width, &height, &hotX, &hotY) == ERR_FAILURE)
            continue; // an empty slot leaves its cell blank
        sprites.DisplayAnySprite(static_cast<short>((sprite % columns) * cellWidth),
                                 static_cast<short>((sprite / columns) * cellHeight), set, sprite);
    }
    sprites.DissociateCanvas();
    sheet->pixels.resize(static_cast<size_t>(sheet->width) * sheet->height);
    for (int y = 0; y < sheet->height; ++y)
        std::memcpy(&sheet->pixels[static_cast<size_t>(y) * sheet->width], canvas.QueryRowAddress(y), sheet->width);
}

int Sheet(const Messages& messages, const Options& options)
{
    if (options.operands.size() != 4)
        return messages.Usage("sheet needs LIB SET OUT.png");
    const fs::path output = Absolute(options.operands[3]);
    LibraryFile file;
    if (const int status = file.Enter(options.operands[1], messages); status != kExitOk)
        return status;
    Session session;
    SpriteManager sprites(&session.memory, &session.library);
    std::vector<char> fileName = Writable(file.name);
    std::vector<char> setName = Writable(options.operands[2]);
    unsigned char set = 0;
    if (sprites.RegisterFile(fileName.data()) == ERR_FAILURE || sprites.RequestDataset(setName.data(), &set) == ERR_FAILURE)
        return messages.Fail("cannot load set " + options.operands[2], sprites.errorCode);

    Image sheet;
    GreyPalette(&sheet);
    if (!options.palette.empty()) {
        if (const int status = ReadPaletteBlock(session, file, options.palette, sheet.palette.data(), messages);
            status != kExitOk)
            return status;
    }
    const unsigned short count = sprites.QuerySpritesetSize(set);
    int cellWidth = options.cellWidth;
    int cellHeight = options.cellHeight;
    for (unsigned short sprite = 0; sprite < count && options.cellWidth == 0; ++sprite) {
        unsigned short width = 0, height = 0;
        short hotX = 0, hotY = 0;
        if (sprites.QuerySpriteDimensions(set, sprite, &width, &height, &hotX, &hotY) == ERR_OK) {
            cellWidth = std::max<int>(cellWidth, width);
            cellHeight = std::max<int>(cellHeight, height);
        }
    }
    if (cellWidth < 1 || cellHeight < 1)
        return messages.FailPlain("set " + options.operands[2] + " holds no sprite");
    const long columns = std::min<long>(options.columns, std::max<long>(count, 1));
    const long rows = (count + columns - 1) / columns;
    if (cellWidth * columns > 32767 || cellHeight * rows > 32767)
        return messages.FailPlain("the contact sheet would be too large; use --columns or --grid");
    DrawSheet(sprites, set, count, options, cellWidth, cellHeight, &sheet);
    std::string why;
    if (!WritePng(output, sheet, &why))
        return messages.FailPlain(output.string() + ": " + why);
    std::printf("%u sprites drawn into %s (%d x %d)\n", static_cast<unsigned>(count), output.string().c_str(),
                sheet.width, sheet.height);
    return kExitOk;
}

}

int main(int argc, char** argv)
{
    const Messages messages("tvxsprite", kUsage);
    if (messages.AnsweredHelp(argc, argv))
        return kExitOk;
    Options options;
    if (const int status = ParseOptions(messages, argc, argv, &options); status != kExitOk)
        return status;
    if (options.operands.empty())
        return messages.Usage("a command is needed");
    if (options.operands[0] == "cut")
        return Cut(messages, options);
    if (options.operands[0] == "sheet")
        return Sheet(messages, options);
    return messages.Usage("unknown command " + options.operands[0]);
}
