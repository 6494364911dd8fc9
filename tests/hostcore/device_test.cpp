// Renders whose pictures lie on a device: what the plug-in is told and given, and what becomes of failures.
#include "fixture.h"
#include "support/protected_device.h"
#include "support/test_plugin.h"

using namespace ofx::status;
using ofxhost::Depth;
using ofxhost::ImageLayout;
using support::OpenedMemory;
using support::ProtectedDevice;
using testing::HasSubstr;

namespace {

namespace prop = ofx::prop;

struct Render {
    int enabled = -1;
    void* stream = nullptr;
    std::vector<int> rowBytes;
};

// The inverter, which takes pictures on a device: a kernel's place is taken by work on opened memory.
class DeviceTest : public testing::Test {
  protected:
    using Kernel = std::function<void(const testplugin::HostImage& source, const testplugin::HostImage& target)>;

    DeviceTest() {
        config.threads = 2;
        config.checkSources = true;
        config.device = device;
    }

    support::TestEffect& effect() {
        if (!m_host) {
            m_host = std::make_unique<support::RecordingHost>(config, std::vector{inverter::plugin()});
            m_effect = &m_host->effect(inverter::name);
            m_effect->connect(ofx::clip::Source, source);
            m_effect->background = 0.25f;
        }
        return *m_effect;
    }
    std::vector<float> inverted() const {
        return support::imageOf(source->layout(),
                                [&](int x, int y, int c) {
                                    const float value = source->sample(x + source->layout().bounds.x1,
                                                                       y + source->layout().bounds.y1, c);
                                    return c == 3 ? value : 1.0f - value;
                                })
            ->toFloats();
    }
    std::string faults(ofxhost::Severity least = ofxhost::Severity::Warning) { return m_host->faults(least); }

    std::optional<OfxStatus> act(const inverter::Action& action) {
        if (action.is(ofx::action::DescribeInContext)) {
            OfxPropertySetHandle set = testplugin::propertiesOf(action.effect());
            testplugin::props->propSetString(set, prop::CudaRenderSupported, 0, says);
            testplugin::props->propSetString(set, prop::CudaStreamSupported, 0, saysOfStreams);
        }
        if (action.is(ofx::action::Render)) return render(action);
        return std::nullopt;
    }

    OfxStatus render(const inverter::Action& action) {
        Render seen;
        testplugin::props->propGetInt(action.in, prop::CudaEnabled, 0, &seen.enabled);
        testplugin::props->propGetPointer(action.in, prop::CudaStream, 0, &seen.stream);
        const testplugin::HostImage from(action.effect(), ofx::clip::Source, 2.0),
            to(action.effect(), ofx::clip::Output, 2.0);
        seen.rowBytes = {from.rowBytes, to.rowBytes};
        renders.push_back(seen);
        if (!from.data || !to.data) return Failed;
        if (seen.enabled != 1) {
            kernel(from, to);
            return OK;
        }
        const auto bytes = [](const testplugin::HostImage& image) {
            return static_cast<std::size_t>(image.rowBytes) * static_cast<std::size_t>(image.height());
        };
        const OpenedMemory source_opened(from.data, bytes(from)), target_opened(to.data, bytes(to));
        kernel(from, to);
        return answer;
    }

    static void invert(const testplugin::HostImage& from, const testplugin::HostImage& to) {
        to.fill(to.bounds[1], to.bounds[3],
                [&](int x, int y, int c) { return c == 3 ? from.get(x, y, c) : 1.0f - from.get(x, y, c); });
    }

    const std::shared_ptr<ProtectedDevice> device = std::make_shared<ProtectedDevice>();
    ofxhost::HostConfig config;
    ofxhost::ImagePtr source = support::noiseImage(support::layoutOf(64, 48), 11);
    const char *says = "true", *saysOfStreams = "true";
    Kernel kernel = invert;
    OfxStatus answer = OK;  // of a render on the device
    std::vector<Render> renders;

