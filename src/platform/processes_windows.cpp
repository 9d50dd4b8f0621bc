#include "processes.h"

#include "failure.h"
#include "fault_hook.h"
#include "files.h"
#include "platform/windows_text.h"

#include <cerrno>
#include <string_view>
#include <windows.h>
#include <objbase.h>
#include <shellapi.h>
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

// The system's code for a program that must run as administrator; mingw's
// headers do not name it.
constexpr DWORD kElevationRequired = 740;

// The hook's code for a step of this file, or 0: here tests inject the
// system's error codes, not errno values.
DWORD InjectedCode(std::string_view step, const std::string& path) { return DWORD(files::Injected(step, path)); }

// The snapshot's next entry. Tests inject the system's code of a failing
// request at the step "next".
BOOL NextEntry(HANDLE snapshot, PROCESSENTRY32W& entry) {
    if (const DWORD code = InjectedCode("next", {})) {
        ::SetLastError(code);
        return FALSE;
    }
    return ::Process32NextW(snapshot, &entry);
}

}  // namespace

std::optional<std::vector<std::string>> ExecutableNames() {
    const Handle snapshot{::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)};
    if (snapshot.h == INVALID_HANDLE_VALUE) return std::nullopt;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    std::vector<std::string> names;
    // A request that fails ends the walk as the list's end does: what was
    // listed so far is the list.
    for (BOOL more = ::Process32FirstW(snapshot.h, &entry); more; more = NextEntry(snapshot.h, entry))
        names.push_back(windows::Narrow(entry.szExeFile));
    return names;
}

namespace {

// Starts the program through the shell, which asks the player to let it run
// as administrator. Returns 0 or the system's error code.
DWORD StartThroughShell(const std::string& path, const std::wstring& application, const std::wstring& folder) {
    if (const DWORD code = InjectedCode("shell", path)) return code;
    // The shell may hand the start to extensions, which want COM.
    const HRESULT com = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
    SHELLEXECUTEINFOW request{};
    request.cbSize = sizeof request;
    request.fMask = SEE_MASK_NOASYNC | SEE_MASK_FLAG_NO_UI | SEE_MASK_NO_CONSOLE;  // ours is not its console
    request.lpVerb = L"open";
    request.lpFile = application.c_str();
    request.lpDirectory = folder.c_str();
    request.nShow = SW_SHOWNORMAL;
    const DWORD code = ::ShellExecuteExW(&request) ? 0 : ::GetLastError();
    if (SUCCEEDED(com)) ::CoUninitialize();
    return code;
}

}  // namespace

bool StartProgram(const std::string& path, const std::string& workingDirectory, const std::vector<std::string>& arguments) {
    const std::string program = IsAbsolute(path) ? path : files::CurrentDirectory() + "\\" + path;
    const std::wstring application = windows::Widen(program);
    std::wstring commandLine = L"\"" + application + L"\"";
    for (const std::string& a : arguments) commandLine += L" \"" + windows::Widen(a) + L"\"";  // none holds a quote
    const std::wstring folder = windows::Widen(workingDirectory);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    // Detached: a console program gets no console of ours, and nothing of
    // ours is inherited; it runs on after we end.
    DWORD code = InjectedCode("start", path);
    if (!code && !::CreateProcessW(application.c_str(), commandLine.data(), nullptr, nullptr, FALSE,
                                   DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP, nullptr, folder.c_str(), &startup,
                                   &started))
        code = ::GetLastError();
    if (!code) {
        ::CloseHandle(started.hThread);
        ::CloseHandle(started.hProcess);
        return true;
    }
    // A game marked "Run as administrator" (or asking for it in its
    // manifest) cannot be started by us directly; the shell asks the player.
    if (code == kElevationRequired) code = StartThroughShell(path, application, folder);
    if (code == 0) return true;
    if (code == ERROR_CANCELLED) return false;
    if (code == ERROR_DIRECTORY) throw Failure(ErrPathNotFound, "Path not found: " + workingDirectory);
    const int err = windows::ErrnoFromWindowsError(code);
    if (err == ENOEXEC)
        throw Failure(ErrBadCall, "Invalid procedure call or argument: " + path + " is not a program this system can run");
    throw FailureFromErrno(err, path);
}

}  // namespace glintbook::processes
