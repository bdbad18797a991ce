// tvxlib - list, add, extract, remove, rename and verify the blocks of a
// Tollivex library file, through the library's own Library and DiskData.
//
// The library works on 8.3 names relative to the current directory, so the
// tool changes into the library file's directory first and names the file
// by its base name. Changes are made to a scratch copy beside the file,
// which replaces the file only when the whole operation succeeded; output
// files are written under a temporary name and renamed at the end. So a
// failure the tool can see never leaves a half-written file behind.
#include <tollivex.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

const int kExitOk = 0;
const int kExitFailure = 1;
const int kExitUsage = 2;

const char* const kUsage =
    "Usage: tvxlib <command> <library file> [arguments]\n"
    "\n"
    "Commands:\n"
    "  list    LIB                    list every block: name, type, stored size,\n"
    "                                 expanded size and whether it is compressed\n"
    "  add     LIB NAME FILE [options]\n"
    "                                 store FILE as block NAME (LIB is created if missing)\n"
    "      --type CODE                four-character type code, or 0x and eight hex\n"
    "                                 digits (default DATA)\n"
    "      --replace                  replace a block of the same name\n"
    "      --compress                 store the data LZSS-compressed\n"
    "  extract LIB NAME FILE          write block NAME, expanded, to FILE\n"
    "  remove  LIB NAME               remove block NAME\n"
    "  rename  LIB NAME NEWNAME       rename block NAME to NEWNAME\n"
    "  verify  LIB                    read every block back, expanding compressed ones\n"
    "  --help                         show this text\n"
    "\n"
    "LIB must be an 8.3 file name (it may be in another directory). Block names\n"
    "have at most 19 characters and are case-sensitive. Exit status: 0 on success,\n"
    "1 when an operation failed, 2 on a usage error.\n";

const char* Explain(unsigned code)
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
    default: return "The operation failed.";
    }
}

int Fail(const std::string& what, unsigned code)
{
    std::fprintf(stderr, "tvxlib: %s: error %u: %s\n", what.c_str(), code, Explain(code));
    return kExitFailure;
}

int FailPlain(const std::string& sentence)
{
    std::fprintf(stderr, "tvxlib: %s\n", sentence.c_str());
    return kExitFailure;
}

int Usage(const std::string& problem)
{
    std::fprintf(stderr, "tvxlib: %s\nRun tvxlib --help for usage.\n", problem.c_str());
    return kExitUsage;
}

std::vector<char> Writable(const std::string& text)
{
    std::vector<char> buffer(text.begin(), text.end());
    buffer.push_back('\0');
    return buffer;
}

std::string TypeText(uint32_t type)
{
    char text[5];
    for (int i = 0; i < 4; ++i) {
        text[i] = static_cast<char>(type >> (8 * i));
        if (!std::isprint(static_cast<unsigned char>(text[i]))) {
            char hex[16];
            std::snprintf(hex, sizeof(hex), "0x%08X", static_cast<unsigned>(type));
            return hex;
        }
    }
    text[4] = '\0';
    return text;
}

bool ParseType(const std::string& text, unsigned long* type)
{
    if (text.size() == 10 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        char* end = nullptr;
        const unsigned long value = std::strtoul(text.c_str() + 2, &end, 16);
        if (*end != '\0')
            return false;
        *type = value & 0xFFFFFFFFul;
        return true;
    }
    if (text.size() != 4)
        return false;
    *type = 0;
    for (int i = 0; i < 4; ++i)
        *type |= static_cast<unsigned long>(static_cast<unsigned char>(text[i])) << (8 * i);
    return true;
}

bool ReadWholeFile(const fs::path& path, std::vector<unsigned char>* bytes)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

// Writes under a temporary name and renames at the end: a failed write
// leaves neither a partial file nor a damaged old one.
bool WriteWholeFile(const fs::path& path, const unsigned char* data, unsigned long size)
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

