#include "instance.h"

#include <cwchar>
#include <windows.h>

namespace glintbook::instance {

namespace {

// The folder's identity, its volume and file index, so that every path to it
// (a drive letter, a network name, a short name) finds the same claim.
bool FolderIdentity(BY_HANDLE_FILE_INFORMATION& info) {
    const HANDLE folder = ::CreateFileW(L".", 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                       OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (folder == INVALID_HANDLE_VALUE) return false;
    const bool known = ::GetFileInformationByHandle(folder, &info);
    ::CloseHandle(folder);
    return known;
}

// What the holder publishes: its window, once it has one.
struct Published {
    volatile LONG64 window;
};

}  // namespace

FolderClaim::FolderClaim() {
    BY_HANDLE_FILE_INFORMATION info{};
    if (!FolderIdentity(info)) return;
    wchar_t name[64];
    std::swprintf(name, 64, L"Local\\Glintbook.Folder.%08lx.%08lx%08lx", info.dwVolumeSerialNumber,
                  info.nFileIndexHigh, info.nFileIndexLow);
    // The named mapping is the claim: it lives while a process holds it.
    // Not inherited: the game started from the window must not keep it.
    const HANDLE mapping = ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Published), name);
    if (!mapping) return;
    const bool taken = ::GetLastError() == ERROR_ALREADY_EXISTS;
    view_ = ::MapViewOfFile(mapping, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, sizeof(Published));
    handle_ = mapping;
    if (view_) state_ = taken ? State::Taken : State::Held;
}

FolderClaim::~FolderClaim() {
    if (view_) ::UnmapViewOfFile(view_);
    if (handle_) ::CloseHandle(handle_);
}

void FolderClaim::Publish(void* window) {
    if (state_ == State::Held) ::InterlockedExchange64(&static_cast<Published*>(view_)->window, LONG64(window));
}

bool FolderClaim::CallHolder() const {
    if (state_ != State::Taken) return false;
    const HWND window = HWND(::InterlockedCompareExchange64(&static_cast<Published*>(view_)->window, 0, 0));
    if (!window || !::IsWindow(window)) return false;  // its window is not made yet, or it has just ended
    // Started by the player, this process may take the foreground; it lends
    // that right to the holder, which then brings its own window forward.
    DWORD holder = 0;
    ::GetWindowThreadProcessId(window, &holder);
    ::AllowSetForegroundWindow(holder);
    return ::PostMessageW(window, ::RegisterWindowMessageW(kComeForward), 0, 0);
}

}  // namespace glintbook::instance
