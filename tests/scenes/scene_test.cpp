// Every effect's scene, rendered through the bundle: the same at any number of threads, the same at every depth, and as
// it was when somebody last looked at it.
//
// Expectations are in expected/: NAME.png, a quarter of the picture's size at 16 bits, which shows what changed, and
// NAME.sum, a checksum of the float samples. To renew those of all effects, or
// of some, run with QUILLON_RENEW_SCENES=1 and look at the pictures:
//
//     QUILLON_RENEW_SCENES=1 build/release/tests/scenes/scenes_test --gtest_filter='*Scene*/CrashZoom'

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "host/cli/declarations.h"
#include "host/cli/input_source.h"
#include "host/cli/picture_file.h"
#include "host/cli/scene.h"
#include "support/recording_host.h"

namespace quillon {
namespace {

namespace fs = std::filesystem;
using ofxhost::Depth;
using ofxhost::ImagePtr;

const std::vector<DeclaredEffect>& effects() {
    static const std::vector<DeclaredEffect> all = readDeclarations(QUILLON_BUNDLE).effects;
    return all;
}

std::vector<std::string> namesOfAll() {
    std::vector<std::string> names;
    for (const DeclaredEffect& effect : effects()) names.push_back(effect.shortName());
    return names;
}

class EffectScene : public testing::TestWithParam<std::string> {
  protected:
    EffectScene()
        : effect(*std::find_if(effects().begin(), effects().end(),
                               [](const DeclaredEffect& e) { return e.shortName() == GetParam(); })),
          inputs(sceneInputs(effect.scene, fs::path(QUILLON_SOURCE) / "examples")) {}

    ImagePtr render(unsigned threads, Depth depth) const {
        ofxhost::HostConfig config = ofxhost::hostConfig("generic");
        config.threads = threads;
        support::RecordingHost host(config);
        const ImagePtr image = renderScene(*host.bundle().find(effect.name), effect.scene, inputs, {.depth = depth});
        EXPECT_EQ(host.faults(), "");
        return image;
    }
    fs::path expected(const char* extension) const {
        return fs::path(QUILLON_SOURCE) / "tests/scenes/expected" / (effect.shortName() + extension);
    }

    const DeclaredEffect& effect;
    const std::vector<Picture> inputs;
};

bool renewing() { return std::getenv("QUILLON_RENEW_SCENES") != nullptr; }

// FNV-1a over the samples' bits; both zeros count as one.
std::string checksum(const std::vector<float>& samples) {
    std::uint64_t sum = 0xcbf29ce484222325u;
    for (const float sample : samples) {
        std::uint32_t bits = 0;
        const float value = sample == 0.0f ? 0.0f : sample;
        std::memcpy(&bits, &value, sizeof bits);
        for (int i = 0; i < 32; i += 8) sum = (sum ^ (bits >> i & 0xffu)) * 0x100000001b3u;
    }
    char text[20];
    std::snprintf(text, sizeof text, "%016llx\n", static_cast<unsigned long long>(sum));
    return text;
}

std::string contents(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// All inputs are levels of 8 bits, so that the effect gets the same samples at every depth, and what is left is the
// truncation of its result: less than one level of the coarser depth, and a few roundings of floats.
TEST_P(EffectScene, IsTheSameAtAnyNumberOfThreadsAndWithinALevelAtEveryDepth) {
    constexpr double Roundings = 4e-6;
    const std::vector<float> exact = render(1, Depth::Float)->toFloats();
    for (const unsigned threads : {2u, 7u}) EXPECT_EQ(render(threads, Depth::Float)->toFloats(), exact) << threads;
    for (const Depth depth : {Depth::Byte, Depth::Short}) {
        const std::vector<float> coarse = render(2, depth)->toFloats();
        ASSERT_EQ(coarse.size(), exact.size());
        double worst = 0.0;
        for (std::size_t i = 0; i < exact.size(); ++i)
            worst = std::max(worst, std::abs(static_cast<double>(std::clamp(exact[i], 0.0f, 1.0f)) -
                                             static_cast<double>(coarse[i])));
        EXPECT_LE(worst, 1.0 / depthWhite(depth) + Roundings) << static_cast<int>(depth) << " bits";
    }
}

TEST_P(EffectScene, IsAsExpected) {
    const ImagePtr image = render(2, Depth::Float);
    const std::string sum = checksum(image->toFloats());
    const Picture quarter = boxScaled(fromHostImage(*image), 0.25);
    if (renewing()) {
        writePicture(expected(".png"), quarter, {.depth = 16});
        std::ofstream(expected(".sum")) << sum;
    }
    ASSERT_TRUE(fs::exists(expected(".png"))) << "run with QUILLON_RENEW_SCENES=1 and look at the new picture";
    const Picture known = readPicture(expected(".png"));
    ASSERT_EQ(known.rgba.size(), quarter.rgba.size());
    double worst = 0.0;
    for (std::size_t i = 0; i < known.rgba.size(); ++i)
        worst = std::max(worst, std::abs(static_cast<double>(std::clamp(quarter.rgba[i], 0.0f, 1.0f) - known.rgba[i])));
    EXPECT_LE(worst, 1.0 / 65535.0);
    EXPECT_EQ(sum, contents(expected(".sum")));
    if (inputs.empty()) return;
    const std::vector<float> shown = image->toFloats();
    double change = 0.0;
    for (std::size_t i = 0; i < shown.size(); ++i)
        change += std::abs(static_cast<double>(shown[i] - inputs.front().rgba[i]));
    EXPECT_GT(change / static_cast<double>(shown.size()), 0.002) << "a scene that shows its input tells nothing";
}

INSTANTIATE_TEST_SUITE_P(Effects, EffectScene, testing::ValuesIn(namesOfAll()),
                         [](const auto& scene) { return scene.param; });

// Neither positions nor switches that presets leave alone may come from the scene.
TEST(ScenePresets, AreShownOnAnInstanceWithoutTheScenesSettings) {
    support::RecordingHost host;
    DeclaredScene scene;
    scene.inputs = {"@ramp"};
    scene.width = 64;
    scene.height = 36;
    const auto inputs = sceneInputs(scene, "");
    const auto shown = [&] {
        return renderScene(*host.bundle().find("Q_Snow"), scene, inputs, {.preset = "Demos=0"})->toFloats();
    };
    const std::vector<float> plain = shown();
    scene.settings = {"BlackBG=on", "Left=0.1,0.1"};
    EXPECT_EQ(shown(), plain);
}

TEST(SceneExpectations, BelongToAnEffect) {
    const std::vector<std::string> names = namesOfAll();
    for (const auto& entry : fs::directory_iterator(fs::path(QUILLON_SOURCE) / "tests/scenes/expected"))
        EXPECT_NE(std::find(names.begin(), names.end(), entry.path().stem().string()), names.end()) << entry.path();
}

}  // namespace
}  // namespace quillon
