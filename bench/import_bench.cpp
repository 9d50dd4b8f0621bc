// Times whole imports as the monitor runs them: a screenshot in a game folder
// on the real disk becomes an archive copy, a texture and a book-art picture
// (every file written through a temporary file, flushed to disk and renamed),
// and the screenshot is deleted.
//   glintbook_bench_import [FOLDER] [RUNS]
#include "session/import.h"
#include "imaging/picture_io.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using namespace glintbook;

int main(int argc, char** argv) {
    const fs::path base = argc > 1 ? fs::path(argv[1]) : fs::current_path();
    const int runs = argc > 2 ? std::max(3, std::atoi(argv[2])) : 15;
    const fs::path game = base / ("glintbook-import-bench-" + std::to_string(::getpid()));
    fs::create_directories(game / "Data Files" / "Textures");
    fs::current_path(game);

    std::mt19937 random(7);
    struct Size { int w, h; };
    std::printf("| screenshot | texture | median ms | fastest ms | runs |\n|---|---|---:|---:|---:|\n");
    for (const Size size : {Size{1920, 1080}, Size{800, 600}, Size{3840, 2160}}) {
        Picture shot{size.w, size.h, std::vector<Colour>(size_t(size.w) * size_t(size.h))};
        for (Colour& c : shot.pixels) c = random() & 0x00FFFFFF;
        for (const int texture : {512, 1024}) {
            Choices controls;
            controls.textureSize = texture;
            std::vector<double> ms;
            for (int i = 0; i < runs; ++i) {
                WriteSetting(section::General, key::ScreenShotIndex, "1");
                SavePicture(shot, (game / "ScreenShot 0.bmp").string());
                WriteSetting(section::General, key::ScreenShotBaseName, "ScreenShot");
                const auto start = std::chrono::steady_clock::now();
                ImportScreenshot(controls);
                ms.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
            }
            std::sort(ms.begin(), ms.end());
            std::printf("| %dx%d | %d² | %.1f | %.1f | %d |\n", size.w, size.h, texture, ms[ms.size() / 2], ms.front(), runs);
        }
    }
    fs::current_path(base);
    fs::remove_all(game);
    return 0;
}
