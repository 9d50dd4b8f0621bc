#include "imaging/picture_rows.h"

#include "imaging/picture_io.h"
#include "imaging/picture_readers.h"
#include "platform/failure.h"
#include "platform/files.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace glintbook::pictures {

namespace {

// Reads up to `count` bytes at an offset into `out`; fewer where the file ends.
using ReadAt = std::function<size_t(std::uint64_t offset, void* out, size_t count)>;

// Rows read straight from the file, a piece at a time: the stored bytes of a
// few rows pass through a buffer small enough to stay in the cache while
// they are converted, instead of the whole file passing through memory once
// before any of it is.
class FileRows final : public RowSource {
public:
    FileRows(ReadAt read, std::shared_ptr<void> keep, std::string name, RowLayout layout)
        : read_(std::move(read)), keep_(std::move(keep)), name_(std::move(name)), layout_(std::move(layout)) {
        width_ = layout_.width;
        height_ = layout_.height;
    }
    bool AnyOrder() const override { return true; }
    void Read(int first, int count, Colour* out) override {
        // The stored rows of [first, first + count) lie together, in
        // reverse order in a bottom-up file.
        const int stored = layout_.bottomUp ? height_ - first - count : first;
        const std::uint64_t want = std::uint64_t(count - 1) * layout_.stride + layout_.rowBytes;
        thread_local std::vector<std::uint8_t> buffer;
        if (buffer.size() < want) buffer.resize(size_t(want));
        if (read_(layout_.offset + std::uint64_t(stored) * layout_.stride, buffer.data(), size_t(want)) < want)
            Invalid(name_, "truncated pixel data");  // cut short since it was opened
        for (int i = 0; i < count; ++i) {
            const int row = layout_.bottomUp ? height_ - 1 - (stored + i) : stored + i;
            layout_.convert(buffer.data() + size_t(i) * layout_.stride, out + size_t(row - first) * size_t(width_));
        }
    }

private:
    ReadAt read_;
    std::shared_ptr<void> keep_;  // what read_ reads from
    std::string name_;
    RowLayout layout_;
};

class MemoryRows final : public RowSource {
public:
    explicit MemoryRows(Picture picture) : picture_(std::move(picture)) {
        width_ = picture_.width;
        height_ = picture_.height;
    }
    bool AnyOrder() const override { return true; }
    void Read(int first, int count, Colour* out) override {
        std::memcpy(out, picture_.pixels.data() + size_t(first) * size_t(width_),
                    size_t(count) * size_t(width_) * sizeof(Colour));
    }

private:
    Picture picture_;
};

// A file opened for its rows, or decoded whole when its form is not read in
// place.
struct Opened {
    std::unique_ptr<RowSource> rows;
    std::optional<Picture> whole;
};

// A file longer than the largest picture any reader accepts, with room for
// headers, palette and colour profile, is not a picture of ours, and is
// refused before it is opened.
void RefuseLargerThanAnyPicture(std::uint64_t size, const std::string& path) {
    constexpr std::uint64_t kMaxFileSize = std::uint64_t(kMaxPixels) * 4 + (std::uint64_t(1) << 20);
    if (size > kMaxFileSize) Invalid(path, "file too large");
}

// `inMemory`: the whole file, when it is in memory already.
Opened Open(const ReadAt& read, std::uint64_t size, std::shared_ptr<void> keep, const std::string& path,
            std::optional<std::string_view> inMemory = std::nullopt) {
    RefuseLargerThanAnyPicture(size, path);
    std::string head(size_t(std::min<std::uint64_t>(size, kHeadBytes)), '\0');
    const bool whole = read(0, head.data(), head.size()) == head.size();
    // The content, not the name, tells the format: the original engine
    // writes BMP, the open engine PNG (or JPEG or TGA, as set), graphics
    // extensions DDS.
    if (const Reader* reader = whole ? ReaderFor(head, size) : nullptr; reader && reader->layout)
        if (auto layout = reader->layout(head, size, path))
            return {std::make_unique<FileRows>(read, std::move(keep), path, std::move(*layout)), std::nullopt};
    std::shared_ptr<const std::string> file;
    if (!inMemory) {
        auto bytes = std::make_shared<std::string>(size_t(size), '\0');
        bytes->resize(read(0, bytes->data(), bytes->size()));
        file = std::move(bytes);
    }
    const std::string_view bytes = inMemory ? *inMemory : std::string_view(*file);
    // Chosen again from what was read: the file may have changed since.
    if (const Reader* reader = ReaderFor(bytes); reader && reader->rows)
        if (auto rows = reader->rows(bytes, file, path)) return {std::move(rows), std::nullopt};
    return {nullptr, Decode(bytes, path)};
}

Opened Open(const std::string& path) {
    RefuseLargerThanAnyPicture(files::FileSize(path).value_or(0), path);
    auto file = std::make_shared<files::FileReader>(path);
    const files::FileReader* reader = file.get();
    return Open([reader](std::uint64_t at, void* out, size_t count) { return reader->ReadAt(at, out, count); },
                file->size(), file, path);
}

std::unique_ptr<RowSource> RowsOf(Opened opened) {
    if (opened.rows) return std::move(opened.rows);
    return RowsOfPicture(std::move(*opened.whole));
}

}  // namespace

int PieceRows(int width) { return std::max(1, (128 << 10) / std::max(1, width * 4)); }

std::unique_ptr<RowSource> OpenRows(const std::string& path) { return RowsOf(Open(path)); }

std::unique_ptr<RowSource> OpenRows(std::string_view bytes, const std::string& name) {
    const auto read = [bytes](std::uint64_t at, void* out, size_t count) {
        const size_t n = at >= bytes.size() ? 0 : std::min<size_t>(count, bytes.size() - size_t(at));
        if (n) std::memcpy(out, bytes.data() + at, n);
        return n;
    };
    return RowsOf(Open(read, bytes.size(), nullptr, name, bytes));
}

std::unique_ptr<RowSource> RowsOfPicture(Picture picture) { return std::make_unique<MemoryRows>(std::move(picture)); }

Picture ReadAll(RowSource& source) {
    const int w = source.width(), h = source.height();
    Picture picture{w, h, Pixels(size_t(w) * size_t(h))};  // every row is read into it
    const auto rows = [&](int y0, int y1) {
        for (int y = y0; y < y1; y += PieceRows(w)) {
            const int count = std::min(y1 - y, PieceRows(w));
            source.Read(y, count, picture.pixels.data() + size_t(y) * size_t(w));
        }
    };
    if (source.AnyOrder())
        InBands(w, h, rows);
    else
        rows(0, h);
    return picture;
}

}  // namespace glintbook::pictures

namespace glintbook {

Picture LoadPicture(const std::string& path) {
    pictures::Opened opened = pictures::Open(path);
    return opened.rows ? pictures::ReadAll(*opened.rows) : std::move(*opened.whole);
}

}  // namespace glintbook
