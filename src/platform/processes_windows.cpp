#include "processes.h"

#include "failure.h"
#include "files.h"
#include "platform/windows_text.h"

#include <cerrno>
#include <windows.h>
#include <tlhelp32.h>

namespace glintbook::processes {

namespace {

// The handle closed however the scope is left.
struct Handle {
    HANDLE h;
    ~Handle() {
        if (h != INVALID_HANDLE_VALUE && h != nullptr) ::CloseHandle(h);
    }
};

bool IsAbsolute(const std::string& path) {
    return (path.size() > 2 && path[1] == ':' && (path[2] == '\\' || path[2] == '/')) || path.starts_with("\\\\");
}

}  // namespace

std::optional<std::vector<std::string>> ExecutableNames() {
    const Handle snapshot{::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)};
    if (snapshot.h == INVALID_HANDLE_VALUE) return std::nullopt;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    std::vector<std::string> names;
    for (BOOL more = ::Process32FirstW(snapshot.h, &entry); more; more = ::Process32NextW(snapshot.h, &entry))
        names.push_back(windows::Narrow(entry.szExeFile));
    // The list ends with "no more files"; anything else cut it short.
    if (::GetLastError() != ERROR_NO_MORE_FILES) return std::nullopt;
    return names;
}

void StartProgram(const std::string& path, const std::string& workingDirectory) {
    const std::string program = IsAbsolute(path) ? path : files::CurrentDirectory() + "\\" + path;
    const std::wstring application = windows::Widen(program);
    std::wstring commandLine = L"\"" + application + L"\"";
    const std::wstring folder = windows::Widen(workingDirectory);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    // Detached: a console program gets no console of ours, and nothing of
    // ours is inherited; it runs on after we end.
    if (!::CreateProcessW(application.c_str(), commandLine.data(), nullptr, nullptr, FALSE,
                          DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP, nullptr, folder.c_str(), &startup, &started)) {
        const DWORD code = ::GetLastError();
        if (code == ERROR_DIRECTORY) throw Failure(ErrPathNotFound, "Path not found: " + workingDirectory);
        const int err = windows::ErrnoFromWindowsError(code);
        if (err == ENOEXEC)
            throw Failure(ErrBadCall, "Invalid procedure call or argument: " + path +
                                          " is not a program this system can run");
        throw FailureFromErrno(err, path);
    }
    ::CloseHandle(started.hThread);
    ::CloseHandle(started.hProcess);
}

}  // namespace glintbook::processes
