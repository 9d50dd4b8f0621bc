// LoadPicture, SavePicture and the BMP bytes behind them. The files here are
// put together field by field from the format's layout, not by the code under
// test.
#include "imaging/bmp_format.h"
#include "imaging/picture_io.h"
#include "platform/failure.h"
#include "platform/files.h"
#include "resample_oracle.h"
#include "support/game_folder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

namespace glintbook {
namespace {

using test::GameFolder;
using test::RandomPicture;

std::string Le(std::uint32_t v, int bytes) {
    std::string s;
    for (int i = 0; i < bytes; ++i) s += char((v >> (8 * i)) & 0xFF);
    return s;
}

struct Bmp {
    std::int32_t width = 1, height = 1;  // negative height: rows top-down
    int bits = 24;
    std::uint32_t compression = 0, headerSize = 40;  // 12 core, 40, 108 V4, 124 V5
    std::vector<std::uint32_t> palette;               // 0x00RRGGBB
    std::string pixels;                               // as stored

    std::string bytes() const {
        std::string info = headerSize == 12 ? Le(12, 4) + Le(std::uint32_t(width), 2) + Le(std::uint32_t(height), 2) +
                                                  Le(1, 2) + Le(std::uint32_t(bits), 2)
                                            : Le(headerSize, 4) + Le(std::uint32_t(width), 4) +
                                                  Le(std::uint32_t(height), 4) + Le(1, 2) + Le(std::uint32_t(bits), 2) +
                                                  Le(compression, 4) + Le(std::uint32_t(pixels.size()), 4) +
                                                  Le(2835, 4) + Le(2835, 4) + Le(std::uint32_t(palette.size()), 4) +
                                                  Le(0, 4);
        if (headerSize >= 108)  // masks red, green, blue, alpha; then zeros
            info += Le(0x00FF0000, 4) + Le(0x0000FF00, 4) + Le(0x000000FF, 4) + Le(0xFF000000, 4) +
                    std::string(headerSize - 56, '\0');
        std::string table;
        for (std::uint32_t c : palette) table += Le(c, headerSize == 12 ? 3 : 4);
        const auto offset = std::uint32_t(14 + info.size() + table.size());
        return "BM" + Le(offset + std::uint32_t(pixels.size()), 4) + Le(0, 4) + Le(offset, 4) + info + table + pixels;
    }
};

// A picture's rows as stored: bottom-up unless topDown; blue, green, red and
// with 4 bytes a pixel a fourth byte (0x40 + x, say an alpha); padded to 4.
Bmp TrueColour(const Picture& p, int bits, bool topDown = false) {
    Bmp b;
    b.width = p.width;
    b.height = topDown ? -p.height : p.height;
    b.bits = bits;
    for (int i = 0; i < p.height; ++i) {
        std::string row;
        for (int x = 0; x < p.width; ++x) {
            const Colour c = p.at(x, topDown ? i : p.height - 1 - i);
            row += Le(((c >> 16) & 0xFF) | (c & 0xFF00) | ((c & 0xFF) << 16) | std::uint32_t(0x40 + x) << 24, bits / 8);
        }
        b.pixels += row + std::string((4 - row.size() % 4) % 4, '\0');
    }
    return b;
}

void ExpectInvalid(const GameFolder& folder, const std::string& bytes, const std::string& what) {
    folder.write("x.bmp", bytes);
    try {
        LoadPicture(folder.file("x.bmp"));
        ADD_FAILURE() << what << ": loaded";
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), ErrInvalidPicture) << what << ": " << f.description();
        EXPECT_NE(f.description().find(folder.file("x.bmp")), std::string::npos) << f.description();
    }
}

// --- Saving ----------------------------------------------------------------

TEST(SavePicture, Writes24BitBottomUpPaddedRows) {
    GameFolder folder;
    const Picture p{3, 2, {0x00030201, 0x00060504, 0x00090807, 0x00131211, 0x00161514, 0x00191817}};
    SavePicture(p, folder.file("out.bmp"));
    // File header, BITMAPINFOHEADER (40 bytes, 3 x 2, 1 plane, 24 bits,
    // BI_RGB, 24 bytes of rows, no resolution or palette), then the bottom
    // row first, blue, green, red, each row padded from 9 to 12 bytes.
    const std::string expected = "BM" + Le(78, 4) + Le(0, 4) + Le(54, 4) + Le(40, 4) + Le(3, 4) + Le(2, 4) + Le(1, 2) +
                                 Le(24, 2) + Le(0, 4) + Le(24, 4) + std::string(16, '\0') +
                                 std::string("\x13\x12\x11\x16\x15\x14\x19\x18\x17\0\0\0", 12) +
                                 std::string("\x03\x02\x01\x06\x05\x04\x09\x08\x07\0\0\0", 12);
    EXPECT_EQ(folder.read("out.bmp"), expected);
    for (int w = 1; w <= 8; ++w) {  // every padding
        const Picture q = RandomPicture(w, 3, std::uint32_t(w));
        EXPECT_EQ(bmp::Encode24(q), TrueColour(q, 24).bytes().replace(38, 8, std::string(8, '\0'))) << w;
    }
}

