#include "files.h"

#include "failure.h"
#include "fault_hook.h"
#include "temporary_names.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <vector>

namespace glintbook::files {

namespace {

std::string Directory(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

std::string FileName(const std::string& path) {
    const auto slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

mode_t NewFileMode() {
    // umask can only be read by setting it; the program has one thread that
    // touches files, so the brief change is harmless.
    const mode_t mask = ::umask(022);
    ::umask(mask);
    return 0666 & ~mask;
}

// What WriteAtomic returns when `unchanged` said the target changed.
constexpr int kTargetChanged = -1;

// Flushes the folder's entries, so that a rename into it survives a power
// cut: without this the old file can come back. A file system that cannot
// flush a folder (EINVAL) or a folder this user may not open has nothing
// more to do.
int SyncFolder(const std::string& folder, const std::string& path) {
    if (int e = Injected("dirsync", path)) return e;
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return 0;
    const int err = ::fsync(fd) == 0 || errno == EINVAL || errno == EROFS ? 0 : errno;
    ::close(fd);
    return err;
}

// Fills a fresh temporary beside `path` through fill(descriptor, path),
// which returns 0 or an errno, flushes it and renames it into place, unless
// unchanged(path), when given, says the target changed meanwhile.
// Returns 0, kTargetChanged or the errno of the step that failed; never
// leaves the temporary.
int WriteAtomic(const std::string& given, const std::function<int(int, const std::string&)>& fill,
                const std::function<bool(const std::string&)>& unchanged = {}) {
    // A link (a settings file kept elsewhere) is followed, so that the file
    // it points at is replaced, not the link.
    std::string path = given;
    if (char* real = ::realpath(given.c_str(), nullptr)) {
        path = real;
        std::free(real);
    }
    // Named after the target so a leftover is recognisable, but short, so
    // that a target whose name is near the length limit still gets one.
    std::string tmpl = Directory(path) + "/" + TemporaryPrefix(FileName(path)) + std::string(kTempRandomChars, 'X');
    if (int e = Injected("open", path)) return e;
    std::vector<char> name(tmpl.begin(), tmpl.end());
    name.push_back('\0');
    const int fd = ::mkstemp(name.data());
    if (fd < 0) return errno;
    const std::string tmp(name.data());
    auto fail = [&](int err) {
        ::close(fd);
        ::unlink(tmp.c_str());
        return err;
    };

    struct stat old {};
    const mode_t mode = ::stat(path.c_str(), &old) == 0 ? (old.st_mode & 07777) : NewFileMode();
    if (::fchmod(fd, mode) != 0) return fail(errno);

    if (int e = fill(fd, path)) return fail(e);
    if (int e = Injected("sync", path)) return fail(e);
    if (::fsync(fd) != 0) return fail(errno);
    if (::close(fd) != 0) {
        const int err = errno;
        ::unlink(tmp.c_str());
        return err;
    }
    if (int e = Injected("rename", path)) {
        ::unlink(tmp.c_str());
        return e;
    }
    if (unchanged && !unchanged(path)) {
        ::unlink(tmp.c_str());
        return kTargetChanged;
    }
    if (::rename(tmp.c_str(), path.c_str()) != 0) {
        const int err = errno;
        ::unlink(tmp.c_str());
        return err;
    }
    return SyncFolder(Directory(path), path);
}

int WriteBytes(int fd, const std::string& path, std::string_view bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        if (int e = Injected("write", path)) return e;
        const size_t chunk = std::min<size_t>(bytes.size() - done, size_t(1) << 20);
        const ssize_t n = ::write(fd, bytes.data() + done, chunk);
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        done += size_t(n);
    }
    return 0;
}

// Copies the rest of `in` to `out` a megabyte at a time. The kernel copies
// (copy_file_range): the data never passes through the program, and a file
// system that shares blocks between files makes the copy a reference to the
// same blocks. Where it cannot (a kernel or file system without it), plain
// reads and writes. An error reading `in` goes to readError as well.
int CopyInto(int in, int out, const std::string& path, int& readError) {
    constexpr size_t kChunk = size_t(1) << 20;
    bool kernel = true;
    std::vector<char> buffer;
    for (;;) {
        if (int e = Injected("write", path)) return e;
        if (kernel) {
            const ssize_t n = ::copy_file_range(in, nullptr, out, nullptr, kChunk, 0);
            if (n > 0) continue;
            if (n == 0) return 0;
            if (errno == EINTR) continue;
            if (errno != EXDEV && errno != ENOSYS && errno != EINVAL && errno != EOPNOTSUPP) return errno;
            kernel = false;
            buffer.resize(kChunk);
        }
        const ssize_t n = ::read(in, buffer.data(), buffer.size());
        if (n == 0) return 0;
        if (n < 0) {
            if (errno == EINTR) continue;
            return readError = errno;
        }
        for (ssize_t done = 0; done < n;) {
            const ssize_t w = ::write(out, buffer.data() + done, size_t(n - done));
            if (w < 0 && errno != EINTR) return errno;
            done += std::max<ssize_t>(w, 0);
        }
    }
}

// Writing into, or making a folder in, a folder that is not there: the
// path, not the file, is what is missing.
Failure MissingPathFailure(int err, const std::string& path) {
    if (err == ENOENT) return Failure(ErrPathNotFound, "Path not found: " + path);
    return FailureFromErrno(err, path);
}

}  // namespace

std::string CurrentDirectory() {
    std::vector<char> buf(PATH_MAX);
    while (::getcwd(buf.data(), buf.size()) == nullptr) {
        if (errno != ERANGE) return {};
        buf.resize(buf.size() * 2);
    }
    return std::string(buf.data());
}

std::string GamePath(std::string_view relative) {
    // A current directory that cannot be named (removed under us) must not
    // turn the game's paths into paths below the root: "." still refers to
    // it, and every access through it fails as the folder is gone.
    std::string path = CurrentDirectory();
    if (path.empty()) path = ".";
#ifdef _WIN32
    path.append(relative);
#else
    for (char c : relative) path.push_back(c == '\\' ? '/' : c);
#endif
    return path;
}

bool FileExists(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool FolderExists(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::optional<std::uint64_t> FileSize(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
    return std::uint64_t(st.st_size);
}

PathKind KindOfPath(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) return errno == ENOENT ? PathKind::Missing : PathKind::Other;
    return S_ISREG(st.st_mode) ? PathKind::File : PathKind::Other;
}

bool IsReadOnly(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) return false;
    return (st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0 || ::access(path.c_str(), W_OK) != 0;
}

std::optional<std::string> TryReadFile(const std::string& path) {
    if (Injected("read", path)) return std::nullopt;
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return std::nullopt;
    std::string data;
    char buf[1 << 16];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) data.append(buf, n);
    const bool bad = std::ferror(f);
    std::fclose(f);
    if (bad) return std::nullopt;
    return data;
}

std::string ReadFile(const std::string& path) {
    if (int e = Injected("read", path)) throw FailureFromErrno(e, path);
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) throw FailureFromErrno(errno, path);
    // Read straight into a buffer of the file's size, then probe one byte
    // past it: a screenshot is read once per import, and growing the full
    // buffer to look for the end would copy the whole picture once more. A
    // file that grows meanwhile is read on to its new end.
    std::string data;
    struct stat st {};
    if (::fstat(fd, &st) == 0 && st.st_size > 0) data.resize(size_t(st.st_size));
    size_t done = 0;
    for (;;) {
        char probe;
        const bool full = done == data.size();
        const ssize_t n = full ? ::read(fd, &probe, 1) : ::read(fd, data.data() + done, data.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            const int err = n < 0 ? errno : 0;
            ::close(fd);
            if (err) throw FailureFromErrno(err, path);
            data.resize(done);
            return data;
        }
        if (full) {
            data.resize(done + (size_t(1) << 16));
            data[done] = probe;
        }
        done += size_t(n);
    }
}

FileReader::FileReader(const std::string& path) : path_(path) {
    if (int e = Injected("read", path)) throw FailureFromErrno(e, path);
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) throw FailureFromErrno(errno, path);
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        const int err = S_ISDIR(st.st_mode) ? EISDIR : errno ? errno : EINVAL;
        ::close(fd);
        throw FailureFromErrno(err, path);
    }
    handle_ = fd;
    size_ = std::uint64_t(st.st_size);
}

