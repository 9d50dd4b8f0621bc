#pragma once
// Little-endian byte output: both of the game's formats (plug-ins and meshes)
// store every number this way, whatever the machine that writes them.
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace glintbook::plugin {

class Bytes {
public:
    Bytes& u8(std::uint8_t v) {
        out_.push_back(char(v));
        return *this;
    }
    Bytes& u16(std::uint16_t v) { return u8(std::uint8_t(v)).u8(std::uint8_t(v >> 8)); }
    Bytes& u32(std::uint32_t v) { return u16(std::uint16_t(v)).u16(std::uint16_t(v >> 16)); }
    Bytes& u64(std::uint64_t v) { return u32(std::uint32_t(v)).u32(std::uint32_t(v >> 32)); }
    Bytes& i16(std::int16_t v) { return u16(std::uint16_t(v)); }
    Bytes& i32(std::int32_t v) { return u32(std::uint32_t(v)); }
    Bytes& f32(float v) { return u32(std::bit_cast<std::uint32_t>(v)); }
    Bytes& text(std::string_view s) {
        out_.append(s);
        return *this;
    }
    // `s` in a field of `width` bytes, padded with NULs; longer text is cut.
    Bytes& fixed(std::string_view s, std::size_t width) {
        out_.append(s.substr(0, width));
        out_.append(width - std::min(width, s.size()), '\0');
        return *this;
    }

    const std::string& str() const { return out_; }
    std::size_t size() const { return out_.size(); }

private:
    std::string out_;
};

}  // namespace glintbook::plugin
