// libFuzzer target: the TGA reader in memory (the promise in
// harness_reader.h), its header checks included: TGA has no signature.
#include "harness_reader.h"
#include "imaging/tga_format.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace glintbook::fuzzing;
    if (size >= 18 && LargeButAllowed(data[12] | data[13] << 8, data[14] | data[15] << 8)) return 0;
    CheckReader(glintbook::tga::Decode, data, size, "input.tga");
    return 0;
}
