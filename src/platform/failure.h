#pragma once
// The program's one failure mechanism. A file, picture or program-start
// operation that fails throws Failure; nobody catches it on the way up. The
// window's event dispatch catches it, shows its number and description and
// ends the program, so nothing after the failing step runs and whatever was
// written before it stays written.
#include <stdexcept>
#include <string>

namespace glintbook {

// Error numbers are the classic runtime numbers a player of the game on
// Windows would recognise; they do not depend on the platform's errno.
enum ErrorNumber : int {
    ErrBadCall = 5,          // invalid procedure call or argument
    ErrOutOfMemory = 7,
    ErrInternal = 51,
    ErrBadFileName = 52,
    ErrFileNotFound = 53,
    ErrFileAlreadyOpen = 55,
    ErrFileExists = 58,
    ErrDiskFull = 61,
    ErrTooManyFiles = 67,
    ErrPermissionDenied = 70,
    ErrPathFileAccess = 75,
    ErrPathNotFound = 76,
    ErrCannotCreateObject = 429,
    ErrInvalidPicture = 481,
};

class Failure : public std::runtime_error {
public:
    Failure(int number, std::string description);
    int number() const noexcept { return number_; }
    const std::string& description() const noexcept { return description_; }

private:
    int number_;
    std::string description_;
};

// Builds a Failure from an errno value: the number and its standard wording,
// followed by the path or operation concerned. On Windows a negative value
// is a system error code without an errno of its meaning: its number and
// the system's text are shown.
Failure FailureFromErrno(int err, const std::string& subject);

// The text a message box shows for a failure.
std::string FailureMessage(const Failure& failure);

// Ends the program from inside a routine: unwinds to the event dispatch,
// which unloads the window and exits with `status`. Nothing after the throw
// runs, which is what "end the program at once" means for the routines.
struct ProgramEnd {
    int status = 0;
};

}  // namespace glintbook
