// The BMP reader and writer. Every form the reader takes, generated field by field with random contents or kept
// from fuzzing, must decode to the colours of Qt's reader (the one ours replaced) and come back unchanged through
// the writer; what it refuses it refuses with the picture error.
#include "imaging/bmp_format.h"
#include "imaging/picture_io.h"
#include "imaging/png_format.h"
#include "imaging/resize_rows.h"
#ifdef GLINTBOOK_QT_REFERENCE
#include "qt_bmp_reader.h"
#endif
#include "resample_oracle.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cerrno>
#include <filesystem>
#include <fstream>

namespace glintbook {

// `bytes` bytes of v, little-endian.
std::string Le(std::uint32_t v, int bytes) { return bytes ? char(v & 0xFF) + Le(v >> 8, bytes - 1) : ""; }

// A BMP file field by field; with no resolution, the form SavePicture writes.
struct Bmp {
    std::int32_t width = 1, height = 1;  // negative height: rows top-down
    int bits = 24;
    std::uint32_t compression = 0;
    std::string palette{};               // as stored, 3 bytes an entry in the core form, else 4
    std::string pixels{};                // as stored
    std::uint32_t headerSize = 40;       // 12 core, 40, 64 OS/2, 108 V4, 124 V5
    std::vector<std::uint32_t> masks{};  // after a 40-byte header, inside a V4 or V5 one
    std::int64_t offset = -1;            // the pixels' offset, if not where they are
    std::uint32_t resolution = 2835;

