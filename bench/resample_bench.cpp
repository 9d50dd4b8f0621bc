// Times BMP, PNG, JPEG, TGA and DDS loading against OpenCV's imread, the resampler against OpenCV's
// INTER_AREA resize and against the reference per-pixel loop (the tests'
// oracle), on the same images in one run, and a whole import's picture work
// against the same done with OpenCV.
// Prints Markdown tables. OpenCV serves only here, as the yardstick.
//
//   glintbook_bench_resample [--quick] [--loads] [--dir FOLDER]
//   glintbook_bench_resample --jpeg-files FOLDER
//
// --dir: where the import's BMP files go (default /dev/shm when it exists,
// else the temporary folder); --quick: fewer repetitions; --loads: the
// loading tables alone. --jpeg-files writes the JPEG loading table's files,
// each with its decode by libjpeg-turbo as a binary PPM beside it, for the
// Windows program's decoder to be timed and held to (bench/run).
//
// Our thread count is set with SetResampleThreads (resample.h; the
// environment variable GLINTBOOK_RESAMPLE_THREADS does the same for the
// program), OpenCV's with cv::setNumThreads.
#include "imaging/bmp_format.h"
#include "imaging/picture_io.h"
#include "imaging/picture_readers.h"
#include "imaging/png_format.h"
#include "imaging/resample.h"
#include "platform/files.h"
#include "resample_oracle.h"

#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using glintbook::Picture;
using Clock = std::chrono::steady_clock;

bool quick = false;

struct Stats {
    double median = 0, min = 0;
};

Stats Summary(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times.front()};
}

double Ms(Clock::time_point from) { return std::chrono::duration<double, std::milli>(Clock::now() - from).count(); }

// Times `a` and `b` in alternating blocks of back-to-back calls (steady
// state: each block starts with a warm-up call and runs for about a quarter
// of a second), three blocks each, so that drifting load on a shared machine
// meets both alike. With `paced`, alternating single calls each after a 5 ms
// pause instead: a cold call, as one import makes. The pauses also let
// OpenCV's worker threads, which spin for a while after a call, go idle
// before either side runs.
std::pair<Stats, Stats> TimePair(const std::function<void()>& a, const std::function<void()>& b, bool paced = false) {
    std::vector<double> ta, tb;
    const auto block = [&](const std::function<void()>& run, std::vector<double>& times) {
        std::this_thread::sleep_for(std::chrono::milliseconds(paced ? 5 : 20));
        if (paced) {
            const auto t0 = Clock::now();
            run();
            times.push_back(Ms(t0));
            return;
        }
        run();
        const auto start = Clock::now();
        for (int n = 0; n < 10 || (Ms(start) < (quick ? 50 : 250) && n < 300); ++n) {
            const auto t0 = Clock::now();
            run();
            times.push_back(Ms(t0));
        }
    };
    for (int i = 0; i < (paced ? 31 : 3); ++i) {
        block(a, ta);
        block(b, tb);
    }
    return {Summary(ta), Summary(tb)};
}

Stats Time(const std::function<void()>& run, int runs) {
    std::vector<double> times;
    for (int i = -1; i < (quick ? std::min(runs, 3) : runs); ++i) {
        const auto t0 = Clock::now();
        run();
        if (i >= 0) times.push_back(Ms(t0));
    }
    return Summary(times);
}

// The same colours as an OpenCV BGR image (its native layout for BMP files).
cv::Mat ToMat(const Picture& p) {
    cv::Mat m(p.height, p.width, CV_8UC3);
    for (int y = 0; y < p.height; ++y) {
        auto* row = m.ptr<std::uint8_t>(y);
        for (int x = 0; x < p.width; ++x) {
            const auto c = p.at(x, y);
            row[3 * x] = std::uint8_t(c >> 16);
            row[3 * x + 1] = std::uint8_t(c >> 8);
            row[3 * x + 2] = std::uint8_t(c);
        }
    }
    return m;
}

