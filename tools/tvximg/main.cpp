// tvximg - converts palettised images between PNG and PCX, reading PCX with
// the library's painter and writing it with the library's writer, so what it
// makes is exactly what a game reads.
#include "image.h"
#include "toolcore.h"

#include <cstdio>
#include <string>

namespace {

const char* const kUsage =
    "Usage: tvximg IN OUT\n"
    "\n"
    "Converts IN (PNG or PCX) to OUT, whose format follows its extension:\n"
    "  .png   an 8-bit palette PNG\n"
    "  .pcx   an 8-bit, one-plane PCX with its palette at the end\n"
    "PNG input must be a palette or 8-bit grey image. Exit status: 0 on\n"
    "success, 1 when the conversion failed, 2 on a usage error.\n";

bool EndsWith(const std::string& text, const char* ending)
{
    const std::string tail(ending);
    if (text.size() < tail.size())
        return false;
    for (size_t i = 0; i < tail.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(text[text.size() - tail.size() + i])) != tail[i])
            return false;
    }
    return true;
}

}

int main(int argc, char** argv)
{
    const tvxtool::Messages messages("tvximg", kUsage);
    if (messages.AnsweredHelp(argc, argv))
        return tvxtool::kExitOk;
    if (argc != 3)
        return messages.Usage("an input and an output file are needed");
    const std::string output = argv[2];
    const bool toPng = EndsWith(output, ".png");
    if (!toPng && !EndsWith(output, ".pcx"))
        return messages.Usage("the output must end in .png or .pcx: " + output);

    tvxtool::Image image;
    std::string why;
    if (!tvxtool::ReadImage(argv[1], &image, &why))
        return messages.FailPlain(std::string(argv[1]) + ": " + why);
    const bool written = toPng ? tvxtool::WritePng(output, image, &why) : tvxtool::WritePcx(output, image, &why);
    if (!written)
        return messages.FailPlain(output + ": " + why);
    std::printf("%s: %d x %d\n", output.c_str(), image.width, image.height);
    return tvxtool::kExitOk;
}
