// libFuzzer target: the PNG reader in memory (the promise in
// harness_reader.h). The fuzzing build skips the chunk checksums
// (png_format.cpp), or nearly every mutation would stop there.
#include "harness_reader.h"
#include "imaging/png_format.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace glintbook::fuzzing;
    if (size >= 24) {
        const auto be = [&](size_t at) {
            return std::int64_t(data[at]) << 24 | data[at + 1] << 16 | data[at + 2] << 8 | data[at + 3];
        };
        if (LargeButAllowed(be(16), be(20))) return 0;
    }
    CheckReader(glintbook::png::Decode, data, size, "input.png");
    return 0;
}
