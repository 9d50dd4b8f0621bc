#pragma once
// The picture-reading harness, shared by the libFuzzer target and the replay
// test. One input is the bytes of a BMP file given to the reader in memory,
// which must either refuse it with Failure or give a well-formed picture; a
// picture it gives must come back unchanged through the writer and the
// reader. With a reference reader, the two must agree: what ours decodes the
// reference decodes to the same colours, and what the reference decodes ours
// refuses only as cut short (where the reference makes do with what it finds).
#include "imaging/bmp_format.h"
#include "platform/failure.h"

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace glintbook::fuzzing {

// What the reference made of the bytes.
struct Reading {
    bool decoded = false;
    Picture picture;
};
using ReferenceReader = Reading (*)(std::string_view bytes);

namespace bmp_detail {

inline std::string Describe(const Picture& p) {
    return std::to_string(p.width) + " x " + std::to_string(p.height) + " with " + std::to_string(p.pixels.size()) +
           " pixels";
}

// Decodes into `out`; false when refused. Only Failure(ErrInvalidPicture)
// naming the input is an acceptable refusal; `why` gets its description.
inline bool Decoded(std::string_view bytes, const char* what, Picture& out, std::string& why,
                    std::vector<std::string>& problems) {
    try {
        out = bmp::Decode(bytes, "input.bmp");
        return true;
    } catch (const Failure& f) {
        why = f.description();
        if (f.number() != ErrInvalidPicture || why.find("input.bmp") == std::string::npos)
            problems.push_back(std::string(what) + " failed with " + std::to_string(f.number()) + ": " + why);
    } catch (const std::exception& e) {
        problems.push_back(std::string(what) + " threw something other than Failure: " + e.what());
    } catch (...) {
        problems.push_back(std::string(what) + " threw something other than Failure");
    }
    return false;
}

inline bool WellFormed(const Picture& p, std::vector<std::string>& problems) {
    const std::int64_t w = p.width, h = p.height;
    if (w < 1 || h < 1 || w > bmp::kMaxSide || h > bmp::kMaxSide || w * h > bmp::kMaxPixels ||
        p.pixels.size() != std::size_t(w * h)) {
        problems.push_back("Decode gave a malformed picture: " + Describe(p));
        return false;
    }
    // Colours are 0x00BBGGRR: nothing of an alpha byte survives.
    Colour all = 0;
    for (Colour c : p.pixels) all |= c;
    if (all >> 24) problems.push_back("Decode left bits in a pixel's top byte");
    return (all >> 24) == 0;
}

}  // namespace bmp_detail

// Runs one input and returns what went wrong; empty when every check held.
inline std::vector<std::string> CheckBmpInput(const std::uint8_t* data, std::size_t size,
                                              ReferenceReader reference = nullptr) {
    using namespace bmp_detail;
    std::vector<std::string> problems;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    Picture picture;
    std::string why;
    const bool ours = Decoded(bytes, "Decode", picture, why, problems);
    if (ours && WellFormed(picture, problems)) {
        std::string saved;
        try {
            saved = bmp::Encode24(picture);
        } catch (const std::exception& e) {
            problems.push_back(std::string("Encode24 of a decoded picture failed: ") + e.what());
        }
        Picture again;
        std::string againWhy;
        if (!saved.empty() && Decoded(saved, "Decode of an encoded picture", again, againWhy, problems)) {
            if (again.width != picture.width || again.height != picture.height)
                problems.push_back("round trip changed the size: " + Describe(picture) + " became " + Describe(again));
            else if (again.pixels != picture.pixels)
                problems.push_back("round trip changed pixels of a " + Describe(picture) + " picture");
        } else if (!saved.empty() && problems.empty()) {
            problems.push_back("an encoded picture was refused: " + againWhy);
        }
    }
    if (reference && problems.empty()) {
        const Reading theirs = reference(bytes);
        if (ours && !theirs.decoded) {
            problems.push_back("decoded what the reference refuses: " + Describe(picture));
        } else if (ours && theirs.picture.pixels != picture.pixels) {
            problems.push_back("colours differ from the reference's in a " + Describe(picture) + " picture");
        } else if (!ours && theirs.decoded && why.find("truncated") == std::string::npos) {
            problems.push_back("refused what the reference decodes: " + why);
        }
    }
    return problems;
}

}  // namespace glintbook::fuzzing
