#pragma once
// What the Windows side of the platform layer shares: text between the
// program's UTF-8 and the system's UTF-16, paths for the wide calls, and the
// system's error codes read as the errno values of the same meaning, so that
// a failure has the same number on every platform.
#include <string>
#include <string_view>

struct _GUID;  // the system's GUID

namespace glintbook::windows {

// Bytes that are not UTF-8 are read in the ANSI code page, as the game
// writes the names in its settings file ("Screen Shot Base Name").
std::wstring Widen(std::string_view text);
std::string Narrow(std::wstring_view utf16);

// `path` for the wide file calls. A long one (near MAX_PATH) is made absolute
// with the \\?\ prefix, which lifts the limit to the file system's own.
std::wstring WidePath(const std::string& path);

// The errno value of the same meaning; a code without one comes back as
// itself, negated, which FailureFromErrno shows with the system's own text.
int ErrnoFromWindowsError(unsigned long code);

// The system's own text for an error code, without its closing full stop;
// empty when it has none.
std::string SystemErrorText(unsigned long code);

// One of the user's folders (FOLDERID_Documents, FOLDERID_LocalAppData ...),
// in UTF-8; empty when the system has none.
std::string KnownFolder(const ::_GUID& id);

}  // namespace glintbook::windows
