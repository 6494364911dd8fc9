// Darken and Lighten in a host, against a slow model of one pixel.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/recording_host.h"

namespace {

using support::Depth;
using support::ImageLayout;
using support::ImagePtr;
using support::RecordingHost;
using support::TestEffect;

struct Settings {
    int width = 31, height = 23;
    double aspect = 1.0, scale = 1.0;
    Depth depth = Depth::Float;
    double cutOff = 50.0;
    int size = 3;
    bool split = false;
    int sizes[4] = {3, 3, 3, 3};
    std::string host = "generic";
    unsigned threads = 2;

    std::string text() const {
        return std::to_string(width) + "x" + std::to_string(height) + " aspect " + std::to_string(aspect) + " scale " +
               std::to_string(scale) + " depth " + std::to_string(int(depth)) + " cut " + std::to_string(cutOff) +
               " size " + std::to_string(size) + (split ? " split " : " ") + host + " " + std::to_string(threads);
    }
};

// One sample of the result, from the definition. `pixelAspect` is as the image carries it.
float modelSample(bool lighten, const std::vector<float>& picture, int width, int height, int x, int y, int channel,
                  int size, double scale, float pixelAspect, double cutOff) {
    const auto at = [&](int px, int py, int c) { return picture[static_cast<std::size_t>((py * width + px) * 4 + c)]; };
    const float own = at(x, y, channel);
    const float luminance = 0.3f * at(x, y, 0) + 0.5f * at(x, y, 1) + 0.2f * at(x, y, 2);
    const float threshold = static_cast<float>(cutOff * 0.01);
    const int rows = std::max(1, static_cast<int>(2.0 * size * scale - 1.0));
    const int columns = std::max(1, static_cast<int>(static_cast<float>(rows) / pixelAspect));
    const int half = std::max(1, rows / 2);
    if (rows < 2 || (lighten ? luminance < threshold : luminance > threshold)) return own;
    float best = own;
    for (int py = y - half; py < y - half + rows; ++py) {
        for (int px = x - half; px < x - half + columns; ++px) {
            if (px < 0 || px >= width || py < 0 || py >= height) continue;
            best = lighten ? std::max(best, at(px, py, channel)) : std::min(best, at(px, py, channel));
        }
    }
    return best;
}

class DarkenLighten : public testing::TestWithParam<const char*> {
  protected:
    bool lighten() const { return std::string_view(GetParam()) == "Q_Lighten"; }

    static TestEffect& prepare(RecordingHost& host, const char* name, const Settings& s) {
        host.project.width = static_cast<int>(s.width / s.scale);
        host.project.height = static_cast<int>(s.height / s.scale);
        host.project.pixelAspect = s.aspect;
        host.project.renderScale = {s.scale, s.scale};
        TestEffect& effect = host.effect(name);
        effect.setSilently("CutOff", s.cutOff);
        effect.setSilently("Rad", s.size);
        effect.setSilently("DoRGB", s.split ? 1.0 : 0.0);
        const char* names[] = {"RadR", "RadG", "RadB", "RadA"};
        for (int c = 0; c < 4; ++c) effect.setSilently(names[c], s.sizes[c]);
        ImageLayout layout = support::layoutOf(s.width, s.height, s.depth);
        layout.pixelAspect = s.aspect;
        layout.renderScale = {s.scale, s.scale};
        effect.connect(effect.primaryClip().name(), support::noiseImage(layout, 17));
        return effect;
    }

    std::vector<float> model(const Settings& s, const std::vector<float>& picture) const {
        const auto aspect = static_cast<float>(s.host == "fusion" ? 1.0 / s.aspect : s.aspect);
        std::vector<float> result(picture.size());
        for (int y = 0; y < s.height; ++y)
            for (int x = 0; x < s.width; ++x)
                for (int c = 0; c < 4; ++c)
                    result[static_cast<std::size_t>((y * s.width + x) * 4 + c)] =
                        modelSample(lighten(), picture, s.width, s.height, x, y, c, s.split ? s.sizes[c] : s.size,
                                    s.scale, aspect, s.cutOff);
        return result;
    }

