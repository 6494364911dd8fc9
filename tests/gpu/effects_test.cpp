// Effects on a device make the pictures that they make on the processor.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>

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
std::vector<std::string> names() {
    std::vector<std::string> all;
    for (const DeclaredEffect& effect : effects()) all.push_back(effect.shortName());
    return all;
}

class EffectOnDevice : public testing::TestWithParam<std::string> {
  protected:
    EffectOnDevice()
        : effect(*std::find_if(effects().begin(), effects().end(),
                               [](const DeclaredEffect& e) { return e.shortName() == GetParam(); })),
          inputs(sceneInputs(effect.scene, fs::path(QUILLON_SOURCE) / "examples")) {}
    ~EffectOnDevice() override {
        for (const char* name : {"CUDA_ALWAYS", "CUDA_DISABLE", "EMULATED_GPU_FAILS_AT"}) unsetenv(name);
    }

    std::vector<float> render(bool on_device) {
        setenv("CUDA_ALWAYS", "yes", 1);
        setenv("CUDA_DISABLE", on_device ? "no" : "yes", 1);
        support::RecordingHost host;
        const auto image = renderScene(*host.bundle().find(effect.name), effect.scene, inputs, {});
        EXPECT_EQ(host.faults(), "");
        return image->toFloats();
    }

    const DeclaredEffect& effect;
    const std::vector<Picture> inputs;
};

TEST_P(EffectOnDevice, MakesTheProcessorsPicture) {
    const std::vector<float> expected = render(false), picture = render(true);
    ASSERT_EQ(picture.size(), expected.size());
    double worst = 0;
    for (std::size_t i = 0; i < picture.size(); ++i)
        worst = std::max(worst, std::abs(double(picture[i]) - double(expected[i])));
    EXPECT_LE(worst, 1e-4);
}

INSTANTIATE_TEST_SUITE_P(Effects, EffectOnDevice, testing::ValuesIn(names()),
                         [](const auto& effect) { return effect.param; });

}  // namespace
}  // namespace quillon
