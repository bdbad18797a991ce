// tvxwav - checks a WAVE file exactly as the sound mixer loads it and stores
// its samples as a block of a library file.
//
// The block is a WAVE file of its own in the plainest layout: a 44-byte
// header (RIFF, a 16-byte format chunk, the data chunk's header) followed by
// the samples the mixer read, so a game finds the rate at byte 24, the
// sample count at byte 40 and the samples from byte 44 on, and any WAVE
// reader still takes the block as it stands.
#include "toolcore.h"

#include <tollivex/headless.h>

#include <cstdio>
#include <string>

namespace {

using namespace tvxtool;

const char* const kUsage =
    "Usage: tvxwav check WAVE\n"
    "       tvxwav add WAVE LIB NAME [--compress]\n"
    "\n"
    "check  load WAVE as the sound mixer does and describe it\n"
    "add    the same, then store its samples as block NAME (type WAVE) of\n"
    "       library file LIB, replacing a block of that name\n"
    "The mixer takes 8-bit mono PCM. Exit status: 0 on success, 1 when the\n"
    "file is refused or the library cannot be written, 2 on a usage error.\n";

const Messages kMessages("tvxwav", kUsage);

void Put32(std::vector<unsigned char>& out, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<unsigned char>(value >> (8 * i)));
}

void Put16(std::vector<unsigned char>& out, unsigned value)
{
    out.push_back(static_cast<unsigned char>(value));
    out.push_back(static_cast<unsigned char>(value >> 8));
}

std::vector<unsigned char> PlainWave(const _SOUNDHDR& header)
{
    std::vector<unsigned char> out{'R', 'I', 'F', 'F'};
    Put32(out, 36 + header.dataLength);
    out.insert(out.end(), {'W', 'A', 'V', 'E', 'f', 'm', 't', ' '});
    Put32(out, 16);
    Put16(out, 1); // PCM
    Put16(out, header.channels);
    Put32(out, header.sampleRate);
    Put32(out, header.sampleRate * header.channels);
    Put16(out, header.channels);
    Put16(out, 8);
    out.insert(out.end(), {'d', 'a', 't', 'a'});
    Put32(out, header.dataLength);
    out.insert(out.end(), header.data, header.data + header.dataLength);
    return out;
}

// The mixer leaves its pre-mix to its owner.
void Close(Session& session, Digimix& mixer)
{
    mixer.UninitSoundCard();
    void* preMix = mixer.preMix;
    session.memory.Free(&preMix);
}

// Loads the file through a mixer on the headless sound device, from inside
// the file's directory (the mixer takes 8.3 names there).
int Load(const fs::path& path, std::vector<unsigned char>* block)
{
    LibraryFile file;
    if (const int status = file.Enter(path.string(), kMessages); status != kExitOk)
        return status;
    Session session;
    Digimix mixer(&session.memory);
    if (mixer.InitSoundCard(HeadlessWindow(), 22050, 1, 8) == ERR_FAILURE)
        return kMessages.FailPlain("the sound mixer cannot open its device");
    std::vector<char> name = Writable(file.name);
    _SOUNDHDR header{};
    if (mixer.LoadWAVE(&session.disk, name.data(), &header, 0) == ERR_FAILURE) {
        Close(session, mixer);
        return kMessages.Fail(file.name + " is refused by the mixer", mixer.errorCode);
    }
    std::printf("%s: %u channel%s, %u Hz, %u samples (%.2f s)\n", file.name.c_str(), unsigned(header.channels),
                header.channels == 1 ? "" : "s", unsigned(header.sampleRate), unsigned(header.dataLength),
                header.sampleRate ? double(header.dataLength) / header.sampleRate / header.channels : 0.0);
    *block = PlainWave(header);
    mixer.FreeSound(&header);
    Close(session, mixer);
    return kExitOk;
}

}

int main(int argc, char** argv)
{
    if (kMessages.AnsweredHelp(argc, argv))
        return kExitOk;
    std::vector<std::string> args;
    bool compress = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--compress")
            compress = true;
        else if (arg.rfind("--", 0) == 0)
            return kMessages.Usage("unknown option " + arg);
        else
            args.push_back(arg);
    }
    const bool check = args.size() == 2 && args[0] == "check";
    const bool add = args.size() == 4 && args[0] == "add";
    if (!check && !add)
        return kMessages.Usage("tvxwav check WAVE, or tvxwav add WAVE LIB NAME");
    const fs::path start = fs::current_path();
    const fs::path wave = Absolute(args[1]);
    std::vector<unsigned char> block;
    if (const int status = Load(wave, &block); status != kExitOk || check)
        return status;

    fs::current_path(start);
    LibraryFile library;
    if (const int status = library.Enter(args[2], kMessages); status != kExitOk)
        return status;
    Session session;
    return AddBlock(session, library, args[3], FourCC("WAVE"), block.data(), block.size(),
                    LIB_ADD_REPLACE | (compress ? LIB_ADD_COMPRESS : 0), kMessages);
}
