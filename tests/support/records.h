#pragma once
// The game's record files as the engine reads them: plug-ins, masters and the
// open engine's saved games share one frame (a 16-byte record header, then
// subrecords of a 4-character tag, a 32-bit length and the data). Every
// record's and subrecord's declared length is checked against the bytes, and
// the fixed-size subrecords are read through named layouts whose sizes are
// the game's own, checked when this compiles.
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace glintbook::test {

struct Subrecord {
    std::string tag, data;
};

struct RecordData {
    std::string tag, id;  // id: the first NAME, without its NUL
    std::vector<Subrecord> subs;
    // The data of the first subrecord `tag`; throws when there is none.
    const std::string& sub(const std::string& tag) const;
};

// Throws std::runtime_error naming the record whose length does not add up.
std::vector<RecordData> ReadRecords(const std::string& file);

#pragma pack(push, 1)
struct HeaderLayout {  // TES3 HEDR
    float version;
    std::uint32_t flags;
    char author[32], description[256];
    std::uint32_t records;
};
struct ScriptHeaderLayout {  // SCPT SCHD
    char name[32];
    std::uint32_t shorts, longs, floats, bytecodeSize, localNamesSize;
};
struct BookLayout {  // BOOK BKDT
    float weight;
    std::uint32_t value, scroll;
    std::int32_t skill;
    std::uint32_t enchantment;
};
struct MiscLayout {  // MISC MCDT
    float weight;
    std::uint32_t value, key;
};
#pragma pack(pop)
static_assert(sizeof(HeaderLayout) == 300 && sizeof(ScriptHeaderLayout) == 52 && sizeof(BookLayout) == 20 &&
              sizeof(MiscLayout) == 12);

// A fixed-size subrecord through its layout; throws when its length differs.
template <class Layout>
Layout As(const Subrecord& s) {
    if (s.data.size() != sizeof(Layout))
        throw std::runtime_error(s.tag + ": " + std::to_string(s.data.size()) + " bytes, its layout has " +
                                 std::to_string(sizeof(Layout)));
    Layout v;
    std::memcpy(&v, s.data.data(), sizeof v);  // little-endian, as this machine
    return v;
}
template <class Layout>
Layout As(const RecordData& r, const std::string& tag) {
    return As<Layout>(Subrecord{tag, r.sub(tag)});
}

}  // namespace glintbook::test
