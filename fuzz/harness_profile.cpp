// The settings-file fuzz oracle (see harness_profile.h). Lines, names and
// trimming are the settings layer's own (ini_text.h); what is checked against
// them are the promises of the requests, stated here independently of how
// the layer finds a section or a key.
#include "harness_profile.h"

#include "settings/catalogue.h"
#include "settings/ini_text.h"
#include "settings/profile.h"

#include <sys/stat.h>

#include <charconv>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace glintbook::fuzzing {

namespace {

namespace ini = profile::ini;
namespace text = profile::text;
using profile::Buffer;

constexpr char kCallSep = '\x1e';
constexpr char kFieldSep = '\x1f';
constexpr const char* kFileName = "Morrowind.ini";
// Calls after these are ignored: eight reach every sequence the checks care
// about (a write, a toggle, a removal, a write again...), and longer inputs
// would only slow the fuzzer.
constexpr std::size_t kMaxCalls = 8;

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
    kToggleReadOnly,  // the file only; the text ignores it
    kRemoveFile,      // the text becomes empty
    kOpCount
};

struct Call {
    int op = 0;
    int size = 1;  // 1..300
    std::string_view section, key, value;
};

std::vector<std::string_view> Split(std::string_view s, char sep) {
    std::vector<std::string_view> parts;
    for (std::size_t pos = 0;;) {
        const std::size_t e = s.find(sep, pos);
        parts.push_back(s.substr(pos, e == std::string_view::npos ? std::string_view::npos : e - pos));
        if (e == std::string_view::npos) return parts;
        pos = e + 1;
    }
}

Call ParseCall(std::string_view s) {
    Call c;
    const unsigned code = s.empty() ? 0u : std::uint8_t(s[0]);
    const unsigned sizeByte = s.size() < 2 ? 0u : std::uint8_t(s[1]);
    c.op = int(code % kOpCount);
    c.size = 1 + int((code / kOpCount * 256 + sizeByte) % 300);
    const std::vector<std::string_view> fields = Split(s.size() < 2 ? std::string_view() : s.substr(2), kFieldSep);
    c.section = fields[0];
    if (fields.size() > 1) c.key = fields[1];
    if (fields.size() > 2) c.value = fields[2];
    return c;
}

// A line as ini::Lines walks it, with its ending ("", LF, CR LF, CR).
struct FileLine {
    std::string_view text, ending;
    std::size_t begin = 0;
    bool operator==(const FileLine& o) const { return text == o.text && ending == o.ending; }
};

std::vector<FileLine> LinesOf(std::string_view s) {
    std::vector<FileLine> out;
    ini::Lines lines(s);
    ini::Line l;
    while (lines.Next(l)) out.push_back({s.substr(l.begin, l.end - l.begin), s.substr(l.end, l.next - l.end), l.begin});
    return out;
}

bool OneLine(std::string_view s) { return s.find_first_of("\r\n") == std::string_view::npos; }
bool IsHeader(std::string_view line) { return ini::Parse(line).kind == ini::Kind::Header; }

// Whether a write must read back as written: the header and the key's line
// the writer forms are single lines, and the line parses back to the same
// key and value (reads trim blanks and drop outer quotes, a '=' in a key
// moves the split, a key line in brackets is a header).
bool ReadsBack(std::string_view section, std::string_view key, std::string_view value, ini::Parsed& parsed) {
    const std::string line = std::string(ini::Trim(key)) + "=" + std::string(value);
    if (!OneLine(section) || !OneLine(line)) return false;
    parsed = ini::Parse(line);
    return parsed.kind == ini::Kind::Entry && parsed.name == ini::Trim(key) && ini::Unquote(parsed.value) == value;
}

std::string Show(std::string_view before, std::string_view after) {
    auto quote = [](std::string_view s) {
        std::string out;
        for (char ch : s.substr(0, 400)) {
            const auto u = std::uint8_t(ch);
            if (u >= 0x20 && u < 0x7f && ch != '\\') {
                out += ch;
            } else {
                char hex[8];
                std::snprintf(hex, sizeof hex, "\\x%02x", u);
                out += hex;
            }
        }
        return s.size() > 400 ? out + "..." : out;
    };
    return "before \"" + quote(before) + "\" after \"" + quote(after) + "\"";
}

