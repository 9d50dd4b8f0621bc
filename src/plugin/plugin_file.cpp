#include "plugin/plugin_file.h"

#include "plugin/album_script.h"
#include "plugin/bytes.h"
#include "plugin/tes3_record.h"
#include "settings/catalogue.h"
#include "settings/game_files.h"

namespace glintbook::plugin {

namespace {

// A book and a sheet of paper of the game's own, so that the albums and the
// photographs need no model or icon of ours besides the photographs' meshes.
constexpr char kAlbumModel[] = "m\\Text_Folio_03.NIF";
constexpr char kAlbumIcon[] = "m\\Tx_folio_03.tga";
constexpr char kPhotoIcon[] = "m\\Tx_paper_plain_01.tga";

// Start scripts carry an id of digits; the game's own are 17 digits long.
constexpr char kStartScriptNumber[] = "47110815042002001";

std::string Header(const std::vector<Master>& masters, std::uint32_t records) {
    Record tes3("TES3");
    tes3.sub("HEDR", Bytes()
                         .f32(1.3f)  // format version
                         .u32(0)     // a plug-in, not a master
                         .fixed("Glintbook", 32)
                         .fixed("Photo albums of the player's own screenshots, filled by Glintbook.", 256)
                         .u32(records)
                         .str());
    for (const Master& m : masters) tes3.text("MAST", m.name).sub("DATA", Bytes().u64(m.size).str());
    return tes3.bytes();
}

std::string GuardGlobal() {
    // A short ("s") that starts at 0; globals store every value as a float.
    return Record("GLOB").text("NAME", GuardGlobalId).sub("FNAM", "s").sub("FLTV", Bytes().f32(0).str()).bytes();
}

std::vector<std::string> GiveScript() {
    std::vector<std::string> albums;
    for (int k = 1; k <= AlbumCount; ++k) albums.push_back(AlbumId(k));
    const Script script = GiveOnceScript(GiveScriptId, GuardGlobalId, albums);
    // No local variables: no SCVR, and the header counts none.
    const std::string header = Bytes()
                                   .fixed(GiveScriptId, 32)
                                   .u32(0)  // shorts
                                   .u32(0)  // longs
                                   .u32(0)  // floats
                                   .u32(std::uint32_t(script.bytecode.size()))
                                   .u32(0)  // size of the variable names
                                   .str();
    Record scpt("SCPT");
    scpt.sub("SCHD", header).sub("SCDT", script.bytecode).sub("SCTX", script.source);
    // The start script names the script; both fields are stored without NUL.
    Record sscr("SSCR");
    sscr.sub("DATA", kStartScriptNumber).sub("NAME", GiveScriptId);
    return {scpt.bytes(), sscr.bytes()};
}

std::string Album(int album) {
    const std::string data = Bytes()
                                 .f32(3.0f)  // weight
                                 .u32(25)    // value
                                 .u32(0)     // a book, not a scroll
                                 .i32(-1)    // teaches no skill
                                 .u32(0)     // enchantment points
                                 .str();
    return Record("BOOK")
        .text("NAME", AlbumId(album))
        .text("MODL", kAlbumModel)
        .text("FNAM", "Glintbook Album " + DecimalText(album))
        .sub("BKDT", data)
        .text("ITEX", kAlbumIcon)
        .sub("TEXT", AlbumText(album))  // stored without NUL, as the game's own books
        .bytes();
}

std::string Photo(long long t) {
    const long long picture = t + 1, album = t / AlbumCapacity + 1;
    const std::string data = Bytes().f32(0.1f).u32(1).u32(0).str();  // weight, value, not a key
    return Record("MISC")
        .text("NAME", PhotoId(t))
        .text("MODL", game::PhotoMeshModel(t))
        .text("FNAM", "Photograph " + DecimalText(picture) + ", Album " + DecimalText(album))
        .sub("MCDT", data)
        .text("ITEX", kPhotoIcon)
        .bytes();
}

}  // namespace

std::string AlbumId(int album) { return "glintbook_album_" + DecimalText(album); }
std::string PhotoId(long long t) { return "glintbook_photo_" + DecimalText(t); }

std::string AlbumText(int album) {
    // Book art is named relative to "Data Files\BookArt"; the value is quoted
    // as it holds a blank, and a picture needs a size that is not 0.
    std::string text;
    for (int p = AlbumOffset(album) + 1; p <= AlbumOffset(album) + AlbumCapacity; ++p)
        text += "<DIV ALIGN=\"CENTER\"><IMG SRC=\"" + game::BookArtName(p) + "\" WIDTH=\"240\" HEIGHT=\"240\"><BR>";
    return text;
}

std::string PluginFile(const std::vector<Master>& masters) {
    std::vector<std::string> records = GiveScript();
    records.insert(records.begin(), GuardGlobal());
    for (int k = 1; k <= AlbumCount; ++k) records.push_back(Album(k));
    for (long long t = 0; t < AlbumCount * AlbumCapacity; ++t) records.push_back(Photo(t));
    std::string file = Header(masters, std::uint32_t(records.size()));
    for (const std::string& r : records) file += r;
    return file;
}

}  // namespace glintbook::plugin
