// glintbook-resample, run as a program.
#include "imaging/picture_io.h"
#include "resample_oracle.h"
#include "support/game_folder.h"

#include <QProcess>

#include <gtest/gtest.h>

namespace glintbook {
namespace {

// Exit code (-1 when it did not finish normally) and what went to stderr.
std::pair<int, std::string> RunTool(const QStringList& args) {
    QProcess p;
    p.start(QStringLiteral(RESAMPLE_TOOL_PATH), args);
    if (!p.waitForFinished(60000) || p.exitStatus() != QProcess::NormalExit) return {-1, ""};
    return {p.exitCode(), p.readAllStandardError().toStdString()};
}

TEST(ResampleTool, ResizesLikeTheLibrary) {
    test::GameFolder folder;
    const Picture source = test::RandomPicture(200, 150, 17);
    SavePicture(source, folder.file("in.bmp"));
    for (auto [w, h] : {std::pair{64, 48}, {512, 512}, {33, 7}}) {
        const auto [code, err] = RunTool({QString::fromStdString(folder.file("in.bmp")),
                                          QString::fromStdString(folder.file("out.bmp")), QString::number(w),
                                          QString::number(h)});
        ASSERT_EQ(code, 0) << err;
        EXPECT_EQ(LoadPicture(folder.file("out.bmp")).pixels, test::OracleResize(source, w, h).pixels) << w << "x" << h;
    }
}

TEST(ResampleTool, RefusesBadArgumentsAndFiles) {
    test::GameFolder folder;
    SavePicture(test::RandomPicture(4, 4, 1), folder.file("in.bmp"));
    folder.write("text.bmp", "this is not a picture at all, only words in a file");
    const QString in = QString::fromStdString(folder.file("in.bmp")), out = QString::fromStdString(folder.file("out.bmp"));
    const auto [code, usage] = RunTool({});
    EXPECT_EQ(code, 2);
    EXPECT_NE(usage.find("usage: glintbook-resample IN.bmp OUT.bmp WIDTH HEIGHT"), std::string::npos);
    // Sizes: not numbers, out of range, or (32768 x 32768) too many pixels.
    for (auto [w, h] : {std::pair{"abc", "10"}, {"10", "0"}, {"-5", "10"}, {"12x", "10"}, {"10", ""}, {"+3", "4"},
                        {"99999", "1"}, {"32768", "32768"}}) {
        const auto [c, err] = RunTool({in, out, w, h});
        EXPECT_EQ(c, 2) << w << " x " << h << ": " << err;
    }
    EXPECT_EQ(RunTool({in, out, "4"}).first, 2);
    // Files: missing (error 53), not a picture (481), no folder to write to.
    const auto missing = RunTool({QString::fromStdString(folder.file("none.bmp")), out, "8", "8"});
    EXPECT_EQ(missing.first, 1);
    EXPECT_NE(missing.second.find("error 53"), std::string::npos) << missing.second;
    const auto text = RunTool({QString::fromStdString(folder.file("text.bmp")), out, "8", "8"});
    EXPECT_EQ(text.first, 1);
    EXPECT_NE(text.second.find("error 481"), std::string::npos) << text.second;
    EXPECT_EQ(RunTool({in, QString::fromStdString(folder.file("no/dir/out.bmp")), "8", "8"}).first, 1);
    EXPECT_FALSE(folder.exists("out.bmp"));
}

}  // namespace
}  // namespace glintbook