    void check(const Settings& s) {
        RecordingHost& host = hostFor(s.host, s.threads);
        TestEffect& effect = prepare(host, GetParam(), s);
        const auto result = effect.render();
        ImageLayout layout = support::layoutOf(s.width, s.height, s.depth);
        const auto picture = support::noiseImage(layout, 17)->toFloats();
        ASSERT_EQ(result, model(s, picture)) << s.text();
        EXPECT_TRUE(effect.imagesBalanced());
        effect.destroyInstance();
    }

    RecordingHost& hostFor(const std::string& word, unsigned threads) {
        auto& host = m_hosts[word + std::to_string(threads)];
        if (!host) {
            ofxhost::HostConfig config = ofxhost::hostConfig(word);
            config.threads = threads;
            config.checkSources = true;
            host = std::make_unique<RecordingHost>(config);
            host->host().setRecording(false);
        }
        return *host;
    }
    std::map<std::string, std::unique_ptr<RecordingHost>> m_hosts;
};

TEST_P(DarkenLighten, EverySizeOnEveryPicture) {
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 9}, {9, 1}, {2, 2}, {31, 23}, {70, 66}})
        for (const int size : {1, 2, 3, 7, 16, 30}) check({.width = width, .height = height, .size = size});
}

TEST_P(DarkenLighten, EveryThreshold) {
    for (const double cutOff : {0.0, 20.0, 50.0, 80.0, 100.0}) check({.cutOff = cutOff, .size = 4});
}

TEST_P(DarkenLighten, PixelAspectsAndRenderScales) {
    for (const double aspect : {0.5, 1.0, 1.09, 2.0, 40.0})
        for (const double scale : {1.0, 0.5, 0.25})
            for (const int size : {1, 3, 8})
                check({.width = 40, .height = 20, .aspect = aspect, .scale = scale, .size = size});
}

TEST_P(DarkenLighten, ChannelsApart) {
    check({.split = true, .sizes = {1, 2, 9, 30}});
    check({.split = true, .sizes = {30, 1, 1, 1}});
    check({.aspect = 0.5, .scale = 0.5, .split = true, .sizes = {4, 3, 2, 1}});
}

TEST_P(DarkenLighten, IntegerDepthsAndHostsAndThreads) {
    for (const Depth depth : {Depth::Byte, Depth::Short}) check({.width = 40, .height = 37, .depth = depth, .size = 5});
    for (const char* host : {"nuke", "fusion", "vegas", "cdv", "toxik"})
        check({.width = 40, .height = 20, .aspect = 2.0, .size = 4, .host = host});
    for (const unsigned threads : {1u, 2u, 3u, 7u, 16u})
        check({.width = 40, .height = 37, .size = 9, .threads = threads});
}

TEST_P(DarkenLighten, OneOddPixelStaysWhereItIs) {
    RecordingHost& host = hostFor("generic", 2);
    TestEffect& effect =
        prepare(host, GetParam(), {.width = 21, .height = 21, .cutOff = lighten() ? 0.0 : 100.0, .size = 2});
    ImagePtr picture = support::constantImage(support::layoutOf(21, 21), 0.5f, 0.5f, 0.5f, 0.5f);
    picture->setSample(10, 10, 1, std::numeric_limits<float>::quiet_NaN());
    picture->setSample(4, 4, 2,
                       lighten() ? std::numeric_limits<float>::infinity() : -std::numeric_limits<float>::infinity());
    effect.connect("Input", picture);
    effect.render();
    const auto& result = *effect.lastImage();
    for (int y = 0; y < 21; ++y) {
        for (int x = 0; x < 21; ++x) {
            const bool nearNaN = std::abs(x - 10) <= 1 && std::abs(y - 10) <= 1,
                       nearInfinity = std::abs(x - 4) <= 1 && std::abs(y - 4) <= 1;
            EXPECT_EQ(result.sample(x, y, 1),
                      nearNaN && (!lighten() || (x == 10 && y == 10)) ? (lighten() ? 0.5f : 0.0f) : 0.5f)
                << x << "," << y;
            EXPECT_EQ(result.sample(x, y, 2), nearInfinity ? (lighten() ? 65504.0f : 0.0f) : 0.5f) << x << "," << y;
        }
    }
}

