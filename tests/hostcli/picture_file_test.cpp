// Pictures through files: what comes back, what is on disk, and what is left when writing fails.

#include "host/cli/picture_file.h"

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <limits>

#include "host/cli/atomic_file.h"
#include "host/cli/failure.h"
#include "temporary_folder.h"

namespace quillon {
namespace {

// Colour under alpha 0, values beyond 1 and below 0, and no two rows alike.
Picture wild(int width, int height) {
    Picture picture(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            float* pixel = picture.row(y) + static_cast<std::size_t>(x) * 4;
            pixel[0] = 0.1f + static_cast<float>(x) * 3.7f;
            pixel[1] = 1.0f / static_cast<float>(1 + x + y * width);
            pixel[2] = -0.25f * static_cast<float>(y);
            pixel[3] = x % 3 == 0 ? 0.0f : 0.3f * static_cast<float>(x);
        }
    return picture;
}

template <class Level>
Picture rounded(Picture picture) {
    for (float& sample : picture.rgba) sample = sampleOf(quantise<Level>(sample));
    return picture;
}

Picture throughFile(const TemporaryFolder& folder, const std::string& name, const Picture& picture, int depth) {
    writePicture(folder / name, picture, {depth, 1.0});
    Picture back = readPicture(folder / name);
    EXPECT_EQ(back.width, picture.width);
    EXPECT_EQ(back.height, picture.height);
    return back;
}

TEST(PictureFiles, ComeBackExactly) {
    const TemporaryFolder folder;
    Picture picture = wild(7, 5);
    picture.rgba[8] = std::numeric_limits<float>::denorm_min();
    picture.rgba[9] = 3e38f;
    const Picture at8 = rounded<std::uint8_t>(picture), at16 = rounded<std::uint16_t>(picture);
    const struct {
        const char* name;
        int depth;
        const Picture& expected;
    } cases[] = {{"a.exr", 8, picture}, {"a.exr", 16, picture}, {"a.exr", 32, picture}, {"a.TIFF", 32, picture},
                 {"a.png", 8, at8},     {"a.png", 16, at16},    {"a.png", 32, at16},    {"a.tif", 8, at8},
                 {"a.tif", 16, at16},   {"a.dpx", 16, at16},    {"a.tga", 8, at8}};
    for (const auto& [name, depth, expected] : cases)
        EXPECT_EQ(throughFile(folder, name, picture, depth).rgba, expected.rgba) << name << " at " << depth;

    Picture codes(256, 64);
    for (std::size_t i = 0; i < codes.rgba.size(); ++i) codes.rgba[i] = static_cast<float>(i) / 65535.0f;
    EXPECT_EQ(throughFile(folder, "codes.png", codes, 16).rgba, codes.rgba) << "all codes of a format";
}

TEST(PictureFiles, ComeBackWhereTheirColourIsTold) {
    const TemporaryFolder folder;
    const Picture picture = rounded<std::uint8_t>(wild(7, 5));
    for (const char* name : {"a.tif", "a.png", "a.exr", "a.tga"})
        for (const Colour colour : {Colour::Srgb, Colour::Linear}) {
            WriteOptions options{8, 1.0};
            options.colour = colour;
            writePicture(folder / name, picture, options);
            EXPECT_EQ(readPicture(folder / name).width, 7) << name;
        }
}

TEST(PictureFiles, FormatsWithoutAlphaDropIt) {
    const TemporaryFolder folder;
    Picture opaque = rounded<std::uint8_t>(wild(6, 4));
    for (std::size_t i = 3; i < opaque.rgba.size(); i += 4) opaque.rgba[i] = 1.0f;
    Picture clear = opaque;
    for (std::size_t i = 3; i < clear.rgba.size(); i += 4) clear.rgba[i] = 0.0f;
    for (const char* name : {"a.bmp", "a.ppm"})
        EXPECT_EQ(throughFile(folder, name, clear, 8).rgba, opaque.rgba) << name;
}

// Writes a file by the library alone, to see what the reader makes of others' files.
void writeRaw(const std::string& path, OIIO::ImageSpec header, const std::vector<float>& samples) {
    auto output = OIIO::ImageOutput::create(path);
    ASSERT_TRUE(output && output->open(path, header)) << OIIO::geterror();
    ASSERT_TRUE(output->write_image(OIIO::TypeDesc::FLOAT, samples.data()));
    ASSERT_TRUE(output->close());
}

TEST(PictureFiles, ChannelsAreTakenByName) {
    const TemporaryFolder folder;
    const struct {
        std::vector<std::string> names;
        std::vector<float> samples;
        std::vector<float> rgba;
    } cases[] = {
        {{"Y"}, {0.5f}, {0.5f, 0.5f, 0.5f, 1.0f}},
        {{"Y", "A"}, {0.5f, 0.25f}, {0.5f, 0.5f, 0.5f, 0.25f}},
        {{"R", "G", "B"}, {1.0f, 2.0f, 3.0f}, {1.0f, 2.0f, 3.0f, 1.0f}},
        {{"Z", "B", "A", "G", "R"}, {9.0f, 3.0f, 0.5f, 2.0f, 1.0f}, {1.0f, 2.0f, 3.0f, 0.5f}},
        {{"depth.Z", "beauty.R", "beauty.G", "beauty.B", "beauty.A"},
         {9.0f, 1.0f, 2.0f, 3.0f, 0.5f},
         {1.0f, 2.0f, 3.0f, 0.5f}},
        {{"u", "v", "w"}, {1.0f, 2.0f, 3.0f}, {1.0f, 2.0f, 3.0f, 1.0f}},
        {{"u", "v"}, {1.0f, 2.0f}, {1.0f, 1.0f, 1.0f, 1.0f}},
        {{"A"}, {0.25f}, {0.25f, 0.25f, 0.25f, 1.0f}},
    };
    for (const auto& c : cases) {
        OIIO::ImageSpec header(1, 1, static_cast<int>(c.names.size()), OIIO::TypeDesc::FLOAT);
        header.channelnames = c.names;
        header.alpha_channel = -1;
        for (std::size_t i = 0; i < c.names.size(); ++i)
            if (c.names[i] == "A") header.alpha_channel = static_cast<int>(i);
        writeRaw(folder / "named.exr", header, c.samples);
        EXPECT_EQ(readPicture(folder / "named.exr").rgba, c.rgba) << c.names[0];
    }
}

TEST(PictureFiles, ADataWindowIsPutIntoItsDisplayWindow) {
    const TemporaryFolder folder;
    OIIO::ImageSpec header(3, 2, 1, OIIO::TypeDesc::FLOAT);
    header.channelnames = {"Y"};
    header.x = -1, header.y = 1;
    header.full_x = 0, header.full_y = 0, header.full_width = 4, header.full_height = 3;
    writeRaw(folder / "window.exr", header, {1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f});
    const Picture picture = readPicture(folder / "window.exr");
    ASSERT_EQ(picture.width, 4);
    ASSERT_EQ(picture.height, 3);
    EXPECT_EQ(readPictureInfo(folder / "window.exr").height, 3);
    const auto red = [&](int x, int yFromTop) { return picture.row(2 - yFromTop)[static_cast<std::size_t>(x) * 4]; };
    EXPECT_EQ(red(0, 0), 0.0f);
    EXPECT_EQ(red(0, 1), 2.0f);
    EXPECT_EQ(red(1, 2), 6.0f);
    EXPECT_EQ(red(2, 1), 0.0f);
    EXPECT_EQ(picture.row(2)[3], 0.0f) << "transparent where there are no data";
}

TEST(PictureFiles, OfNoKnownFormatAreRefused) {
    EXPECT_THROW(writePicture("a.xyz", wild(2, 2), {}), UsageError);
    EXPECT_THROW(requireWritableFormat("noextension"), UsageError);
}

// The standard tells for each value on which side of the visible picture the file's first row and first column are.
TEST(PictureFiles, AreTurnedAsTheCameraWasHeld) {
    constexpr struct {
        int orientation;
        char firstRow, firstColumn;
    } held[] = {{0, 'T', 'L'}, {1, 'T', 'L'}, {2, 'T', 'R'}, {3, 'B', 'R'}, {4, 'B', 'L'},
                {5, 'L', 'T'}, {6, 'R', 'T'}, {7, 'R', 'B'}, {8, 'L', 'B'}, {9, 'T', 'L'}};
    const TemporaryFolder folder;
    const std::string path = folder / "held.tif";
    const Picture stored = wild(7, 5);
    for (const auto& [orientation, firstRow, firstColumn] : held) {
        OIIO::ImageSpec header(7, 5, 4, OIIO::TypeDesc::FLOAT);
        header.attribute("Orientation", orientation);
        header.attribute("oiio:UnassociatedAlpha", 1);
        OIIO::ImageBuf buffer(header);
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 7; ++x)
                buffer.setpixel(x, y, OIIO::span<const float>(stored.row(4 - y) + static_cast<std::size_t>(x) * 4, 4));
        ASSERT_TRUE(buffer.write(path));
        const Picture read = readPicture(path);
        ASSERT_EQ(read.width * read.height, 35);
        ASSERT_EQ(read.height, firstRow == 'T' || firstRow == 'B' ? 5 : 7);
        EXPECT_EQ(readPictureInfo(path).width, read.width);
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 7; ++x) {
                int visibleX = 0, visibleY = 0;
                for (const auto& [side, distance] : {std::pair(firstRow, y), std::pair(firstColumn, x)}) {
                    if (side == 'T') visibleY = distance;
                    if (side == 'B') visibleY = read.height - 1 - distance;
                    if (side == 'L') visibleX = distance;
                    if (side == 'R') visibleX = read.width - 1 - distance;
                }
                ASSERT_EQ(read.row(read.height - 1 - visibleY)[4 * visibleX + 1], stored.row(4 - y)[4 * x + 1])
                    << orientation << " at " << x << ", " << y;
            }
    }
}

TEST(AtomicFiles, ReplaceWholeOrNotAtAll) {
    const TemporaryFolder folder;
    const std::string path = folder / "out.bin";
    writeFileAtomically(path, "first", 5);
    writeFileAtomically(path, "second!", 7);
    EXPECT_EQ(std::filesystem::file_size(path), 7u);
    EXPECT_THROW(writeFileAtomically(folder / "none/out.bin", "x", 1), RunError);
    std::filesystem::create_directory(folder / "taken");
    EXPECT_THROW(writeFileAtomically(folder / "taken", "x", 1), RunError);
    EXPECT_EQ(folder.names(), (std::set<std::string>{"out.bin", "taken"}));
}

}  // namespace
}  // namespace quillon