long DifferingPixels(const Picture& ours, const cv::Mat& theirs) {
    long n = 0;
    for (int y = 0; y < ours.height; ++y) {
        const auto* row = theirs.ptr<std::uint8_t>(y);
        for (int x = 0; x < ours.width; ++x) {
            const auto c = ours.at(x, y);
            n += row[3 * x] != std::uint8_t(c >> 16) || row[3 * x + 1] != std::uint8_t(c >> 8) ||
                 row[3 * x + 2] != std::uint8_t(c);
        }
    }
    return n;
}

// A screenshot-like picture for PNG: smooth gradients with a little noise,
// which compresses as a rendered scene does (noise alone would not compress,
// and the inflate would only copy stored blocks).
Picture SceneLike(int w, int h) {
    Picture p{w, h, glintbook::Pixels(size_t(w) * size_t(h), 0)};
    std::uint32_t state = 12345;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            glintbook::Colour c = 0;
            for (int k = 0; k < 3; ++k) {
                state = state * 1664525u + 1013904223u;
                const double v = 128 + 60 * std::sin(x * 0.01 * (k + 1) + y * 0.007) + 30 * std::cos(y * 0.02 + k) +
                                 int(state >> 29) - 4;
                c |= glintbook::Colour(std::clamp(int(v), 0, 255)) << (8 * k);
            }
            p.at(x, y) = c;
        }
    return p;
}

// Runs run(t) for one thread and for `threads`, the count set on both sides.
template <class Run>
void ForThreads(int threads, const Run& run) {
    for (int t : {1, threads}) {
        if (t == threads && threads == 1) break;
        glintbook::SetResampleThreads(t);
        cv::setNumThreads(t);
        run(t);
    }
}

// One table row a thread count: LoadPicture of `path` against imread of
// `yardstick` (the same picture), then the decoding alone from memory,
// ours of `bytes` against imdecode of the yardstick's; each pair interleaved.
// The two must give the same colours.
void LoadRows(int w, int h, const std::string& path, const std::string& yardstick, const std::string& bytes,
              bool showSize, int threads) {
    const std::string yardBytes = glintbook::files::ReadFile(yardstick);
    const std::vector<std::uint8_t> buffer(yardBytes.begin(), yardBytes.end());
    ForThreads(threads, [&](int t) {
        Picture ours;
        cv::Mat theirs;
        const auto [o, c] = TimePair([&] { ours = glintbook::LoadPicture(path); },
                                     [&] { theirs = cv::imread(yardstick, cv::IMREAD_COLOR); });
        if (DifferingPixels(ours, theirs) != 0) std::printf("**MISMATCH with imread**\n");
        const auto [od, cd] = TimePair([&] { ours = glintbook::pictures::Decode(bytes, path); },
                                       [&] { theirs = cv::imdecode(buffer, cv::IMREAD_COLOR); });
        // The machine's own floor for these bytes: one memory copy of the
        // file, into memory that is already mapped.
        static std::string copy;
        copy.resize(bytes.size());
        const Stats floor = TimePair([&] { std::memcpy(copy.data(), bytes.data(), bytes.size()); }, [] {}).first;
        char size[32] = "";
        if (showSize) std::snprintf(size, sizeof size, "%.2f MB | ", double(bytes.size()) / 1e6);
        std::printf("| %dx%d | %s%d | %.2f (%.2f) | %.2f (%.2f) | %.2fx | %.2f (%.2f) | %.2f (%.2f) | %.2fx | %.2f |\n", w,
                    h, size, t, o.median, o.min, c.median, c.min, c.median / o.median, od.median, od.min, cd.median,
                    cd.min, cd.median / od.median, floor.median);
    });
}

