// tvxlib - list, add, extract, remove, rename and verify the blocks of a
// Tollivex library file, through the library's own Library and DiskData.
//
// The library works on 8.3 names relative to the current directory, so the
// tool changes into the library file's directory first and names the file
// by its base name. Changes are made to a scratch copy beside the file,
// which replaces the file only when the whole operation succeeded; output
// files are written under a temporary name and renamed at the end. So a
// failure the tool can see never leaves a half-written file behind.
#include "toolcore.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using namespace tvxtool;

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

const Messages kMessages("tvxlib", kUsage);

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
        return kMessages.Fail("cannot list " + std::string(lib.data()), session.library.errorCode);

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
        return kMessages.FailPlain("cannot read " + source.string());
    LibraryFile file;
    file.name = args.library;
    unsigned long flags = args.replace ? LIB_ADD_REPLACE : 0;
    if (args.compress)
        flags |= LIB_ADD_COMPRESS;
    return AddBlock(session, file, args.rest[0], args.type, data.data(), data.size(), flags, kMessages);
}

int Extract(Session& session, std::vector<char>& lib, const std::string& block, const fs::path& target)
{
    if (session.library.RegisterBlocks(lib.data(), LIB_ALL_TYPES) == ERR_FAILURE)
        return kMessages.Fail("cannot read " + std::string(lib.data()), session.library.errorCode);
    std::vector<char> name = Writable(block);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    if (session.library.RequestLibrary(name.data(), &data, &size) == ERR_FAILURE)
        return kMessages.Fail("cannot read block " + block, session.library.errorCode);
    const bool written = WriteWholeFile(target, data, size);
    session.library.ReleaseLibrary(&data);
    if (!written)
        return kMessages.FailPlain("cannot write " + target.string());
    std::printf("extracted %s: %lu bytes\n", block.c_str(), size);
    return kExitOk;
}

int Remove(Session& session, const Arguments& args)
{
    if (!fs::exists(args.library))
        return kMessages.Fail("cannot remove " + args.rest[0], ERR_LIB_NO_FILE);
    ScratchCopy scratch(args.library);
    if (!scratch.Prepare())
        return kMessages.FailPlain("cannot make a scratch copy of " + args.library);
    std::vector<char> file = Writable(scratch.name);
    std::vector<char> name = Writable(args.rest[0]);
    if (session.library.RemoveLibrary(file.data(), name.data()) == ERR_FAILURE)
        return kMessages.Fail("cannot remove " + args.rest[0] + " from " + args.library, session.library.errorCode);
    if (!scratch.Commit())
        return kMessages.FailPlain("cannot replace " + args.library + " with the changed copy");
    std::printf("removed %s\n", args.rest[0].c_str());
    return kExitOk;
}

int Rename(Session& session, const Arguments& args)
{
    if (!fs::exists(args.library))
        return kMessages.Fail("cannot rename " + args.rest[0], ERR_LIB_NO_FILE);
    ScratchCopy scratch(args.library);
    if (!scratch.Prepare())
        return kMessages.FailPlain("cannot make a scratch copy of " + args.library);
    std::vector<char> file = Writable(scratch.name);
    if (session.library.RegisterBlocks(file.data(), LIB_ALL_TYPES) == ERR_FAILURE)
        return kMessages.Fail("cannot read " + args.library, session.library.errorCode);
    std::vector<char> name = Writable(args.rest[0]);
    std::vector<char> newName = Writable(args.rest[1]);
    _LIBDATA existing;
    if (session.library.RequestLibData(newName.data(), &existing) == ERR_OK)
        return kMessages.Fail("cannot rename " + args.rest[0] + " to " + args.rest[1], ERR_LIB_BLOCK_EXISTS);
    if (session.library.RenameLibrary(name.data(), newName.data()) == ERR_FAILURE)
        return kMessages.Fail("cannot rename " + args.rest[0], session.library.errorCode);
    if (!scratch.Commit())
        return kMessages.FailPlain("cannot replace " + args.library + " with the changed copy");
    std::printf("renamed %s to %s\n", args.rest[0].c_str(), args.rest[1].c_str());
    return kExitOk;
}

int Verify(Session& session, std::vector<char>& lib)
{
    if (session.library.RegisterBlocks(lib.data(), LIB_ALL_TYPES) == ERR_FAILURE)
        return kMessages.Fail("cannot read " + std::string(lib.data()), session.library.errorCode);
    _LIBDATA* contents = nullptr;
    if (session.library.RequestContents(lib.data(), &contents) == ERR_FAILURE)
        return kMessages.Fail("cannot list " + std::string(lib.data()), session.library.errorCode);
    unsigned checked = 0;
    unsigned bad = 0;
    for (_LIBDATA* record = contents; record != nullptr; record = record->next) {
        unsigned char* data = nullptr;
        unsigned long size = 0;
        ++checked;
        if (session.library.RequestLibrary(record->name, &data, &size) == ERR_FAILURE) {
            ++bad;
            kMessages.Fail("block " + std::string(record->name), session.library.errorCode);
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
                return kMessages.Usage("--type needs a four-character code or 0x and eight hex digits");
        } else if (arg.size() > 1 && arg[0] == '-')
            return kMessages.Usage("unknown option " + arg);
        else
            operands.push_back(arg);
    }
    if (operands.size() < 2)
        return kMessages.Usage("a command and a library file are needed");
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
            return kMessages.Usage("wrong number of arguments for " + args->command);
        if ((args->replace || args->compress) && args->command != "add")
            return kMessages.Usage("--replace and --compress belong to add");
        for (size_t i = 0; i < args->rest.size(); ++i) {
            const bool isBlockName = i == 0 || args->command == "rename";
            if (isBlockName && (args->rest[i].empty() || args->rest[i].size() > 19))
                return kMessages.Usage("block names have 1 to 19 characters: " + args->rest[i]);
        }
        return kExitOk;
    }
    return kMessages.Usage("unknown command " + args->command);
}

} // namespace

int main(int argc, char** argv)
{
    if (kMessages.AnsweredHelp(argc, argv))
        return kExitOk;
    Arguments args;
    if (const int status = Parse(argc, argv, &args); status != kExitOk)
        return status;

    // Files named on the command line are taken relative to where the tool
    // was started, before it moves into the library's directory.
    fs::path other;
    if ((args.command == "add" || args.command == "extract") && !args.rest.empty())
        other = Absolute(args.rest[1]);
    LibraryFile file;
    if (const int status = file.Enter(args.library, kMessages); status != kExitOk)
        return status;
    args.library = file.name;
    std::vector<char> lib = Writable(args.library);

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
