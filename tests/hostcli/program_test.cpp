// The program as it is used: a process with arguments, files and an exit code.

#include <OpenImageIO/imageio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

TEST_F(Program, ListsAndDescribesExactlyWhatWasSet) {
    EXPECT_THAT(run(words({"list"}, {})).out, HasSubstr("Mixer of tests"));

    Result result = run(words({"describe", "Q_Mixer", "--json", "--host", "nuke", "--context", "filter"}, {}));
    ASSERT_EQ(result.code, 0) << result.err;
    const Json effect = Json::parse(result.out);
    EXPECT_EQ(effect["host"], "uk.co.thefoundry.nuke");
    EXPECT_EQ(effect["properties"].begin().key(), "OfxPropLabel");
    EXPECT_EQ(effect["properties"]["OfxImageEffectPropSupportsTiles"], 0);
    EXPECT_FALSE(effect["properties"].contains("OfxImageEffectPropTemporalClipAccess")) << "was not set";
    EXPECT_EQ(effect["clips"][1]["name"], "Plate");
    EXPECT_FALSE(effect["clips"][1]["properties"].contains("OfxImageClipPropOptional"));
    EXPECT_EQ(effect["groups"][0]["children"], Json({"Gain"}));
    EXPECT_EQ(effect["parameters"][1]["name"], "Gain");

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
        {{"rendr"}, 2, "did you mean \"render\""},
        {{"frobnicate"}, 2, "there is no command \"frobnicate\""},
        {{"render"}, 2, "EFFECT"},
        {words({"render", "mixr"}, {"-i", in, "-o", out}), 2, "did you mean \"Q_Mixer\""},
        {words({"render", "xxxxxx"}, {"-i", in, "-o", out}), 2, "quillon list tells them all"},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "-p", "Gian=1"}), 2, "did you mean \"Gain\""},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "--preset", "Doubel"}), 2, "did you mean \"Double\""},
        {words({"render", "mixer"}, {"-i", "Plat=" + in, "-o", out}), 2, "did you mean \"Plate\""},
        {words({"render", "mixer"}, {"-i", "Foo=" + in, "-o", out}), 2, "the effect has the clips Plate, Matte"},
        {words({"render", "mixer"}, {"-i", in, "-i", in, "-i", in, "-o", out}), 2, "no clip left"},
        {words({"render", "mixer"}, {"-i", "Matte=" + in, "-o", out}), 2, "Plate"},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "-f", "1-5"}), 2, "frame number in the output's name"},
        {words({"render", "mixer"}, {"-i", in, "-o", folder / "a.%d.exr", "-f", "1,2,1"}), 2,
         "frame 1 is asked for twice"},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "--size", "32768x32768"}), 1, "not enough memory"},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "--file-depth", "8"}), 2, "stores samples as half, float"},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "--compression", "lzw"}), 2,
         "compressions of .exr are zip, none"},
        {words({"render", "mixer"}, {"-i", in, "-o", out, "--quality", "50"}), 2, "a quality belongs to .jpg"},
        {words({"render", "mixer"}, {"-i", in, "-o", folder / "out.xyz"}), 2, "extension"},
        {words({"render", "mixer"}, {"-i", in, "-o", in}), 2, "would replace the input"},
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
    EXPECT_EQ(run({"--version"}).out.substr(0, 8), "quillon ");
    EXPECT_EQ(run({"help", "render"}).out, run({"render", "--help"}).out);
    EXPECT_EQ(std::system(QUILLON_PROGRAM " list --bundle " TEST_BUNDLE " > /dev/full 2>&1") >> 8, 1);
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

