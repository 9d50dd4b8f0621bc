// The readers LoadPicture chooses among by a file's first bytes. Every form
// of every format, written by another program (tests/data/pictures, made by
// make_pictures.py), decodes to its reference decode from that program or
// to the picture it was written from; every damaged file is refused with the
// picture error naming it and saying why.
#include "imaging/picture_io.h"
#include "imaging/picture_readers.h"
#include "imaging/resize_rows.h"
#include "platform/failure.h"
#include "support/game_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace glintbook {

namespace {

// Linux decodes JPEG with libjpeg-turbo, as the references were made: no
// difference. Windows decodes with stb_image (jpeg_format_windows.cpp),
// measured within 3 levels a channel of libjpeg-turbo for every form but
// 4:2:2, whose chroma it widens differently beside the first and last
// columns (13 levels there in this file, 7 at most in a 1920 x 1080 scene).
#ifdef _WIN32
constexpr int kJpegLevels = 3, kJpeg422Levels = 13;
#else
constexpr int kJpegLevels = 0, kJpeg422Levels = 0;
#endif

std::string Data(const std::string& name) { return test::TestData("pictures/" + name); }

// A binary PPM, as ImageMagick and djpeg write it.
Picture Ppm(const std::string& name) {
    std::istringstream in(Data(name));
    std::string magic;
    int w = 0, h = 0, top = 0;
    in >> magic >> w >> h >> top;
    in.get();
    EXPECT_TRUE(magic == "P6" && top == 255 && w > 0 && h > 0) << name;
    Picture p{w, h, Pixels(size_t(w) * size_t(h), 0)};
    for (Colour& c : p.pixels) {
        char rgb[3] = {};
        in.read(rgb, 3);
        c = Colour(std::uint8_t(rgb[0])) | Colour(std::uint8_t(rgb[1])) << 8 | Colour(std::uint8_t(rgb[2])) << 16;
    }
    EXPECT_TRUE(in) << name << " is cut short";
    return p;
}

// The largest difference of one channel between two pictures of one size.
int Distance(const Picture& a, const Picture& b) {
    int most = 0;
    for (size_t i = 0; i < a.pixels.size(); ++i)
        for (int shift : {0, 8, 16})
            most = std::max(most, std::abs(int(a.pixels[i] >> shift & 0xFF) - int(b.pixels[i] >> shift & 0xFF)));
    return most;
}

struct Form {
    std::string file, reference, reader;
    int levels = 0;        // the largest difference allowed in a channel
    bool mirrored = false;  // a TGA's rows marked right to left
    int stacked = 1;        // a plain TGA or DDS made that many times taller, its rows repeated
};

// The form's file and reference, changed as it asks.
std::pair<std::string, Picture> Made(const Form& form) {
    std::string bytes = Data(form.file);
    Picture reference = Ppm(form.reference);
    const int w = reference.width;
    if (form.mirrored) {
        bytes[17] = char(bytes[17] | 0x10);
        for (int y = 0; y < reference.height; ++y)
            std::reverse(reference.pixels.begin() + std::ptrdiff_t(y) * w, reference.pixels.begin() + std::ptrdiff_t(y + 1) * w);
    }
    if (form.stacked > 1) {
        const bool tga = form.reader == "TGA";
        const size_t start = tga ? 18 + std::uint8_t(bytes[0]) : 128, heightAt = tga ? 14 : 12;
        const std::string rows = bytes.substr(start);
        bytes.resize(start);
        const std::uint32_t h = std::uint32_t(reference.height * form.stacked);
        for (int i = 0; i < (tga ? 2 : 4); ++i) bytes[heightAt + size_t(i)] = char(h >> (8 * i));
        const Pixels once = reference.pixels;
        for (int i = 0; i < form.stacked; ++i) bytes += rows;
        for (int i = 1; i < form.stacked; ++i) reference.pixels.insert(reference.pixels.end(), once.begin(), once.end());
        reference.height = int(h);
    }
    return {bytes, reference};
}

class ReaderForm : public ::testing::TestWithParam<Form> {};

// Loaded under a name of another format: the first bytes alone choose the
// reader, and exactly one reader claims them. Its rows, read as the import
// reads them, resize as the whole decoder's picture does.
TEST_P(ReaderForm, DecodesLikeTheReference) {
    const Form& form = GetParam();
    const auto [bytes, reference] = Made(form);
    int claims = 0;
    for (const pictures::Reader& r : pictures::Readers()) claims += r.claims(bytes.substr(0, pictures::kHeadBytes), bytes.size());
    EXPECT_EQ(claims, 1);
    ASSERT_NE(pictures::ReaderFor(bytes), nullptr);
    EXPECT_EQ(pictures::ReaderFor(bytes)->name, form.reader);
    test::GameFolder folder;
    folder.write("ScreenShot 1.bmp", bytes);
    const Picture ours = LoadPicture(folder.file("ScreenShot 1.bmp"));
    const std::vector<std::pair<int, int>> sizes{{reference.width / 2 + 1, reference.height / 3 + 1}};
    const auto rows = pictures::OpenRows(folder.file("ScreenShot 1.bmp"));
    const auto whole = pictures::RowsOfPicture(pictures::Decode(bytes, "whole"));
    EXPECT_EQ(ResizeRows(*rows, sizes, resample::Method::Automatic, 2, 3)[0].pixels,
              ResizeRows(*whole, sizes, resample::Method::Automatic, 2, 3)[0].pixels);
    ASSERT_EQ(ours.width, reference.width);
    ASSERT_EQ(ours.height, reference.height);
    const int distance = Distance(ours, reference);
    RecordProperty("distance", distance);
    EXPECT_LE(distance, form.levels);
    for (Colour c : ours.pixels) ASSERT_EQ(c >> 24, 0u) << "alpha left in a colour";
}

std::vector<Form> Forms() {
    std::vector<Form> forms;
    for (const char* jpeg : {"jpeg-444", "jpeg-422", "jpeg-420", "jpeg-440", "jpeg-grey", "jpeg-420-progressive",
                             "jpeg-444-progressive", "jpeg-grey-progressive", "jpeg-420-restarts"})
        forms.push_back({jpeg + std::string(".jpg"), jpeg + std::string(".ppm"), "JPEG",
                         jpeg == std::string("jpeg-422") ? kJpeg422Levels : kJpegLevels});
    const std::pair<const char*, const char*> lossless[] = {
        {"tga-24.tga", "tga-24.ppm"}, {"tga-24-top.tga", "tga-24-top.ppm"}, {"tga-24-rle.tga", "tga-24-rle.ppm"},
        {"tga-32.tga", "tga-32.ppm"}, {"tga-grey.tga", "tga-grey.ppm"}, {"tga-grey-rle.tga", "tga-grey-rle.ppm"},
        {"tga-16.tga", "ref-555.ppm"}, {"tga-32-rle-top.tga", "ref-few.ppm"}, {"tga-24-rle-bottom.tga", "ref-few.ppm"},
        {"dds-r8g8b8.dds", "source.ppm"}, {"dds-a8r8g8b8.dds", "source.ppm"}, {"dds-x8r8g8b8.dds", "source.ppm"},
        {"dds-a8b8g8r8.dds", "source.ppm"}, {"dds-x8b8g8r8-mips.dds", "source.ppm"},
        {"dds-r8g8b8-pitch.dds", "source.ppm"}, {"dds-r5g6b5.dds", "ref-565.ppm"}, {"dds-x1r5g5b5.dds", "ref-555.ppm"},
        {"dds-a1r5g5b5.dds", "ref-555.ppm"}, {"dds-x4r4g4b4.dds", "ref-444.ppm"}};
    for (const auto& [file, reference] : lossless)
        forms.push_back({file, reference, std::string(file).substr(0, 3) == "tga" ? "TGA" : "DDS"});
    for (const char* tga : {"tga-24", "tga-24-top", "tga-24-rle"})
        forms.push_back({tga + std::string(".tga"), tga + std::string(".ppm"), "TGA", 0, true});
    forms.push_back({"tga-24.tga", "tga-24.ppm", "TGA", 0, true, 24});
    forms.push_back({"dds-r8g8b8.dds", "source.ppm", "DDS", 0, false, 24});
    return forms;
}

std::string TestName(std::string s) {
    for (char& c : s) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return s;
}

INSTANTIATE_TEST_SUITE_P(Kept, ReaderForm, ::testing::ValuesIn(Forms()),
                         [](const auto& info) {
                             return TestName(info.param.file) + (info.param.mirrored ? "_right_to_left" : "") +
                                    (info.param.stacked > 1 ? "_stacked" : "");
                         });

// A damaged file, and words the refusal must give as its reason.
struct Damage {
    std::string name, bytes, reason;
};

class ReaderDamage : public ::testing::TestWithParam<Damage> {};

TEST_P(ReaderDamage, IsAnInvalidPictureNamingTheFileAndWhy) {
    test::GameFolder folder;
    folder.write("shot", GetParam().bytes);
    try {
        LoadPicture(folder.file("shot"));
        ADD_FAILURE() << "loaded";
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), ErrInvalidPicture) << f.description();
        EXPECT_EQ(f.description().rfind("Invalid picture: " + folder.file("shot") + " (", 0), 0u) << f.description();
        EXPECT_NE(f.description().find(GetParam().reason), std::string::npos) << f.description();
    }
}

