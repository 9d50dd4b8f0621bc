// libFuzzer target: the PNG reader in memory. Every input must either be
// refused with Failure(ErrInvalidPicture) naming it, or give a well-formed
// picture that comes back unchanged through the BMP writer and reader. The
// fuzzing build skips the chunk checksums (png_format.cpp), or nearly every
// mutation would stop there.
#include "fuzz_folder.h"
#include "harness_bmp.h"
#include "imaging/png_format.h"

// Headers that claim more than 64 x 64 pixels within the reader's limits are
// skipped, as for the BMP target: they run the same code many times longer.
constexpr std::int64_t kMaxFuzzPixels = 1 << 12;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace glintbook;
    if (size >= 24) {
        const auto be = [&](size_t at) {
            return std::int64_t(data[at]) << 24 | data[at + 1] << 16 | data[at + 2] << 8 | data[at + 3];
        };
        const std::int64_t w = be(16), h = be(20);
        if (w <= bmp::kMaxSide && h <= bmp::kMaxSide && w * h > kMaxFuzzPixels && w * h <= bmp::kMaxPixels) return 0;
    }
    std::vector<std::string> problems;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    try {
        const Picture picture = png::Decode(bytes, "input.png");
        if (fuzzing::bmp_detail::WellFormed(picture, problems) && bmp::Decode(bmp::Encode24(picture), "again").pixels != picture.pixels)
            problems.push_back("round trip through BMP changed pixels");
    } catch (const Failure& f) {
        if (f.number() != ErrInvalidPicture || f.description().find("input.png") == std::string::npos)
            problems.push_back("failed with " + std::to_string(f.number()) + ": " + f.description());
    } catch (const std::exception& e) {
        problems.push_back(std::string("threw something other than Failure: ") + e.what());
    }
    fuzzing::AbortOnProblems(problems);
    return 0;
}
