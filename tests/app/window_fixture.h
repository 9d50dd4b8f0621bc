#pragma once
// The Qt window for tests: its message boxes recorded instead of waiting for
// a person, its end recorded instead of leaving the event loop.
#include "app/qt/frmMain.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glintbook::test {

struct Window {
    struct Box {
        std::string text, caption;
        MessageIcon icon;
    };
    std::vector<Box> boxes;
    std::optional<int> endStatus;
    int ends = 0;
    std::unique_ptr<frmMain> form = std::make_unique<frmMain>(
        [this](const std::string& t, const std::string& c, MessageIcon i) { boxes.push_back({t, c, i}); },
        [this](int status) { endStatus = status, ++ends; });

    Window() { form->show(); }  // the tests act on the window as a player does
};

}  // namespace glintbook::test
