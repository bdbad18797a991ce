// toolcore.cpp - messages, files and library-file editing for the tools.
#include "toolcore.h"

#include <cstdio>
#include <cstring>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif
#include <fstream>
#include <iterator>

namespace tvxtool {

namespace {
bool StderrIsTerminal()
{
#ifdef _WIN32
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(fileno(stderr)) != 0;
#endif
}
}

bool Messages::AnsweredHelp(int argc, char** argv) const
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(usage, stdout);
            return true;
        }
    }
    return false;
}

int Messages::Fail(const std::string& what, unsigned code) const
{
    std::fprintf(stderr, "%s: %s: error %u: %s\n", tool, what.c_str(), code, ExplainError(code));
    return kExitFailure;
}

int Messages::FailPlain(const std::string& sentence) const
{
    std::fprintf(stderr, "%s: %s\n", tool, sentence.c_str());
    return kExitFailure;
}

int Messages::Usage(const std::string& problem) const
{
    std::fprintf(stderr, "%s: %s\nRun %s --help for usage.\n", tool, problem.c_str(), tool);
    return kExitUsage;
}

void Messages::Progress(const char* what, size_t done, size_t total) const
{
    // Only a person watching a terminal needs it; logs stay clean.
    if (!StderrIsTerminal())
        return;
    std::fprintf(stderr, "\r%s: %zu/%zu", what, done, total);
    if (done == total)
        std::fputc('\n', stderr);
}

const char* ExplainError(unsigned code)
{
    switch (code) {
    case ERR_NO_MEMORY: return "There is not enough memory.";
    case ERR_DISK_OPEN: return "A file could not be opened.";
    case ERR_DISK_READ: return "A file ended before the expected data.";
    case ERR_DISK_WRITE: return "A file could not be written completely.";
    case ERR_DISK_SEEK: return "A position in a file could not be reached.";
    case ERR_DISK_NO_MEMORY: return "There is not enough memory for a disk operation.";
    case ERR_DISK_PAST_END: return "The data would start at or past the end of the file.";
    case ERR_DISK_CHDIR: return "The working directory could not be changed.";
    case ERR_LIB_NO_MEMORY: return "There is not enough memory for the block list.";
    case ERR_LIB_BAD_NAME: return "The library file name is not a legal 8.3 name.";
    case ERR_LIB_NO_MATCH: return "No file matches the library file name.";
    case ERR_LIB_NOT_LIBRARY: return "The file is not a library file (wrong magic or newer version).";
    case ERR_LIB_BAD_BLOCK_TAG: return "A block header is damaged (no LIBBLK tag).";
    case ERR_LIB_NO_FILE: return "The library file does not exist.";
    case ERR_LIB_DISK: return "Reading or rewriting the library file failed; it may be truncated or damaged.";
    case ERR_LIB_NO_BLOCK: return "There is no block of that name.";
    case ERR_LIB_SHORT_READ: return "The library file ends inside a header.";
    case ERR_LIB_SHORT_WRITE: return "The library file could not be written completely.";
    case ERR_LIB_BLOCK_EXISTS: return "A block of that name exists already (use --replace).";
    case ERR_LIB_BLOCK_COUNT: return "The block count in the file header cannot be changed.";
    case ERR_LIB_EXPAND: return "A compressed block does not expand to its stored length.";
    case ERR_LIB_COMPRESS: return "Compressing the block failed.";
    case ERR_LZSS_OUTPUT_FULL: return "A compressed block expands past its stored length.";
    case ERR_WAVE_NO_FILE: return "The WAVE file does not exist.";
    case ERR_WAVE_OPEN: return "The WAVE file could not be opened.";
    case ERR_WAVE_READ: return "The WAVE file ends early or a chunk claims more than it holds.";
    case ERR_WAVE_NOT_WAVE: return "The file is not a RIFF WAVE file.";
    case ERR_WAVE_FORMAT: return "The sound is not 8-bit mono PCM, the only form the mixer plays.";
    default: return "The operation failed.";
    }
}

std::vector<char> Writable(const std::string& text)
{
    std::vector<char> buffer(text.begin(), text.end());
    buffer.push_back('\0');
    return buffer;
}

fs::path Absolute(const std::string& path)
{
    std::error_code error;
    fs::path absolute = fs::absolute(path, error);
    return error ? fs::path(path) : absolute;
}

bool ReadWholeFile(const fs::path& path, std::vector<unsigned char>* bytes)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

