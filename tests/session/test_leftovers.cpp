// The temporary files of writes cut short are removed at the next start:
// exactly those of the writer's own naming, in every folder the program writes.
#include "platform/files.h"
#include "session/leftovers.h"
#include "settings/game_files.h"
#include "support/game_folder.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace glintbook {
namespace {

namespace fs = std::filesystem;
using test::GameFolder;

struct Name {
    const char* name;
    bool folder;
    bool ours;
};
void PrintTo(const Name& n, std::ostream* os) { *os << n.name; }

class LeftoverName : public ::testing::TestWithParam<Name> {};

TEST_P(LeftoverName, GoesOnlyWhenTheWritersOwn) {
    GameFolder folder;
    if (GetParam().folder) folder.mkdir(GetParam().name);
    else folder.write(GetParam().name, "x");
    files::RemoveLeftovers(folder.path());
    EXPECT_EQ(folder.exists(GetParam().name), !GetParam().ours);
}

INSTANTIATE_TEST_SUITE_P(Names, LeftoverName, ::testing::Values(
    Name{".Morrowind.ini.tmp-a1B2c3", false, true},
    Name{".Photo 7.bmp.tmp-ZZZZZZ", false, true},
    Name{".0123456789012345678901234567890123456789.tmp-abcdef", false, true},  // a long name cut to 40
    Name{".01234567890123456789012345678901234567890.tmp-abcdef", false, false},
    Name{".Morrowind.ini.tmp-abcde", false, false},
    Name{".Morrowind.ini.tmp-abcdefg", false, false},
    Name{".Morrowind.ini.tmp-abc_ef", false, false},
    Name{"Morrowind.ini.tmp-abcdef", false, false},
    Name{"..tmp-abcdef", false, false},
    Name{".Morrowind.ini.bak", false, false},
    Name{".hidden", false, false},
    Name{".Morrowind.ini.tmp-Folder", true, false}));

struct Target {
    const char* label;
    std::string path;  // the game's way, relative to the game folder
    bool linked;       // Morrowind.ini links to a file in another folder
};
void PrintTo(const Target& t, std::ostream* os) { *os << t.path; }

// The real folder of a target, and how many temporaries it holds.
int Temporaries(const std::string& target) {
    int n = 0;
    for (const auto& e : fs::directory_iterator(fs::canonical(target).parent_path()))
        n += e.path().filename().string().find(".tmp-") != std::string::npos;
    return n;
}

class KilledWrite : public ::testing::TestWithParam<Target> {};

TEST_P(KilledWrite, LeavesNothingAfterARestart) {
    GameFolder folder;
    const std::string target = files::GamePath(GetParam().path);
    const std::string real = GetParam().linked ? folder.file("elsewhere/Morrowind.ini") : target;
    fs::create_directories(fs::path(real).parent_path());
    files::WriteFileAtomic(real, "old");
    if (GetParam().linked) fs::create_symlink(real, target);

#ifdef _WIN32
    // No fork here: the file a write killed before its rename leaves.
    std::ofstream(fs::path(real).parent_path() / ("." + fs::path(real).filename().string() + ".tmp-a1b2c3")) << "new";
#else
    const pid_t pid = ::fork();
    if (pid == 0) {
        files::SetFaultHook([](std::string_view step, const std::string&) {
            if (step == "rename") ::raise(SIGKILL);
            return 0;
        });
        files::WriteFileAtomic(target, "new");
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
#endif
    ASSERT_EQ(Temporaries(target), 1);

    RemoveLeftoverTemporaries();
    EXPECT_EQ(Temporaries(target), 0);
    EXPECT_EQ(files::ReadFile(real), "old");
}

const std::vector<Target> Targets = {
    {"Settings", game::SettingsFile, false},
#ifndef _WIN32  // a link needs a privilege on Windows
    {"LinkedSettings", game::SettingsFile, true},
#endif
    {"Archive", game::ArchivePath("ScreenShot", 3, 0), false},
    {"Texture", game::TexturePath(3), false},
    {"BookArt", game::BookArtPath(4), false}};

INSTANTIATE_TEST_SUITE_P(Folders, KilledWrite, ::testing::ValuesIn(Targets),
    [](const auto& info) { return std::string(info.param.label); });

}  // namespace
}  // namespace glintbook
