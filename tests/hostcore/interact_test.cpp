// Overlay interacts: their life, their arguments, and what they may ask of the host.
#include "host/core/interact.h"
#include "fixture.h"

using namespace ofx::status;
namespace prop = ofx::prop;

namespace {

struct InteractTest : InverterTest {
    const OfxPropertySuiteV1& p = *suites.property;
};

TEST_F(InteractTest, LivesAndCarriesTheViewer) {
    ofxhost::ViewState view;
    view.time = 12.0;
    view.pixelScale = {0.5, 0.25};
    view.renderScale = {0.5, 0.5};
    std::vector<std::string> seen;
    const inverter::Interception interception([&](const inverter::Action& call) -> std::optional<OfxStatus> {
        seen.emplace_back(call.text);
        const auto handle = static_cast<OfxInteractHandle>(const_cast<void*>(call.handle));
        OfxPropertySetHandle own = nullptr;
        EXPECT_EQ(suites.interact->interactGetPropertySet(handle, &own), OK) << "for descriptor and instance";
        if (call.is(ofx::action::Describe) || call.is(ofx::action::DestroyInstance)) return OK;
        void* effectHandle = nullptr;
        EXPECT_EQ(p.propGetPointer(own, prop::EffectInstance, 0, &effectHandle), OK);
        EXPECT_EQ(effectHandle, effect.instance().handle());
        if (call.is(ofx::action::CreateInstance)) {
            EXPECT_EQ(p.propSetPointer(own, prop::InstanceData, 0, this), OK);
            EXPECT_EQ(p.propSetString(own, prop::InteractSlaveToParam, 0, "amount"), OK);
            return OK;
        }
        double pair[2] = {}, time = 0;
        EXPECT_EQ(p.propGetDoubleN(call.in, prop::InteractPixelScale, 2, pair), OK);
        EXPECT_EQ(pair[1], 0.25);
        EXPECT_EQ(p.propGetDoubleN(own, prop::InteractPixelScale, 2, pair), OK);
        EXPECT_EQ(pair[0], 0.5);
        EXPECT_EQ(p.propGetDoubleN(call.in, prop::RenderScale, 2, pair), OK);
        EXPECT_EQ(p.propGetDoubleN(own, prop::RenderScale, 2, pair), ErrUnknown) << "only among the arguments";
        EXPECT_EQ(p.propGetDouble(call.in, prop::Time, 0, &time), OK);
        EXPECT_EQ(time, 12.0);
        if (call.is(ofx::action::InteractPenDown)) {
            EXPECT_EQ(p.propGetDoubleN(call.in, prop::InteractPenPosition, 2, pair), OK);
            EXPECT_EQ(pair[0], 30.0);
            EXPECT_EQ(pair[1], 40.0);
            EXPECT_EQ(suites.interact->interactRedraw(handle), OK);
            return OK;
        }
        return ReplyDefault;
    });
    forget();
    auto interact = ofxhost::Interact::create(effect.instance(), view);
    ASSERT_NE(interact, nullptr);
    EXPECT_EQ(interact->penMotion({1, 2}), ReplyDefault);
    EXPECT_EQ(interact->penDown({30, 40}), OK);
    EXPECT_EQ(interact->draw(), ReplyDefault);
    EXPECT_EQ(errors(), 0) << "looked for in the wrong place, as many do";
    EXPECT_EQ(notes(), 3);
    EXPECT_EQ(interact->redraws(), 1);
    EXPECT_EQ(interact->properties().getString(prop::InteractSlaveToParam), "amount");
    const OfxInteractHandle handle = interact->handle();
    interact.reset();
    EXPECT_EQ(seen.back(), ofx::action::DestroyInstance);
    EXPECT_EQ(suites.interact->interactRedraw(handle), ErrBadHandle);
    EXPECT_EQ(errors(), 1) << host.faults();
}

TEST_F(InteractTest, IsNotMadeWhenThePluginDeclines) {
    const inverter::Interception interception([](const inverter::Action& call) -> std::optional<OfxStatus> {
        return call.is(ofx::action::CreateInstance) ? std::optional<OfxStatus>(Failed) : std::nullopt;
    });
    host.clearRecord();
    EXPECT_EQ(ofxhost::Interact::create(effect.instance()), nullptr);
    EXPECT_EQ(host.actions().back(), ofx::action::CreateInstance) << "what was not created is not destroyed";
}

}  // namespace
