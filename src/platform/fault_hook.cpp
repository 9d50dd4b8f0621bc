#include "fault_hook.h"

#include "files.h"

#include <mutex>

namespace glintbook::files {

namespace {

FaultHook& Hook() {
    static FaultHook hook;
    return hook;
}

// An import copies the archive on a thread of its own while it reads the
// screenshot: the hook is asked by one thread at a time, so that a test's
// hook may keep its count and records without locks of its own.
std::recursive_mutex& HookMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

}  // namespace

int Injected(std::string_view step, const std::string& path) {
    std::lock_guard lock(HookMutex());
    const FaultHook& hook = Hook();
    return hook ? hook(step, path) : 0;
}

void SetFaultHook(FaultHook hook) {
    std::lock_guard lock(HookMutex());
    Hook() = std::move(hook);
}

}  // namespace glintbook::files
