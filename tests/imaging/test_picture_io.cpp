// The BMP reader and writer. Every form the reader takes, generated field by field with random contents, must
// decode to the colours of Qt's reader (the one ours replaced); what it refuses it refuses with the picture error.
#include "imaging/bmp_format.h"
#include "imaging/picture_io.h"
#include "platform/failure.h"
#ifdef GLINTBOOK_QT_REFERENCE
#include "qt_bmp_reader.h"
#endif
#include "resample_oracle.h"
#include "support/game_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

namespace glintbook {
namespace {

std::string Le(std::uint32_t v, int bytes) {
    std::string s;
    for (int i = 0; i < bytes; ++i) s += char((v >> (8 * i)) & 0xFF);
    return s;
}

struct Bmp {
    Bmp(int w, int h, int b, std::uint32_t c, std::vector<std::uint32_t> p, std::string px)
        : width(w), height(h), bits(b), compression(c), palette(std::move(p)), pixels(std::move(px)) {}

    std::int32_t width = 1, height = 1;  // negative height: rows top-down
    int bits = 24;
    std::uint32_t compression = 0, headerSize = 40;  // 12 core, 40, 64 OS/2, 108 V4, 124 V5
    std::vector<std::uint32_t> palette;               // 0x00RRGGBB
    std::vector<std::uint32_t> masks;                 // after a 40-byte header, inside a V4 or V5 one
    std::string pixels;                               // as stored
    std::int64_t offset = -1;                         // the pixels' offset, if not where they are

    std::string bytes() const {
        const auto w = std::uint32_t(width), h = std::uint32_t(height);
        std::string info = headerSize == 12 ? Le(12, 4) + Le(w, 2) + Le(h, 2) + Le(1, 2) + Le(bits, 2)
                                            : Le(headerSize, 4) + Le(w, 4) + Le(h, 4) + Le(1, 2) + Le(bits, 2) +
                                                  Le(compression, 4) + Le(std::uint32_t(pixels.size()), 4) +
                                                  Le(2835, 4) + Le(2835, 4) + Le(std::uint32_t(palette.size()), 4) +
                                                  Le(0, 4);
        std::string fields;
        for (std::uint32_t m : masks) fields += Le(m, 4);
        if (headerSize > 40) info += (headerSize >= 108 ? fields : "") + std::string(84, '\0');
        info = info.substr(0, headerSize) + (headerSize == 40 ? fields : "");
        for (std::uint32_t c : palette) info += Le(c, headerSize == 12 ? 3 : 4);
        const auto at = std::uint32_t(offset >= 0 ? offset : 14 + std::int64_t(info.size()));
        return "BM" + Le(std::uint32_t(14 + info.size() + pixels.size()), 4) + Le(0, 4) + Le(at, 4) + info + pixels;
    }
};

std::mt19937 rng(2024);

std::string Random(size_t n) {
    std::string s(n, '\0');
    for (char& c : s) c = char(rng());
    return s;
}

std::vector<std::uint32_t> Colours(int n) {
    std::vector<std::uint32_t> p(static_cast<size_t>(n));
    for (auto& c : p) c = rng() & 0xFFFFFF;
    return p;
}

// Rows of random bytes (every byte pattern is a picture); with masks, bit
// fields.
Bmp Plain(int w, int h, int bits, int colours = 0, std::uint32_t header = 40, std::vector<std::uint32_t> masks = {}) {
    Bmp b = Bmp(w, h, bits, masks.empty() ? 0 : 3, Colours(colours),
               Random(size_t((w * bits + 31) / 32 * 4) * size_t(std::abs(h))));
    b.headerSize = header, b.masks = std::move(masks);
    return b;
}

// Held to Qt's reader where Qt is (Linux); the Windows build decodes the
// same bytes with the same code, compiled by another compiler.
#ifdef GLINTBOOK_QT_REFERENCE

// A compressed stream of random runs (some past the row's end), literals,
// moves and ends of rows, closed by the end-of-bitmap code.
Bmp Compressed(int w, int h, int bits) {
    Bmp b = Bmp(w, h, bits, bits == 8 ? 1u : 2u, Colours(bits == 8 ? 200 : 16), "");
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w && rng() % 6;) {
            const int room = w - x, kind = int(rng() % 8);
            if (kind < 3 && room >= 3) {  // a literal, within the row
                const int n = 3 + int(rng() % std::min(room - 2, 250)), stored = bits == 8 ? n : (n + 1) / 2;
                b.pixels += std::string(1, '\0') + char(n) + Random(size_t(stored + stored % 2));
                x += n;
            } else if (kind == 3) {  // a move right and down
                const int dx = int(rng() % 5), dy = int(rng() % 2);
                b.pixels += std::string("\0\2", 2) + char(dx) + char(dy);
                x = std::min(x + dx, w - 1), y += dy;
            } else {
                const int n = 1 + int(rng() % (room + 4));
                b.pixels += char(n) + Random(1);
                x += n;
            }
        }
        b.pixels += std::string(2, '\0');
    }
    b.pixels += std::string("\0\1", 2);
    return b;
}

