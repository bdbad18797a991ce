// The asset tools run as programs on real files. Source images come from
// netpbm, so the tools' own PNG and PCX code is checked against another
// implementation. Native only: the image tools are not built for Windows.
#include "support/workdir.h"

#include <gtest/gtest.h>

#if defined(TVXSPRITE_PATH) && !defined(_WIN32)

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

namespace fs = std::filesystem;

namespace {

int Shell(const std::string& command)
{
    const int status = std::system((command + " 2>err.txt").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string Tool(const char* path, const std::string& arguments)
{
    return std::string(path) + " " + arguments + " >out.txt";
}

// A sheet of 3 x 2 cells of 8 x 6 pixels in eight colours. Whatever colour
// lands at index 0 is transparent, and the contact sheet's background is
// index 0 too, so a round trip gives back the same picture.
void WriteSheet(const char* name, unsigned seed)
{
    std::mt19937 random(seed);
    std::string ppm = "P6 24 12 255\n";
    for (int i = 0; i < 24 * 12; ++i) {
        const unsigned colour = random() % 8;
        for (int bit = 0; bit < 3; ++bit)
            ppm += static_cast<char>(colour >> bit & 1 ? 200 : 0);
    }
    tvxtest::WriteBytes("sheet.ppm", std::vector<unsigned char>(ppm.begin(), ppm.end()));
    ASSERT_EQ(Shell(std::string("pnmtopng sheet.ppm >") + name), 0);
}

// The RGB pixels of a PNG, decoded by netpbm.
std::vector<unsigned char> Pixels(const std::string& png)
{
    EXPECT_EQ(Shell("pngtopnm " + png + " >decoded.ppm"), 0);
    return tvxtest::ReadBytes("decoded.ppm");
}

std::string Errors()
{
    const std::vector<std::string> lines = tvxtest::ReadLines("err.txt");
    return lines.empty() ? "" : lines.front();
}

TEST(AssetTools, SheetAndImageRoundTrips)
{
    WriteSheet("sheet.png", 7);
    ASSERT_EQ(Shell(Tool(TVXSPRITE_PATH, "cut sheet.png ART.LIB tiles --grid 8x6 --compress")), 0) << Errors();
    ASSERT_EQ(Shell(Tool(TVXPAL_PATH, "block sheet.png ART.LIB colours")), 0) << Errors();
    ASSERT_EQ(Shell(Tool(TVXSPRITE_PATH, "sheet ART.LIB tiles back.png --columns 3 --palette colours")), 0)
        << Errors();
    EXPECT_EQ(Pixels("back.png"), Pixels("sheet.png"));

    ASSERT_EQ(Shell(Tool(TVXIMG_PATH, "sheet.png sheet.pcx")), 0) << Errors();
    ASSERT_EQ(Shell("pcxtoppm sheet.pcx >pcx.ppm"), 0);
    EXPECT_EQ(tvxtest::ReadBytes("pcx.ppm"), Pixels("sheet.png"));
    ASSERT_EQ(Shell(Tool(TVXIMG_PATH, "sheet.pcx again.png")), 0) << Errors();
    EXPECT_EQ(Pixels("again.png"), Pixels("sheet.png"));

    // Listed rectangles with hot spots: the grid's own cells, one of them moved.
    tvxtest::WriteBytes("cells.txt", {'#', ' ', 'x', '\n', '8', ' ', '0', ' ', '8', ' ', '6', ' ', '3', ' ', '2', '\n'});
    ASSERT_EQ(Shell(Tool(TVXSPRITE_PATH, "cut sheet.png ART.LIB one --rects cells.txt")), 0) << Errors();
    ASSERT_EQ(Shell(Tool(TVXSPRITE_PATH, "sheet ART.LIB one single.png --palette colours")), 0) << Errors();
    ASSERT_EQ(Shell("pngtopnm sheet.png | pamcut 8 0 8 6 >cell.ppm"), 0);
    EXPECT_EQ(Pixels("single.png"), tvxtest::ReadBytes("cell.ppm"));

    // A sound goes in as the mixer read it: a plain 44-byte header, then its samples.
    ASSERT_EQ(Shell("sox -n -r 8000 -c 1 -b 8 -e unsigned-integer beep.wav synth 0.05 square 500"), 0);
    ASSERT_EQ(Shell(Tool(TVXWAV_PATH, "add beep.wav ART.LIB beep --compress")), 0) << Errors();
    ASSERT_EQ(Shell(Tool(TVXLIB_PATH, "extract ART.LIB beep beep.blk")), 0) << Errors();
    ASSERT_EQ(Shell("sox beep.blk -t raw plain.raw && sox beep.wav -t raw given.raw"), 0);
    const std::vector<unsigned char> block = tvxtest::ReadBytes("beep.blk");
    ASSERT_EQ(block.size(), 44u + 400u);
    EXPECT_EQ(std::vector<unsigned char>(block.begin() + 44, block.end()), tvxtest::ReadBytes("given.raw"));
    EXPECT_EQ(tvxtest::ReadBytes("plain.raw"), tvxtest::ReadBytes("given.raw"));
}

TEST(AssetTools, BadInputFailsWithOneLineAndLeavesTheLibrary)
{
    WriteSheet("sheet.png", 3);
    ASSERT_EQ(Shell(Tool(TVXSPRITE_PATH, "cut sheet.png ART.LIB tiles --grid 8x6")), 0);
    const std::vector<unsigned char> library = tvxtest::ReadBytes("ART.LIB");
    const std::vector<unsigned char> png = tvxtest::ReadBytes("sheet.png");
    tvxtest::WriteBytes("short.png", std::vector<unsigned char>(png.begin(), png.begin() + png.size() / 2));
    tvxtest::WriteBytes("text.png", {'h', 'e', 'l', 'l', 'o'});
    tvxtest::WriteBytes("rgb.ppm", [] {
        std::string ppm = "P6 300 1 255\n";
        for (int i = 0; i < 300; ++i)
            ppm += {char(i), char(i >> 8), char(7)};
        return std::vector<unsigned char>(ppm.begin(), ppm.end());
    }());
    ASSERT_EQ(Shell("pnmtopng rgb.ppm >rgb.png"), 0);
    ASSERT_EQ(Shell("sox -n -r 11025 -c 2 -b 16 stereo.wav synth 0.1 sine 440"), 0);

    struct Case {
        const char* tool;
        const char* arguments;
        int status;
        const char* message;
    } const cases[] = {
        {TVXSPRITE_PATH, "cut missing.png ART.LIB tiles --grid 8x6", 1, "cannot read"},
        {TVXSPRITE_PATH, "cut short.png ART.LIB tiles --grid 8x6", 1, "damaged or truncated PNG"},
        {TVXSPRITE_PATH, "cut text.png ART.LIB tiles --grid 8x6", 1, "neither a PNG nor a PCX"},
        {TVXSPRITE_PATH, "cut rgb.png ART.LIB tiles --grid 8x6", 1, "not a palette image"},
        {TVXSPRITE_PATH, "cut sheet.png ART.LIB tiles --grid 30x6", 1, "no whole grid cell"},
        {TVXSPRITE_PATH, "cut sheet.png ART.LIB tiles --grid 8x6 --rects cells.txt", 2, "exactly one of"},
        {TVXSPRITE_PATH, "cut sheet.png ART.LIB a_name_of_twenty_chr --grid 8x6", 2, "1 to 19 characters"},
        {TVXSPRITE_PATH, "cut sheet.png LONGNAME.LIBX tiles --grid 8x6", 1, "not a legal 8.3 name"},
        {TVXSPRITE_PATH, "sheet ART.LIB nothing out.png", 1, "cannot load set nothing"},
        {TVXPAL_PATH, "swatch ART.LIB tiles out.png", 1, "is not a palette block"},
        {TVXIMG_PATH, "sheet.png out.gif", 2, "must end in .png or .pcx"},
        {TVXWAV_PATH, "add stereo.wav ART.LIB music", 1, "not 8-bit mono PCM"},
        {TVXWAV_PATH, "add short.png ART.LIB music", 1, "not a RIFF WAVE file"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.arguments);
        EXPECT_EQ(Shell(Tool(c.tool, c.arguments)), c.status);
        EXPECT_NE(Errors().find(c.message), std::string::npos) << Errors();
        EXPECT_EQ(tvxtest::ReadLines("err.txt").size(), c.status == 2 ? 2u : 1u);
        EXPECT_EQ(tvxtest::ReadBytes("ART.LIB"), library);
    }
    for (const auto& entry : fs::directory_iterator("."))
        EXPECT_EQ(entry.path().extension() == ".TMP" || entry.path().extension() == ".part", false) << entry.path();
    EXPECT_EQ(Shell(Tool(TVXPAL_PATH, "--help")), 0);
}

}

#endif
