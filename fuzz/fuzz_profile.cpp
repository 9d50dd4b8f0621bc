// libFuzzer target: the settings text in memory (see harness_profile.h).
#include "fuzz_folder.h"
#include "harness_profile.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace glintbook::fuzzing;
    AbortOnProblems(CheckProfileText(std::string_view(reinterpret_cast<const char*>(data), size)));
    return 0;
}

// Short allocation stacks in reports: recording the full stack of every
// allocation would cost a tenth of the run.
extern "C" const char* __asan_default_options() { return "malloc_context_size=5"; }
