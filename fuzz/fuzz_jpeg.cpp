// libFuzzer target: the JPEG reader in memory (the promise in
// harness_reader.h). The reader itself refuses pictures over 64 x 64 in the
// fuzzing build: only libjpeg knows where the frame header is. libjpeg-turbo
// is Debian's, not instrumented: the fuzzer sees the coverage of our side
// only, and ASan checks our accesses, not libjpeg's own.
#include "harness_reader.h"
#include "imaging/jpeg_format.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    glintbook::fuzzing::CheckReader(glintbook::jpeg::Decode, data, size, "input.jpg");
    return 0;
}
