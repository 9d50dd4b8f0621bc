// Glintbook: started in the game's folder, takes no arguments.
#include "app/qt/frmMain.h"
#include "imaging/picture_io.h"
#include "platform/instance.h"
#include "session/leftovers.h"

#include <QApplication>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    app.setApplicationName("Glintbook");
    // The program ends only through its own ways out, each with its status.
    app.setQuitOnLastWindowClosed(false);
    // One Glintbook per game folder: a later one brings the first forward.
    glintbook::instance::FolderClaim claim;
    if (claim.state() == glintbook::instance::FolderClaim::State::Taken) return claim.CallHolder(), 0;
    if (claim.state() == glintbook::instance::FolderClaim::State::Held)
        glintbook::RemoveLeftoverTemporaries();  // of writes a crash cut short
    glintbook::KeepPictureMemory();
    glintbook::frmMain form;
    if (form.logic.ended()) return *form.logic.exitStatus();  // its load handler failed
    form.answerCalls(claim);
    form.show();  // a window without a parent opens centred on the screen
    return app.exec();
}