  private:
    const inverter::Interception m_interception{[this](const inverter::Action& action) { return act(action); }};
    std::unique_ptr<support::RecordingHost> m_host;
    support::TestEffect* m_effect = nullptr;
};

TEST_F(DeviceTest, GivesPicturesOfEveryDepthAndLayoutThere) {
    for (const Depth depth : {Depth::Byte, Depth::Short, Depth::Float})
        for (const bool negative : {false, true})
            for (const int padding : {0, 12}) {
                ImageLayout layout = support::layoutOf(13, 7, depth);
                layout.bounds = {-3, 2, 10, 9};
                layout.padding = padding;
                layout.negativeRows = negative;
                source = support::noiseImage(layout, 11);
                effect().connect(ofx::clip::Source, source);
                layout.padding = 12 - padding;
                effect().setOutputLayout(layout);
                EXPECT_EQ(effect().render(2.0), inverted());
                const int row = 13 * 4 * static_cast<int>(depth) / 8;
                EXPECT_EQ(renders.back().rowBytes, (std::vector{row + padding, row + 12 - padding}));
                EXPECT_EQ(renders.back().enabled, 1);
                EXPECT_NE(renders.back().stream, nullptr);
            }
    EXPECT_EQ(effect().instance().deviceRenders().made, 12);
    EXPECT_EQ(device->blocks, 0);
    EXPECT_EQ(faults(ofxhost::Severity::Note), "");
}

TEST_F(DeviceTest, KeepsToMainMemoryUnlessBothSidesCan) {
    says = "false";
    EXPECT_EQ(effect().render(2.0), inverted());
    EXPECT_EQ(renders.back().enabled, 0);
    EXPECT_EQ(device->calls, 0);
}

TEST_F(DeviceTest, GivesItsStreamOnlyWhereBothSidesUseIt) {
    saysOfStreams = "false";
    EXPECT_EQ(effect().render(2.0), inverted());
    EXPECT_EQ(renders.back().enabled, 1);
    EXPECT_EQ(renders.back().stream, nullptr);
}

TEST_F(DeviceTest, RendersInMainMemoryWhatThePluginGivesUp) {
    for (const OfxStatus status : {GPUOutOfMemory, GPURenderFailed}) {
        answer = status;
        renders.clear();
        EXPECT_EQ(effect().render(2.0), inverted());
        ASSERT_EQ(renders.size(), 2u);
        EXPECT_EQ(renders[0].enabled, 1);
        EXPECT_EQ(renders[1].enabled, 0);
        EXPECT_EQ(renders[1].stream, nullptr);
        EXPECT_EQ(effect().instance().deviceRenders().answer, status);
    }
    EXPECT_EQ(effect().instance().deviceRenders().refused, 2);
    EXPECT_EQ(device->blocks, 0);
    EXPECT_EQ(faults(), "") << "a device that fails is nobody's fault";
}

TEST_F(DeviceTest, MakesAWholePictureWhicheverCallFails) {
    int call = 1;
    for (bool reached = true; reached; ++call) {
        device->calls = 0;
        device->failing = call;
        EXPECT_EQ(effect().render(2.0), inverted()) << "call " << call;
        reached = device->calls >= call;
        EXPECT_EQ(device->blocks, 0) << "call " << call;
    }
    EXPECT_GT(call, 8) << "a queue, two pictures there, and one back";
    EXPECT_EQ(effect().instance().deviceRenders().made, 1) << "the last one";
    EXPECT_EQ(faults(), "");
}

TEST_F(DeviceTest, SeesWritesThatAreNotTheOutputs) {
    kernel = [](const testplugin::HostImage& from, const testplugin::HostImage& to) {
        invert(from, to);
        *to.at(to.bounds[2], to.bounds[3] - 1) = std::byte{1};
    };
    effect().render(2.0);
    EXPECT_THAT(faults(), HasSubstr("memory of the device outside an image's pixels was written"));
    kernel = [](const testplugin::HostImage& from, const testplugin::HostImage& to) {
        invert(from, to);
        from.set(from.bounds[0], from.bounds[1], 0, 0.77f);
    };
    effect().render(2.0);
    EXPECT_THAT(faults(), HasSubstr("the pixels of a source were written on the device"));
}

}  // namespace
