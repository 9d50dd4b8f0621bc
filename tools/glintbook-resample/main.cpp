// glintbook-resample IN.bmp OUT.bmp WIDTH HEIGHT
// Resamples a BMP picture by area averaging, exactly as the screenshot import
// does, and saves the result as an uncompressed 24-bit BMP.
#include "imaging/bmp_format.h"
#include "imaging/resample.h"
#include "imaging/picture_io.h"
#include "platform/command_line.h"
#include "platform/failure.h"

#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr int kUsageError = 2;
constexpr int kFailure = 1;

void Usage() {
    std::fprintf(stderr,
                 "usage: glintbook-resample IN.bmp OUT.bmp WIDTH HEIGHT\n"
                 "  Resamples the BMP picture IN.bmp by area averaging to WIDTH x HEIGHT pixels\n"
                 "  and saves it to OUT.bmp as an uncompressed 24-bit BMP. WIDTH and HEIGHT are\n"
                 "  whole numbers from 1 to %lld, with at most %lld pixels in all.\n",
                 static_cast<long long>(glintbook::bmp::kMaxSide), static_cast<long long>(glintbook::bmp::kMaxPixels));
}

// A side length: decimal digits only, 1 to kMaxSide.
std::optional<int> ParseSide(const std::string& text) {
    if (text.empty() || text.size() > 6) return std::nullopt;
    long long value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        value = value * 10 + (c - '0');
    }
    if (value < 1 || value > glintbook::bmp::kMaxSide) return std::nullopt;
    return int(value);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        Usage();
        return kUsageError;
    }
    // The pictures' names as UTF-8, whatever the code page.
    const std::vector<std::string> args = glintbook::command_line::Arguments(argc, argv);
    const std::string in = args.at(0), out = args.at(1);
    const std::optional<int> width = ParseSide(argv[3]), height = ParseSide(argv[4]);
    if (!width || !height) {
        std::fprintf(stderr, "glintbook-resample: bad size '%s' x '%s'\n", argv[3], argv[4]);
        Usage();
        return kUsageError;
    }
    if (static_cast<long long>(*width) * *height > glintbook::bmp::kMaxPixels) {
        std::fprintf(stderr, "glintbook-resample: %d x %d is more than %lld pixels\n", *width, *height,
                     static_cast<long long>(glintbook::bmp::kMaxPixels));
        return kUsageError;
    }
    try {
        const glintbook::Picture source = glintbook::LoadPicture(in);
        glintbook::SavePicture(glintbook::ResizePicture(source, *width, *height), out);
    } catch (const glintbook::Failure& f) {
        glintbook::command_line::Write(
            stderr, "glintbook-resample: error " + std::to_string(f.number()) + ": " + f.description() + "\n");
        return kFailure;
    } catch (const std::exception& e) {
        glintbook::command_line::Write(stderr, std::string("glintbook-resample: ") + e.what() + "\n");
        return kFailure;
    }
    return 0;
}
