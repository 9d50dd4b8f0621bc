#include "support/game_kit.h"

#include "imaging/picture_io.h"
#include "imaging/resample_oracle.h"
#include "platform/files.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#ifdef _WIN32
#include <windows.h>
#endif

namespace glintbook::test {

void SaveShot(const GameFolder& folder, const std::string& name, int width, int height, unsigned seed) {
    SavePicture(RandomPicture(width, height, seed), folder.file(name));
}

void InstallGame(const GameFolder& folder, const std::string& ini, Kit what) {
    folder.write("Morrowind.ini", ini);
    if (what.textures) folder.mkdir("Data Files/Textures");
    if (what.expansion) folder.write("Data Files/Tribunal.esm", "");
    if (what.plugin) folder.write(what.expansion ? "Data Files/Glintbook_TB.esp" : "Data Files/Glintbook.esp", "");
    if (what.stock) folder.write("Data Files/Textures/qor_tx_photo_orig.bmp", Stock);
}

Failure FailureOf(const std::function<void()>& fn) {
    try {
        fn();
    } catch (const Failure& f) {
        return f;
    }
    ADD_FAILURE() << "expected a failure";
    return Failure(0, "");
}

Fault::Fault(std::string where, int err, std::string step) {
    // Compared with '/' for a separator, as the tests write `where`.
    std::replace(where.begin(), where.end(), '\\', '/');
    files::SetFaultHook([where, err, step](std::string_view s, std::string path) {
        std::replace(path.begin(), path.end(), '\\', '/');
        return path.find(where) != std::string::npos && (step.empty() || s == step) ? err : 0;
    });
}

Fault::~Fault() { files::SetFaultHook(nullptr); }

std::vector<std::string> Temporaries(const GameFolder& folder) {
    std::vector<std::string> found;
    for (const auto& e : std::filesystem::recursive_directory_iterator(folder.path()))
        if (e.path().filename().string().find(".tmp-") != std::string::npos) found.push_back(e.path().string());
    return found;
}

void SetEnvironment(const std::string& name, const std::string& value) {
#ifdef _WIN32
    // The runtime's copy for getenv, the system's for the programs started.
    ::_putenv_s(name.c_str(), value.c_str());
    ::SetEnvironmentVariableA(name.c_str(), value.empty() ? nullptr : value.c_str());
#else
    if (value.empty())
        ::unsetenv(name.c_str());
    else
        ::setenv(name.c_str(), value.c_str(), 1);
#endif
}

}  // namespace glintbook::test
