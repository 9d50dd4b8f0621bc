#pragma once
// The settings-file harness, shared by the libFuzzer target and the replay
// test. One input is a settings file's bytes followed by calls on that file;
// every call's result is checked against what the layer promises, not only
// that it returns.
//
// Input: FILE ( RS CALL )*  with RS = 0x1E. A CALL is a code byte, a size
// byte, then up to three fields separated by US = 0x1F: section, key, and a
// value (or default). RS and US are the only bytes a file or a name cannot
// hold here; to the layer they are ordinary bytes like any other.
#include "settings/catalogue.h"
#include "settings/profile.h"

#include <sys/stat.h>

#include <charconv>
#include <climits>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glintbook::fuzzing {

namespace profile_detail {

inline constexpr char kCallSep = '\x1e';
inline constexpr char kFieldSep = '\x1f';
inline constexpr const char* kFileName = "Morrowind.ini";
inline constexpr const char* kTwinName = "twin.ini";  // the writable twin of a read-only file

enum Op {
    kGetInt,
    kGetString,
    kSectionNames,  // GetStringBuffer with no section
    kKeyList,       // GetStringBuffer with no key
    kGetSection,
    kGetSectionNames,
    kWrite,
    kDeleteKey,
    kDeleteSection,
    kWriteDecimal,
    kToggleReadOnly,
    kRemoveFile,
    kOpCount
};

struct Call {
    int op = 0;
    int size = 1;  // 1..300
    std::string section, key, value;
};

inline std::vector<std::string> Split(std::string_view s, char sep) {
    std::vector<std::string> parts;
    std::size_t pos = 0;
    for (;;) {
        const std::size_t e = s.find(sep, pos);
        parts.emplace_back(s.substr(pos, e == std::string_view::npos ? std::string_view::npos : e - pos));
        if (e == std::string_view::npos) return parts;
        pos = e + 1;
    }
}

inline std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

inline void WriteAll(const std::string& path, std::string_view bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), std::streamsize(bytes.size()));
}

inline bool Exists(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0;
}

inline bool Blank(char c) { return c == ' ' || c == '\t'; }

inline std::string_view Trimmed(std::string_view s) {
    while (!s.empty() && Blank(s.front())) s.remove_prefix(1);
    while (!s.empty() && Blank(s.back())) s.remove_suffix(1);
    return s;
}

inline bool SameText(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        auto low = [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; };
        if (low(a[i]) != low(b[i])) return false;
    }
    return true;
}

inline bool HasLineBreak(std::string_view s) { return s.find_first_of("\r\n") != std::string_view::npos; }

// A line as the file holds it: its text and its ending ("", LF, CR LF, CR).
struct FileLine {
    std::string_view text, ending;
    std::size_t begin = 0;
    bool operator==(const FileLine& o) const { return text == o.text && ending == o.ending; }
};

inline std::vector<FileLine> LinesOf(std::string_view s) {
    std::vector<FileLine> out;
    std::size_t pos = 0;
    while (pos < s.size()) {
        const std::size_t e = std::min(s.find_first_of("\r\n", pos), s.size());
        std::size_t next = e == s.size() ? e : e + 1;
        if (e < s.size() && s[e] == '\r' && next < s.size() && s[next] == '\n') ++next;
        out.push_back({s.substr(pos, e - pos), s.substr(e, next - e), pos});
        pos = next;
    }
    return out;
}

// The ending a new line gets: the file's first one, CR LF when it has none.
inline std::string_view EndingOf(const std::vector<FileLine>& lines) {
    return lines.empty() || lines[0].ending.empty() ? std::string_view("\r\n") : lines[0].ending;
}

inline bool IsHeaderLine(std::string_view line) {
    const std::string_view t = Trimmed(line);
    return !t.empty() && t[0] == '[' && t.find(']') != std::string_view::npos;
}

// Whether a name and value written with WriteString must read back as
// written. Reads trim blanks and drop one pair of outer quotes; a line break
// splits the line; '=' in a key moves the split; and a key line starting
// with '[' that holds a ']' anywhere reads as a section header.
inline bool PlainName(std::string_view section) { return !HasLineBreak(section); }
inline bool PlainEntry(std::string_view key, std::string_view value) {
    if (HasLineBreak(key) || key.find('=') != std::string_view::npos || HasLineBreak(value)) return false;
    const std::string_view k = Trimmed(key);
    if (!k.empty() && k[0] == '[' && (k.find(']') != std::string_view::npos || value.find(']') != std::string_view::npos))
        return false;
    if (!value.empty() && (Blank(value.front()) || Blank(value.back()))) return false;
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
        return false;
    return true;
}

