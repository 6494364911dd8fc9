// The life of an instance: wiring, changes, enable rules, presets, texts, regions, frames needed.
#include <stdexcept>
#include <thread>

#include "Library2/InstanceRecord.h"
#include "probe_effect.h"

namespace {

namespace prop = ofx::prop;
using ofx::status::OK;
using ofx::status::ReplyDefault;
using probe::probePlugin;
using probe::script;
using support::TestEffect;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class Instance : public probe::ProbeTest {
  protected:
    TestEffect& instanceOn(std::string_view word) {
        on(word);
        TestEffect& effect = create();
        EXPECT_EQ(effect.createStatus(), OK);
        forget();
        return effect;
    }
    void forget() {
        script().events.clear();
        host->clearRecord();
    }
    static bool enabled(TestEffect& effect, const char* name) {
        return effect.param(name).properties().getInt(prop::ParamEnabled) != 0;
    }
    static int rulesRun() {
        return static_cast<int>(std::count(script().events.begin(), script().events.end(), "rule"));
    }
};

// ---- Creation and destruction

TEST_F(Instance, HasThreadsOfItsOwnOnTwoHostsOnly) {
    const int before = K7PTMultiProcess::instanceCount();
    for (const char* word : {"generic", "nuke", "cdv", "vegas", "fusion"}) {
        const bool own = std::string_view(word) == "vegas" || std::string_view(word) == "fusion";
        TestEffect& first = instanceOn(word);
        create();
        EXPECT_EQ(K7PTMultiProcess::instanceCount(), own ? before + 2 : before) << word;
        EXPECT_EQ(probeOf(first).slot<K7PTMultiProcess>(SLOT_OWN_THREADS) != nullptr, own);
        host.reset();
        EXPECT_EQ(K7PTMultiProcess::instanceCount(), before) << word;
    }
}

TEST_F(Instance, AParameterThatTheHostLacksKeepsItsDeclaredValue) {
    on("generic");
    auto descriptor = host->describe("Q_Probe");
    ofxhost::HostHooks hooks;
    hooks.beforeCall = [](const ofxhost::SuiteCall& call) -> std::optional<OfxStatus> {
        const bool refused = call.name == "paramGetHandle" && (call.subject == "Amount" || call.subject == "Note");
        return refused ? std::optional<OfxStatus>(ofx::status::ErrUnknown) : std::nullopt;
    };
    host->setHooks(hooks);
    TestEffect effect(std::move(descriptor), host->project);
    ASSERT_EQ(effect.createStatus(), OK);
    probe::Probe& object = probeOf(effect);
    effect.setSilently("Amount", 5.0);
    effect.connect("Input", support::gradientImage(support::layoutOf(64, 48)));
    effect.render();
    EXPECT_EQ(object.Amount.value, 80.0);
    EXPECT_EQ(object.Note.text, "hello");
    object.Amount.SetValue(1.0);
    object.Amount.SetGhosted(true);
    object.Note.SetTextNow(0.0, "lost");
    EXPECT_EQ(effect.param("Amount").value().numbers[0], 5.0);
    effect.destroyInstance();
    EXPECT_EQ(host->faults(), "");
}

TEST_F(Instance, OneThatThrowsWhileItIsMadeIsGone) {
    on("fusion");
    const int before = K7PTMultiProcess::instanceCount();
    script().rule = [] { throw std::runtime_error("rule"); };
    TestEffect& effect = create();
    EXPECT_EQ(effect.createStatus(), ofx::status::Failed);
    EXPECT_EQ(effect.instance().properties().getPointer(prop::InstanceData), nullptr);
    EXPECT_EQ(K7PTMultiProcess::instanceCount(), before);
}

// ---- Enable rules and changes

TEST_F(Instance, EnableRulesRunAtCreationAndOnChanges) {
    on("generic");
    TestEffect& effect = create();
    EXPECT_EQ(rulesRun(), 1);
    EXPECT_FALSE(enabled(effect, "Radius")) << "Shape begins at Square";
    EXPECT_FALSE(enabled(effect, "Turn"));
    EXPECT_FALSE(enabled(effect, "Seed"));
    EXPECT_TRUE(probeOf(effect).Radius.ghosted());
    EXPECT_EQ(effect.choose("Shape", "Star"), OK);
    EXPECT_TRUE(enabled(effect, "Radius"));
    EXPECT_TRUE(enabled(effect, "Turn"));
    EXPECT_TRUE(enabled(effect, "Count"));
    effect.set("WithAnimation", 1.0);
    EXPECT_TRUE(enabled(effect, "Seed"));
    effect.set("WithAnimation", 0.0);
    EXPECT_FALSE(enabled(effect, "Seed"));
    EXPECT_EQ(host->faults(), "");
}

TEST_F(Instance, AChoiceSetToWhatItWasRunsNoRule) {
    TestEffect& effect = instanceOn("generic");
    effect.set("Shape", 2.0);
    EXPECT_EQ(rulesRun(), 1);
    effect.set("Shape", 2.0);
    EXPECT_EQ(rulesRun(), 1);
    effect.set("Shape", 1.0);
    EXPECT_EQ(rulesRun(), 2);
    // A switch has no memory: every notification runs its rule.
    host->clearRecord();
    effect.set("WithAnimation", 1.0);
    effect.set("WithAnimation", 1.0);
    EXPECT_EQ(host->count("paramGetPropertySet"), 2);
}

TEST_F(Instance, TheFirstNotificationOfAChoiceIsSwallowedOnThreeHosts) {
    for (const auto& [word, swallowed] :
         {std::pair{"fusion", 1}, {"vegas", 1}, {"cdv", 1}, {"generic", 0}, {"nuke", 0}, {"avid", 0}}) {
        SCOPED_TRACE(word);
        TestEffect& effect = instanceOn(word);
        effect.set("Shape", 2.0);
        effect.set("Shape", 3.0);
        EXPECT_EQ(rulesRun(), 2 - swallowed);
        effect.set("WithAnimation", 1.0);
        EXPECT_TRUE(enabled(effect, "Seed")) << "switches are heard at once";
    }
}

// A project is loaded with values of its own.
TEST_F(Instance, ChangesAreComparedWithWhatTheProjectWasLoadedWith) {
    on("generic");
    const auto descriptor = host->describe("Q_Probe");
    ofxhost::EffectInstance effect(*descriptor, host->project);
    ofxhost::Param &demos = *effect.findParam("Demos"), &shape = *effect.findParam("Shape");
    demos.setValue(3.0);
    shape.setValue(2.0);
    ASSERT_EQ(effect.create(), OK);
    forget();
    effect.setParam(demos, 3.0);
    EXPECT_EQ(host->count("paramSetValue"), 0) << "nothing has changed";
    effect.setParam(shape, 0.0);
    EXPECT_EQ(effect.findParam("Turn")->properties().getInt(prop::ParamEnabled), 0);
    effect.setParam(demos, 0.0);
    EXPECT_EQ(effect.findParam("Amount")->value().numbers[0], probe::presetNumber(0));
}

TEST_F(Instance, TheHelpButtonsHandleIsFetchedLast) {
    on("generic");
    create();
    std::string last;
    for (const auto& call : host->calls())
        if (call.name == "paramGetHandle" || call.name == "clipGetHandle") last = call.arguments;
    EXPECT_THAT(last, testing::HasSubstr("HelpButton"));
}

TEST_F(Instance, ButtonsAndOtherParametersReachTheEffect) {
    TestEffect& effect = instanceOn("generic");
    EXPECT_EQ(effect.press("Again"), OK);
    EXPECT_EQ(effect.set("Note", "text"), OK);
    EXPECT_EQ(effect.set("ResetSecret", 3.0), OK);
    EXPECT_EQ(effect.set("Amount", 3.0), OK);
    EXPECT_EQ(effect.set("Shape", 1.0), OK) << "what it was; it may have changed at another frame";
    EXPECT_THAT(script().events,
                ElementsAre("button Again", "control Note", "control ResetSecret", "control Amount", "control Shape"));
    EXPECT_EQ(effect.instance().instanceChanged(ofx::type::Parameter, "NoSuchParameter", ofx::change::UserEdited), OK);
}

TEST_F(Instance, AClipIsWiredAnewWhenTheUserConnectsIt) {
    TestEffect& effect = instanceOn("generic");
    // A handle that can't be had leaves the clip unconnected.
    host->failCall("clipGetHandle", 1, ofx::status::Failed);
    effect.instance().clipChanged(effect.clip("Other"));
    EXPECT_THAT(script().events, ElementsAre("clip changed"));
    EXPECT_EQ(probeOf(effect).other.handle(), nullptr);
    host->clearHooks();
    effect.instance().instanceChanged(ofx::type::Clip, "Other", ofx::change::Time);
    EXPECT_EQ(probeOf(effect).other.handle(), nullptr) << "not the user's doing";
    effect.instance().clipChanged(effect.clip("Other"));
    EXPECT_EQ(probeOf(effect).other.handle(), effect.clip("Other").handle());
}

// ---- Presets

TEST_F(Instance, APresetWritesItsValuesAndNothingElse) {
    TestEffect& effect = instanceOn("generic");
    effect.setSilently("Many5", 0.5);
    effect.setSilently("FramesPerSecond", 30.0);
    for (const std::size_t row : {std::size_t{44}, std::size_t{1}, std::size_t{0}}) {
        forget();
        ASSERT_EQ(effect.set("Demos", static_cast<double>(row)), OK);
        const double number = probe::presetNumber(row), shape = static_cast<double>(row % 3);
        const auto value = [&](const char* name) { return effect.param(name).value().numbers[0]; };
        for (const char* name : {"Amount", "Radius", "Turn", "Fifth", "StartAt"}) EXPECT_EQ(value(name), number);
        EXPECT_EQ(value("Count"), 1.0 + static_cast<double>(row));
        EXPECT_EQ(value("Invert"), static_cast<double>(row % 2));
        EXPECT_EQ(value("Shape"), shape);
        EXPECT_EQ(value("Seed"), 100.0 + static_cast<double>(row));
        const std::pair<const char*, std::size_t> tuples[] = {{"Centre", 2}, {"Tint", 3}, {"Paint", 4}, {"Curve", 2}};
        for (const auto& [name, components] : tuples)
            for (std::size_t i = 0; i < components; ++i)
                EXPECT_FLOAT_EQ(float(effect.param(name).value().numbers[i]), float(number)) << name << i;
        EXPECT_EQ(value("Many5"), 0.5);
        EXPECT_EQ(value("FramesPerSecond"), 30.0);
        EXPECT_EQ(host->count("paramSetValue"), 13) << "once each, and the choice does not set itself off again";
        EXPECT_THAT(script().events, Contains("restart"));
        EXPECT_EQ(enabled(effect, "Radius"), shape != 1.0) << "the rules follow what the preset wrote";
        EXPECT_EQ(enabled(effect, "Turn"), shape >= 2.0);
    }
    EXPECT_EQ(host->faults(), "");
}

TEST_F(Instance, APresetMayPutTheRestBackButNotPlacesAndClocks) {
    TestEffect& effect = instanceOn("generic");
    const struct {
        const char* name;
        double set, expected;
    } cases[] = {{"Radius", 0.125, 0.2},      {"Turn", 0.125, 0.0},
                 {"Many7", 0.125, 0.0},       {"Fifth", 0.125, 1.0},
                 {"Shape", 2.0, 1.0},         {"Amount", 5.0, 20.0},
                 {"Count", 9.0, 3.0},  // listed, and listed in others
                 {"StartAt", 12.0, 12.0},     {"FramesPerSecond", 50.0, 50.0},
                 {"WithAnimation", 1.0, 1.0}, {"Demos", 3.0, 3.0}};
    for (const auto& test : cases) effect.setSilently(test.name, test.set);
    effect.setSilently("Centre", {0.9, 0.1});
    effect.setSilently("Curve", {0.9, 0.1});
    effect.setSilently("Tint", {0.0, 0.0, 0.0});
    effect.setSilently("Note", "mine");
    effect.set("DemosA", 1.0);
    const auto value = [&](const char* name) { return effect.param(name).value(); };
    for (const auto& test : cases) EXPECT_EQ(value(test.name).numbers[0], test.expected) << test.name;
    EXPECT_EQ(value("Tint").numbers[1], 0.5);
    EXPECT_EQ(value("Note").text, "hello");
    EXPECT_EQ(value("Curve").numbers[0], 0.25) << "a curve is part of the look, not a place";
    EXPECT_EQ(value("Centre").numbers[0], 0.9);
    EXPECT_FALSE(enabled(effect, "Radius")) << "Shape is back at Square";
}

// A host need not tell a plug-in of values that the plug-in itself has written.
TEST_F(Instance, AChoiceThatAPresetWroteIsRememberedAsItsLastValue) {
    TestEffect& effect = instanceOn("generic");
    bool quiet = true;
    ofxhost::HostHooks hooks;
    hooks.beforeCall = [&](const ofxhost::SuiteCall& call) -> std::optional<OfxStatus> {
        if (!quiet || call.name != "paramSetValue" || call.handle != effect.param("Shape").handle())
            return std::nullopt;
        effect.setSilently("Shape", 2.0);
        return OK;
    };
    host->setHooks(hooks);
    effect.set("Demos", 2.0);  // Shape 2, told to nobody
    EXPECT_TRUE(enabled(effect, "Turn"));
    quiet = false;
    effect.set("Shape", 0.0);
    EXPECT_FALSE(enabled(effect, "Turn"));
    host->clearHooks();
}

// ---- Texts

TEST_F(Instance, TextsGoToTheHostAtTheEndOfAChangeExceptOnToxik) {
    for (const char* word : {"generic", "toxik"}) {
        TestEffect& effect = instanceOn(word);
        probe::Probe& object = probeOf(effect);
        object.Note.SetText(-1.0, "Ready.");
        EXPECT_EQ(effect.param("Note").value().text, "hello") << "nothing at once";
        effect.set("Amount", 1.0);
        const bool toxik = std::string_view(word) == "toxik";
        EXPECT_EQ(effect.param("Note").value().text, toxik ? "hello" : "Ready.");
        effect.setSilently("Note", "typed");
        effect.set("Amount", 2.0);
        EXPECT_EQ(effect.param("Note").value().text, "typed") << "written once";
        object.File.SetTextNow(-1.0, "/tmp/x");
        EXPECT_EQ(effect.param("File").value().text, "/tmp/x");
    }
}

TEST_F(Instance, ATextSetWhileRenderingSurvivesTheNextRendersFetch) {
    TestEffect& effect = instanceOn("generic");
    effect.connect("Input", support::gradientImage(support::layoutOf(64, 48)));
    script().process = [&](probe::Probe& object) {
        EXPECT_EQ(object.Note.text, object.currentFrame == 0.0 ? "hello" : "Ready.");
        if (object.currentFrame == 0.0) object.Note.SetText(-1.0, "Ready.");
    };
    effect.render(0.0);
    effect.render(1.0);
    effect.set("Amount", 1.0);
    EXPECT_EQ(effect.param("Note").value().text, "Ready.");
}

// ---- Regions and preferences

TEST_F(Instance, RegionsAndPreferences) {
    on("generic").project.width = 720;
    host->project.height = 576;
    host->project.renderScale = {0.5, 0.5};
    TestEffect& effect = create();
    effect.connect("Input", support::gradientImage(support::layoutOf(10, 10)));
    OfxRectD region{};
    EXPECT_EQ(effect.instance().regionOfDefinition(3.0, {1.0, 1.0}, region), OK);
    EXPECT_EQ(region.x2, 720.0);
    EXPECT_EQ(region.y2, 576.0);
    ofxhost::ClipPreferences preferences;
    EXPECT_EQ(effect.instance().clipPreferences(preferences), OK);
    EXPECT_EQ(preferences.frameRate, 30.0);
    EXPECT_TRUE(preferences.frameVarying);
    host->clearRecord();
    std::map<std::string, OfxRectD> regions;
    EXPECT_EQ(effect.instance().regionsOfInterest(0.0, {1, 1}, {1.0, 2.0, 30.0, 40.0}, regions), OK);
    const auto sets = host->callTexts("propSetDoubleN");
    ASSERT_EQ(sets.size(), 1u);
    EXPECT_THAT(sets[0], testing::HasSubstr("OfxImageClipPropRoI_Source"));
}

// ---- Frames needed

class FramesNeeded : public Instance {
  protected:
    // The ranges of the temporal clip for a frame list.
    std::vector<OfxRangeD> ask(TestEffect& effect, double time, std::vector<int> list) {
        script().framePrepare = [list, this](probe::ProbeInfo& plan, const FrameSpan& frames) {
            for (const int frame : list) plan.other.addFrame(frame);
            asked = frames;
        };
        std::map<std::string, ofxhost::FrameRanges> frames;
        EXPECT_EQ(effect.instance().framesNeeded(time, frames), OK);
        return frames["Other"];
    }
    FrameSpan asked{};
    static void expectRanges(const std::vector<OfxRangeD>& ranges, std::array<double, 4> expected) {
        ASSERT_EQ(ranges.size(), 2u);
        EXPECT_EQ(ranges[0].min, expected[0]);
        EXPECT_EQ(ranges[0].max, expected[1]);
        EXPECT_EQ(ranges[1].min, expected[2]);
        EXPECT_EQ(ranges[1].max, expected[3]);
    }
};

TEST_F(FramesNeeded, AreHostTimesInAscendingOrder) {
    const struct {
        const char* word;
        double offset;
    } cases[] = {{"generic", 10.0}, {"toxik", 1.0}, {"fusion", 0.0}, {"nuke", 10.0}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.word);
        on(test.word).project.firstFrame = 10;
        host->project.lastFrame = 60;
        TestEffect& effect = create();
        const auto picture = support::gradientImage(support::layoutOf(64, 48));
        effect.connect("Input", picture);
        effect.connect("Other", picture);
        expectRanges(ask(effect, 20.0, {8, 7, 3}), {20.0, 20.0, 3.0 + test.offset, 8.0 + test.offset});
        expectRanges(ask(effect, 20.0, {4}), {20.0, 20.0, 4.0 + test.offset, 4.0 + test.offset});
        expectRanges(ask(effect, 20.0, {}), {20.0, 20.0, 20.0, 20.0});
        const bool absolute = test.offset != 10.0;
        EXPECT_EQ(asked.current, absolute ? 20.0 : 10.0);
        EXPECT_EQ(asked.first, absolute ? 0.0 : 10.0);
        EXPECT_EQ(asked.last, absolute ? 999999.0 : 60.0);
    }
}