TEST_P(DarkenLighten, HasItsParametersAndGhostsTheSizesNotInUse) {
    RecordingHost host;
    TestEffect& effect = host.effect(GetParam());
    const auto& params = effect.descriptor().params();
    std::vector<std::string> names;
    for (const auto& param : params) names.push_back(param->name());
    std::vector<std::string> expected{"PageOneGroup", "CutOff", "Rad",  "DoRGB",     "RadR",
                                      "RadG",         "RadB",   "RadA", "HelpButton"};
    if (lighten()) expected.insert(expected.begin() + 3, "Gamma");
    EXPECT_EQ(names, expected);
    const auto& group = effect.descriptor().findParam("PageOneGroup")->properties();
    EXPECT_EQ(group.getString(ofx::prop::Label), lighten() ? "Lighten" : "Darken");
    const auto number = [&](const char* name, const char* property) {
        const auto& set = effect.descriptor().findParam(name)->properties();
        return std::string_view(name).starts_with("Rad") ? double(set.getInt(property)) : set.getDouble(property);
    };
    const auto expectRange = [&](const char* name, double value, double min, double max) {
        EXPECT_EQ(number(name, ofx::prop::ParamDefault), value) << name;
        EXPECT_EQ(number(name, ofx::prop::ParamMin), min) << name;
        EXPECT_EQ(number(name, ofx::prop::ParamMax), max) << name;
        EXPECT_EQ(number(name, ofx::prop::ParamDisplayMax), max) << name;
    };
    expectRange("CutOff", lighten() ? 20.0 : 80.0, 0.0, 100.0);
    for (const char* size : {"Rad", "RadR", "RadG", "RadB", "RadA"}) expectRange(size, 3, 1, 30);
    if (lighten()) expectRange("Gamma", 1.0, 0.1, 10.0);
    EXPECT_EQ(number("CutOff", ofx::prop::ParamIncrement), 0.05);
    EXPECT_EQ(effect.descriptor().findParam("RadR")->properties().getString(ofx::prop::Label), "Red Size");
    EXPECT_EQ(effect.descriptor().findParam("DoRGB")->properties().getString(ofx::prop::ParamScriptName),
              "Split_RGB_CheckBox");

    const auto enabled = [&](const char* name) {
        return effect.param(name).properties().getInt(ofx::prop::ParamEnabled) == 1;
    };
    for (const bool split : {false, true, false}) {
        if (enabled("Rad") == split) effect.set("DoRGB", split ? 1.0 : 0.0);
        EXPECT_EQ(enabled("Rad"), !split);
        for (const char* size : {"RadR", "RadG", "RadB", "RadA"}) EXPECT_EQ(enabled(size), split) << size;
        EXPECT_TRUE(enabled("CutOff"));
    }
    EXPECT_EQ(host.faults(), "");
}

INSTANTIATE_TEST_SUITE_P(Effects, DarkenLighten, testing::Values("Q_Darken", "Q_Lighten"),
                         [](const auto& effect) { return std::string(effect.param + 2); });

// Boost Highlights is a gamma on the input in front of the window: 1 changes nothing, and it keeps the order of levels.
TEST(Lighten, BoostHighlightsActsOnTheInput) {
    RecordingHost host;
    TestEffect& effect = host.effect("Q_Lighten");
    effect.setSilently("CutOff", 0.0);
    effect.setSilently("Rad", 1.0);
    ImagePtr picture = support::gradientImage(support::layoutOf(64, 48));
    effect.connect("Input", picture);
    effect.setSilently("Gamma", 1.0);
    EXPECT_EQ(effect.render(), picture->toFloats());
    effect.setSilently("Gamma", 2.0);
    effect.setSilently("Rad", 2.0);
    const auto boosted = effect.render();
    const auto original = picture->toFloats();
    int changed = 0;
    for (std::size_t i = 0; i < boosted.size(); ++i) changed += boosted[i] != original[i];
    EXPECT_GT(changed, 64 * 48);
}

}  // namespace
