// Shared test helpers: a fresh working directory per test, and file reading.
#ifndef TOLLIVEX_TESTS_WORKDIR_H
#define TOLLIVEX_TESTS_WORKDIR_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace tvxtest {

class FreshDirectoryPerTest : public testing::EmptyTestEventListener {
public:
    void OnTestStart(const testing::TestInfo& info) override;
    void OnTestEnd(const testing::TestInfo& info) override;

private:
    std::filesystem::path home;
    std::filesystem::path scratch;
};

// The whole file as bytes; empty when it cannot be read.
std::vector<unsigned char> ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, const std::vector<unsigned char>& bytes);

// The file's lines without their line ends (text mode on every system).
std::vector<std::string> ReadLines(const std::string& path);

// The lines of debug.err after its header and blank line.
std::vector<std::string> LogEntries();

bool FileExists(const std::string& path);

// The log line of a failed assertion in `source` at `line`.
inline std::string AssertLine(const std::string& source, unsigned long line)
{
    return "Assert error in file " + source + " at line " + std::to_string(line) + ".";
}

} // namespace tvxtest

#endif