class Checker {
public:
    Checker(std::string folder, std::vector<std::string>& problems)
        : folder_(std::move(folder)), file_(folder_ + "/" + kFileName), twin_(folder_ + "/" + kTwinName),
          problems_(problems) {}

    void Run(std::string_view input) {
        const std::size_t first = input.find(kCallSep);
        WriteAll(file_, input.substr(0, first));
        if (first != std::string_view::npos) {
            const std::vector<std::string> calls = Split(input.substr(first + 1), kCallSep);
            for (std::size_t i = 0; i < calls.size() && problems_.empty(); ++i) {
                callIndex_ = i;
                Do(Parse(calls[i]));
            }
        }
        CheckFolder();
        ::chmod(file_.c_str(), 0644);
    }

private:
    static Call Parse(std::string_view text) {
        Call c;
        const unsigned code = text.empty() ? 0u : std::uint8_t(text[0]);
        const unsigned sizeByte = text.size() < 2 ? 0u : std::uint8_t(text[1]);
        c.op = int(code % kOpCount);
        c.size = 1 + int((code / kOpCount * 256 + sizeByte) % 300);
        const std::vector<std::string> fields = Split(text.size() < 2 ? std::string_view() : text.substr(2), kFieldSep);
        if (fields.size() > 0) c.section = fields[0];
        if (fields.size() > 1) c.key = fields[1];
        if (fields.size() > 2) c.value = fields[2];
        return c;
    }

    void Fail(const std::string& what) {
        problems_.push_back("call " + std::to_string(callIndex_) + ": " + what);
    }

    void Do(const Call& c) {
        const std::string before = Exists(file_) ? ReadAll(file_) : std::string();
        switch (c.op) {
        case kGetInt: CheckGetInt(c); break;
        case kGetString: CheckGetString(c); break;
        case kSectionNames:
            CheckList(profile::GetStringBuffer(file_, std::nullopt, std::nullopt, c.value, c.size),
                      profile::GetStringBuffer(file_, std::nullopt, std::nullopt, c.value, INT_MAX), c.size, 1);
            break;
        case kKeyList: {
            // Without a NUL in the default, a NUL tells a list from the default.
            std::string def = c.value;
            std::erase(def, '\0');
            const profile::Buffer full = profile::GetStringBuffer(file_, c.section, std::nullopt, def, INT_MAX);
            const profile::Buffer cut = profile::GetStringBuffer(file_, c.section, std::nullopt, def, c.size);
            // A section without keys gives the default, a single string.
            if (full.text().find('\0') == std::string_view::npos) CheckSingle(cut, full.text(), c.size);
            else CheckList(cut, full, c.size, 1);
            break;
        }
        case kGetSection:
            CheckList(profile::GetSection(file_, c.section, c.size), profile::GetSection(file_, c.section, INT_MAX),
                      c.size, 2);
            break;
        case kGetSectionNames:
            CheckList(profile::GetSectionNames(file_, c.size), profile::GetSectionNames(file_, INT_MAX), c.size, 1);
            break;
        case kWrite:
        case kDeleteKey:
        case kDeleteSection:
        case kWriteDecimal: CheckWrite(c, before); break;
        case kToggleReadOnly:
            if (Exists(file_)) {
                readOnly_ = !readOnly_;
                ::chmod(file_.c_str(), readOnly_ ? 0444 : 0644);
            }
            break;
        case kRemoveFile:
            ::chmod(file_.c_str(), 0644);
            std::remove(file_.c_str());
            readOnly_ = false;
            break;
        default: break;
        }
        // Reads never change the file.
        if (c.op < kWrite && (Exists(file_) ? ReadAll(file_) : std::string()) != before) Fail("a read changed the file");
    }

    // A single string in a buffer of `size`: cut to size-1 bytes, one NUL.
    void CheckSingle(const profile::Buffer& b, std::string_view full, int size) {
        const std::string want(full.substr(0, std::size_t(size) - 1));
        if (b.text() != want) Fail("string cut to " + std::to_string(size) + " differs from the whole one cut");
        if (b.bytes != want + '\0') Fail("buffer bytes are not the string and one NUL");
    }

