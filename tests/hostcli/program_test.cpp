// The program as it is used: a process with arguments, files and an exit code.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "host/cli/picture_file.h"
#include "temporary_folder.h"

namespace quillon {
namespace {

using testing::HasSubstr;
using testing::Not;
using Json = nlohmann::ordered_json;

std::string contents(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class Program : public testing::Test {
  protected:
    struct Result {
        int code = -1;
        std::string out, err;
    };

    pid_t start(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), QUILLON_PROGRAM);
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            if (!std::freopen((m_streams / "out").c_str(), "w", stdout)) _exit(99);
            if (!std::freopen((m_streams / "err").c_str(), "w", stderr)) _exit(99);
            execv(QUILLON_PROGRAM, argv.data());
            _exit(98);
        }
        return child;
    }
    Result finish(pid_t child) {
        int status = 0;
        waitpid(child, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), contents(m_streams / "out"),
                contents(m_streams / "err")};
    }
    Result run(const std::vector<std::string>& arguments) { return finish(start(arguments)); }

    static std::vector<std::string> words(std::initializer_list<std::string> head,
                                          const std::vector<std::string>& rest) {
        std::vector<std::string> all = head;
        all.insert(all.end(), {"--bundle", TEST_BUNDLE});
        all.insert(all.end(), rest.begin(), rest.end());
        return all;
    }
    Result render(const std::vector<std::string>& rest) { return run(words({"render", "mixer"}, rest)); }

    std::string picture(const std::string& name, float value, int width = 3, int height = 2) {
        Picture made(width, height);
        for (std::size_t i = 0; i < made.rgba.size(); ++i) made.rgba[i] = value + static_cast<float>(i) / 64.0f;
        writePicture(folder / name, made, {});
        return folder / name;
    }
    std::vector<float> pixel(const std::string& name, int x = 0, int y = 0) {
        const Picture read = readPicture(folder / name);
        const float* at = read.row(y) + static_cast<std::size_t>(x) * 4;
        return {at, at + 4};
    }

    TemporaryFolder folder;

  private:
    TemporaryFolder m_streams;
};

TEST_F(Program, ListsTheEffects) {
    Result result = run(words({"list"}, {}));
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("Mixer of tests"));
    result = run(words({"list", "--json"}, {}));
    const Json list = Json::parse(result.out);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0]["identifier"], "com.brindlemoor.tests.Q_Mixer");
    EXPECT_EQ(list[0]["contexts"], Json({"general", "filter", "generator"}));
    EXPECT_EQ(list[1]["name"], "Q_Other");
}

TEST_F(Program, DescribesExactlyWhatWasSet) {
    Result result = run(words({"describe", "Q_Mixer", "--json", "--host", "nuke", "--context", "filter"}, {}));
    ASSERT_EQ(result.code, 0) << result.err;
    const Json effect = Json::parse(result.out);
    EXPECT_EQ(effect["host"], "uk.co.thefoundry.nuke");
    EXPECT_EQ(effect["context"], "filter");
    EXPECT_EQ(effect["properties"].begin().key(), "OfxPropLabel");
    EXPECT_EQ(effect["properties"]["OfxImageEffectPropSupportsTiles"], 0);
    EXPECT_FALSE(effect["properties"].contains("OfxImageEffectPropTemporalClipAccess")) << "was not set";
    EXPECT_EQ(effect["clips"][1]["name"], "Plate");
    EXPECT_EQ(effect["clips"][1]["properties"]["OfxImageClipPropOptional"], 0);
    EXPECT_EQ(effect["groups"][0]["children"], Json({"Gain"}));
    EXPECT_EQ(effect["parameters"][1]["name"], "Gain");
    EXPECT_EQ(effect["parameters"][1]["properties"]["OfxParamPropMax"], 1000.0);
    EXPECT_EQ(effect["parameters"][4]["properties"]["OfxParamPropChoiceOption"], Json({"Picture", "Report", "Press"}));

    result = run(words({"describe", "com.brindlemoor.tests.q_mixer", "--context", "generator"}, {}));
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("OfxImageClipPropOptional = 1"));
}

