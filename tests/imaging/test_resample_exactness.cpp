// Every resampling method against the reference loop, pixel for pixel.
#include "imaging/resample.h"
#include "imaging/resample.h"
#include "imaging/resample_kernels.h"
#include "resample_oracle.h"

#include <gtest/gtest.h>

#include <numeric>
#include <thread>

namespace glintbook {
namespace {

using resample::Method;
using test::Differences;
using test::OracleResize;
using test::RandomPicture;

constexpr Method kMethods[] = {Method::Automatic,        Method::Faithful,         Method::ExactScalar,
                               Method::ExactAvx2,        Method::ExactAvx2Columns, Method::ExactAvx512Columns};

// Each method that applies (with its name), resizing `source`.
template <class Check>
int ForEachMethod(const Picture& source, int w, int h, const Check& check, int threads = 1) {
    int ran = 0;
    for (Method m : kMethods)
        if (resample::MethodApplies(m, source.width, source.height, w, h)) {
            ++ran;
            check(resample::ResizeWith(source, w, h, m, threads), resample::MethodName(m));
        }
    return ran;
}

int ExpectMatchesOracle(const Picture& source, int w, int h, int threads = 1) {
    const Picture expected = OracleResize(source, w, h);
    return ForEachMethod(
        source, w, h,
        [&](const Picture& actual, const char* method) {
            EXPECT_EQ(Differences(expected, actual), "") << source.width << "x" << source.height << " -> " << w
                                                         << "x" << h << " by " << method;
        },
        threads);
}

Picture Uniform(int w, int h, Colour c) { return {w, h, std::vector<Colour>(size_t(w) * size_t(h), c)}; }

// --- Worked examples --------------------------------------------------------

TEST(ResampleExamples, HalvingRoundsHalvesToEvenAndStopsAtWholeEdges) {
    Picture source = Uniform(1024, 1024, 0x00405060);
    const Colour reds[2][4] = {{10, 11, 10, 11}, {11, 12, 11, 12}};  // 10.5 -> 10, 11.5 -> 12
    for (int b = 0; b < 2; ++b)
        for (int i = 0; i < 4; ++i) source.at(2 * b + i % 2, i / 2) = reds[b][i];
    for (int y = 0; y < 1024; ++y) source.at(4, y) = 0x00FFFFFF;  // column 4 belongs to target column 2 only
    ForEachMethod(source, 512, 512, [](const Picture& t, const char* method) {
        EXPECT_EQ(t.at(0, 0), 10u) << method;
        EXPECT_EQ(t.at(1, 0), 12u) << method;
        EXPECT_EQ(t.at(1, 5), 0x00405060u) << method;
        EXPECT_EQ(t.at(2, 5), 0x00A0A8B0u) << method;  // blue (0x40 + 0xFF) / 2 = 159.5 -> 160, ...
    });
}

TEST(ResampleExamples, ScreenshotColumnOneWeighsThreeSourceColumns) {
    // 800 -> 512: target column 1 spans [1.5625, 3.125): column 1 weighs
    // 0.4375, column 2 1, column 3 0.125. Uniform rows cancel vertically.
    Picture source = Uniform(800, 600, 0);
    for (int y = 0; y < 600; ++y) source.at(1, y) = 160, source.at(2, y) = 40, source.at(3, y) = 200;
    const auto red = Colour((0.4375 * 160 + 40 + 0.125 * 200) / 1.5625 + 0.5);  // 86.4 -> 86
    ForEachMethod(source, 512, 512, [&](const Picture& t, const char* method) {
        for (int y : {0, 300, 511}) EXPECT_EQ(t.at(1, y), red) << method << " row " << y;
    });
}

TEST(ResampleExamples, EnlargedSpanInsideOneSourcePixelCopiesIt) {
    // 800x600 -> 1024: target row 2 spans [1.171875, 1.7578125) in source row
    // 1, target column 0 lies in source column 0.
    const Picture source = RandomPicture(800, 600, 7);
    ForEachMethod(source, 1024, 1024, [&](const Picture& t, const char* m) { EXPECT_EQ(t.at(0, 2), source.at(0, 1)) << m; });
}

TEST(ResampleExamples, SameSizeCopiesAndUniformStaysUniform) {
    for (auto [w, h] : {std::pair{1, 1}, {5, 3}, {640, 480}}) {
        const Picture source = RandomPicture(w, h, std::uint32_t(w));
        ForEachMethod(source, w, h, [&](const Picture& t, const char* m) { EXPECT_EQ(t.pixels, source.pixels) << m; });
    }
    for (const Colour c : {0x00000000u, 0x00FFFFFFu, 0x00817F01u})
        for (auto [w, h] : {std::pair{1, 1}, {3, 7}, {17, 91}, {512, 512}, {1024, 1024}, {333, 2}})
            ForEachMethod(Uniform(800, 600, c), w, h, [&](const Picture& t, const char* m) {
                EXPECT_EQ(t.pixels, Uniform(w, h, c).pixels) << w << "x" << h << " " << m;
            });
}

TEST(ResampleExamples, TopByteIgnoredAndSourceLeftAlone) {
    const Picture clean = RandomPicture(97, 61, 3);
    Picture noisy = clean;
    std::mt19937 rng(4);
    for (auto& c : noisy.pixels) c |= rng() << 24;
    const Picture copy = noisy;
    for (auto [w, h] : {std::pair{32, 16}, {41, 29}, {200, 150}})
        ForEachMethod(noisy, w, h, [&](const Picture& t, const char* m) {
            EXPECT_EQ(t.pixels, OracleResize(clean, w, h).pixels) << w << "x" << h << " " << m;
        });
    EXPECT_EQ(noisy.pixels, copy.pixels);
}

// --- Arbitrary sizes -------------------------------------------------------

TEST(ResampleRandom, ArbitrarySizesMatchTheLoop) {
    std::mt19937 rng(20240511);
    const auto size = [&] { return rng() % 10 < 7 ? 1 + int(rng() % 40) : 1 + int(rng() % 300); };
    for (int i = 0; i < 300; ++i) {
        const int W = size(), H = size(), w = size(), h = size();
        ExpectMatchesOracle(RandomPicture(W, H, rng(), i % 3 == 0), w, h);
    }
}

// W/w and H/h with power-of-two denominators, the whole-number methods'
// domain, in both directions and with many exact halves.
TEST(ResampleRandom, ExactSizesMatchTheLoop) {
    std::mt19937 rng(77);
    const auto axis = [&](std::int64_t limit) {
        for (;;) {
            const std::int64_t den = std::int64_t(1) << (rng() % 8), num = 1 + rng() % 40;
            const std::int64_t m = 1 + std::int64_t(rng()) % std::max<std::int64_t>(1, limit / std::max(num, den));
            if (std::gcd(num, den) == 1 && num * m <= limit && den * m <= limit)
                return std::pair{int(num * m), int(den * m)};
        }
    };
    int ran[std::size(kMethods)] = {};
    for (int i = 0; i < 300; ++i) {
        const auto [W, w] = axis(i % 10 == 0 ? 1500 : 300);
        const auto [H, h] = axis(i % 10 == 5 ? 1500 : 300);
        for (size_t m = 0; m < std::size(kMethods); ++m) ran[m] += resample::MethodApplies(kMethods[m], W, H, w, h);
        ExpectMatchesOracle(RandomPicture(W, H, rng(), i % 2 == 0), w, h);
    }
    EXPECT_EQ(ran[2], 300);  // every case is exact
    if (resample::CpuHasAvx2()) {
        EXPECT_GT(std::min(ran[3], ran[4]), 50);
    }
    if (resample::CpuHasAvx512()) {
        EXPECT_GT(ran[5], 50);
    }
}

TEST(ResampleRandom, EdgeShapes) {
    const int shapes[][4] = {
        {1, 1, 1, 1},       {1, 1, 17, 5},       {13, 1, 1, 1},        {97, 89, 1, 1},     {1, 300, 1, 7},
        {97, 89, 31, 53},   {2, 3, 1024, 1024},  {37, 300, 250, 41},   {5, 1000, 512, 64}, {3, 1024, 1024, 3},
        {641, 479, 512, 512}, {1023, 1025, 512, 1024}, {255, 257, 256, 256}, {45, 64, 64, 32},  // D = 90: halves
        {7, 7, 25, 25},     {21, 23, 19, 21},    // last edges rounding past the source
    };
    for (const auto& s : shapes) ExpectMatchesOracle(RandomPicture(s[0], s[1], std::uint32_t(s[0] + s[3]), true), s[2], s[3]);
}

// A column of 16,843,020 white pixels sums past 2^32 in any method's units.
TEST(ResampleRandom, SumsBeyond32Bits) {
    const Picture white{1, 16843020, std::vector<Colour>(16843020, 0x00FFFFFFu)};
    EXPECT_EQ(ResizePicture(white, 1, 1).pixels, std::vector<Colour>{0x00FFFFFFu});
}

// With sum + weight*value contracted into a fused multiply-add this case
// already comes out different by one; the library is built without it.
TEST(ResampleRandom, NoFusedMultiplyAdd) {
    bool fusedDiffers = false;
    for (std::uint32_t seed = 1; seed <= 20; ++seed) {
        const Picture source = RandomPicture(64, 48, seed);
        EXPECT_EQ(ExpectMatchesOracle(source, 17, 91), 2);  // automatic and faithful
        fusedDiffers |= OracleResize(source, 17, 91).pixels != OracleResize(source, 17, 91, true).pixels;
    }
    EXPECT_TRUE(fusedDiffers) << "the case no longer tells fused from separate arithmetic";
}

// --- The sizes the program meets ----------------------------------------

class ResampleScreenshots : public ::testing::TestWithParam<std::pair<int, int>> {};

TEST_P(ResampleScreenshots, ToAlbumAndBookSizes) {
    const auto [W, H] = GetParam();
    const Picture source = RandomPicture(W, H, std::uint32_t(W + H));
    for (int side : {512, 1024}) {
        // Never the double arithmetic; with AVX2 never the portable code.
        const Method chosen = resample::ChosenMethod(W, H, side, side);
        EXPECT_NE(chosen, Method::Faithful) << side;
        if (resample::CpuHasAvx2()) {
            EXPECT_NE(chosen, Method::ExactScalar) << side;
        }
        EXPECT_GE(ExpectMatchesOracle(source, side, side, 0), 3) << side;
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, ResampleScreenshots,
                         ::testing::Values(std::pair{640, 480}, std::pair{800, 600}, std::pair{1024, 768},
                                           std::pair{1280, 720}, std::pair{1600, 900}, std::pair{1920, 1080},
                                           std::pair{2560, 1440}, std::pair{3840, 2160}),
                         [](const auto& info) {
                             return std::to_string(info.param.first) + "x" + std::to_string(info.param.second);
                         });

// --- Threads -----------------------------------------------------------------

TEST(ResampleThreads, BandsAndConcurrentCallersGiveTheSamePicture) {
    // The last: enlarging (columns first), 1800 = 16 * 112 + 8 wide, so that
    // a row's last group is partial and a stray write would land in the next
    // band's first row.
    const Picture big = RandomPicture(1920, 1080, 5), odd = RandomPicture(641, 479, 6), small = RandomPicture(1125, 750, 7);
    for (auto [source, w, h] :
         {std::tuple{&big, 512, 512}, {&big, 1024, 1024}, {&odd, 333, 251}, {&small, 1800, 1200}})
        for (Method m : kMethods) {
            if (!resample::MethodApplies(m, source->width, source->height, w, h)) continue;
            const Picture one = resample::ResizeWith(*source, w, h, m, 1);
            for (int threads : {2, 3, 7})
                EXPECT_EQ(Differences(one, resample::ResizeWith(*source, w, h, m, threads)), "")
                    << resample::MethodName(m) << " with " << threads << " threads";
        }
    // Two callers at once: one of them gets the helper threads, the other
    // does its bands alone.
    const Picture expected = ResizePicture(big, 512, 512), expectedOdd = ResizePicture(odd, 1024, 1024);
    Picture got, gotOdd;
    std::thread other([&] {
        for (int i = 0; i < 5; ++i) gotOdd = resample::ResizeWith(odd, 1024, 1024, Method::Automatic, 2);
    });
    for (int i = 0; i < 5; ++i) got = resample::ResizeWith(big, 512, 512, Method::Automatic, 2);
    other.join();
    EXPECT_EQ(got.pixels, expected.pixels);
    EXPECT_EQ(gotOdd.pixels, expectedOdd.pixels);
}

}  // namespace
}  // namespace glintbook
