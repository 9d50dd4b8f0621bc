// The pieces under the resampler: span tables, the test for exact sizes, the
// whole-number rounding, colour splitting, arguments and the thread setting.
#include "imaging/resample.h"
#include "imaging/resample_axis.h"
#include "imaging/resample.h"
#include "imaging/resample_kernels.h"
#include "platform/failure.h"
#include "resample_oracle.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <numeric>
#include <thread>

namespace glintbook {
namespace {

using namespace resample;

// Source index -> weight of one target index, from either kind of table.
std::vector<double> Weights(const FaithfulAxis& a, int n, int t) {
    std::vector<double> w(size_t(n), 0);
    for (int j = a.first[size_t(t)]; j < a.first[size_t(t) + 1]; ++j) w[size_t(a.index[size_t(j)])] += a.weight[size_t(j)];
    return w;
}
std::vector<double> Weights(const ExactAxis& a, int n, int t) {
    std::vector<double> w(size_t(n), 0);
    for (int k = 0; k < a.taps; ++k)
        w[size_t(a.start[size_t(t)] + k)] += double(a.weight[size_t(t) * size_t(a.taps) + size_t(k)]) / double(a.ratio.den);
    return w;
}

// The first four weights and the sum of the others.
std::vector<double> Head(std::vector<double> w) {
    const double rest = std::accumulate(w.begin() + 4, w.end(), 0.0);
    w.resize(4);
    w.push_back(rest);
    return w;
}

TEST(ResampleAxis, WorkedExamplesAndClamping) {
    // 800 -> 512, target column 1: 0.4375, 1, 0.125 (units of 1/16: 7, 16, 2).
    const std::vector<double> column1 = {0, 0.4375, 1, 0.125, 0};
    EXPECT_EQ(Head(Weights(BuildFaithfulAxis(800, 512), 800, 1)), column1) << "faithful";
    EXPECT_EQ(Head(Weights(BuildExactAxis(800, 512, ReducedRatio(800, 512)), 800, 1)), column1) << "exact";
    EXPECT_EQ(BuildFaithfulAxis(800, 512).extent[1], 1.5625);
    // 600 -> 1024, target row 2: inside source row 1.
    EXPECT_EQ(Head(Weights(BuildFaithfulAxis(600, 1024), 600, 2)), (std::vector<double>{0, 0.5859375, 0, 0, 0}));
    // 7/25 is no double: 25 * fl(7/25) lands just past 7, and the last span
    // reaches "column 7" with a tiny weight, read from column 6.
    const FaithfulAxis a = BuildFaithfulAxis(7, 25);
    ASSERT_GT(25 * (7.0 / 25.0), 7.0);
    EXPECT_EQ(a.index.back(), 6);
    EXPECT_EQ(a.index[a.index.size() - 2], 6);
    EXPECT_GT(a.weight.back(), 0.0);
    EXPECT_LT(a.weight.back(), 1e-14);
}

// For every size the exact test accepts, the double computation's edges and
// weights are what the whole-number tables say, to the bit, and no index
// needs clamping: the premise of replacing one by the other.
TEST(ResampleExactGrid, AcceptedSizesHaveExactEdgesAndWeights) {
    std::mt19937 rng(99);
    int accepted = 0;
    for (int i = 0; i < 4000; ++i) {
        const int n = 1 + int(rng() % 4000), m = i % 2 ? 1 << (rng() % 12) : 1 + int(rng() % 2048);
        const Grid g = ExactGrid(n, 1, m, 1);
        if (!g.exact) continue;
        ++accepted;
        const double r = double(n) / double(m);
        for (std::int64_t t = 0; t <= m; t += 1 + t / 8)
            ASSERT_EQ(double(t) * r * double(g.x.den), double(t * g.x.num)) << n << "/" << m;  // scaling by 2^k is exact
        const FaithfulAxis f = BuildFaithfulAxis(n, m);
        const ExactAxis e = BuildExactAxis(n, m, g.x);
        for (int t = 0; t < m; t += 1 + t / 16) {
            ASSERT_EQ(Weights(f, n, t), Weights(e, n, t)) << n << "/" << m << " at " << t;
            ASSERT_LE(((t + 1) * g.x.num - 1) / g.x.den, n - 1);
        }
    }
    EXPECT_GT(accepted, 1000);
}

TEST(ResampleExactGrid, DecidesByTheReducedRatioAndItsBounds) {
    for (int side : {512, 1024})
        for (auto [W, H] : {std::pair{640, 480}, {800, 600}, {1024, 768}, {1280, 720}, {1600, 900}, {1920, 1080},
                            {2560, 1440}, {3840, 2160}, {1680, 1050}, {1366, 768}})
            EXPECT_TRUE(ExactGrid(W, H, side, side).exact) << W << "x" << H << " -> " << side;
    const Grid g = ExactGrid(1920, 1080, 512, 512);
    EXPECT_EQ(std::tuple(g.x.num, g.x.den, g.y.num, g.y.den, g.area), std::tuple(15, 4, 135, 64, 15 * 135));
    EXPECT_FALSE(ExactGrid(64, 48, 17, 91).exact);  // 64/17 has no finite binary expansion
    EXPECT_TRUE(ExactGrid(3, 5, 1024, 4096).exact);
    // Edges: W * den within 2^53.
    EXPECT_TRUE(ExactGrid(1 << 22, 1, 1 << 30, 1).exact);
    EXPECT_FALSE(ExactGrid((1 << 30) - 1, 1, 1 << 30, 1).exact);
    // Sums: 255 * P * Q below 2^53.
    const std::int64_t P = (1 << 20) + 1, Q = ((std::int64_t(1) << 53) - 1) / 255 / P;
    ASSERT_TRUE(255 * P * Q < (std::int64_t(1) << 53) && 255 * P * (Q + 1) >= (std::int64_t(1) << 53));
    EXPECT_TRUE(ExactGrid(int(P), int(Q), 1, 1).exact);
    EXPECT_FALSE(ExactGrid(int(P), int(Q + 1), 1, 1).exact);
    // The rows-first AVX2 layout: Q <= 257 (16-bit sums) and P*Q < 2^14.
    EXPECT_TRUE(Avx2Applies(ExactGrid(16, 257, 16, 1)));
    EXPECT_FALSE(Avx2Applies(ExactGrid(16, 259, 16, 1)));
    EXPECT_TRUE(Avx2Applies(ExactGrid(16383, 1, 1, 1)));
    EXPECT_FALSE(Avx2Applies(ExactGrid(16385, 1, 1, 1)));
    EXPECT_EQ(ChosenMethod(16385, 1, 1, 1), Method::ExactScalar);
    EXPECT_EQ(ChosenMethod(64, 48, 17, 91), Method::Faithful);
    EXPECT_FALSE(MethodApplies(Method::ExactAvx2Columns, 1920, 1080, 1024, 1024));  // shrinks across
    EXPECT_THROW(ResizeWith(test::RandomPicture(64, 48, 1), 17, 91, Method::ExactScalar), Failure);
}

// The rows-first AVX2 rounding (single-precision reciprocal) against the
// double quotient the loop takes, for every possible sum of many areas.
TEST(ResampleRounding, ReciprocalRoundingEqualsDoubleQuotient) {
    if (!CpuHasAvx2()) GTEST_SKIP() << "no AVX2 on this processor";
    std::vector<std::int64_t> areas;
    for (std::int64_t d = 1; d <= 300; ++d) areas.push_back(d);
    for (int side : {512, 1024})
        for (auto [W, H] : {std::pair{640, 480}, {800, 600}, {1280, 720}, {1600, 900}, {1920, 1080}, {3840, 2160}})
            areas.push_back(ExactGrid(W, H, side, side).area);
    for (std::int64_t d : {16383, 16382, 16380, 12288, 8192, 8191, 4096}) areas.push_back(d);
    std::mt19937 rng(5);
    for (int i = 0; i < 20; ++i) areas.push_back(1 + std::int64_t(rng() % 16383));
    for (const std::int64_t d : areas) {
        std::vector<std::uint32_t> sums(size_t(255 * d + 8) / 8 * 8);
        std::vector<std::uint8_t> out(sums.size());
        for (size_t s = 0; s < sums.size(); ++s) sums[s] = std::uint32_t(std::min<std::int64_t>(std::int64_t(s), 255 * d));
        RoundQuotientsAvx2(sums.data(), out.data(), int(sums.size()), d);
        for (std::int64_t s = 0; s <= 255 * d; ++s)
            ASSERT_EQ(out[size_t(s)], std::nearbyint(double(s) / double(d))) << s << " / " << d;
    }
}

TEST(ResampleRounding, HalvesToEven) {
    for (auto [q, n] : {std::pair{127.5, 128u}, {128.5, 128u}, {0.5, 0u}, {254.5, 254u}, {10.499999999999998, 10u},
                        {10.500000000000002, 11u}, {255.0, 255u}})
        EXPECT_EQ(RoundHalfEven(q), n) << q;
}

TEST(ResampleArguments, OutOfContractSizesFailCleanly) {
    const Picture source = test::RandomPicture(8, 8, 1);
    for (auto [w, h] : {std::pair{0, 8}, {8, 0}, {-1, 5}}) {
        try {
            ResizePicture(source, w, h);
            ADD_FAILURE() << w << "x" << h << " accepted";
        } catch (const Failure& f) {
            EXPECT_EQ(f.number(), ErrBadCall);
        }
    }
    Picture broken = source;
    broken.pixels.pop_back();
    EXPECT_THROW(ResizePicture(broken, 4, 4), Failure);
    EXPECT_THROW(ResizePicture(Picture{}, 4, 4), Failure);
}

TEST(ResampleThreadSetting, ExplicitThenEnvironmentThenMachine) {
    const int machine = int(std::max(1u, std::thread::hardware_concurrency()));
    test::SetEnvironment("GLINTBOOK_RESAMPLE_THREADS", "");
    SetResampleThreads(0);
    EXPECT_EQ(ResampleThreads(), machine);
    test::SetEnvironment("GLINTBOOK_RESAMPLE_THREADS", "3");
    EXPECT_EQ(ResampleThreads(), 3);
    test::SetEnvironment("GLINTBOOK_RESAMPLE_THREADS", "three");
    EXPECT_EQ(ResampleThreads(), machine);
    SetResampleThreads(1);
    EXPECT_EQ(ResampleThreads(), 1);
    SetResampleThreads(0);
    test::SetEnvironment("GLINTBOOK_RESAMPLE_THREADS", "");
}

}  // namespace
}  // namespace glintbook