// The objects every command works with, set up in the library's directory.
class Session {
public:
    Session() : disk(&memory), library(&memory, &disk) {}
    ~Session() { disk.CloseAllFiles(); }

    MemManager memory;
    DiskData disk;
    Library library;
};

// A scratch copy of the library file that replaces it on Commit and is
// deleted otherwise.
class ScratchCopy {
public:
    explicit ScratchCopy(const std::string& target) : target(target)
    {
        for (unsigned n = 0; n < 10000 && name.empty(); ++n) {
            char candidate[16];
            std::snprintf(candidate, sizeof(candidate), "TVXL%04u.TMP", n);
            if (!fs::exists(candidate))
                name = candidate;
        }
    }
    ~ScratchCopy()
    {
        if (!committed && !name.empty()) {
            std::error_code ignored;
            fs::remove(name, ignored);
        }
    }

    bool Prepare()
    {
        if (name.empty())
            return false;
        if (!fs::exists(target))
            return true; // the library creates it
        std::error_code error;
        return fs::copy_file(target, name, fs::copy_options::overwrite_existing, error);
    }

    bool Commit()
    {
        std::error_code error;
        fs::rename(name, target, error);
        committed = !error;
        return committed;
    }

    std::string name;

private:
    std::string target;
    bool committed = false;
};

struct Arguments {
    std::string command;
    std::string library;
    std::vector<std::string> rest;
    unsigned long type = 0x41544144; // "DATA"
    bool replace = false;
    bool compress = false;
};

int List(Session& session, std::vector<char>& lib)
{
    _LIBDATA* contents = nullptr;
    if (session.library.RequestContents(lib.data(), &contents) == ERR_FAILURE)
        return Fail("cannot list " + std::string(lib.data()), session.library.errorCode);

    // The contents list runs newest first; show the blocks in file order.
    std::vector<const _LIBDATA*> blocks;
    for (const _LIBDATA* record = contents; record != nullptr; record = record->next)
        blocks.insert(blocks.begin(), record);
    std::printf("%-19s  %-10s  %10s  %10s  %s\n", "name", "type", "stored", "expanded", "compressed");
    for (const _LIBDATA* record : blocks) {
        std::string expanded = std::to_string(record->size);
        if (record->compressed == 1) {
            unsigned long length = 4;
            unsigned char* head = nullptr;
            char file[sizeof(record->fileName)];
            std::memcpy(file, record->fileName, sizeof(file));
            if (record->size >= 4 && session.disk.RequestBlock(file, record->offset, &length, &head) == ERR_OK) {
                expanded = std::to_string(uint32_t(head[0]) | uint32_t(head[1]) << 8 | uint32_t(head[2]) << 16 |
                                          uint32_t(head[3]) << 24);
                session.disk.ReleaseBlock(&head);
            } else {
                expanded = "?";
            }
        }
        std::printf("%-19s  %-10s  %10u  %10s  %s\n", record->name, TypeText(record->type).c_str(),
                    static_cast<unsigned>(record->size), expanded.c_str(), record->compressed == 1 ? "yes" : "no");
    }
    std::printf("%zu block%s\n", blocks.size(), blocks.size() == 1 ? "" : "s");
    session.library.ReleaseContents(&contents);
    return kExitOk;
}

int Add(Session& session, const Arguments& args, const fs::path& source)
{
    std::vector<unsigned char> data;
    if (!ReadWholeFile(source, &data))
        return FailPlain("cannot read " + source.string());
    ScratchCopy scratch(args.library);
    if (!scratch.Prepare())
        return FailPlain("cannot make a scratch copy of " + args.library);
    std::vector<char> file = Writable(scratch.name);
    std::vector<char> name = Writable(args.rest[0]);
    unsigned long flags = LIB_ADD_CREATE;
    if (args.replace)
        flags |= LIB_ADD_REPLACE;
    if (args.compress)
        flags |= LIB_ADD_COMPRESS;
    unsigned long stored = 0;
    if (session.library.AddLibrary(file.data(), name.data(), args.type, data.empty() ? nullptr : data.data(),
                                   data.size(), &stored, flags) == ERR_FAILURE)
        return Fail("cannot add " + args.rest[0] + " to " + args.library, session.library.errorCode);
    if (!scratch.Commit())
        return FailPlain("cannot replace " + args.library + " with the changed copy");
    std::printf("added %s: %zu bytes, %lu stored%s\n", args.rest[0].c_str(), data.size(), stored,
                args.compress ? " (compressed)" : "");
    return kExitOk;
}