TEST_F(Program, RendersFramesInOrderByOneInstance) {
    for (const int frame : {5, 6, 7}) picture("in." + std::to_string(frame) + ".exr", static_cast<float>(frame));
    const Result result =
        render({"-i", folder / "in.%d.exr", "-o", folder / "out.###.exr", "-f", "7,5-6,9", "--missing", "hold"});
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
    ASSERT_EQ(
        render({"-q", "-o", folder / "a.exr", "--size", "30x20", "-p", "Mode=2", "-p", "Push=press", "-p", "push=PRESS",
                "--pixel-aspect", "2", "--host", "nuke", "--colour-out", "srgb", "-p", "Multiplied=on"})
            .code,
        0);
    EXPECT_EQ(pixel("a.exr"), (std::vector<float>{2.0f, 0.0f, 60.0f, 20.0f})) << "a generator, in square pixels";
    ASSERT_EQ(render({"-q", "-o", folder / "a.exr", "--size", "30x20", "-p", "Mode=2", "--pixel-aspect", "2",
                      "--colour-out", "srgb", "-p", "Multiplied=on"})
                  .code,
              0);
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

TEST_F(Program, ReadsAheadAndTellsTheTime) {
    for (int frame = 1; frame <= 12; ++frame)
        picture("in." + std::to_string(frame) + ".exr", static_cast<float>(frame));
    const Result result = render({"-i", folder / "in.%d.exr", "-o", folder / "out.%d.exr", "--time"});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(result.out, testing::ContainsRegex("frame 9 (.|\n)*frame 10 (.|\n)*frame 11 (.|\n)*frame 12 "));
    EXPECT_THAT(result.out, testing::ContainsRegex("reading files +12 .*\n +rendering +12 .*\n +encoding files +12 "));
    for (int frame = 1; frame <= 12; ++frame)
        EXPECT_EQ(pixel("out." + std::to_string(frame) + ".exr")[0], static_cast<float>(frame));
}

// ---- What is in files ---------------------------------------------------------------------------------------------

using OIIO::ImageSpec;
using OIIO::TypeDesc;

ImageSpec headerOf(const std::string& path) {
    const auto input = OIIO::ImageInput::open(path);
    return input ? input->spec() : ImageSpec();
}

void writeRaw(const std::string& path, const std::vector<ImageSpec>& parts) {
    auto output = OIIO::ImageOutput::create(path);
    ASSERT_TRUE(output && output->open(path, static_cast<int>(parts.size()), parts.data())) << OIIO::geterror();
    for (std::size_t part = 0; part < parts.size(); ++part) {
        if (part > 0) {
            ASSERT_TRUE(output->open(path, parts[part], OIIO::ImageOutput::AppendSubimage));
        }
        std::vector<float> samples(static_cast<std::size_t>(parts[part].nchannels) * 4);
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<float>(part + 1) +
                         0.25f * static_cast<float>(i % static_cast<std::size_t>(parts[part].nchannels));
        ASSERT_TRUE(output->write_image(TypeDesc::FLOAT, samples.data()));
    }
    ASSERT_TRUE(output->close());
}

TEST_F(Program, KeepsWhatAPictureCameWith) {
    ImageSpec header(2, 2, 4, TypeDesc::HALF);
    const float chromaticities[8] = {0.7f, 0.3f, 0.2f, 0.7f, 0.1f, 0.05f, 0.31f, 0.33f};
    const int rate[2] = {24000, 1001};
    const unsigned timecode[2] = {0x01020304u, 0u};
    header.attribute("chromaticities", TypeDesc(TypeDesc::FLOAT, 8), chromaticities);
    header.attribute("FramesPerSecond", OIIO::TypeRational, rate);
    header.attribute("smpte:TimeCode", OIIO::TypeTimeCode, timecode);
    header.attribute("PixelAspectRatio", 2.0f);
    header.attribute("ImageDescription", "take four");
    header.attribute("compression", "piz");
    writeRaw(folder / "in.exr", {header});
    ASSERT_EQ(render({"-q", "-i", folder / "in.exr", "-o", folder / "a.exr", "--compression", "zips"}).code, 0);
    const ImageSpec kept = headerOf(folder / "a.exr");
    EXPECT_EQ(kept.format, TypeDesc::HALF) << "half stays half";
    EXPECT_EQ(kept.get_string_attribute("compression"), "zips");
    EXPECT_EQ(kept.get_string_attribute("ImageDescription"), "take four");
    EXPECT_EQ(kept.get_float_attribute("PixelAspectRatio"), 2.0f);
    const auto same = [&](const char* name, TypeDesc type, const void* bytes, std::size_t size) {
        const OIIO::ParamValue* tag = kept.find_attribute(name, type);
        return tag && std::memcmp(tag->data(), bytes, size) == 0;
    };
    EXPECT_TRUE(same("chromaticities", TypeDesc(TypeDesc::FLOAT, 8), chromaticities, sizeof chromaticities));
    EXPECT_TRUE(same("smpte:TimeCode", OIIO::TypeTimeCode, timecode, sizeof timecode));
    EXPECT_NEAR(readPictureInfo(folder / "a.exr").frameRate, 24000.0 / 1001.0, 1e-3);
    ASSERT_EQ(render({"-q", "-i", folder / "in.exr", "-o", folder / "b.%d.exr", "-f", "0-1", "--file-depth", "float",
                      "--pixel-aspect", "1", "--fps", "30"})
                  .code,
              0);
    const ImageSpec changed = headerOf(folder / "b.1.exr");
    EXPECT_EQ(changed.format, TypeDesc::FLOAT);
    EXPECT_EQ(changed.find_attribute("smpte:TimeCode"), nullptr) << "one timecode is not that of two frames";
    EXPECT_EQ(readPictureInfo(folder / "b.1.exr").frameRate, 30.0);
}

TEST_F(Program, ReadsTheLayerAskedForAndTellsTheOthers) {
    ImageSpec beauty(2, 2, 5, TypeDesc::FLOAT), light(2, 2, 3, TypeDesc::FLOAT);
    beauty.channelnames = {"R", "G", "B", "glow.R", "glow.Y"};
    light.channelnames = {"R", "G", "B"};
    beauty.attribute("oiio:subimagename", "main");
    light.attribute("oiio:subimagename", "light");
    writeRaw(folder / "in.exr", {beauty, light});
    const std::string in = folder / "in.exr", out = folder / "a.exr";
    Result result = render({"-i", in, "-o", out});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("main is read; not read: main.glow, light"));
    EXPECT_EQ(pixel("a.exr"), (std::vector<float>{1.0f, 1.25f, 1.5f, 1.0f}));
    ASSERT_EQ(render({"-q", "-i", in + ":light", "-o", out}).code, 0);
    EXPECT_EQ(pixel("a.exr"), (std::vector<float>{2.0f, 2.25f, 2.5f, 1.0f}));
    ASSERT_EQ(render({"-q", "-i", "Plate=" + in + ":Glow", "-o", out}).code, 0);
    EXPECT_EQ(pixel("a.exr"), (std::vector<float>{2.0f, 2.0f, 2.0f, 1.0f})) << "its Y";
    result = render({"-i", in + ":shadow", "-o", out});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.err, HasSubstr("no layer \"shadow\"; it has main, main.glow, light"));
}

