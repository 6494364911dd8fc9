// Describe in context: groups and pages by host, the properties of each kind of parameter, in the order hosts rely on.
#include "probe_effect.h"

namespace {

namespace prop = ofx::prop;
using ofxhost::EffectDescriptor;
using ofxhost::PropertySet;
using testing::ElementsAre;
using testing::ElementsAreArray;

class Describe : public probe::ProbeTest {
  protected:
    EffectDescriptor& describe(std::string_view word) {
        on(word);
        m_descriptor = host->describe("Q_Probe");
        EXPECT_EQ(host->faults(), "") << word;
        return *m_descriptor;
    }
    const PropertySet& param(std::string_view name) const { return m_descriptor->findParam(name)->properties(); }
    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const auto& each : m_descriptor->params()) result.push_back(each->name());
        return result;
    }
    // What was written, in order, without the OfxParamProp of the names.
    static std::vector<std::string> written(const PropertySet& set) {
        std::vector<std::string> result;
        for (const auto& write : set.writes()) {
            std::string name = write.property;
            for (const char* prefix : {"OfxParamProp", "OfxProp"})
                if (name.starts_with(prefix)) name.erase(0, std::string_view(prefix).size());
            if (result.empty() || result.back() != name) result.push_back(name);
        }
        return result;
    }
    static std::vector<std::string> texts(const PropertySet& set, const char* name) {
        std::vector<std::string> result;
        for (const auto& value : set.values(name)) result.push_back(std::get<std::string>(value));
        return result;
    }
    std::unique_ptr<EffectDescriptor> m_descriptor;
};

const std::vector<std::string> LOOK{"Demos", "Amount", "Radius", "Turn",  "Count", "Invert",
                                    "Shape", "Centre", "Tint",   "Paint", "Curve"};
const std::vector<std::string> CLOCK{"DemosA", "FramesPerSecond", "StartAt",    "Seed", "WithAnimation", "Note",
                                     "File",   "Again",           "ResetSecret"};

std::vector<std::string> manyNames() {
    std::vector<std::string> names;
    for (int i = 0; i < probe::MANY; ++i) names.push_back("Many" + std::to_string(i));
    return names;
}

void append(std::vector<std::string>& list, const std::vector<std::string>& more) {
    list.insert(list.end(), more.begin(), more.end());
}

TEST_F(Describe, GroupsStandBeforeTheirParametersWhereThereAreNoPages) {
    for (const char* word : {"generic", "fusion"}) {
        describe(word);
        const bool fusion = std::string_view(word) == "fusion";
        std::vector<std::string> expected;
        if (!fusion) expected.emplace_back("PageOneGroup");
        append(expected, LOOK);
        expected.emplace_back("PageTwoGroup");
        append(expected, CLOCK);
        expected.emplace_back("PageThreeGroup");
        append(expected, manyNames());
        append(expected, {"PageFourGroup", "Fourth", "PageFiveGroup", "Fifth", "HelpButton"});
        EXPECT_EQ(names(), expected) << word;
        EXPECT_EQ(param("Amount").getString(prop::ParamParent), fusion ? "" : "PageOneGroup");
        EXPECT_EQ(param("Note").getString(prop::ParamParent), "PageTwoGroup");
        EXPECT_EQ(param("Many99").getString(prop::ParamParent), "PageThreeGroup");
        EXPECT_EQ(param("HelpButton").getString(prop::ParamParent), "");
        EXPECT_EQ(m_descriptor->findParam("PageOneGroup") == nullptr, fusion);
        if (!fusion) {
            EXPECT_EQ(param("PageOneGroup").getInt(prop::ParamGroupOpen), 1);
        }
        EXPECT_EQ(param("PageTwoGroup").getInt(prop::ParamGroupOpen), 0);
        EXPECT_EQ(param("PageTwoGroup").getString(prop::Label), "Clock");
        EXPECT_EQ(param("PageTwoGroup").getString(prop::ParamHint), "Clock");
        EXPECT_EQ(m_descriptor->paramSetProperties().values(prop::ParamPageOrder).size(), 0u);
    }
}