// Loading a screenshot file from the page cache: a 24-bit BMP (the game's)
// and an RGB PNG (the open engine's, written by libpng through imwrite at
// zlib's default level). LoadPicture (the file read whole through the file
// layer, then decoded to 32-bit colours) against imread (to OpenCV's 3-byte
// BGR), and the decoding alone from memory, Decode against imdecode; each
// pair interleaved. Ours decodes a large BMP in bands on the resampler's
// threads; OpenCV's BMP and PNG decoders, and ours for PNG, have one.
void Decoding(const std::string& dir, int threads) {
    for (const bool png : {false, true}) {
        std::printf("\n### Loading a %s (ms: median over three alternating blocks, fastest in brackets; file in "
                    "%s)\n\n",
                    png ? "PNG" : "24-bit BMP", dir.c_str());
        std::printf("| picture | %sthreads | ours: LoadPicture | OpenCV: imread | imread / ours | ours: Decode from "
                    "memory | OpenCV: imdecode | imdecode / Decode | memcpy of the file |\n|---|%s---|---:|---:|---:|---:|---:|---:|---:|\n",
                    png ? "file size | " : "", png ? "---:|" : "");
        for (auto [w, h] : {std::pair{800, 600}, {1920, 1080}, {3840, 2160}}) {
            const std::string path = dir + (png ? "/glintbook-bench-decode.png" : "/glintbook-bench-decode.bmp");
            if (png)
                cv::imwrite(path, ToMat(SceneLike(w, h)), {cv::IMWRITE_PNG_COMPRESSION, 6});
            else
                glintbook::SavePicture(glintbook::test::RandomPicture(w, h, 99), path);
            LoadRows(w, h, path, path, glintbook::files::ReadFile(path), png, threads);
            std::filesystem::remove(path);
        }
    }
}

// The JPEG, TGA and DDS files of the loading tables, written from the same
// screenshot-like picture: JPEG by imwrite (libjpeg-turbo, quality 90, 4:2:0
// chroma, as the open engine's writer and most others default to); TGA as
// uncompressed 24-bit rows from the bottom and as run-length packets; DDS as
// D3DX saves an X8R8G8B8 back buffer.
std::string Le(std::uint32_t v, int bytes) {
    std::string s;
    for (int i = 0; i < bytes; ++i, v >>= 8) s += char(v & 0xFF);
    return s;
}

std::string Tga(const Picture& p, bool runLength) {
    std::string out = Le(0, 2) + Le(runLength ? 10 : 2, 1) + Le(0, 9) + Le(p.width, 2) + Le(p.height, 2) + Le(24, 1) + Le(0, 1);
    const auto bgr = [&](int x, int y) {
        const auto c = p.at(x, y);
        return std::string{char(c >> 16), char(c >> 8), char(c)};
    };
    for (int y = p.height - 1; y >= 0; --y)
        for (int x = 0; x < p.width;) {
            if (!runLength) {
                out += bgr(x++, y);
                continue;
            }
            int n = 1;  // a packet within the row: a run of one colour, or pixels that differ from the next
            if (x + 1 < p.width && p.at(x + 1, y) == p.at(x, y)) {
                while (x + n < p.width && n < 128 && p.at(x + n, y) == p.at(x, y)) ++n;
                out += char(0x80 | (n - 1));
                out += bgr(x, y);
            } else {
                while (x + n < p.width && n < 128 && p.at(x + n, y) != p.at(x + n - 1, y)) ++n;
                out += char(n - 1);
                for (int k = 0; k < n; ++k) out += bgr(x + k, y);
            }
            x += n;
        }
    return out;
}

std::string Dds(const Picture& p) {
    std::string out = "DDS " + Le(124, 4) + Le(0x100F, 4) + Le(p.height, 4) + Le(p.width, 4) + Le(p.width * 4, 4) +
                      Le(0, 4) + Le(1, 4) + std::string(44, '\0') + Le(32, 4) + Le(0x40, 4) + Le(0, 4) + Le(32, 4) +
                      Le(0xFF0000, 4) + Le(0xFF00, 4) + Le(0xFF, 4) + Le(0, 4) + Le(0x1000, 4) + std::string(16, '\0');
    out.reserve(out.size() + p.pixels.size() * 4);
    for (auto c : p.pixels) out += std::string{char(c >> 16), char(c >> 8), char(c), '\0'};
    return out;
}