// sRGB level 188 is 0.5029 of the light of white.
TEST_F(Program, WritesColourAndAlphaAsEachFormatIsRead) {
    Picture levels(16, 17);
    for (std::size_t i = 0; i < levels.rgba.size(); i += 4) {
        for (std::size_t c = 0; c < 3; ++c) levels.rgba[i + c] = static_cast<float>((i / 4 + 80 * c) % 256) / 255.0f;
        levels.rgba[i + 3] = static_cast<float>(255 - i / 16) / 255.0f;
    }
    levels.rgba[0] = levels.rgba[1] = 188.0f / 255.0f, levels.rgba[3] = 128.0f / 255.0f;
    writePicture(folder / "in.png", levels, {.depth = 8});
    Result result = render({"-i", folder / "in.png", "-o", folder / "a.exr"});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("as Plate: 16x17, 8 bits, srgb, straight alpha\nwrites "));
    EXPECT_THAT(result.out, HasSubstr("floats, linear, premultiplied alpha\n"));
    EXPECT_NEAR(pixel("a.exr")[0], 0.50289 * 128.0 / 255.0, 1e-5);
    EXPECT_EQ(headerOf(folder / "a.exr").get_string_attribute("oiio:ColorSpace"), "Linear");
    ASSERT_EQ(render({"-q", "-i", folder / "a.exr", "-o", folder / "b.png", "--file-depth", "8"}).code, 0);
    EXPECT_EQ(readPicture(folder / "b.png").rgba, readPicture(folder / "in.png").rgba) << "there and back";
    ASSERT_EQ(
        render({"-q", "-i", folder / "in.png", "-o", folder / "c.exr", "--colour-in", "linear", "-p", "Multiplied=on"})
            .code,
        0);
    EXPECT_EQ(pixel("c.exr")[0], 188.0f / 255.0f) << "linear and premultiplied already";

    // Over nothing: half transparent, said to be premultiplied or not.
    for (const char* multiplied : {"on", "off"}) {
        for (const char* name : {"g.png", "g.exr"})
            ASSERT_EQ(render({"-q", "-o", folder / name, "--size", "2x2", "-p", "Tint=0.25,0.25,0.25,0.5", "-p",
                              std::string("Multiplied=") + multiplied})
                          .code,
                      0);
        const bool was = multiplied[1] == 'n';
        EXPECT_NEAR(pixel("g.png")[0], was ? 0.5 : 0.25, 1e-4) << "straight";
        EXPECT_NEAR(pixel("g.exr")[0], 0.5 * (was ? 0.214041 : 0.0508761), 1e-5) << "light times alpha";
    }
}