FileReader::~FileReader() {
    if (handle_ >= 0) ::close(int(handle_));
}

size_t FileReader::ReadAt(std::uint64_t offset, void* out, size_t count) const {
    size_t done = 0;
    while (done < count) {
        const ssize_t n = ::pread(int(handle_), static_cast<char*>(out) + done, count - done, off_t(offset + done));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) throw FailureFromErrno(errno, path_);
        if (n == 0) break;
        done += size_t(n);
    }
    return done;
}

void WriteFileAtomic(const std::string& path, std::string_view bytes) {
    if (int e = WriteAtomic(path, [&](int fd, const std::string& p) { return WriteBytes(fd, p, bytes); }))
        throw MissingPathFailure(e, path);
}

bool WriteFileAtomicAfter(const std::string& path, std::string_view bytes, const std::function<bool()>& ready) {
    int placing = 0;
    const int e = WriteAtomic(
        path, [&](int fd, const std::string& p) { return WriteBytes(fd, p, bytes); },
        [&](const std::string&) { return ready() && (placing = Injected("place", path)) == 0; });
    if (placing) throw FailureFromErrno(placing, path);
    if (e == kTargetChanged) return false;
    if (e) throw MissingPathFailure(e, path);
    return true;
}

bool TryWriteFileAtomic(const std::string& path, std::string_view bytes) {
    return WriteAtomic(path, [&](int fd, const std::string& p) { return WriteBytes(fd, p, bytes); }) == 0;
}

