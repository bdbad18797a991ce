#include "support/workdir.h"

#include <cctype>
#include <fstream>
#include <iterator>
#include <random>

namespace tvxtest {

namespace fs = std::filesystem;

void FreshDirectoryPerTest::OnTestStart(const testing::TestInfo& info)
{
    home = fs::current_path();
    std::random_device seed;
    const std::string name = std::string("tvx-") + info.test_suite_name() + "-" + info.name() + "-" +
                             std::to_string(seed() % 1000000);
    std::string safe;
    for (char c : name)
        safe += (std::isalnum(static_cast<unsigned char>(c)) || c == '-') ? c : '_';
    scratch = fs::temp_directory_path() / safe;
    fs::create_directories(scratch);
    fs::current_path(scratch);
}

void FreshDirectoryPerTest::OnTestEnd(const testing::TestInfo&)
{
    fs::current_path(home);
    std::error_code ignored;
    fs::remove_all(scratch, ignored);
}

std::vector<unsigned char> ReadBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteBytes(const std::string& path, const std::vector<unsigned char>& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::vector<std::string> ReadLines(const std::string& path)
{
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> LogEntries()
{
    std::vector<std::string> lines = ReadLines("debug.err");
    if (lines.size() >= 2 && lines[0] == "Tollivex Debug Output File" && lines[1].empty())
        lines.erase(lines.begin(), lines.begin() + 2);
    return lines;
}

bool FileExists(const std::string& path)
{
    return fs::exists(path);
}

} // namespace tvxtest
