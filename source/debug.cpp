// debug.cpp - the debug log, debug.err in the current directory.
//
// The file is opened and closed around every line, so a crash right after a
// report still leaves the line on disk. One process-wide mutex, built before
// any other code runs, serialises the shared buffers and the file.
#include "tollivex/semaphor.h"
#include "tollivex/tvxcommon.h"

#include <cstdio>

namespace {

MutexSem& DebugMutex()
{
    // Constructed on first use, so that a report from another translation
    // unit's static constructor finds it ready.
    static MutexSem mutex;
    return mutex;
}

// Ensure the mutex exists when the library is loaded, before other threads.
const bool debugMutexReady = (DebugMutex(), true);

const char* const kLogName = "debug.err";

char assertBuffer[80];
char runMarkBuffer[80];
char messageBuffer[256];

// The buffers are formatted with snprintf: exactly what sprintf would write
// for texts that fit, and an overlong text is cut at the buffer's end
// instead of running past it.

void WriteLine(const char* line)
{
    FILE* file = std::fopen(kLogName, "at");
    if (file == nullptr)
        return;
    std::fprintf(file, "%s\n", line);
    std::fclose(file);
}

const char* Printable(const char* text)
{
    return text != nullptr ? text : "(null)";
}

// Formats into the caller's own static buffer and appends it as one line,
// all under the debug mutex.
template <typename... Values>
void Report(char* buffer, size_t size, const char* format, Values... values)
{
    MutexSem& mutex = DebugMutex();
    mutex.Request();
    std::snprintf(buffer, size, format, values...);
    WriteLine(buffer);
    mutex.Release();
}

} // namespace

void _AssertMsg(const char* file, unsigned long line)
{
    Report(assertBuffer, sizeof assertBuffer, "Assert error in file %s at line %d.", Printable(file),
           static_cast<int>(line));
}

void _RunMark(const char* file, unsigned long line)
{
    Report(runMarkBuffer, sizeof runMarkBuffer, "Run mark in file %s at line %d.", Printable(file),
           static_cast<int>(line));
}

void _DebugMessage(const char* message)
{
    Report(messageBuffer, sizeof messageBuffer, "Debug Message: %s", Printable(message));
}

void DebugInit()
{
    FILE* file = std::fopen(kLogName, "w");
    if (file == nullptr)
        return;
    std::fputs("Tollivex Debug Output File\n\n", file);
    std::fclose(file);
}
