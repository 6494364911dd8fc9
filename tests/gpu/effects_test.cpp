// Effects on a device make the pictures that they make on the processor, whether the pictures lie in main memory or on
// the device. Built for an emulated device, and for what the machine has; then without a device all is skipped.

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>

#include "fftlib/fftlib_cuda.h"
#include "gpu/pam.h"
#include "host/cli/cuda_device.h"
#include "host/cli/scene.h"
#include "hostcli/temporary_folder.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "support/program_folder.h"
#include "support/recording_host.h"

namespace quillon {
namespace {

namespace fs = std::filesystem;

const std::vector<DeclaredEffect>& effects() {
    static const std::vector<DeclaredEffect> all =
        readDeclarations(support::beside_program(QUILLON_BUNDLE_PATH)).effects;
    return all;
}
std::vector<std::string> names() {
    std::vector<std::string> all;
    for (const DeclaredEffect& effect : effects()) all.push_back(effect.shortName());
    return all;
}

enum Where { OnProcessor, FromMainMemory, OnDevice };

// A library decides once whether it uses a device, so that each place has a copy of the bundle with a log of its own.
// Where times are told, it waits for the device after each operation.
class Place {
  public:
    Place(Where where, const char* times) : m_where(where), m_times(times) {
        enter();
        ofxhost::HostConfig config = ofxhost::hostConfig("generic");
        config.threads = 2;
        config.checkSources = true;
        if (where == OnDevice) config.device = cudaDevice();
        m_host = std::make_unique<support::RecordingHost>(config);
    }

    std::vector<float> render(const DeclaredEffect& effect, const std::vector<Picture>& inputs, const SceneForm& form) {
        enter();
        m_host->clearRecord();
        SceneRender render(*m_host->bundle().find(effect.name), effect.scene, inputs, form);
        ofxhost::ImagePtr image;
        for (int frame = effect.scene.frame - effect.scene.lead; frame <= effect.scene.frame; ++frame)
            image = render.frame(frame);
        EXPECT_EQ(m_host->faults(), "");
        const ofxhost::DeviceRenders& there = render.instance().deviceRenders();
        EXPECT_EQ(there.refused, 0) << "status " << there.answer;
        EXPECT_EQ(there.made, m_where == OnDevice ? effect.scene.lead + 1 : 0);
        return image->toFloats();
    }
    bool takesPictures(const DeclaredEffect& effect) {
        enter();
        return m_host->describe(effect.name, ofx::context::General)->takesDevicePictures();
    }
    std::string log() const {
        std::ifstream file(m_home.path() / "Logs" / "Brindlemoor_Quillon_ofx.log");
        return {std::istreambuf_iterator<char>(file), {}};
    }

  private:
    // The library reads these whenever it is asked something.
    void enter() const {
        setenv("K7BM_HOME_DIR", m_home.path().c_str(), 1);
        setenv("TRACELEVEL", std::to_string(TRACE_INFO).c_str(), 1);
        setenv("PERFMON", m_times, 1);
        setenv("CUDA_ALWAYS", "yes", 1);
        setenv("CUDA_DISABLE", m_where == OnProcessor ? "yes" : "no", 1);
    }

    const Where m_where;
    const char* const m_times;
    const TemporaryFolder m_home;
    std::unique_ptr<support::RecordingHost> m_host;
};

// They are gone before the program ends, as in hosts: what a library has on a device can't be freed any more then.
struct Places : testing::Environment {
    std::array<std::unique_ptr<Place>, 3> made;
    void TearDown() override { made = {}; }
};
Places& places = *static_cast<Places*>(testing::AddGlobalTestEnvironment(new Places));

Place& place(Where where) {
    auto& made = places.made[where];
    if (!made) made = std::make_unique<Place>(where, "no");
    return *made;
}

std::vector<Picture> inputsOf(const DeclaredEffect& effect) {
    return sceneInputs(effect.scene, support::beside_program(QUILLON_INPUTS),
                       [](const fs::path& file) { return readPam(file.string() + ".pam"); });
}

class Device : public testing::Test {
  protected:
    void SetUp() override {
        setenv("CUDA_DISABLE", "no", 1);
        try {
            requireCudaDevice();
        } catch (const std::exception& error) {
            GTEST_SKIP() << error.what();
        }
    }
};

class EffectOnDevice : public Device, public testing::WithParamInterface<std::string> {
  protected:
    void expectTheProcessorsPicture(const SceneForm& form) {
        const std::vector<float> expected = place(OnProcessor).render(effect, inputs, form);
        for (const Where where : {FromMainMemory, OnDevice}) {
            if (where == OnDevice && !place(where).takesPictures(effect)) continue;
            SCOPED_TRACE((where == OnDevice ? "on the device " : "from main memory ") + form.preset);
            const std::vector<float> picture = place(where).render(effect, inputs, form);
            EXPECT_LE(support::largestDifference(picture, expected), 1e-4);
            EXPECT_THAT(place(where).log(), testing::Not(testing::HasSubstr("ERROR")));
        }
    }

    const DeclaredEffect& effect = *std::find_if(effects().begin(), effects().end(),
                                                 [](const DeclaredEffect& e) { return e.shortName() == GetParam(); });
    const std::vector<Picture> inputs = inputsOf(effect);
};

TEST_P(EffectOnDevice, MakesTheProcessorsPicture) { expectTheProcessorsPicture({}); }

TEST_P(EffectOnDevice, MakesTheProcessorsPresets) {
    for (const DeclaredPresets& presets : effect.presets)
        for (std::size_t i = 0; i < presets.names.size(); ++i)
            expectTheProcessorsPicture(
                {.preset = presets.choice + "=" + std::to_string(i), .scale = QUILLON_PRESET_SCALE});
}

INSTANTIATE_TEST_SUITE_P(Effects, EffectOnDevice, testing::ValuesIn(names()),
                         [](const auto& effect) { return effect.param; });

// What the tests above hold against the processor has been on the device.
TEST_F(Device, EffectsSayThatTheyRanThere) {
    Place bundle(FromMainMemory, "yes");
    std::vector<const char*> names = {"Clean", "Darken", "Facet", "Lighten", "SpinBlur"};
    if (cuda_fft_available()) names.push_back("Flare");
    for (const char* name : names) {
        const auto effect = std::find_if(effects().begin(), effects().end(),
                                         [name](const DeclaredEffect& e) { return e.shortName() == name; });
        bundle.render(*effect, inputsOf(*effect), {});
        EXPECT_THAT(bundle.log(), testing::HasSubstr(std::string(name) + " (CUDA)"));
    }
    EXPECT_THAT(bundle.log(), testing::HasSubstr("CUDA enabled."));
}

}  // namespace
}  // namespace quillon