TEST_F(Describe, PagesHoldTheirParametersAndAreListedByTitle) {
    describe("avid");
    std::vector<std::string> expected = LOOK;
    append(expected, CLOCK);
    append(expected, manyNames());
    append(expected, {"Fourth", "Fifth", "HelpButton", "PageOne_Page", "PageTwo_Page", "PageThree_Page",
                      "PageFour_Page", "PageFive_Page"});
    EXPECT_EQ(names(), expected) << "no groups";
    EXPECT_EQ(param("Note").getString(prop::ParamParent), "");
    EXPECT_THAT(written(param("Note")), testing::Not(testing::Contains("Parent")));
    EXPECT_EQ(texts(param("PageOne_Page"), prop::ParamPageChild), LOOK);
    EXPECT_EQ(texts(param("PageTwo_Page"), prop::ParamPageChild), CLOCK);
    EXPECT_EQ(texts(param("PageThree_Page"), prop::ParamPageChild), manyNames());
    EXPECT_THAT(texts(param("PageFive_Page"), prop::ParamPageChild), ElementsAre("Fifth", "HelpButton"));
    EXPECT_EQ(param("PageTwo_Page").getString(prop::Label), "Clock");
    EXPECT_THAT(texts(m_descriptor->paramSetProperties(), prop::ParamPageOrder),
                ElementsAre("Look", "Clock", "Many", "Four", "Five"));
}

TEST_F(Describe, LongPagesBreakIntoColumnsOnTwoHosts) {
    for (const char* word : {"toxik", "cdv"}) {
        describe(word);
        const auto withBreaks = [](std::vector<std::string> children, std::vector<std::size_t> before) {
            for (auto at = before.rbegin(); at != before.rend(); ++at)
                children.insert(children.begin() + static_cast<std::ptrdiff_t>(*at), "OfxParamPageSkipColumn");
            return children;
        };
        EXPECT_EQ(texts(param("PageOne_Page"), prop::ParamPageChild), withBreaks(LOOK, {LOOK.size() / 2})) << word;
        EXPECT_EQ(texts(param("PageTwo_Page"), prop::ParamPageChild), withBreaks(CLOCK, {CLOCK.size() / 2}));
        EXPECT_EQ(texts(param("PageThree_Page"), prop::ParamPageChild), withBreaks(manyNames(), {33, 66}));
        EXPECT_THAT(texts(param("PageFour_Page"), prop::ParamPageChild), ElementsAre("Fourth"));
    }
}

TEST_F(Describe, EachKindOfParameterIsWrittenInItsOrder) {
    describe("generic");
    const auto expectOrder = [&](const char* name, const char* type, std::vector<std::string> own) {
        SCOPED_TRACE(name);
        EXPECT_EQ(m_descriptor->findParam(name)->properties().getString("OfxParamPropType"), type);
        append(own, {"Hint", "ScriptName", "Label", "Parent", "Animates"});
        EXPECT_EQ(written(param(name)), own);
    };
    const std::vector<std::string> ranged{"DoubleType", "Default",    "Min",      "Max",
                                          "DisplayMin", "DisplayMax", "Increment"};
    expectOrder("Amount", "OfxParamTypeDouble", ranged);
    expectOrder("Radius", "OfxParamTypeDouble", ranged);
    expectOrder("Turn", "OfxParamTypeDouble", ranged);
    expectOrder("StartAt", "OfxParamTypeDouble", {"DoubleType", "Default", "Increment"});
    expectOrder("Count", "OfxParamTypeInteger", {"Default", "Min", "Max", "DisplayMin", "DisplayMax"});
    expectOrder("Invert", "OfxParamTypeBoolean", {"Default"});
    expectOrder("Centre", "OfxParamTypeDouble2D", {"DoubleType", "Default", "Increment"});
    expectOrder("Curve", "OfxParamTypeDouble2D", ranged);
    expectOrder("Tint", "OfxParamTypeRGB", {"Default"});
    expectOrder("Paint", "OfxParamTypeRGBA", {"Default"});
    expectOrder("Note", "OfxParamTypeString", {"Default"});
    expectOrder("File", "OfxParamTypeString", {"StringMode", "Default"});
    EXPECT_THAT(written(param("Shape")),
                ElementsAre("Hint", "ScriptName", "Label", "Parent", "Animates", "ChoiceOption", "Default"));
    EXPECT_THAT(written(param("Again")), ElementsAre("Hint", "ScriptName", "Label", "Parent"));
    EXPECT_THAT(written(param("HelpButton")), ElementsAre("Hint", "ScriptName", "Label"));
}

