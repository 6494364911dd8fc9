// Darken and Lighten in a host, against a slow model of one pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/recording_host.h"

namespace {

using support::Depth;
using support::ImageLayout;
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

    ImageLayout layout() const {
        ImageLayout layout = support::layoutOf(width, height, depth);
        layout.pixelAspect = aspect;
        layout.renderScale = {scale, scale};
        return layout;
    }
};

// One sample of the result, from the definition. `pixelAspect` is as the image carries it.
float modelSample(bool lighten, const std::vector<float>& picture, const Settings& s, int x, int y, int channel,
                  int size, float pixelAspect) {
    const auto at = [&](int px, int py, int c) {
        return picture[static_cast<std::size_t>((py * s.width + px) * 4 + c)];
    };
    const float own = at(x, y, channel);
    const float luminance = 0.3f * at(x, y, 0) + 0.5f * at(x, y, 1) + 0.2f * at(x, y, 2);
    const float threshold = static_cast<float>(s.cutOff * 0.01);
    const int rows = std::max(1, static_cast<int>(2.0 * size * s.scale - 1.0));
    const int columns = std::max(1, static_cast<int>(static_cast<float>(rows) / pixelAspect));
    const int half = std::max(1, rows / 2);
    if (rows < 2 || (lighten ? luminance < threshold : luminance > threshold)) return own;
    float best = own;
    for (int py = y - half; py < y - half + rows; ++py) {
        for (int px = x - half; px < x - half + columns; ++px) {
            if (px < 0 || px >= s.width || py < 0 || py >= s.height) continue;
            best = lighten ? std::max(best, at(px, py, channel)) : std::min(best, at(px, py, channel));
        }
    }
    return best;
}

class DarkenLighten : public testing::TestWithParam<const char*> {
  protected:
    bool lighten() const { return std::string_view(GetParam()) == "Q_Lighten"; }

    TestEffect& prepare(const Settings& s) {
        auto& host = m_hosts[s.host];
        if (!host) host = std::make_unique<RecordingHost>(s.host);
        host->project.width = static_cast<int>(s.width / s.scale);
        host->project.height = static_cast<int>(s.height / s.scale);
        host->project.pixelAspect = s.aspect;
        host->project.renderScale = {s.scale, s.scale};
        TestEffect& effect = host->effect(GetParam());
        effect.setSilently("CutOff", s.cutOff);
        effect.setSilently("Rad", s.size);
        effect.setSilently("DoRGB", s.split ? 1.0 : 0.0);
        const char* names[] = {"RadR", "RadG", "RadB", "RadA"};
        for (int c = 0; c < 4; ++c) effect.setSilently(names[c], s.sizes[c]);
        effect.connect(effect.primaryClip().name(), support::noiseImage(s.layout(), 17));
        return effect;
    }

    void check(const Settings& s) {
        const auto result = prepare(s).render();
        const auto picture = support::noiseImage(s.layout(), 17)->toFloats();
        const auto aspect = static_cast<float>(s.host == "fusion" ? 1.0 / s.aspect : s.aspect);
        std::vector<float> expected;
        for (int y = 0; y < s.height; ++y)
            for (int x = 0; x < s.width; ++x)
                for (int c = 0; c < 4; ++c)
                    expected.push_back(
                        modelSample(lighten(), picture, s, x, y, c, s.split ? s.sizes[c] : s.size, aspect));
        ASSERT_EQ(result, expected) << s.width << " x " << s.height << " aspect " << s.aspect << " scale " << s.scale
                                    << " cut " << s.cutOff << " size " << s.size << " " << s.host;
    }

    std::map<std::string, std::unique_ptr<RecordingHost>> m_hosts;
};

TEST_P(DarkenLighten, FollowTheirDefinition) {
    for (const auto& [width, height] : {std::pair{1, 9}, {9, 1}, {31, 23}, {70, 66}})
        for (const int size : {1, 2, 7, 30}) check({.width = width, .height = height, .size = size});
    for (const double cutOff : {0.0, 20.0, 100.0}) check({.cutOff = cutOff, .size = 4});
    for (const double aspect : {0.5, 1.09, 40.0})
        for (const double scale : {1.0, 0.25})
            check({.width = 40, .height = 20, .aspect = aspect, .scale = scale, .size = 8});
    check({.split = true, .sizes = {1, 2, 9, 30}});
    check({.aspect = 0.5, .scale = 0.5, .split = true, .sizes = {4, 3, 2, 1}});
    for (const Depth depth : {Depth::Byte, Depth::Short}) check({.width = 40, .height = 37, .depth = depth, .size = 5});
    for (const char* host : {"nuke", "fusion", "vegas"})
        check({.width = 40, .height = 20, .aspect = 2.0, .size = 4, .host = host});
}

INSTANTIATE_TEST_SUITE_P(Effects, DarkenLighten, testing::Values("Q_Darken", "Q_Lighten"),
                         [](const auto& effect) { return std::string(effect.param + 2); });

TEST(Lighten, GammaLiftsThePicture) {
    RecordingHost host;
    TestEffect& effect = host.effect("Q_Lighten");
    effect.setSilently("CutOff", 0.0);
    effect.connect("Input", support::constantImage(support::layoutOf(64, 48), 0.25f, 0.25f, 0.25f));
    EXPECT_EQ(effect.render()[0], 0.25f);
    effect.setSilently("Gamma", 2.0);
    EXPECT_NEAR(effect.render()[0], 0.5f, 1e-5);
}

}  // namespace
