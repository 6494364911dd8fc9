// An effect from end to end: pictures of every depth and layout, the accounting of images, and the actions that ask.
#include <climits>

#include "fixture.h"

using namespace ofx::status;
using ofxhost::Depth;
using ofxhost::ImageLayout;
using testing::ElementsAre;

namespace {

struct EffectTest : InverterTest {
    const OfxImageEffectSuiteV1& s = *suites.effect;
    // The clip's handle, as the plug-in gets it.
    OfxImageClipHandle clipOf(OfxImageEffectHandle handle, const char* name = ofx::clip::Source) {
        OfxImageClipHandle clip = nullptr;
        s.clipGetHandle(handle, name, &clip, nullptr);
        return clip;
    }
};

// Inverting a whole level is exact, so the result is known to the bit.
TEST_F(EffectTest, RendersEveryDepthAndLayout) {
    for (const Depth depth : {Depth::Byte, Depth::Short, Depth::Float}) {
        for (const bool negativeIn : {false, true}) {
            for (const bool negativeOut : {false, true}) {
                for (const int padding : {0, 12}) {
                    ImageLayout in = support::layoutOf(13, 7, depth);
                    in.bounds = {-3, 2, 10, 9};
                    in.padding = padding;
                    in.negativeRows = negativeIn;
                    ImageLayout out = in;
                    out.padding = 12 - padding;
                    out.negativeRows = negativeOut;
                    const auto source = support::noiseImage(in, 11);
                    effect.connect(ofx::clip::Source, source);
                    effect.setOutputLayout(out);
                    effect.background = 0.25f;
                    const auto expected = support::imageOf(in, [&](int x, int y, int c) {
                        const float value = source->sample(x - 3, y + 2, c);
                        return c == 3 ? value : 1.0f - value;
                    });
                    EXPECT_EQ(effect.render(2.0), expected->toFloats());
                }
            }
        }
    }
    EXPECT_TRUE(effect.imagesBalanced());
    EXPECT_EQ(host.faults(), "");
}

TEST_F(EffectTest, DescribesTheImageToThePlugin) {
    ImageLayout layout = support::layoutOf(4, 3, Depth::Short);
    layout.bounds = {1, 2, 5, 5};
    layout.pixelAspect = 1.25;
    layout.renderScale = {0.5, 0.25};
    layout.negativeRows = true;
    const auto image = support::constantImage(layout, 1, 1, 1);
    effect.connect(ofx::clip::Source, image);
    inside([&](OfxImageEffectHandle handle) {
        OfxPropertySetHandle set = nullptr;
        ASSERT_EQ(s.clipGetImage(clipOf(handle), 0.0, nullptr, &set), OK);
        int bounds[4] = {}, rowBytes = 0;
        double scale[2] = {}, aspect = 0;
        char* text = nullptr;
        void* data = nullptr;
        const auto& p = *suites.property;
        p.propGetIntN(set, ofx::prop::ImageBounds, 4, bounds);
        p.propGetInt(set, ofx::prop::ImageRowBytes, 0, &rowBytes);
        p.propGetDoubleN(set, ofx::prop::RenderScale, 2, scale);
        p.propGetDouble(set, ofx::prop::ImagePixelAspectRatio, 0, &aspect);
        p.propGetString(set, ofx::prop::PixelDepth, 0, &text);
        p.propGetPointer(set, ofx::prop::ImageData, 0, &data);
        EXPECT_THAT(bounds, ElementsAre(1, 2, 5, 5));
        EXPECT_THAT(scale, ElementsAre(0.5, 0.25));
        EXPECT_EQ(rowBytes, -32);
        EXPECT_EQ(aspect, 1.25);
        EXPECT_STREQ(text, ofx::depth::Short);
        EXPECT_EQ(data, image->pixel(1, 2));
        EXPECT_EQ(s.clipReleaseImage(set), OK);
        EXPECT_EQ(s.clipReleaseImage(set), ErrBadHandle) << "a second release";
    });
    EXPECT_EQ(errors(), 1);
    EXPECT_TRUE(effect.imagesBalanced());
}

TEST_F(EffectTest, ReportsAndTakesBackImagesThatWereKept) {
    effect.connect(ofx::clip::Source, support::gradientImage(support::layoutOf(4, 4)));
    OfxPropertySetHandle kept = nullptr;
    inside([&](OfxImageEffectHandle handle) {
        EXPECT_EQ(s.clipGetImage(clipOf(handle), 0.0, nullptr, &kept), OK);
        EXPECT_EQ(effect.heldImages(), 1);
    });
    EXPECT_EQ(errors(), 1);
    EXPECT_EQ(effect.heldImages(), 0);
    EXPECT_FALSE(effect.imagesBalanced());
    EXPECT_EQ(s.clipReleaseImage(kept), ErrBadHandle) << "taken back with the action";
    OfxPropertySetHandle late = nullptr;
    EXPECT_EQ(s.clipGetImage(effect.clip("Source").handle(), 0.0, nullptr, &late), Failed) << "outside of actions";
    EXPECT_EQ(s.clipReleaseImage(effect.instance().properties().handle()), ErrBadHandle) << "no image at all";
    EXPECT_EQ(late, nullptr);
}

TEST_F(EffectTest, GivesNoImageWhereThereIsNone) {
    inside([&](OfxImageEffectHandle handle) {
        OfxPropertySetHandle set = nullptr;
        EXPECT_EQ(s.clipGetImage(clipOf(handle), 0.0, nullptr, &set), Failed) << "not connected";
        EXPECT_EQ(s.clipGetImage(clipOf(handle, ofx::clip::Output), 0.0, nullptr, &set), Failed) << "not rendering";
        EXPECT_EQ(s.clipGetImage(nullptr, 0.0, nullptr, &set), ErrBadHandle);
        EXPECT_EQ(s.clipGetImage(clipOf(handle), 0.0, nullptr, nullptr), ErrValue);
        OfxImageClipHandle clip = nullptr;
        EXPECT_EQ(s.clipGetHandle(handle, "Missing", &clip, nullptr), ErrBadHandle);
        EXPECT_EQ(clip, nullptr);
        EXPECT_EQ(set, nullptr);
    });
    effect.connect(
        "Extra",
        [](double time) -> support::ImagePtr {
            if (time < 0) throw std::runtime_error("no such file");
            return time > 5 ? nullptr : support::gradientImage(support::layoutOf(2, 2));
        },
        0, 5);
    forget();
    inside([&](OfxImageEffectHandle handle) {
        const OfxImageClipHandle clip = clipOf(handle, "Extra");
        OfxPropertySetHandle set = nullptr;
        EXPECT_EQ(s.clipGetImage(clip, 6.0, nullptr, &set), Failed);
        EXPECT_EQ(s.clipGetImage(clip, -1.0, nullptr, &set), Failed);
        EXPECT_EQ(s.clipGetImage(clip, 3.0, nullptr, &set), OK);
        s.clipReleaseImage(set);
    });
    EXPECT_EQ(errors(), 0);
    EXPECT_NE(host.faults().find("no such file"), std::string::npos);
    EXPECT_NE(host.faults().find("without temporal access"), std::string::npos);
}

TEST_F(EffectTest, AsksForRegionsFramesAndPreferencesWithDefaultsInPlace) {
    auto& instance = effect.instance();
    OfxRectD region{};
    EXPECT_EQ(instance.regionOfDefinition(0, {1, 1}, region), ReplyDefault);
    EXPECT_EQ(region.x2, 64);
    EXPECT_EQ(region.y2, 48);
    std::map<std::string, ofxhost::FrameRanges> frames;
    EXPECT_EQ(instance.framesNeeded(7, frames), ReplyDefault);
    ASSERT_EQ(frames["Source"].size(), 1u);
    EXPECT_EQ(frames["Source"][0].min, 7);
    ofxhost::ClipPreferences preferences;
    EXPECT_EQ(instance.clipPreferences(preferences), ReplyDefault);
    EXPECT_EQ(preferences.frameRate, 25.0);
    EXPECT_FALSE(preferences.frameVarying);
    EXPECT_EQ(host.faults(ofxhost::Severity::Note), "");

    const inverter::Interception interception([&](const inverter::Action& call) -> std::optional<OfxStatus> {
        const auto& p = *suites.property;
        if (call.is(ofx::action::GetFramesNeeded)) {
            const double ranges[] = {7, 7, 2, 5};
            EXPECT_EQ(p.propSetDoubleN(call.out, "OfxImageClipPropFrameRange_Source", 4, ranges), OK);
            EXPECT_EQ(p.propSetDoubleN(call.out, "OfxImageClipPropFrameRange_Input", 4, ranges), ErrUnknown);
        } else if (call.is(ofx::action::GetRegionsOfInterest)) {
            EXPECT_EQ(p.propSetDouble(call.out, "OfxImageClipPropRoI_Source", 0, -9.0), OK);
        } else if (call.is(ofx::action::GetClipPreferences)) {
            EXPECT_EQ(p.propSetInt(call.out, ofx::prop::FrameVarying, 0, 1), OK);
            EXPECT_EQ(p.propSetDouble(call.out, ofx::prop::FrameRate, 0, 30.0), OK);
        } else if (call.is(ofx::action::IsIdentity)) {
            EXPECT_EQ(p.propSetString(call.out, ofx::prop::Name, 0, ofx::clip::Source), OK);
        }
        return OK;
    });
    frames.clear();
    instance.framesNeeded(7, frames);
    ASSERT_EQ(frames["Source"].size(), 2u);
    EXPECT_EQ(frames["Source"][1].min, 2);
    EXPECT_EQ(frames["Source"][1].max, 5);
    std::map<std::string, OfxRectD> regions;
    instance.regionsOfInterest(0, {1, 1}, {0, 0, 5, 5}, regions);
    EXPECT_EQ(regions["Source"].x1, -9.0);
    EXPECT_EQ(regions["Extra"].x2, 5.0);
    instance.clipPreferences(preferences);
    EXPECT_TRUE(preferences.frameVarying);
    EXPECT_EQ(preferences.frameRate, 30.0);
    std::string clip;
    double time = 0;
    EXPECT_EQ(instance.isIdentity({.time = 4}, {0, 0, 4, 4}, clip, time), OK);
    EXPECT_EQ(clip, "Source");
    EXPECT_EQ(time, 4.0);
    EXPECT_EQ(host.faults(), "") << "foreign clip names and the frame rate are notes";
    EXPECT_EQ(notes(), 2);
}

TEST_F(EffectTest, EndsTheLifeOfHandlesWithTheInstance) {
    const OfxImageEffectHandle handle = effect.instance().handle();
    const OfxParamHandle param = effect.param("amount").handle();
    const OfxImageClipHandle clip = effect.clip("Source").handle();
    host.clearRecord();
    effect.destroyInstance();
    EXPECT_THAT(host.actions(), ElementsAre(ofx::action::DestroyInstance));
    OfxPropertySetHandle set = nullptr;
    double value = 0;
    OfxRectD region{};
    EXPECT_EQ(s.getPropertySet(handle, &set), ErrBadHandle);
    EXPECT_NE(s.abort(handle), 0) << "a dead effect is told to stop";
    EXPECT_EQ(suites.parameter->paramGetValue(param, &value), ErrBadHandle);
    EXPECT_EQ(s.clipGetRegionOfDefinition(clip, 0, &region), ErrBadHandle);
}

TEST_F(EffectTest, LendsAlignedMemoryAndMissesWhatIsNotReturned) {
    void* data = nullptr;
    OfxImageMemoryHandle block = nullptr;
    EXPECT_EQ(s.imageMemoryAlloc(effect.instance().handle(), 1001, &block), OK);
    EXPECT_EQ(s.imageMemoryUnlock(block), Failed);
    EXPECT_EQ(s.imageMemoryLock(block, &data), OK);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % 16, 0u);
    EXPECT_EQ(s.imageMemoryUnlock(block), OK);
    EXPECT_EQ(s.imageMemoryFree(block), OK);
    EXPECT_EQ(s.imageMemoryFree(block), ErrBadHandle);
    EXPECT_EQ(suites.memory->memoryAlloc(nullptr, 64, &data), OK);
    EXPECT_EQ(host.host().memoryBlocks(), 1u);
    forget();
    host.host().reportLeaks();
    EXPECT_EQ(errors(), 1);
    EXPECT_EQ(suites.memory->memoryFree(data), OK);
    EXPECT_EQ(suites.memory->memoryFree(data), ErrBadHandle);
    EXPECT_EQ(suites.memory->memoryAlloc(nullptr, SIZE_MAX / 2, &data), ErrMemory);
    EXPECT_EQ(s.imageMemoryAlloc(nullptr, SIZE_MAX / 2, &block), ErrMemory);
}

