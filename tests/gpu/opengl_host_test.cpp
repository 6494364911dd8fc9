// Effects whose host has its pictures in OpenGL textures make the pictures that they make in main memory.
#include <gtest/gtest.h>

#include <set>

#include "effects/adjust/Clean.h"
#include "effects/adjust/Darken.h"
#include "effects/blur/CrashZoom.h"
#include "effects/stylise/Facet.h"
#include "gpu/opengl_host.h"
#include "k7pi_baselib/temporary_home.h"

namespace support {
namespace {

using ofx::status::GPURenderFailed;
using ofx::status::OK;

struct Case {
    const char* effect;
    std::function<void(TestEffect&)> set_up;
};

void connect_matte(TestEffect& effect, const char* clip) {
    ImageLayout layout;
    layout.bounds = {-4, 3, 16, 33};
    effect.connect(clip, noiseImage(layout, 3));
}

const Case DARKEN{"Q_Darken", [](TestEffect&) {}};
const Case THROUGH_MAIN_MEMORY{"Q_Facet", [](TestEffect& effect) {
                                   connect_matte(effect, "Input2");
                                   effect.set("DoMask", 1.0);
                               }};

class OpenGlTextures : public TemporaryHome {
  protected:
    OpenGlTextures() { OpenLog("run", false); }

    static std::vector<OfxPlugin*> plugins() {
        return {OpenGlHost::plugin<Clean>(), OpenGlHost::plugin<CrashZoom>(), OpenGlHost::plugin<Darken>(),
                OpenGlHost::plugin<Facet>()};
    }
    // A frame of 37 x 23 over which the source reaches on two sides only.
    static TestEffect& make(OpenGlHost& host, const Case& what, Depth depth = Depth::Float) {
        host.project.width = 37, host.project.height = 23;
        TestEffect& effect = host.effect(what.effect);
        ImageLayout layout;
        layout.bounds = {-3, 2, 33, 29};
        layout.depth = depth;
        layout.padding = 12;
        effect.connect(effect.primaryClip().name(), noiseImage(layout, 5));
        effect.background = 0.25f;
        what.set_up(effect);
        return effect;
    }
    static std::vector<float> in_main_memory(const Case& what, Depth depth = Depth::Float) {
        FakeRuntime none;
        none.devices = 0;
        OpenGlHost host(none, plugins());
        host.in_textures = false;
        return make(host, what, depth).render();
    }
    static void expect_balance(OpenGlHost& host, const TestEffect& effect) {
        EXPECT_EQ(host.loaded, host.freed);
        EXPECT_TRUE(effect.imagesBalanced());
        EXPECT_EQ(host.count("clipGetImage"), 0);
        EXPECT_EQ(host.faults(), "");
    }

