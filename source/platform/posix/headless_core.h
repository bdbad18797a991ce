// headless_core.h - what the headless display and sound devices share: the
// call trace, the failure rules and the reset.
//
// Every device entry point starts with Enter, which writes the call's trace
// line and tells whether a failure rule fires for it:
//
//     if (auto failure = headless::Enter("IDirectDrawSurface::Lock", {flags}))
//         return *failure;    // the call does nothing else
#ifndef TOLLIVEX_POSIX_HEADLESS_CORE_H
#define TOLLIVEX_POSIX_HEADLESS_CORE_H

#include "platform/posix/win_types.h"

#include <initializer_list>
#include <optional>
#include <string>

namespace headless {

// Traces `call` with its numbers in decimal; returns the result of a failure
// rule that fires now (a GDI call's own return value, which may be 0).
std::optional<long> Enter(const char* call, std::initializer_list<long long> numbers = {});
// The same with the arguments already written out (Blt's "null" destination).
std::optional<long> Enter(const char* call, const std::string& arguments);

// Registers a device's own reset; HeadlessReset calls every one registered.
// Meant for a namespace-scope initialiser: `const bool registered = OnReset(&Forget);`
bool OnReset(void (*forget)());

}

#endif
