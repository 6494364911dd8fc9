// What is typed on the command line: frame lists, parameter values, names, inputs and sizes.

#include <gtest/gtest.h>

#include <limits>

#include "host/cli/console.h"
#include "host/cli/failure.h"
#include "host/cli/frame_list.h"
#include "host/cli/param_text.h"
#include "host/cli/render_plan.h"
#include "host/cli/text.h"

namespace quillon {
namespace {

using ofxhost::ParamType;

TEST(Frames, AreTakenInTheOrderGiven) {
    const struct {
        const char* text;
        std::vector<int> frames;
    } good[] = {{"7", {7}},
                {"-3", {-3}},
                {"1-4", {1, 2, 3, 4}},
                {"4-1", {4, 3, 2, 1}},
                {"5-5", {5}},
                {"0-10x5", {0, 5, 10}},
                {"0-9x5", {0, 5}},
                {"9-0x4", {9, 5, 1}},
                {"-2-1", {-2, -1, 0, 1}},
                {"-5--3", {-5, -4, -3}},
                {"3,1,2,1", {3, 1, 2, 1}},
                {"10, 1-2 ,-1", {10, 1, 2, -1}}};
    for (const auto& c : good) EXPECT_EQ(parseFrames(c.text), c.frames) << c.text;
}

TEST(Frames, RefusesWhatIsNone) {
    for (const char* text : {"", "a", "1,", ",1", "1-", "1--", "-", "1-5x", "1-5x0", "1-5x-1", "1x5", "1.5", "1-2-3",
                             "+4", "100000000", "99999999999999999999", "0-99999999", "1 2"})
        EXPECT_THROW(parseFrames(text), UsageError) << text;
}

ParamShape shape(ParamType type) { return {"Param", type, true, {}, {}, {}}; }

ParamShape ranged(ParamType type, double low, double high) {
    const auto components = static_cast<std::size_t>(ofxhost::paramTypeInfo(type).dimension);
    return {"Param", type, true, {}, std::vector<double>(components, low), std::vector<double>(components, high)};
}

TEST(ParamTexts, Numbers) {
    const ParamShape real = shape(ParamType::Double), flag = shape(ParamType::Boolean),
                     pair = shape(ParamType::Double2D);
    const ParamShape level = ranged(ParamType::Double, -1.0, 1.0), colour = ranged(ParamType::RGB, 0.0, 1.0);
    const ParamShape whole = shape(ParamType::Integer);
    const struct {
        const ParamShape& shape;
        const char* text;
        std::array<double, 4> numbers;
    } good[] = {{real, "3.5", {3.5}},
                {real, "-1e3", {-1000.0}},
                {real, " +2 ", {2.0}},
                {level, "1", {1.0}},
                {whole, "-7", {-7.0}},
                {pair, "0.25, 0.75", {0.25, 0.75}},
                {colour, "0,0.5,1", {0.0, 0.5, 1.0}},
                {flag, "on", {1.0}},
                {flag, "False", {0.0}},
                {flag, "1", {1.0}}};
    for (const auto& c : good) {
        const ParamEdit edit = parseParamText(c.shape, c.text);
        ASSERT_EQ(edit.keys.size(), 1u) << c.text;
        EXPECT_FALSE(edit.keys[0].time.has_value()) << c.text;
        EXPECT_EQ(edit.keys[0].value.numbers, c.numbers) << c.text;
    }
    const ParamShape button = shape(ParamType::PushButton), page = shape(ParamType::Page);
    const std::pair<const ParamShape&, const char*> bad[] = {
        {real, ""},      {real, "x"},           {real, "1,2"},     {real, "nan"},        {real, "inf"},
        {real, "1e999"}, {real, "0x10"},        {level, "1.0001"}, {colour, "0,0,-0.1"}, {colour, "1,1,"},
        {whole, "1.5"},  {whole, "3000000000"}, {pair, "1"},       {pair, "1,2,3"},      {flag, "2"},
        {button, "1"},   {page, "press"}};
    for (const auto& [shape, text] : bad) EXPECT_THROW(parseParamText(shape, text), UsageError) << text;
}

TEST(ParamTexts, ChoicesByIndexOrText) {
    ParamShape choice = shape(ParamType::Choice);
    choice.options = {"Soft", "Hard, dark", "8", "HARD"};
    const struct {
        const char* text;
        double index;
    } good[] = {{"0", 0}, {"3", 3}, {"Soft", 0}, {"soft", 0}, {"Hard, dark", 1}, {"HARD", 3}, {"8", 2}};
    for (const auto& c : good) EXPECT_EQ(parseParamText(choice, c.text).keys[0].value.numbers[0], c.index) << c.text;
    for (const char* text : {"4", "-1", "", "Sof", "1.0"})
        EXPECT_THROW(parseParamText(choice, text), UsageError) << text;
    try {
        parseParamText(choice, "Sift");
        FAIL();
    } catch (const UsageError& error) {
        EXPECT_NE(std::string(error.what()).find("did you mean \"Soft\""), std::string::npos) << error.what();
    }
}

TEST(ParamTexts, Keys) {
    ParamEdit edit = parseParamText(shape(ParamType::Double), "@0:1,@24:5");
    ASSERT_EQ(edit.keys.size(), 2u);
    EXPECT_EQ(edit.keys[1].time, 24.0);
    EXPECT_EQ(edit.keys[1].value.numbers[0], 5.0);

    edit = parseParamText(shape(ParamType::Double2D), "@-2.5:0.1/0.2, @24:0.5/0.7");
    ASSERT_EQ(edit.keys.size(), 2u);
    EXPECT_EQ(edit.keys[0].time, -2.5);
    EXPECT_EQ(edit.keys[1].value.numbers, (std::array<double, 4>{0.5, 0.7}));

    ParamShape choice = shape(ParamType::Choice);
    choice.options = {"A, b", "C"};
    edit = parseParamText(choice, "@0:A, b,@3:1");
    ASSERT_EQ(edit.keys.size(), 2u);
    EXPECT_EQ(edit.keys[0].value.numbers[0], 0.0);
    EXPECT_EQ(edit.keys[1].value.numbers[0], 1.0);

    for (const char* text : {"@", "@0", "@:1", "@0:", "@0:1,@0:2", "@5:1,@2:2", "@0:1,7", "@x:1", "@0:1/2", "@nan:1"})
        EXPECT_THROW(parseParamText(shape(ParamType::Double), text), UsageError) << text;
    EXPECT_THROW(parseParamText(shape(ParamType::Double2D), "@0:1,2"), UsageError);
    ParamShape fixed = shape(ParamType::Double);
    fixed.animates = false;
    EXPECT_THROW(parseParamText(fixed, "@0:1"), UsageError);
}

TEST(ParamTexts, TextsAndButtonsAndAssignments) {
    EXPECT_EQ(parseParamText(shape(ParamType::String), "@0:1, a=b").keys[0].value.text, "@0:1, a=b");
    EXPECT_EQ(parseParamText(shape(ParamType::String), "").keys[0].value.text, "");
    EXPECT_TRUE(parseParamText(shape(ParamType::PushButton), "press").press);
    EXPECT_EQ(parseAssignment("A=b=c").name, "A");
    EXPECT_EQ(parseAssignment("A=b=c").value, "b=c");
    EXPECT_EQ(parseAssignment("A=").value, "");
    for (const char* text : {"", "A", "=3"}) EXPECT_THROW(parseAssignment(text), UsageError) << text;
}

TEST(Inputs, ClipsAndFiles) {
    const std::vector<std::string> clips = {"Input", "Matte"};
    EXPECT_EQ(parseInput("a.png", clips).clip, "");
    EXPECT_EQ(parseInput("matte=a.png", clips).clip, "Matte");
    EXPECT_EQ(parseInput("matte=a=b.png", clips).file, "a=b.png");
    EXPECT_EQ(parseInput("./x=1/a.png", clips).file, "./x=1/a.png");
    EXPECT_THROW(parseInput("Mate=a.png", clips), UsageError);
    EXPECT_EQ(parseSize("64x48").width, 64);
    EXPECT_EQ(parseSize("64X48").height, 48);
    for (const char* text : {"", "64", "64x", "x48", "0x5", "5x-5", "64x48x2", "1e3x5", "40000x5"})
        EXPECT_THROW(parseSize(text), UsageError) << text;
}

TEST(Progress, TellsRateAndTimeLeft) {
    EXPECT_EQ(durationText(0.0), "0:00");
    EXPECT_EQ(durationText(59.2), "1:00");
    EXPECT_EQ(durationText(3723.0), "1:02:03");
    EXPECT_EQ(durationText(std::numeric_limits<double>::infinity()), "1000000:00:00");
    EXPECT_EQ(progressText(0, 4, 0.0), "[------------------------]  0/4");
    EXPECT_EQ(progressText(1, 4, 2.0), "[######------------------]  1/4  0.5 frames/s  0:06 left");
    EXPECT_EQ(progressText(4, 4, 8.0), "[########################]  4/4  0.5 frames/s  0:00 left");
}

}  // namespace
}  // namespace quillon
