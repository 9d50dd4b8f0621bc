// Every resampling method against the reference loop, pixel for pixel, and
// what the loop cannot show: clamped edges, the bounds of the whole-number
// methods, the vector rounding, arguments and the thread setting.
#include "imaging/resample.h"
#include "imaging/resample_kernels.h"
#include "imaging/resize_rows.h"
#include "resample_oracle.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

#include <numeric>
#include <thread>

namespace glintbook {

using namespace resample;

constexpr Method kMethods[] = {Method::Automatic,          Method::Faithful,    Method::ExactScalar,
                               Method::ExactAvx2,          Method::ExactAvx2Columns,
                               Method::ExactAvx512Columns, Method::WholeScalar, Method::WholeAvx512};

// A picture's rows top to bottom, as a decoder that cannot seek gives them.
class InOrder final : public pictures::RowSource {
public:
    explicit InOrder(const Picture& p) : picture_(p) { width_ = p.width, height_ = p.height; }
    bool AnyOrder() const override { return false; }
    void Read(int first, int count, Colour* out) override {
        if (first != next_) throw std::logic_error("rows asked out of order");
        std::copy_n(picture_.pixels.begin() + std::ptrdiff_t(first) * width_, size_t(count) * size_t(width_), out);
        next_ = first + count;
    }

private:
    const Picture& picture_;
    int next_ = 0;
};

// Resizes by each method that applies, on one thread and in three bands,
// each held to the loop's picture; and as the import does, from rows as
// they are decoded, a few at a time, in any order and in order only, two
// sizes at once.
void ExpectMatchesOracle(const Picture& source, int w, int h, int piece = 0) {
    const Picture oracle = test::OracleResize(source, w, h);
    for (Method m : kMethods) {
        if (!MethodApplies(m, source.width, source.height, w, h)) continue;
        const std::string what = std::to_string(source.width) + "x" + std::to_string(source.height) + " -> " +
                                 std::to_string(w) + "x" + std::to_string(h) + " by " + MethodName(m);
        for (int threads : {1, 3})
            EXPECT_EQ(test::Differences(oracle, ResizeWith(source, w, h, m, threads)), "") << what << " on " << threads;
        // From rows: screenshots by the method the import takes, in any
        // order; the smaller pictures by every method, both ways.
        const bool small = std::int64_t(source.width) * source.height <= 1 << 18;
        if (m != Method::Automatic && !small) continue;
        const bool both = MethodApplies(m, source.width, source.height, 2 * w, h);
        auto anyOrder = pictures::RowsOfPicture(source);
        InOrder inOrder(source);
        for (pictures::RowSource* rows : {anyOrder.get(), small ? static_cast<pictures::RowSource*>(&inOrder) : nullptr}) {
            if (!rows) continue;
            const auto made = both ? ResizeRows(*rows, {{w, h}, {2 * w, h}}, m, 3, piece)
                                   : ResizeRows(*rows, {{w, h}}, m, 3, piece);
            // The second size held to the whole-picture resize, itself held to the loop elsewhere.
            const std::string second = both ? test::Differences(ResizeWith(source, 2 * w, h, m, 1), made[1]) : "";
            EXPECT_EQ(test::Differences(oracle, made[0]) + second, "")
                << what << " from rows " << (rows->AnyOrder() ? "in any order" : "in order") << ", " << piece << " a piece";
        }
    }
}

// Arbitrary sizes; ratios with power-of-two denominators, the whole-number
// methods' domain, in both directions, each method run on enough of them;
// both with many exact halves.
TEST(ResampleOracle, RandomSizesMatchTheLoop) {
    std::mt19937 rng(20240511);
    const auto size = [&] { return rng() % 10 < 7 ? 1 + int(rng() % 40) : 1 + int(rng() % 300); };
    for (int i = 0; i < 300; ++i) {
        const int W = size(), H = size(), w = size(), h = size();
        ExpectMatchesOracle(test::RandomPicture(W, H, rng(), i % 3 == 0), w, h, 1 + int(rng() % 9));
    }
    const auto axis = [&](std::int64_t limit) {
        for (;;) {
            const std::int64_t den = std::int64_t(1) << (rng() % 8), num = 1 + rng() % 40;
            const std::int64_t m = 1 + std::int64_t(rng()) % std::max<std::int64_t>(1, limit / std::max(num, den));
            if (std::gcd(num, den) == 1 && num * m <= limit && den * m <= limit) return std::pair{int(num * m), int(den * m)};
        }
    };
    int ran[std::size(kMethods)] = {};
    for (int i = 0; i < 300; ++i) {
        const auto [W, w] = axis(i % 10 == 0 ? 1500 : 300);
        const auto [H, h] = axis(i % 10 == 5 ? 1500 : 300);
        for (size_t m = 0; m < std::size(kMethods); ++m) ran[m] += MethodApplies(kMethods[m], W, H, w, h);
        ExpectMatchesOracle(test::RandomPicture(W, H, rng(), i % 2 == 0), w, h, 1 + int(rng() % 9));
    }
    EXPECT_EQ(ran[2], 300);  // every case is exact
    EXPECT_GT(std::min(ran[3], ran[4]), CpuHasAvx2() ? 50 : -1);
    EXPECT_GT(ran[5], CpuHasAvx512() ? 50 : -1);
    // Whole-number ratios, each axis 1 to 5 times (often 2 across, as the
    // vector path takes), down and up; rows past 16 target pixels and tails.
    for (int i = 0; i < 150; ++i) {
        const int kx = i % 2 ? 2 : 1 + int(rng() % 5), ky = 1 + int(rng() % 5);
        const int w = 1 + int(rng() % 50), h = 1 + int(rng() % 30);
        const bool up = i % 3 == 0;
        const int W = up ? w : w * kx, H = up ? h : h * ky;
        for (size_t m = 0; m < std::size(kMethods); ++m) ran[m] += MethodApplies(kMethods[m], W, H, up ? w * kx : w, up ? h * ky : h);
        ExpectMatchesOracle(test::RandomPicture(W, H, rng(), i % 2 == 0), up ? w * kx : w, up ? h * ky : h, 1 + int(rng() % 9));
    }
    EXPECT_GE(ran[6], 150);
    EXPECT_GT(ran[7], CpuHasAvx512() ? 40 : -1);
}

// Edge shapes, among them: enlarging (columns first) to 1800 = 16 * 112 + 8
// wide, so that a row's last group is partial and a stray write would land in
// the next band's first row; last edges rounding past the source; a column
// of 16,843,020 white pixels, which sums past 2^32 in any method's units.
// Then the program's sizes: never the double arithmetic, with AVX2 never the
// portable code.
TEST(ResampleOracle, EdgeShapesAndScreenshotsMatchTheLoop) {
    const int shapes[][4] = {
        {1, 1, 1, 1}, {1, 1, 17, 5}, {13, 1, 1, 1}, {97, 89, 1, 1}, {1, 300, 1, 7}, {97, 89, 31, 53}, {2, 3, 1024, 1024},
        {37, 300, 250, 41}, {5, 1000, 512, 64}, {3, 1024, 1024, 3}, {641, 479, 512, 512}, {1023, 1025, 512, 1024},
        {255, 257, 256, 256}, {45, 64, 64, 32} /* D = 90: halves */, {64, 48, 17, 91}, {641, 479, 333, 251},
        {1125, 750, 1800, 1200}, {7, 7, 25, 25}, {21, 23, 19, 21}, {2048, 2048, 1024, 1024}, {600, 600, 200, 200},
        {256, 256, 1024, 1024}, {341, 200, 1023, 600}, {4, 256, 2, 4},
    };
    for (const auto& s : shapes)
        ExpectMatchesOracle(test::RandomPicture(s[0], s[1], std::uint32_t(s[0] + s[3]), true), s[2], s[3]);
    ExpectMatchesOracle(Picture{1, 16843020, Pixels(16843020, 0x00FFFFFFu)}, 1, 1);
    for (auto [W, H] :
         {std::pair{640, 480}, {800, 600}, {1024, 768}, {1280, 720}, {1600, 900}, {1920, 1080}, {2560, 1440}, {3840, 2160}})
        for (int side : {512, 1024}) {
            const Method chosen = ChosenMethod(W, H, side, side);
            EXPECT_TRUE(chosen != Method::Faithful && (!CpuHasAvx2() || chosen != Method::ExactScalar)) << W << "x" << H;
            ExpectMatchesOracle(test::RandomPicture(W, H, std::uint32_t(W + H)), side, side);
        }
}

// Two callers at once: one gets the helper threads, the other does its bands alone.
TEST(ResampleThreads, ConcurrentCallersGiveTheSamePicture) {
    const Picture big = test::RandomPicture(1920, 1080, 5), odd = test::RandomPicture(641, 479, 6);
    const Picture expected = ResizePicture(big, 512, 512), expectedOdd = ResizePicture(odd, 1024, 1024);
    std::thread other([&] {
        for (int i = 0; i < 5; ++i) EXPECT_EQ(ResizeWith(odd, 1024, 1024, Method::Automatic, 2).pixels, expectedOdd.pixels);
    });
    for (int i = 0; i < 5; ++i) EXPECT_EQ(ResizeWith(big, 512, 512, Method::Automatic, 2).pixels, expected.pixels);
    other.join();
}

// 7/25 is no double: 25 * fl(7/25) lands just past 7, and the last span
// reaches "column 7" with a tiny weight, read from column 6.
TEST(ResampleAxis, AnEdgePastTheSourceIsClamped) {
    const FaithfulAxis a = BuildFaithfulAxis(7, 25);
    EXPECT_EQ(std::vector<int>(a.index.end() - 2, a.index.end()), (std::vector<int>{6, 6}));
}

// Exact: W * den and H * den within 2^53, 255 * P * Q below 2^53. The rows-first
// AVX2 layout: Q <= 257 (16-bit sums) and P * Q < 2^14.
TEST(ResampleExactGrid, BoundsOfTheWholeNumberMethods) {
    const int P = (1 << 20) + 1, Q = int(((std::int64_t(1) << 53) - 1) / 255 / P);  // 255*P*Q just below 2^53
    const struct { int W, H, w, h; bool exact, avx2; } rows[] = {
        {1 << 22, 1, 1 << 30, 1, true, true}, {(1 << 30) - 1, 1, 1 << 30, 1, false, false},
        {P, Q, 1, 1, true, false}, {P, Q + 1, 1, 1, false, false}, {16, 257, 16, 1, true, true},
        {16, 258, 16, 1, true, false}, {16383, 1, 1, 1, true, true}, {16384, 1, 1, 1, true, false},
        {3, 5, 1024, 4096, true, true}, {64, 48, 17, 91, false, false}, {1366, 768, 512, 512, true, true},
        {1366, 768, 1024, 1024, true, true}, {1680, 1050, 512, 512, true, false}, {1680, 1050, 1024, 1024, true, false},
    };
    for (const auto& r : rows)
        EXPECT_EQ(std::pair(ExactGrid(r.W, r.H, r.w, r.h).exact, Avx2Applies(ExactGrid(r.W, r.H, r.w, r.h))),
                  std::pair(r.exact, r.avx2)) << r.W << "x" << r.H << " -> " << r.w << "x" << r.h;
    EXPECT_EQ(ChosenMethod(16384, 1, 1, 1), Method::ExactScalar);
}

// The rows-first AVX2 rounding (single-precision reciprocal) against the
// double quotient the loop takes, for every possible sum of many areas.
TEST(ResampleRounding, ReciprocalRoundingEqualsDoubleQuotient) {
    if (!CpuHasAvx2()) GTEST_SKIP() << "no AVX2 on this processor";
    std::vector<std::int64_t> areas = {16383, 16382, 16380, 12288, 8192, 8191, 4096};
    std::mt19937 rng(5);
    for (std::int64_t d = 1; d <= 320; ++d) areas.push_back(d <= 300 ? d : 1 + std::int64_t(rng() % 16383));
    for (const std::int64_t d : areas) {
        std::vector<std::uint32_t> sums(size_t(255 * d + 8) / 8 * 8);
        std::vector<std::uint8_t> out(sums.size());
        for (size_t s = 0; s < sums.size(); ++s) sums[s] = std::uint32_t(std::min<std::int64_t>(std::int64_t(s), 255 * d));
        RoundQuotientsAvx2(sums.data(), out.data(), int(sums.size()), d);
        for (std::int64_t s = 0; s <= 255 * d; ++s)
            ASSERT_EQ(out[size_t(s)], std::nearbyint(double(s) / double(d))) << s << " / " << d;
    }
}

TEST(ResampleArguments, OutOfContractCallsFailCleanly) {
    const Picture source = test::RandomPicture(8, 8, 1), broken{8, 8, Pixels(63, 0)};
    for (const auto& call : std::vector<std::function<void()>>{
             [&] { ResizePicture(source, 0, 8); }, [&] { ResizePicture(source, 8, 0); },
             [&] { ResizePicture(source, -1, 5); }, [&] { ResizePicture(broken, 4, 4); },
             [&] { ResizePicture(Picture{}, 4, 4); }, [&] { ResizeWith(source, 17, 91, Method::ExactScalar); }})
        EXPECT_EQ(test::FailureOf(call).number(), ErrBadCall);
}

// The last row restores the setting.
TEST(ResampleThreadSetting, ExplicitThenEnvironmentThenMachine) {
    const int machine = int(std::max(1u, std::thread::hardware_concurrency()));
    for (auto [set, env, expected] :
         {std::tuple{0, "", machine}, {0, "3", 3}, {0, "three", machine}, {1, "3", 1}, {0, "", machine}}) {
        test::SetEnvironment("GLINTBOOK_RESAMPLE_THREADS", env);
        SetResampleThreads(set);
        EXPECT_EQ(ResampleThreads(), expected) << set << " " << env;
    }
}

}  // namespace glintbook
