#include "failure.h"

#include <cerrno>
#include <cstring>
#ifdef _WIN32
#include "platform/windows_text.h"
#endif

namespace glintbook {

Failure::Failure(int number, std::string description)
    : std::runtime_error(description), number_(number), description_(std::move(description)) {}

namespace {
struct Mapped {
    int number;
    const char* text;
};

Mapped MapErrno(int err) {
    switch (err) {
    case ENOENT: return {ErrFileNotFound, "File not found"};
    case ENOTDIR: return {ErrPathNotFound, "Path not found"};
    case ENAMETOOLONG: return {ErrBadFileName, "Bad file name or number"};
    case EACCES:
    case EPERM:
    case EROFS: return {ErrPermissionDenied, "Permission denied"};
#ifdef EDQUOT  // not on Windows
    case EDQUOT:
#endif
    case ENOSPC: return {ErrDiskFull, "Disk full"};
    case EEXIST: return {ErrFileExists, "File already exists"};
    case EMFILE:
    case ENFILE: return {ErrTooManyFiles, "Too many files"};
    case EISDIR:
    case ETXTBSY:
    case EBUSY: return {ErrPathFileAccess, "Path/File access error"};
    case ENOMEM: return {ErrOutOfMemory, "Out of memory"};
    default: return {ErrPathFileAccess, nullptr};
    }
}

// A system's own error code with no errno of its meaning (negated, see
// windows_text.h): its number and the system's text for it.
std::string SystemError(int err) {
#ifdef _WIN32
    if (err < 0) {
        const std::string said = windows::SystemErrorText(static_cast<unsigned long>(-err));
        return "Windows error " + std::to_string(-err) + (said.empty() ? "" : ": " + said);
    }
#endif
    return std::strerror(err);
}

}  // namespace

Failure FailureFromErrno(int err, const std::string& subject) {
    const Mapped m = MapErrno(err);
    std::string text = m.text ? m.text : "Path/File access error (" + SystemError(err) + ")";
    if (!subject.empty()) text += ": " + subject;
    return Failure(m.number, text);
}

std::string FailureMessage(const Failure& failure) {
    return "Run-time error '" + std::to_string(failure.number()) + "':\n\n" + failure.description();
}

}  // namespace glintbook
