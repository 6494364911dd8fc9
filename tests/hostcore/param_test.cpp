// Parameter values: every type over the interface, animation, and the notifications a change causes.
#include "fixture.h"

using namespace ofx::status;
using inverter::param;
using testing::ElementsAre;

namespace {

struct ParamTest : InverterTest {
    const OfxParameterSuiteV1& p = *suites.parameter;
    OfxParamHandle of(const char* name) { return effect.param(name).handle(); }
};

TEST_F(ParamTest, CarriesEveryTypeOverTheInterface) {
    const struct {
        const char* name;
        std::vector<double> values;
    } reals[] = {{"amount", {2.5}}, {"Double2D", {8.0, 9.0}}, {"Double3D", {1.0, 2.0, 3.0}},
                 {"RGB", {0.5, 0.6, 0.7}}, {"RGBA", {0.1, 0.2, 0.3, 0.4}}},
      wholes[] = {{"count", {7}}, {"on", {0}}, {"mode", {1}}, {"Integer2D", {8, 9}}, {"Integer3D", {-1, -2, -3}}};
    inside([&](OfxImageEffectHandle) {
        for (const auto& [name, values] : reals) {
            std::vector<double> in = values, out(4), later(4);
            in.resize(4), out.resize(4);
            EXPECT_EQ(p.paramSetValue(of(name), in[0], in[1], in[2], in[3]), OK) << name;
            EXPECT_EQ(p.paramGetValue(of(name), &out[0], &out[1], &out[2], &out[3]), OK) << name;
            EXPECT_EQ(p.paramGetValueAtTime(of(name), 3.0, &later[0], &later[1], &later[2], &later[3]), OK) << name;
            EXPECT_EQ(out, in) << name;
            EXPECT_EQ(later, in) << name;
        }
        for (const auto& [name, values] : wholes) {
            std::vector<int> in(values.begin(), values.end()), out(4);
            in.resize(4);
            EXPECT_EQ(p.paramSetValue(of(name), in[0], in[1], in[2], in[3]), OK) << name;
            EXPECT_EQ(p.paramGetValue(of(name), &out[0], &out[1], &out[2], &out[3]), OK) << name;
            EXPECT_EQ(out, in) << name;
        }
        for (const char* name : {"text", "Custom"}) {
            char* text = nullptr;
            EXPECT_EQ(p.paramSetValue(of(name), "new"), OK);
            EXPECT_EQ(p.paramGetValueAtTime(of(name), -1.0, &text), OK);
            EXPECT_STREQ(text, "new");
        }
    });
    EXPECT_EQ(host.faults(), "");
}

TEST_F(ParamTest, RefusesWrongValuesAndHandles) {
    double value = 4.0;
    EXPECT_EQ(p.paramGetValue(nullptr, &value), ErrBadHandle);
    EXPECT_EQ(p.paramGetValue(reinterpret_cast<OfxParamHandle>(effect.instance().handle()), &value), ErrBadHandle);
    EXPECT_EQ(p.paramGetValue(of("amount"), nullptr), ErrValue);
    EXPECT_EQ(p.paramGetValue(of("PushButton"), &value), ErrUnsupported);
    EXPECT_EQ(p.paramSetValue(of("mode"), 2), ErrValue);
    EXPECT_EQ(p.paramSetValue(of("mode"), -1), ErrValue);
    EXPECT_EQ(p.paramSetValue(of("on"), 5), ErrValue);
    EXPECT_EQ(p.paramSetValue(of("amount"), std::nan("")), ErrValue);
    EXPECT_EQ(p.paramSetValue(of("text"), static_cast<const char*>(nullptr)), ErrValue);
    EXPECT_EQ(p.paramSetValueAtTime(of("mode"), 1.0, 1), ErrUnsupported) << "choices do not animate by default";
    EXPECT_EQ(p.paramGetDerivative(of("count"), 1.0, &value), ErrUnsupported);
    EXPECT_EQ(p.paramCopy(of("amount"), of("count"), 0.0, nullptr), ErrValue);
    EXPECT_EQ(p.paramCopy(of("amount"), nullptr, 0.0, nullptr), ErrBadHandle);
    OfxParamHandle found = nullptr;
    EXPECT_EQ(p.paramGetHandle(effect.instance().paramSetHandle(), "absent", &found, nullptr), ErrUnknown);
    EXPECT_EQ(p.paramGetHandle(effect.descriptor().paramSetHandle(), "amount", &found, nullptr), ErrBadHandle);
    EXPECT_EQ(p.paramDefine(effect.instance().paramSetHandle(), ofx::param_type::Double, "late", nullptr),
              ErrBadHandle);
    EXPECT_EQ(p.paramDefine(effect.descriptor().paramSetHandle(), ofx::param_type::Double, "late", nullptr), Failed);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(value, 4.0);
    EXPECT_EQ(errors(), 17);
}

TEST_F(ParamTest, RunsLinearlyFromKeyToKeyAndStandsStillOutside) {
    effect.setKeys("amount", {{0.0, 1.0}, {24.0, 5.0}, {30.0, 2.0}});
    const auto& amount = effect.param("amount");
    EXPECT_EQ(amount.valueAt(-100.0).numbers[0], 1.0);
    EXPECT_EQ(amount.valueAt(0.0).numbers[0], 1.0);
    EXPECT_EQ(amount.valueAt(6.0).numbers[0], 2.0);
    EXPECT_EQ(amount.valueAt(24.0).numbers[0], 5.0);
    EXPECT_EQ(amount.valueAt(28.0).numbers[0], 3.0);
    EXPECT_EQ(amount.valueAt(1e9).numbers[0], 2.0);
    EXPECT_EQ(amount.derivative(6.0, 0), 4.0 / 24.0);
    EXPECT_EQ(amount.derivative(-1.0, 0), 0.0);
    EXPECT_DOUBLE_EQ(amount.integral(-10.0, 40.0, 0), 10.0 * 1 + 24.0 * 3 + 6.0 * 3.5 + 10.0 * 2);
    EXPECT_DOUBLE_EQ(amount.integral(6.0, 0.0, 0), -9.0);
    effect.setKeys("count", {{0.0, 0.0}, {10.0, 3.0}});
    EXPECT_EQ(effect.param("count").valueAt(5.0).numbers[0], 2.0) << "whole numbers round to nearest";
    effect.setKeys("mode", {{0.0, 0.0}, {10.0, 1.0}});
    EXPECT_EQ(effect.param("mode").valueAt(9.9).numbers[0], 0.0) << "choices wait for the key";
    EXPECT_EQ(effect.param("mode").valueAt(10.0).numbers[0], 1.0);
    effect.setKeys("text", {{0.0, "a"}, {5.0, "b"}});
    EXPECT_EQ(effect.param("text").valueAt(4.0).text, "a");
    EXPECT_EQ(effect.param("amount").properties().getInt(ofx::prop::ParamIsAnimating), 1);
}

TEST_F(ParamTest, FindsMakesAndDeletesKeys) {
    const OfxParamHandle amount = of("amount");
    inside([&](OfxImageEffectHandle) {
        for (const double time : {-2.0, 4.0, 9.0}) EXPECT_EQ(p.paramSetValueAtTime(amount, time, time), OK);
    });
    unsigned count = 0;
    double time = 0.0;
    EXPECT_EQ(p.paramGetNumKeys(amount, &count), OK);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(p.paramGetKeyTime(amount, 0, &time), OK);
    EXPECT_EQ(time, -2.0);
    EXPECT_EQ(p.paramGetKeyTime(amount, 3, &time), ErrBadIndex);
    const auto keyAt = [&](double at, int direction) {
        int index = -1;
        return p.paramGetKeyIndex(amount, at, direction, &index) == OK ? index : -1;
    };
    EXPECT_EQ(keyAt(4.0, 0), 1);
    EXPECT_EQ(keyAt(4.5, 0), -1);
    EXPECT_EQ(keyAt(4.0, -1), 0);
    EXPECT_EQ(keyAt(4.0, 1), 2);
    EXPECT_EQ(keyAt(3.0, 1), 1);
    EXPECT_EQ(keyAt(-2.0, -1), -1);
    EXPECT_EQ(keyAt(9.0, 1), -1);
    EXPECT_EQ(p.paramDeleteKey(amount, 5.0), ErrBadIndex);
    EXPECT_EQ(p.paramDeleteKey(amount, 4.0), OK);
    EXPECT_EQ(effect.param("amount").keyTimes(), (std::vector{-2.0, 9.0}));
    EXPECT_EQ(p.paramDeleteAllKeys(amount), OK);
    EXPECT_EQ(p.paramGetNumKeys(amount, &count), OK);
    EXPECT_EQ(count, 0u);
    const OfxRangeD range{0.0, 5.0};
    effect.setKeys("RGB", {{0.0, {1, 1, 1}}, {5.0, {2, 2, 2}}, {6.0, {3, 3, 3}}});
    auto& second = host.effect(inverter::name);
    EXPECT_EQ(p.paramCopy(second.param("RGB").handle(), of("RGB"), 10.0, &range), OK);
    EXPECT_EQ(second.param("RGB").keyTimes(), (std::vector{10.0, 15.0}));
}

TEST_F(ParamTest, SendsThePluginsOwnChangesBackAtOnceAndWithinItsCall) {
    host.clearRecord();
    std::string trace;
    const inverter::Interception interception([&](const inverter::Action& call) -> std::optional<OfxStatus> {
        if (!call.is(ofx::action::InstanceChanged)) return OK;
        char *changed = nullptr, *reason = nullptr, *kind = nullptr;
        suites.property->propGetString(call.in, ofx::prop::Type, 0, &kind);
        EXPECT_STREQ(kind, ofx::type::Parameter);
        suites.property->propGetString(call.in, ofx::prop::Name, 0, &changed);
        suites.property->propGetString(call.in, ofx::prop::ChangeReason, 0, &reason);
        trace += std::string(changed) + (std::string(reason) == ofx::change::UserEdited ? "(user " : "(plug-in ");
        if (std::string(changed) == "amount") p.paramSetValue(param(call.effect(), "count"), 9);
        if (std::string(changed) == "count") p.paramSetValue(param(call.effect(), "on"), 0);
        trace += ")";
        return OK;
    });
    effect.set("amount", 3.0);
    EXPECT_EQ(trace, "amount(user count(plug-in on(plug-in )))");
    EXPECT_EQ(host.actions().size(), 9u) << "each in a bracket of its own";
    EXPECT_EQ(host.actions().front(), ofx::action::BeginInstanceChanged);
    EXPECT_EQ(host.actions().back(), ofx::action::EndInstanceChanged);
    EXPECT_EQ(effect.param("amount").value().numbers[0], 3.0);
    EXPECT_EQ(host.faults(), "");
}

TEST_F(ParamTest, KeepsSilentWhileCreatingAndStopsEndlessChanges) {
    int changes = 0;
    const inverter::Interception interception([&](const inverter::Action& call) -> std::optional<OfxStatus> {
        if (call.is(ofx::action::CreateInstance)) {
            EXPECT_EQ(p.paramSetValue(param(call.effect(), "amount"), 4.0), OK);
            return OK;
        }
        if (!call.is(ofx::action::InstanceChanged)) return std::nullopt;
        ++changes;
        p.paramSetValue(param(call.effect(), "amount"), 1.0 + changes % 2);
        return OK;
    });
    auto& fresh = host.effect(inverter::name);
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(fresh.param("amount").value().numbers[0], 4.0);
    EXPECT_EQ(errors(), 0);
    fresh.set("amount", 2.0);
    EXPECT_GT(changes, 10);
    EXPECT_LT(changes, 100);
    EXPECT_EQ(errors(), 1);
}

}  // namespace
