// libFuzzer target: LoadPicture and SavePicture (see harness_bmp.h).
#include "fuzz_folder.h"
#include "harness_bmp.h"

#include <QtGlobal>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Qt's reader warns about every odd palette index; the log is for findings.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace glintbook::fuzzing;
    AbortOnProblems(CheckBmpInput(data, size, ScratchFolder()));
    return 0;
}