TEST_F(FramesNeeded, FetchesTheParametersFirstAndHoldsAnyNumberOfFrames) {
    TestEffect& effect = instanceOn("generic");
    effect.setKeys("StartAt", {{0.0, 0.0}, {10.0, 100.0}});
    double seen = -1.0;
    script().framePrepare = [&](probe::ProbeInfo& plan, const FrameSpan&) {
        seen = plan.StartAt.value;
        for (int i = 0; i < 5000; ++i) plan.other.addFrame(i);
        EXPECT_EQ(plan.other.frameCount, 999);
    };
    std::map<std::string, ofxhost::FrameRanges> frames;
    EXPECT_EQ(effect.instance().framesNeeded(5.0, frames), OK);
    EXPECT_EQ(seen, 50.0);
    EXPECT_EQ(frames["Other"].back().max, 998.0);
    EXPECT_THAT(host->callTexts("propSetDoubleN"), Each(Not(testing::HasSubstr("Range_Input")))) << "not temporal";
}

// What the interface does while a render of the same instance runs. The hook stands for any moment of it.
TEST_F(FramesNeeded, AndChangesLeaveARenderInProgressAlone) {
    TestEffect& effect = instanceOn("generic");
    effect.connect("Input", support::gradientImage(support::layoutOf(64, 48)));
    effect.setKeys("StartAt", {{0.0, 0.0}, {10.0, 100.0}});
    script().process = [&](probe::Probe& object) {
        std::thread interface([&] {
            EXPECT_EQ(ask(effect, 9.0, {3}).back().max, 3.0);
            object.Note.SetText(-1.0, "Ready.");
            effect.choose("Demos", "Preset 9");
        });
        interface.join();
        EXPECT_EQ(object.StartAt.value, 50.0);
        EXPECT_EQ(object.Amount.value, 80.0);
        EXPECT_EQ(object.currentFrame, 5.0);
        EXPECT_EQ(object.other.frameCount, 0);
        EXPECT_EQ(object.Note.text, "hello");
    };
    effect.render(5.0);
    script().process = [](probe::Probe& object) {
        EXPECT_EQ(object.Amount.value, probe::presetNumber(9));
        EXPECT_EQ(object.Note.text, "Ready.");
    };
    effect.render(5.0);
}

}  // namespace
