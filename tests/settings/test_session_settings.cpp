// Readying Morrowind.ini for a session and entering the plug-in in the load
// list: each row is a settings file and the installation before, and the
// file (or the load list) after.
#include "platform/failure.h"
#include "settings/catalogue.h"
#include "settings/open_engine.h"
#include "settings/prepare_session.h"
#include "settings/register_plugin.h"
#include "settings/settings_file.h"
#include "support/game_folder.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

#include <optional>

namespace glintbook::test {
namespace {

const std::string Plain = "Data Files/Glintbook.esp", Tb = "Data Files/Glintbook_TB.esp",
                  Expansion = "Data Files/Tribunal.esm";

struct Prepare {
    const char* name;
    std::string before;               // Morrowind.ini; "" for none
    std::vector<std::string> files;   // below the game folder
    int album;                        // 0: none selected
    std::optional<long long> counter; // "Screen Shot Index" appended to `before`; none: the program ends
    std::string after = "";           // the whole file, where appending the counter does not say it
    bool returns = false;             // without a counter: returns instead of ending the program
};
void PrintTo(const Prepare& c, std::ostream* os) { *os << c.name; }

std::string Later(int album, const char* index) {
    return "[Glintbook]\r\nEverRun=1\r\n" + AlbumIndexKey(album) + "=" + index + "\r\n";
}

class PrepareSessionTest : public ::testing::TestWithParam<Prepare> {};

TEST_P(PrepareSessionTest, WritesAndEnds) {
    const Prepare& c = GetParam();
    GameFolder folder;
    if (!c.before.empty()) folder.write("Morrowind.ini", c.before);
    for (const std::string& f : c.files) folder.write(f, "");
    if (c.counter || c.returns)
        PrepareSession(Choices{c.album, 512, false});
    else
        EXPECT_THROW(PrepareSession(Choices{c.album, 512, false}), ProgramEnd);
    const std::string after = !c.after.empty() ? c.after
                              : c.counter      ? c.before + "[General]\r\nScreen Shot Index=" + DecimalText(*c.counter) + "\r\n"
                                               : c.before;
    EXPECT_EQ(folder.exists("Morrowind.ini") ? folder.read("Morrowind.ini") : "", after);
}

const std::string Defaults = "[Glintbook]\r\nAlbum1Index=0\r\nAlbum2Index=0\r\nAlbum3Index=0\r\nAlbum4Index=0\r\nEverRun=1\r\n";

INSTANTIATE_TEST_SUITE_P(Rows, PrepareSessionTest, ::testing::Values(
    Prepare{"first_run", "", {Plain}, 3, 50, "[General]\r\nScreen Shot Enable=1\r\nScreen Shot Index=50\r\n" + Defaults},
    Prepare{"no_marker_resets_hand_set_indexes", "[Glintbook]\r\nAlbum2Index=9\r\nAlbum4Index=3\r\n", {Plain}, 2, 25,
            "[Glintbook]\r\nAlbum2Index=0\r\nAlbum4Index=0\r\nAlbum1Index=0\r\nAlbum3Index=0\r\nEverRun=1\r\n"
            "[General]\r\nScreen Shot Enable=1\r\nScreen Shot Index=25\r\n"},
    Prepare{"marker_zero_is_no_marker", "[Glintbook]\r\nEverRun=0\r\nAlbum2Index=9\r\n", {Plain}, 2, 25,
            "[Glintbook]\r\nEverRun=1\r\nAlbum2Index=0\r\nAlbum1Index=0\r\nAlbum3Index=0\r\nAlbum4Index=0\r\n"
            "[General]\r\nScreen Shot Enable=1\r\nScreen Shot Index=25\r\n"},
    Prepare{"first_run_without_plugin_keeps_defaults", "", {}, 1, {},
            "[General]\r\nScreen Shot Enable=1\r\nScreen Shot Index=0\r\n" + Defaults},
    Prepare{"later_run_writes_the_counter_only",
            "[General]\r\nScreen Shot Index=3\r\n[Glintbook]\r\nEverRun=1\r\nAlbum2Index=7\r\n", {Plain}, 2, 32,
            "[General]\r\nScreen Shot Index=32\r\n[Glintbook]\r\nEverRun=1\r\nAlbum2Index=7\r\n"},
    Prepare{"any_other_marker_skips_defaults", "[Glintbook]\r\nEverRun=-1\r\n", {Plain}, 4, 75},
    Prepare{"expansion_wants_its_own_plugin", Later(1, "5"), {Expansion, Plain}, 1, {}},
    Prepare{"no_expansion_wants_the_plain_plugin", Later(1, "5"), {Tb}, 1, {}},
    Prepare{"expansion_with_its_plugin", Later(1, "5"), {Expansion, Tb}, 1, 5},
    Prepare{"no_album_still_needs_the_plugin", Later(3, "40"), {}, 0, {}},
    Prepare{"no_album_selected_writes_no_counter", Later(3, "40"), {Plain}, 0, {}, Later(3, "40"), true},
    Prepare{"full_at_25", Later(1, "25"), {Plain}, 1, {}},
    Prepare{"full_album_four", Later(4, "25"), {Plain}, 4, {}},
    Prepare{"one_short_of_full", Later(4, "24"), {Plain}, 4, 99},
    Prepare{"negative_album_three", Later(3, "-60"), {Plain}, 3, -10},
    // Indexes edited by hand convert as the settings layer reads numbers.
    Prepare{"hexadecimal", Later(1, "0x10"), {Plain}, 1, 16},
    Prepare{"smallest", Later(4, "-2147483648"), {Plain}, 4, -2147483648LL + 75},
    Prepare{"wraps_to_zero", Later(3, "4294967296"), {Plain}, 3, 50}),
    [](const auto& info) { return std::string(info.param.name); });

using Names = std::vector<std::string>;

struct Register {
    const char* name;
    Names before;     // GameFile0, GameFile1, ...; "-" for an absent key
    bool expansion;
    Names after;      // GameFile0.. as read; empty: the file is unchanged
    int launches = 1;
};
void PrintTo(const Register& c, std::ostream* os) { *os << c.name; }

class RegisterPluginTest : public ::testing::TestWithParam<Register> {};

TEST_P(RegisterPluginTest, LoadListAfter) {
    const Register& c = GetParam();
    GameFolder folder;
    std::string ini = "[Game Files]\r\n";
    for (size_t i = 0; i < c.before.size(); ++i)
        if (c.before[i] != "-") ini += GameFileKey(int(i)) + "=" + c.before[i] + "\r\n";
    folder.write("Morrowind.ini", ini);
    if (c.expansion) folder.write(Expansion, "");
    for (int i = 0; i < c.launches; ++i) RegisterPlugin();
    Names after;
    for (size_t i = 0; i < c.after.size(); ++i) after.push_back(ReadSettingText(section::GameFiles, GameFileKey(int(i))));
    EXPECT_EQ(after, c.after);
    EXPECT_EQ(folder.read("Morrowind.ini") == ini, c.after.empty()) << "whether the file changed";
}

const std::string P = "Glintbook.esp", T = "Glintbook_TB.esp";

// f0.esp .. f<count-1>.esp, with `at` changed.
Names Others(int count, std::vector<std::pair<int, std::string>> at = {}) {
    Names list;
    for (int i = 0; i < count; ++i) list.push_back("f" + std::to_string(i) + ".esp");
    for (auto& [i, name] : at) list[size_t(i)] = name;
    return list;
}

// Copies at 1 and 2 of a list of 258: removing the first shifts keys up to
// GameFile255 only, so GameFile256 then appears twice.
Names ShiftedUpTo255() {
    Names list = Others(258, {{1, P}});
    list.erase(list.begin() + 2);
    list.insert(list.begin() + 256, "f256.esp");
    return list;
}

INSTANTIATE_TEST_SUITE_P(Rows, RegisterPluginTest, ::testing::Values(
    Register{"appended", {"a.esm"}, false, {"a.esm", P, ""}},
    Register{"empty_list", {}, false, {P, ""}},
    Register{"replaces_the_other_variant", {"a.esm", T}, false, {"a.esm", P, ""}},
    Register{"a_gap_ends_the_list", {"a.esm", "-", "b.esp"}, false, {"a.esm", P, "b.esp"}},
    Register{"an_empty_value_ends_it_too", {"a.esm", "", "b.esp"}, false, {"a.esm", P, "b.esp"}},
    Register{"other_variant_before_wanted", {"a.esm", T, P}, false, {"a.esm", P, P}},
    Register{"expansion_installed_since", {"a.esm", P}, true, {"a.esm", T, ""}},
    Register{"expansion_already_registered", {"a.esm", T}, true, {}},
    Register{"letter_case_matters", {"glintbook.esp", "GLINTBOOK_TB.ESP"}, false, {"glintbook.esp", "GLINTBOOK_TB.ESP", P}},
    Register{"second_copy_removes_the_first", {"a.esm", P, "c.esp", P}, false, {"a.esm", "c.esp", P, "", ""}},
    Register{"registered_once_is_left_alone", {"a.esm", P, "b.esp"}, false, {}},
    Register{"registered_before_the_other", {"a.esm", P, T, "b.esp"}, false, {}},
    Register{"repeated_launches_keep_one_copy", {"a.esm"}, false, {"a.esm", P, ""}, 3},
    Register{"a_copy_at_zero_is_never_removed", {P, "a.esm", P}, false, {}},
    Register{"copies_at_0_2_3", {P, "a.esm", P, P, "b.esp"}, false, {P, "a.esm", P, "b.esp", ""}},
    Register{"last_free_place_is_256", Others(256), false, Others(258, {{256, P}, {257, ""}})},
    Register{"full_list_is_not_written", Others(257), false, {}},
    Register{"removal_rewrites_no_key_beyond_255", Others(258, {{1, P}, {2, P}}), false, ShiftedUpTo255()}),
    [](const auto& info) { return std::string(info.param.name); });

#ifndef _WIN32  // the open engine's folders come from the environment on Linux only
// The open engine's load list, openmw.cfg in its configuration folder: whether
// it plays this folder, and the file after the plug-in has been entered. DATA
// in a row stands for this folder's Data Files.
struct OpenCfg {
    const char* name;
    std::optional<std::string> before;  // none: no openmw.cfg
    openmw::ConfigState state;
    std::string after = "";     // "" for unchanged
    bool refused = false;       // a message, nothing written
    std::string backup = "";    // an openmw.cfg.bak there before
};
void PrintTo(const OpenCfg& c, std::ostream* os) { *os << c.name; }

class OpenEngineLoadList : public ::testing::TestWithParam<OpenCfg> {};

TEST_P(OpenEngineLoadList, PlaysThisFolderAndGetsThePlugin) {
    const OpenCfg& c = GetParam();
    GameFolder folder;
    SetEnvironment("XDG_CONFIG_HOME", folder.file("config"));
    const std::string data = folder.file("Data Files"), cfg = "config/openmw/openmw.cfg";
    const auto here = [&](std::string text) {
        for (auto at = text.find("DATA"); at != std::string::npos; at = text.find("DATA")) text.replace(at, 4, data);
        return text;
    };
    folder.mkdir("Data Files");
    folder.mkdir("config/openmw");
    if (c.before) folder.write(cfg, here(*c.before));
    if (!c.backup.empty()) folder.write(cfg + ".bak", c.backup);
    EXPECT_EQ(openmw::ConfigForThisFolder(), c.state);
    EXPECT_EQ(openmw::RegisterPlugin().has_value(), c.refused);
    const std::string after = c.after.empty() ? here(c.before.value_or("")) : here(c.after);
    EXPECT_EQ(folder.exists(cfg) ? folder.read(cfg) : "", after);
    // The player's first file is kept, once.
    const std::string backup = !c.backup.empty() ? c.backup : c.after.empty() ? "" : here(*c.before);
    EXPECT_EQ(folder.exists(cfg + ".bak") ? folder.read(cfg + ".bak") : "", backup);
    SetEnvironment("XDG_CONFIG_HOME", "");
}

using State = openmw::ConfigState;

INSTANTIATE_TEST_SUITE_P(Rows, OpenEngineLoadList, ::testing::Values(
    OpenCfg{"after_the_masters", "data=\"DATA\"\ncontent=Morrowind.esm\ncontent=Other.esp\n", State::ThisFolder,
            "data=\"DATA\"\ncontent=Morrowind.esm\ncontent=Glintbook.esp\ncontent=Other.esp\n"},
    OpenCfg{"expansion_replaces_the_plain_variant_kept_crlf",
            "# launcher\r\ndata=DATA\r\ncontent=Morrowind.esm\r\ncontent=glintbook.esp\r\ncontent=Tribunal.esm\r\n",
            State::ThisFolder, "# launcher\r\ndata=DATA\r\ncontent=Morrowind.esm\r\ncontent=Tribunal.esm\r\ncontent=Glintbook_TB.esp\r\n"},
    OpenCfg{"registered_is_left_alone", "data=DATA\ncontent=Morrowind.esm\ncontent=Glintbook.esp\n", State::ThisFolder},
    OpenCfg{"quoted_escaped_and_no_last_line_end", "data=\"/elsewhere/&\"odd&& name\"\n  data = \"DATA\"  \ncontent=Morrowind.esm",
            State::ThisFolder, "data=\"/elsewhere/&\"odd&& name\"\n  data = \"DATA\"  \ncontent=Morrowind.esm\ncontent=Glintbook.esp\n"},
    OpenCfg{"no_content_yet", "data=/other/Data Files\r\n", State::OtherFolder, "data=/other/Data Files\r\ncontent=Glintbook.esp\r\n"},
    OpenCfg{"the_first_original_stays_backed_up", "content=Morrowind.esm\n", State::OtherFolder,
            "content=Morrowind.esm\ncontent=Glintbook.esp\n", false, "the player's first file"},
    OpenCfg{"damaged_line", "data=DATA\ncontent=Morrowind.esm\nnot a setting\n", State::Damaged, "", true},
    OpenCfg{"unclosed_quote", "data=\"DATA\ncontent=Morrowind.esm\n", State::Damaged, "", true},
    OpenCfg{"missing", std::nullopt, State::Missing, "", true}),
    [](const auto& info) { return std::string(info.param.name); });
#endif

}  // namespace
}  // namespace glintbook::test