using Form = std::pair<std::string, Bmp>;

std::vector<Form> Forms() {
    std::vector<Form> f = {
        {"mono", Plain(37, 5, 1, 2)},           {"mono_one_colour", Plain(9, 3, 1, 1)},
        {"pal4", Plain(13, 6, 4, 16)},          {"pal4_top_down_5_colours", Plain(7, -4, 4, 5)},
        {"pal8", Plain(11, 7, 8, 256)},         {"pal8_40_colours", Plain(6, 3, 8, 40)},
        {"rgb555", Plain(9, 4, 16)},            {"rgb24", Plain(37, 9, 24)},
        {"rgb24_top_down", Plain(21, -5, 24)},  {"rgb32", Plain(17, 3, 32)},
        {"rle8", Compressed(23, 9, 8)},         {"rle4", Compressed(19, 8, 4)},
        {"core_rgb24", Plain(10, 3, 24, 0, 12)}, {"core_pal8", Plain(5, 4, 8, 256, 12)},
        {"v5_rgb24", Plain(6, 3, 24, 0, 124)},  {"v5_pal8", Plain(5, 3, 8, 256, 124)},
        {"os2_pal4", Plain(8, 2, 4, 16, 64)},   {"fields565", Plain(9, 3, 16, 0, 40, {0xF800, 0x07E0, 0x001F})},
        {"fields444", Plain(5, -3, 16, 0, 40, {0x0F00, 0x00F0, 0x000F})},
        {"v4_argb32", Plain(7, 3, 32, 0, 108, {0xFF0000, 0xFF00, 0xFF, 0xFF000000})},
        {"fields_10bit", Plain(6, 2, 32, 0, 40, {0x3FF00000, 0x000FFC00, 0x000003FF})},
        {"offset_inside_palette", Plain(4, 2, 8, 3)},
    };
    f.back().second.offset = 54;  // the rows still follow the table
    return f;
}

class BmpForm : public ::testing::TestWithParam<Form> {};

TEST_P(BmpForm, DecodesToTheReferenceColours) {
    const std::string bytes = GetParam().second.bytes();
    const fuzzing::Reading qt = test::QtDecode(bytes);
    ASSERT_TRUE(qt.decoded);
    EXPECT_EQ(test::Differences(qt.picture, bmp::Decode(bytes, "form")), "");
}

INSTANTIATE_TEST_SUITE_P(Generated, BmpForm, ::testing::ValuesIn(Forms()),
                         [](const auto& info) { return info.param.first; });
#endif

struct Refusal {
    std::string name, bytes;
    int number = ErrInvalidPicture;
};