    // A NUL-ended list in a buffer of `size`: never more than `size` bytes,
    // always ended by a NUL, and a prefix of the whole list.
    void CheckList(const profile::Buffer& b, const profile::Buffer& full, int size, int endNuls) {
        if (b.bytes.size() > std::size_t(size)) Fail("list wrote past its buffer");
        if (b.bytes.empty() || b.bytes.back() != '\0') Fail("list buffer not ended by a NUL");
        if (b.count < 0 || b.count >= size || std::size_t(b.count) > b.bytes.size())
            Fail("list count out of range: " + std::to_string(b.count));
        else if (full.text().substr(0, std::size_t(b.count)) != b.text())
            Fail("list in a small buffer is not a prefix of the whole list");
        if (!full.text().empty() && full.text().back() != '\0') Fail("whole list not ended by a NUL");
        if (full.text().size() < std::size_t(size) && b.text() != full.text()) Fail("a list that fits was cut");
        if (endNuls == 2 && size >= 2 && b.bytes.size() >= 2 && full.text().size() >= std::size_t(size) &&
            b.bytes.substr(b.bytes.size() - 2) != std::string(2, '\0'))
            Fail("cut section lines not ended by two NULs");
    }

    void CheckGetInt(const Call& c) {
        const std::string raw(profile::GetStringBuffer(file_, c.section, c.key, "", INT_MAX).text());
        const int a = profile::GetInt(file_, c.section, c.key, 1234567), b = profile::GetInt(file_, c.section, c.key, -7);
        if (raw.empty()) {
            if (a != 1234567 || b != -7) Fail("GetInt of an empty or missing value ignored the default");
            return;
        }
        if (a != b) Fail("GetInt of a value '" + raw + "' depends on the default");
        // A plain decimal that fits reads as itself.
        std::string_view digits = raw;
        const bool negative = digits[0] == '-';
        if (digits[0] == '+' || negative) digits.remove_prefix(1);
        if (digits.empty() || digits.size() > 10 || digits.find_first_not_of("0123456789") != std::string_view::npos)
            return;
        long long n = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), n);
        if (negative) n = -n;
        if (n < INT_MIN || n > INT_MAX) return;
        if (a != n) Fail("GetInt of '" + raw + "' gave " + std::to_string(a));
    }

    void CheckGetString(const Call& c) {
        const profile::Buffer full = profile::GetStringBuffer(file_, c.section, c.key, c.value, INT_MAX);
        CheckSingle(profile::GetStringBuffer(file_, c.section, c.key, c.value, c.size), full.text(), c.size);
        if (profile::GetString(file_, c.section, c.key, c.value, c.size) != full.text().substr(0, std::size_t(c.size) - 1))
            Fail("GetString differs from its buffer form");
    }

    bool Apply(const std::string& file, const Call& c, const std::string& value) {
        switch (c.op) {
        case kDeleteKey: return profile::DeleteKey(file, c.section, c.key);
        case kDeleteSection: return profile::DeleteSection(file, c.section);
        default: return profile::WriteString(file, c.section, c.key, value);
        }
    }

    void CheckWrite(const Call& c, const std::string& before) {
        std::string value = c.value;
        int number = 0;
        if (c.op == kWriteDecimal) {
            std::uint32_t u = 0;
            std::memcpy(&u, (c.value + std::string(4, '\0')).data(), 4);
            std::memcpy(&number, &u, 4);
            value = DecimalText(number);
        }
        const bool existed = Exists(file_);
        const bool ok = Apply(file_, c, value);
        const std::string after = Exists(file_) ? ReadAll(file_) : std::string();

        if (readOnly_) {
            // Refused exactly when the same call would change a writable copy.
            WriteAll(twin_, before);
            Apply(twin_, c, value);
            const bool wouldChange = ReadAll(twin_) != before;
            std::remove(twin_.c_str());
            if (after != before) Fail("a read-only file was changed");
            if (ok == wouldChange) Fail(ok ? "a needed write to a read-only file reported success"
                                           : "a write with nothing to do on a read-only file reported failure");
            return;
        }
        if (!ok) Fail("a write to a writable file in a writable folder failed");
        if (!existed && after.empty() && c.op != kWrite && c.op != kWriteDecimal) return;

        if (c.op == kDeleteKey) return CheckRemoval(before, after, c, false);
        if (c.op == kDeleteSection) return CheckRemoval(before, after, c, true);
        if (!PlainName(c.section) || !PlainEntry(c.key, value)) return;

        const std::string got = profile::GetString(file_, c.section, c.key, "\x01", c.size);
        if (got != value.substr(0, std::size_t(c.size) - 1))
            Fail("after writing '" + value + "', GetString gave '" + got + "'");
        if (c.op == kWriteDecimal) {
            const int back = profile::GetInt(file_, c.section, c.key, int(std::uint32_t(number) + 1));
            if (back != number) Fail("wrote " + value + ", GetInt gave " + std::to_string(back));
        }
        if (after != before) CheckOneLineWritten(before, after, c, value);
        CheckListed(c, value);
    }

    // After a write the lists agree: the section is among the section
    // names, the key among its keys, and "key=value" among its lines. Names
    // with a NUL are left out: a NUL ends a listed name.
    void CheckListed(const Call& c, const std::string& value) {
        const std::string_view s = Trimmed(c.section), k = Trimmed(c.key);
        if ((std::string(s) + std::string(k) + value).find('\0') != std::string::npos) return;
        // A ';' key line is a comment, which the lists leave out.
        if (!k.empty() && k[0] == ';') return;
        auto listed = [](const profile::Buffer& b, auto match) {
            for (const std::string& e : Split(b.text(), '\0'))
                if (match(e)) return true;
            return false;
        };
        if (!s.empty() && !listed(profile::GetSectionNames(file_, INT_MAX),
                                  [&](std::string_view e) { return SameText(e, s); }))
            Fail("written section missing from the section names");
        if (!k.empty() && !listed(profile::GetStringBuffer(file_, c.section, std::nullopt, "", INT_MAX),
                                  [&](std::string_view e) { return SameText(e, k); }))
            Fail("written key missing from the section's keys");
        if (!listed(profile::GetSection(file_, c.section, INT_MAX), [&](std::string_view e) {
                return e.size() == k.size() + 1 + value.size() && SameText(e.substr(0, k.size()), k) &&
                       e.substr(k.size()) == "=" + value;
            }))
            Fail("written line missing from the section's lines");
    }

    // A write changes the text after the key's '=' (or gives a key line
    // without one its '='), or adds the key's line, or appends a header and
    // the key's line; a last line without an ending may gain one. Every other
    // line keeps its bytes and its ending.
    void CheckOneLineWritten(const std::string& before, const std::string& after, const Call& c,
                             const std::string& value) {
        const auto a = LinesOf(before), b = LinesOf(after);
        std::size_t pre = 0, suf = 0;
        while (pre < a.size() && pre < b.size() && a[pre] == b[pre]) ++pre;
        while (suf < a.size() - pre && suf < b.size() - pre && a[a.size() - 1 - suf] == b[b.size() - 1 - suf]) ++suf;
        const std::vector<FileLine> removed(a.begin() + long(pre), a.end() - long(suf));
        std::vector<FileLine> added(b.begin() + long(pre), b.end() - long(suf));
        const std::string_view eol = EndingOf(a);
        const std::string entry = std::string(Trimmed(c.key)) + "=" + value;

        if (removed.size() == 1 && added.size() == 1 && removed[0].ending == added[0].ending &&
            added[0].text.size() > value.size()) {
            const std::size_t cut = added[0].text.size() - value.size() - 1;
            const std::string_view keyPart = added[0].text.substr(0, cut);
            if (removed[0].text.substr(0, cut) == keyPart && keyPart.find('=') == std::string_view::npos &&
                SameText(Trimmed(keyPart), Trimmed(c.key)) && added[0].text.substr(cut) == "=" + value)
                return;
        }
        std::size_t i = 0;
        if (removed.size() == 1 && suf == 0 && pre + 1 == a.size() && removed[0].ending.empty()) {
            // The last line gained its ending.
            if (added.empty() || added[0].text != removed[0].text || added[0].ending != eol)
                return Fail("the unended last line was changed: " + Show(before, after));
            i = 1;
        } else if (!removed.empty()) {
            return Fail("lines other than the key's changed: " + Show(before, after));
        }
        const bool header = added.size() - i == 2 && suf == 0;
        if (header && (added[i].text != "[" + std::string(Trimmed(c.section)) + "]" || added[i].ending != eol))
            return Fail("appended header is not the section's: " + Show(before, after));
        // A new line ended by a lone CR before an LF would swallow that LF's
        // line, so it ends with CR LF there.
        const FileLine& last = added.back();
        const std::size_t next = last.begin + last.text.size() + last.ending.size();
        const bool crBeforeLf = eol == "\r" && next < after.size() && after[next] == '\n';
        if (added.size() - i != (header ? 2u : 1u) || last.text != entry ||
            last.ending != (crBeforeLf ? std::string_view("\r\n") : eol))
            return Fail("added lines are not the key's line: " + Show(before, after));
    }

    // A deletion removes whole lines of the old file and nothing else: one
    // line of the key, or a section from its header (the lines before the
    // first header for section "") up to the next header. Checked on bytes,
    // not lines: a line ended by a lone CR before the removed lines and a
    // line starting with LF after them become one CR LF, which no removal
    // of whole lines can avoid.
    void CheckRemoval(const std::string& before, const std::string& after, const Call& c, bool section) {
        if (after == before) return;
        if (after.size() >= before.size()) return Fail("a deletion did not shrink the file: " + Show(before, after));
        const std::size_t d = before.size() - after.size();
        std::size_t p = 0, s = 0;
        while (p < after.size() && before[p] == after[p]) ++p;
        while (s < after.size() && before[before.size() - 1 - s] == after[after.size() - 1 - s]) ++s;
        // The removed block may start anywhere from lo to p with the same result.
        const std::size_t lo = after.size() > s ? after.size() - s : 0;
        const auto lines = LinesOf(before);
        for (std::size_t n = 0; n < lines.size(); ++n) {
            const std::size_t at = lines[n].begin;
            if (at < lo || at > p) continue;
            if (before.compare(at + d, std::string::npos, after, at, std::string::npos) != 0) continue;
            // The block [at, at+d) must be lines n .. m-1 of the old file.
            std::size_t m = n, end = at;
            for (; m < lines.size() && end < at + d; ++m) end += lines[m].text.size() + lines[m].ending.size();
            if (end != at + d) continue;
            if (!section) {
                const std::string_view t = lines[n].text, name = Trimmed(t.substr(0, t.find('=')));
                if (m == n + 1 && !IsHeaderLine(t) && SameText(name, Trimmed(c.key))) return;
                continue;
            }
            bool inner = false;
            for (std::size_t k = n + 1; k < m; ++k) inner = inner || IsHeaderLine(lines[k].text);
            const bool toNext = m == lines.size() || IsHeaderLine(lines[m].text);
            std::string_view head = Trimmed(lines[n].text);
            const bool named = IsHeaderLine(head) && SameText(Trimmed(head.substr(1, head.rfind(']') - 1)), Trimmed(c.section));
            if (!inner && toNext && (named || (n == 0 && Trimmed(c.section).empty()))) return;
        }
        Fail(std::string(section ? "DeleteSection" : "DeleteKey") + " removed other bytes than its lines: " +
             Show(before, after));
    }

    static std::string Show(const std::string& before, const std::string& after) {
        auto quote = [](const std::string& s) {
            std::string out;
            for (char ch : s.substr(0, 400)) {
                const auto u = std::uint8_t(ch);
                if (u >= 0x20 && u < 0x7f && ch != '\\') out += ch;
                else {
                    static const char* hex = "0123456789abcdef";
                    out += "\\x";
                    out += hex[u >> 4];
                    out += hex[u & 15];
                }
            }
            return s.size() > 400 ? out + "..." : out;
        };
        return "before \"" + quote(before) + "\" after \"" + quote(after) + "\"";
    }

    // Writes leave no temporary files behind.
    void CheckFolder() {
        std::error_code ec;
        for (const auto& e : std::filesystem::directory_iterator(folder_, ec)) {
            const std::string name = e.path().filename().string();
            if (name != kFileName) {
                Fail("stray file left in the folder: " + name);
                std::filesystem::remove(e.path(), ec);
            }
        }
    }

    std::string folder_, file_, twin_;
    std::vector<std::string>& problems_;
    bool readOnly_ = false;
    std::size_t callIndex_ = 0;
};

}  // namespace profile_detail

// Runs one input in `folder` (an empty folder of its own) and returns what
// went wrong; empty when every check held.
inline std::vector<std::string> CheckProfileInput(const std::uint8_t* data, std::size_t size, const std::string& folder) {
    std::vector<std::string> problems;
    profile_detail::Checker(folder, problems).Run(std::string_view(reinterpret_cast<const char*>(data), size));
    return problems;
}

}  // namespace glintbook::fuzzing
