// File names with frame numbers, and what stands on disk.

#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "host/cli/failure.h"
#include "host/cli/frame_writer.h"
#include "host/cli/input_source.h"
#include "host/cli/picture_file.h"
#include "host/cli/sequence.h"
#include "temporary_folder.h"

namespace quillon {
namespace {

TEST(Patterns, NamesOfFrames) {
    const struct {
        const char* pattern;
        int frame;
        const char* path;
    } cases[] = {{"a.%04d.exr", 7, "a.0007.exr"},    {"a.%04d.exr", 12345, "a.12345.exr"},
                 {"a.%04d.exr", -12, "a.-012.exr"},  {"a.%d.exr", 7, "a.7.exr"},
                 {"a.####.exr", 7, "a.0007.exr"},    {"a.#.exr", -7, "a.-7.exr"},
                 {"d/%02dx%%.png", 3, "d/03x%.png"}, {"%d", 0, "0"},
                 {"still.png", 9, "still.png"},      {"#1/still.png", 9, "#1/still.png"}};
    for (const auto& c : cases) EXPECT_EQ(FilePattern(c.pattern).path(c.frame).string(), c.path) << c.pattern;
    for (const char* bad :
         {"a.%s.exr", "a.%", "a.%d.%d.exr", "a.##.b.##.exr", "a.%d.#.exr", "a.%99999999999d.exr", "a.%-4d"})
        EXPECT_THROW(FilePattern{bad}, UsageError) << bad;
}

TEST(Patterns, FrameOfUndoesPath) {
    for (const char* text : {"a.%04d.exr", "a.%d.exr", "a.###.exr", "%06d", "x%dy"}) {
        const FilePattern pattern(text);
        for (const int frame : {-1234567, -12, -1, 0, 1, 9, 10, 999, 1000, 99999999})
            EXPECT_EQ(pattern.frameOf(pattern.path(frame).string()), frame) << text;
    }
    const FilePattern padded("a.%04d.exr");
    for (const char* other : {"a.7.exr", "a.00007.exr", "a..exr", "a.exr", "b.0007.exr", "a.0007.exr.tmp", "a.+007.exr",
                              "a.00 7.exr", ".a.0007.exr", "a.99999999999999999999.exr"})
        EXPECT_FALSE(padded.frameOf(other).has_value()) << other;
    EXPECT_FALSE(FilePattern("a.%d.exr").frameOf("a.007.exr").has_value());
}

Picture flat(float value) {
    Picture picture(2, 2);
    std::fill(picture.rgba.begin(), picture.rgba.end(), value);
    return picture;
}

TEST(Sources, HoldTheirEndsAndMissTheirGaps) {
    const TemporaryFolder folder;
    const std::string pattern = folder / "plate.%02d.exr";
    for (const int frame : {12, 3, 5, 4})
        writePicture(FilePattern(pattern).path(frame), flat(static_cast<float>(frame)), {});
    std::ofstream(folder / "plate.08.exr") << "this is no picture";
    std::ofstream(folder / "plate.6.exr") << "not of this sequence";

    InputSource source(pattern);
    EXPECT_TRUE(source.isSequence());
    EXPECT_EQ(source.frames(), (std::vector<int>{3, 4, 5, 8, 12}));
    const auto valueAt = [&](double time) { return source.imageAt(time)->sample(0, 0, 0); };
    EXPECT_EQ(valueAt(4.0), 4.0f);
    EXPECT_EQ(valueAt(4.9), 4.0f);
    EXPECT_EQ(valueAt(-100.0), 3.0f);
    EXPECT_EQ(valueAt(13.0), 12.0f);
    EXPECT_EQ(valueAt(1e300), 12.0f);
    EXPECT_EQ(valueAt(-1e300), 3.0f);
    EXPECT_EQ(source.takeFailure(), "");
    EXPECT_THROW(source.imageAt(6.0), RunError);
    EXPECT_NE(source.takeFailure().find("frame 6 is missing (the nearest are 5 and 8)"), std::string::npos);
    EXPECT_EQ(source.takeFailure(), "");
    EXPECT_THROW(source.imageAt(8.0), RunError);
    EXPECT_NE(source.takeFailure().find("plate.08.exr"), std::string::npos);
    EXPECT_EQ(valueAt(3.0), 3.0f);

    EXPECT_THROW(InputSource(folder / "none.%02d.exr"), RunError);
    EXPECT_THROW(InputSource(folder / "none.exr"), RunError);
}

TEST(Sources, AStillIsThereAtAnyTimeWhateverItsName) {
    const TemporaryFolder folder;
    writePicture(folder / "100% #1.exr", flat(0.5f), {});
    InputSource source(folder / "100% #1.exr");
    EXPECT_FALSE(source.isSequence());
    EXPECT_EQ(source.imageAt(-1e9)->sample(1, 1, 3), 0.5f);
    EXPECT_EQ(source.imageAt(1e9), source.imageAt(0.0));
}

// Frames that are encoded sooner wait for those before them; after one that fails, none is put on disk.
TEST(Writers, PutFramesOnDiskInOrder) {
    const TemporaryFolder folder;
    std::vector<int> written;
    FrameWriter writer(4, 8);
    const auto frame = [&](int number, int milliseconds, bool fails = false) {
        const auto encode = [=] {
            std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
            if (fails) throw RunError("full");
            return std::vector<unsigned char>(3);
        };
        return FrameWriter::Frame{folder / std::to_string(number), encode, [&, number] { written.push_back(number); },
                                  [](const std::exception_ptr& failure) { return failure; }};
    };
    for (const int number : {0, 1, 2, 3}) writer.put(frame(number, number == 0 ? 100 : 0));
    writer.finish();
    ASSERT_EQ(written, (std::vector<int>{0, 1, 2, 3}));
    writer.put(frame(4, 50, true));
    writer.put(frame(5, 0));
    EXPECT_THROW(writer.finish(), RunError);
    EXPECT_EQ(folder.names(), (std::set<std::string>{"0", "1", "2", "3"}));
}

}  // namespace
}  // namespace quillon
