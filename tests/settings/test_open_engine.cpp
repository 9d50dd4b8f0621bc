// The open engine's configuration as each version and package lays it out:
// which openmw.cfg files it reads, whether they play this folder, where its
// screenshots go and in which format, which file gets the plug-in, and how
// Start starts it. Paths are written with the tokens of OpenEngineHome.
#include "platform/files.h"
#include "settings/open_engine.h"
#include "support/game_kit.h"
#include "support/open_engine_home.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace glintbook::test {
namespace {

using State = openmw::ConfigState;
using Files = std::vector<std::pair<std::string, std::string>>;

std::string Slashes(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

struct Layout {
    const char* name;
    Files files;
    State state;
    std::string config;  // the user's openmw.cfg, where the plug-in goes
    std::string shots;   // the screenshot folder
    std::string format = "png";
    bool flatpak = false;  // started through flatpak
};
void PrintTo(const Layout& c, std::ostream* os) { *os << c.name; }

class OpenEngineLayout : public ::testing::TestWithParam<Layout> {};

TEST_P(OpenEngineLayout, IsReadAsTheEngineReadsIt) {
    const Layout& c = GetParam();
    GameFolder folder;
    OpenEngineHome home(folder, c.files);
    EXPECT_EQ(openmw::ConfigForThisFolder(), c.state);
    EXPECT_EQ(Slashes(openmw::ConfigFile()), Slashes(home.here(c.config)));
    EXPECT_EQ(Slashes(openmw::ScreenshotFolder()), Slashes(home.here(c.shots)));
    EXPECT_EQ(openmw::ScreenshotFormat(), c.format);
    const auto start = openmw::StartCommand();
    ASSERT_FALSE(start.empty());
    EXPECT_EQ(start.size() == 3 && start[2] == openmw::FlatpakId, c.flatpak) << start.front();
    if (c.state != State::ThisFolder) return;
    EXPECT_FALSE(openmw::PluginLoaded());
    EXPECT_EQ(openmw::RegisterPlugin(), std::nullopt);
    EXPECT_TRUE(openmw::PluginLoaded());
    EXPECT_NE(files::ReadFile(home.here(c.config)).find("content=Glintbook.esp"), std::string::npos);
}

// 0.48 and later: the file beside the program starts the chain.
const std::pair<std::string, std::string> Local{"BIN/openmw.cfg", "user-data=\"?userdata?\"\nconfig=\"?userconfig?\"\n"};
#ifdef _WIN32
const std::string User = "DOCS/My Games/OpenMW";
#else
const std::string User = "HOME/.config/openmw", UserData = "HOME/.local/share/openmw";
#endif

const Layout kLayouts[] = {
#ifdef _WIN32
    Layout{"windows_047_quoted", {{User + "/openmw.cfg", "data=\"DATA\"\r\ncontent=Morrowind.esm\r\n"}}, State::ThisFolder,
           User + "/openmw.cfg", User + "/screenshots"},
    Layout{"windows_049_chain_unquoted_jpg",
           {Local, {User + "/openmw.cfg", "data=DATA\r\n"}, {User + "/settings.cfg", "[General]\r\nscreenshot format = jpg\r\n"}},
           State::ThisFolder, User + "/openmw.cfg", User + "/screenshots", "jpg"},
    Layout{"windows_other_folder", {{User + "/openmw.cfg", "data=ROOT\\elsewhere\r\n"}}, State::OtherFolder,
           User + "/openmw.cfg", User + "/screenshots"}
#else
    Layout{"quoted_047", {{User + "/openmw.cfg", "data=\"DATA\"\ncontent=Morrowind.esm\n"}}, State::ThisFolder,
           User + "/openmw.cfg", UserData + "/screenshots"},
    Layout{"unquoted_048", {Local, {User + "/openmw.cfg", "data=DATA\n"}}, State::ThisFolder, User + "/openmw.cfg",
           UserData + "/screenshots"},
    Layout{"token_of_the_programs_folder", {Local, {User + "/openmw.cfg", "data=?local?../Data Files\n"}}, State::ThisFolder,
           User + "/openmw.cfg", UserData + "/screenshots"},
    Layout{"relative_to_its_file", {Local, {User + "/openmw.cfg", "data=../../../Data Files\n"}}, State::ThisFolder,
           User + "/openmw.cfg", UserData + "/screenshots"},
    Layout{"chain_through_config_lines",
           {Local, {User + "/openmw.cfg", "config=ROOT/profile\ncontent=Morrowind.esm\n"},
            {"ROOT/profile/openmw.cfg", "data=\"DATA\"\n"}},
           State::ThisFolder, "ROOT/profile/openmw.cfg", UserData + "/screenshots"},
    Layout{"replace_config_drops_the_files_between",
           {Local, {User + "/openmw.cfg", "config=ROOT/mine\nuser-data=ROOT/wrong\ndata=DATA\n"},
            {"ROOT/mine/openmw.cfg", "replace=config\n"}},
           State::OtherFolder, "ROOT/mine/openmw.cfg", UserData + "/screenshots"},
    Layout{"user_data_moves_the_screenshots_jpg",
           {Local, {User + "/openmw.cfg", "data=DATA\nuser-data=../../saves\n"},
            {User + "/settings.cfg", "[General]\nscreenshot format = jpg\n"}},
           State::ThisFolder, User + "/openmw.cfg", "HOME/saves/screenshots", "jpg"},
    Layout{"damaged_file_in_the_chain",
           {Local, {User + "/openmw.cfg", "data=DATA\nconfig=ROOT/broken\n"}, {"ROOT/broken/openmw.cfg", "no setting\n"}},
           State::Damaged, "ROOT/broken/openmw.cfg", UserData + "/screenshots"},
    Layout{"flatpak", {{"APP/config/openmw/openmw.cfg", "data=DATA\n"}, {"BIN/flatpak", ""}}, State::ThisFolder,
           "APP/config/openmw/openmw.cfg", "APP/data/openmw/screenshots", "png", true},
    Layout{"flatpak_when_only_it_plays_this_folder",
           {{User + "/openmw.cfg", "data=\"/elsewhere\"\n"}, {"APP/config/openmw/openmw.cfg", "data=DATA\n"}, {"BIN/flatpak", ""}},
           State::ThisFolder, "APP/config/openmw/openmw.cfg", "APP/data/openmw/screenshots", "png", true},
    Layout{"native_when_only_it_plays_this_folder",
           {{User + "/openmw.cfg", "data=\"DATA\"\n"}, {"APP/config/openmw/openmw.cfg", "data=/elsewhere\n"}, {"BIN/flatpak", ""}},
           State::ThisFolder, User + "/openmw.cfg", UserData + "/screenshots"}
#endif
};
INSTANTIATE_TEST_SUITE_P(Rows, OpenEngineLayout, ::testing::ValuesIn(kLayouts),
                         [](const auto& info) { return std::string(info.param.name); });

#ifndef _WIN32
// Whether the Flatpak's sandbox sees the game folder (the test's folder, the
// player's home below it), from its metadata and the overrides.
struct Reach {
    const char* name;
    Files files;
    std::optional<bool> sees;
};
void PrintTo(const Reach& c, std::ostream* os) { *os << c.name; }

class FlatpakReach : public ::testing::TestWithParam<Reach> {};

TEST_P(FlatpakReach, FollowsItsPermissions) {
    GameFolder folder;
    OpenEngineHome home(folder, GetParam().files);
    EXPECT_EQ(openmw::FlatpakSeesThisFolder(), GetParam().sees);
}

const std::string Meta = "HOME/.local/share/flatpak/app/org.openmw.OpenMW/current/active/metadata";
const std::string Override = "HOME/.local/share/flatpak/overrides/org.openmw.OpenMW";

INSTANTIATE_TEST_SUITE_P(Rows, FlatpakReach, ::testing::Values(
    Reach{"not_installed_for_this_user", {}, std::nullopt},
    Reach{"home_does_not_reach_a_folder_outside_it", {{Meta, "[Context]\nfilesystems=home;xdg-data/Steam:ro;\n"}}, false},
    Reach{"host_reaches_everything", {{Meta, "[Context]\nfilesystems=host;\n"}}, true},
    Reach{"the_players_override", {{Meta, "[Context]\nfilesystems=home;\n"}, {Override, "[Context]\nfilesystems=ROOT;\n"}}, true},
    Reach{"a_parent_folder_with_a_tilde", {{Meta, "[Context]\nfilesystems=~/..;\n"}}, true},
    Reach{"taken_away_again", {{Meta, "[Context]\nfilesystems=host;\n"}, {Override, "[Context]\nfilesystems=!host;\n"}}, false}),
    [](const auto& info) { return std::string(info.param.name); });
#endif

// The folders of each system, from the same environment.
struct Place {
    const char* name;
    openmw::System system;
    openmw::Environment env;
    openmw::Folders want;
    bool flatpak = false;
};
void PrintTo(const Place& c, std::ostream* os) { *os << c.name; }

class EngineFolders : public ::testing::TestWithParam<Place> {};

TEST_P(EngineFolders, FollowTheSystemsRules) {
    const Place& c = GetParam();
    const openmw::Folders got = c.flatpak ? openmw::FlatpakFolders(c.env) : openmw::NativeFolders(c.system, c.env);
    EXPECT_EQ(got.userConfig, c.want.userConfig);
    EXPECT_EQ(got.userData, c.want.userData);
    EXPECT_EQ(got.global, c.want.global);
    EXPECT_EQ(got.local, c.want.local);
}

using Sys = openmw::System;
const openmw::Environment Deck{"/home/deck", "", "", "", "/usr/bin"};

INSTANTIATE_TEST_SUITE_P(Rows, EngineFolders, ::testing::Values(
    Place{"linux_defaults", Sys::Linux, Deck,
          {"/home/deck/.config/openmw", "/home/deck/.local/share/openmw", "/etc/openmw", "/usr/bin"}},
    Place{"linux_xdg_variables", Sys::Linux, {"/home/deck", "/cfg", "/data", "", "/usr/bin"},
          {"/cfg/openmw", "/data/openmw", "/etc/openmw", "/usr/bin"}},
    Place{"linux_relative_xdg_is_ignored", Sys::Linux, {"/home/deck", "cfg", "data", "", ""},
          {"/home/deck/.config/openmw", "/home/deck/.local/share/openmw", "/etc/openmw", ""}},
    Place{"flatpak", Sys::Linux, {"/home/deck", "/cfg", "", "", "/usr/bin"},
          {"/home/deck/.var/app/org.openmw.OpenMW/config/openmw", "/home/deck/.var/app/org.openmw.OpenMW/data/openmw", "", ""},
          true},
    Place{"windows_documents", Sys::Windows, {"", "", "", "C:\\Users\\Nerevar\\OneDrive\\Documents", "C:\\Games\\OpenMW"},
          {"C:\\Users\\Nerevar\\OneDrive\\Documents\\My Games\\OpenMW", "C:\\Users\\Nerevar\\OneDrive\\Documents\\My Games\\OpenMW",
           "", "C:\\Games\\OpenMW"}},
    Place{"windows_without_documents", Sys::Windows, {"", "", "", "", ""}, {"", "", "", ""}},
    Place{"macos", Sys::MacOs, {"/Users/nerevar", "/cfg", "", "", "/Applications/OpenMW.app/Contents/MacOS"},
          {"/Users/nerevar/Library/Preferences/openmw", "/Users/nerevar/Library/Application Support/openmw",
           "/Library/Preferences/openmw", "/Applications/OpenMW.app/Contents/MacOS"}}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace glintbook::test