    std::string bytes() const {
        std::string fields, info = Le(headerSize, 4);
        for (std::uint32_t m : masks) fields += Le(m, 4);
        if (headerSize == 12)
            info += Le(width, 2) + Le(height, 2) + Le(1, 2) + Le(bits, 2);
        else
            info = (info + Le(width, 4) + Le(height, 4) + Le(1, 2) + Le(bits, 2) + Le(compression, 4) +
                    Le(std::uint32_t(pixels.size()), 4) + Le(resolution, 4) + Le(resolution, 4) +
                    Le(std::uint32_t(palette.size() / 4), 4) + Le(0, 4) + (headerSize >= 108 ? fields : "") +
                    std::string(84, '\0')).substr(0, headerSize) + (headerSize == 40 ? fields : "");
        info += palette;
        const auto at = std::uint32_t(offset >= 0 ? offset : 14 + std::int64_t(info.size()));
        return "BM" + Le(std::uint32_t(14 + info.size() + pixels.size()), 4) + Le(0, 4) + Le(at, 4) + info + pixels;
    }
};

static std::mt19937 rng(2024);

std::string Random(size_t n) {
    std::string s(n, '\0');
    for (char& c : s) c = char(rng());
    return s;
}

// Rows of random bytes (every byte pattern is a picture); with masks, bit fields.
Bmp Plain(int w, int h, int bits, int colours = 0, std::uint32_t header = 40, std::vector<std::uint32_t> masks = {}) {
    return {w, h, bits, masks.empty() ? 0u : 3u, Random(size_t(colours) * (header == 12 ? 3 : 4)),
            Random(size_t((w * bits + 31) / 32 * 4) * size_t(h < 0 ? -h : h)), header, std::move(masks)};
}

// Held to Qt's reader where Qt is (Linux); the Windows build decodes the
// same bytes with the same code, compiled by another compiler.
#ifdef GLINTBOOK_QT_REFERENCE

// A compressed stream of random runs (some past the row's end), literals,
// moves right and down and ends of rows, closed by the end-of-bitmap code.
std::string Compressed(int w, int h, int bits) {
    std::string s;
    for (int y = 0; y < h; ++y, s += std::string(2, '\0'))
        for (int x = 0; x < w && rng() % 6;) {
            const int room = w - x, kind = int(rng() % 8);
            if (kind < 3 && room >= 3) {  // a literal, within the row
                const int n = 3 + int(rng() % std::min(room - 2, 250)), stored = bits == 8 ? n : (n + 1) / 2;
                s += std::string(1, '\0') + char(n) + Random(size_t(stored + stored % 2)), x += n;
            } else if (kind == 3) {
                const int dx = int(rng() % 5), dy = int(rng() % 2);
                s += std::string("\0\2", 2) + char(dx) + char(dy), x = std::min(x + dx, w - 1), y += dy;
            } else {
                const int n = 1 + int(rng() % (room + 4));
                s += char(n) + Random(1), x += n;
            }
        }
    return s + std::string("\0\1", 2);
}

// The generated forms, then the fuzz cases: the seeds, which are all
// pictures, and the fixed findings, which may be refusals.
std::vector<std::pair<std::string, std::string>> Forms() {  // name, bytes
    std::vector<std::pair<std::string, std::string>> f;
    for (const auto& [name, b] : std::initializer_list<std::pair<const char*, Bmp>>{
             {"mono", Plain(37, 5, 1, 2)}, {"mono_one_colour", Plain(9, 3, 1, 1)}, {"pal4", Plain(13, 6, 4, 16)},
             {"pal4_top_down_5_colours", Plain(7, -4, 4, 5)}, {"pal8", Plain(11, 7, 8, 256)},
             {"pal8_40_colours", Plain(6, 3, 8, 40)}, {"rgb555", Plain(9, 4, 16)}, {"rgb24", Plain(37, 9, 24)},
             {"rgb24_top_down", Plain(21, -5, 24)}, {"rgb32", Plain(17, 3, 32)},
             {"rle8", Bmp{23, 9, 8, 1, Random(800), Compressed(23, 9, 8)}},
             {"rle4", Bmp{19, 8, 4, 2, Random(64), Compressed(19, 8, 4)}}, {"core_rgb24", Plain(10, 3, 24, 0, 12)},
             {"core_pal8", Plain(5, 4, 8, 256, 12)}, {"v5_rgb24", Plain(6, 3, 24, 0, 124)},
             {"v5_pal8", Plain(5, 3, 8, 256, 124)}, {"os2_pal4", Plain(8, 2, 4, 16, 64)},
             {"fields565", Plain(9, 3, 16, 0, 40, {0xF800, 0x07E0, 0x001F})},
             {"fields444", Plain(5, -3, 16, 0, 40, {0x0F00, 0x00F0, 0x000F})},
             {"v4_argb32", Plain(7, 3, 32, 0, 108, {0xFF0000, 0xFF00, 0xFF, 0xFF000000})},
             {"fields_10bit", Plain(6, 2, 32, 0, 40, {0x3FF00000, 0x000FFC00, 0x000003FF})},
             // The rows follow the table, and their indices are in it.
             {"offset_inside_palette", Bmp{4, 2, 8, 0, Random(12), std::string("\0\1\2\1\2\0\1\2", 8), 40, {}, 54}}})
        f.emplace_back(name, b.bytes());
    const auto fuzz = std::filesystem::path(__FILE__).parent_path() / ".." / ".." / "fuzz";
    for (const char* dir : {"corpus/bmp", "regressions/bmp"}) {
        std::error_code ec;
        for (const auto& e : std::filesystem::directory_iterator(fuzz / dir, ec)) {
            std::ifstream in(e.path(), std::ios::binary);
            f.emplace_back(dir + ("/" + e.path().filename().string()), std::string(std::istreambuf_iterator<char>(in), {}));
            for (char& c : f.back().first) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
        }
    }
    return f;
}

class BmpForm : public ::testing::TestWithParam<std::pair<std::string, std::string>> {};

TEST_P(BmpForm, DecodesLikeTheReferenceAndRoundTrips) {
    const std::string& bytes = GetParam().second;
    for (const std::string& p :
         fuzzing::CheckBmpInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), test::QtDecode))
        ADD_FAILURE() << p;
    if (GetParam().first.rfind("regressions", 0) != 0) { EXPECT_NO_THROW(bmp::Decode(bytes, "form")); }
}

INSTANTIATE_TEST_SUITE_P(Kept, BmpForm, ::testing::ValuesIn(Forms()), [](const auto& info) { return info.param.first; });

// Every PNG form among the fuzz seeds (each colour type and depth, palette,
// interlaced; written by another program) decodes to the colours of Qt's
// reader, alpha left aside; its rows, read as the import reads them, give
// that picture and resize as it does.
class PngForm : public ::testing::TestWithParam<std::filesystem::path> {};