std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

class Checker {
public:
    Checker(const Editor& edit, std::vector<std::string>& problems) : edit_(edit), problems_(problems) {
        if (!edit_) edit_ = ini::Edit;
    }

    // Through the file forms on `folder`/Morrowind.ini as well.
    void UseFolder(const std::string& folder) {
        folder_ = folder;
        file_ = folder + "/" + kFileName;
    }

    void Run(std::string_view input) {
        const std::size_t first = input.find(kCallSep);
        text_ = input.substr(0, first);
        if (!file_.empty()) {
            std::ofstream(file_, std::ios::binary | std::ios::trunc) << text_;
            ::chmod(file_.c_str(), mode_ = 0644);
            exists_ = true;
        }
        if (first != std::string_view::npos) {
            const std::vector<std::string_view> calls = Split(input.substr(first + 1), kCallSep);
            for (std::size_t i = 0; i < calls.size() && i < kMaxCalls && problems_.empty(); ++i) {
                callIndex_ = i;
                Do(ParseCall(calls[i]));
            }
        }
        if (!file_.empty()) {
            CheckFile();
            CheckFolder();
            ::chmod(file_.c_str(), 0644);
        }
    }

private:
    void Fail(const std::string& what) { problems_.push_back("call " + std::to_string(callIndex_) + ": " + what); }

    void Do(const Call& c) {
        switch (c.op) {
        case kGetInt: CheckGetInt(c); break;
        case kGetString: CheckGetString(c); break;
        case kSectionNames:
            CheckList(text::GetStringBuffer(text_, std::nullopt, std::nullopt, c.value, c.size),
                      text::GetStringBuffer(text_, std::nullopt, std::nullopt, c.value, INT_MAX), c.size, 1);
            break;
        case kKeyList: {
            // Without a NUL in the default, a NUL tells a list from the default.
            std::string def(c.value);
            std::erase(def, '\0');
            const Buffer full = text::GetStringBuffer(text_, c.section, std::nullopt, def, INT_MAX);
            const Buffer cut = text::GetStringBuffer(text_, c.section, std::nullopt, def, c.size);
            // A section without keys gives the default, a single string.
            if (full.text().find('\0') == std::string_view::npos) CheckSingle(cut, full.text(), c.size);
            else CheckList(cut, full, c.size, 1);
            break;
        }
        case kGetSection:
            CheckList(text::GetSection(text_, c.section, c.size), text::GetSection(text_, c.section, INT_MAX), c.size,
                      2);
            break;
        case kGetSectionNames:
            CheckList(text::GetSectionNames(text_, c.size), text::GetSectionNames(text_, INT_MAX), c.size, 1);
            break;
        case kWrite:
        case kDeleteKey:
        case kDeleteSection:
        case kWriteDecimal: Write(c); break;
        case kToggleReadOnly:
            if (exists_) {
                readOnly_ = !readOnly_;
                ::chmod(file_.c_str(), mode_ = readOnly_ ? 0444 : 0644);
            }
            break;
        case kRemoveFile:
            text_.clear();
            if (!file_.empty()) {
                ::chmod(file_.c_str(), 0644);
                std::remove(file_.c_str());
            }
            exists_ = readOnly_ = false;
            break;
        default: break;
        }
        // A read that changed the file shows at the next check after a write.
        if (!file_.empty()) {
            if (c.op < kWrite) CheckFileRead(c);
            else CheckFile();
        }
    }

    // A single string in a buffer of `size`: cut to size-1 bytes, one NUL.
    void CheckSingle(const Buffer& b, std::string_view full, int size) {
        const std::string want(full.substr(0, std::size_t(size) - 1));
        if (b.text() != want) Fail("string cut to " + std::to_string(size) + " differs from the whole one cut");
        if (b.bytes != want + '\0') Fail("buffer bytes are not the string and one NUL");
    }

