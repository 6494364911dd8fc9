// The presets of every effect, on its scene: each shows something, and no two look alike.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>

#include "host/cli/declarations.h"
#include "host/cli/input_source.h"
#include "host/cli/scene.h"
#include "support/recording_host.h"

namespace quillon {
namespace {

namespace fs = std::filesystem;

const std::vector<DeclaredEffect>& effects() {
    static const std::vector<DeclaredEffect> all = readDeclarations(QUILLON_BUNDLE).effects;
    return all;
}

std::vector<std::string> namesWithPresets() {
    std::vector<std::string> names;
    for (const DeclaredEffect& effect : effects())
        if (!effect.presets.empty()) names.push_back(effect.shortName());
    return names;
}

// Root mean square over red, green and blue, from 0 to 1, of all pixels, or a fifth of that of the hundredth part that
// differs most, as points of light are few: the larger of the two. A change of all pixels by a level of 8 bits is
// 0.004.
double distance(const std::vector<float>& a, const std::vector<float>& b) {
    std::vector<double> squares(a.size() / 4);
    for (std::size_t i = 0; i < a.size(); ++i)
        if (i % 4 != 3) {
            const double d = static_cast<double>(std::clamp(a[i], 0.0f, 1.0f) - std::clamp(b[i], 0.0f, 1.0f));
            squares[i / 4] += d * d / 3;
        }
    std::sort(squares.begin(), squares.end(), std::greater<>());
    const auto mean = [&](std::size_t count) {
        return std::accumulate(squares.begin(), squares.begin() + static_cast<std::ptrdiff_t>(count), 0.0) /
               static_cast<double>(count);
    };
    return std::sqrt(std::max(mean(squares.size()), mean(squares.size() / 100) / 25));
}

// The share of blocks of 6 by 6 pixels whose mean is burnt out in all three channels: paper between the dots of a
// screen is no blot.
double burnt(const std::vector<float>& picture) {
    constexpr std::size_t WIDTH = 480, BLOCK = 6;
    const std::size_t columns = WIDTH / BLOCK, rows = picture.size() / 4 / WIDTH / BLOCK;
    std::size_t count = 0;
    for (std::size_t block = 0; block < rows * columns; ++block) {
        float sums[3]{};
        for (std::size_t i = 0; i < BLOCK * BLOCK; ++i) {
            const std::size_t x = block % columns * BLOCK + i % BLOCK, y = block / columns * BLOCK + i / BLOCK;
            for (std::size_t c = 0; c < 3; ++c) sums[c] += std::min(picture[4 * (y * WIDTH + x) + c], 1.0f);
        }
        count += std::min({sums[0], sums[1], sums[2]}) > 0.98f * float(BLOCK * BLOCK);
    }
    return static_cast<double>(count) / static_cast<double>(rows * columns);
}

class EffectPresets : public testing::TestWithParam<std::string> {};

// Presets are made for frames of 1920 by 1080, of which a proxy is rendered.
TEST_P(EffectPresets, DifferAndAreSeenAndAreNoWhiteBlot) {
    constexpr double ALIKE = 0.01, UNSEEN = 0.005, BLOT = 0.25;
    constexpr double PROXY = 0.25;
    const DeclaredEffect& effect =
        *std::find_if(effects().begin(), effects().end(), [](const auto& e) { return e.shortName() == GetParam(); });
    const DeclaredScene scene = effect.scene.shown(1920, 1080);
    std::vector<Picture> inputs = sceneInputs(scene, fs::path(QUILLON_SOURCE) / "examples");
    if (effect.hasForeground()) inputs.pop_back();
    const std::vector<float> nothing(std::size_t{480} * 270 * 4, 0.0f);
    const std::vector<float> plate = inputs.empty() ? nothing : boxScaled(inputs.front(), PROXY).rgba;
    support::RecordingHost host(ofxhost::hostConfig("generic"));
    for (const DeclaredPresets& presets : effect.presets) {
        std::vector<std::vector<float>> pictures;
        for (std::size_t i = 0; i < presets.names.size(); ++i) {
            const SceneForm form{.preset = presets.choice + "=" + std::to_string(i), .scale = PROXY};
            pictures.push_back(renderScene(*host.bundle().find(effect.name), scene, inputs, form)->toFloats());
            const std::vector<float>& shown = pictures.back();
            EXPECT_GT(distance(shown, plate), UNSEEN) << presets.names[i] << " is not seen";
            EXPECT_LT(burnt(shown) - burnt(plate), BLOT) << presets.names[i] << " is a white blot";
            for (std::size_t j = 0; j < i; ++j)
                EXPECT_GT(distance(shown, pictures[j]), ALIKE) << presets.names[i] << " is like " << presets.names[j];
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Effects, EffectPresets, testing::ValuesIn(namesWithPresets()),
                         [](const auto& effect) { return effect.param; });

}  // namespace
}  // namespace quillon
