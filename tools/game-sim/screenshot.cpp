#include "screenshot.h"

#include "formats.h"

#include "imaging/picture_io.h"
#include "platform/failure.h"
#include "platform/files.h"
#include "settings/catalogue.h"
#include "settings/open_engine.h"
#include "settings/profile.h"
#include "settings/settings_file.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>

namespace gamesim {

using glintbook::Colour;
using glintbook::Picture;

namespace {

// A 3x5 digit font: one byte a row, bit 2 is the left column.
constexpr std::array<std::array<std::uint8_t, 5>, 11> kGlyphs{{
    {7, 5, 5, 5, 7}, {2, 6, 2, 2, 7}, {7, 1, 7, 4, 7}, {7, 1, 7, 1, 7}, {5, 5, 7, 1, 1}, {7, 4, 7, 1, 7},
    {7, 4, 7, 5, 7}, {7, 1, 1, 1, 1}, {7, 5, 7, 5, 7}, {7, 5, 7, 1, 7}, {0, 0, 7, 0, 0},  // '-' last
}};

constexpr Colour Rgb(unsigned r, unsigned g, unsigned b) { return (r & 255) | (g & 255) << 8 | (b & 255) << 16; }

// 0..255 and back down again: a gradient that wraps without a seam.
constexpr unsigned Wave(unsigned t) { return t & 256 ? 255 - (t & 255) : t & 255; }

void Fill(Picture& pic, int x0, int y0, int w, int h, Colour c) {
    const int x1 = std::min(pic.width, x0 + w), y1 = std::min(pic.height, y0 + h);
    for (int y = std::max(0, y0); y < y1; ++y)
        for (int x = std::max(0, x0); x < x1; ++x) pic.at(x, y) = c;
}

}  // namespace

Picture DrawShot(int width, int height, long long number) {
    Picture pic{width, height, glintbook::Pixels(size_t(width) * size_t(height), 0)};
    const unsigned shift = unsigned(number) * 47u;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            pic.at(x, y) = Rgb(Wave(unsigned(x) * 256 / unsigned(width) + shift),
                               Wave(unsigned(y) * 256 / unsigned(height) + 2 * shift), Wave(3 * shift + 128));

    // The number on a black plate, as large as fits: each character is three
    // cells and a gap, with a cell of border all round.
    const std::string text = glintbook::DecimalText(number);
    const int cellsWide = 4 * int(text.size()) + 1, cellsHigh = 7;
    const int cell = std::max(1, std::min(width * 3 / 4 / cellsWide, height / 2 / cellsHigh));
    const int left = (width - cellsWide * cell) / 2, top = (height - cellsHigh * cell) / 2;
    Fill(pic, left, top, cellsWide * cell, cellsHigh * cell, Rgb(0, 0, 0));
    for (size_t i = 0; i < text.size(); ++i) {
        const auto& glyph = kGlyphs[text[i] == '-' ? 10 : size_t(text[i] - '0')];
        for (int row = 0; row < 5; ++row)
            for (int col = 0; col < 3; ++col)
                if (glyph[size_t(row)] >> (2 - col) & 1)
                    Fill(pic, left + (1 + 4 * int(i) + col) * cell, top + (1 + row) * cell, cell, cell,
                         Rgb(255, 255, 255));
    }
    return pic;
}

std::string TakeScreenshot(int width, int height) {
    namespace key = glintbook::key;
    const auto general = glintbook::section::General;
    if (glintbook::ReadSettingInt(general, key::ScreenShotEnable) != 1)
        return "shot ignored: Screen Shot Enable is not 1";

    const int index = glintbook::ReadSettingInt(general, key::ScreenShotIndex);
    const std::string name = glintbook::ReadSettingText(general, key::ScreenShotBaseName) + " " +
                             glintbook::DecimalText(index) + ".bmp";
    const std::string size = std::to_string(width) + "x" + std::to_string(height);
    try {
        glintbook::SavePicture(DrawShot(width, height, index), glintbook::files::GamePath("\\" + name));
    } catch (const glintbook::Failure& failure) {
        return "shot failed: " + failure.description();
    }
    // Only a picture that is wholly on disk moves the counter on.
    glintbook::WriteSetting(general, key::ScreenShotIndex, glintbook::DecimalText(index + 1LL));
    return "shot " + name + " " + size;
}

std::string TakeEngineScreenshot(int width, int height) {
    namespace fs = std::filesystem;
    const fs::path folder = glintbook::openmw::ScreenshotFolder();
    std::error_code ec;
    fs::create_directories(folder, ec);
    // The engine's own setting decides the format, PNG by default; it
    // creates the file first and writes it in place.
    const std::string format = glintbook::openmw::ScreenshotFormat();
    const FileFormat kind = format == "bmp" ? FileFormat::Bmp : format == "jpg" ? FileFormat::Jpeg
                            : format == "tga" ? FileFormat::Tga : FileFormat::Png;
    for (long long n = 0;; ++n) {
        const std::string digits = std::to_string(n);
        const std::string name = "screenshot" + std::string(digits.size() < 3 ? 3 - digits.size() : 0, '0') + digits +
                                 "." + (kind == FileFormat::Png ? "png" : format);
        if (fs::exists(folder / name, ec)) continue;
        const Picture shot = DrawShot(width, height, n);
        if (const std::string failed = WriteInPlace((folder / name).string(), Encode(shot, kind)); !failed.empty())
            return "shot failed: " + failed;
        return "shot " + (folder / name).string() + " " + std::to_string(width) + "x" + std::to_string(height);
    }
}

namespace {

// MGE XE's settings, read as it reads them.
std::string MgeSetting(const char* key, const char* fallback) {
    return glintbook::profile::GetString(glintbook::files::GamePath("\\MGE3\\MGE.ini"), "Render State", key, fallback, 4096);
}

bool Same(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

// A folder as the game, a Windows program, names it: relative to the game
// folder, or on drive Z:, which Wine maps to the root; each part found as
// Wine finds it, in any letter case.
std::string WindowsFolder(const std::string& written) {
    namespace fs = std::filesystem;
    std::string rest = written;
    fs::path at = fs::current_path();
#ifndef _WIN32
    if (rest.size() >= 2 && (rest[0] == 'Z' || rest[0] == 'z') && rest[1] == ':') at = "/", rest = rest.substr(2);
#else
    if (rest.size() >= 2 && rest[1] == ':') at = rest.substr(0, 2) + "\\", rest = rest.substr(2);
#endif
    for (char& c : rest) c = c == '\\' ? '/' : c;
    size_t from = 0;
    while (from <= rest.size()) {
        const size_t cut = std::min(rest.find('/', from), rest.size());
        std::string part = rest.substr(from, cut - from);
        from = cut + 1;
        if (part.empty() || part == ".") continue;
        std::error_code ec;
        if (!fs::exists(at / part, ec))
            for (const auto& e : fs::directory_iterator(at, ec))
                if (Same(e.path().filename().string(), part)) part = e.path().filename().string();
        at /= part;
    }
    return at.string();
}

int NextOrdinal(const std::string& folder) {
    // Counted from the folder once, then on by itself, as MGE XE does.
    static int next = -1;
    if (next > 0) return ++next;
    next = 0;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(folder, ec)) {
        const std::string name = e.path().filename().string();
        const auto blank = name.rfind(' ');
        if (blank != std::string::npos && blank + 1 < name.size() && std::isdigit(static_cast<unsigned char>(name[blank + 1])))
            next = std::max(next, std::atoi(name.c_str() + blank + 1));
    }
    return ++next;
}

}  // namespace

bool MgeActive() {
    return glintbook::files::FileExists(glintbook::files::GamePath("\\MGE3\\MGE.ini")) &&
           glintbook::files::FileExists(glintbook::files::GamePath("\\d3d8.dll"));
}

std::string TakeMgeScreenshot(int width, int height) {
    static const char* const formats[] = {"BMP", "JPEG", "DDS", "PNG", "TGA"};
    static const char* const extensions[] = {".bmp", ".jpg", ".dds", ".png", ".tga"};
    static const char* const suffixes[] = {"Timestamp", "Ordinal", "Character Name, Ordinal",
                                           "Character Name, Game Time, Ordinal"};
    int format = 3, suffix = 0;
    const std::string formatWord = MgeSetting("Screenshot Format", "PNG"), suffixWord = MgeSetting("Screenshot Name Suffix", "Timestamp");
    for (int i = 0; i < 5; ++i) format = Same(formatWord, formats[i]) ? i : format;
    for (int i = 0; i < 4; ++i) suffix = Same(suffixWord, suffixes[i]) ? i : suffix;
    std::string dir = MgeSetting("Screenshot Output Directory", "").substr(0, 207);
    std::string prefix = MgeSetting("Screenshot Name Prefix", "Morrowind").substr(0, 31);
    const std::string folder = WindowsFolder(dir.empty() ? "./screenshots" : dir);
    std::error_code ec;
    if (!std::filesystem::is_directory(folder, ec) && !std::filesystem::create_directory(folder, ec))
        return "shot failed: cannot create directory " + folder;
    if (!prefix.empty() && prefix.back() != ' ' && prefix.size() + 2 <= 32) prefix += ' ';

    const char* character = std::getenv("GAME_SIM_CHARACTER");
    const std::string name = character && *character ? character : "Nerevar";
    char stem[512];
    int number = 0;
    if (suffix == 0) {
        const auto now = std::chrono::system_clock::now();
        const std::time_t t = std::chrono::system_clock::to_time_t(now);
        const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
        std::tm local{};
#ifdef _WIN32
        localtime_s(&local, &t);
#else
        localtime_r(&t, &local);
#endif
        std::snprintf(stem, sizeof stem, "%s%04d-%02d-%02d %02d.%02d.%02d.%03d", prefix.c_str(), local.tm_year + 1900,
                      local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, int(ms));
        number = int(ms);
    } else {
        number = NextOrdinal(folder);
        if (suffix == 1) std::snprintf(stem, sizeof stem, "%s%04d", prefix.c_str(), number);
        if (suffix == 2) std::snprintf(stem, sizeof stem, "%s%s %04d", prefix.c_str(), name.c_str(), number);
        if (suffix == 3) std::snprintf(stem, sizeof stem, "%s%s, %s %d, %02d.%02d %04d", prefix.c_str(), name.c_str(), "Day", 16, 9, 30, number);
    }
    const std::string file = stem + std::string(extensions[format]);
    const std::string path = (std::filesystem::path(folder) / file).string();
    // It never replaces a file: the shot fails instead.
    if (std::filesystem::exists(path, ec)) return "shot failed: " + file + " already exists";
    const char* depth = std::getenv("GAME_SIM_DEPTH");
    const bool sixteen = depth && std::string_view(depth) == "16";
    if (const std::string failed = WriteInPlace(path, Encode(DrawShot(width, height, number), FileFormat(format), sixteen)); !failed.empty())
        return "shot failed: " + failed;
    return "shot " + path + " " + std::to_string(width) + "x" + std::to_string(height);
}

}  // namespace gamesim
