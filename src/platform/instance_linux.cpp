#include "instance.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace glintbook::instance {

namespace {

// An abstract socket name (no file, gone with its last holder) from the
// folder's identity, so that every path to the folder finds the same name.
socklen_t NameOf(std::uint64_t device, std::uint64_t inode, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    const int n = std::snprintf(address.sun_path + 1, sizeof address.sun_path - 1, "glintbook/folder/%llx/%llx",
                                static_cast<unsigned long long>(device), static_cast<unsigned long long>(inode));
    return socklen_t(offsetof(sockaddr_un, sun_path) + 1 + std::size_t(n));
}

}  // namespace

FolderClaim::FolderClaim() {
    struct stat folder {};
    if (::stat(".", &folder) != 0) return;
    device_ = folder.st_dev, inode_ = folder.st_ino;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return;
    sockaddr_un address;
    const socklen_t length = NameOf(device_, inode_, address);
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0 && ::listen(fd, 8) == 0) {
        handle_ = fd;
        state_ = State::Held;
        return;
    }
    if (errno == EADDRINUSE) state_ = State::Taken;
    ::close(fd);
}

FolderClaim::~FolderClaim() {
    if (handle_ >= 0) ::close(handle_);
}

bool FolderClaim::CallHolder() const {
    if (state_ != State::Taken) return false;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    sockaddr_un address;
    const socklen_t length = NameOf(device_, inode_, address);
    const bool reached = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0;
    ::close(fd);
    return reached;
}

int FolderClaim::TakeCalls() {
    int calls = 0;
    if (state_ != State::Held) return calls;
    // The call is the connection itself: nothing is read from it.
    for (int fd; (fd = ::accept4(handle_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0 || errno == EINTR;)
        if (fd >= 0) ::close(fd), ++calls;
    return calls;
}

}  // namespace glintbook::instance
