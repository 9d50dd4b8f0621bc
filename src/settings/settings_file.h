#pragma once
// The program's access to Morrowind.ini. SettingsFile() is formed from the
// current directory at every access and no value is remembered: the game
// writes the same file while it runs.
#include <string>
#include <string_view>

namespace glintbook {

// The current directory followed by "\Morrowind.ini".
std::string SettingsFile();

// Whole-number read with the default 0 (a signed 32-bit result).
int ReadSettingInt(std::string_view section, std::string_view key);

// Text read into a 256-character buffer with the default "": at most 255
// characters come back.
std::string ReadSettingText(std::string_view section, std::string_view key);

// Sets one key, creating the file, section or key when missing and keeping
// every other line. A write that cannot be made changes nothing and is not
// reported.
void WriteSetting(std::string_view section, std::string_view key, std::string_view value);

}  // namespace glintbook
