#pragma once
// One Glintbook per game folder. The first started in a folder claims it for
// its whole run; a later one finds the claim taken, asks the first to bring
// its window forward and ends. Only the holder of the claim may remove the
// leftovers of writes cut short: to a later one, the first one's temporary
// files look the same. The claim is the system's (a named object), so it
// ends with the process, however it ends, and the game it starts does not
// inherit it.
#include <cstdint>

namespace glintbook::instance {

class FolderClaim {
public:
    // Claims the current directory, the game folder.
    FolderClaim();
    ~FolderClaim();
    FolderClaim(const FolderClaim&) = delete;
    FolderClaim& operator=(const FolderClaim&) = delete;

    // Unknown: the system would not say (no folder identity, no named
    // object); the program then runs, but leaves the leftovers alone.
    enum class State { Held, Taken, Unknown };
    State state() const { return state_; }

    // For a later instance: asks the holder to bring its window forward.
    // False when it could not be reached (it may have just ended).
    bool CallHolder() const;

#ifdef _WIN32
    // For the holder: the window a later instance brings forward, by posting
    // it the registered message kComeForward.
    void Publish(void* window);
#else
    // For the holder: a descriptor that becomes readable when a later
    // instance calls; -1 when none. TakeCalls answers every call waiting and
    // says how many there were.
    int calls() const { return state_ == State::Held ? handle_ : -1; }
    int TakeCalls();
#endif

private:
    State state_ = State::Unknown;
#ifdef _WIN32
    void* handle_ = nullptr;  // the named file mapping that holds the holder's window
    void* view_ = nullptr;
#else
    int handle_ = -1;  // the listening socket of the folder's abstract name
    std::uint64_t device_ = 0, inode_ = 0;
#endif
};

#ifdef _WIN32
// The name of the window message that asks the holder's window forward.
inline constexpr wchar_t kComeForward[] = L"Glintbook.ComeForward";
#endif

}  // namespace glintbook::instance
