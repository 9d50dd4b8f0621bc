#pragma once
// Modal message boxes. The window shows every message through this, so that
// tests can answer the boxes instead of a person.
#include <string>

namespace glintbook {

class Failure;

enum class MessageIcon { None, Stop };

class MessageBoxes {
public:
    virtual ~MessageBoxes() = default;
    // A modal box with one OK button; returns when it has been dismissed.
    virtual void show(const std::string& text, const std::string& caption, MessageIcon icon) = 0;
};

// Boxes shown with Qt's QMessageBox, parented to `parent` (may be null).
class QtMessageBoxes : public MessageBoxes {
public:
    void show(const std::string& text, const std::string& caption, MessageIcon icon) override;
};

// The box of an unhandled failure: its error number and description.
void ShowFailure(MessageBoxes& boxes, const Failure& failure);

}  // namespace glintbook
