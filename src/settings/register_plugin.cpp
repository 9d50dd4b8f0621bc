#include "settings/register_plugin.h"

#include <string>

#include "settings/catalogue.h"
#include "settings/game_files.h"
#include "settings/settings_file.h"

// Where the load list leaves a choice:
// - A list that already holds the wanted name (at any position, 0 included)
//   is left as it is; writing it again would make the list alternate between
//   one and two copies from launch to launch. Of two copies the remembered
//   first one is removed; 0 stands for "none remembered", so a copy at 0 is
//   never removed.
// - A list whose positions 0..256 all hold other entries is not written: the
//   game could not load a name entered behind them.
// - A removal rewrites keys up to GameFile255 only, so in a longer list
//   GameFile256 then also appears at GameFile255, where the game never looks.

namespace glintbook {

namespace {

constexpr int LastScannedPosition = 256;
constexpr int LastShiftedKey = 255;

std::string ReadEntry(int position) { return ReadSettingText(section::GameFiles, GameFileKey(position)); }

void WriteEntry(int position, const std::string& name) { WriteSetting(section::GameFiles, GameFileKey(position), name); }

// Removes the entry at `position`: everything behind it moves down one place,
// and the key at the former end is left with an empty value.
void RemoveEntry(int position) {
    for (int q = position; q <= LastShiftedKey; ++q) {
        const std::string next = ReadEntry(q + 1);
        WriteEntry(q, next);
        if (next.empty()) return;
    }
}

}  // namespace

void RegisterPlugin() {
    int firstCopy = 0;  // position of the first copy met; 0 means none
    bool holdsWanted = false;

    for (int position = 0; position <= LastScannedPosition; ++position) {
        const std::string entry = ReadEntry(position);

        // Tested for every entry: the expansion decides which name is wanted,
        // and nothing is assumed to stay the same between two reads.
        const bool expansion = game::ExpansionInstalled();
        const std::string wanted = game::WantedPlugin(expansion);
        const std::string other = game::WantedPlugin(!expansion);

        if (entry == wanted) {
            if (firstCopy != 0) {
                RemoveEntry(firstCopy);
                return;
            }
            firstCopy = position;
            holdsWanted = true;
            continue;
        }
        if (entry == other || entry.empty()) {
            // Already registered: leave the list alone (see above).
            if (!holdsWanted) WriteEntry(position, wanted);
            return;
        }
    }
}

}  // namespace glintbook
