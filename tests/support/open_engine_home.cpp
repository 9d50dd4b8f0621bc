#include "support/open_engine_home.h"

#include "support/game_kit.h"

#include <cctype>
#include <cstdlib>
#include <filesystem>
#ifdef _WIN32
#include "platform/windows_text.h"

#include <windows.h>
#include <knownfolders.h>
#endif

namespace glintbook::test {

namespace {

namespace fs = std::filesystem;

const char* const kVariables[] = {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "PATH"};

std::string Get(const char* name) {
    const char* v = std::getenv(name);
    return v ? v : "";
}

}  // namespace

OpenEngineHome::OpenEngineHome(const GameFolder& folder, const std::vector<std::pair<std::string, std::string>>& files,
                               const std::string& program) {
    for (int i = 0; i < 4; ++i) saved_[i] = Get(kVariables[i]);
#ifdef _WIN32
    // The test programs run side by side and share the one Documents folder.
    documents_ = ::CreateMutexW(nullptr, FALSE, L"glintbook-tests-documents-openmw");
    if (documents_) ::WaitForSingleObject(documents_, INFINITE);
    docs_ = windows::KnownFolder(FOLDERID_Documents);
    const char* exe = "openmw.exe";
    const char separator = ';';
#else
    docs_ = folder.file("home/Documents");
    const char* exe = "openmw";
    const char separator = ':';
#endif
    tokens_ = {{"DATA", folder.file("Data Files")}, {"APP", folder.file("home/.var/app/org.openmw.OpenMW")},
               {"HOME", folder.file("home")},       {"DOCS", docs_},
               {"BIN", folder.file("bin")},         {"ROOT", folder.path()}};
    folder.mkdir("home");
    folder.mkdir("bin");
    folder.mkdir("Data Files");
    if (program.empty()) folder.write(std::string("bin/") + exe, "#!/bin/sh\n");
    else fs::copy_file(program, folder.file(std::string("bin/") + exe));
    SetEnvironment("HOME", folder.file("home"));
    SetEnvironment("XDG_CONFIG_HOME", "");
    SetEnvironment("XDG_DATA_HOME", "");
    SetEnvironment("PATH", folder.file("bin") + separator + saved_[3]);
    for (const auto& [path, text] : files) {
        const fs::path file = fs::path(here(path));
        fs::create_directories(file.parent_path());
        const std::string bytes = here(text);
        FILE* f = std::fopen(file.string().c_str(), "wb");
        if (f) std::fwrite(bytes.data(), 1, bytes.size(), f), std::fclose(f);
    }
    // Programs: whatever lies in BIN.
    for (const auto& e : fs::directory_iterator(folder.file("bin")))
        fs::permissions(e.path(), fs::perms::owner_all, fs::perm_options::add);
}

OpenEngineHome::~OpenEngineHome() {
    for (int i = 0; i < 4; ++i) SetEnvironment(kVariables[i], saved_[i]);
#ifdef _WIN32
    std::error_code ec;
    fs::remove_all(fs::path(docs_) / "My Games" / "OpenMW", ec);
    if (documents_) ::ReleaseMutex(documents_), ::CloseHandle(documents_);
#endif
}

std::string OpenEngineHome::here(std::string text) const {
    // A token is a word of its own: XDG_DATA_HOME holds neither DATA nor HOME.
    const auto inWord = [&](size_t at) { return at < text.size() && (std::isalnum(static_cast<unsigned char>(text[at])) || text[at] == '_'); };
    for (const auto& [token, value] : tokens_)
        for (auto at = text.find(token); at != std::string::npos; at = text.find(token, at + 1)) {
            if ((at > 0 && inWord(at - 1)) || inWord(at + token.size())) continue;
            text.replace(at, token.size(), value);
            at += value.size() - 1;
        }
    return text;
}

}  // namespace glintbook::test
