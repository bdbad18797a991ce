// tvxpal - takes the palette of a PNG or PCX image into a palette file or a
// palette block of a library file, and shows a palette as a PNG swatch.
#include "image.h"
#include "toolcore.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

using namespace tvxtool;

const char* const kUsage =
    "Usage: tvxpal <command> ...\n"
    "\n"
    "Commands:\n"
    "  file   IMAGE OUT          write IMAGE's palette as a palette file (QORPAL)\n"
    "  block  IMAGE LIB NAME     store IMAGE's palette as block NAME (type PAL1)\n"
    "                            of library file LIB, replacing one of that name\n"
    "  swatch IMAGE OUT.png      draw IMAGE's 256 colours as a 16 x 16 swatch\n"
    "  swatch LIB NAME OUT.png   the same for a palette block of a library file\n"
    "IMAGE is a PNG or PCX file; LIB an 8.3 file name, in any directory.\n"
    "Exit status: 0 on success, 1 on failure, 2 on a usage error.\n";

const unsigned long kPaletteType = FourCC("PAL1");
const int kCell = 16;

void FillPalette(Palette& palette, const Image& image)
{
    std::vector<unsigned char> triples = image.palette;
    palette.SetValuesFromRaw8(triples.data(), 0, 256);
}

int WriteFile(const Messages& messages, const Image& image, const std::string& output)
{
    Palette palette;
    FillPalette(palette, image);
    const std::string part = output + ".part";
    FILE* file = std::fopen(part.c_str(), "wb");
    if (!file)
        return messages.FailPlain("cannot create " + part);
    const bool saved = palette.Save(file) == ERR_OK;
    const bool closed = std::fclose(file) == 0;
    std::error_code error;
    if (saved && closed)
        fs::rename(part, output, error);
    if (!saved || !closed || error) {
        fs::remove(part, error);
        return messages.FailPlain("cannot write " + output);
    }
    std::printf("wrote palette file %s\n", output.c_str());
    return kExitOk;
}

int WriteBlock(const Messages& messages, const Image& image, const std::string& library, const std::string& name)
{
    LibraryFile file;
    if (const int status = file.Enter(library, messages); status != kExitOk)
        return status;
    Session session;
    Palette palette(&session.memory);
    FillPalette(palette, image);
    unsigned char* block = nullptr;
    unsigned long size = 0;
    if (palette.RequestSaveBlock(&block, &size) == ERR_FAILURE)
        return messages.Fail("cannot make the palette block", palette.errorCode);
    const int status = AddBlock(session, file, name, kPaletteType, block, size, LIB_ADD_REPLACE, messages);
    palette.ReleaseSaveBlock(&block);
    return status;
}

// The colours of a palette block, through the library's own reader.
int ReadBlockColours(const Messages& messages, const std::string& library, const std::string& name, Image* image)
{
    LibraryFile file;
    if (const int status = file.Enter(library, messages); status != kExitOk)
        return status;
    Session session;
    return ReadPaletteBlock(session, file, name, image->palette.data(), messages);
}

int WriteSwatch(const Messages& messages, Image& image, const std::string& output)
{
    image.width = image.height = 16 * kCell;
    image.pixels.resize(static_cast<size_t>(image.width) * image.height);
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x)
            image.pixels[static_cast<size_t>(y) * image.width + x] =
                static_cast<unsigned char>((y / kCell) * 16 + x / kCell);
    }
    std::string why;
    if (!WritePng(Absolute(output), image, &why))
        return messages.FailPlain(output + ": " + why);
    std::printf("wrote swatch %s\n", output.c_str());
    return kExitOk;
}

int ReadSource(const Messages& messages, const std::string& path, Image* image)
{
    std::string why;
    return ReadImage(path, image, &why) ? kExitOk : messages.FailPlain(path + ": " + why);
}

}

int main(int argc, char** argv)
{
    const Messages messages("tvxpal", kUsage);
    if (messages.AnsweredHelp(argc, argv))
        return kExitOk;
    const std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty())
        return messages.Usage("a command is needed");
    const std::string& command = args[0];
    Image image;
    int status = kExitOk;
    if (command == "file" && args.size() == 3) {
        if ((status = ReadSource(messages, args[1], &image)) != kExitOk)
            return status;
        return WriteFile(messages, image, args[2]);
    }
    if (command == "block" && args.size() == 4) {
        if ((status = ReadSource(messages, args[1], &image)) != kExitOk)
            return status;
        return WriteBlock(messages, image, args[2], args[3]);
    }
    if (command == "swatch" && (args.size() == 3 || args.size() == 4)) {
        const fs::path output = Absolute(args.back());
        status = args.size() == 3 ? ReadSource(messages, args[1], &image)
                                  : ReadBlockColours(messages, args[1], args[2], &image);
        return status != kExitOk ? status : WriteSwatch(messages, image, output.string());
    }
    if (command == "file" || command == "block" || command == "swatch")
        return messages.Usage("wrong number of arguments for " + command);
    return messages.Usage("unknown command " + command);
}
