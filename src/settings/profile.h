#pragma once
// A reader and writer of Windows-style settings files with the behaviour of
// the ANSI private-profile requests that the program relies on. Names and
// values are bytes (the system's ANSI code page); nothing is cached, every
// call reads the file afresh.
#include <optional>
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
// the one line in place and keeps every other byte. Returns false when the
// change could not be made (read-only file or folder), true otherwise, also
// when the key already had the value and nothing was written (the program
// never looks).
bool WriteString(const std::string& file, std::string_view section, std::string_view key,
                 std::string_view value);

// What a string request leaves in the caller's buffer of `size` characters:
// `count` is what the request returns, `bytes` every byte it stores there,
// its terminating NULs included (nothing when size is 0 or less).
struct Buffer {
    int count = 0;
    std::string bytes;
    std::string_view text() const { return std::string_view(bytes).substr(0, std::size_t(count)); }
};

// GetPrivateProfileStringA where std::nullopt stands for a NULL argument. A
// NULL section lists the section names, a NULL key the keys of the section
// (the default when it has none), each ended by a NUL; a NULL default is "".
// A list that does not fit is cut to size-2 bytes.
Buffer GetStringBuffer(const std::string& file, std::optional<std::string_view> section,
                       std::optional<std::string_view> key, std::optional<std::string_view> defaultValue,
                       int size);

// GetPrivateProfileSectionA: the section's lines as "key=value" (blank lines
// and ';' lines left out), each ended by a NUL. A list that does not fit is
// cut to size-2 bytes and ended by two NULs.
Buffer GetSection(const std::string& file, std::string_view section, int size);

// GetPrivateProfileSectionNamesA: the names of the sections with a header.
Buffer GetSectionNames(const std::string& file, int size);

// WritePrivateProfileStringA with a NULL value: removes the key's line.
bool DeleteKey(const std::string& file, std::string_view section, std::string_view key);

// WritePrivateProfileStringA with a NULL key: removes the section, from its
// header up to the next one.
bool DeleteSection(const std::string& file, std::string_view section);

// The read requests on the text of a file: a missing or unreadable file is
// the empty text.
namespace text {
int GetInt(std::string_view text, std::string_view section, std::string_view key, int defaultValue);
Buffer GetStringBuffer(std::string_view text, std::optional<std::string_view> section,
                       std::optional<std::string_view> key, std::optional<std::string_view> defaultValue,
                       int size);
Buffer GetSection(std::string_view text, std::string_view section, int size);
Buffer GetSectionNames(std::string_view text, int size);
}  // namespace text

}  // namespace glintbook::profile
