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
    EXPECT_EQ(errors(), 16);
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
    const OfxPropertySetHandle set = effect.descriptor().findParam("Double2D")->properties().handle();
    const auto& values = effect.descriptor().findParam("Double2D")->properties();
    EXPECT_EQ(values.getString(prop::ParamScriptName), "Double2D");
    p.propSetString(set, prop::Label, 0, "Centre");
    EXPECT_EQ(values.getString(prop::ShortLabel), "Centre");
    EXPECT_EQ(values.getString(prop::LongLabel), "Centre");
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

TEST_F(PropertyTest, KeepsALogOfAllWrites) {
    const auto& set = effect.descriptor().findParam("text")->properties();
    p.propSetString(set.handle(), prop::ParamHint, 0, "say something");
    p.propSetInt(set.handle(), prop::ParamMin, 0, 4);
    p.propSetString(set.handle(), prop::ParamHint, 0, "or not");
    const auto writes = set.writes();
    ASSERT_EQ(writes.size(), 4u) << "with the default that describing set";
    EXPECT_EQ(writes[0].property, prop::ParamDefault);
    EXPECT_EQ(writes[1].value, ofxhost::PropertyValue(std::string("say something")));
    EXPECT_EQ(writes[2].status, ErrUnknown);
    EXPECT_THAT(set.writtenProperties(), testing::ElementsAre(prop::ParamDefault, prop::ParamHint));
}

// What each type's value looks like, and which of the numeric properties it has.
TEST_F(PropertyTest, ShapesParametersByTheirType) {
    using ofxhost::PropertyType;
    struct Row {
        const char* name;
        int dimension;
        PropertyType type;
        bool range, increment, animates;
    };
    const Row rows[] = {
        {"amount", 1, PropertyType::Double, true, true, true},
        {"count", 1, PropertyType::Int, true, false, true},
        {"on", 1, PropertyType::Int, false, false, false},
        {"mode", 1, PropertyType::Int, false, false, false},
        {"text", 1, PropertyType::String, false, false, false},
        {"RGBA", 4, PropertyType::Double, true, true, true},
        {"RGB", 3, PropertyType::Double, true, true, true},
        {"Double2D", 2, PropertyType::Double, true, true, true},
        {"Double3D", 3, PropertyType::Double, true, true, true},
        {"Integer2D", 2, PropertyType::Int, true, false, true},
        {"Integer3D", 3, PropertyType::Int, true, false, true},
        {"Custom", 1, PropertyType::String, false, false, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const auto& set = effect.param(row.name).properties();
        EXPECT_EQ(set.count(prop::ParamDefault), row.dimension);
        EXPECT_EQ(set.type(prop::ParamDefault), row.type);
        EXPECT_EQ(set.has(prop::ParamMin), row.range);
        EXPECT_EQ(set.has(prop::ParamIncrement), row.increment);
        EXPECT_EQ(set.getInt(prop::ParamAnimates), row.animates);
    }
    EXPECT_FALSE(effect.param("PushButton").properties().has(prop::ParamDefault));
    EXPECT_FALSE(effect.param("group").properties().has(prop::ParamInteractV1));
    EXPECT_EQ(effect.param("amount").properties().getString(prop::Type), ofx::type::ParameterInstance);
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

TEST_F(PropertyTest, CarriesTheArgumentsOfEachAction) {
    struct Row {
        const char* action;
        std::vector<const char*> in, out;
    };
    const Row rows[] = {
        {ofx::action::Render,
         {"OfxPropTime", "OfxImageEffectPropFieldToRender", "OfxImageEffectPropRenderWindow",
          "OfxImageEffectPropRenderScale", "OfxImageEffectPropSequentialRenderStatus",
          "OfxImageEffectPropInteractiveRenderStatus", "OfxImageEffectPropRenderQualityDraft",
          "OfxImageEffectPropOpenGLEnabled", "OfxImageEffectPropCudaEnabled", "OfxImageEffectPropMetalEnabled",
          "OfxImageEffectPropOpenCLEnabled"},
         {}},
        {ofx::action::InstanceChanged,
         {"OfxPropType", "OfxPropName", "OfxPropChangeReason", "OfxPropTime", "OfxImageEffectPropRenderScale"},
         {}},
        {ofx::action::IsIdentity,
         {"OfxPropTime", "OfxImageEffectPropFieldToRender", "OfxImageEffectPropRenderWindow",
          "OfxImageEffectPropRenderScale"},
         {"OfxPropName", "OfxPropTime"}},
        {ofx::action::GetFramesNeeded,
         {"OfxPropTime"},
         {"OfxImageClipPropFrameRange_Source", "OfxImageClipPropFrameRange_Extra"}},
        {ofx::action::GetRegionsOfInterest,
         {"OfxPropTime", "OfxImageEffectPropRenderScale", "OfxImageEffectPropRegionOfInterest"},
         {"OfxImageClipPropRoI_Source", "OfxImageClipPropRoI_Extra"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.action);
        int seen = 0;
        const auto check = [&](OfxPropertySetHandle handle, const std::vector<const char*>& expected) {
            ASSERT_EQ(handle == nullptr, expected.empty());
            for (const char* property : expected) {
                int count = 0;
                EXPECT_EQ(p.propGetDimension(handle, property, &count), OK) << property;
            }
        };
        const inverter::Interception interception([&](const inverter::Action& call) -> std::optional<OfxStatus> {
            if (!call.is(row.action)) return std::nullopt;
            ++seen;
            check(call.in, row.in);
            check(call.out, row.out);
            if (call.in) {
                EXPECT_NE(p.propSetDouble(call.in, prop::Time, 0, 1.0), OK) << "inArgs are read-only";
            }
            return ofx::status::ReplyDefault;
        });
        auto& instance_ = effect.instance();
        OfxRectD region{0, 0, 1, 1};
        std::map<std::string, OfxRectD> regions;
        std::map<std::string, ofxhost::FrameRanges> frames;
        std::string clip;
        double time = 0;
        effect.set("amount", 2.0);
        instance_.regionsOfInterest(0, {1, 1}, region, regions);
        instance_.framesNeeded(0, frames);
        instance_.isIdentity({}, {0, 0, 1, 1}, clip, time);
        effect.renderStatus();
        EXPECT_EQ(seen, 1);
    }
}

}  // namespace