int Extract(Session& session, std::vector<char>& lib, const std::string& block, const fs::path& target)
{
    if (session.library.RegisterBlocks(lib.data(), LIB_ALL_TYPES) == ERR_FAILURE)
        return Fail("cannot read " + std::string(lib.data()), session.library.errorCode);
    std::vector<char> name = Writable(block);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    if (session.library.RequestLibrary(name.data(), &data, &size) == ERR_FAILURE)
        return Fail("cannot read block " + block, session.library.errorCode);
    const bool written = WriteWholeFile(target, data, size);
    session.library.ReleaseLibrary(&data);
    if (!written)
        return FailPlain("cannot write " + target.string());
    std::printf("extracted %s: %lu bytes\n", block.c_str(), size);
    return kExitOk;
}

int Remove(Session& session, const Arguments& args)
{
    if (!fs::exists(args.library))
        return Fail("cannot remove " + args.rest[0], ERR_LIB_NO_FILE);
    ScratchCopy scratch(args.library);
    if (!scratch.Prepare())
        return FailPlain("cannot make a scratch copy of " + args.library);
    std::vector<char> file = Writable(scratch.name);
    std::vector<char> name = Writable(args.rest[0]);
    if (session.library.RemoveLibrary(file.data(), name.data()) == ERR_FAILURE)
        return Fail("cannot remove " + args.rest[0] + " from " + args.library, session.library.errorCode);
    if (!scratch.Commit())
        return FailPlain("cannot replace " + args.library + " with the changed copy");
    std::printf("removed %s\n", args.rest[0].c_str());
    return kExitOk;
}

int Rename(Session& session, const Arguments& args)
{
    if (!fs::exists(args.library))
        return Fail("cannot rename " + args.rest[0], ERR_LIB_NO_FILE);
    ScratchCopy scratch(args.library);
    if (!scratch.Prepare())
        return FailPlain("cannot make a scratch copy of " + args.library);
    std::vector<char> file = Writable(scratch.name);
    if (session.library.RegisterBlocks(file.data(), LIB_ALL_TYPES) == ERR_FAILURE)
        return Fail("cannot read " + args.library, session.library.errorCode);
    std::vector<char> name = Writable(args.rest[0]);
    std::vector<char> newName = Writable(args.rest[1]);
    _LIBDATA existing;
    if (session.library.RequestLibData(newName.data(), &existing) == ERR_OK)
        return Fail("cannot rename " + args.rest[0] + " to " + args.rest[1], ERR_LIB_BLOCK_EXISTS);
    if (session.library.RenameLibrary(name.data(), newName.data()) == ERR_FAILURE)
        return Fail("cannot rename " + args.rest[0], session.library.errorCode);
    if (!scratch.Commit())
        return FailPlain("cannot replace " + args.library + " with the changed copy");
    std::printf("renamed %s to %s\n", args.rest[0].c_str(), args.rest[1].c_str());
    return kExitOk;
}