    // A NUL-ended list in a buffer of `size`: never more than `size` bytes,
    // always ended by a NUL, and a prefix of the whole list.
    void CheckList(const Buffer& b, const Buffer& full, int size, int endNuls) {
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
        const std::string raw(text::GetStringBuffer(text_, c.section, c.key, "", INT_MAX).text());
        const int a = text::GetInt(text_, c.section, c.key, 1234567), b = text::GetInt(text_, c.section, c.key, -7);
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
        const Buffer full = text::GetStringBuffer(text_, c.section, c.key, c.value, INT_MAX);
        CheckSingle(text::GetStringBuffer(text_, c.section, c.key, c.value, c.size), full.text(), c.size);
    }

    std::optional<std::string> Edit(std::string_view on, const Call& c, std::string_view value) {
        if (c.op == kDeleteSection) return edit_(on, c.section, std::nullopt, std::nullopt);
        if (c.op == kDeleteKey) return edit_(on, c.section, c.key, std::nullopt);
        return edit_(on, c.section, c.key, value);
    }

    void Write(const Call& c) {
        std::string value(c.value);
        int number = 0;
        if (c.op == kWriteDecimal) {
            std::uint32_t u = 0;
            for (std::size_t i = 0; i < std::min<std::size_t>(c.value.size(), 4); ++i)
                u |= std::uint32_t(std::uint8_t(c.value[i])) << (8 * i);
            number = int(u);
            value = DecimalText(number);
        }
        // The checks are on the edited text even where a read-only file
        // refuses it.
        std::string before = std::move(text_);
        std::optional<std::string> edited = Edit(before, c, value);
        const bool taken = file_.empty() || WriteFile(c, value, edited && *edited != before);
        CheckWrite(c, value, number, before, edited ? *edited : before);
        text_ = std::move(taken && edited ? *edited : before);
    }

    void CheckWrite(const Call& c, const std::string& value, int number, const std::string& before,
                    const std::string& after) {
        if (c.op == kDeleteKey) return CheckRemoval(before, after, c, false);
        if (c.op == kDeleteSection) return CheckRemoval(before, after, c, true);
        ini::Parsed line;
        if (!ReadsBack(c.section, c.key, value, line)) return;

        const std::string got(text::GetStringBuffer(after, c.section, c.key, "\x01", c.size).text());
        if (got != value.substr(0, std::size_t(c.size) - 1))
            Fail("after writing '" + value + "', GetString gave '" + got + "'");
        if (c.op == kWriteDecimal) {
            const int back = text::GetInt(after, c.section, c.key, int(std::uint32_t(number) + 1));
            if (back != number) Fail("wrote " + value + ", GetInt gave " + std::to_string(back));
        }
        if (after != before) CheckOneLineWritten(before, after, c, value);
        const std::optional<std::string> again = Edit(after, c, value);
        if (again && *again != after) Fail("a second identical write changed the text: " + Show(after, *again));
        if (!line.comment) CheckListed(after, c, value);
    }

    // After a write the lists agree: the section is among the section
    // names, the key among its keys, and "key=value" among its lines. Names
    // with a NUL are left out: a NUL ends a listed name.
    void CheckListed(const std::string& after, const Call& c, const std::string& value) {
        const std::string_view s = ini::Trim(c.section), k = ini::Trim(c.key);
        for (std::string_view part : {s, k, std::string_view(value)})
            if (part.find('\0') != std::string_view::npos) return;
        auto listed = [](const Buffer& b, auto match) {
            for (std::string_view e : Split(b.text(), '\0'))
                if (match(e)) return true;
            return false;
        };
        if (!s.empty() &&
            !listed(text::GetSectionNames(after, INT_MAX), [&](std::string_view e) { return ini::SameName(e, s); }))
            Fail("written section missing from the section names");
        if (!k.empty() && !listed(text::GetStringBuffer(after, c.section, std::nullopt, "", INT_MAX),
                                  [&](std::string_view e) { return ini::SameName(e, k); }))
            Fail("written key missing from the section's keys");
        if (!listed(text::GetSection(after, c.section, INT_MAX), [&](std::string_view e) {
                return e.size() == k.size() + 1 + value.size() && ini::SameName(e.substr(0, k.size()), k) &&
                       e.substr(k.size()) == "=" + value;
            }))
            Fail("written line missing from the section's lines");
    }

