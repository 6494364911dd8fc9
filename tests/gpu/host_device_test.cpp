// `quillon render --gpu cuda`: a host whose pictures lie on a device, and the bundle, each with an emulated device of
// its own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/cli/picture_file.h"
#include "hostcli/temporary_folder.h"

namespace {

struct Result {
    int code = -1;
    std::string text;
};

Result render(const std::string& program, const std::string& arguments) {
    Result result;
    const std::string command = program + " render --bundle " QUILLON_BUNDLE_PATH " " + arguments + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return result;
    std::array<char, 4096> bytes;
    while (const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), pipe))
        result.text.append(bytes.data(), count);
    const int status = pclose(pipe);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    return result;
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
    ::setenv("EMULATED_GPU_FAILS_AT", "3", 1);
    const Result result = render(EMULATED_PROGRAM, "Darken " + files("lost.exr") + "--gpu cuda");
    ::unsetenv("EMULATED_GPU_FAILS_AT");
    EXPECT_EQ(result.code, 0) << result.text;
    EXPECT_THAT(result.text, testing::HasSubstr("frame 0: the device failed; rendered in main memory"));
}

TEST_F(RenderCommand, SaysThatThereIsNoDevice) {
    ::setenv("CUDA_DISABLE", "yes", 1);
    const Result result = render(QUILLON_PROGRAM, "Darken " + files("none.exr") + "--gpu cuda");
    ::unsetenv("CUDA_DISABLE");
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.text, testing::HasSubstr("CUDA"));
    EXPECT_THAT(result.text, testing::HasSubstr("without --gpu the processor renders"));
}

}  // namespace
