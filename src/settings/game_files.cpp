#include "settings/game_files.h"

#include "platform/files.h"
#include "settings/catalogue.h"
#include "settings/open_engine.h"

#include <algorithm>

namespace glintbook::game {

std::optional<Engine> EngineOfProcess(std::string_view name) {
    if (name == ProcessName) return Engine::Original;
    if (name == OpenProcessName) return Engine::Open;
    return std::nullopt;
}

std::string DataFile(std::string_view name) { return std::string(DataFiles) + "\\" + std::string(name); }

bool ExpansionInstalled() { return files::FileExists(files::GamePath(DataFile(ExpansionMaster))); }

bool ExpansionInstalled(Engine engine) {
    return engine == Engine::Open ? openmw::ExpansionLoaded() : ExpansionInstalled();
}

const char* WantedPlugin(bool expansion) { return expansion ? ExpansionPlugin : Plugin; }

std::string TextureName(long long t) { return "qor_tx_photo_" + DecimalText(t) + ".bmp"; }
std::string TexturePath(long long t) { return std::string(TexturesFolder) + "\\" + TextureName(t); }
std::string StockTexture() { return std::string(TexturesFolder) + "\\" + StockTextureName; }
std::string BookArtName(long long p) { return "Photo " + DecimalText(p) + ".bmp"; }
std::string BookArtPath(long long p) { return std::string(BookArtFolder) + "\\" + BookArtName(p); }

std::string PhotoMeshModel(long long t) { return "glintbook\\photo_" + DecimalText(t) + ".nif"; }
std::string PhotoMeshPath(long long t) { return std::string(MeshesFolder) + "\\" + PhotoMeshModel(t); }

std::string ScreenshotPath(std::string_view base, long long number) {
    return "\\" + std::string(base) + " " + DecimalText(number) + ".bmp";
}

std::string ArchivePath(std::string_view base, long long number, long long serial) {
    return std::string(ArchiveFolder) + "\\" + std::string(base) + " " + DecimalText(number) + "_" +
           DecimalText(serial) + ".bmp";
}

std::string ArchiveCopyPath(std::string_view name, long long serial) {
    const auto dot = std::min(name.rfind('.'), name.size());
    return std::string(ArchiveFolder) + "\\" + std::string(name.substr(0, dot)) + "_" + DecimalText(serial) +
           std::string(name.substr(dot));
}

bool PlainBaseName(std::string_view base) {
    return base.find_first_of(std::string_view("/\\\0", 3)) == std::string_view::npos;
}

}  // namespace glintbook::game