TEST(SavePicture, RoundTripsAndDropsTheTopByte) {
    GameFolder folder;
    for (auto [w, h] : {std::pair{1, 1}, {2, 5}, {7, 3}, {640, 480}}) {
        const Picture p = RandomPicture(w, h, std::uint32_t(w * h));
        Picture noisy = p;
        for (auto& c : noisy.pixels) c |= 0xAB000000u;
        SavePicture(noisy, folder.file("r.bmp"));
        EXPECT_EQ(LoadPicture(folder.file("r.bmp")).pixels, p.pixels) << w << "x" << h;
        EXPECT_EQ(bmp::Decode(bmp::Encode24(p), "memory").pixels, p.pixels);
    }
}

TEST(SavePicture, ReplacesAtomicallyOrFailsCleanly) {
    GameFolder folder;
    const std::string path = folder.file("book.bmp");
    folder.write("book.bmp", "old contents");
    SavePicture(RandomPicture(5, 5, 1), path);
    EXPECT_EQ(LoadPicture(path).pixels, RandomPicture(5, 5, 1).pixels);
    // A failing last step leaves the old file whole and no temporary behind.
    const std::string before = folder.read("book.bmp");
    files::SetFaultHook([](std::string_view step, const std::string&) { return step == "rename" ? EIO : 0; });
    EXPECT_THROW(SavePicture(RandomPicture(6, 6, 2), path), Failure);
    files::SetFaultHook(nullptr);
    EXPECT_EQ(folder.read("book.bmp"), before);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);

    try {
        SavePicture(Picture{}, folder.file("e.bmp"));
        ADD_FAILURE() << "saved an empty picture";
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), ErrInvalidPicture);
    }
    EXPECT_THROW(SavePicture(RandomPicture(2, 2, 1), folder.file("no/such/folder/x.bmp")), Failure);
}

// --- Loading what the platform loads ---------------------------------------

TEST(LoadPicture, TrueColourForms) {
    GameFolder folder;
    const Picture p = RandomPicture(5, 3, 42);
    std::vector<std::pair<std::string, Bmp>> forms;
    for (int bits : {24, 32})
        for (bool topDown : {false, true})
            forms.emplace_back(std::to_string(bits) + (topDown ? " top-down" : ""), TrueColour(p, bits, topDown));
    forms.emplace_back("core header", TrueColour(p, 24));
    forms.back().second.headerSize = 12;
    for (std::uint32_t size : {108u, 124u}) {  // an alpha mask: colours still as stored, never premultiplied
        forms.emplace_back("alpha " + std::to_string(size), TrueColour(p, 32));
        forms.back().second.headerSize = size;
        forms.back().second.compression = 3;
    }
    for (const auto& [name, bmp] : forms) {
        folder.write("t.bmp", bmp.bytes());
        EXPECT_EQ(LoadPicture(folder.file("t.bmp")).pixels, p.pixels) << name;
    }
}

TEST(LoadPicture, PalettedForms) {
    GameFolder folder;
    // 3 x 2, indices from the top: 0 1 2 / 3 2 1, stored bottom row first.
    const std::vector<std::uint32_t> palette = {0x00102030, 0x00A0B0C0, 0x00FF0000, 0x000000FF};
    const std::vector<Colour> expected = {0x00302010, 0x00C0B0A0, 0x000000FF, 0x00FF0000, 0x000000FF, 0x00C0B0A0};
    const auto load = [&](int bits, std::uint32_t compression, std::string pixels) {
        folder.write("p.bmp", Bmp{3, 2, bits, compression, 40, palette, std::move(pixels)}.bytes());
        return LoadPicture(folder.file("p.bmp")).pixels;
    };
    EXPECT_EQ(load(8, 0, std::string("\x03\x02\x01\0\x00\x01\x02\0", 8)), expected);
    EXPECT_EQ(load(4, 0, std::string("\x32\x10\0\0\x01\x20\0\0", 8)), expected);
    // RLE8: three runs of one and an end of row; three literal pixels padded
    // to a 16-bit boundary, end of row, end of bitmap.
    EXPECT_EQ(load(8, 1, std::string("\x01\x03\x01\x02\x01\x01\0\0\0\x03\x00\x01\x02\0\0\0\0\x01", 18)), expected);
    folder.write("m.bmp", Bmp{3, 2, 1, 0, 40, {0, 0x00FFFFFF}, std::string("\xA0\0\0\0\x40\0\0\0", 8)}.bytes());
    EXPECT_EQ(LoadPicture(folder.file("m.bmp")).pixels, (std::vector<Colour>{0, 0xFFFFFF, 0, 0xFFFFFF, 0, 0xFFFFFF}));
    // An index past a one-colour palette reads black.
    folder.write("i.bmp", Bmp{2, 1, 8, 0, 40, {0x00112233}, std::string("\x00\xC8\0\0", 4)}.bytes());
    EXPECT_EQ(LoadPicture(folder.file("i.bmp")).pixels, (std::vector<Colour>{0x00332211, 0}));
}

