// The pictures that scenes begin with.

#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "host/cli/failure.h"
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
            for (std::size_t i = 0; i < picture.rgba.size(); ++i)
                ASSERT_EQ(picture.rgba[i], i % 4 == 3 ? 1.0f : sampleOf(quantise<std::uint8_t>(picture.rgba[i])));
            if (width == 480) seen.insert(picture.rgba);
        }
    EXPECT_EQ(seen.size(), testInputNames().size());
    EXPECT_THROW(testInput("@chard", 4, 4), UsageError);
}

TEST(TestInputs, OnlyThoseThatMoveDo) {
    for (const std::string& name : testInputNames()) {
        const Picture now = testInput(name, 96, 54, 5), later = testInput(name, 96, 54, 6);
        EXPECT_EQ(now.rgba != later.rgba, testInputMoves(name)) << name;
    }
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

}  // namespace
}  // namespace quillon
