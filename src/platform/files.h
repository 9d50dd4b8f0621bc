#pragma once
// File operations of the game folder. Every path the program uses is the
// current directory, taken at the moment of use, followed by a fixed relative
// path written the way the game writes its own ("\Data Files\Textures\...").
// Operations that fail throw Failure (failure.h), except the Try... forms,
// which the settings file uses because its writes fail silently.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glintbook::files {

// The process's current directory; empty when it cannot be determined.
std::string CurrentDirectory();

// The current directory followed by `relative` ("\Morrowind.ini"). The
// backslashes of the relative part become the platform's separator.
std::string GamePath(std::string_view relative);

bool FileExists(const std::string& path);    // a regular file (or a link to one)
bool FolderExists(const std::string& path);  // a directory
// The size in bytes of a regular file; nothing when there is none.
std::optional<std::uint64_t> FileSize(const std::string& path);

// What lies at a path: nothing, a regular file (or a link to one), or
// something else (a folder, a device, a pipe, or a path that cannot be
// examined, which must not be read or replaced either).
enum class PathKind { Missing, File, Other };
PathKind KindOfPath(const std::string& path);

// Whether an existing file is read-only. On Windows its read-only attribute;
// elsewhere a file without any write permission bit (as that attribute makes
// it, even for a user the system would let write it) or one this user may
// not write. False when the file cannot be examined.
bool IsReadOnly(const std::string& path);

std::string ReadFile(const std::string& path);
std::optional<std::string> TryReadFile(const std::string& path);

// A file open for reading pieces of it, each at an offset of its own, so that
// a large picture is read a band at a time and never held whole; several
// threads may read through one at once. Opening fails as ReadFile does.
class FileReader {
public:
    explicit FileReader(const std::string& path);
    ~FileReader();
    FileReader(const FileReader&) = delete;
    FileReader& operator=(const FileReader&) = delete;

    std::uint64_t size() const { return size_; }  // as it was when opened
    const std::string& path() const { return path_; }
    // Reads up to `count` bytes at `offset` into `out`; fewer only where the
    // file ends. Throws Failure for a read that fails.
    size_t ReadAt(std::uint64_t offset, void* out, size_t count) const;

private:
    std::string path_;
    std::uint64_t size_ = 0;
    std::intptr_t handle_ = -1;  // a descriptor, or a Windows HANDLE
};

// Writes `bytes` to a temporary file beside `path`, flushes it and renames it
// into place, so that `path` is at every moment either the old file or the
// whole new one. An existing file's permission bits are kept; a new file gets
// the ordinary ones (0666 less the umask). On failure the temporary file is
// removed and `path` is untouched, but for a failing flush of the folder
// after the rename (Linux), when `path` holds the new file, which a power
// cut might still undo.
void WriteFileAtomic(const std::string& path, std::string_view bytes);
bool TryWriteFileAtomic(const std::string& path, std::string_view bytes);

// WriteFileAtomic whose rename waits for ready(): false drops the write (the
// temporary removed, `path` untouched) and returns false. Several files can
// so be written and flushed at once and still be put in place one after the
// other, as an import's files must appear in the order of its steps.
bool WriteFileAtomicAfter(const std::string& path, std::string_view bytes, const std::function<bool()>& ready);

// TryWriteFileAtomic for a file that another program rewrites whole while we
// edit it (the game and its settings): just before the rename the file is
// read again, and it is replaced only while it still holds `expected` (is
// still missing when `expected` is nothing). Changed: nothing was written,
// the caller edits the new text and tries again.
enum class Replace { Done, Changed, Failed };
Replace TryReplaceUnchanged(const std::string& path, std::string_view bytes, const std::optional<std::string>& expected);

// Removes from `folder` the temporary files that WriteFileAtomic leaves when
// the process is killed in the middle of a write: regular files named
// ".<up to 40 bytes of the target's name>.tmp-XXXXXX", and nothing else. For
// program start, before anything is written. Never fails: a folder that
// cannot be read is skipped, a file that cannot be removed stays. Returns
// how many were removed.
int RemoveLeftovers(const std::string& folder);

// The regular files in `folder` (links to them too), with their sizes and
// times of last change; hidden temporaries of our writes are left out.
// Empty when the folder is missing or cannot be read.
struct FileEntry {
    std::string name;        // UTF-8
    std::uint64_t size = 0;
    std::int64_t changed = 0;  // the system's own clock, for ordering only
};
std::vector<FileEntry> ListFiles(const std::string& folder);

// `path` with each part that does not exist as written matched to an
// existing one of the same name in another letter case, as Windows, and
// Wine on Linux, find it; parts that match nothing stay as written. On
// Windows, whose names ignore letter case, the path itself.
std::string ExistingSpelling(const std::string& path);

// Copies `from` onto `to`, replacing it; atomic like WriteFileAtomic.
void CopyFile(const std::string& from, const std::string& to);
void DeleteFile(const std::string& path);
void CreateFolder(const std::string& path);  // one level; the parent must exist

// Fault injection for tests: when set, the hook is asked before every step
// of the operations above ("open", "write", "sync", "rename", "dirsync" (the
// folder's flush after a rename, Linux), "place" (WriteFileAtomicAfter, once
// the files before it are in place), "copy", "delete", "mkdir", "read")
// with the path concerned; a non-zero result is taken as the errno of a
// failure at that step. On Windows a negative result at "open" is a system
// error code, negated, which the call there then reports; the process
// layer asks the same hook at its steps ("start", "shell", "next"), where
// the result is a system error code.
using FaultHook = std::function<int(std::string_view step, const std::string& path)>;
void SetFaultHook(FaultHook hook);

}  // namespace glintbook::files
