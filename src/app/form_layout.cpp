#include "app/form_layout.h"

namespace glintbook::form {

namespace {
constexpr char AlbumTip[] = "Select which album to use.";
}  // namespace

// clang-format off
const std::array<Control, ControlCount> Controls = {{
    {"cmdStart", Kind::CommandButton, "Start Morrowind", "This will start Morrowind.", 120, 120, 1335, 495, false},
    {"chkTwo", Kind::CheckBox, "Loop Pictures",
     "Checking this will make the program overwrite the pictures taken in this session as soon as they reach the "
     "25-pictures limit.", 120, 720, 1335, 255, false},
    {"optAlbum1", Kind::OptionButton, "Album 1", AlbumTip, 120, 1200, 975, 255, false},
    {"optAlbum2", Kind::OptionButton, "Album 2", AlbumTip, 1080, 1200, 975, 255, false},
    {"optAlbum3", Kind::OptionButton, "Album 3", AlbumTip, 2160, 1200, 975, 255, false},
    {"optAlbum4", Kind::OptionButton, "Album 4", AlbumTip, 3240, 1200, 975, 255, false},
    {"cmdClear", Kind::CommandButton, "Clear Album",
     "This will clear the currently selected album. Note that all created picture files will be physically "
     "destroyed.", 1440, 120, 1335, 495, false},
    {"cmdSetIndex", Kind::CommandButton, "Set Index", "Set the index in the INI from the box.",
     1440, 600, 1335, 495, false},
    {"txtIndex", Kind::TextBox, "", "The number of last taken picture from the album currently selected.",
     2880, 720, 945, 375, false},
    {"cmdExit", Kind::CommandButton, "Exit Program", "", 2760, 120, 1335, 495, false},
    {"frmRes", Kind::Frame, "", "", 120, 1440, 3975, 375, false},
    {"lblRes", Kind::Label, "Picture Resolution:", "", 0, 120, 1335, 255, true},
    {"opt512", Kind::OptionButton, "512x512",
     "Checking this will make textures saved for painting use have 512x512 pixels resolution.",
     1680, 120, 975, 255, true},
    {"opt1024", Kind::OptionButton, "1024x1024",
     "Checking this will make textures saved for painting use have 1024x1024 pixels resolution.",
     2880, 120, 1095, 255, true},
    {"spnIndex", Kind::ScrollBar, "", "", 3840, 720, 255, 375, false},
}};
// clang-format on

Choices ChoicesFrom(const std::function<bool(Id)>& isSet) {
    Choices c;
    c.album = 0;
    for (int k = 4; k >= 1; --k)
        if (isSet(Id(optAlbum1 + k - 1))) c.album = k;
    c.textureSize = isSet(opt512) ? 512 : isSet(opt1024) ? 1024 : 0;
    c.loop = isSet(chkTwo);
    return c;
}

}  // namespace glintbook::form
