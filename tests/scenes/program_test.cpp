// The commands as processes with the real bundle: what they print and the files they leave.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/cli/offscreen_gl.h"
#include "host/cli/picture_file.h"
#include "host/cli/test_inputs.h"

namespace quillon {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

class Commands : public testing::Test {
  protected:
    Commands() : folder(fs::temp_directory_path() / ("quillon-commands-" + std::to_string(::getpid()))) {
        fs::create_directories(folder);
        writePicture(folder / "chart.png", testInput("@chart", 160, 90), {.depth = 8});
    }
    ~Commands() override { fs::remove_all(folder); }

    std::string contents(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream(folder / name, std::ios::binary).rdbuf();
        return text.str();
    }
    int run(const std::string& arguments) {
        const std::string command = "cd " + folder.string() + " && K7BM_HOME_DIR=" + (folder / "home").string() + " " +
                                    QUILLON_PROGRAM + " " + arguments + " >out 2>err </dev/null";
        const int code = std::system(command.c_str());
        out = contents("out");
        err = contents("err");
        return WEXITSTATUS(code);
    }
    void expectQuiet() const {
#ifndef QUILLON_SANITIZED
        EXPECT_EQ(err, "");
#endif
    }

    fs::path folder;
    std::string out, err;
};

TEST_F(Commands, RenderTellsTheTimeByStageWhenAsked) {
    ASSERT_EQ(run("render Q_CrashZoom -i chart.png -o a.png"), 0) << err;
    expectQuiet();
    EXPECT_THAT(out, Not(HasSubstr("ms")));
    ASSERT_EQ(run("render Q_CrashZoom -i chart.png -o a.%d.png -f 1-3 --time --log log"), 0) << err;
    expectQuiet();
#ifndef QUILLON_SANITIZED
    EXPECT_THAT(contents("log"), HasSubstr("ms elapsed")) << "what the effect says goes there";
#endif
    EXPECT_THAT(out, testing::ContainsRegex("Radial LIC +3 +[0-9]+\\.[0-9]{3} +[0-9]+\\.[0-9]{3}\n"));
}

TEST_F(Commands, RenderFillsAClipThatMayStayEmptyAndTellsSo) {
    ASSERT_EQ(run("render TrailAverage -i chart.png -o a.png"), 0) << err;
    EXPECT_THAT(err + out, HasSubstr("the clip Matte has no input and gets chart.png"));
    ASSERT_EQ(run("render TrailAverage -i chart.png -i Matte=chart.png -o b.png"), 0) << err;
    EXPECT_EQ(contents("a.png"), contents("b.png"));
    EXPECT_EQ(run("render TransFlow -i chart.png -o c.png"), 2) << "its second clip is needed indeed";
    EXPECT_THAT(err, HasSubstr("BackG"));
}

TEST_F(Commands, ReferenceShowsThePicturesThatAreThere) {
    fs::create_directories(folder / "docs/images/effects");
    std::ofstream(folder / "docs/images/effects/Darken.jpg") << "x";
    ASSERT_EQ(run("reference"), 0) << err;
    EXPECT_THAT(contents("docs/effects/Darken.md"), HasSubstr("src=\"../images/effects/Darken.jpg\""));
    EXPECT_THAT(contents("docs/effects/Lighten.md"), Not(HasSubstr("<img")));
    ASSERT_EQ(run("reference Lighten --pictures -o elsewhere/pages --examples " QUILLON_SOURCE "/examples"), 0) << err;
    EXPECT_EQ(readPictureInfo(folder / "elsewhere/images/effects/Lighten.jpg").width, 1280);
    EXPECT_THAT(contents("elsewhere/pages/Lighten.md"), HasSubstr("src=\"../images/effects/Lighten.jpg\""));
    EXPECT_EQ(run("reference -o chart.png"), 1);
}

TEST_F(Commands, OverlayDrawsOnTheRenderedFrame) {
    if (!OffscreenGl::available()) GTEST_SKIP() << "there is no libOSMesa";
    ASSERT_EQ(run("overlay CrashZoom -i chart.png -o o.png -p Speed=0 -p Radius=0.5"), 0) << err;
    expectQuiet();
    const Picture plain = testInput("@chart", 160, 90), drawn = readPicture(folder / "o.png");
    ASSERT_EQ(drawn.rgba.size(), plain.rgba.size());
    int changed = 0;
    for (std::size_t i = 0; i < plain.rgba.size(); i += 4)
        changed += std::abs(plain.rgba[i] - drawn.rgba[i]) + std::abs(plain.rgba[i + 1] - drawn.rgba[i + 1]) > 0.05f;
    EXPECT_GT(changed, 200) << "a circle of 40 pixels' radius and a crosshair";
    EXPECT_LT(changed, 1500);
    ASSERT_EQ(run("overlay CrashZoom -i chart.png -o p.png -p Speed=0 -p Radius=0.5 --pen 0.5,0.5:0.8,0.5"), 0) << err;
    EXPECT_NE(readPicture(folder / "p.png").rgba, drawn.rgba) << "the centre has moved";
    EXPECT_EQ(run("overlay CrashZoom -i chart.png -o d.png --pen 0.5"), 2);
    EXPECT_EQ(run("overlay Darken -i chart.png -o d.png"), 1) << "it has no handles";
    EXPECT_FALSE(fs::exists(folder / "d.png"));
}

}  // namespace
}  // namespace quillon
