#include "files.h"

#include "failure.h"
#include "fault_hook.h"
#include "temporary_names.h"
#include "platform/windows_text.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <vector>
#include <windows.h>

// windows.h names its ANSI/wide pairs by macros that would rename ours.
#undef CopyFile
#undef DeleteFile

namespace glintbook::files {

namespace {

using windows::WidePath;

DWORD Attributes(const std::string& path) { return ::GetFileAttributesW(WidePath(path).c_str()); }

bool IsFolder(DWORD attributes) {
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

std::string Directory(const std::string& path) {
    const auto slash = path.find_last_of("/\\");
    if (slash == std::string::npos) return ".";
    if (slash == 0 || (slash == 2 && path[1] == ':')) return path.substr(0, slash + 1);  // a root
    return path.substr(0, slash);
}

std::string FileName(const std::string& path) {
    const auto slash = path.find_last_of("/\\");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The errno of the call on `path` that just failed. A folder where a file was
// expected is refused as "access denied" by Windows; it is the folder's fault.
// A name longer than any Windows file system allows (255) is a bad name, as
// Windows says; Wine says "not found".
int LastErrno(const std::string& path) {
    const DWORD code = ::GetLastError();
    if (code == ERROR_ACCESS_DENIED && IsFolder(Attributes(path))) return EISDIR;
    if ((code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND) && windows::Widen(FileName(path)).size() > 255)
        return ENAMETOOLONG;
    return windows::ErrnoFromWindowsError(code);
}

// Whether a failed call may succeed a moment later: antivirus scanners, the
// search indexer and backup or sync tools open a freshly written file for a
// moment, and a file being deleted refuses access until its last handle goes.
bool Transient(DWORD code) {
    return code == ERROR_SHARING_VIOLATION || code == ERROR_LOCK_VIOLATION || code == ERROR_ACCESS_DENIED;
}

// Runs `call` (true on success, the error in GetLastError otherwise) again
// while it fails for a reason that passes, for about two seconds in all,
// waiting longer each time. The last error stays for the caller.
template <typename Call>
bool Retrying(Call call) {
    DWORD waited = 0;
    for (DWORD wait = 10;; wait = std::min<DWORD>(wait * 2, 400)) {
        if (call()) return true;
        const DWORD code = ::GetLastError();
        if (!Transient(code) || waited >= 2000) return false;
        ::Sleep(wait);
        waited += wait;
        ::SetLastError(code);
    }
}

// The errno of a call on a folder that just failed: there "access denied"
// is what it says, the folder's permissions.
int LastFolderErrno() { return windows::ErrnoFromWindowsError(::GetLastError()); }

// Asks the hook at `step`. A negative answer is a system error code, which
// the call at that step is made to fail with, so that it is read as a real
// one would be; an errno value is the failure itself.
int Hook(std::string_view step, const std::string& path) {
    const int e = Injected(step, path);
    if (e < 0) ::SetLastError(DWORD(-e));
    return e;
}

// A fresh file named `prefix` and six letters: CREATE_NEW never opens a file
// that is already there, so two writers never share one.
HANDLE CreateTemporary(const std::string& prefix, std::string& name) {
    static std::atomic<unsigned> counter{0};
    unsigned seed = unsigned(::GetCurrentProcessId()) * 2654435761u ^ unsigned(::GetTickCount64());
    for (int attempt = 0; attempt < 100; ++attempt) {
        unsigned v = (seed += ++counter * 40503u) * 2246822519u;
        name = prefix;
        for (int i = 0; i < 6; ++i, v /= 36) name.push_back("abcdefghijklmnopqrstuvwxyz0123456789"[v % 36]);
        HANDLE h = INVALID_HANDLE_VALUE;
        Retrying([&] {
            h = ::CreateFileW(WidePath(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                              nullptr);
            return h != INVALID_HANDLE_VALUE;
        });
        if (h != INVALID_HANDLE_VALUE || ::GetLastError() != ERROR_FILE_EXISTS) return h;
    }
    ::SetLastError(ERROR_FILE_EXISTS);
    return INVALID_HANDLE_VALUE;
}

// What WriteAtomic returns when `unchanged` said the target changed.
constexpr int kTargetChanged = -1;

// Writes bytes to a fresh temporary beside `path` and moves it into place,
// unless unchanged(path), when given, says the target changed meanwhile.
// Returns 0, kTargetChanged or the errno of the step that failed; never
// leaves the temporary.
int WriteAtomic(const std::string& path, std::string_view bytes,
                const std::function<bool(const std::string&)>& unchanged = {}) {
    // Named after the target so a leftover is recognisable, but short, so
    // that a target whose name is near the length limit still gets one.
    std::string folder = Directory(path);
    if (folder.back() != '\\' && folder.back() != '/') folder.push_back('\\');
    const int hooked = Hook("open", path);
    if (hooked > 0) return hooked;
    std::string tmp;
    HANDLE h = hooked < 0 ? INVALID_HANDLE_VALUE : CreateTemporary(folder + TemporaryPrefix(FileName(path)), tmp);
    if (h == INVALID_HANDLE_VALUE) return LastFolderErrno();
    const std::wstring wideTmp = WidePath(tmp);
    auto fail = [&](int err) {
        if (h != INVALID_HANDLE_VALUE) ::CloseHandle(h);
        Retrying([&] { return ::DeleteFileW(wideTmp.c_str()); });
        return err;
    };

    size_t done = 0;
    while (done < bytes.size()) {
        if (int e = Injected("write", path)) return fail(e);
        const DWORD chunk = DWORD(std::min<size_t>(bytes.size() - done, size_t(1) << 20));
        DWORD written = 0;
        if (!::WriteFile(h, bytes.data() + done, chunk, &written, nullptr)) return fail(LastErrno(tmp));
        done += written;
    }
    if (int e = Injected("sync", path)) return fail(e);
    if (!::FlushFileBuffers(h)) return fail(LastErrno(tmp));
    const bool closed = ::CloseHandle(h);
    h = INVALID_HANDLE_VALUE;
    if (!closed) return fail(LastErrno(tmp));
    if (int e = Injected("rename", path)) return fail(e);
    if (unchanged && !unchanged(path)) return fail(kTargetChanged);

    // Windows refuses to replace a read-only file (Wine does not: asked here
    // so that both behave as Windows does) and a folder; the attributes of a
    // replaced file are kept, as its permission bits are elsewhere.
    const DWORD old = Attributes(path);
    if (old != INVALID_FILE_ATTRIBUTES) {
        if (old & FILE_ATTRIBUTE_DIRECTORY) return fail(EISDIR);
        if (old & FILE_ATTRIBUTE_READONLY) return fail(EACCES);
        ::SetFileAttributesW(wideTmp.c_str(), old & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                                     FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED));
    }
    // A rename, not ReplaceFileW: that one moves the old file aside first
    // (Wine through a file of its own, Windows leaves it gone when the
    // second move fails), so a kill between its steps leaves no file at all.
    const std::wstring target = WidePath(path);
    if (!Retrying([&] {
            return ::MoveFileExW(wideTmp.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
        }))
        return fail(LastErrno(path));
    return 0;
}

// Reads the whole file; returns 0 or the errno of the step that failed.
int ReadAll(const std::string& path, std::string& data) {
    const DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    HANDLE h = ::CreateFileW(WidePath(path).c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                             nullptr);
    if (h == INVALID_HANDLE_VALUE) return LastErrno(path);
    // The file's size from the open handle, read straight into a buffer of
    // that size, then one byte probed past it (see files_posix.cpp); a file
    // that grows meanwhile is read on to its new end.
    LARGE_INTEGER size{};
    if (::GetFileSizeEx(h, &size) && size.QuadPart > 0) data.resize(size_t(size.QuadPart));
    size_t done = 0;
    int err = 0;
    while (true) {
        char probe;
        const bool full = done == data.size();
        const DWORD want = full ? 1 : DWORD(std::min<size_t>(data.size() - done, DWORD(1) << 30));
        DWORD n = 0;
        if (!::ReadFile(h, full ? &probe : data.data() + done, want, &n, nullptr)) {
            err = LastErrno(path);
            break;
        }
        if (n == 0) break;
        if (full) {
            data.resize(done + (size_t(1) << 16));
            data[done] = probe;
        }
        done += n;
    }
    ::CloseHandle(h);
    data.resize(done);
    return err;
}

// Writing into, or making a folder in, a folder that is not there: the
// path, not the file, is what is missing.
Failure MissingPathFailure(int err, const std::string& path) {
    if (err == ENOENT) return Failure(ErrPathNotFound, "Path not found: " + path);
    return FailureFromErrno(err, path);
}

}  // namespace

std::string CurrentDirectory() {
    const DWORD n = ::GetCurrentDirectoryW(0, nullptr);
    if (n == 0) return {};
    std::wstring buf(n, L'\0');
    buf.resize(::GetCurrentDirectoryW(n, buf.data()));
    return windows::Narrow(buf);
}

std::string GamePath(std::string_view relative) {
    // A current directory that cannot be named stays "." (see files_posix.cpp).
    std::string path = CurrentDirectory();
    if (path.empty()) path.push_back('.');
    path.append(relative);
    return path;
}

bool FileExists(const std::string& path) {
    const DWORD a = Attributes(path);
    return a != INVALID_FILE_ATTRIBUTES && !(a & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE));
}

bool FolderExists(const std::string& path) { return IsFolder(Attributes(path)); }

PathKind KindOfPath(const std::string& path) {
    const DWORD a = Attributes(path);
    if (a == INVALID_FILE_ATTRIBUTES) {
        const DWORD code = ::GetLastError();
        return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND ? PathKind::Missing : PathKind::Other;
    }
    return a & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE) ? PathKind::Other : PathKind::File;
}

bool IsReadOnly(const std::string& path) {
    const DWORD a = Attributes(path);
    return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_READONLY);
}

std::optional<std::string> TryReadFile(const std::string& path) {
    if (Injected("read", path)) return std::nullopt;
    std::string data;
    if (ReadAll(path, data) != 0) return std::nullopt;
    return data;
}

std::string ReadFile(const std::string& path) {
    if (int e = Injected("read", path)) throw FailureFromErrno(e, path);
    std::string data;
    if (int e = ReadAll(path, data)) throw FailureFromErrno(e, path);
    return data;
}

FileReader::FileReader(const std::string& path) : path_(path) {
    if (int e = Injected("read", path)) throw FailureFromErrno(e, path);
    const DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    HANDLE h = ::CreateFileW(WidePath(path).c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING,
                             FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (h == INVALID_HANDLE_VALUE) throw FailureFromErrno(LastErrno(path), path);
    LARGE_INTEGER size{};
    if (!::GetFileSizeEx(h, &size)) {
        const int err = LastErrno(path);
        ::CloseHandle(h);
        throw FailureFromErrno(err, path);
    }
    handle_ = reinterpret_cast<std::intptr_t>(h);
    size_ = std::uint64_t(size.QuadPart);
}

FileReader::~FileReader() { ::CloseHandle(reinterpret_cast<HANDLE>(handle_)); }

size_t FileReader::ReadAt(std::uint64_t offset, void* out, size_t count) const {
    // Each read names its own offset, so reads from several threads through
    // the one handle do not disturb each other.
    size_t done = 0;
    while (done < count) {
        OVERLAPPED at{};
        at.Offset = DWORD((offset + done) & 0xFFFFFFFFu);
        at.OffsetHigh = DWORD((offset + done) >> 32);
        DWORD n = 0;
        const DWORD want = DWORD(std::min<size_t>(count - done, DWORD(1) << 30));
        if (!::ReadFile(reinterpret_cast<HANDLE>(handle_), static_cast<char*>(out) + done, want, &n, &at)) {
            if (::GetLastError() == ERROR_HANDLE_EOF) break;
            throw FailureFromErrno(LastErrno(path_), path_);
        }
        if (n == 0) break;
        done += n;
    }
    return done;
}

void WriteFileAtomic(const std::string& path, std::string_view bytes) {
    if (int e = WriteAtomic(path, bytes)) throw MissingPathFailure(e, path);
}

bool WriteFileAtomicAfter(const std::string& path, std::string_view bytes, const std::function<bool()>& ready) {
    int placing = 0;
    const int e = WriteAtomic(path, bytes, [&](const std::string&) {
        return ready() && (placing = Injected("place", path)) == 0;
    });
    if (placing) throw FailureFromErrno(placing, path);
    if (e == kTargetChanged) return false;
    if (e) throw MissingPathFailure(e, path);
    return true;
}

bool TryWriteFileAtomic(const std::string& path, std::string_view bytes) { return WriteAtomic(path, bytes) == 0; }

Replace TryReplaceUnchanged(const std::string& path, std::string_view bytes, const std::optional<std::string>& expected) {
    const int e = WriteAtomic(path, bytes, [&](const std::string& p) {
        return expected ? TryReadFile(p) == expected : KindOfPath(p) == PathKind::Missing;
    });
    return e == 0 ? Replace::Done : e == kTargetChanged ? Replace::Changed : Replace::Failed;
}

void CopyFile(const std::string& from, const std::string& to) {
    if (int e = Injected("copy", to)) throw FailureFromErrno(e, to);
    const std::string data = ReadFile(from);
    WriteFileAtomic(to, data);
}

void DeleteFile(const std::string& path) {
    if (int e = Injected("delete", path)) throw FailureFromErrno(e, path);
    if (!Retrying([&] { return ::DeleteFileW(WidePath(path).c_str()); })) throw FailureFromErrno(LastErrno(path), path);
}

void CreateFolder(const std::string& path) {
    if (int e = Injected("mkdir", path)) throw FailureFromErrno(e, path);
    if (!::CreateDirectoryW(WidePath(path).c_str(), nullptr)) throw MissingPathFailure(LastErrno(path), path);
}

std::optional<std::uint64_t> FileSize(const std::string& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!::GetFileAttributesExW(WidePath(path).c_str(), GetFileExInfoStandard, &data) || IsFolder(data.dwFileAttributes))
        return std::nullopt;
    return std::uint64_t(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
}

std::vector<FileEntry> ListFiles(const std::string& folder) {
    std::vector<FileEntry> entries;
    WIN32_FIND_DATAW found{};
    const HANDLE find = ::FindFirstFileW(WidePath(folder + "\\*").c_str(), &found);
    if (find == INVALID_HANDLE_VALUE) return entries;
    do {
        if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) continue;
        std::string name = windows::Narrow(found.cFileName);
        if (IsTemporaryName(name)) continue;
        entries.push_back({std::move(name), std::uint64_t(found.nFileSizeHigh) << 32 | found.nFileSizeLow,
                           std::int64_t(std::uint64_t(found.ftLastWriteTime.dwHighDateTime) << 32 |
                                        found.ftLastWriteTime.dwLowDateTime)});
    } while (::FindNextFileW(find, &found));
    ::FindClose(find);
    return entries;
}

std::string ExistingSpelling(const std::string& path) { return path; }

int RemoveLeftovers(const std::string& folder) {
    // Names first, removals after, as on Linux.
    std::vector<std::string> names;
    WIN32_FIND_DATAW found{};
    const HANDLE find = ::FindFirstFileW(WidePath(folder + "\\*").c_str(), &found);
    if (find == INVALID_HANDLE_VALUE) return 0;
    do {
        // Only plain files: a folder or a link named like one is not ours.
        if (found.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) continue;
        const std::string name = windows::Narrow(found.cFileName);
        if (IsTemporaryName(name)) names.push_back(name);
    } while (::FindNextFileW(find, &found));
    ::FindClose(find);
    int removed = 0;
    for (const std::string& name : names) removed += ::DeleteFileW(WidePath(folder + "\\" + name).c_str()) ? 1 : 0;
    return removed;
}

}  // namespace glintbook::files
