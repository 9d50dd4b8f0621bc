// glintbook-tiny-world DATADIR SETTINGS: a world of our own, just big enough
// for the open engine to start a new game in it, written into the data folder
// DATADIR as "Morrowind.esm" with placeholder meshes and icons. Nothing in it
// comes from the original game: what the engine asks for at a new game is
// taken from its own source (the game settings with their defaults are in
// SETTINGS, one a line: name, a tab and value; strings without a value).
//
// The world: one class, one race, the player, the 27 skills, the globals the
// engine reads, and the interior cell "Glintbook Test Cell", lit and empty but
// for a marker at its centre where the player arrives.
#include "platform/failure.h"
#include "platform/files.h"
#include "plugin/bytes.h"
#include "plugin/photo_mesh.h"
#include "plugin/tes3_record.h"

#include <cstdio>
#include <exception>
#include <sstream>
#include <string>
#include <vector>

namespace {

using glintbook::plugin::Bytes;
using glintbook::plugin::Record;
namespace files = glintbook::files;

constexpr char kTestCell[] = "Glintbook Test Cell";
constexpr char kMarkerModel[] = "glintbook_world\\marker.nif";
constexpr int kSkillCount = 27;

std::string F32(float v) { return Bytes().f32(v).str(); }

std::vector<std::string> GameSettings(const std::string& list) {
    std::vector<std::string> out;
    std::istringstream lines(list);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.empty() || line[0] == '#') continue;
        const std::size_t blank = line.find('\t');
        const std::string name = line.substr(0, blank), value = blank == std::string::npos ? "" : line.substr(blank + 1);
        Record r("GMST");
        r.text("NAME", name);
        // The type is the name's first letter: f(loat), i(nteger), s(tring).
        if (name[0] == 'f') r.sub("FLTV", F32(std::stof(value)));
        else if (name[0] == 'i') r.sub("INTV", Bytes().i32(std::stoi(value)).str());
        else r.sub("STRV", value);
        out.push_back(r.bytes());
    }
    return out;
}

std::string Global(const char* name, char type, float value) {
    return Record("GLOB").text("NAME", name).sub("FNAM", std::string(1, type)).sub("FLTV", F32(value)).bytes();
}

std::vector<std::string> Records(const std::string& settings) {
    std::vector<std::string> out = GameSettings(settings);
    // Day, month and year of the calendar, the hour, how fast time runs, and
    // the states a new game and the crime rules read.
    struct G { const char* name; char type; float value; };
    for (const G& g : {G{"Day", 'l', 1}, G{"DaysPassed", 'l', 1}, G{"Month", 'l', 7}, G{"Year", 'l', 427},
                       G{"GameHour", 'f', 12}, G{"TimeScale", 'f', 30}, G{"CharGenState", 's', -1},
                       G{"PCRace", 'l', 1}, G{"PCVampire", 'l', 0}, G{"PCWerewolf", 'l', 0},
                       G{"PCKnownWerewolf", 'l', 0}, G{"WerewolfClawMult", 'f', 25}, G{"PCYear", 'l', 427},
                       G{"CrimeGoldDiscount", 'l', 0}, G{"CrimeGoldTurnIn", 'l', 0}, G{"PCHasCrimeGold", 's', 0},
                       G{"PCHasGoldDiscount", 's', 0}, G{"PCHasTurnIn", 's', 0}})
        out.push_back(Global(g.name, g.type, g.value));

    for (int s = 0; s < kSkillCount; ++s) {
        Bytes data;
        data.i32(s % 8).i32(s % 3);  // governing attribute, specialisation
        for (int i = 0; i < 4; ++i) data.f32(1.0f);
        out.push_back(Record("SKIL").sub("INDX", Bytes().i32(s).str()).sub("SKDT", data.str()).text("DESC", "A skill.").bytes());
    }

    Bytes cls;
    cls.i32(0).i32(1).i32(0);                      // favoured attributes, specialisation
    for (int s = 0; s < 10; ++s) cls.i32(s);       // minor and major skills in pairs
    cls.i32(1).i32(0);                             // playable; no automatic calculation
    out.push_back(Record("CLAS").text("NAME", "glintbook_tester").text("FNAM", "Tester").sub("CLDT", cls.str()).bytes());

    Bytes race;
    for (int i = 0; i < 7; ++i) race.i32(-1).i32(0);  // no skill bonuses
    for (int i = 0; i < 8; ++i) race.i32(40).i32(40);  // attributes, male and female
    race.f32(1).f32(1).f32(1).f32(1).i32(1);           // height, weight; playable
    out.push_back(Record("RACE").text("NAME", "glintbook_folk").text("FNAM", "Folk").sub("RADT", race.str()).bytes());

    Bytes npc;
    npc.i16(1);                                        // level
    for (int i = 0; i < 8; ++i) npc.u8(40);            // attributes
    for (int i = 0; i < kSkillCount; ++i) npc.u8(10);  // skills
    npc.u8(0).u16(50).u16(50).u16(50).u8(50).u8(0).u8(0).u8(0).i32(0);  // health, magicka, fatigue...; no gold
    out.push_back(Record("NPC_")
                      .text("NAME", "player")
                      .text("FNAM", "Tester")
                      .text("RNAM", "glintbook_folk")
                      .text("CNAM", "glintbook_tester")
                      .text("ANAM", "")
                      .text("BNAM", "")
                      .text("KNAM", "")
                      .sub("NPDT", npc.str())
                      .sub("FLAG", Bytes().u32(0).str())
                      .bytes());

    out.push_back(Record("STAT").text("NAME", "glintbook_marker").text("MODL", kMarkerModel).bytes());
    // An interior, brightly lit so that what the camera sees keeps its colours.
    const std::string light = Bytes().u32(0x00FFFFFF).u32(0x00FFFFFF).u32(0x00808080).f32(0).str();
    const std::string place = Bytes().f32(0).f32(0).f32(0).f32(0).f32(0).f32(0).str();
    out.push_back(Record("CELL")
                      .text("NAME", kTestCell)
                      .sub("DATA", Bytes().u32(0x01).i32(0).i32(0).str())
                      .sub("AMBI", light)
                      .sub("FRMR", Bytes().u32(1).str())
                      .text("NAME", "glintbook_marker")
                      .sub("DATA", place)
                      .bytes());
    return out;
}

