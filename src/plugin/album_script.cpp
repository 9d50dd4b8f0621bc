#include "plugin/album_script.h"

#include "platform/failure.h"
#include "plugin/bytes.h"

namespace glintbook::plugin {

namespace {

// The original engine's script bytecode, as its editor compiles it (the form
// documented by the independent compiler of the morrowtools project). Every
// statement starts with a 2-byte opcode, low byte first.
constexpr std::uint16_t kEnd = 0x0101;        // end of the script
constexpr std::uint16_t kSet = 0x0105;        // set VARIABLE to EXPRESSION
constexpr std::uint16_t kIf = 0x0106;         // if ( CONDITION )
constexpr std::uint16_t kEndIf = 0x0109;      // endif
constexpr std::uint16_t kQualifier = 0x010C;  // OBJECT-> before a function
constexpr std::uint16_t kAddItem = 0x10D4;    // AddItem ITEM COUNT

// Names and expressions carry a 1-byte length.
std::uint8_t Length(std::size_t n) {
    if (n > 255) throw Failure(ErrBadCall, "script text too long for its 1-byte length");
    return std::uint8_t(n);
}

// A global variable as an operand: 'G', the length of its name, the name.
std::string Global(std::string_view name) { return Bytes().text("G").u8(Length(name.size())).text(name).str(); }

// An expression is pushed operand by operand, each led by a blank (the
// interpreter's push); a number is pushed as its text.
std::string Push(std::string_view operand) { return " " + std::string(operand); }

}  // namespace

Script GiveOnceScript(std::string_view id, std::string_view guard, const std::vector<std::string>& items) {
    Script script;
    script.source = "begin " + std::string(id) + "\r\n\r\nif ( " + std::string(guard) + " == 0 )\r\n";
    for (const std::string& item : items) script.source += "\tplayer->AddItem \"" + item + "\" 1\r\n";
    script.source += "\tset " + std::string(guard) + " to 1\r\nendif\r\n\r\nend\r\n";

    Bytes code;
    // if: the opcode, the number of statements inside the block (skipped
    // when the condition fails: the AddItems and the set), the length of the
    // condition, and the condition " G<n><guard> == 0".
    const std::string condition = Push(Global(guard)) + " ==" + Push("0");
    code.u16(kIf).u8(Length(items.size() + 1)).u8(Length(condition.size())).text(condition);
    for (const std::string& item : items) {
        // player->: the qualifier, the length of the object's id, the id.
        code.u16(kQualifier).u8(Length(6)).text("player");
        // AddItem: the opcode, the length of the item's id, the id, the count
        // as a 16-bit number.
        code.u16(kAddItem).u8(Length(item.size())).text(item).i16(1);
    }
    // set: the opcode, the variable (a global), the length of the
    // expression and the expression " 1".
    const std::string value = Push("1");
    code.u16(kSet).text(Global(guard)).u8(Length(value.size())).text(value);
    code.u16(kEndIf).u16(kEnd);
    script.bytecode = code.str();
    return script;
}

}  // namespace glintbook::plugin
