#pragma once
// A reader and writer of Windows-style settings files with the behaviour of
// the ANSI private-profile requests that the program relies on. Names and
// values are bytes (the system's ANSI code page); nothing is cached, every
// call reads the file afresh.
#include <string>
#include <string_view>

namespace glintbook::profile {

// Like GetPrivateProfileIntA, but the result is read as a signed 32-bit number.
int GetInt(const std::string& file, std::string_view section, std::string_view key, int defaultValue);

// Like GetPrivateProfileStringA with a section and a key: the text the request
// copies into a buffer of `size` characters (its length is the count the
// request returns).
std::string GetString(const std::string& file, std::string_view section, std::string_view key,
                      std::string_view defaultValue, int size);

// Like WritePrivateProfileStringA with a section, a key and a value: changes
// the one line in place and keeps every other byte. Returns whether the file
// was written (the program never looks).
bool WriteString(const std::string& file, std::string_view section, std::string_view key,
                 std::string_view value);

}  // namespace glintbook::profile
