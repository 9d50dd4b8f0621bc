#pragma once
// Line-level views of settings files for the tests: splitting with the line
// endings kept, and which lines a write removed or added.
#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>
#include <vector>

namespace glintbook::test {

struct TextLine {
    std::string text;
    std::string ending;  // "", "\n", "\r\n" or "\r"
};

inline std::vector<TextLine> SplitLines(std::string_view s) {
    std::vector<TextLine> out;
    std::size_t pos = 0;
    while (pos < s.size()) {
        const std::size_t e = std::min(s.find_first_of("\r\n", pos), s.size());
        std::size_t next = e == s.size() ? e : e + 1;
        if (e < s.size() && s[e] == '\r' && next < s.size() && s[next] == '\n') ++next;
        out.push_back({std::string(s.substr(pos, e - pos)), std::string(s.substr(e, next - e))});
        pos = next;
    }
    return out;
}


inline std::string Trimmed(std::string_view s) {
    const auto b = s.find_first_not_of(" \t");
    if (b == std::string_view::npos) return "";
    return std::string(s.substr(b, s.find_last_not_of(" \t") - b + 1));
}

inline std::string Lower(std::string s) {
    for (char& c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// A line as the README describes the format: header name (is_header), or the
// key before the first '=' (or the whole trimmed text), lower-cased.
struct LineName {
    bool is_header = false;
    std::string name;
};
inline LineName NameOf(std::string_view line) {
    const std::string t = Trimmed(line);
    const auto close = t.rfind(']');
    if (!t.empty() && t[0] == '[' && close != std::string::npos) return {true, Lower(Trimmed(t.substr(1, close - 1)))};
    return {false, Lower(Trimmed(t.substr(0, t.find('='))))};
}

// Lines of `before` that `after` no longer has and lines `after` has that
// `before` had not (indices), by a longest-common-subsequence diff of the
// texts. Line endings of kept lines must not change, except that a last line
// without one may gain one; `endings_kept` says whether that holds.
struct LineDiff {
    std::vector<std::size_t> removed, added;
    bool endings_kept = true;
};
inline LineDiff DiffLines(const std::vector<TextLine>& a, const std::vector<TextLine>& b) {
    LineDiff d;
    std::size_t pre = 0;
    while (pre < a.size() && pre < b.size() && a[pre].text == b[pre].text) ++pre;
    std::size_t suf = 0;
    while (suf < a.size() - pre && suf < b.size() - pre && a[a.size() - 1 - suf].text == b[b.size() - 1 - suf].text)
        ++suf;
    const std::size_t n = a.size() - pre - suf, m = b.size() - pre - suf;
    std::vector<std::vector<int>> lcs(n + 1, std::vector<int>(m + 1, 0));
    for (std::size_t i = n; i-- > 0;)
        for (std::size_t j = m; j-- > 0;)
            lcs[i][j] = a[pre + i].text == b[pre + j].text ? lcs[i + 1][j + 1] + 1 : std::max(lcs[i + 1][j], lcs[i][j + 1]);
    auto kept = [&](std::size_t i, std::size_t j) {
        if (a[i].ending != b[j].ending && !(i + 1 == a.size() && a[i].ending.empty())) d.endings_kept = false;
    };
    for (std::size_t k = 0; k < pre; ++k) kept(k, k);
    std::size_t i = 0, j = 0;
    while (i < n || j < m) {
        if (i < n && j < m && a[pre + i].text == b[pre + j].text) {
            kept(pre + i++, pre + j++);
        } else if (j < m && (i == n || lcs[i][j + 1] >= lcs[i + 1][j])) {
            d.added.push_back(pre + j++);
        } else {
            d.removed.push_back(pre + i++);
        }
    }
    for (std::size_t k = 0; k < suf; ++k) kept(a.size() - suf + k, b.size() - suf + k);
    return d;
}

}  // namespace glintbook::test
