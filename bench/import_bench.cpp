// Times whole imports as the monitor runs them, on the real disk, against
// the disk's own floor in the same folder, interleaved run by run:
//  - import: ImportScreenshot. A screenshot in a game folder becomes an
//    archive copy, a texture and a book-art picture (every file written
//    through a temporary file, flushed to disk and renamed), and the
//    screenshot is deleted.
//  - floor: the bytes the import must put on disk, written as cp would with
//    plain reads and writes (128 KiB at a time) and one fsync per file: the
//    screenshot copied, then a file of the texture's size and one of the book
//    art's size.
//  - floor with the import's names: the same, each file written under a
//    temporary name and renamed into place, the texture and the book art over
//    files of the same size as the import replaces them, and a file of the
//    screenshot's size deleted as the import deletes the screenshot.
//  - split: the import's file and picture steps made one after the other,
//    as imports made them before they overlapped (the copy, then the whole
//    screenshot loaded, resized twice and saved twice), each timed, with
//    the steps inside a copy or a save (temporary file, fsync, rename) timed
//    through the file layer's step hook.
// Then the archive copy alone, by plain reads and writes against
// copy_file_range (our CopyFile's way), each flushed; and the memory an
// import takes: each import in a fresh process of its own (this program run
// again with --peak), its peak resident size (VmHWM, reset just before the
// import) less its resident size just before, against the same for the
// pictures made the way imports made them before they streamed (the
// screenshot loaded whole, resized twice, saved twice).
//   glintbook_bench_import [FOLDER] [RUNS]
#include "imaging/picture_io.h"
#include "imaging/resample.h"
#include "platform/files.h"
#include "session/import.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using namespace glintbook;
using Clock = std::chrono::steady_clock;

namespace {

double Ms(Clock::time_point a, Clock::time_point b) { return std::chrono::duration<double, std::milli>(b - a).count(); }

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

void Check(bool ok, const char* what) {
    if (!ok) {
        std::perror(what);
        std::exit(1);
    }
}

// Copies `from` to a new file `to` with plain reads and writes, or with
// copy_file_range, and flushes it.
void CopyPlain(const std::string& from, const std::string& to, bool kernel) {
    const int in = ::open(from.c_str(), O_RDONLY);
    const int out = ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    Check(in >= 0 && out >= 0, "open");
    static std::vector<char> buffer(128 << 10);
    for (;;) {
        const ssize_t n = kernel ? ::copy_file_range(in, nullptr, out, nullptr, 1 << 20, 0)
                                 : ::read(in, buffer.data(), buffer.size());
        Check(n >= 0, "copy");
        if (n == 0) break;
        if (!kernel) Check(::write(out, buffer.data(), size_t(n)) == n, "write");
    }
    Check(::fsync(out) == 0 && ::close(out) == 0 && ::close(in) == 0, "fsync");
}

void WritePlain(const std::string& to, const std::string& bytes) {
    const int out = ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    Check(out >= 0, "open");
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t n = ::write(out, bytes.data() + done, std::min<size_t>(bytes.size() - done, 128 << 10));
        Check(n > 0, "write");
        done += size_t(n);
    }
    Check(::fsync(out) == 0 && ::close(out) == 0, "fsync");
}

// The parts of one import made step by step; milliseconds by part.
std::map<std::string, double> Split(const std::string& shot, const std::string& archive, const std::string& texture,
                                    const std::string& bookArt, int textureSize) {
    std::map<std::string, double> part;
    std::string step = "copy";  // the part the time since `mark` belongs to
    Clock::time_point mark = Clock::now();
    const auto enter = [&](const std::string& next) {
        const auto now = Clock::now();
        part[step] += Ms(mark, now);
        step = next, mark = now;
    };
    // Inside a copy or a save: writing up to the flush, the flush (and
    // close), the rename.
    files::SetFaultHook([&](std::string_view s, const std::string&) {
        if (s == "open" && step == "encode") enter("write");
        if (s == "sync") enter("fsync");
        if (s == "rename") enter("rename");
        return 0;
    });
    files::CopyFile(shot, archive);
    enter("load");
    const Picture p = LoadPicture(shot);
    enter("resample");
    const Picture t = ResizePicture(p, textureSize, textureSize);
    enter("encode");
    SavePicture(t, texture);
    enter("resample");
    const Picture b = ResizePicture(p, 512, 512);
    enter("encode");
    SavePicture(b, bookArt);
    enter("delete");
    files::DeleteFile(shot);
    enter("");
    files::SetFaultHook(nullptr);
    return part;
}

}  // namespace

