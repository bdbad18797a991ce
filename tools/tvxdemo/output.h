// output.h - what the demo leaves behind: frames as PNG, a contact sheet of
// them, and sound as WAVE. Written by hand (stored, uncompressed deflate
// blocks) so every build, Windows included, writes the same bytes.
#ifndef TVXDEMO_OUTPUT_H
#define TVXDEMO_OUTPUT_H

#include <string>
#include <vector>

struct Frame {
    int width = 0;
    int height = 0;
    std::vector<unsigned char> rgb; // width * height * 3
};

bool WritePng(const std::string& path, const Frame& frame);
bool WriteWave(const std::string& path, const std::vector<unsigned char>& samples, unsigned rate);
// The frames side by side, `columns` to a row, each scaled down by `shrink`.
Frame ContactSheet(const std::vector<Frame>& frames, int columns, int shrink);

#endif
