#include "settings_file.h"

#include "platform/files.h"
#include "settings/game_files.h"
#include "settings/profile.h"

namespace glintbook {

std::string SettingsFile() { return files::GamePath(game::SettingsFile); }

int ReadSettingInt(std::string_view section, std::string_view key) {
    return profile::GetInt(SettingsFile(), section, key, 0);
}

std::string ReadSettingText(std::string_view section, std::string_view key) {
    return profile::GetString(SettingsFile(), section, key, "", 256);
}

void WriteSetting(std::string_view section, std::string_view key, std::string_view value) {
    profile::WriteString(SettingsFile(), section, key, value);
}

}  // namespace glintbook