// A line of /proc/self/status, in KiB.
long StatusKiB(const char* key) {
    FILE* f = std::fopen("/proc/self/status", "r");
    char line[256];
    long value = -1;
    while (f && std::fgets(line, sizeof line, f))
        if (std::strncmp(line, key, std::strlen(key)) == 0) value = std::atol(line + std::strlen(key));
    if (f) std::fclose(f);
    return value;
}

// --peak GAMEFOLDER import|whole TEXTURE: one import (or the pictures made
// whole) in this fresh process; prints the KiB its peak adds to the idle size.
int Peak(const char* folder, const std::string& way, int textureSize) {
    glintbook::KeepPictureMemory();
    fs::current_path(folder);
    const long idle = StatusKiB("VmRSS:");
    {
        FILE* reset = std::fopen("/proc/self/clear_refs", "w");
        Check(reset && std::fputs("5", reset) >= 0 && std::fclose(reset) == 0, "clear_refs");
    }
    Choices controls;
    controls.textureSize = textureSize;
    if (way == "import") {
        ImportScreenshot(controls);
    } else {
        const Picture p = LoadPicture("ScreenShot 0.bmp");
        SavePicture(ResizePicture(p, textureSize, textureSize), "Data Files/Textures/qor_tx_photo_0.bmp");
        SavePicture(ResizePicture(p, 512, 512), "Data Files/BookArt/Photo 1.bmp");
    }
    std::printf("%ld\n", StatusKiB("VmHWM:") - idle);
    return 0;
}

// Runs Peak in a fresh process; KiB, or -1.
long PeakOf(const fs::path& game, const char* way, int textureSize) {
    const std::string command =
        "/proc/" + std::to_string(::getpid()) + "/exe --peak '" + game.string() + "' " + way + " " + std::to_string(textureSize);
    FILE* child = ::popen(command.c_str(), "r");
    long kib = -1;
    if (child && std::fscanf(child, "%ld", &kib) != 1) kib = -1;
    if (child) ::pclose(child);
    return kib;
}

