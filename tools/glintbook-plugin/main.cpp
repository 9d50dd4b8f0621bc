// glintbook-plugin [GAMEDIR]: installs the player's kit into the game folder
// GAMEDIR (by default the folder this program is in, so that a player can
// start it from the game folder by double-clicking it): both plug-in
// variants, the photographs' meshes, the stock texture and a stand-in for
// every album picture still missing. Nothing already there is lost, and a
// second run changes nothing. Started on Windows without a console of its
// own, it shows its report in a message box.
#include "platform/failure.h"
#include "plugin/install.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <string>
#include <system_error>

#ifdef _WIN32
#include <windows.h>
#else
#include <climits>
#include <unistd.h>
#endif

namespace {

using glintbook::plugin::Outcome;
using glintbook::plugin::Part;

std::string ToolFolder() {
#ifdef _WIN32
    char path[MAX_PATH];
    const DWORD n = GetModuleFileNameA(nullptr, path, MAX_PATH);
    const std::string exe(path, n);
#else
    char path[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", path, sizeof path);
    const std::string exe(path, n > 0 ? std::size_t(n) : 0);
#endif
    return std::filesystem::path(exe).parent_path().string();
}

#ifdef _WIN32
// Double-clicked, the program has a console window that holds it alone,
// which closes as soon as it ends: the report goes to a message box instead.
bool ShowInBox() {
    DWORD ids[2];
    return GetConsoleProcessList(ids, 2) <= 1;
}
#endif

void Show(const std::string& text, bool failed) {
#ifdef _WIN32
    if (ShowInBox()) {
        const int n = MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, nullptr, 0);
        std::wstring wide(std::size_t(n > 0 ? n : 1), L'\0');
        MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, wide.data(), n);
        MessageBoxW(nullptr, wide.c_str(), L"Glintbook kit", MB_OK | (failed ? MB_ICONERROR : MB_ICONINFORMATION));
        return;
    }
#endif
    std::fputs(text.c_str(), failed ? stderr : stdout);
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
#ifndef _WIN32
    for (char& c : text)
        if (c == '\\') c = '/';  // the game's paths, written the platform's way
#endif
    return "Glintbook kit in " + folder + ":\n" + text;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        std::fputs("usage: glintbook-plugin [GAMEDIR]\n"
                   "  Installs Glintbook's plug-in, meshes and stock pictures into the game folder\n"
                   "  GAMEDIR (default: the folder this program is in). Overwrites no picture; a\n"
                   "  plug-in file or mesh that differs is kept as a .bak copy before it is replaced.\n",
                   stderr);
        return 2;
    }
    const std::string folder = argc == 2 ? argv[1] : ToolFolder();
    std::error_code ec;
    if (!std::filesystem::is_directory(std::filesystem::path(folder) / "Data Files", ec)) {
        Show("glintbook-plugin: " + folder + " is not a game folder: it has no \"Data Files\" folder.\n", true);
        return 1;
    }
    std::filesystem::current_path(folder, ec);
    if (ec) {
        Show("glintbook-plugin: cannot enter " + folder + ": " + ec.message() + "\n", true);
        return 1;
    }
    try {
        Show(Report(folder, glintbook::plugin::InstallKit()), false);
        return 0;
    } catch (const glintbook::Failure& f) {
        Show("glintbook-plugin: error " + std::to_string(f.number()) + ": " + f.description() + "\n", true);
    } catch (const std::exception& e) {
        Show(std::string("glintbook-plugin: ") + e.what() + "\n", true);
    }
    return 1;
}