std::string Jpeg(const Picture& p) {
    std::vector<std::uint8_t> bytes;
    cv::imencode(".jpg", ToMat(p), bytes, {cv::IMWRITE_JPEG_QUALITY, 90});
    return std::string(bytes.begin(), bytes.end());
}

// Loading JPEG, TGA and DDS. OpenCV reads JPEG (with libjpeg-turbo, as ours
// does on Linux) but neither TGA nor DDS: for those its yardstick is imread
// of the same picture as a 24-bit BMP, the nearest form it reads.
void OtherFormats(const std::string& dir, int threads) {
    struct Format {
        const char* name;
        const char* extension;
        std::string (*write)(const Picture&);
    };
    const Format formats[] = {{"JPEG (quality 90, 4:2:0)", "jpg", [](const Picture& p) { return Jpeg(p); }},
                              {"TGA (24-bit, uncompressed)", "tga", [](const Picture& p) { return Tga(p, false); }},
                              {"TGA (24-bit, run-length)", "tga", [](const Picture& p) { return Tga(p, true); }},
                              {"DDS (X8R8G8B8)", "dds", [](const Picture& p) { return Dds(p); }}};
    std::printf("\nimread of a TGA file: %s; of a DDS file: %s.\n",
                cv::haveImageReader(dir + "/x.tga") ? "has a reader" : "no reader in this OpenCV",
                cv::haveImageReader(dir + "/x.dds") ? "has a reader" : "no reader in this OpenCV");
    for (const Format& f : formats) {
        const bool jpeg = f.extension == std::string("jpg");
        std::printf("\n### Loading %s (ms: median over three alternating blocks, fastest in brackets; file in %s)\n\n",
                    f.name, dir.c_str());
        std::printf("| picture | file size | threads | ours: LoadPicture | OpenCV: imread%s | imread / ours | ours: "
                    "decode from memory | OpenCV: imdecode | imdecode / ours | memcpy of the file |\n|---|---:|---|---:|---:|---:|---:|---:|---:|---:|\n",
                    jpeg ? "" : " of the BMP");
        for (auto [w, h] : {std::pair{800, 600}, {1920, 1080}, {3840, 2160}}) {
            const Picture scene = SceneLike(w, h);
            const std::string path = dir + "/glintbook-bench-decode." + f.extension;
            const std::string bytes = f.write(scene);
            glintbook::files::WriteFileAtomic(path, bytes);
            const std::string yardstick = jpeg ? path : dir + "/glintbook-bench-decode.bmp";
            if (!jpeg) glintbook::SavePicture(scene, yardstick);
            LoadRows(w, h, path, yardstick, bytes, true, threads);
            std::filesystem::remove(path);
            if (!jpeg) std::filesystem::remove(yardstick);
        }
    }
}

// The JPEG table's files and libjpeg-turbo's decodes of them, for the
// Windows decoder's timing under Wine.
void WriteJpegFiles(const std::string& dir) {
    for (auto [w, h] : {std::pair{800, 600}, {1920, 1080}, {3840, 2160}}) {
        const std::string name = dir + "/scene-" + std::to_string(w) + "x" + std::to_string(h);
        const std::string bytes = Jpeg(SceneLike(w, h));
        glintbook::files::WriteFileAtomic(name + ".jpg", bytes);
        const Picture p = glintbook::pictures::Decode(bytes, name);
        std::string ppm = "P6\n" + std::to_string(w) + " " + std::to_string(h) + "\n255\n";
        for (auto c : p.pixels) ppm += std::string{char(c), char(c >> 8), char(c >> 16)};
        glintbook::files::WriteFileAtomic(name + ".ppm", ppm);
    }
}