Replace TryReplaceUnchanged(const std::string& path, std::string_view bytes, const std::optional<std::string>& expected) {
    const int e = WriteAtomic(
        path, [&](int fd, const std::string& p) { return WriteBytes(fd, p, bytes); },
        [&](const std::string& p) { return expected ? TryReadFile(p) == expected : KindOfPath(p) == PathKind::Missing; });
    return e == 0 ? Replace::Done : e == kTargetChanged ? Replace::Changed : Replace::Failed;
}

int RemoveLeftovers(const std::string& folder) {
    DIR* dir = ::opendir(folder.c_str());
    if (!dir) return 0;
    // Names first, removals after: a folder changed while it is read may
    // list an entry twice or not at all.
    std::vector<std::string> names;
    while (const dirent* e = ::readdir(dir))
        if (IsTemporaryName(e->d_name)) names.emplace_back(e->d_name);
    int removed = 0;
    for (const std::string& name : names) {
        struct stat st {};
        // Only regular files: a folder or a link named like one is not ours.
        if (::fstatat(::dirfd(dir), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(st.st_mode) &&
            ::unlinkat(::dirfd(dir), name.c_str(), 0) == 0)
            ++removed;
    }
    ::closedir(dir);
    return removed;
}

std::vector<FileEntry> ListFiles(const std::string& folder) {
    std::vector<FileEntry> entries;
    DIR* dir = ::opendir(folder.c_str());
    if (!dir) return entries;
    while (const dirent* e = ::readdir(dir)) {
        struct stat st {};
        if (IsTemporaryName(e->d_name) || ::fstatat(::dirfd(dir), e->d_name, &st, 0) != 0 || !S_ISREG(st.st_mode))
            continue;
        entries.push_back({e->d_name, std::uint64_t(st.st_size),
                           std::int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec});
    }
    ::closedir(dir);
    return entries;
}

std::string ExistingSpelling(const std::string& path) {
    const auto fold = [](std::string s) {
        for (char& c : s) c = char(c >= 'A' && c <= 'Z' ? c + 32 : c);
        return s;
    };
    std::string done = path.starts_with('/') ? "/" : "";
    size_t at = done.size();
    while (at < path.size()) {
        const size_t slash = std::min(path.find('/', at), path.size());
        std::string part = path.substr(at, slash - at);
        at = slash + 1;
        if (part.empty()) continue;
        const std::string here = done.empty() ? "." : done;
        struct stat st {};
        if (::stat((done + part).c_str(), &st) != 0) {
            // The first of the folder's names that differs only in letter case.
            if (DIR* dir = ::opendir(here.c_str())) {
                while (const dirent* e = ::readdir(dir))
                    if (fold(e->d_name) == fold(part)) {
                        part = e->d_name;
                        break;
                    }
                ::closedir(dir);
            }
        }
        done += part;
        if (slash < path.size()) done += '/';
    }
    return done;
}

void CopyFile(const std::string& from, const std::string& to) {
    if (int e = Injected("copy", to)) throw FailureFromErrno(e, to);
    if (int e = Injected("read", from)) throw FailureFromErrno(e, from);
    const int in = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0) throw FailureFromErrno(errno, from);
    int readError = 0;
    const int e = WriteAtomic(to, [&](int fd, const std::string& p) { return CopyInto(in, fd, p, readError); });
    ::close(in);
    if (readError) throw FailureFromErrno(readError, from);
    if (e) throw MissingPathFailure(e, to);
}

void DeleteFile(const std::string& path) {
    if (int e = Injected("delete", path)) throw FailureFromErrno(e, path);
    if (::unlink(path.c_str()) != 0) throw FailureFromErrno(errno, path);
}

void CreateFolder(const std::string& path) {
    if (int e = Injected("mkdir", path)) throw FailureFromErrno(e, path);
    if (::mkdir(path.c_str(), 0777) != 0) throw MissingPathFailure(errno, path);
}

}  // namespace glintbook::files