TEST_F(EffectTest, ChecksWhatADescriptionMustHold) {
    const inverter::Interception interception([&](const inverter::Action& call) -> std::optional<OfxStatus> {
        if (call.is(ofx::action::Describe)) return OK;
        if (!call.is(ofx::action::DescribeInContext)) return std::nullopt;
        OfxParamSetHandle params = nullptr;
        OfxPropertySetHandle set = nullptr;
        s.getParamSet(call.effect(), &params);
        EXPECT_EQ(s.clipDefine(call.effect(), "A", nullptr), OK);
        EXPECT_EQ(s.clipDefine(call.effect(), "A", nullptr), ErrExists);
        EXPECT_EQ(s.clipDefine(call.effect(), nullptr, nullptr), ErrValue);
        EXPECT_EQ(suites.parameter->paramDefine(params, "OfxParamTypeNonsense", "x", &set), ErrUnknown);
        EXPECT_EQ(suites.parameter->paramDefine(params, ofx::param_type::Double, "x", &set), OK);
        EXPECT_EQ(suites.parameter->paramDefine(params, ofx::param_type::Double, "x", nullptr), ErrExists);
        suites.property->propSetDouble(set, ofx::prop::ParamMin, 0, 5.0);
        suites.property->propSetString(set, ofx::prop::ParamParent, 0, "nowhere");
        EXPECT_EQ(suites.parameter->paramDefine(params, ofx::param_type::Choice, "empty", nullptr), OK);
        return OK;
    });
    ASSERT_NE(host.describe(inverter::name), nullptr);
    const std::string faults = host.faults();
    for (const char* expected : {"no label", "no contexts", "no pixel depths", "no output clip", "no components",
                                 "the default is out of range", "the parent is no group", "a choice without options"}) {
        EXPECT_NE(faults.find(expected), std::string::npos) << expected << "\n" << faults;
    }
}

TEST_F(EffectTest, LetsPluginsRefuse) {
    const inverter::Interception interception([](const inverter::Action& call) -> std::optional<OfxStatus> {
        if (call.is(ofx::action::DescribeInContext)) return ErrMissingHostFeature;
        if (call.is(ofx::action::Render)) throw std::runtime_error("out of the plug-in");
        return std::nullopt;
    });
    OfxStatus status = OK;
    EXPECT_EQ(host.bundle().find(inverter::name)->describeInContext(ofx::context::Filter, &status), nullptr);
    EXPECT_EQ(status, ErrMissingHostFeature);
    EXPECT_EQ(effect.renderStatus(), ErrFatal);
    EXPECT_EQ(errors(), 1) << "an exception must not cross the interface";
}

}  // namespace
