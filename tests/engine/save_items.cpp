// engine-save-items SAVE ID...: how many of each item the player carries in
// a game saved by the open engine, read from the player's record (each item
// of the inventory: its id in NAME, its count in COUN when not 1), one
// "ID COUNT" line each. The whole file is read through the test suite's
// record reader, so a save it cannot frame fails too.
#include "platform/files.h"
#include "support/records.h"

#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
    try {
        const auto records = glintbook::test::ReadRecords(glintbook::files::ReadFile(argv[1]));
        for (int i = 2; i < argc; ++i) {
            long count = 0;
            for (const auto& r : records) {
                if (r.tag != "PLAY") continue;
                for (std::size_t s = 0; s < r.subs.size(); ++s) {
                    if (r.subs[s].tag != "NAME" || r.subs[s].data.substr(0, r.subs[s].data.find('\0')) != argv[i]) continue;
                    std::int32_t n = 1;
                    for (std::size_t t = s + 1; t < r.subs.size() && r.subs[t].tag != "NAME"; ++t)
                        if (r.subs[t].tag == "COUN") n = glintbook::test::As<std::int32_t>(r.subs[t]);
                    count += n;
                }
            }
            std::printf("%s %ld\n", argv[i], count);
        }
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "engine-save-items: %s\n", e.what());
        return 1;
    }
}
