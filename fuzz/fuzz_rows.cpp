// libFuzzer target: a picture's rows as the import reads them (OpenRows in
// memory, ReadAll, ResizeRows) against the whole decoder, pictures::Decode:
// the same picture and the same resized picture, or the same refusal, the
// picture error with the same words. Built once per reader, named by
// GLINTBOOK_ROWS_READER, which is given its format's seeds and dictionary
// (fuzz/run); inputs another reader claims are left to that reader's target.
#include "fuzz_folder.h"
#include "harness_reader.h"
#include "imaging/bmp_format.h"
#include "imaging/picture_readers.h"
#include "imaging/picture_rows.h"
#include "imaging/resize_rows.h"
#include "platform/failure.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <optional>

namespace {

using namespace glintbook;

// A picture, or the failure instead.
struct Outcome {
    std::vector<Picture> pictures;
    std::optional<Failure> failure;
};

Outcome Run(const std::function<std::vector<Picture>()>& make, std::vector<std::string>& problems, const char* what) {
    Outcome o;
    try {
        o.pictures = make();
    } catch (const Failure& f) {
        o.failure = f;
        if (f.number() != ErrInvalidPicture) problems.push_back(std::string(what) + " failed with " + f.description());
    } catch (const std::exception& e) {
        problems.push_back(std::string(what) + " threw something other than Failure: " + e.what());
    }
    return o;
}

void Compare(const Outcome& whole, const Outcome& rows, std::vector<std::string>& problems, const char* what) {
    if (whole.failure || rows.failure) {
        if (!whole.failure || !rows.failure || whole.failure->description() != rows.failure->description())
            problems.push_back(std::string(what) + ": the whole decoder " +
                               (whole.failure ? "failed: " + whole.failure->description() : std::string("decoded")) +
                               ", the rows " + (rows.failure ? "failed: " + rows.failure->description() : std::string("were read")));
        return;
    }
    if (whole.pictures.size() != rows.pictures.size()) return problems.push_back(std::string(what) + ": pictures missing");
    for (size_t i = 0; i < whole.pictures.size(); ++i)
        if (whole.pictures[i].width != rows.pictures[i].width || whole.pictures[i].height != rows.pictures[i].height ||
            whole.pictures[i].pixels != rows.pictures[i].pixels)
            problems.push_back(std::string(what) + ": the pictures differ");
}

// The pixels the header claims, where reading it is cheap, for the skip of
// large pictures (JPEG's reader refuses those itself in the fuzzing build).
std::pair<std::int64_t, std::int64_t> Claimed(std::string_view b, const std::string& reader) {
    const auto* d = reinterpret_cast<const std::uint8_t*>(b.data());
    if (reader == "BMP") {
        try {
            const bmp::HeaderInfo info = bmp::CheckHeader(b, "peek");
            return {info.width, info.height < 0 ? -info.height : info.height};
        } catch (const Failure&) {
            return {0, 0};
        }
    }
    const auto be = [&](size_t at) { return std::int64_t(d[at]) << 24 | d[at + 1] << 16 | d[at + 2] << 8 | d[at + 3]; };
    if (reader == "PNG" && b.size() >= 24) return {be(16), be(20)};
    if (reader == "TGA" && b.size() >= 18) return {pictures::Le16(d + 12), pictures::Le16(d + 14)};
    if (reader == "DDS" && b.size() >= 20) return {pictures::Le32(d + 16), pictures::Le32(d + 12)};
    return {0, 0};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const pictures::Reader* reader = pictures::ReaderFor(bytes);
    if (!reader || std::strcmp(reader->name, GLINTBOOK_ROWS_READER) != 0) return 0;
    const auto [w, h] = Claimed(bytes, reader->name);
    if (fuzzing::LargeButAllowed(w, h)) return 0;
    const std::string name = "input";
    std::vector<std::string> problems;
    const Outcome whole = Run([&] { return std::vector{pictures::Decode(bytes, name)}; }, problems, "Decode");
    const Outcome rows = Run([&] {
        const auto source = pictures::OpenRows(bytes, name);
        return std::vector{pictures::ReadAll(*source)};
    }, problems, "ReadAll");
    Compare(whole, rows, problems, "read whole");
    // A few rows at a time, as the resampler asks for them: from the bottom
    // up where the source allows any order.
    const Outcome pieces = Run([&] {
        const auto source = pictures::OpenRows(bytes, name);
        const int w = source->width(), h = source->height(), step = 1 + int(size % 4);
        Picture p = pictures::Blank(w, h);
        for (int i = 0; i < h; i += step) {
            const int first = source->AnyOrder() ? std::max(0, h - i - step) : i;
            const int count = source->AnyOrder() ? h - i - first : std::min(step, h - i);
            source->Read(first, count, p.pixels.data() + size_t(first) * size_t(w));
        }
        return std::vector{p};
    }, problems, "Read");
    Compare(whole, pieces, problems, "read in pieces");
    // Resized from the rows and from the whole picture: for one input in
    // eight, since resizing every input, under the sanitizers, took five
    // times as long as all the rest.
    if (size % 8 == 0 && !whole.failure && !rows.failure) {
        const Picture& p = whole.pictures[0];
        const std::vector<std::pair<int, int>> sizes{{(p.width + 1) / 2, (p.height + 2) / 3}};
        const Outcome ofWhole = Run([&] {
            const auto source = pictures::RowsOfPicture(p);
            return ResizeRows(*source, sizes, resample::Method::Automatic, 1, 3);
        }, problems, "ResizeRows of the picture");
        const Outcome ofRows = Run([&] {
            const auto source = pictures::OpenRows(bytes, name);
            return ResizeRows(*source, sizes, resample::Method::Automatic, 1, 3);
        }, problems, "ResizeRows of the rows");
        Compare(ofWhole, ofRows, problems, "resized");
    }
    fuzzing::AbortOnProblems(problems);
    return 0;
}
