#include "platform/windows_text.h"

#include <cerrno>
#include <windows.h>
#include <shlobj.h>

namespace glintbook::windows {

std::wstring Widen(std::string_view text) {
    if (text.empty()) return {};
    UINT page = CP_UTF8;
    int n = ::MultiByteToWideChar(page, MB_ERR_INVALID_CHARS, text.data(), int(text.size()), nullptr, 0);
    if (n == 0) {
        page = CP_ACP;
        n = ::MultiByteToWideChar(page, 0, text.data(), int(text.size()), nullptr, 0);
    }
    std::wstring out(size_t(n), L'\0');
    ::MultiByteToWideChar(page, 0, text.data(), int(text.size()), out.data(), n);
    return out;
}

std::string Narrow(std::wstring_view utf16) {
    if (utf16.empty()) return {};
    const int n = ::WideCharToMultiByte(CP_UTF8, 0, utf16.data(), int(utf16.size()), nullptr, 0, nullptr, nullptr);
    std::string out(size_t(n), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, utf16.data(), int(utf16.size()), out.data(), n, nullptr, nullptr);
    return out;
}

std::wstring WidePath(const std::string& path) {
    std::wstring wide = Widen(path);
    // CreateDirectoryW's limit is MAX_PATH less room for an 8.3 name.
    if (wide.size() < MAX_PATH - 12 || wide.starts_with(L"\\\\?\\")) return wide;
    const DWORD n = ::GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr);
    if (n == 0) return wide;
    std::wstring full(n, L'\0');
    full.resize(::GetFullPathNameW(wide.c_str(), n, full.data(), nullptr));
    if (full.starts_with(L"\\\\")) return L"\\\\?\\UNC\\" + full.substr(2);
    return L"\\\\?\\" + full;
}

int ErrnoFromWindowsError(unsigned long code) {
    switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE: return ENOENT;
    case ERROR_DIRECTORY: return ENOTDIR;
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
    case ERROR_PRIVILEGE_NOT_HELD: return EACCES;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_BUSY: return EBUSY;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL: return ENOSPC;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS: return EEXIST;
    case ERROR_TOO_MANY_OPEN_FILES: return EMFILE;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY: return ENOMEM;
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_FILENAME_EXCED_RANGE: return ENAMETOOLONG;
    case ERROR_DIR_NOT_EMPTY: return ENOTEMPTY;
    case ERROR_BAD_EXE_FORMAT:
    case ERROR_EXE_MACHINE_TYPE_MISMATCH: return ENOEXEC;
    default: return -int(code);
    }
}

std::string SystemErrorText(unsigned long code) {
    wchar_t* text = nullptr;
    const DWORD n = ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                         FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                                     nullptr, code, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::wstring wide(text ? text : L"", n);
    if (text) ::LocalFree(text);
    while (!wide.empty() && (wide.back() == L' ' || wide.back() == L'.' || wide.back() == L'\r' || wide.back() == L'\n'))
        wide.pop_back();
    return Narrow(wide);
}

std::string KnownFolder(const GUID& id) {
    PWSTR folder = nullptr;
    const bool found = SUCCEEDED(::SHGetKnownFolderPath(id, 0, nullptr, &folder));
    std::string text = found ? Narrow(folder) : std::string();
    ::CoTaskMemFree(folder);
    return text;
}

}  // namespace glintbook::windows
