#pragma once
// How the private-profile requests see the text of a settings file. All of it
// works on byte offsets into the file's text, so that a write can replace or
// insert bytes at one exact place and leave every other byte as it was. Every
// routine is a single forward pass: a file of any size or content costs time
// in proportion to its length.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace glintbook::profile::ini {

// Spaces and tabs are the only characters trimmed around names and values.
inline bool IsBlank(char c) { return c == ' ' || c == '\t'; }
std::string_view Trim(std::string_view s);

// Section and key names compare without regard to ASCII letter case; bytes
// outside ASCII must match exactly.
bool SameName(std::string_view a, std::string_view b);

struct Line {
    std::size_t begin = 0;  // first byte of the line
    std::size_t end = 0;    // end of its text, where its line ending starts
    std::size_t next = 0;   // first byte after its line ending
};

// Walks the lines of a text from `from` on. A line ends at LF, CR LF or a lone
// CR; the last line may have no ending at all.
class Lines {
public:
    explicit Lines(std::string_view text, std::size_t from = 0);
    bool Next(Line& line);

private:
    std::string_view text_;
    std::size_t pos_;
    // The next CR and LF at or after pos_ (the text's size when none): each
    // is searched for again only once passed, so a walk costs one memchr
    // pass per byte value, not a set search per byte.
    std::size_t cr_, lf_;
};

enum class Kind {
    Blank,   // nothing but blanks
    Header,  // "[name]"; the name runs to the last ']' of the line
    Entry,   // "key=value", split at the first '='
    Text,    // any other line: no '=' (comments among them)
};

struct Parsed {
    Kind kind = Kind::Blank;
    bool comment = false;        // the first non-blank character is ';'
    std::string_view name;       // header name, key, or a Text line's trimmed text
    std::string_view value;      // Entry: the value, blanks trimmed, quotes kept
    std::size_t nameEnd = 0;     // Entry and Text: offset in the line after the name
    std::size_t valueStart = 0;  // Entry: offset in the line just after '='
};
Parsed Parse(std::string_view line);

// The part of a text that forms a section: its header line and its body up
// to the next header. Only the first section of a name counts. The lines
// before the first header form section "" when any of them is not blank;
// otherwise a "[]" header does.
struct Section {
    bool found = false;
    std::size_t begin = 0;      // first byte of the header line
    std::size_t bodyBegin = 0;  // first byte after the header line
    std::size_t end = 0;        // first byte of the next header, or the end of the text
};
Section FindSection(std::string_view text, std::string_view name);

// The first line of a section's body whose key is `key`, with or without a
// '='. When there is none, `insertAt` is where a new key's line goes: after
// the section's last line that is not blank, or after its header.
struct KeyLine {
    std::optional<Line> line;
    Parsed parsed;
    std::size_t insertAt = 0;
};
KeyLine FindKey(std::string_view text, const Section& section, std::string_view key);

// One pair of matching outer quotes (" or ') removed.
std::string_view Unquote(std::string_view value);

// The whole-number conversion of the requests: optional blanks, one sign, a
// lower-case 0x/0o/0b prefix, then digits up to the first non-digit; the
// result wraps modulo 2^32.
std::uint32_t ToNumber(std::string_view text);

// The ending of the text's first line (LF, CR LF or CR); CR LF when it has none.
std::string_view LineEnding(std::string_view text);

// The text after a write: nullopt when nothing changes. A missing key
// deletes the section, a missing value deletes the key.
std::optional<std::string> Edit(std::string_view text, std::string_view section,
                                std::optional<std::string_view> key, std::optional<std::string_view> value);

}  // namespace glintbook::profile::ini
