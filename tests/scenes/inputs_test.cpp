// The pictures that scenes begin with.

#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "host/cli/contact_sheet.h"
#include "host/cli/failure.h"
#include "host/cli/gallery_page.h"
#include "host/cli/scene.h"
#include "host/cli/test_inputs.h"

namespace quillon {
namespace {

TEST(TestInputs, AreDifferentLevelsOf8BitsAtAnySize) {
    std::set<std::vector<float>> seen;
    for (const std::string& name : testInputNames())
        for (const auto& [width, height] : {std::pair(480, 270), std::pair(1, 1), std::pair(7, 3), std::pair(3, 100)}) {
            const Picture picture = testInput(name, width, height);
            ASSERT_EQ(picture.rgba.size(), static_cast<std::size_t>(width * height * 4));
            for (std::size_t i = 0; i < picture.rgba.size(); ++i) {
                const float sample = picture.rgba[i];
                ASSERT_EQ(sample, sampleOf(quantise<std::uint8_t>(sample))) << name << " " << i;
                if (i % 4 == 3) {
                    ASSERT_EQ(sample, 1.0f);
                }
            }
            if (width == 480) seen.insert(picture.rgba);
        }
    EXPECT_EQ(seen.size(), testInputNames().size());
    EXPECT_THROW(testInput("@chard", 4, 4), UsageError);
}

TEST(TestInputs, OnlyThoseThatMoveDo) {
    for (const std::string& name : testInputNames()) {
        const Picture now = testInput(name, 96, 54, 5), later = testInput(name, 96, 54, 6);
        EXPECT_EQ(now.rgba != later.rgba, testInputMoves(name)) << name;
        EXPECT_EQ(now.rgba, testInput(name, 96, 54, 5 - 60).rgba) << name;
    }
    EXPECT_FALSE(testInputMoves("@chard"));
}

TEST(TestInputs, RampGrowsToTheRightAndUpwardsAndNoiseIsEvenlySpread) {
    const Picture ramp = testInput("@ramp", 256, 256);
    EXPECT_EQ(ramp.row(0)[0], 0.0f);
    EXPECT_EQ(ramp.row(0)[255 * 4], 1.0f);
    EXPECT_EQ(ramp.row(255)[1], 1.0f);
    const Picture noise = testInput("@noise", 200, 200);
    double mean = 0.0, square = 0.0;
    for (std::size_t i = 0; i < noise.rgba.size(); ++i)
        if (i % 4 != 3) mean += noise.rgba[i], square += noise.rgba[i] * noise.rgba[i];
    mean /= 120000.0;
    EXPECT_NEAR(mean, 0.5, 0.005);
    EXPECT_NEAR(square / 120000.0 - mean * mean, 1.0 / 12.0, 0.002);
}

TEST(SceneInputs, ScalePicturesToTheSceneAroundTheirMiddle) {
    DeclaredScene scene;
    scene.inputs = {"coffee-small.png", "@ramp"};
    scene.width = 90;
    scene.height = 135;
    const auto inputs = sceneInputs(scene, QUILLON_SOURCE "/examples");
    ASSERT_EQ(inputs.size(), 2u);
    EXPECT_EQ(inputs[0].width, 90);
    EXPECT_EQ(inputs[0].height, 135);
    // A scale of two from the middle 180 of 480 columns: each pixel is the mean of four.
    scene.inputs = {"coffee-small.png"};
    DeclaredScene whole = scene;
    whole.width = 480;
    whole.height = 270;
    const Picture full = sceneInputs(whole, QUILLON_SOURCE "/examples").front();
    for (const auto& [x, y] : {std::pair(0, 0), std::pair(89, 134), std::pair(40, 60)}) {
        const auto at = static_cast<std::size_t>(150 + 2 * x) * 4;
        const float mean =
            (full.row(2 * y)[at] + full.row(2 * y)[at + 4] + full.row(2 * y + 1)[at] + full.row(2 * y + 1)[at + 4]) / 4;
        EXPECT_NEAR(inputs[0].row(y)[static_cast<std::size_t>(x) * 4], mean, 1e-6);
    }
}

TEST(ContactSheet, PutsPicturesSideBySideAndKeepsTheirColours) {
    std::vector<SheetEntry> entries;
    for (const float red : {0.25f, 0.5f, 0.75f}) {
        Picture picture(240, 135);
        for (std::size_t i = 0; i < picture.rgba.size(); i += 4) picture.rgba[i] = red;
        entries.push_back({picture, ""});
    }
    const Picture sheet = contactSheet(entries);
    EXPECT_EQ(sheet.width, 2 * 240 + 3 * 12);
    const float* top = sheet.row(sheet.height - 12 - 60);
    EXPECT_EQ(top[100 * 4], 0.25f);
    EXPECT_EQ(top[400 * 4], 0.5f);
    EXPECT_EQ(sheet.row(sheet.height - 12 - 135 - 30 - 12 - 60)[100 * 4], 0.75f);
    EXPECT_EQ(contactSheet({}).row(0)[3], 1.0f);
}

TEST(GalleryPage, EscapesTextAndRefersToNothingOutside) {
    GalleryEffect effect{
        "Q_A", "Menu", "a < b & \"c\"", "X=<1>", 4, 3, {{"p/A.jpg", ""}, {"p/A.1.jpg", "Black & White"}}};
    const std::string page = galleryPage({"7.00", "contact.jpg", {effect}, {"Q_B"}});
    EXPECT_NE(page.find("a &lt; b &amp; &quot;c&quot;"), std::string::npos);
    EXPECT_NE(page.find("Black &amp; White"), std::string::npos);
    EXPECT_EQ(page.find("<1>"), std::string::npos);
    EXPECT_EQ(page.find("://"), std::string::npos);
    for (const std::string tag : {"article", "div", "figure", "main", "header", "footer", "h2", "body", "html"}) {
        const auto count = [&](const std::string& text) {
            int found = 0;
            for (auto at = page.find(text); at != std::string::npos; at = page.find(text, at + 1)) ++found;
            return found;
        };
        EXPECT_EQ(count("<" + tag + ">") + count("<" + tag + " "), count("</" + tag + ">")) << tag;
    }
}

}  // namespace
}  // namespace quillon
