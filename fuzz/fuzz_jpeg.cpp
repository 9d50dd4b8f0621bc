// libFuzzer target: the JPEG reader in memory (the promise in
// harness_reader.h). libjpeg-turbo is Debian's, not instrumented: the
// fuzzer sees the coverage of our side only, and ASan checks our accesses,
// not libjpeg's own.
#include "harness_reader.h"
#include "imaging/jpeg_format.h"

// The size in the first start-of-frame marker the bytes hold, found by a
// plain search (the skip below needs no more).
bool LargeFrame(const std::uint8_t* d, std::size_t size) {
    for (std::size_t i = 2; i + 9 <= size; ++i) {
        if (d[i] != 0xFF) continue;
        const int m = d[i + 1];
        if (m >= 0xC0 && m <= 0xCF && m != 0xC4 && m != 0xC8 && m != 0xCC)
            return glintbook::fuzzing::LargeButAllowed(d[i + 7] << 8 | d[i + 8], d[i + 5] << 8 | d[i + 6]);
    }
    return false;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (LargeFrame(data, size)) return 0;
    glintbook::fuzzing::CheckReader(glintbook::jpeg::Decode, data, size, "input.jpg");
    return 0;
}
