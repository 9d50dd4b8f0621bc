#include "settings/ini_text.h"

#include <algorithm>

namespace glintbook::profile::ini {

namespace {

char AsciiLower(char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; }

std::string_view LineText(std::string_view text, const Line& line) {
    return text.substr(line.begin, line.end - line.begin);
}

unsigned DigitValue(char c) {
    if (c >= '0' && c <= '9') return unsigned(c - '0');
    if (c >= 'a' && c <= 'z') return unsigned(c - 'a' + 10);
    if (c >= 'A' && c <= 'Z') return unsigned(c - 'A' + 10);
    return 99;
}

// An insertion at the very end of a text whose last line has no ending must
// first end that line.
bool NeedsEnding(std::string_view text, std::size_t at) {
    return at == text.size() && at > 0 && text.back() != '\n' && text.back() != '\r';
}

// The first `c` at or after `from`, or the text's size.
std::size_t FindFrom(std::string_view text, char c, std::size_t from) {
    return std::min(text.find(c, from), text.size());
}

std::string Splice(std::string_view text, std::size_t from, std::size_t to, std::string_view insert) {
    std::string out;
    out.reserve(text.size() - (to - from) + insert.size());
    out.append(text.substr(0, from)).append(insert).append(text.substr(to));
    return out;
}

}  // namespace

std::string_view Trim(std::string_view s) {
    std::size_t b = 0, e = s.size();
    while (b < e && IsBlank(s[b])) ++b;
    while (e > b && IsBlank(s[e - 1])) --e;
    return s.substr(b, e - b);
}

bool SameName(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (AsciiLower(a[i]) != AsciiLower(b[i])) return false;
    return true;
}

Lines::Lines(std::string_view text, std::size_t from)
    : text_(text), pos_(from), cr_(FindFrom(text, '\r', from)), lf_(FindFrom(text, '\n', from)) {}

bool Lines::Next(Line& line) {
    if (pos_ >= text_.size()) return false;
    line.begin = pos_;
    const std::size_t e = std::min(cr_, lf_);
    line.end = e;
    line.next = e == text_.size() ? e : e + 1;
    if (e == cr_ && lf_ == e + 1 && lf_ < text_.size()) ++line.next;  // CR LF
    pos_ = line.next;
    if (cr_ < pos_) cr_ = FindFrom(text_, '\r', pos_);
    if (lf_ < pos_) lf_ = FindFrom(text_, '\n', pos_);
    return true;
}

Parsed Parse(std::string_view line) {
    Parsed p;
    std::size_t i = 0;
    while (i < line.size() && IsBlank(line[i])) ++i;
    if (i == line.size()) return p;
    if (line[i] == '[') {
        const std::size_t close = line.rfind(']');
        if (close != std::string_view::npos) {
            p.kind = Kind::Header;
            p.name = Trim(line.substr(i + 1, close - i - 1));
            return p;
        }
    }
    p.comment = line[i] == ';';
    const std::size_t eq = line.find('=', i);
    if (eq == std::string_view::npos) {
        p.kind = Kind::Text;
        p.name = Trim(line.substr(i));
    } else {
        p.kind = Kind::Entry;
        p.name = Trim(line.substr(i, eq - i));
        p.valueStart = eq + 1;
        p.value = Trim(line.substr(eq + 1));
    }
    p.nameEnd = i + p.name.size();
    return p;
}

Section FindSection(std::string_view text, std::string_view wanted) {
    const std::string_view name = Trim(wanted);
    Section found;
    bool beforeFirstHeader = true;
    bool leadingLines = false;  // a non-blank line before the first header
    Lines lines(text);
    Line line;
    while (lines.Next(line)) {
        const Parsed p = Parse(LineText(text, line));
        if (p.kind != Kind::Header) {
            if (beforeFirstHeader && p.kind != Kind::Blank) leadingLines = true;
            continue;
        }
        if (found.found) {
            found.end = line.begin;
            return found;
        }
        if (beforeFirstHeader) {
            beforeFirstHeader = false;
            if (name.empty() && leadingLines) return Section{true, 0, 0, line.begin};
        }
        if (SameName(p.name, name)) found = Section{true, line.begin, line.next, text.size()};
    }
    if (!found.found && name.empty() && leadingLines) return Section{true, 0, 0, text.size()};
    return found;
}

KeyLine FindKey(std::string_view text, const Section& section, std::string_view wanted) {
    const std::string_view key = Trim(wanted);
    KeyLine result;
    result.insertAt = section.bodyBegin;
    Lines lines(text, section.bodyBegin);
    Line line;
    while (lines.Next(line) && line.begin < section.end) {
        const Parsed p = Parse(LineText(text, line));
        if (p.kind == Kind::Blank) continue;
        result.insertAt = line.next;
        // A line without '=' is still the key's line: a read gives the
        // default for it and a write gives it its '='.
        if ((p.kind == Kind::Entry || p.kind == Kind::Text) && SameName(p.name, key)) {
            result.line = line;
            result.parsed = p;
            return result;
        }
    }
    return result;
}

std::string_view Unquote(std::string_view value) {
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
        return value.substr(1, value.size() - 2);
    return value;
}

std::uint32_t ToNumber(std::string_view s) {
    std::size_t i = 0;
    while (i < s.size() && IsBlank(s[i])) ++i;
    bool negative = false;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
    unsigned base = 10;
    if (i + 1 < s.size() && s[i] == '0') {
        const char p = s[i + 1];
        base = p == 'x' ? 16 : p == 'o' ? 8 : p == 'b' ? 2 : 10;
        if (base != 10) i += 2;
    }
    std::uint32_t n = 0;
    for (; i < s.size(); ++i) {
        const unsigned d = DigitValue(s[i]);
        if (d >= base) break;
        n = n * base + d;
    }
    return negative ? 0u - n : n;
}

std::string_view LineEnding(std::string_view text) {
    const std::size_t e = text.find_first_of("\r\n");
    if (e == std::string_view::npos) return "\r\n";
    if (text[e] == '\n') return "\n";
    return e + 1 < text.size() && text[e + 1] == '\n' ? "\r\n" : "\r";
}

std::optional<std::string> Edit(std::string_view text, std::string_view sectionName,
                                std::optional<std::string_view> keyName, std::optional<std::string_view> value) {
    const Section section = FindSection(text, sectionName);
    if (!keyName) {
        if (!section.found) return std::nullopt;
        return Splice(text, section.begin, section.end, "");
    }
    const std::string_view key = Trim(*keyName);
    const KeyLine found = section.found ? FindKey(text, section, key) : KeyLine{};
    if (!value) {
        if (!found.line) return std::nullopt;
        return Splice(text, found.line->begin, found.line->next, "");
    }

    const std::string_view eol = LineEnding(text);
    std::string entry;
    entry.reserve(key.size() + value->size() + 3);
    entry.append(key).append("=").append(*value).append(eol);

    if (found.line) {
        const Line& line = *found.line;
        const Parsed& p = found.parsed;
        if (p.kind == Kind::Entry) {
            // Same value: nothing to write. Otherwise only the text after '='
            // changes; the key keeps its spelling in the file.
            if (p.value == *value) return std::nullopt;
            return Splice(text, line.begin + p.valueStart, line.end, *value);
        }
        return Splice(text, line.begin + p.nameEnd, line.end, "=" + std::string(*value));
    }
    if (section.found) {
        const std::size_t at = found.insertAt;
        // Ended by a lone CR, the new line would join the LF of a blank line
        // after it into one CR LF and swallow that line: it gets CR LF then.
        if (eol == "\r" && at < text.size() && text[at] == '\n') entry.append("\n");
        return Splice(text, at, at, NeedsEnding(text, at) ? std::string(eol) + entry : entry);
    }
    const std::string_view name = Trim(sectionName);
    // Section "" has no header: its keys are the lines before the first one.
    if (name.empty()) return Splice(text, 0, 0, entry);
    std::string out(text);
    if (NeedsEnding(text, text.size())) out.append(eol);
    out.append("[").append(name).append("]").append(eol).append(entry);
    return out;
}

}  // namespace glintbook::profile::ini