std::vector<Refusal> Refusals() {
    const Bmp good = Plain(4, 4, 24);
    const auto with = [&](auto change) {
        Bmp b = good;
        change(b);
        return b.bytes();
    };
    const std::string whole = good.bytes();
    const auto rle = [](std::string stream) { return Bmp(4, 2, 8, 1, {0xFFFFFF, 0x808080}, stream).bytes(); };
    return {
        {"png", std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16) + std::string(64, '\0')},
        {"header_cut", whole.substr(0, 40)},
        {"rows_cut", whole.substr(0, whole.size() - 1)},
        {"side_over_limit", with([](Bmp& b) { b.width = 40000, b.height = 1; })},
        {"8k_and_more", with([](Bmp& b) { b.width = 7680, b.height = 4370, b.bits = 1; })},
        {"no_width", with([](Bmp& b) { b.width = 0; })},
        {"negative_width", with([](Bmp& b) { b.width = -4; })},
        {"seven_bits", with([](Bmp& b) { b.bits = 7; })},
        {"jpeg_inside", with([](Bmp& b) { b.compression = 4; })},
        {"header_form_52", with([](Bmp& b) { b.headerSize = 52; })},
        {"two_planes", whole.substr(0, 26) + Le(2, 2) + whole.substr(28)},
        {"top_down_rle", with([](Bmp& b) { b.height = -4, b.bits = 8, b.compression = 1; })},
        {"pixels_past_the_end", whole.substr(0, 10) + Le(240, 4) + whole.substr(14)},
        {"palette_of_300", with([](Bmp& b) { b.bits = 8, b.palette = Colours(300); })},
        {"palette_past_the_end",
         with([](Bmp& b) { b.bits = 8, b.palette = Colours(256), b.offset = 54; }).substr(0, 999)},
        {"masks_cut", Bmp(1, 1, 16, 3, {}, "\x01\x02\x03\x04").bytes()},
        {"rle_run_cut", rle(std::string("\x04\x01\0\0\x04", 5))},
        {"rle_literal_cut", rle(std::string("\0\x04\x01\x01\x01", 5))},
        {"rle_move_cut", rle(std::string("\0\x02\x01", 3))},
        {"rle_without_end", rle(std::string("\x04\x01\0\0\x04\x01", 6))},
        {"missing_file", "", ErrFileNotFound},
    };
}

class BmpRefusal : public ::testing::TestWithParam<Refusal> {};

TEST_P(BmpRefusal, FailsWithItsNumberAndTheFileName) {
    test::GameFolder folder;
    if (GetParam().number != ErrFileNotFound) folder.write("x.bmp", GetParam().bytes);
    try {
        LoadPicture(folder.file("x.bmp"));
        ADD_FAILURE() << "loaded";
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), GetParam().number) << f.description();
        EXPECT_NE(f.description().find(folder.file("x.bmp")), std::string::npos) << f.description();
    }
}

INSTANTIATE_TEST_SUITE_P(Table, BmpRefusal, ::testing::ValuesIn(Refusals()),
                         [](const auto& info) { return info.param.name; });

TEST(BmpLimits, An8kScreenshotFits) {  // at one bit a pixel
    EXPECT_NO_THROW(bmp::CheckHeader(Bmp(7680, 4320, 1, 0, {}, std::string(960 * 4320, '\0')).bytes(), "8k"));
}

TEST(SavePicture, Writes24BitBottomUpPaddedRowsThatLoadBack) {
    test::GameFolder folder;
    const Picture p{3, 2, {0x00030201, 0x00060504, 0x00090807, 0x00131211, 0x00161514, 0x00191817}};
    SavePicture(p, folder.file("out.bmp"));
    // File header, BITMAPINFOHEADER (40 bytes, 3 x 2, 1 plane, 24 bits, BI_RGB, 24 bytes of rows, no resolution
    // or palette), then the bottom row first, blue, green, red, each row padded from 9 to 12 bytes.
    const std::string expected = "BM" + Le(78, 4) + Le(0, 4) + Le(54, 4) + Le(40, 4) + Le(3, 4) + Le(2, 4) + Le(1, 2) +
                                 Le(24, 2) + Le(0, 4) + Le(24, 4) + std::string(16, '\0') +
                                 std::string("\x13\x12\x11\x16\x15\x14\x19\x18\x17\0\0\0", 12) +
                                 std::string("\x03\x02\x01\x06\x05\x04\x09\x08\x07\0\0\0", 12);
    EXPECT_EQ(folder.read("out.bmp"), expected);
    // Every padding and vector tail; the top byte is dropped.
    for (auto [w, h] : {std::pair{1, 1}, {2, 5}, {7, 3}, {8, 2}, {13, 4}, {640, 480}}) {
        const Picture q = test::RandomPicture(w, h, std::uint32_t(w * h));
        Picture noisy = q;
        for (auto& c : noisy.pixels) c |= 0xAB000000u;
        SavePicture(noisy, folder.file("r.bmp"));
        EXPECT_EQ(LoadPicture(folder.file("r.bmp")).pixels, q.pixels) << w << "x" << h;
    }
    EXPECT_THROW(SavePicture(Picture{}, folder.file("e.bmp")), Failure);
}

}  // namespace
}  // namespace glintbook
