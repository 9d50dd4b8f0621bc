#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "settings/catalogue.h"
#include "settings/register_plugin.h"
#include "settings/settings_file.h"
#include "support/game_folder.h"

namespace glintbook {
namespace {

using List = std::vector<std::optional<std::string>>;  // nullopt: key absent
const std::string Plain = "Glintbook.esp", Tb = "Glintbook_TB.esp";

// A game folder whose load list holds `entries` from GameFile0 on.
struct Game {
    test::GameFolder folder;
    Game(const List& entries, bool expansion = false) {
        std::string ini = "[Game Files]\r\n";
        for (std::size_t i = 0; i < entries.size(); ++i)
            if (entries[i]) ini += GameFileKey(int(i)) + "=" + *entries[i] + "\r\n";
        folder.write("Morrowind.ini", ini);
        if (expansion) folder.write("Data Files/Tribunal.esm", "");
    }
    std::vector<std::string> read(int count) const {
        std::vector<std::string> out;
        for (int i = 0; i < count; ++i) out.push_back(ReadSettingText(section::GameFiles, GameFileKey(i)));
        return out;
    }
    std::string ini() const { return folder.read("Morrowind.ini"); }
};

struct Case {
    List before;
    std::vector<std::string> after;  // GameFile0.. as read, "" for absent or empty
    bool expansion = false;
};

void ExpectRegisters(const Case& c, int line) {
    Game game(c.before, c.expansion);
    RegisterPlugin();
    EXPECT_EQ(game.read(int(c.after.size())), c.after) << "case at line " << line;
}

TEST(RegisterPlugin, EntersWantedNameAtEndOrOverOtherVariant) {
    ExpectRegisters({{"a.esm"}, {"a.esm", Plain}}, __LINE__);
    ExpectRegisters({{"a.esm", Tb}, {"a.esm", Plain, ""}}, __LINE__);
    ExpectRegisters({{}, {Plain, ""}}, __LINE__);
    ExpectRegisters({{"a.esm", std::nullopt, "b.esp"}, {"a.esm", Plain, "b.esp"}}, __LINE__);  // gap ends the list
    ExpectRegisters({{"a.esm", "", "b.esp"}, {"a.esm", Plain, "b.esp"}}, __LINE__);            // so does ""
    ExpectRegisters({{"a.esm", Tb, Plain}, {"a.esm", Plain, Plain}}, __LINE__);  // other before wanted
    ExpectRegisters({{"a.esm", Plain}, {"a.esm", Tb, ""}, true}, __LINE__);      // expansion installed since
    ExpectRegisters({{"a.esm", Tb}, {"a.esm", Tb, ""}, true}, __LINE__);
    ExpectRegisters({{"glintbook.esp", "GLINTBOOK_TB.ESP"}, {"glintbook.esp", "GLINTBOOK_TB.ESP", Plain}}, __LINE__);
}

TEST(RegisterPlugin, RemovesFirstOfTwoCopies) {
    Game game({"a.esm", Plain, "c.esp", Plain});
    RegisterPlugin();
    EXPECT_EQ(game.read(5), (std::vector<std::string>{"a.esm", "c.esp", Plain, "", ""}));
    EXPECT_NE(game.ini().find("GameFile3=\r\n"), std::string::npos);  // left with an empty value
    EXPECT_EQ(game.ini().find("GameFile4"), std::string::npos);
}

TEST(RegisterPlugin, ListHoldingWantedNameOnceIsLeftAlone) {
    for (const List& list : {List{Plain}, List{Plain, "a.esm"}, List{"a.esm", Plain, "b.esp"}, List{Plain, Tb},
                             List{"a.esm", Plain, Tb, "b.esp"}}) {
        Game game(list);
        const std::string before = game.ini();
        RegisterPlugin();
        EXPECT_EQ(game.ini(), before) << before;
    }
}

TEST(RegisterPlugin, RepeatedLaunchesKeepOneCopy) {
    Game game({"a.esm"});
    RegisterPlugin();
    const std::string once = game.ini();
    RegisterPlugin();
    RegisterPlugin();
    EXPECT_EQ(game.ini(), once);
    EXPECT_EQ(game.read(3), (std::vector<std::string>{"a.esm", Plain, ""}));
}

TEST(RegisterPlugin, CopyAtZeroIsNeverRemoved) {
    Game two({Plain, "a.esm", Plain});
    const std::string before = two.ini();
    RegisterPlugin();
    EXPECT_EQ(two.ini(), before);

    // Copies at 0, 2 and 3: the one at 0 is not remembered, 2 is, and the
    // copy at 3 removes it.
    Game three({Plain, "a.esm", Plain, Plain, "b.esp"});
    RegisterPlugin();
    EXPECT_EQ(three.read(5), (std::vector<std::string>{Plain, "a.esm", Plain, "b.esp", ""}));
}

List OtherEntries(int count) {
    List list;
    for (int i = 0; i < count; ++i) list.push_back("f" + std::to_string(i) + ".esp");
    return list;
}

TEST(RegisterPlugin, FullListIsNotWritten) {
    Game game(OtherEntries(257));  // GameFile0..GameFile256
    const std::string before = game.ini();
    RegisterPlugin();
    EXPECT_EQ(game.ini(), before);
}

TEST(RegisterPlugin, RemovalRewritesNoKeyBeyond255) {
    List list = OtherEntries(258);  // GameFile0..GameFile257
    list[1] = list[2] = Plain;
    Game game(list);
    RegisterPlugin();
    const auto after = game.read(258);
    EXPECT_EQ(after[1], Plain);
    EXPECT_EQ(after[2], "f3.esp");
    EXPECT_EQ(after[255], "f256.esp");
    EXPECT_EQ(after[256], "f256.esp");
    EXPECT_EQ(after[257], "f257.esp");
}

}  // namespace
}  // namespace glintbook
