// libFuzzer target: the settings-file layer (see harness_profile.h).
#include "fuzz_folder.h"
#include "harness_profile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace glintbook::fuzzing;
    AbortOnProblems(CheckProfileInput(data, size, ScratchFolder()));
    return 0;
}