TEST_F(Program, NeverReportsAFailedFrame) {
    for (const int frame : {1, 2, 4}) picture("in." + std::to_string(frame) + ".exr", static_cast<float>(frame));
    const auto in = folder / "in.%d.exr", out = folder / "out.%d.exr";
    Result result = render({"-i", in, "-o", out, "-f", "1-4"});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.err, HasSubstr("frame 3 is missing (the nearest are 2 and 4)"));
    EXPECT_THAT(result.err, HasSubstr("2 of 4 frames rendered"));
    EXPECT_THAT(result.err, HasSubstr("has no files for the frames 3"));
    EXPECT_THAT(result.out, Not(HasSubstr("frame 3")));
    EXPECT_FALSE(std::filesystem::exists(folder / "out.3.exr"));
    EXPECT_FALSE(std::filesystem::exists(folder / "out.4.exr")) << "not even what had been encoded";

    result = render({"-i", in, "-o", out, "-f", "4-5"});
    EXPECT_EQ(result.code, 2);
    EXPECT_THAT(result.err, HasSubstr("frame 5 lies outside"));
    EXPECT_EQ(render({"-i", in, "-o", folder / "a.exr"}).code, 2) << "three frames, one name";
    ASSERT_EQ(render({"-q", "-i", in, "-o", out, "-f", "0-6", "--missing", "hold", "-p", "Gain=@0:1,@6:7"}).code, 0);
    EXPECT_EQ(pixel("out.3.exr")[0], 2.0f * 4.0f) << "frame 2 in the place of 3";
    EXPECT_EQ(pixel("out.6.exr")[0], 4.0f * 7.0f);
    ASSERT_EQ(render({"-q", "-i", in, "-o", folder / "b.%d.exr", "--missing", "black"}).code, 0);
    EXPECT_EQ(pixel("b.3.exr"), (std::vector<float>{0, 0, 0, 0}));
    EXPECT_EQ(pixel("b.4.exr")[0], 4.0f);

    for (const char* fault : {"Fails", "NoPicture"}) {
        result = render({"-i", in, "-o", folder / "bad.exr", "-f", "2", "-p", std::string("Fault=") + fault});
        EXPECT_EQ(result.code, 1) << fault;
        EXPECT_THAT(result.out, Not(HasSubstr("frame "))) << fault;
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "bad.exr"));

    std::ofstream(folder / "in.2.exr") << "damaged";
    result = render({"-i", in, "-o", out, "-f", "2"});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.err, HasSubstr("in.2.exr"));
}