void Resampling(int threads) {
    struct Size {
        int w, h;
    };
    const Size sources[] = {{800, 600}, {1024, 1024}, {2048, 2048}, {1920, 1080}, {3840, 2160}};
    std::printf("\n### Resampling, steady state (ms: median over three alternating blocks of back-to-back calls, "
                "fastest in brackets)\n\n");
    std::printf("| source | target | our method | threads | ours | OpenCV INTER_AREA | per-pixel loop | OpenCV / ours "
                "| loop / ours | pixels where OpenCV differs |\n");
    std::printf("|---|---|---|---|---:|---:|---:|---:|---:|---:|\n");
    for (const Size s : sources) {
        const Picture source = glintbook::test::RandomPicture(s.w, s.h, 12345);
        const cv::Mat mat = ToMat(source);
        for (int side : {512, 1024}) {
            // The squares only for the plain halving: 1024² -> 512², 2048² -> 1024².
            if (s.w == s.h && side != s.w / 2) continue;
            const char* method = glintbook::resample::MethodName(glintbook::resample::ChosenMethod(s.w, s.h, side, side));
            Picture looped;  // single-threaded, as written
            const Stats loop = Time([&] { looped = glintbook::test::OracleResize(source, side, side); }, 3);
            ForThreads(threads, [&](int t) {
                Picture ours;
                cv::Mat theirs;
                const auto [o, c] = TimePair([&] { ours = glintbook::ResizePicture(source, side, side); },
                                             [&] {
                                                 cv::Mat dst;  // a new picture each time, as ours makes
                                                 cv::resize(mat, dst, cv::Size(side, side), 0, 0, cv::INTER_AREA);
                                                 theirs = dst;
                                             });
                if (ours.pixels != looped.pixels) std::printf("**MISMATCH with the loop**\n");
                std::printf("| %dx%d | %d² | %s | %d | %.2f (%.2f) | %.2f (%.2f) | %.1f | %.1fx | %.0fx | %ld of %d |\n",
                            s.w, s.h, side, method, t, o.median, o.min, c.median, c.min, loop.median,
                            c.median / o.median, loop.median / o.median, DifferingPixels(ours, theirs), side * side);
            });
        }
    }
}

// Single calls after a pause, both sides alike: what one import pays.
void Paced() {
    std::printf("\n### Resampling, paced: each call after a 5 ms pause (ms: median of 31 calls, fastest in "
                "brackets; 1 thread)\n\n");
    std::printf("| source | target | ours | OpenCV INTER_AREA | OpenCV / ours |\n|---|---|---:|---:|---:|\n");
    glintbook::SetResampleThreads(1);
    cv::setNumThreads(1);
    for (auto [w, h, side] : {std::tuple{800, 600, 512}, {800, 600, 1024}, {1920, 1080, 512}, {1920, 1080, 1024}}) {
        const Picture source = glintbook::test::RandomPicture(w, h, 12345);
        const cv::Mat mat = ToMat(source);
        const auto [o, c] = TimePair([&] { (void)glintbook::ResizePicture(source, side, side); },
                                     [&] {
                                         cv::Mat dst;
                                         cv::resize(mat, dst, cv::Size(side, side), 0, 0, cv::INTER_AREA);
                                     },
                                     true);
        std::printf("| %dx%d | %d² | %.2f (%.2f) | %.2f (%.2f) | %.1fx |\n", w, h, side, o.median, o.min, c.median,
                    c.min, c.median / o.median);
    }
}