TEST_F(Program, SaysWhatIsWrongWithACommandLine) {
    const std::string in = picture("in.exr", 0.5f), out = folder / "out.exr";
    const struct {
        std::vector<std::string> arguments;
        int code;
        const char* message;
    } cases[] = {
        {{}, 2, "subcommand"},
        {{"frobnicate"}, 2, ""},
        {{"render"}, 2, "EFFECT"},
        {words({"render", "mixr"}, {"-i", in, "-o", out}), 2, "did you mean \"Q_Mixer\""},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "-p", "Gian=1"}), 2, "did you mean \"Gain\""},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "-p", "Gain=1001"}), 2, "out of range: 0 to 1000"},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "-p", "Centre=1"}), 2, "2 are needed"},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "-p", "Gain"}), 2, "NAME=VALUE"},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "--preset", "Doubel"}), 2, "did you mean \"Double\""},
        {words({"render", "mixer"}, {"-i", "Plat=" + in, "-o", out}), 2, "did you mean \"Plate\""},
        {words({"render", "mixer"}, {"-i", in, "-i", in, "-i", in, "-o", out}), 2, "no clip left"},
        {words({"render", "mixer"}, {"-i", "Matte=" + in, "-o", out}), 2, "Plate"},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "-f", "1-5"}), 2, "frame number in the output's name"},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "-f", "x"}), 2, "frames"},
        {words({"render", "mixer"}, {"-i", in, "-o", folder / "out.xyz"}), 2, "extension"},
        {words({"render", "mixer"}, {"-i", in, "-o", in}), 2, "would replace the input"},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "--depth", "12"}), 2, "depth"},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "--render-scale", "0"}), 2, "render-scale"},
        {words({"render", "mixer"}, {"-i", folder / "none.exr", "-o", out}), 1, "no such file"},
        {words({"render", "mixer"}, {"-i", folder / "none.%d.exr", "-o", out}), 1, "no file of this sequence"},
        {words({"render", "mixer"}, {"-i", in, "-o", folder / "none/out.exr"}), 1, "no folder"},
        {{"list", "--bundle", folder / "none.ofx.bundle"}, 1, "no bundle"},
    };
    for (const auto& c : cases) {
        const Result result = run(c.arguments);
        EXPECT_EQ(result.code, c.code) << result.err;
        EXPECT_THAT(result.err, HasSubstr(c.message));
    }
    EXPECT_EQ(folder.names(), (std::set<std::string>{"in.exr"})) << "nothing was written";
    EXPECT_EQ(run({"--help"}).code, 0);
}

TEST_F(Program, RendersAPictureExactly) {
    const std::string in = picture("in.exr", 1.5f);
    const Result result = render({"-i", in, "-o", folder / "out.exr", "-p", "Light Gain=2", "-p", "tint=0,0.25,0,-1"});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("frame 0"));
    EXPECT_EQ(result.err, "");
    const Picture before = readPicture(in), after = readPicture(folder / "out.exr");
    const float tint[4] = {0.0f, 0.25f, 0.0f, -1.0f};
    for (std::size_t i = 0; i < before.rgba.size(); ++i) ASSERT_EQ(after.rgba[i], before.rgba[i] * 2.0f + tint[i % 4]);
}

TEST_F(Program, GivesTheDepthThatWasAskedFor) {
    const std::string in = picture("in.exr", 0.3f);
    const Picture source = readPicture(in);
    for (const int depth : {8, 16}) {
        ASSERT_EQ(render({"-q", "-i", in, "-o", folder / "out.exr", "--depth", std::to_string(depth)}).code, 0);
        const Picture result = readPicture(folder / "out.exr");
        const float white = depth == 8 ? 255.0f : 65535.0f;
        for (std::size_t i = 0; i < source.rgba.size(); ++i)
            ASSERT_EQ(result.rgba[i], std::floor(std::min(source.rgba[i], 1.0f) * white + 0.5f) / white) << depth;
    }
}

