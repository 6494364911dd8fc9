// `quillon render --gpu cuda`: a host whose pictures lie on a device, and the bundle, each with an emulated device of
// its own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "host/cli/picture_file.h"
#include "hostcli/temporary_folder.h"
#include "support/run_command.h"

namespace {

using Result = support::CommandResult;

// `program` may begin with variables.
Result render(const std::string& program, const std::string& arguments) {
    return support::run_command(program + " render --bundle " QUILLON_BUNDLE_PATH " " + arguments);
}

class RenderCommand : public testing::Test {
  protected:
    RenderCommand() {
        quillon::Picture picture(37, 23);
        for (std::size_t i = 0; i < picture.rgba.size(); ++i)
            picture.rgba[i] = static_cast<float>(i * 7919 % 101) / 100.0f;
        quillon::writePicture(folder / "in.exr", picture, {.depth = 32});
    }
    std::string files(const std::string& output) const {
        return "-i " + (folder / "in.exr") + " -o " + (folder / output) + " --file-depth float ";
    }

    const TemporaryFolder folder;
};

TEST_F(RenderCommand, RendersWhereTheDeviceIs) {
    const Result plain = render(EMULATED_PROGRAM, "Darken " + files("plain.exr"));
    const Result there = render(EMULATED_PROGRAM, "Darken " + files("there.exr") + "--gpu cuda --strict");
    ASSERT_EQ(plain.code, 0) << plain.text;
    ASSERT_EQ(there.code, 0) << there.text;
    EXPECT_THAT(there.text, testing::Not(testing::HasSubstr("main memory")));
    const auto a = quillon::readPicture(folder / "plain.exr").rgba, b = quillon::readPicture(folder / "there.exr").rgba;
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i) ASSERT_NEAR(a[i], b[i], 1e-4) << i;
}

TEST_F(RenderCommand, SaysWhatTakesNoPictureThere) {
    const Result result = render(EMULATED_PROGRAM, "Rain " + files("rain.exr") + "--gpu cuda");
    EXPECT_EQ(result.code, 0) << result.text;
    EXPECT_THAT(result.text, testing::HasSubstr("the effect takes no pictures on a device: they lie in main memory"));
}

TEST_F(RenderCommand, GoesOnInMainMemoryWhereTheDeviceFails) {
    const Result result =
        render("EMULATED_GPU_FAILS_AT=3 " EMULATED_PROGRAM, "Darken " + files("lost.exr") + "--gpu cuda");
    EXPECT_EQ(result.code, 0) << result.text;
    EXPECT_THAT(result.text, testing::HasSubstr("frame 0: the device failed; rendered in main memory"));
}

TEST_F(RenderCommand, SaysThatThereIsNoDevice) {
    const Result result = render("CUDA_DISABLE=yes " QUILLON_PROGRAM, "Darken " + files("none.exr") + "--gpu cuda");
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.text, testing::HasSubstr("CUDA"));
    EXPECT_THAT(result.text, testing::HasSubstr("without --gpu the processor renders"));
}

}  // namespace
