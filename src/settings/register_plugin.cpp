#include "settings/register_plugin.h"

#include <string>

#include "settings/catalogue.h"
#include "settings/game_files.h"
#include "settings/settings_file.h"

// Rules for the cases the load list leaves open:
//
// - A list that already holds the wanted name is left as it is when the scan
//   then meets the other name or the end of the list. Writing the wanted name
//   again would only make the list alternate between one and two copies from
//   one launch to the next.
// - "Holds the wanted name" counts a copy at any position, position 0
//   included. The remembered first copy uses 0 for "none", so a copy at
//   position 0 is never remembered and never removed; it still counts as
//   present, so it is not appended again. Two copies are reduced by removing
//   the remembered first copy when the next one is met; with copies at 0 and
//   at p > 0 only p is remembered, and the list stays as it is unless a third
//   copy follows.
// - A list whose positions 0..256 all hold other entries gets no
//   registration and is not written: the game cannot load that many files,
//   so a name entered behind them would not be loaded either.
// - A removal rewrites keys up to GameFile255 only. In a list that reaches
//   beyond GameFile256, the entries from GameFile256 on stay where they are,
//   so GameFile256 then also appears at GameFile255. The game never gets to
//   those positions.

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
