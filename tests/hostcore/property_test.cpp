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

}  // namespace