    // A write changes the text after the key's '=' (or gives a key line
    // without one its '='), or adds the key's line, or appends a header and
    // the key's line; a last line without an ending may gain one. Every other
    // line keeps its bytes and its ending. New lines end as the first line
    // does (CR LF in a text without one).
    void CheckOneLineWritten(const std::string& before, const std::string& after, const Call& c,
                             const std::string& value) {
        const auto a = LinesOf(before), b = LinesOf(after);
        std::size_t pre = 0, suf = 0;
        while (pre < a.size() && pre < b.size() && a[pre] == b[pre]) ++pre;
        while (suf < a.size() - pre && suf < b.size() - pre && a[a.size() - 1 - suf] == b[b.size() - 1 - suf]) ++suf;
        const std::vector<FileLine> removed(a.begin() + long(pre), a.end() - long(suf));
        const std::vector<FileLine> added(b.begin() + long(pre), b.end() - long(suf));
        const std::string_view eol = a.empty() || a[0].ending.empty() ? std::string_view("\r\n") : a[0].ending;
        const std::string entry = std::string(ini::Trim(c.key)) + "=" + value;

        if (removed.size() == 1 && added.size() == 1 && removed[0].ending == added[0].ending &&
            added[0].text.size() > value.size()) {
            const std::size_t cut = added[0].text.size() - value.size() - 1;
            const std::string_view keyPart = added[0].text.substr(0, cut);
            if (removed[0].text.substr(0, cut) == keyPart && keyPart.find('=') == std::string_view::npos &&
                ini::SameName(ini::Trim(keyPart), ini::Trim(c.key)) && added[0].text.substr(cut) == "=" + value)
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
        if (header && (added[i].text != "[" + std::string(ini::Trim(c.section)) + "]" || added[i].ending != eol))
            return Fail("appended header is not the section's: " + Show(before, after));
        if (added.size() - i != (header ? 2u : 1u))
            return Fail("added lines are not the key's line: " + Show(before, after));
        // A new line ended by a lone CR before an LF would swallow that LF's
        // line, so it ends with CR LF there.
        const FileLine& last = added.back();
        const std::size_t next = last.begin + last.text.size() + last.ending.size();
        const bool crBeforeLf = eol == "\r" && next < after.size() && after[next] == '\n';
        if (last.text != entry || last.ending != (crBeforeLf ? std::string_view("\r\n") : eol))
            return Fail("added lines are not the key's line: " + Show(before, after));
    }

    // A deletion removes whole lines of the old text and nothing else: one
    // line of the key, or a section from its header (the lines before the
    // first header for section "") up to the next header. Checked on bytes,
    // not lines: a line ended by a lone CR before the removed lines and a
    // line starting with LF after them become one CR LF, which no removal
    // of whole lines can avoid.
    void CheckRemoval(const std::string& before, const std::string& after, const Call& c, bool section) {
        if (after == before) return;
        if (after.size() >= before.size()) return Fail("a deletion did not shrink the text: " + Show(before, after));
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
            // The block [at, at+d) must be lines n .. m-1 of the old text.
            std::size_t m = n, end = at;
            for (; m < lines.size() && end < at + d; ++m) end += lines[m].text.size() + lines[m].ending.size();
            if (end != at + d) continue;
            const ini::Parsed first = ini::Parse(lines[n].text);
            if (!section) {
                if (m == n + 1 && first.kind != ini::Kind::Header && first.kind != ini::Kind::Blank &&
                    ini::SameName(first.name, ini::Trim(c.key)))
                    return;
                continue;
            }
            bool inner = false;
            for (std::size_t k = n + 1; k < m; ++k) inner = inner || IsHeader(lines[k].text);
            const bool toNext = m == lines.size() || IsHeader(lines[m].text);
            const bool named = first.kind == ini::Kind::Header && ini::SameName(first.name, ini::Trim(c.section));
            if (!inner && toNext && (named || (n == 0 && ini::Trim(c.section).empty()))) return;
        }
        Fail(std::string(section ? "DeleteSection" : "DeleteKey") + " removed other bytes than its lines: " +
             Show(before, after));
    }