// A mesh with nothing in it but its root: the engine's skeletons, sky and
// models stand in for the original game's.
std::string EmptyMesh() {
    Bytes b;
    auto text = [&b](std::string_view s) { b.u32(std::uint32_t(s.size())).text(s); };
    b.text("NetImmerse File Format, Version 4.0.0.2\n").u32(0x04000002).u32(1);
    text("NiNode");
    text("Root");
    b.i32(-1).i32(-1).u16(0x000C);
    for (float v : {0.f, 0.f, 0.f, 1.f, 0.f, 0.f, 0.f, 1.f, 0.f, 0.f, 0.f, 1.f, 1.f, 0.f, 0.f, 0.f}) b.f32(v);
    b.u32(0).u32(0).u32(0).u32(0);  // no properties, no bounding box, no children, no effects
    b.u32(1).i32(0);                // one root
    return b.str();
}

// A grey 2x2 picture in the TGA format the game's icons have.
std::string Icon() {
    Bytes b;
    b.u8(0).u8(0).u8(2).u16(0).u16(0).u8(0).u16(0).u16(0).u16(2).u16(2).u8(24).u8(0);
    for (int i = 0; i < 12; ++i) b.u8(0x80);
    return b.str();
}

void Folders(const std::string& root, const std::string& relative) {
    std::string path = root;
    std::size_t from = 0;
    while (from <= relative.size()) {
        const std::size_t slash = relative.find('/', from);
        if (slash == std::string::npos) break;
        path = root + "/" + relative.substr(0, slash);
        if (!files::FolderExists(path)) files::CreateFolder(path);
        from = slash + 1;
    }
}

void Write(const std::string& root, const std::string& relative, const std::string& bytes) {
    Folders(root, relative);
    files::WriteFileAtomic(root + "/" + relative, bytes);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: glintbook-tiny-world DATADIR SETTINGS\n", stderr);
        return 2;
    }
    try {
        const std::string data = argv[1];
        const std::vector<std::string> records = Records(files::ReadFile(argv[2]));
        Record tes3("TES3");
        tes3.sub("HEDR", Bytes()
                             .f32(1.3f)
                             .u32(1)  // a master
                             .fixed("Glintbook", 32)
                             .fixed("A tiny world for testing in the open engine.", 256)
                             .u32(std::uint32_t(records.size()))
                             .str());
        std::string file = tes3.bytes();
        for (const std::string& r : records) file += r;
        Write(data, "Morrowind.esm", file);

        // The player's skeletons, the sky and the marker.
        for (const char* mesh : {"meshes/base_anim.nif", "meshes/base_anim.1st.nif", "meshes/base_anim_female.nif",
                                 "meshes/base_anim_female.1st.nif", "meshes/xbase_anim.nif", "meshes/xbase_anim.1st.nif",
                                 "meshes/xbase_anim_female.nif", "meshes/xbase_anim_female.1st.nif",
                                 "meshes/sky_atmosphere.nif", "meshes/sky_night_01.nif", "meshes/sky_night_02.nif",
                                 "meshes/sky_clouds_01.nif", "meshes/glintbook_world/marker.nif"})
            Write(data, mesh, EmptyMesh());
        // The book needs a shape to be pointed at and opened: a photograph
        // showing the kit's stock texture.
        Write(data, "meshes/m/text_folio_03.nif", glintbook::plugin::PhotoMesh("qor_tx_photo_orig.bmp"));
        for (const char* icon : {"icons/m/tx_folio_03.tga", "icons/m/tx_paper_plain_01.tga"}) Write(data, icon, Icon());
        std::printf("tiny world written into %s: %zu records\n", data.c_str(), records.size());
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "glintbook-tiny-world: %s\n", e.what());
        return 1;
    }
}