TEST_F(Program, ConvertsPictureFiles) {
    const std::string source = picture("in.tif", 0.25f), out = folder / "out.sgi", none = folder / "none.tif";
    EXPECT_EQ(run({"image-info", source}).out, "tiff 3x2 4 channels 16 bits\n");
    EXPECT_EQ(run({"convert", source, out, "--bits", "8"}).code, 0);
    EXPECT_EQ(run({"image-info", out}).out, "sgisgi 3x2 3 channels 8 bits\n");
    EXPECT_EQ(run({"convert", source, folder / "film.CIN"}).code, 0);
    EXPECT_EQ(run({"image-info", folder / "film.CIN"}).out, "cin 3x2 3 channels 16 bits\n");
    EXPECT_EQ(run({"convert", source, folder / "a.pic", "--format", "softimage"}).code, 0);
    EXPECT_EQ(run({"image-info", folder / "a.pic", "--format", "softimage"}).out, "softimage 3x2 4 channels 8 bits\n");

    // What fails leaves no file behind, and one that was there as it was.
    const Result broken = run({"convert", out, none, "--in-format", "sun"});
    EXPECT_EQ(broken.code, 1);
    EXPECT_THAT(broken.err, HasSubstr("SUN: Bad magic number."));
    const std::string before = contents(out);
    EXPECT_EQ(run({"convert", source, out, "--format", "vertigo"}).code, 1);
    EXPECT_EQ(contents(out), before);
    EXPECT_EQ(run({"convert", source, folder / "a.xyz"}).code, 1);
    EXPECT_EQ(run({"convert", source, none, "--format", "tif"}).code, 2);
    EXPECT_EQ(run({"convert", source, folder / "a.jpg", "--bits", "16"}).code, 2);
    EXPECT_EQ(folder.names(), (std::set<std::string>{"a.pic", "film.CIN", "in.tif", "out.sgi"}));
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

TEST_F(Program, FindsMotionAndMakesInBetweens) {
    const std::string dark = picture("in.1.exr", 0.25f), light = picture("in.2.exr", 0.75f), flow = folder / "a.flo";
    ASSERT_EQ(finish(start({"flow", dark, light, "-o", flow, "-p", "smoothness=2"})).code, 0);
    const std::string bytes = contents(flow);
    const PictureInfo info = readPictureInfo(dark);
    ASSERT_EQ(bytes.size(), 12U + std::size_t(info.width) * std::size_t(info.height) * 8U);
    EXPECT_EQ(bytes.substr(0, 4), "PIEH");
    const std::string out = folder / "out.%d.exr";
    ASSERT_EQ(finish(start({"between", folder / "in.%d.exr", "--factor", "2", "-o", out, "-q"})).code, 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "out.3.exr") && !std::filesystem::exists(folder / "out.4.exr"));
    const Picture half = readPicture(folder / "out.2.exr"), end = readPicture(folder / "out.3.exr");
    EXPECT_NEAR(half.rgba[0], 0.5f, 0.1f);
    EXPECT_EQ(end.rgba, readPicture(light).rgba);
    EXPECT_EQ(finish(start({"flow", dark, folder / "none.exr", "-o", flow})).code, 1);
    EXPECT_EQ(finish(start({"between", dark, "-o", out})).code, 2);
    EXPECT_THAT(finish(start({"flow", dark, light, "-o", flow, "-p", "smothness=2"})).err, HasSubstr("smoothness"));
}

TEST_F(Program, LeavesNoTraceWhenInterrupted) {
    const std::string in = picture("in.exr", 1.0f);
    const pid_t child = start(
        words({"render", "mixer"}, {"-i", in, "-o", folder / "a.exr", "-p", "Fault=Endless", "--log", folder / "log"}));
    for (int i = 0; i < 500 && contents(folder / "log").empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    kill(child, SIGINT);
    Result result = finish(child);
    EXPECT_EQ(result.code, 1000 + SIGINT) << "by the signal, so that shells notice";
    EXPECT_THAT(result.err, HasSubstr("interrupted"));
    EXPECT_EQ(folder.names(), (std::set<std::string>{"in.exr", "log"}));
}

}  // namespace
}  // namespace quillon