int main(int argc, char** argv) {
    if (argc == 5 && std::strcmp(argv[1], "--peak") == 0) return Peak(argv[2], argv[3], std::atoi(argv[4]));
    glintbook::KeepPictureMemory();  // as the program does
    const fs::path base = argc > 1 ? fs::path(argv[1]) : fs::current_path();
    const int runs = argc > 2 ? std::max(3, std::atoi(argv[2])) : 15;
    const fs::path game = base / ("glintbook-import-bench-" + std::to_string(::getpid()));
    fs::create_directories(game / "Data Files" / "Textures");
    fs::create_directories(game / "Data Files" / "BookArt");
    fs::create_directories(game / "Screenshots");
    fs::current_path(game);
    const std::string shot = (game / "ScreenShot 0.bmp").string();
    const std::string archive = (game / "Screenshots/ScreenShot 0_0.bmp").string();
    const std::string texture = (game / "Data Files/Textures/qor_tx_photo_0.bmp").string();
    const std::string bookArt = (game / "Data Files/BookArt/Photo 1.bmp").string();
    const std::string floor = (game / "floor").string();

    std::mt19937 random(7);
    std::printf("| screenshot | texture | floor | floor with names | import | import / floor | import / floor with "
                "names | split, one step after another: copy / load / resample / encode / write / fsync / rename / delete | split total |\n"
                "|---|---|---:|---:|---:|---:|---:|---|---:|\n");
    struct Size {
        int w, h;
    };
    std::vector<std::pair<Size, std::vector<double>>> copies;
    std::vector<std::pair<Size, std::vector<long>>> peaks;
    for (const Size size : {Size{800, 600}, Size{1920, 1080}, Size{3840, 2160}}) {
        Picture picture{size.w, size.h, Pixels(size_t(size.w) * size_t(size.h), 0)};
        for (Colour& c : picture.pixels) c = random() & 0x00FFFFFF;
        SavePicture(picture, shot);
        const std::string shotBytes = files::ReadFile(shot);
        std::vector<double> plainCopy, kernelCopy;
        for (const int textureSize : {512, 1024}) {
            Choices controls;
            controls.textureSize = textureSize;
            const std::string textureBytes(54 + size_t(textureSize) * textureSize * 3, 'T');
            const std::string bookBytes(54 + 512 * 512 * 3, 'B');
            std::vector<double> floorMs, namedMs, importMs;
            std::map<std::string, std::vector<double>> parts;
            for (int i = 0; i < runs; ++i) {
                // The floor.
                auto t0 = Clock::now();
                CopyPlain(shot, floor + ".c", false);
                WritePlain(floor + ".t", textureBytes);
                WritePlain(floor + ".b", bookBytes);
                floorMs.push_back(Ms(t0, Clock::now()));
                for (const char* f : {".c", ".t", ".b"}) fs::remove(floor + f);

                // The floor with the import's names.
                CopyPlain(shot, floor + ".shot", false);
                t0 = Clock::now();
                CopyPlain(shot, floor + ".copy.tmp", false);
                Check(::rename((floor + ".copy.tmp").c_str(), (floor + ".copy").c_str()) == 0, "rename");
                WritePlain(floor + ".texture.tmp", textureBytes);
                Check(::rename((floor + ".texture.tmp").c_str(), (floor + ".texture").c_str()) == 0, "rename");
                WritePlain(floor + ".book.tmp", bookBytes);
                Check(::rename((floor + ".book.tmp").c_str(), (floor + ".book").c_str()) == 0, "rename");
                Check(::unlink((floor + ".shot").c_str()) == 0, "unlink");
                namedMs.push_back(Ms(t0, Clock::now()));
                fs::remove(floor + ".copy");

                // The import.
                WriteSetting(section::General, key::ScreenShotIndex, "1");
                WriteSetting(section::General, key::ScreenShotBaseName, "ScreenShot");
                files::WriteFileAtomic(shot, shotBytes);
                t0 = Clock::now();
                ImportScreenshot(controls);
                importMs.push_back(Ms(t0, Clock::now()));
                fs::remove(archive);

                // Its parts.
                files::WriteFileAtomic(shot, shotBytes);
                for (const auto& [name, ms] : Split(shot, archive, texture, bookArt, textureSize))
                    if (!name.empty()) parts[name].push_back(ms);
                fs::remove(archive);

                // The archive copy alone, both ways.
                files::WriteFileAtomic(shot, shotBytes);
                for (bool kernel : {false, true}) {
                    t0 = Clock::now();
                    CopyPlain(shot, floor + ".copy", kernel);
                    (kernel ? kernelCopy : plainCopy).push_back(Ms(t0, Clock::now()));
                    fs::remove(floor + ".copy");
                }
            }
            std::string split;
            double total = 0;
            for (const char* name : {"copy", "load", "resample", "encode", "write", "fsync", "rename", "delete"}) {
                const double ms = Median(parts[name]);
                total += ms;
                char text[32];
                std::snprintf(text, sizeof text, "%s%.2f", split.empty() ? "" : " / ", ms);
                split += text;
            }
            const double f = Median(floorMs), n = Median(namedMs), m = Median(importMs);
            std::printf("| %dx%d | %d² | %.1f | %.1f | %.1f | %.2fx | %.2fx | %s | %.1f |\n", size.w, size.h,
                        textureSize, f, n, m, m / f, m / n, split.c_str(), total);
            for (const char* f : {".texture", ".book"}) fs::remove(floor + f);
        }
        copies.emplace_back(size, std::vector<double>{Median(plainCopy), Median(kernelCopy)});
        // The memory, with the larger texture.
        std::vector<long> peak;
        for (const char* way : {"import", "whole"}) {
            WriteSetting(section::General, key::ScreenShotIndex, "1");
            WriteSetting(section::General, key::ScreenShotBaseName, "ScreenShot");
            files::WriteFileAtomic(shot, shotBytes);
            peak.push_back(PeakOf(game, way, 1024));
            fs::remove(archive);
        }
        peaks.emplace_back(size, peak);
    }
    std::printf("\n| archive copy (flushed) | read/write, 128 KiB | copy_file_range | runs |\n|---|---:|---:|---:|\n");
    for (const auto& [size, ms] : copies)
        std::printf("| %dx%d | %.2f | %.2f | %d |\n", size.w, size.h, ms[0], ms[1], 2 * runs);
    std::printf("\n| memory above idle, 1024² texture (MB) | import, streaming | screenshot loaded whole, as before |\n"
                "|---|---:|---:|\n");
    for (const auto& [size, kib] : peaks)
        std::printf("| %dx%d | %.1f | %.1f |\n", size.w, size.h, double(kib[0]) / 1024, double(kib[1]) / 1024);
    fs::current_path(base);
    fs::remove_all(game);
    return 0;
}
