// libFuzzer target: the DDS reader in memory (the promise in
// harness_reader.h).
#include "harness_reader.h"
#include "imaging/dds_format.h"
#include "imaging/picture_readers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace glintbook::fuzzing;
    using glintbook::pictures::Le32;
    if (size >= 20 && LargeButAllowed(Le32(data + 16), Le32(data + 12))) return 0;
    CheckReader(glintbook::dds::Decode, data, size, "input.dds");
    return 0;
}
