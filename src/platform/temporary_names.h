#pragma once
// How the file layer names the temporary file of a write, on every platform:
// "." + up to 40 bytes of the target's name + ".tmp-" + six letters or digits.
// Short, so that a target whose name is near the length limit still gets one;
// named after the target, so that a leftover is recognisable.
#include <string>
#include <string_view>

namespace glintbook::files {

inline constexpr std::size_t kTempNameBytes = 40;
inline constexpr std::string_view kTempMark = ".tmp-";
inline constexpr std::size_t kTempRandomChars = 6;

// The name without its six random characters.
inline std::string TemporaryPrefix(std::string_view targetName) {
    return "." + std::string(targetName.substr(0, kTempNameBytes)) + std::string(kTempMark);
}

inline bool IsTemporaryName(std::string_view name) {
    if (name.size() < 2 + kTempMark.size() + kTempRandomChars || name[0] != '.') return false;
    const std::size_t mark = name.size() - kTempRandomChars - kTempMark.size();
    if (mark - 1 > kTempNameBytes || name.substr(mark, kTempMark.size()) != kTempMark) return false;
    for (char c : name.substr(name.size() - kTempRandomChars))
        if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))) return false;
    return true;
}

}  // namespace glintbook::files
