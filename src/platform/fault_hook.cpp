#include "fault_hook.h"

#include "files.h"

namespace glintbook::files {

namespace {

FaultHook& Hook() {
    static FaultHook hook;
    return hook;
}

}  // namespace

int Injected(std::string_view step, const std::string& path) {
    const FaultHook& hook = Hook();
    return hook ? hook(step, path) : 0;
}

void SetFaultHook(FaultHook hook) { Hook() = std::move(hook); }

}  // namespace glintbook::files
