// toolcore.h - what every Tollivex command-line tool shares: messages and
// exit codes, whole-file reads and safe writes, and editing a library file
// through the library's own classes without ever leaving it half-written.
//
// A tool names its library file by any path; the library itself works on
// 8.3 names in the current directory, so LibraryFile moves into the file's
// directory first. Files named on the command line must be made absolute
// (Absolute) before that.
#ifndef TVXTOOL_TOOLCORE_H
#define TVXTOOL_TOOLCORE_H

#include <tollivex.h>

#include <filesystem>
#include <string>
#include <vector>

namespace tvxtool {

namespace fs = std::filesystem;

enum Exit { kExitOk = 0, kExitFailure = 1, kExitUsage = 2 };

// One line per problem on stderr, prefixed by the tool's name.
class Messages {
public:
    Messages(const char* tool, const char* usage) : tool(tool), usage(usage) {}

    // Prints the usage text when --help or -h is among the arguments.
    bool AnsweredHelp(int argc, char** argv) const;
    int Fail(const std::string& what, unsigned code) const;
    int FailPlain(const std::string& sentence) const;
    int Usage(const std::string& problem) const;
    // "what: done/total" on one updated stderr line, for long work.
    void Progress(const char* what, size_t done, size_t total) const;

private:
    const char* tool;
    const char* usage;
};

// A sentence for a library error code.
const char* ExplainError(unsigned code);

// A NUL-terminated copy the library's char* parameters may take.
std::vector<char> Writable(const std::string& text);
fs::path Absolute(const std::string& path);

bool ReadWholeFile(const fs::path& path, std::vector<unsigned char>* bytes);
// Writes under a temporary name and renames at the end: a failed write
// leaves neither a partial file nor a damaged old one.
bool WriteWholeFile(const fs::path& path, const unsigned char* data, size_t size);

// The library's objects, as every tool sets them up.
struct Session {
    Session() : disk(&memory), library(&memory, &disk) {}
    ~Session() { disk.CloseAllFiles(); }

    MemManager memory;
    DiskData disk;
    Library library;
};

// A library file named on the command line: the tool moves into its
// directory and the library sees its 8.3 base name.
class LibraryFile {
public:
    // kExitOk, or the failure's exit status once said: the directory cannot
    // be entered or the base name is not a legal 8.3 name.
    int Enter(const std::string& path, const Messages& messages);

    std::string name;
};

// A scratch copy of a library file that replaces it on Commit and is
// deleted otherwise, so a failed change leaves the file as it was.
class ScratchCopy {
public:
    explicit ScratchCopy(const std::string& target);
    ~ScratchCopy();
    ScratchCopy(const ScratchCopy&) = delete;
    ScratchCopy& operator=(const ScratchCopy&) = delete;

    bool Prepare();
    bool Commit();

    std::string name;

private:
    std::string target;
    bool committed = false;
};

// Stores one block in a library file through a scratch copy. flags are
// Library::AddLibrary's (LIB_ADD_CREATE is always added). Returns an exit
// status, having said what went wrong.
int AddBlock(Session& session, const LibraryFile& file, const std::string& block, unsigned long type,
             const unsigned char* data, size_t size, unsigned long flags, const Messages& messages);

// Reads one block, expanded, registering the file first.
int ReadBlock(Session& session, const LibraryFile& file, const std::string& block,
              std::vector<unsigned char>* data, const Messages& messages);
// The 256 red, green, blue triples of a palette block, through the
// library's own palette reader.
int ReadPaletteBlock(Session& session, const LibraryFile& file, const std::string& block,
                     unsigned char* triples, const Messages& messages);

// "SPR1" and friends as the library stores them.
constexpr unsigned long FourCC(const char (&code)[5])
{
    return static_cast<unsigned long>(static_cast<unsigned char>(code[0])) |
           static_cast<unsigned long>(static_cast<unsigned char>(code[1])) << 8 |
           static_cast<unsigned long>(static_cast<unsigned char>(code[2])) << 16 |
           static_cast<unsigned long>(static_cast<unsigned char>(code[3])) << 24;
}

}

#endif
