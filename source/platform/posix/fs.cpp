// fs.cpp - Win32 directory search, current directory, delete and rename over
// POSIX.
//
// A search reads the whole directory at FindFirstFileA, keeps the matching
// entries sorted by their upper-case names (the order NTFS lists them in, so
// listings are the same run after run) and hands them out one by one. Names
// match as on Windows: without regard to case, `?` for one character (or
// none at the end of a name or before its dot), `*` for any run, and a
// pattern whose rest is "." or ".*" also matches where the name has ended.
#include "platform/platform.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

namespace {

const uint32_t kSearchMagic = 0x53524348; // "SRCH": tells a search handle from a stray pointer

struct Entry {
    std::string name;
    std::string key; // upper-case name, the sort order
    bool directory;
    uint64_t size;
};

struct Search {
    uint32_t magic;
    std::vector<Entry> entries;
    size_t next;
};

std::string HostPath(const char* path)
{
    std::string host(path);
    std::replace(host.begin(), host.end(), '\\', '/');
    return host;
}

char Upper(char c)
{
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
}

// Whether what is left of the pattern can match an ended name: "", "." and a
// dot followed only by wildcards.
bool MatchesEndOfName(const char* p)
{
    while (*p == '*')
        ++p;
    if (*p == '\0')
        return true;
    if (*p != '.')
        return false;
    for (++p; *p != '\0'; ++p) {
        if (*p != '*' && *p != '?')
            return false;
    }
    return true;
}

bool Match(const char* p, const char* n)
{
    for (; *p != '\0'; ++p) {
        if (*n == '\0')
            return MatchesEndOfName(p) || (*p == '?' && Match(p + 1, n));
        if (*p == '*') {
            while (*p == '*')
                ++p;
            if (*p == '\0')
                return true;
            for (const char* rest = n;; ++rest) {
                if (Match(p, rest))
                    return true;
                if (*rest == '\0')
                    return false;
            }
        }
        if (*p == '?') {
            if (*n == '.' && Match(p + 1, n))
                return true; // a `?` may stand for nothing before the dot
            ++n;
            continue;
        }
        if (Upper(*p) != Upper(*n))
            return false;
        ++n;
    }
    return *n == '\0';
}

void Fill(const Entry& entry, LPWIN32_FIND_DATAA data)
{
    std::memset(data, 0, sizeof(*data));
    data->dwFileAttributes = entry.directory ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    data->nFileSizeHigh = static_cast<DWORD>(entry.size >> 32);
    data->nFileSizeLow = static_cast<DWORD>(entry.size);
    const size_t length = std::min(entry.name.size(), sizeof(data->cFileName) - 1);
    std::memcpy(data->cFileName, entry.name.data(), length);
}

Search* AsSearch(HANDLE handle)
{
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE)
        return nullptr;
    auto* search = static_cast<Search*>(handle);
    return search->magic == kSearchMagic ? search : nullptr;
}

} // namespace

HANDLE FindFirstFileA(LPCSTR pattern, LPWIN32_FIND_DATAA data)
{
    if (pattern == nullptr || data == nullptr)
        return INVALID_HANDLE_VALUE;
    const std::string host = HostPath(pattern);
    const size_t slash = host.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : host.substr(0, slash + 1);
    const std::string filePattern = slash == std::string::npos ? host : host.substr(slash + 1);
    if (filePattern.empty())
        return INVALID_HANDLE_VALUE;

    DIR* dir = opendir(directory.c_str());
    if (dir == nullptr)
        return INVALID_HANDLE_VALUE;
    auto* search = new Search{kSearchMagic, {}, 0};
    while (const dirent* item = readdir(dir)) {
        if (!Match(filePattern.c_str(), item->d_name))
            continue;
        struct stat info {};
        const std::string full = (slash == std::string::npos ? std::string() : directory) + item->d_name;
        if (stat(full.c_str(), &info) != 0)
            continue; // vanished or a dangling link: Windows would not list it either
        Entry entry{item->d_name, item->d_name, S_ISDIR(info.st_mode),
                    S_ISDIR(info.st_mode) ? 0 : static_cast<uint64_t>(info.st_size)};
        std::transform(entry.key.begin(), entry.key.end(), entry.key.begin(), Upper);
        search->entries.push_back(std::move(entry));
    }
    closedir(dir);

    if (search->entries.empty()) {
        delete search;
        return INVALID_HANDLE_VALUE;
    }
    std::sort(search->entries.begin(), search->entries.end(),
              [](const Entry& a, const Entry& b) { return a.key < b.key || (a.key == b.key && a.name < b.name); });
    Fill(search->entries[0], data);
    search->next = 1;
    return search;
}

BOOL FindNextFileA(HANDLE handle, LPWIN32_FIND_DATAA data)
{
    Search* search = AsSearch(handle);
    if (search == nullptr || data == nullptr || search->next >= search->entries.size())
        return FALSE;
    Fill(search->entries[search->next++], data);
    return TRUE;
}

BOOL FindClose(HANDLE handle)
{
    Search* search = AsSearch(handle);
    if (search == nullptr)
        return FALSE;
    search->magic = 0;
    delete search;
    return TRUE;
}

DWORD GetCurrentDirectoryA(DWORD size, LPSTR buffer)
{
    std::vector<char> path(4096);
    while (getcwd(path.data(), path.size()) == nullptr) {
        if (errno != ERANGE)
            return 0;
        path.resize(path.size() * 2);
    }
    const size_t length = std::strlen(path.data());
    if (buffer == nullptr || size < length + 1)
        return static_cast<DWORD>(length + 1); // the size needed, terminator included
    std::memcpy(buffer, path.data(), length + 1);
    return static_cast<DWORD>(length);
}

BOOL SetCurrentDirectoryA(LPCSTR path)
{
    if (path == nullptr)
        return FALSE;
    return chdir(HostPath(path).c_str()) == 0 ? TRUE : FALSE;
}

BOOL DeleteFileA(LPCSTR path)
{
    if (path == nullptr)
        return FALSE;
    return unlink(HostPath(path).c_str()) == 0 ? TRUE : FALSE;
}

BOOL MoveFileA(LPCSTR from, LPCSTR to)
{
    if (from == nullptr || to == nullptr)
        return FALSE;
    const std::string target = HostPath(to);
    struct stat info {};
    if (lstat(target.c_str(), &info) == 0)
        return FALSE; // Windows never moves over an existing name
    return rename(HostPath(from).c_str(), target.c_str()) == 0 ? TRUE : FALSE;
}

FILE* PlatformOpenFile(const char* name, const char* mode)
{
    if (name == nullptr || mode == nullptr)
        return nullptr;
    const std::string host = HostPath(name);
    struct stat info {};
    if (stat(host.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        errno = EISDIR;
        return nullptr;
    }
    return std::fopen(host.c_str(), mode);
}