TEST_P(PngForm, DecodesLikeQt) {
    std::ifstream in(GetParam(), std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    const QImage image = QImage::fromData(QByteArray::fromRawData(bytes.data(), qsizetype(bytes.size())), "png");
    ASSERT_FALSE(image.isNull());
    const Picture p = png::Decode(bytes, "form");
    ASSERT_EQ(p.width, image.width());
    ASSERT_EQ(p.height, image.height());
    for (int y = 0; y < p.height; ++y)
        for (int x = 0; x < p.width; ++x) {
            const QRgb c = image.pixel(x, y);
            ASSERT_EQ(p.at(x, y), Colour(qRed(c) | qGreen(c) << 8 | qBlue(c) << 16)) << x << "," << y;
        }
    EXPECT_EQ(pictures::ReadAll(*pictures::OpenRows(bytes, "form")).pixels, p.pixels);
    const std::vector<std::pair<int, int>> sizes{{p.width / 2 + 1, p.height * 2}};
    EXPECT_EQ(ResizeRows(*pictures::OpenRows(bytes, "form"), sizes, resample::Method::Automatic, 2, 1)[0].pixels,
              ResizeRows(*pictures::RowsOfPicture(p), sizes, resample::Method::Automatic, 2, 1)[0].pixels);
}

std::vector<std::filesystem::path> PngSeeds() {
    std::vector<std::filesystem::path> seeds;
    for (const auto& e : std::filesystem::directory_iterator(std::filesystem::path(__FILE__).parent_path() / ".." /
                                                             ".." / "fuzz" / "corpus" / "png"))
        seeds.push_back(e.path());
    return seeds;
}

INSTANTIATE_TEST_SUITE_P(Seeds, PngForm, ::testing::ValuesIn(PngSeeds()), [](const auto& info) {
    std::string name = info.param.stem().string();
    for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
});
#endif

// A file, the error LoadPicture fails with (0: it loads) and, if given, the
// length the file is extended to, made unreadable. The files over the limits
// are whole, so that nothing but the limit refuses them.
struct Verdict { std::string name, bytes; int number = ErrInvalidPicture; std::uint64_t size = 0; };

std::vector<Verdict> Verdicts() {
    const Bmp good = Plain(4, 4, 24);
    const auto with = [&](auto change) { Bmp b = good; change(b); return b.bytes(); };
    const std::string whole = good.bytes();
    const auto rle = [](const char* stream, size_t n) { return Bmp{4, 2, 8, 1, Random(8), std::string(stream, n)}.bytes(); };
    std::ifstream seed(std::filesystem::path(__FILE__).parent_path() / ".." / ".." / "fuzz/corpus/png/rgb8-8x6.png",
                       std::ios::binary);
    const std::string png(std::istreambuf_iterator<char>(seed), {});
    std::string flipped = png;  // in the end chunk's checksum: only the checksum tells
    flipped.back() = char(flipped.back() ^ 0x10);
    return {
        {"png_header_cut", std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16) + std::string(64, '\0')},
        {"png", png, 0}, {"png_cut", png.substr(0, png.size() - 4)}, {"png_checksum_wrong", flipped},
        {"header_cut", whole.substr(0, 40)}, {"rows_cut", whole.substr(0, whole.size() - 1)},
        {"width_over_limit", Plain(40000, 1, 24).bytes()}, {"height_over_limit", Plain(1, -40000, 24).bytes()},
        {"8k_and_more", Plain(7680, 4370, 1, 2).bytes()},
        {"8k_at_one_bit", Plain(7680, 4320, 1, 2).bytes(), 0}, {"no_width", with([](Bmp& b) { b.width = 0; })},
        {"negative_width", with([](Bmp& b) { b.width = -4; })}, {"seven_bits", with([](Bmp& b) { b.bits = 7; })},
        {"jpeg_inside", with([](Bmp& b) { b.compression = 4; })},
        {"header_form_52", with([](Bmp& b) { b.headerSize = 52; })},
        {"two_planes", whole.substr(0, 26) + Le(2, 2) + whole.substr(28)},
        {"top_down_rle", with([](Bmp& b) { b.height = -4, b.bits = 8, b.compression = 1; })},
        {"pixels_past_the_end", whole.substr(0, 10) + Le(240, 4) + whole.substr(14)},
        {"palette_of_300", with([](Bmp& b) { b.bits = 8, b.palette = Random(1200); })},
        {"palette_past_the_end", with([](Bmp& b) { b.bits = 8, b.palette = Random(1024), b.offset = 54; }).substr(0, 999)},
        {"masks_cut", Bmp{1, 1, 16, 3, {}, "\x01\x02\x03\x04"}.bytes()},
        {"rle_run_cut", rle("\x04\x01\0\0\x04", 5)}, {"rle_literal_cut", rle("\0\x04\x01\x01\x01", 5)},
        {"rle_move_cut", rle("\0\x02\x01", 3)}, {"rle_without_end", rle("\x04\x01\0\0\x04\x01", 6)},
        {"missing_file", "", ErrFileNotFound},
        // Longer than any picture the decoder accepts, with a megabyte for
        // headers: refused unread; one byte less is read.
        {"over_the_file_limit", whole, ErrInvalidPicture, std::uint64_t(bmp::kMaxPixels) * 4 + (1 << 20) + 1},
        {"at_the_file_limit", whole, ErrPermissionDenied, std::uint64_t(bmp::kMaxPixels) * 4 + (1 << 20)},
    };
}

