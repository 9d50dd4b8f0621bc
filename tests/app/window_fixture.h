#pragma once
// What the window tests share: message boxes that record instead of
// waiting for a person, and a window whose end is recorded instead of
// leaving the event loop.
#include "app/qt/frmMain.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glintbook::test {

struct ShownBox {
    std::string text;
    std::string caption;
    MessageIcon icon;
};

class RecordingBoxes : public MessageBoxes {
public:
    void show(const std::string& text, const std::string& caption, MessageIcon icon) override {
        shown.push_back({text, caption, icon});
    }
    std::vector<ShownBox> shown;
};

struct Window {
    std::shared_ptr<RecordingBoxes> boxes = std::make_shared<RecordingBoxes>();
    std::optional<int> endStatus;
    int ends = 0;
    std::unique_ptr<frmMain> form;

    Window() {
        form = std::make_unique<frmMain>(boxes, [this](int status) {
            endStatus = status;
            ++ends;
        });
        form->show();  // the tests act on the window as a player does
    }
};

}  // namespace glintbook::test