// --- Refusing the rest -----------------------------------------------------

TEST(LoadPicture, MissingFileIsFileNotFound) {
    GameFolder folder;
    try {
        LoadPicture(folder.file("nowhere.bmp"));
        ADD_FAILURE() << "loaded a missing file";
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), ErrFileNotFound);
        EXPECT_NE(f.description().find("nowhere.bmp"), std::string::npos);
    }
}

TEST(LoadPicture, NotBmpOrTruncated) {
    GameFolder folder;
    ExpectInvalid(folder, std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16) + std::string(64, '\0'), "PNG");
    ExpectInvalid(folder, "BMX is not a bitmap, just text that starts like one......", "text");
    const std::string whole = TrueColour(RandomPicture(7, 5, 3), 24).bytes();
    for (size_t n = 0; n < whole.size(); n += (n < 64 ? 1 : 7))
        ExpectInvalid(folder, whole.substr(0, n), "cut at " + std::to_string(n));
    // Compressed: a stream that stops before its end (run, end of row, run,
    // end of bitmap) is refused, the whole one decoded.
    const std::string stream("\x04\x01\0\0\x04\x00\0\x01", 8);
    for (size_t n : {1, 2, 4, 6}) ExpectInvalid(folder, Bmp{4, 2, 8, 1, 40, {0xFFFFFF, 0x808080}, stream.substr(0, n)}.bytes(), "RLE cut");
    folder.write("r.bmp", Bmp{4, 2, 8, 1, 40, {0xFFFFFF, 0x808080}, stream}.bytes());
    EXPECT_EQ(LoadPicture(folder.file("r.bmp")).pixels,
              (std::vector<Colour>{0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0x808080, 0x808080, 0x808080, 0x808080}));
}

TEST(LoadPicture, AbsurdOrUnsupportedHeaders) {
    GameFolder folder;
    const Bmp good = TrueColour(RandomPicture(4, 4, 8), 24);
    const auto with = [&](auto change) {
        Bmp b = good;
        change(b);
        return b.bytes();
    };
    ExpectInvalid(folder, with([](Bmp& b) { b.width = b.height = 100000; }), "ten billion pixels in 100 bytes");
    ExpectInvalid(folder, with([](Bmp& b) { b.width = 40000, b.height = 1; }), "one side over the limit");
    ExpectInvalid(folder, with([](Bmp& b) { b.width = 0; }), "no width");
    ExpectInvalid(folder, with([](Bmp& b) { b.height = 0; }), "no height");
    ExpectInvalid(folder, with([](Bmp& b) { b.width = -4; }), "negative width");
    ExpectInvalid(folder, with([](Bmp& b) { b.bits = 7; }), "7 bits");
    ExpectInvalid(folder, with([](Bmp& b) { b.compression = 4; }), "JPEG inside");
    ExpectInvalid(folder, with([](Bmp& b) { b.headerSize = 200; }), "header form");
    ExpectInvalid(folder, with([](Bmp& b) { b.height = -4, b.bits = 8, b.compression = 1; }), "top-down RLE");
    ExpectInvalid(folder, good.bytes().replace(10, 4, Le(240, 4)), "pixels past the end");
    // The limits admit an 8K screenshot, not more than 2^25 pixels (at one
    // bit a pixel, 960 bytes a row, the file holds the rows of either).
    std::string header = good.bytes();
    header.replace(18, 12, Le(7680, 4) + Le(4320, 4) + Le(1, 2) + Le(1, 2)).resize(54 + 960 * 4400);
    EXPECT_NO_THROW(bmp::CheckHeader(header, "8k"));
    EXPECT_THROW(bmp::CheckHeader(header.replace(22, 4, Le(4370, 4)), "over"), Failure);  // 33,561,600 pixels
}

// Damaged headers never crash the loader: either a sane picture or a Failure.
TEST(LoadPicture, DamagedHeadersFailCleanly) {
    const std::string whole = TrueColour(RandomPicture(9, 7, 4), 32).bytes();
    std::mt19937 rng(1234);
    int loaded = 0;
    for (int i = 0; i < 3000; ++i) {
        std::string bytes = whole;
        for (int k = 0, n = 1 + int(rng() % 4); k < n; ++k) bytes[rng() % 54] = char(rng());
        try {
            const Picture p = bmp::Decode(bytes, "damaged");
            ASSERT_EQ(p.pixels.size(), size_t(p.width) * size_t(p.height));
            ++loaded;
        } catch (const Failure& f) {
            ASSERT_EQ(f.number(), ErrInvalidPicture) << f.description();
        }
    }
    EXPECT_GT(loaded, 0);
}

}  // namespace
}  // namespace glintbook
