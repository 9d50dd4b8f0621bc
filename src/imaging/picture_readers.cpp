#include "imaging/picture_readers.h"

#include "imaging/bmp_format.h"
#include "imaging/dds_format.h"
#include "imaging/jpeg_format.h"
#include "imaging/png_format.h"
#include "imaging/tga_format.h"
#include "platform/failure.h"

#include <array>

namespace glintbook::pictures {

namespace {

bool IsBmp(std::string_view b, std::uint64_t) { return b.size() >= 2 && b[0] == 'B' && b[1] == 'M'; }

// The formats with a signature need no more than the first bytes.
template <bool (*signature)(std::string_view)>
bool Signed(std::string_view head, std::uint64_t) { return signature(head); }

#ifdef _WIN32
constexpr auto kJpegRows = nullptr;  // stb_image decodes whole
#else
constexpr auto kJpegRows = jpeg::Rows;
#endif

constexpr std::array kReaders{
    Reader{"BMP", IsBmp, bmp::Decode, bmp::Rows},
    Reader{"PNG", Signed<png::IsPng>, png::Decode, nullptr, png::Rows},
    Reader{"JPEG", Signed<jpeg::IsJpeg>, jpeg::Decode, nullptr, kJpegRows},
    Reader{"DDS", Signed<dds::IsDds>, dds::Decode, dds::Rows},
    Reader{"TGA", tga::IsTga, tga::Decode, tga::Rows},
};

}  // namespace

std::span<const Reader> Readers() { return kReaders; }

const Reader* ReaderFor(std::string_view bytes) { return ReaderFor(bytes, bytes.size()); }

const Reader* ReaderFor(std::string_view head, std::uint64_t fileSize) {
    for (const Reader& r : kReaders)
        if (r.claims(head, fileSize)) return &r;
    return nullptr;
}

Picture Decode(std::string_view bytes, const std::string& name) {
    if (const Reader* r = ReaderFor(bytes)) return r->decode(bytes, name);
    if (bytes.empty()) Invalid(name, "empty file");
    std::string tried;
    for (const Reader& r : kReaders) tried += (tried.empty() ? "" : &r == &kReaders.back() ? " or " : ", ") + std::string(r.name);
    Invalid(name, "not a " + tried + " file");
}

void Invalid(const std::string& name, const std::string& why) {
    throw Failure(ErrInvalidPicture, "Invalid picture: " + name + " (" + why + ")");
}

void CheckSize(std::int64_t width, std::int64_t height, const std::string& name) {
    if (width < 1 || height < 1) Invalid(name, "no pixels");
    if (width > kMaxSide || height > kMaxSide || width * height > kMaxPixels)
        Invalid(name, "claims " + std::to_string(width) + " x " + std::to_string(height) + " pixels");
}

Picture Blank(int width, int height) {
    return Picture{width, height, Pixels(std::size_t(width) * std::size_t(height), 0)};
}

}  // namespace glintbook::pictures
