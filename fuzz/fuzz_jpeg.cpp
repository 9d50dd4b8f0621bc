// libFuzzer target: the JPEG reader in memory (the promise in
// harness_reader.h). libjpeg-turbo is Debian's, not instrumented: the
// fuzzer sees the coverage of our side only, and ASan checks our accesses,
// not libjpeg's own.
#include "harness_reader.h"
#include "imaging/jpeg_format.h"

// The size in the frame header, found by walking the segments from the
// start of the image as libjpeg does (it refuses stray bytes between them).
bool LargeFrame(const std::uint8_t* d, std::size_t size) {
    for (std::size_t at = 2; at + 4 <= size && d[at] == 0xFF;) {
        const int m = d[at + 1];
        if (m == 0xFF || m == 0x01 || (m >= 0xD0 && m <= 0xD8)) {  // a fill byte, or a marker without a segment
            at += m == 0xFF ? 1 : 2;
            continue;
        }
        if (m >= 0xC0 && m <= 0xCF && m != 0xC4 && m != 0xC8 && m != 0xCC)
            return at + 9 <= size && glintbook::fuzzing::LargeButAllowed(d[at + 7] << 8 | d[at + 8], d[at + 5] << 8 | d[at + 6]);
        at += 2 + (std::size_t(d[at + 2]) << 8 | d[at + 3]);
    }
    return false;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (LargeFrame(data, size)) return 0;
    glintbook::fuzzing::CheckReader(glintbook::jpeg::Decode, data, size, "input.jpg");
    return 0;
}