TEST_F(Program, RendersFramesInOrderByOneInstance) {
    for (const int frame : {5, 6, 7}) picture("in." + std::to_string(frame) + ".exr", static_cast<float>(frame));
    const Result result = render({"-i", folder / "in.%d.exr", "-o", folder / "out.###.exr", "-f", "7,5-6,9"});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_LT(result.out.find("out.007.exr"), result.out.find("out.005.exr"));
    EXPECT_EQ(pixel("out.005.exr")[0], 5.0f);
    EXPECT_EQ(pixel("out.007.exr")[0], 7.0f);
    EXPECT_EQ(pixel("out.009.exr")[0], 7.0f) << "held at the last";

    ASSERT_EQ(render({"-q", "-i", folder / "in.%d.exr", "-o", folder / "all.%d.exr"}).code, 0);
    EXPECT_EQ(pixel("all.6.exr")[0], 6.0f) << "all frames of the input without -f";
    ASSERT_EQ(
        render({"-q", "-i", folder / "in.%d.exr", "-o", folder / "key.%d.exr", "-f", "5-7", "-p", "Gain=@5:0,@7:1"})
            .code,
        0);
    EXPECT_EQ(pixel("key.6.exr")[0], 3.0f);
    ASSERT_EQ(
        render({"-q", "-i", folder / "in.%d.exr", "-o", folder / "next.exr", "-f", "5", "-p", "FrameOffset=1"}).code,
        0);
    EXPECT_EQ(pixel("next.exr")[0], 6.0f) << "effects may ask for other frames";
}

TEST_F(Program, TellsTheEffectAboutProjectAndChanges) {
    for (const int frame : {5, 6, 7}) picture("in." + std::to_string(frame) + ".exr", 0.0f);
    ASSERT_EQ(render({"-q", "-i", folder / "in.%d.exr", "-o", folder / "a.exr", "-f", "6", "-p", "Mode=Report"}).code,
              0);
    EXPECT_EQ(pixel("a.exr"), (std::vector<float>{6.0f, 5.0f, 7.0f, 1.0f}));
    ASSERT_EQ(render({"-q", "-i", folder / "in.5.exr", "-o", folder / "a.exr", "-f", "20", "-p", "Mode=Report", "-p",
                      "Gain=@0:1,@2:3"})
                  .code,
              0);
    EXPECT_EQ(pixel("a.exr"), (std::vector<float>{20.0f, 0.0f, 20.0f, 2.0f})) << "a still, and keys as one change";
    ASSERT_EQ(render({"-q", "-o", folder / "a.exr", "--size", "30x20", "-p", "Mode=2", "-p", "Push=press", "-p",
                      "push=PRESS", "--pixel-aspect", "2", "--host", "nuke"})
                  .code,
              0);
    EXPECT_EQ(pixel("a.exr"), (std::vector<float>{2.0f, 0.0f, 60.0f, 20.0f})) << "a generator, in square pixels";
    ASSERT_EQ(render({"-q", "-o", folder / "a.exr", "--size", "30x20", "-p", "Mode=2", "--pixel-aspect", "2"}).code, 0);
    EXPECT_EQ(pixel("a.exr")[2], 30.0f) << "in pixels";
}

TEST_F(Program, ChoosesPresetsAsAUserWouldAndBeforeOtherValues) {
    const std::string in = picture("in.exr", 1.0f);
    ASSERT_EQ(render({"-q", "-i", in, "-o", folder / "a.exr", "--preset", "Double"}).code, 0);
    EXPECT_EQ(pixel("a.exr")[0], 2.0f);
    ASSERT_EQ(render({"-q", "-i", in, "-o", folder / "a.exr", "--preset", "Off, dark"}).code, 0);
    EXPECT_EQ(pixel("a.exr")[0], 0.0f);
    ASSERT_EQ(render({"-q", "-i", in, "-o", folder / "a.exr", "-p", "Gain=5", "--preset", "1"}).code, 0);
    EXPECT_EQ(pixel("a.exr")[0], 5.0f);
}