    const ScopedEnvironment m_always{"CUDA_ALWAYS", nullptr}, m_enabled{"CUDA_DISABLE", nullptr};
};

TEST_F(OpenGlTextures, HoldThePicturesOfMainMemory) {
    const Case cases[] = {
        DARKEN,
        {"Q_Clean", [](TestEffect& effect) { effect.set("XRad", 4.0); }},
        {"Q_CrashZoom", [](TestEffect&) {}},  // without its second clip
        {"Q_CrashZoom",
         [](TestEffect& effect) {
             connect_matte(effect, "Object");
             effect.choose("UseObject", "Object Image");
         }},
        THROUGH_MAIN_MEMORY,
    };
    for (const Case& what : cases)
        for (const Depth depth : {Depth::Byte, Depth::Short, Depth::Float}) {
            SCOPED_TRACE(std::string(what.effect) + ", " + std::to_string(static_cast<int>(depth)) + " bits");
            const std::vector<float> expected = in_main_memory(what, depth);
            FakeRuntime device;
            const auto own = reinterpret_cast<GpuContext>(&device);
            device.private_contexts[own] = 0;
            FakeRuntime::select(own);
            OpenGlHost host(device, plugins());
            TestEffect& effect = make(host, what, depth);
            device.forget_calls();
            EXPECT_EQ(effect.render(), expected);
            EXPECT_EQ(FakeRuntime::context(), own) << "the host's thread goes on where it was";
            EXPECT_EQ(device.calls_of("launch") > 0, what.effect != THROUGH_MAIN_MEMORY.effect);
            EXPECT_GE(host.loaded, 2);
            expect_balance(host, effect);
        }
}

TEST_F(OpenGlTextures, WhereAnyCallFailsThePictureIsWholeOrRefused) {
    for (const Case& what : {DARKEN, THROUGH_MAIN_MEMORY}) {
        const std::vector<float> expected = in_main_memory(what);
        std::set<OfxStatus> answers;
        bool failed = true;
        for (int call = 1; failed && call < 1000; ++call)
            for (const bool lost : {false, true}) {
                SCOPED_TRACE(std::string(what.effect) + ", call " + std::to_string(call) + (lost ? ", lost" : ""));
                FakeRuntime device;
                OpenGlHost host(device, plugins());
                TestEffect& effect = make(host, what);
                device.fail_call(call, lost);
                const OfxStatus answer = effect.renderStatus();
                failed = device.has_failed();
                answers.insert(answer);
                EXPECT_TRUE(answer == GPURenderFailed || effect.lastImage()->toFloats() == expected) << answer;
                EXPECT_TRUE(failed || answer == OK);
                expect_balance(host, effect);
            }
        EXPECT_EQ(answers, (std::set<OfxStatus>{OK, GPURenderFailed}));
    }
}

TEST_F(OpenGlTextures, ThatCannotBeUsedEndInARefusal) {
    using Spoil = std::function<void(OpenGlHost&, FakeRuntime&)>;
    const auto texels = [](auto change) -> Spoil {
        return [change](OpenGlHost& host, FakeRuntime&) {
            host.spoil = [change](FakeRuntime::Texture& texture) { change(texture.layout); };
        };
    };
    const auto answer = [](bool output, OfxStatus status) -> Spoil {
        return [=](OpenGlHost& host, FakeRuntime&) {
            host.refuse = [=](ofxhost::Clip& clip) { return clip.isOutput() == output ? status : OK; };
        };
    };
    const auto says = [](const char* property, const ofxhost::PropertyValue& value) -> Spoil {
        return [=](OpenGlHost& host, FakeRuntime&) {
            host.mislead = [=](ofxhost::PropertySet& texture) { texture.set(property, 0, value); };
        };
    };
    const std::pair<const char*, Spoil> spoils[] = {
        {"half floats", texels([](GpuTexelLayout& layout) { layout.bits = 16; })},
        {"integers of 32 bits", texels([](GpuTexelLayout& layout) { layout.floats = false; })},
        {"two channels", texels([](GpuTexelLayout& layout) { layout.bits = 0; })},
        {"too narrow", texels([](GpuTexelLayout& layout) { layout.width = 35; })},
        {"too low", texels([](GpuTexelLayout& layout) { layout.height = 22; })},
        {"of another context", says(ofx::prop::OpenGLTextureIndex, 77)},
        {"a depth that is not declared", says(ofx::prop::PixelDepth, std::string("OfxBitDepthHalf"))},
        {"without alpha", says(ofx::prop::Components, std::string(ofx::component::RGB))},
        {"bounds without pixels", says(ofx::prop::ImageBounds, 33)},
        {"bounds without end", says(ofx::prop::ImageBounds, -2147483647 - 1)},
        {"no memory for the source", answer(false, ofx::status::ErrMemory)},
        {"no memory for the output", answer(true, ofx::status::ErrMemory)},
        {"no output", answer(true, ofx::status::Failed)},
        {"no device", [](OpenGlHost&, FakeRuntime& device) { device.devices = 0; }},
    };
    for (const auto& [what, spoil] : spoils) {
        SCOPED_TRACE(what);
        FakeRuntime device;
        OpenGlHost host(device, plugins());
        spoil(host, device);
        TestEffect& effect = make(host, DARKEN);
        EXPECT_EQ(effect.instance().properties().getString(ofx::prop::OpenGLRenderSupported),
                  device.devices ? "true" : "false");
        EXPECT_EQ(effect.renderStatus(), GPURenderFailed);
        expect_balance(host, effect);
    }
}

TEST_F(OpenGlTextures, AreAskedForWhereTheHostHasNothingBetter) {
    for (const bool cuda_too : {false, true}) {
        FakeRuntime device;
        OpenGlHost host(device, plugins(), cuda_too);
        const auto descriptor = host.describe("Q_Darken");
        const ofxhost::PropertySet& set = descriptor->properties();
        EXPECT_EQ(set.getString(ofx::prop::OpenGLRenderSupported), cuda_too ? "false" : "true");
        EXPECT_EQ(set.getString(ofx::prop::CudaRenderSupported), cuda_too ? "true" : "false");
        EXPECT_EQ(set.count(ofx::prop::OpenGLPixelDepth), cuda_too ? 0 : 3);
        EXPECT_EQ(device.calls(), 0) << "describing an effect asks no device";
    }
}

}  // namespace
}  // namespace support