// `bytes` with `part` written over them at `at`.
std::string With(std::string bytes, size_t at, const std::string& part) { return bytes.replace(at, part.size(), part); }
std::string Le16(unsigned v) { return {char(v & 0xFF), char(v >> 8)}; }

std::vector<Damage> Damages() {
    const std::string jpeg = Data("jpeg-420.jpg"), progressive = Data("jpeg-420-progressive.jpg");
    const std::string tga = Data("tga-24.tga"), rle = Data("tga-24-rle-bottom.tga"), dds = Data("dds-r8g8b8.dds");
    const std::string unclaimed = "not a BMP, PNG, JPEG, DDS or TGA file";
    const size_t sos = jpeg.find("\xFF\xDA");
    return {
        {"empty", "", "empty file"},
        {"gif", "GIF89a" + std::string(40, '\1'), unclaimed},
        {"jpeg_cut_in_half", jpeg.substr(0, jpeg.size() / 2), "cut short"},
        {"jpeg_without_its_end", jpeg.substr(0, jpeg.size() - 2), "cut short"},
        {"jpeg_progressive_cut", progressive.substr(0, progressive.size() * 2 / 3), "cut short"},
        {"jpeg_header_only", jpeg.substr(0, sos), "cut short"},
        {"jpeg_12_bit", With(jpeg, jpeg.find("\xFF\xC0") + 4, "\x0C"), "not 8 bits a sample"},
        {"jpeg_no_width", With(jpeg, jpeg.find("\xFF\xC0") + 7, std::string(2, '\0')), "no pixels"},
        {"jpeg_end_inside_the_scan", With(jpeg, sos + 200, "\xFF\xD9"), "damaged"},
        {"jpeg_another_file_after_the_end", jpeg + jpeg, "data after its end-of-image marker"},
        {"jpeg_cmyk", Data("jpeg-cmyk.jpg"), "CMYK"},
        {"tga_rows_cut", tga.substr(0, tga.size() - 1), unclaimed},
        {"tga_run_length_cut", rle.substr(0, rle.size() - 2), "truncated run-length data"},
        {"tga_colour_map", With(tga, 1, "\x01"), unclaimed},
        {"tga_20_bits", With(tga, 16, "\x14"), unclaimed},
        {"tga_wider_than_the_limit", With(tga, 12, Le16(40000)), unclaimed},
        {"tga_interleaved", With(tga, 17, "\x40"), unclaimed},
        {"dds_rows_cut", dds.substr(0, dds.size() - 1), "truncated pixel data"},
        {"dds_header_cut", dds.substr(0, 100), "truncated header"},
        {"dds_header_size", With(dds, 4, "\x7D"), "header form"},
        {"dds_dxt1", Data("dds-dxt1.dds"), "compressed (DXT1)"},
        {"dds_dx10", With(With(dds, 80, "\x04"), 84, "DX10"), "compressed (DX10)"},
        {"dds_8_bits", With(dds, 88, "\x08"), "8 bits per pixel"},
        {"dds_masks_overlap", With(dds, 96, "\x80\xFF\xFF"), "masks"},
        {"dds_pitch_short_of_a_row", With(dds, 20, std::string("\x10\0", 2)), "pitch"},
        {"dds_over_the_limit", With(dds, 12, std::string("\0\0\1", 3)), "claims 45 x 65536 pixels"},
    };
}

INSTANTIATE_TEST_SUITE_P(Table, ReaderDamage, ::testing::ValuesIn(Damages()),
                         [](const auto& info) { return info.param.name; });

}  // namespace

}  // namespace glintbook
