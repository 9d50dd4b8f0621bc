#pragma once
// The promise every picture reader's fuzz target checks: an input is either
// refused with Failure(ErrInvalidPicture) naming it, or decoded to a
// well-formed picture (within the limits, nothing in a pixel's top byte)
// that comes back unchanged through the BMP writer and reader.
#include "fuzz_folder.h"
#include "harness_bmp.h"

#include <string>
#include <string_view>
#include <vector>

namespace glintbook::fuzzing {

// Headers that claim more than this (64 x 64) within the readers' limits are
// skipped by the targets: they run the same code many times longer.
constexpr std::int64_t kMaxFuzzPixels = 1 << 12;

inline bool LargeButAllowed(std::int64_t w, std::int64_t h) {
    return w <= pictures::kMaxSide && h <= pictures::kMaxSide && w * h > kMaxFuzzPixels && w * h <= pictures::kMaxPixels;
}

using Decoder = Picture (*)(std::string_view bytes, const std::string& name);

inline void CheckReader(Decoder decode, const std::uint8_t* data, std::size_t size, const std::string& name) {
    std::vector<std::string> problems;
    try {
        const Picture picture = decode(std::string_view(reinterpret_cast<const char*>(data), size), name);
        if (bmp_detail::WellFormed(picture, problems) && bmp::Decode(bmp::Encode24(picture), "again").pixels != picture.pixels)
            problems.push_back("round trip through BMP changed pixels");
    } catch (const Failure& f) {
        if (f.number() != ErrInvalidPicture || f.description().find(name) == std::string::npos)
            problems.push_back("failed with " + std::to_string(f.number()) + ": " + f.description());
    } catch (const std::exception& e) {
        problems.push_back(std::string("threw something other than Failure: ") + e.what());
    }
    AbortOnProblems(problems);
}

}  // namespace glintbook::fuzzing
