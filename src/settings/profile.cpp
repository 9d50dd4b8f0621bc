#include "settings/profile.h"

#include "platform/files.h"
#include "settings/ini_text.h"

#include <new>

namespace glintbook::profile {

namespace {

using namespace ini;

constexpr int kEditRounds = 5;

// The file's text, or nullopt when it exists but cannot be read. Only
// regular files are opened: reading a pipe or a device could block.
std::optional<std::string> Load(const std::string& file, bool& exists) {
    const files::PathKind kind = files::KindOfPath(file);
    exists = kind != files::PathKind::Missing;
    if (kind == files::PathKind::Missing) return std::string();
    if (kind == files::PathKind::Other) return std::nullopt;
    try {
        return files::TryReadFile(file);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

// Reads see a file that is missing or unreadable as empty: every read then
// gives its default.
std::string TextOf(const std::string& file) {
    bool exists = false;
    return Load(file, exists).value_or(std::string());
}

bool Write(const std::string& file, std::string_view section, std::optional<std::string_view> key,
           std::optional<std::string_view> value) {
    try {
        // The game rewrites the whole file while it runs (a screenshot raises
        // its index): a replace made from older text would bring its old
        // lines back, so a file changed since it was read is edited anew. A
        // writer that never stops wins after a few rounds; ours then fails.
        for (int round = 0; round < kEditRounds; ++round) {
            bool exists = false;
            const std::optional<std::string> text = Load(file, exists);
            // An existing file that cannot be read is never replaced: its
            // other lines would be lost.
            if (!text) return false;
            const std::optional<std::string> edited = Edit(*text, section, key, value);
            if (!edited || *edited == *text) return true;
            if (exists && files::IsReadOnly(file)) return false;
            const files::Replace done = files::TryReplaceUnchanged(file, *edited, exists ? text : std::nullopt);
            if (done != files::Replace::Changed) return done == files::Replace::Done;
        }
        return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// A single string copied into the buffer: cut to size-1 bytes, one NUL.
Buffer Copy(std::string_view s, int size) {
    Buffer b;
    if (size <= 0) return b;
    const std::size_t n = std::min(s.size(), std::size_t(size) - 1);
    b.count = int(n);
    b.bytes.assign(s.substr(0, n)).push_back('\0');
    return b;
}

// A list of NUL-ended strings (`all`) copied into the buffer with its final
// NUL. One that does not fit is cut to size-2 bytes and followed by one NUL,
// or two for a section's lines, as the recorded requests do.
Buffer CopyList(std::string_view all, int size, int endNuls) {
    Buffer b;
    if (size <= 0) return b;
    if (all.size() < std::size_t(size)) {
        b.count = int(all.size());
        b.bytes.assign(all).push_back('\0');
    } else if (size == 1) {
        b.bytes.assign(1, '\0');
    } else {
        b.count = size - 2;
        b.bytes.assign(all.substr(0, std::size_t(b.count))).append(std::size_t(endNuls), '\0');
        b.bytes.resize(std::min(b.bytes.size(), std::size_t(size)));
    }
    return b;
}

// The default as the requests use it: trailing spaces (not tabs) removed,
// then one pair of outer quotes.
std::string_view DefaultText(std::optional<std::string_view> d) {
    std::string_view s = d.value_or(std::string_view());
    while (!s.empty() && s.back() == ' ') s.remove_suffix(1);
    return Unquote(s);
}

std::string SectionNames(std::string_view text) {
    std::string all;
    Lines lines(text);
    Line line;
    while (lines.Next(line)) {
        const Parsed p = Parse(text.substr(line.begin, line.end - line.begin));
        // Section "" cannot be listed: its empty name would end the list.
        if (p.kind == Kind::Header && !p.name.empty()) all.append(p.name).push_back('\0');
    }
    return all;
}

// The section's listed lines: every line but blank ones, ';' lines and
// (for key lists) lines without '='.
std::string SectionLines(std::string_view text, std::string_view sectionName, bool keysOnly) {
    std::string all;
    const Section s = FindSection(text, sectionName);
    if (!s.found) return all;
    Lines lines(text, s.bodyBegin);
    Line line;
    while (lines.Next(line) && line.begin < s.end) {
        const Parsed p = Parse(text.substr(line.begin, line.end - line.begin));
        if (p.kind == Kind::Blank || p.comment) continue;
        if (p.kind == Kind::Entry) {
            all.append(p.name);
            if (!keysOnly) all.append("=").append(p.value);
        } else if (keysOnly) {
            continue;
        } else {
            all.append(p.name);
        }
        all.push_back('\0');
    }
    return all;
}

// The value of a key with a '=' line; nullopt for a missing key or a line
// without '='.
std::optional<std::string_view> ValueOf(std::string_view text, std::string_view section, std::string_view key) {
    const Section s = FindSection(text, section);
    if (!s.found) return std::nullopt;
    const KeyLine k = FindKey(text, s, key);
    if (!k.line || k.parsed.kind != Kind::Entry) return std::nullopt;
    return Unquote(k.parsed.value);
}

}  // namespace

namespace text {

int GetInt(std::string_view text, std::string_view section, std::string_view key, int defaultValue) {
    const std::optional<std::string_view> value = ValueOf(text, section, key);
    if (!value || value->empty()) return defaultValue;
    return static_cast<int>(ToNumber(*value));
}

Buffer GetStringBuffer(std::string_view text, std::optional<std::string_view> section,
                       std::optional<std::string_view> key, std::optional<std::string_view> defaultValue,
                       int size) {
    if (!section) return CopyList(SectionNames(text), size, 1);
    if (!key) {
        const std::string keys = SectionLines(text, *section, true);
        if (keys.empty()) return Copy(DefaultText(defaultValue), size);
        return CopyList(keys, size, 1);
    }
    const std::optional<std::string_view> value = ValueOf(text, *section, *key);
    return Copy(value ? *value : DefaultText(defaultValue), size);
}

Buffer GetSection(std::string_view text, std::string_view section, int size) {
    return CopyList(SectionLines(text, section, false), size, 2);
}

Buffer GetSectionNames(std::string_view text, int size) { return CopyList(SectionNames(text), size, 1); }

}  // namespace text

int GetInt(const std::string& file, std::string_view section, std::string_view key, int defaultValue) {
    return text::GetInt(TextOf(file), section, key, defaultValue);
}

std::string GetString(const std::string& file, std::string_view section, std::string_view key,
                      std::string_view defaultValue, int size) {
    return std::string(GetStringBuffer(file, section, key, defaultValue, size).text());
}

Buffer GetStringBuffer(const std::string& file, std::optional<std::string_view> section,
                       std::optional<std::string_view> key, std::optional<std::string_view> defaultValue,
                       int size) {
    return text::GetStringBuffer(TextOf(file), section, key, defaultValue, size);
}

Buffer GetSection(const std::string& file, std::string_view section, int size) {
    return text::GetSection(TextOf(file), section, size);
}

Buffer GetSectionNames(const std::string& file, int size) { return text::GetSectionNames(TextOf(file), size); }

bool WriteString(const std::string& file, std::string_view section, std::string_view key,
                 std::string_view value) {
    return Write(file, section, key, value);
}

bool DeleteKey(const std::string& file, std::string_view section, std::string_view key) {
    return Write(file, section, key, std::nullopt);
}

bool DeleteSection(const std::string& file, std::string_view section) {
    return Write(file, section, std::nullopt, std::nullopt);
}

}  // namespace glintbook::profile
