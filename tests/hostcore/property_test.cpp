// Property sets as a plug-in meets them: types, dimensions, access, defaults and handles.
#include <climits>

#include "fixture.h"

namespace prop = ofx::prop;
using namespace ofx::status;

namespace {

struct PropertyTest : InverterTest {
    const OfxPropertySuiteV1& p = *suites.property;
    ofxhost::PropertySet& descriptor = effect.descriptor().properties();
    ofxhost::PropertySet& instance = effect.instance().properties();
};

TEST_F(PropertyTest, RefusesWhatTheStandardDoesNotHaveAndSaysSo) {
    const OfxPropertySetHandle set = descriptor.handle();
    int number = 77;
    double real = 0.5;
    EXPECT_EQ(p.propSetInt(set, "NoSuchProperty", 0, 1), ErrUnknown);
    EXPECT_EQ(p.propSetInt(set, nullptr, 0, 1), ErrUnknown);
    EXPECT_EQ(p.propSetDouble(set, prop::SupportsTiles, 0, 1.0), ErrUnknown);
    EXPECT_EQ(p.propSetString(set, prop::Label, 1, "second"), ErrBadIndex);
    EXPECT_EQ(p.propSetString(set, prop::Label, -1, "before"), ErrBadIndex);
    EXPECT_EQ(p.propSetString(set, prop::Label, 0, nullptr), ErrValue);
    EXPECT_EQ(p.propSetString(set, prop::Type, 0, "mine"), ErrValue) << "read-only";
    EXPECT_EQ(p.propSetInt(set, prop::SupportsTiles, 0, 2), ErrValue) << "a flag";
    EXPECT_EQ(p.propSetString(set, prop::PluginRenderThreadSafety, 0, "Perhaps"), ErrValue);
    EXPECT_EQ(p.propGetInt(set, prop::Label, 0, &number), ErrUnknown);
    EXPECT_EQ(p.propGetInt(set, prop::SupportsTiles, 1, &number), ErrBadIndex);
    EXPECT_EQ(p.propGetInt(set, prop::SupportsTiles, INT_MIN, &number), ErrBadIndex);
    EXPECT_EQ(p.propGetInt(set, prop::SupportsTiles, 0, nullptr), ErrValue);
    EXPECT_EQ(p.propGetDoubleN(set, prop::SupportsTiles, -1, &real), ErrBadIndex);
    EXPECT_EQ(p.propReset(set, prop::Type), ErrValue);
    EXPECT_EQ(p.propGetDimension(set, "NoSuchProperty", &number), ErrUnknown);
    EXPECT_EQ(number, 77) << "a failing getter leaves its result alone";
    EXPECT_EQ(errors(), 14);
    EXPECT_EQ(host.host().diagnostics().count(ofxhost::Severity::Probe), 2) << "to ask for more is no fault";
    EXPECT_EQ(notes(), 0);
    const auto first = host.host().diagnostics().all().front();
    EXPECT_EQ(first.call, "propSetInt");
    EXPECT_EQ(first.subject, "NoSuchProperty");
}

TEST_F(PropertyTest, KnowsNullForeignAndStaleHandles) {
    OfxPropertySetHandle stale = nullptr;
    {
        ofxhost::PropertySet gone(host.host(), ofxhost::ObjectKind::ParamSet, "gone");
        stale = gone.handle();
        EXPECT_EQ(p.propSetInt(stale, prop::ParamSetNeedsSyncing, 0, 1), OK);
    }
    int anything = 0;
    const auto foreign = reinterpret_cast<OfxPropertySetHandle>(&anything);
    const auto mistyped = reinterpret_cast<OfxPropertySetHandle>(effect.instance().handle());
    for (const OfxPropertySetHandle handle : {OfxPropertySetHandle{}, stale, foreign, mistyped}) {
        int value = 5;
        EXPECT_EQ(p.propGetInt(handle, prop::ParamSetNeedsSyncing, 0, &value), ErrBadHandle);
        EXPECT_EQ(p.propSetInt(handle, prop::ParamSetNeedsSyncing, 0, 1), ErrBadHandle);
        EXPECT_EQ(p.propReset(handle, prop::ParamSetNeedsSyncing), ErrBadHandle);
        EXPECT_EQ(value, 5);
    }
    EXPECT_EQ(errors(), 12);
}

TEST_F(PropertyTest, GrowsVariablePropertiesOneByOneAndKeepsTextsWhereTheyAre) {
    const OfxPropertySetHandle set = effect.descriptor().paramSetProperties().handle();
    EXPECT_EQ(p.propSetString(set, prop::ParamPageOrder, 1, "gap"), ErrBadIndex);
    ASSERT_EQ(p.propSetString(set, prop::ParamPageOrder, 0, "first"), OK);
    char* first = nullptr;
    ASSERT_EQ(p.propGetString(set, prop::ParamPageOrder, 0, &first), OK);
    for (int i = 1; i < 200; ++i) ASSERT_EQ(p.propSetString(set, prop::ParamPageOrder, i, "another"), OK);
    EXPECT_STREQ(first, "first") << "texts handed out do not move when the property grows";
    int count = 0;
    EXPECT_EQ(p.propGetDimension(set, prop::ParamPageOrder, &count), OK);
    EXPECT_EQ(count, 200);
    EXPECT_EQ(p.propReset(set, prop::ParamPageOrder), OK);
    EXPECT_EQ(p.propGetDimension(set, prop::ParamPageOrder, &count), OK);
    EXPECT_EQ(count, 0);
}

TEST_F(PropertyTest, ReadsAndWritesArrays) {
    const OfxPropertySetHandle set = effect.descriptor().findParam("Double3D")->properties().handle();
    const double values[] = {1.5, -2.0, 3.25};
    double back[3] = {};
    EXPECT_EQ(p.propSetDoubleN(set, prop::ParamDefault, 3, values), OK);
    EXPECT_EQ(p.propGetDoubleN(set, prop::ParamDefault, 3, back), OK);
    EXPECT_THAT(back, testing::ElementsAre(1.5, -2.0, 3.25));
    const double four[] = {1, 2, 3, 4};
    EXPECT_EQ(p.propSetDoubleN(set, prop::ParamDefault, 4, four), ErrBadIndex);
    EXPECT_EQ(p.propSetDouble(set, prop::ParamDefault, 0, std::nan("")), ErrValue);
    void* pointer = &back;
    EXPECT_EQ(p.propSetPointerN(set, prop::ParamDataPtr, 1, &pointer), OK);
    void* found = nullptr;
    EXPECT_EQ(p.propGetPointerN(set, prop::ParamDataPtr, 1, &found), OK);
    EXPECT_EQ(found, &back);
}

TEST_F(PropertyTest, LetsFollowersFollow) {
    const auto& values = effect.descriptor().findParam("Double2D")->properties();
    const OfxPropertySetHandle set = values.handle();
    EXPECT_EQ(values.getString(prop::ParamScriptName), "Double2D");
    p.propSetString(set, prop::Label, 0, "Centre");
    p.propSetString(set, prop::ShortLabel, 0, "C");
    EXPECT_EQ(values.getString(prop::LongLabel), "Centre");
    p.propSetDouble(set, prop::ParamMin, 1, -4.0);
    EXPECT_EQ(values.getDouble(prop::ParamDisplayMin, 1), -4.0);
    p.propSetDouble(set, prop::ParamDisplayMin, 1, -1.0);
    EXPECT_EQ(values.getDouble(prop::ParamMin, 1), -4.0);
}

TEST_F(PropertyTest, ToleratesWhatBundlesAreKnownToWrite) {
    EXPECT_EQ(p.propSetInt(instance.handle(), prop::MultipleClipDepths, 0, 0), ErrUnknown);
    EXPECT_EQ(p.propSetInt(instance.handle(), prop::PluginHostFrameThreading, 0, 0), ErrUnknown);
    EXPECT_EQ(p.propSetInt(instance.handle(), prop::SupportsTiles, 0, 0), OK);
    const auto& choice = effect.descriptor().findParam("mode")->properties();
    EXPECT_EQ(p.propSetDouble(choice.handle(), prop::ParamIncrement, 0, 1.0), ErrUnknown);
    EXPECT_EQ(p.propSetInt(choice.handle(), prop::ParamMin, 0, 0), ErrUnknown);
    const auto& real = effect.descriptor().findParam("Double2D")->properties();
    EXPECT_EQ(p.propSetString(real.handle(), prop::ParamDoubleType, 0, ofx::double_type::NormalisedXYAbsolute), OK);
    EXPECT_EQ(errors(), 0);
    EXPECT_EQ(notes(), 4);
}

// On an instance, a parameter's values of use stay writable and its definition is settled.
TEST_F(PropertyTest, SettlesDefinitionsOnInstances) {
    const OfxPropertySetHandle set = effect.param("amount").properties().handle();
    EXPECT_EQ(p.propSetInt(set, prop::ParamEnabled, 0, 0), OK);
    EXPECT_EQ(p.propSetInt(set, prop::ParamSecret, 0, 1), OK);
    EXPECT_EQ(p.propSetString(set, prop::Label, 0, "More"), OK);
    EXPECT_EQ(p.propSetDouble(set, prop::ParamDefault, 0, 2.0), ErrValue);
    EXPECT_EQ(p.propSetString(set, prop::ParamScriptName, 0, "other"), ErrValue);
    const OfxPropertySetHandle clip = effect.clip("Source").properties().handle();
    EXPECT_EQ(p.propSetString(clip, prop::Label, 0, "Mine"), ErrValue);
}

TEST_F(PropertyTest, GivesActionsTheirArgumentsToRead) {
    std::vector<std::string> seen;
    const inverter::Interception interception([&](const inverter::Action& call) -> std::optional<OfxStatus> {
        seen.emplace_back(call.text);
        double time = 0.0;
        EXPECT_EQ(p.propGetDouble(call.in, prop::Time, 0, &time), OK) << call.text;
        EXPECT_EQ(time, 7.0) << call.text;
        EXPECT_EQ(p.propSetDouble(call.in, prop::Time, 0, 1.0), ErrValue) << call.text;
        if (!call.is(ofx::action::Render)) return ReplyDefault;
        int window[4] = {};
        EXPECT_EQ(p.propGetIntN(call.in, prop::RenderWindow, 4, window), OK);
        EXPECT_THAT(window, testing::ElementsAre(0, 0, 64, 48));
        EXPECT_EQ(call.out, nullptr);
        return OK;
    });
    std::map<std::string, OfxRectD> regions;
    std::map<std::string, ofxhost::FrameRanges> frames;
    std::string clip;
    double time = 0;
    effect.instance().regionsOfInterest(7.0, {1, 1}, {0, 0, 1, 1}, regions);
    effect.instance().framesNeeded(7.0, frames);
    effect.instance().isIdentity({.time = 7.0}, {0, 0, 1, 1}, clip, time);
    effect.renderStatus(7.0);
    EXPECT_THAT(seen, testing::IsSupersetOf({ofx::action::GetRegionsOfInterest, ofx::action::GetFramesNeeded,
                                             ofx::action::IsIdentity, ofx::action::Render}));
}

}  // namespace