TEST_F(Describe, DefaultsRangesAndTypesArriveAsDeclared) {
    describe("generic");
    EXPECT_EQ(param("Radius").getString(prop::ParamDoubleType), "OfxParamDoubleTypeScale");
    EXPECT_EQ(param("Turn").getString(prop::ParamDoubleType), "OfxParamDoubleTypePlain");
    EXPECT_EQ(param("Centre").getString(prop::ParamDoubleType), "OfxParamDoubleTypeNormalisedXYAbsolute");
    EXPECT_EQ(param("Centre").getDouble(prop::ParamDefault, 1), 0.75);
    EXPECT_EQ(param("Curve").getDouble(prop::ParamMax, 1), 1.0);
    EXPECT_EQ(param("Count").getInt(prop::ParamMax), 3000);
    // Steps of the sliders follow the range, unless one is declared.
    EXPECT_EQ(param("Amount").getDouble(prop::ParamIncrement), 0.05);
    EXPECT_EQ(param("Radius").getDouble(prop::ParamIncrement), 0.001);
    EXPECT_EQ(param("StartAt").getDouble(prop::ParamIncrement), 1.0);
    EXPECT_EQ(param("Many0").getDouble(prop::ParamIncrement), 0.001);
    EXPECT_EQ(param("Fifth").getDouble(prop::ParamIncrement), 0.125);
}

TEST_F(Describe, ScriptNamesComeFromLabels) {
    describe("generic");
    const auto script = [&](const char* name) { return param(name).getString(prop::ParamScriptName); };
    EXPECT_EQ(script("Amount"), "Amount_of_it_please");
    EXPECT_EQ(script("Invert"), "Invert_Image_CheckBox");
    EXPECT_EQ(script("Shape"), "Shape");
    EXPECT_EQ(script("FramesPerSecond"), "GeneratorFPS");
    EXPECT_EQ(script("Again"), "Again") << "a button's is its own name";
    EXPECT_EQ(script("HelpButton"), "HelpButton");
    EXPECT_EQ(param("Shape").getString(prop::Label), "Shape") << "trimmed";
    EXPECT_EQ(param("Amount").getString(prop::ParamHint), "Amount (of it), please!");
    EXPECT_EQ(param("HelpButton").getString(prop::ParamHint), "Help for Q_Probe 7.00");
    EXPECT_EQ(param("HelpButton").getString(prop::Label), "Help");
}

TEST_F(Describe, SaysWhatAnimatesAndWhatIsSecret) {
    describe("generic");
    for (const char* name : {"Amount", "Count", "Invert", "Shape", "Centre", "Tint", "FramesPerSecond"})
        EXPECT_EQ(param(name).getInt(prop::ParamAnimates), 1) << name;
    for (const char* name : {"Demos", "Seed", "Note", "File", "ResetSecret"})
        EXPECT_EQ(param(name).getInt(prop::ParamAnimates), 0) << name;
    EXPECT_EQ(param("ResetSecret").getInt(prop::ParamSecret), 1);
    EXPECT_EQ(param("Seed").getInt(prop::ParamSecret), 0);
}

TEST_F(Describe, PositionsHaveARangeOnVegasOnly) {
    describe("vegas");
    for (const int axis : {0, 1}) {
        EXPECT_EQ(param("Centre").getDouble(prop::ParamMin, axis), -2.5);
        EXPECT_EQ(param("Centre").getDouble(prop::ParamMax, axis), 3.5);
        EXPECT_EQ(param("Centre").getDouble(prop::ParamDisplayMin, axis), 0.0);
        EXPECT_EQ(param("Centre").getDouble(prop::ParamDisplayMax, axis), 1.0);
        EXPECT_EQ(param("Curve").getDouble(prop::ParamMin, axis), 0.0) << "no position";
    }
}

TEST_F(Describe, ClipsFollowTheHost) {
    const auto clipTexts = [&] {
        std::vector<std::string> result;
        for (const auto& clip : m_descriptor->clips())
            result.push_back(clip->name() + ":" + clip->properties().getString(prop::Label));
        return result;
    };
    describe("generic");
    EXPECT_THAT(clipTexts(),
                ElementsAre("Output:Output", "Input:Main Picture", "Other:Other Picture", "Third:Third Picture"));
    EXPECT_FALSE(m_descriptor->findClip("Input")->optional());
    EXPECT_TRUE(m_descriptor->findClip("Other")->optional());
    EXPECT_TRUE(m_descriptor->findClip("Other")->temporal());
    EXPECT_FALSE(m_descriptor->findClip("Third")->temporal());
    describe("nuke");
    EXPECT_THAT(clipTexts(), ElementsAre("Output:Output", "Input:Main", "Other:Other Picture", "Third:3rd"));
    for (const char* word : {"vegas", "cdv"}) {
        describe(word);
        EXPECT_THAT(clipTexts(), ElementsAre("Output:Output", "Source:Main Picture"));
    }
}

}  // namespace
