// libFuzzer target: the BMP reader and writer in memory (see harness_bmp.h).
// Built with GLINTBOOK_FUZZ_BMP_REFERENCE, every input is also read by the
// reader it replaced, and the two must agree.
#include "fuzz_folder.h"
#include "harness_bmp.h"

#ifdef GLINTBOOK_FUZZ_BMP_REFERENCE
#include "../tests/imaging/qt_bmp_reader.h"
#endif

// Pictures the reader would take that claim more pixels than this (64 x 64)
// are skipped: a large picture runs the same code as a small one, only
// many times longer, and the fuzzer would spend its time there. Claims past
// the reader's limits still run, to be refused.
constexpr std::int64_t kMaxFuzzPixels = 1 << 12;

bool LargeButAllowed(const std::uint8_t* d, std::size_t size) {
    if (size < 26) return false;
    const auto le = [&](size_t at, int n) {
        std::uint32_t v = 0;
        for (int i = n - 1; i >= 0; --i) v = v << 8 | d[at + size_t(i)];
        return v;
    };
    const bool core = le(14, 4) == 12;
    const std::int64_t w = core ? std::int16_t(le(18, 2)) : std::int32_t(le(18, 4));
    const std::int64_t h = core ? std::int16_t(le(20, 2)) : std::int32_t(le(22, 4));
    const std::int64_t pixels = (w < 0 ? -w : w) * (h < 0 ? -h : h);
    using namespace glintbook::bmp;
    return pixels > kMaxFuzzPixels && pixels <= kMaxPixels && w <= kMaxSide && (h < 0 ? -h : h) <= kMaxSide;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace glintbook::fuzzing;
    if (LargeButAllowed(data, size)) return 0;
#ifdef GLINTBOOK_FUZZ_BMP_REFERENCE
    AbortOnProblems(CheckBmpInput(data, size, glintbook::test::QtDecode));
#else
    AbortOnProblems(CheckBmpInput(data, size));
#endif
    return 0;
}
