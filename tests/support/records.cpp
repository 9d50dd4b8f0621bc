#include "support/records.h"

namespace glintbook::test {

namespace {
std::uint32_t U32(const std::string& b, std::size_t at) {
    std::uint32_t v;
    std::memcpy(&v, b.data() + at, 4);
    return v;
}
}  // namespace

const std::string& RecordData::sub(const std::string& tag) const {
    for (const Subrecord& s : subs)
        if (s.tag == tag) return s.data;
    throw std::runtime_error(this->tag + " " + id + ": no " + tag);
}

std::vector<RecordData> ReadRecords(const std::string& file) {
    std::vector<RecordData> out;
    for (std::size_t at = 0; at < file.size();) {
        const std::string where = "record " + std::to_string(out.size()) + " at byte " + std::to_string(at);
        if (file.size() - at < 16) throw std::runtime_error(where + ": a header cut short");
        const std::size_t end = at + 16 + U32(file, at + 4);
        if (end > file.size()) throw std::runtime_error(where + ": its length runs past the file");
        RecordData r{file.substr(at, 4), "", {}};
        for (std::size_t sub = at + 16; sub < end;) {
            if (end - sub < 8) throw std::runtime_error(where + ": a subrecord header cut short");
            const std::size_t size = U32(file, sub + 4);
            if (size > end - sub - 8) throw std::runtime_error(where + ": " + file.substr(sub, 4) + " runs past its record");
            r.subs.push_back({file.substr(sub, 4), file.substr(sub + 8, size)});
            sub += 8 + size;
        }
        for (const Subrecord& s : r.subs)
            if (s.tag == "NAME") {
                r.id = s.data.substr(0, s.data.find('\0'));
                break;
            }
        out.push_back(std::move(r));
        at = end;
    }
    return out;
}

}  // namespace glintbook::test
