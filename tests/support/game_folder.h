#pragma once
// A fresh temporary game folder that becomes the current directory for the
// life of the object, as the program expects to be started in the game's
// folder. The previous directory is restored and the folder removed after.
#include <string>
#include <string_view>

namespace glintbook::test {

class GameFolder {
public:
    GameFolder();
    ~GameFolder();
    GameFolder(const GameFolder&) = delete;
    GameFolder& operator=(const GameFolder&) = delete;

    const std::string& path() const { return path_; }
    // Absolute path of a file below the folder ("Data Files/Textures/x.bmp").
    std::string file(std::string_view relative) const;
    void write(std::string_view relative, std::string_view bytes) const;
    std::string read(std::string_view relative) const;
    bool exists(std::string_view relative) const;
    void mkdir(std::string_view relative) const;  // with parents

private:
    std::string path_;
    std::string previous_;
};

// The bytes of a file of tests/data. A missing file throws, and the test
// that needs it fails saying which.
std::string TestData(std::string_view name);

}  // namespace glintbook::test
