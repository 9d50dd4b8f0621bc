#include "files.h"

#include "failure.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace glintbook::files {

namespace {

FaultHook& Hook() {
    static FaultHook hook;
    return hook;
}

// Returns the injected errno for a step, or 0.
int Injected(std::string_view step, const std::string& path) {
    const FaultHook& hook = Hook();
    return hook ? hook(step, path) : 0;
}

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

// Writes bytes to a fresh temporary beside `path` and renames it into place.
// Returns 0 or the errno of the step that failed; never leaves the temporary.
int WriteAtomic(const std::string& given, std::string_view bytes) {
    // A link (a settings file kept elsewhere) is followed, so that the file
    // it points at is replaced, not the link.
    std::string path = given;
    if (char* real = ::realpath(given.c_str(), nullptr)) {
        path = real;
        std::free(real);
    }
    // Named after the target so a leftover is recognisable, but short, so
    // that a target whose name is near the length limit still gets one.
    std::string tmpl = Directory(path) + "/." + FileName(path).substr(0, 40) + ".tmp-XXXXXX";
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

    size_t done = 0;
    while (done < bytes.size()) {
        if (int e = Injected("write", path)) return fail(e);
        const size_t chunk = std::min<size_t>(bytes.size() - done, size_t(1) << 20);
        const ssize_t n = ::write(fd, bytes.data() + done, chunk);
        if (n < 0) {
            if (errno == EINTR) continue;
            return fail(errno);
        }
        done += size_t(n);
    }
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
    if (::rename(tmp.c_str(), path.c_str()) != 0) {
        const int err = errno;
        ::unlink(tmp.c_str());
        return err;
    }
    return 0;
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
    errno = 0;
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) throw FailureFromErrno(errno, path);
    std::string data;
    struct stat st {};
    if (::fstat(::fileno(f), &st) == 0 && st.st_size > 0) data.reserve(size_t(st.st_size));
    char buf[1 << 16];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) data.append(buf, n);
    const int err = std::ferror(f) ? errno : 0;
    std::fclose(f);
    if (err) throw FailureFromErrno(err, path);
    return data;
}

void WriteFileAtomic(const std::string& path, std::string_view bytes) {
    if (int e = WriteAtomic(path, bytes)) throw MissingPathFailure(e, path);
}

bool TryWriteFileAtomic(const std::string& path, std::string_view bytes) {
    return WriteAtomic(path, bytes) == 0;
}

void CopyFile(const std::string& from, const std::string& to) {
    if (int e = Injected("copy", to)) throw FailureFromErrno(e, to);
    const std::string data = ReadFile(from);
    WriteFileAtomic(to, data);
}

void DeleteFile(const std::string& path) {
    if (int e = Injected("delete", path)) throw FailureFromErrno(e, path);
    if (::unlink(path.c_str()) != 0) throw FailureFromErrno(errno, path);
}

void CreateFolder(const std::string& path) {
    if (int e = Injected("mkdir", path)) throw FailureFromErrno(e, path);
    if (::mkdir(path.c_str(), 0777) != 0) throw MissingPathFailure(errno, path);
}

void SetFaultHook(FaultHook hook) { Hook() = std::move(hook); }

}  // namespace glintbook::files
