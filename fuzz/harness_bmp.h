#pragma once
// The picture-loading harness, shared by the libFuzzer target and the replay
// test. One input is the bytes of a file given to LoadPicture, which must
// either refuse it with Failure or give a well-formed picture; a picture it
// gives must come back unchanged through SavePicture and LoadPicture.
#include "imaging/bmp_format.h"
#include "imaging/picture_io.h"
#include "platform/failure.h"

#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <string>
#include <vector>

namespace glintbook::fuzzing {

namespace bmp_detail {

inline std::string Describe(const Picture& p) {
    return std::to_string(p.width) + " x " + std::to_string(p.height) + " with " + std::to_string(p.pixels.size()) +
           " pixels";
}

// Runs `load` into `out`; false when it threw. Only Failure for a bad
// picture is expected; any other exception is a problem.
template <typename Load>
bool Loaded(Load load, const std::string& path, Picture& out, const char* what, std::vector<std::string>& problems) {
    try {
        out = load();
        return true;
    } catch (const Failure& f) {
        // The file exists and can be read: only its contents can be at fault,
        // and the message names the file.
        if (f.number() != ErrInvalidPicture || f.description().find(path) == std::string::npos)
            problems.push_back(std::string(what) + " failed with " + std::to_string(f.number()) + ": " +
                               f.description());
        return false;
    } catch (const std::exception& e) {
        problems.push_back(std::string(what) + " threw something other than Failure: " + e.what());
    } catch (...) {
        problems.push_back(std::string(what) + " threw something other than Failure");
    }
    return false;
}

inline void CheckShape(const Picture& p, const char* what, std::vector<std::string>& problems) {
    const std::int64_t w = p.width, h = p.height;
    if (w < 1 || h < 1 || w > bmp::kMaxSide || h > bmp::kMaxSide || w * h > bmp::kMaxPixels ||
        p.pixels.size() != std::size_t(w * h)) {
        problems.push_back(std::string(what) + " gave a malformed picture: " + Describe(p));
        return;
    }
    // Colours are 0x00BBGGRR: nothing of an alpha byte survives.
    for (Colour c : p.pixels)
        if (c >> 24) {
            problems.push_back(std::string(what) + " left bits in a pixel's top byte");
            return;
        }
}

}  // namespace bmp_detail

// Runs one input in `folder` (a folder of its own) and returns what went
// wrong; empty when every check held.
inline std::vector<std::string> CheckBmpInput(const std::uint8_t* data, std::size_t size, const std::string& folder) {
    using namespace bmp_detail;
    std::vector<std::string> problems;
    const std::string in = folder + "/in.bmp", out = folder + "/out.bmp";
    {
        std::ofstream f(in, std::ios::binary | std::ios::trunc);
        f.write(reinterpret_cast<const char*>(data), std::streamsize(size));
    }
    Picture picture;
    if (Loaded([&] { return LoadPicture(in); }, in, picture, "LoadPicture", problems)) {
        CheckShape(picture, "LoadPicture", problems);
        if (problems.empty()) {
            try {
                SavePicture(picture, out);
            } catch (const std::exception& e) {
                problems.push_back(std::string("SavePicture of a loaded picture failed: ") + e.what());
            }
            Picture again;
            if (problems.empty()) {
                if (!Loaded([&] { return LoadPicture(out); }, out, again, "LoadPicture of a saved picture", problems)) {
                    if (problems.empty()) problems.push_back("a saved picture could not be loaded again");
                } else if (again.width != picture.width || again.height != picture.height) {
                    problems.push_back("round trip changed the size: " + Describe(picture) + " became " +
                                       Describe(again));
                } else if (again.pixels != picture.pixels) {
                    problems.push_back("round trip changed pixels of a " + Describe(picture) + " picture");
                }
            }
        }
    }
    std::remove(in.c_str());
    std::remove(out.c_str());
    return problems;
}

}  // namespace glintbook::fuzzing
