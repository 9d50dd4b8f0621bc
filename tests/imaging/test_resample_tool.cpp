// glintbook-resample, run as a program in a game folder (its current directory).
#include "imaging/picture_io.h"
#include "resample_oracle.h"
#include "support/game_folder.h"

#include <QProcess>

#include <gtest/gtest.h>

namespace glintbook {

// Arguments, exit code and what stderr must hold; the runs that fail come
// first and must write nothing, the others must write the loop's picture.
// Sizes: not numbers, out of range, or (32768 x 32768) too many pixels;
// files: missing (error 53), not a picture (481), no folder to write to.
TEST(ResampleTool, ResizesLikeTheLoopOrRefuses) {
    test::GameFolder folder;
    const Picture source = test::RandomPicture(200, 150, 17);
    SavePicture(source, folder.file("in.bmp"));
    folder.write("text.bmp", "this is not a picture at all, only words in a file");
    const QString in = "in.bmp", out = "out.bmp";
    const struct { QStringList args; int code; std::string said; } runs[] = {
        {{}, 2, "usage: glintbook-resample IN.bmp OUT.bmp WIDTH HEIGHT"}, {{in, out, "4"}, 2, "usage"},
        {{in, out, "abc", "10"}, 2, "bad size"}, {{in, out, "10", "0"}, 2, "bad size"}, {{in, out, "-5", "10"}, 2, "bad size"},
        {{in, out, "12x", "10"}, 2, "bad size"}, {{in, out, "10", ""}, 2, "bad size"}, {{in, out, "+3", "4"}, 2, "bad size"},
        {{in, out, "99999", "1"}, 2, "bad size"}, {{in, out, "32768", "32768"}, 2, "pixels"},
        {{"none.bmp", out, "8", "8"}, 1, "error 53"}, {{"text.bmp", out, "8", "8"}, 1, "error 481"},
        {{in, "no/dir/out.bmp", "8", "8"}, 1, "error"}, {{in, out, "64", "48"}, 0, ""}, {{in, out, "512", "512"}, 0, ""},
        {{in, out, "33", "7"}, 0, ""},
    };
    for (const auto& run : runs) {
        SCOPED_TRACE(run.args.join(' ').toStdString());
        QProcess p;
        p.start(QStringLiteral(RESAMPLE_TOOL_PATH), run.args);
        ASSERT_TRUE(p.waitForFinished(60000) && p.exitStatus() == QProcess::NormalExit);
        const std::string said = p.readAllStandardError().toStdString();
        EXPECT_EQ(p.exitCode(), run.code) << said;
        EXPECT_NE(said.find(run.said), std::string::npos) << said;
        ASSERT_EQ(folder.exists("out.bmp"), run.code == 0);
        if (run.code != 0) continue;
        EXPECT_EQ(LoadPicture(folder.file("out.bmp")).pixels,
                  test::OracleResize(source, run.args[2].toInt(), run.args[3].toInt()).pixels);
    }
}

}  // namespace glintbook
