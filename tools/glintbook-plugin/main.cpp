// glintbook-plugin [GAMEDIR]: installs the player's kit into the game folder
// GAMEDIR (by default the folder this program is in, so that a player can
// start it from the game folder by double-clicking it): both plug-in
// variants, the photographs' meshes, the stock texture and a stand-in for
// every album picture still missing. Nothing already there is lost, and a
// second run changes nothing. Started on Windows without a console of its
// own, it shows its report in a message box.
#include "platform/command_line.h"
#include "platform/failure.h"
#include "platform/files.h"
#include "platform/game_folder.h"
#include "plugin/install.h"
#include "session/shot_source.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <string>
#include <system_error>
#include <vector>

#ifdef _WIN32
#include "platform/windows_text.h"

#include <windows.h>
#endif

namespace {

using glintbook::plugin::Outcome;
using glintbook::plugin::Part;

#ifdef _WIN32
// Double-clicked, the program has a console window that holds it alone,
// which closes as soon as it ends: the report goes to a message box instead.
// Started with no console at all (its output taken by a script), it prints.
bool ShowInBox() {
    DWORD ids[2];
    return GetConsoleProcessList(ids, 2) == 1;
}
#endif

void Show(const std::string& text, bool failed) {
#ifdef _WIN32
    if (ShowInBox()) {
        MessageBoxW(nullptr, glintbook::windows::Widen(text).c_str(), L"Glintbook kit",
                    MB_OK | (failed ? MB_ICONERROR : MB_ICONINFORMATION));
        return;
    }
#endif
    glintbook::command_line::Write(failed ? stderr : stdout, text);
}

const char* PartName(Part part) {
    switch (part) {
        case Part::Plugin: return "plug-in files";
        case Part::Mesh: return "photograph meshes (Data Files\\Meshes\\glintbook)";
        case Part::StockTexture: return "stock texture (Data Files\\Textures\\qor_tx_photo_orig.bmp)";
        case Part::Texture: return "album textures (Data Files\\Textures\\qor_tx_photo_N.bmp)";
        case Part::BookArt: return "book-art pictures (Data Files\\BookArt\\Photo N.bmp)";
    }
    return "";
}

const char* OutcomeName(Outcome outcome) {
    switch (outcome) {
        case Outcome::Written: return "written";
        case Outcome::Unchanged: return "already there, unchanged";
        case Outcome::LeftAlone: return "already there, left alone";
        case Outcome::Replaced: return "replaced (the old one kept as a backup)";
    }
    return "";
}

// One line per part and outcome, with the count; the plug-ins by name.
std::string Report(const std::string& folder, const glintbook::plugin::InstallReport& report) {
    std::string text;
    std::map<std::pair<Part, Outcome>, int> counts;
    for (const auto& step : report.steps) {
        if (step.part == Part::Plugin)
            text += "  " + step.path.substr(1) + ": " + OutcomeName(step.outcome) + "\n";
        else
            ++counts[{step.part, step.outcome}];
    }
    for (const auto& [key, count] : counts)
        text += "  " + std::to_string(count) + " " + PartName(key.first) + ": " + OutcomeName(key.second) + "\n";
    for (const std::string& note : report.notes) text += "  " + note + "\n";
    // What Glintbook will watch in this folder's sessions.
    text += "  " + glintbook::shots::Describe() + "\n";
#ifndef _WIN32
    for (char& c : text)
        if (c == '\\') c = '/';  // the game's paths, written the platform's way
#endif
    return "Glintbook kit in " + folder + ":\n" + text;
}

}  // namespace

int main(int argc, char** argv) {
    // Names as UTF-8, whatever the code page: a game folder named in another
    // language must be found.
    const std::vector<std::string> args = glintbook::command_line::Arguments(argc, argv);
    if (args.size() > 1 || (args.size() == 1 && args[0].starts_with('-'))) {
        std::fputs("usage: glintbook-plugin [GAMEDIR]\n"
                   "  Installs Glintbook's plug-in, meshes and stock pictures into the game folder\n"
                   "  GAMEDIR (default: the folder this program is in). Overwrites no picture; a\n"
                   "  plug-in file or mesh that differs is kept as a .bak copy before it is replaced.\n",
                   stderr);
        return 2;
    }
    const std::string folder = args.size() == 1 ? args[0] : glintbook::command_line::ProgramFolder();
    if (!glintbook::files::FolderExists(folder + "/Data Files")) {
        Show("glintbook-plugin: " + folder + " is not a game folder: it has no \"Data Files\" folder.\n", true);
        return 1;
    }
    std::error_code ec;
    std::filesystem::current_path(std::filesystem::path(std::u8string(folder.begin(), folder.end())), ec);
    if (ec) {
        Show("glintbook-plugin: cannot enter " + folder + ": " + ec.message() + "\n", true);
        return 1;
    }
    try {
        // Where the game's writes go elsewhere, so would the kit's.
        if (const auto problem = glintbook::files::GameFolderProblem()) {
            Show("glintbook-plugin: " + *problem + "\n", true);
            return 1;
        }
        Show(Report(folder, glintbook::plugin::InstallKit()), false);
        return 0;
    } catch (const glintbook::Failure& f) {
        Show("glintbook-plugin: error " + std::to_string(f.number()) + ": " + f.description() + "\n", true);
    } catch (const std::exception& e) {
        Show(std::string("glintbook-plugin: ") + e.what() + "\n", true);
    }
    return 1;
}
