// libFuzzer target: the settings file's write path, through real files (see
// harness_profile.h). Slower than fuzz_profile by the file system's cost.
#include "fuzz_folder.h"
#include "harness_profile.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace glintbook::fuzzing;
    AbortOnProblems(CheckProfileFile(std::string_view(reinterpret_cast<const char*>(data), size), ScratchFolder()));
    return 0;
}