void Import(const std::string& dir, int threads, int w, int h, int album) {
    const Picture shot = glintbook::test::RandomPicture(w, h, 777);
    const std::string in = dir + "/glintbook-bench-shot.bmp";
    glintbook::SavePicture(shot, in);
    const std::string outAlbum = dir + "/glintbook-bench-album.bmp", outBook = dir + "/glintbook-bench-book.bmp";
    const std::string cvAlbum = dir + "/glintbook-bench-cv-album.bmp", cvBook = dir + "/glintbook-bench-cv-book.bmp";
    for (int t : {1, threads}) {
        if (t == threads && threads == 1) break;
        glintbook::SetResampleThreads(t);
        cv::setNumThreads(t);
        const auto [ours, theirs] = TimePair(
            [&] {
                const Picture p = glintbook::LoadPicture(in);
                glintbook::SavePicture(glintbook::ResizePicture(p, album, album), outAlbum);
                glintbook::SavePicture(glintbook::ResizePicture(p, 512, 512), outBook);
            },
            [&] {
                const cv::Mat m = cv::imread(in, cv::IMREAD_COLOR);
                cv::Mat a, b;
                cv::resize(m, a, cv::Size(album, album), 0, 0, cv::INTER_AREA);
                cv::imwrite(cvAlbum, a);
                cv::resize(m, b, cv::Size(512, 512), 0, 0, cv::INTER_AREA);
                cv::imwrite(cvBook, b);
            });
        // The parts of ours, for the record.
        Picture p, r1, r2;
        const Stats load = Time([&] { p = glintbook::LoadPicture(in); }, 15);
        const Stats resize = Time(
            [&] {
                r1 = glintbook::ResizePicture(p, album, album);
                r2 = glintbook::ResizePicture(p, 512, 512);
            },
            15);
        const Stats save = Time(
            [&] {
                glintbook::SavePicture(r1, outAlbum);
                glintbook::SavePicture(r2, outBook);
            },
            15);
        std::printf("| %dx%d -> %d² + 512² | %d | %.2f (%.2f) | %.2f (%.2f) | %.2fx | %.2f / %.2f / %.2f |\n", w, h,
                    album, t, ours.median, ours.min, theirs.median, theirs.min, theirs.median / ours.median,
                    load.median, resize.median, save.median);
    }
    for (const auto& f : {in, outAlbum, outBook, cvAlbum, cvBook}) std::filesystem::remove(f);
}

}  // namespace

int main(int argc, char** argv) {
    glintbook::KeepPictureMemory();  // as the program does
    std::string dir = std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path().string();
    bool loads = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--quick") == 0)
            quick = true;
        else if (std::strcmp(argv[i], "--loads") == 0)
            loads = true;
        else if (std::strcmp(argv[i], "--dir") == 0 && i + 1 < argc)
            dir = argv[++i];
        else if (std::strcmp(argv[i], "--jpeg-files") == 0 && i + 1 < argc) {
            WriteJpegFiles(argv[++i]);
            return 0;
        } else {
            std::fprintf(stderr, "usage: glintbook_bench_resample [--quick] [--loads] [--dir FOLDER] | --jpeg-files FOLDER\n");
            return 2;
        }
    }
    const int threads = int(std::max(1u, std::thread::hardware_concurrency()));
    std::printf("Hardware threads: %d; OpenCV %s\n", threads, CV_VERSION);
    Decoding(dir, threads);
    OtherFormats(dir, threads);
    if (loads) return 0;
    Resampling(threads);
    Paced();
    std::printf("\n### Import picture work (ms: median, fastest in brackets, as above; files in %s)\n\n", dir.c_str());
    std::printf("Ours: LoadPicture, two ResizePicture, two SavePicture (atomic: temporary file, fsync, rename).\n");
    std::printf("OpenCV: imread, two resize INTER_AREA, two imwrite (no fsync).\n\n");
    std::printf("| work | threads | ours | OpenCV | OpenCV / ours | ours: load / resample / save |\n");
    std::printf("|---|---|---:|---:|---:|---|\n");
    for (auto [w, h, album] : {std::tuple{800, 600, 1024}, {1920, 1080, 512}, {1920, 1080, 1024}, {3840, 2160, 1024}})
        Import(dir, threads, w, h, album);
    glintbook::SetResampleThreads(0);
    return 0;
}