    // The file forms: a read gives what the same read gives on the text.
    void CheckFileRead(const Call& c) {
        const std::string_view s = c.section, k = c.key, d = c.value;
        bool same = true;
        switch (c.op) {
        case kGetInt: same = profile::GetInt(file_, s, k, 7) == text::GetInt(text_, s, k, 7); break;
        case kGetString:
            same = profile::GetString(file_, s, k, d, c.size) == text::GetStringBuffer(text_, s, k, d, c.size).text();
            break;
        case kSectionNames:
            same = profile::GetStringBuffer(file_, std::nullopt, std::nullopt, d, c.size).bytes ==
                   text::GetStringBuffer(text_, std::nullopt, std::nullopt, d, c.size).bytes;
            break;
        case kKeyList:
            same = profile::GetStringBuffer(file_, s, std::nullopt, d, c.size).bytes ==
                   text::GetStringBuffer(text_, s, std::nullopt, d, c.size).bytes;
            break;
        case kGetSection:
            same = profile::GetSection(file_, s, c.size).bytes == text::GetSection(text_, s, c.size).bytes;
            break;
        case kGetSectionNames:
            same = profile::GetSectionNames(file_, c.size).bytes == text::GetSectionNames(text_, c.size).bytes;
            break;
        default: break;
        }
        if (!same) Fail("a read of the file differs from the same read of its text");
    }

    // The file forms: a write to a read-only file is refused exactly when it
    // would change the file; any other write succeeds. Returns whether the
    // file took the change.
    bool WriteFile(const Call& c, std::string_view value, bool changes) {
        bool ok = false;
        if (c.op == kDeleteSection) ok = profile::DeleteSection(file_, c.section);
        else if (c.op == kDeleteKey) ok = profile::DeleteKey(file_, c.section, c.key);
        else ok = profile::WriteString(file_, c.section, c.key, value);
        if (readOnly_) {
            if (ok == changes)
                Fail(ok ? "a needed write to a read-only file reported success"
                        : "a write with nothing to do on a read-only file reported failure");
            return false;
        }
        if (!ok) Fail("a write to a writable file in a writable folder failed");
        created_ = !exists_ && changes;
        exists_ = exists_ || changes;
        return true;
    }

    // The file holds the text, and keeps its permissions (a new one has the
    // ordinary ones, which depend on the umask).
    void CheckFile() {
        struct stat st {};
        const bool exists = ::stat(file_.c_str(), &st) == 0;
        if (exists != exists_) return Fail(exists ? "a file appeared" : "the file disappeared");
        if (!exists) return;
        if (created_) mode_ = st.st_mode & 0777;
        else if ((st.st_mode & 0777) != mode_) Fail("the file's permissions changed");
        created_ = false;
        const std::string bytes = ReadAll(file_);
        if (bytes != text_) Fail("the file differs from the text: " + Show(text_, bytes));
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

    Editor edit_;
    std::vector<std::string>& problems_;
    std::string text_;
    std::string folder_, file_;  // empty for the text alone
    bool exists_ = false, readOnly_ = false, created_ = false;
    mode_t mode_ = 0644;
    std::size_t callIndex_ = 0;
};

}  // namespace

std::vector<std::string> CheckProfileText(std::string_view input, const Editor& edit) {
    std::vector<std::string> problems;
    Checker(edit, problems).Run(input);
    return problems;
}

std::vector<std::string> CheckProfileFile(std::string_view input, const std::string& folder) {
    std::vector<std::string> problems;
    Checker checker({}, problems);
    checker.UseFolder(folder);
    checker.Run(input);
    return problems;
}

}  // namespace glintbook::fuzzing
