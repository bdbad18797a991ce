// headless_core.cpp - the trace, the failure rules and the reset shared by
// the headless devices.
//
// Failure rules for one call wait in a queue: only the front rule counts its
// calls down, so the second rule's count starts once the first has fired.
#include "platform/posix/headless_core.h"

#include "tollivex/headless.h"

#include <deque>
#include <map>
#include <mutex>
#include <vector>

namespace {

struct FailureRule {
    long result;
    int after;
};

struct Core {
    std::mutex guard;
    std::string trace;
    std::string traceCopy;
    std::map<std::string, std::deque<FailureRule>> rules;
};

Core& TheCore()
{
    static Core core;
    return core;
}

std::vector<void (*)()>& ResetHooks()
{
    static std::vector<void (*)()> hooks;
    return hooks;
}

std::optional<long> FireRule(Core& core, const char* call)
{
    auto found = core.rules.find(call);
    if (found == core.rules.end() || found->second.empty())
        return std::nullopt;
    FailureRule& front = found->second.front();
    if (front.after > 0) {
        --front.after;
        return std::nullopt;
    }
    const long result = front.result;
    found->second.pop_front();
    return result;
}

}

namespace headless {

std::optional<long> Enter(const char* call, const std::string& arguments)
{
    Core& core = TheCore();
    std::lock_guard<std::mutex> lock(core.guard);
    core.trace += call;
    if (!arguments.empty())
        core.trace += ' ' + arguments;
    core.trace += '\n';
    return FireRule(core, call);
}

std::optional<long> Enter(const char* call, std::initializer_list<long long> numbers)
{
    std::string arguments;
    for (long long number : numbers) {
        if (!arguments.empty())
            arguments += ' ';
        arguments += std::to_string(number);
    }
    return Enter(call, arguments);
}

bool OnReset(void (*forget)())
{
    ResetHooks().push_back(forget);
    return true;
}

}

void HeadlessReset()
{
    {
        Core& core = TheCore();
        std::lock_guard<std::mutex> lock(core.guard);
        core.trace.clear();
        core.rules.clear();
    }
    for (auto forget : ResetHooks())
        forget();
}

void* HeadlessWindow()
{
    // Big enough that a window system probing it for its own window finds
    // zeros, not the end of the object.
    static void* window[16] = {};
    return window;
}

void HeadlessFail(const char* call, long result, int after)
{
    if (!call)
        return;
    Core& core = TheCore();
    std::lock_guard<std::mutex> lock(core.guard);
    // Results are 32-bit HRESULTs whatever the width of long.
    const long hresult = static_cast<int32_t>(static_cast<uint32_t>(result));
    core.rules[call].push_back({hresult, after < 0 ? 0 : after});
}

const char* HeadlessTrace()
{
    Core& core = TheCore();
    std::lock_guard<std::mutex> lock(core.guard);
    core.traceCopy = core.trace;
    return core.traceCopy.c_str();
}
