// What the program does when the disk is really full: a small file system in memory, mounted where only the test sees
// it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "host/cli/picture_file.h"
#include "support/run_command.h"
#include "temporary_folder.h"

namespace quillon {
namespace {

using testing::HasSubstr;
using testing::Not;

class FullDisk : public testing::Test {
  protected:
    // Runs shell commands with 256 KiB of disk at "disk" in the test's folder. The mount is gone with them.
    std::string onSmallDisk(const std::string& commands) const {
        const std::string inside = "cd " + folder.path().string() +
                                   " && mkdir -p disk && mount -t tmpfs -o size=256k none disk && echo mounted && " +
                                   commands;
        return support::run_command("unshare --map-root-user --mount sh -c '" + inside + "'").text;
    }
    std::string render(const std::string& arguments) const {
        return std::string(QUILLON_PROGRAM) + " render mixer --bundle " TEST_BUNDLE " -i in.exr " + arguments +
               "; echo code=$?";
    }

    void SetUp() override {
        if (const std::string told = onSmallDisk("true"); !told.starts_with("mounted"))
            GTEST_SKIP() << "no file system can be mounted here: " << told;
        writePicture(folder / "in.exr", Picture(8, 8), {});
    }

    TemporaryFolder folder;
};

TEST_F(FullDisk, LeavesEarlierFilesAndFramesWhole) {
    // Two frames of 120,000 bytes fit, the third does not; nor does a larger one in the place of the first.
    const std::string told = onSmallDisk(render("--size 200x200 -f 1-3 -o disk/a.%d.ppm") + "; wc -c disk/*; " +
                                         render("--size 300x300 -o disk/a.1.ppm") + "; wc -c disk/a.1.ppm; ls -A disk");
    EXPECT_THAT(told, HasSubstr("2 of 3 frames rendered"));
    EXPECT_THAT(told, HasSubstr("disk/a.3.ppm: No space left on device"));
    EXPECT_THAT(told, HasSubstr("120015 disk/a.2.ppm"));
    EXPECT_TRUE(told.ends_with("code=1\n120015 disk/a.1.ppm\na.1.ppm\na.2.ppm\n")) << told;
}

// Counts of an earlier check are still there after one whose counts can't be written.
TEST_F(FullDisk, IsReportedByACheckOfABundle) {
    const std::string check = std::string(QUILLON_PROGRAM) + " check --bundle " TEST_BUNDLE +
                              " --effects other --invariants declaration --json disk/counts.json; echo code=$?";
    const std::string told = onSmallDisk("echo earlier > disk/counts.json; head -c 300000 /dev/zero > disk/full; " +
                                         check + "; cat disk/counts.json; ls -A disk");
    EXPECT_THAT(told, HasSubstr("No space left on device"));
    EXPECT_TRUE(told.ends_with("code=1\nearlier\ncounts.json\nfull\n")) << told;
}

}  // namespace
}  // namespace quillon
