#pragma once
// The window's controls as both windows build them: name, kind, caption,
// tooltip and place, in tab order. Places are in twips (1440 to the inch,
// 15 to a pixel at 96 dots per inch), relative to the parent's client area;
// the three resolution controls lie inside the frame frmRes.
#include "settings/choices.h"

#include <array>
#include <cmath>
#include <functional>

namespace glintbook::form {

enum class Kind { CommandButton, CheckBox, OptionButton, TextBox, Frame, Label, ScrollBar };

// Indexes into Controls, which lists them in tab order.
enum Id : int {
    cmdStart, chkTwo, optAlbum1, optAlbum2, optAlbum3, optAlbum4, cmdClear, cmdSetIndex,
    txtIndex, cmdExit, frmRes, lblRes, opt512, opt1024, spnIndex, ControlCount
};

struct Control {
    const char* name;
    Kind kind;
    const char* caption;  // "" for none
    const char* tooltip;  // "" for none
    int left, top, width, height;
    bool inFrame;  // child of frmRes, not of the window
};

extern const std::array<Control, ControlCount> Controls;

inline constexpr char Title[] = "Glintbook";
inline constexpr int ClientWidth = 4215;   // twips
inline constexpr int ClientHeight = 1845;  // twips
inline constexpr int TimerInterval = 1000; // ms

// Twips to pixels at `dpi` dots per inch.
inline int Pixels(int twips, double dpi) { return int(std::lround(twips * dpi / 1440.0)); }

inline bool IsAlbumOption(int id) { return id >= optAlbum1 && id <= optAlbum4; }

// What the option and check controls tell the session, from whether each
// control is set: the first album option set (0 for none), the resolution
// set (0 for none), and "Loop Pictures".
Choices ChoicesFrom(const std::function<bool(Id)>& isSet);

}  // namespace glintbook::form