class BmpVerdict : public ::testing::TestWithParam<Verdict> {};

TEST_P(BmpVerdict, LoadsOrFailsWithItsNumberAndTheFileName) {
    test::GameFolder folder;
    if (GetParam().number != ErrFileNotFound) folder.write("x.bmp", GetParam().bytes);
    if (GetParam().size) std::filesystem::resize_file(folder.file("x.bmp"), GetParam().size);
    const test::Fault unreadable(GetParam().size ? "x.bmp" : "/nothing/", EACCES, "read");
    try {
        LoadPicture(folder.file("x.bmp"));
        EXPECT_EQ(GetParam().number, 0) << "loaded";
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), GetParam().number) << f.description();
        EXPECT_NE(f.description().find(folder.file("x.bmp")), std::string::npos) << f.description();
    }
}

INSTANTIATE_TEST_SUITE_P(Table, BmpVerdict, ::testing::ValuesIn(Verdicts()), [](const auto& info) { return info.param.name; });

// 24 bits, bottom-up rows padded to 4 bytes, replacing a file whole or not at
// all (a failed rename leaves the old one); every padding and vector tail
// loads back, less the top byte, a large picture
// written and read in bands.
TEST(SavePicture, Writes24BitBottomUpPaddedRowsAtomically) {
    test::GameFolder folder;
    SavePicture(Picture{3, 2, {0x030201, 0x060504, 0x090807, 0x131211, 0x161514, 0x191817}}, folder.file("out.bmp"));
    const std::string rows("\x13\x12\x11\x16\x15\x14\x19\x18\x17\0\0\0\x03\x02\x01\x06\x05\x04\x09\x08\x07\0\0\0", 24);
    const std::string expected = Bmp{3, 2, 24, 0, {}, rows, 40, {}, -1, 0}.bytes();
    EXPECT_EQ(folder.read("out.bmp"), expected);
    EXPECT_EQ(test::FailureOf([&] {
                  const test::Fault full("out.bmp", ENOSPC, "rename");
                  SavePicture(Picture{1, 1, {0}}, folder.file("out.bmp"));
              }).number(), ErrDiskFull);
    EXPECT_EQ(folder.read("out.bmp"), expected);
    for (auto [w, h] : {std::pair{1, 1}, {2, 5}, {7, 3}, {8, 2}, {13, 4}, {1280, 720}}) {
        Picture q = test::RandomPicture(w, h, std::uint32_t(w * h));
        SavePicture(q, folder.file("r.bmp"));
        for (auto& c : q.pixels) c &= 0xFFFFFF;
        EXPECT_EQ(LoadPicture(folder.file("r.bmp")).pixels, q.pixels) << w << "x" << h;
    }
    EXPECT_THROW(SavePicture(Picture{}, folder.file("e.bmp")), Failure);
}

}  // namespace glintbook