int Verify(Session& session, std::vector<char>& lib)
{
    if (session.library.RegisterBlocks(lib.data(), LIB_ALL_TYPES) == ERR_FAILURE)
        return Fail("cannot read " + std::string(lib.data()), session.library.errorCode);
    _LIBDATA* contents = nullptr;
    if (session.library.RequestContents(lib.data(), &contents) == ERR_FAILURE)
        return Fail("cannot list " + std::string(lib.data()), session.library.errorCode);
    unsigned checked = 0;
    unsigned bad = 0;
    for (_LIBDATA* record = contents; record != nullptr; record = record->next) {
        unsigned char* data = nullptr;
        unsigned long size = 0;
        ++checked;
        if (session.library.RequestLibrary(record->name, &data, &size) == ERR_FAILURE) {
            ++bad;
            Fail("block " + std::string(record->name), session.library.errorCode);
            continue;
        }
        session.library.ReleaseLibrary(&data);
        std::printf("%-19s  ok, %lu bytes\n", record->name, size);
    }
    session.library.ReleaseContents(&contents);
    if (bad > 0) {
        std::fprintf(stderr, "tvxlib: %u of %u blocks cannot be read\n", bad, checked);
        return kExitFailure;
    }
    std::printf("all %u blocks read back\n", checked);
    return kExitOk;
}

// Splits argv into the command, its operands and the add options.
int Parse(int argc, char** argv, Arguments* args)
{
    std::vector<std::string> operands;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--replace")
            args->replace = true;
        else if (arg == "--compress")
            args->compress = true;
        else if (arg == "--type") {
            if (++i >= argc || !ParseType(argv[i], &args->type))
                return Usage("--type needs a four-character code or 0x and eight hex digits");
        } else if (arg.size() > 1 && arg[0] == '-')
            return Usage("unknown option " + arg);
        else
            operands.push_back(arg);
    }
    if (operands.size() < 2)
        return Usage("a command and a library file are needed");
    args->command = operands[0];
    args->library = operands[1];
    args->rest.assign(operands.begin() + 2, operands.end());

    struct Shape {
        const char* command;
        size_t operands;
    };
    static const Shape shapes[] = {{"list", 0}, {"add", 2}, {"extract", 2}, {"remove", 1}, {"rename", 2}, {"verify", 0}};
    for (const Shape& shape : shapes) {
        if (args->command != shape.command)
            continue;
        if (args->rest.size() != shape.operands)
            return Usage("wrong number of arguments for " + args->command);
        if ((args->replace || args->compress) && args->command != "add")
            return Usage("--replace and --compress belong to add");
        for (size_t i = 0; i < args->rest.size(); ++i) {
            const bool isBlockName = i == 0 || args->command == "rename";
            if (isBlockName && (args->rest[i].empty() || args->rest[i].size() > 19))
                return Usage("block names have 1 to 19 characters: " + args->rest[i]);
        }
        return kExitOk;
    }
    return Usage("unknown command " + args->command);
}

} // namespace

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(kUsage, stdout);
            return kExitOk;
        }
    }
    Arguments args;
    if (const int status = Parse(argc, argv, &args); status != kExitOk)
        return status;

    // Files named on the command line are taken relative to where the tool
    // was started, before it moves into the library's directory.
    std::error_code error;
    fs::path other;
    if ((args.command == "add" || args.command == "extract") && !args.rest.empty())
        other = fs::absolute(args.rest[1], error);
    const size_t separator = args.library.find_last_of("/\\");
    if (separator != std::string::npos) {
        const std::string directory = args.library.substr(0, separator + 1);
        fs::current_path(directory, error);
        if (error)
            return FailPlain("cannot change to the directory " + directory);
        args.library = args.library.substr(separator + 1);
    }
    std::vector<char> lib = Writable(args.library);
    if (IsLegalDOSFn(lib.data(), nullptr) == 0 || std::strpbrk(lib.data(), "*?") != nullptr)
        return Fail("cannot use " + args.library, ERR_LIB_BAD_NAME);

    Session session;
    if (args.command == "list")
        return List(session, lib);
    if (args.command == "add")
        return Add(session, args, other);
    if (args.command == "extract")
        return Extract(session, lib, args.rest[0], other);
    if (args.command == "remove")
        return Remove(session, args);
    if (args.command == "rename")
        return Rename(session, args);
    return Verify(session, lib);
}
