#include "support/game_folder.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace fs = std::filesystem;

namespace glintbook::test {

GameFolder::GameFolder() : previous_(fs::current_path().string()) {
    // A name nobody holds: create_directory says false for one that exists.
    static std::mt19937_64 random{std::random_device{}()};
    std::error_code ec;
    do path_ = (fs::temp_directory_path() / ("glintbook-game-" + std::to_string(random()))).string();
    while (!fs::create_directory(path_, ec) && !ec);
    if (ec) throw std::runtime_error("no temporary game folder: " + ec.message());
    fs::current_path(path_);
}

GameFolder::~GameFolder() {
    std::error_code ec;
    fs::current_path(previous_, ec);
    // Tests may leave read-only folders behind; make them removable first.
    for (auto it = fs::recursive_directory_iterator(path_, ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec))
        fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ec);
    fs::permissions(path_, fs::perms::owner_all, fs::perm_options::add, ec);
    fs::remove_all(path_, ec);
}

std::string GameFolder::file(std::string_view relative) const {
    return (fs::path(path_) / fs::path(relative).make_preferred()).string();
}

void GameFolder::write(std::string_view relative, std::string_view bytes) const {
    const fs::path p = file(relative);
    if (p.has_parent_path()) fs::create_directories(p.parent_path());
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), std::streamsize(bytes.size()));
    if (!out) throw std::runtime_error("cannot write " + p.string());
}

std::string GameFolder::read(std::string_view relative) const {
    std::ifstream in(file(relative), std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + file(relative));
    return std::string(std::istreambuf_iterator<char>(in), {});
}

bool GameFolder::exists(std::string_view relative) const { return fs::exists(file(relative)); }

void GameFolder::mkdir(std::string_view relative) const { fs::create_directories(file(relative)); }

std::string TestData(std::string_view name) {
    const std::string path = std::string(GLINTBOOK_TEST_DATA) + "/" + std::string(name);
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("missing test data file " + path);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace glintbook::test
