#pragma once
// One record of a plug-in file in the game's own format: a 16-byte header
// (tag, size of the data that follows the header, a field that is always 0,
// flags) and then its subrecords, each a 4-character tag, a 32-bit size and
// the data.
#include <string>
#include <string_view>

namespace glintbook::plugin {

class Record {
public:
    explicit Record(std::string_view tag);

    Record& sub(std::string_view tag, std::string_view data);
    // Text with its terminating NUL, as the game stores ids, names and paths.
    Record& text(std::string_view tag, std::string_view value);

    std::string bytes() const;

private:
    std::string tag_;
    std::string data_;
};

}  // namespace glintbook::plugin
