#include "session/monitor.h"

#include "imaging/picture_rows.h"
#include "platform/failure.h"
#include "platform/files.h"
#include "platform/processes.h"
#include "session/close_session.h"
#include "session/import.h"
#include "settings/prepare_session.h"

#include <algorithm>

namespace glintbook {

namespace {

using shots::Source;

// The game names its screenshot once it is written: taken as soon as it is
// there, by the game's own import, which reads the counter once and takes
// the file that number names, should the game raise it meanwhile.
ImportOutcome TakeNamed(const Source& source, const Choices& choices) {
    return source.shots().empty() ? ImportOutcome::Done : ImportScreenshot(choices);
}

// What a writer that is not done yet may show a reader: a picture cut short,
// a file it still holds, or one it has just renamed away.
bool NotWholeYet(int number) {
    return number == ErrInvalidPicture || number == ErrPermissionDenied || number == ErrPathFileAccess ||
           number == ErrFileAlreadyOpen || number == ErrFileNotFound;
}

// A writer that writes in place: a new file is taken when its size held
// above zero since the last tick, or at once when the game has gone
// (`last`). One that still is no picture waits until it changes; when the
// game has gone it is left where it is, as is an empty one.
ImportOutcome TakeWritten(Source& source, const Choices& choices, bool last) {
    for (const std::string& path : source.shots()) {
        const std::string name = shots::FileName(path);
        if (source.earlier.contains(name)) continue;
        const auto size = files::FileSize(path).value_or(0);
        const auto before = source.sizes.find(name);
        const bool held = before != source.sizes.end() && before->second == size;
        source.sizes[name] = size;
        const auto refused = source.refused.find(name);
        if (size == 0 || (!held && !last) || (refused != source.refused.end() && refused->second == size)) continue;
        // Opening checks the header and that every row is there; a file
        // whose damage shows only when it is decoded in order (PNG, JPEG)
        // is decoded whole here, the only way to know it is whole.
        std::unique_ptr<pictures::RowSource> rows;
        try {
            rows = pictures::OpenRows(path);
            if (!rows->AnyOrder()) rows = pictures::RowsOfPicture(pictures::ReadAll(*rows));
        } catch (const Failure& failure) {
            if (!NotWholeYet(failure.number())) throw;
            source.refused[name] = size;
            continue;
        }
        source.sizes.erase(name);
        source.refused.erase(name);
        // One kept where it lies is never taken again.
        if (source.archive(path, 0).empty()) source.earlier.insert(name);
        if (ImportShot(choices, source, path, std::move(rows)) == ImportOutcome::AlbumClosed)
            return ImportOutcome::AlbumClosed;
    }
    return ImportOutcome::Done;
}

bool Seen(const std::vector<std::string>& names, game::Engine engine) {
    return std::any_of(names.begin(), names.end(), [engine](const std::string& n) { return game::EngineOfProcess(n) == engine; });
}

}  // namespace

TickOutcome MonitorTick(Session& session, const Choices& choices, const ProcessSource& source) {
    // Named screenshots are looked for before the process walk, so that one
    // written just before the game ended is taken before the session closes.
    if (session.gameRunning)
        for (Source& s : session.sources)
            if (s.whole == shots::Whole::WhenNamed && TakeNamed(s, choices) == ImportOutcome::AlbumClosed)
                CloseSession(choices);

    const auto names = source ? source() : processes::ExecutableNames();
    if (!names) return TickOutcome::SnapshotFailed;

    if (session.gameRunning) {
        const bool seen = Seen(*names, session.engine);
        for (Source& s : session.sources)
            if (s.whole == shots::Whole::WhenSizeHolds && TakeWritten(s, choices, !seen) == ImportOutcome::AlbumClosed)
                CloseSession(choices);
        if (!seen) CloseSession(choices);
        return TickOutcome::Continue;
    }

    const game::Engine engine = Seen(*names, game::Engine::Original) ? game::Engine::Original : game::Engine::Open;
    if (engine == game::Engine::Open && !Seen(*names, engine)) return TickOutcome::Continue;
    shots::Sources found = shots::SourcesFor(engine);
    if (found.live.empty()) {
        // Said once: the engine plays another folder, or its load list
        // cannot be read; this window's albums get nothing from it.
        if (session.told) return TickOutcome::Continue;
        session.told = true;
        session.notice = found.notice;
        return TickOutcome::Notice;
    }
    PrepareSession(choices, engine);
    session.engine = engine;
    session.sources = std::move(found.live);
    session.gameRunning = true;
    if (found.notice.empty()) return TickOutcome::Continue;
    session.notice = found.notice;
    return TickOutcome::Notice;
}

}  // namespace glintbook