bool WriteWholeFile(const fs::path& path, const unsigned char* data, size_t size)
{
    fs::path part = path;
    part += ".part";
    {
        std::ofstream out(part, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        out.close();
        if (!out) {
            std::error_code ignored;
            fs::remove(part, ignored);
            return false;
        }
    }
    std::error_code error;
    fs::rename(part, path, error);
    if (error) {
        fs::remove(part, error);
        return false;
    }
    return true;
}

int LibraryFile::Enter(const std::string& path, const Messages& messages)
{
    name = path;
    const size_t separator = path.find_last_of("/\\");
    if (separator != std::string::npos) {
        const std::string directory = path.substr(0, separator + 1);
        std::error_code error;
        fs::current_path(directory, error);
        if (error)
            return messages.FailPlain("cannot change to the directory " + directory);
        name = path.substr(separator + 1);
    }
    std::vector<char> writable = Writable(name);
    if (IsLegalDOSFn(writable.data(), nullptr) == 0 || std::strpbrk(writable.data(), "*?") != nullptr)
        return messages.Fail("cannot use " + name, ERR_LIB_BAD_NAME);
    return kExitOk;
}

ScratchCopy::ScratchCopy(const std::string& target) : target(target)
{
    for (unsigned n = 0; n < 10000 && name.empty(); ++n) {
        char candidate[16];
        std::snprintf(candidate, sizeof(candidate), "TVXL%04u.TMP", n);
        if (!fs::exists(candidate))
            name = candidate;
    }
}

ScratchCopy::~ScratchCopy()
{
    if (!committed && !name.empty()) {
        std::error_code ignored;
        fs::remove(name, ignored);
    }
}

bool ScratchCopy::Prepare()
{
    if (name.empty())
        return false;
    if (!fs::exists(target))
        return true; // the library creates it
    std::error_code error;
    return fs::copy_file(target, name, fs::copy_options::overwrite_existing, error);
}

bool ScratchCopy::Commit()
{
    std::error_code error;
    fs::rename(name, target, error);
    committed = !error;
    return committed;
}

int AddBlock(Session& session, const LibraryFile& file, const std::string& block, unsigned long type,
             const unsigned char* data, size_t size, unsigned long flags, const Messages& messages)
{
    if (block.empty() || block.size() > 19)
        return messages.Usage("block names have 1 to 19 characters: " + block);
    ScratchCopy scratch(file.name);
    if (!scratch.Prepare())
        return messages.FailPlain("cannot make a scratch copy of " + file.name);
    std::vector<char> scratchName = Writable(scratch.name);
    std::vector<char> blockName = Writable(block);
    std::vector<unsigned char> bytes(data, data + size);
    unsigned long stored = 0;
    if (session.library.AddLibrary(scratchName.data(), blockName.data(), type, bytes.empty() ? nullptr : bytes.data(),
                                   bytes.size(), &stored, flags | LIB_ADD_CREATE) == ERR_FAILURE)
        return messages.Fail("cannot add " + block + " to " + file.name, session.library.errorCode);
    if (!scratch.Commit())
        return messages.FailPlain("cannot replace " + file.name + " with the changed copy");
    std::printf("added %s to %s: %zu bytes, %lu stored%s\n", block.c_str(), file.name.c_str(), size, stored,
                flags & LIB_ADD_COMPRESS ? " (compressed)" : "");
    return kExitOk;
}

int ReadBlock(Session& session, const LibraryFile& file, const std::string& block,
              std::vector<unsigned char>* data, const Messages& messages)
{
    std::vector<char> fileName = Writable(file.name);
    if (session.library.RegisterBlocks(fileName.data(), LIB_ALL_TYPES) == ERR_FAILURE)
        return messages.Fail("cannot read " + file.name, session.library.errorCode);
    std::vector<char> blockName = Writable(block);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    if (session.library.RequestLibrary(blockName.data(), &bytes, &size) == ERR_FAILURE)
        return messages.Fail("cannot read block " + block, session.library.errorCode);
    data->assign(bytes, bytes + size);
    session.library.ReleaseLibrary(&bytes);
    return kExitOk;
}

int ReadPaletteBlock(Session& session, const LibraryFile& file, const std::string& block,
                     unsigned char* triples, const Messages& messages)
{
    std::vector<unsigned char> bytes;
    if (const int status = ReadBlock(session, file, block, &bytes, messages); status != kExitOk)
        return status;
    Palette palette(&session.memory);
    std::vector<char> name = Writable(block);
    if (palette.PaletteFromBlock(name.data(), bytes.data(), bytes.size()) == ERR_FAILURE)
        return messages.Fail(block + " is not a palette block", palette.errorCode);
    for (int i = 0; i < 256; ++i)
        palette.QueryRGB(i, &triples[i * 3], &triples[i * 3 + 1], &triples[i * 3 + 2]);
    return kExitOk;
}

}
