#include "platform/command_line.h"

#include "platform/windows_text.h"

#include <io.h>
#include <windows.h>
#include <shellapi.h>

namespace glintbook::command_line {

std::vector<std::string> Arguments(int argc, char** argv) {
    int n = 0;
    LPWSTR* wide = ::CommandLineToArgvW(::GetCommandLineW(), &n);
    if (!wide) return {argv + (argc > 0), argv + argc};
    std::vector<std::string> out;
    for (int i = 1; i < n; ++i) out.push_back(windows::Narrow(wide[i]));
    ::LocalFree(wide);
    return out;
}

void Write(std::FILE* stream, std::string_view text) {
    std::fflush(stream);
    const HANDLE handle = reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(stream)));
    DWORD mode = 0;
    if (handle != INVALID_HANDLE_VALUE && ::GetConsoleMode(handle, &mode)) {
        const std::wstring wide = windows::Widen(text);
        DWORD written = 0;
        ::WriteConsoleW(handle, wide.data(), DWORD(wide.size()), &written, nullptr);
        return;
    }
    std::fwrite(text.data(), 1, text.size(), stream);
}

std::string ProgramFolder() {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD n = ::GetModuleFileNameW(nullptr, path.data(), DWORD(path.size()));
        if (n == 0) return {};
        if (n < path.size()) {
            path.resize(n);
            break;
        }
        path.resize(path.size() * 2);  // cut short: a longer path than MAX_PATH
    }
    return windows::Narrow(path.substr(0, path.find_last_of(L"\\/")));
}

}  // namespace glintbook::command_line