TEST_F(Program, SizesAndScales) {
    picture("big.exr", 0.0f, 8, 6);
    const Picture source = readPicture(folder / "big.exr");
    ASSERT_EQ(render({"-q", "-i", folder / "big.exr", "-o", folder / "a.exr", "--render-scale", "0.5"}).code, 0);
    EXPECT_EQ(readPicture(folder / "a.exr").rgba, boxScaled(source, 0.5).rgba);
    ASSERT_EQ(render({"-q", "-i", folder / "big.exr", "-o", folder / "a.exr", "--size", "10x7"}).code, 0);
    EXPECT_EQ(readPicture(folder / "a.exr").width, 10);
    EXPECT_EQ(pixel("a.exr", 7, 5), pixel("big.exr", 7, 5)) << "inputs lie at the bottom left";
    EXPECT_EQ(pixel("a.exr", 9, 6), (std::vector<float>{0, 0, 0, 0}));
}

TEST_F(Program, NeverReportsAFailedFrame) {
    for (const int frame : {1, 2, 4}) picture("in." + std::to_string(frame) + ".exr", 1.0f);
    const auto in = folder / "in.%d.exr", out = folder / "out.%d.exr";
    Result result = render({"-i", in, "-o", out, "-f", "1-4"});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.err, HasSubstr("frame 3 is missing (the nearest are 2 and 4)"));
    EXPECT_THAT(result.err, HasSubstr("2 of 4 frames rendered"));
    EXPECT_THAT(result.out, Not(HasSubstr("frame 3")));
    EXPECT_FALSE(std::filesystem::exists(folder / "out.3.exr"));

    for (const char* fault : {"Fails", "NoPicture"}) {
        result = render({"-i", in, "-o", folder / "bad.exr", "-p", std::string("Fault=") + fault});
        EXPECT_EQ(result.code, 1) << fault;
        EXPECT_EQ(result.out, "") << fault;
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "bad.exr"));

    std::ofstream(folder / "in.2.exr") << "damaged";
    result = render({"-i", in, "-o", out, "-f", "2"});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.err, HasSubstr("in.2.exr"));
}

TEST_F(Program, ReportsBrokenRules) {
    const std::string in = picture("in.exr", 1.0f);
    const std::vector<std::string> base = {"-i", in, "-o", folder / "a.exr", "-p", "Fault=WrongType"};
    auto arguments = base;
    arguments.insert(arguments.end(), {"--log", folder / "log.txt"});
    Result result = render(arguments);
    EXPECT_EQ(result.code, 0);
    EXPECT_THAT(result.err, HasSubstr("propGetDouble"));
    EXPECT_THAT(contents(folder / "log.txt"), HasSubstr("propGetDouble"));
    arguments = base;
    arguments.push_back("-q");
    result = render(arguments);
    EXPECT_EQ(result.out + result.err, "");
    arguments = base;
    arguments.push_back("--strict");
    result = render(arguments);
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.err, HasSubstr("--strict"));
    EXPECT_EQ(render({"--strict", "-i", in, "-o", folder / "a.exr"}).code, 0) << "the effect is clean otherwise";
}

TEST_F(Program, LeavesNoTraceWhenInterruptedOrTheDiskIsFull) {
    const std::string in = picture("in.exr", 1.0f);
    const pid_t child = start(
        words({"render", "mixer"}, {"-i", in, "-o", folder / "a.exr", "-p", "Fault=Endless", "--log", folder / "log"}));
    for (int i = 0; i < 500 && contents(folder / "log").empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    kill(child, SIGINT);
    Result result = finish(child);
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.err, HasSubstr("interrupted"));
    EXPECT_EQ(folder.names(), (std::set<std::string>{"in.exr", "log"}));

    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    const rlimit small{2000, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);  // inherited by the program
    result = render({"-i", in, "--size", "200x200", "-o", folder / "big.ppm"});
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.err, HasSubstr("big.ppm"));
    EXPECT_EQ(folder.names(), (std::set<std::string>{"in.exr", "log"})) << "no file, whole or temporary";
}

}  // namespace
}  // namespace quillon
