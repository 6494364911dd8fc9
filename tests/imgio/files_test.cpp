// Files of other programs, files that are broken, and what the calls refuse.
#include <cstdio>

#include "imgio/pictures.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

class Files : public testing::Test {
  protected:
    Files() { SetTraceLevel(TRACE_NONE); }
    ~Files() override { SetTraceLevel(TRACE_INFO); }
    // Our file of a small picture in a format. Colours differ from place to place, so that a turned one is seen.
    std::string written(const char* format, int channels = 3) const {
        const ImagePtr image = noise_image(33, 17, channels, SAMPLE_U8, 5);
        const std::string path = m_folder / (std::string("ours.") + format);
        EXPECT_TRUE(image_write(path.c_str(), image.get(), false, format)) << imgio_last_error();
        return path;
    }
    bool reads(const std::string& bytes, const char* format) const {
        write_bytes(m_folder / "broken", bytes);
        const ImagePtr image(image_read((m_folder / "broken").c_str(), format));
        return image != nullptr;
    }
    TemporaryFolder m_folder;
};

constexpr const char* all_formats[] = {"tiff", "jpeg", "targa2",    "sgisgi", "sun",   "gif",
                                       "cin",  "rla",  "softimage", "alias",  "pixar", "tk7"};

// The layouts that were published with an example.
TEST_F(Files, PublishedExamples) {
    // Autodesk's example of Alias PIX: six lines of eight pixels, from blue at the top to black.
    const std::string alias(
        "\0\x08\0\x06\0\0\0\x05\0\x18\x08\xff\0\0\x08\xcc\0\0\x08\x99\0\0\x08\x66\0\0\x08\x33\0\0\x08\0\0\0", 34);
    write_bytes(m_folder / "a.als", alias);
    const ImagePtr image(image_read((m_folder / "a.als").c_str()));
    ASSERT_TRUE(image);
    ASSERT_EQ(image->width * 100 + image->height, 806);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 8; ++x) {
            EXPECT_EQ(image_get_sample(image.get(), x, y, 2), 255 - 51 * y);
            EXPECT_EQ(image_get_sample(image.get(), x, y, 0), 0);
        }
}

// What OpenImageIO and ImageMagick write comes in as it is, and what they read of ours is what was written. Both names
// of a pair are read by the other program, so that only the format matters.
TEST_F(Files, OtherPrograms) {
    if (!has_program("oiiotool")) GTEST_SKIP() << "oiiotool is not installed";
    const std::string source = written("tiff");
    const ImagePtr image(image_read(source.c_str(), "tiff"));
    ASSERT_TRUE(image);
    for (const char* name : {"a.tif", "a.tga", "a.sgi", "a.rla"}) {
        const std::string theirs = m_folder / name, ours = m_folder / (std::string("ours-") + name);
        ASSERT_TRUE(run_program("oiiotool " + source + " -o " + theirs));
        const ImagePtr read(image_read(theirs.c_str()));
        ASSERT_TRUE(read) << name << ": " << imgio_last_error();
        EXPECT_TRUE(same_pixels(image.get(), read.get())) << name;
        for (const bool compress : {false, true}) {
            ASSERT_TRUE(image_write(ours.c_str(), image.get(), compress));
            EXPECT_TRUE(run_program("oiiotool " + ours + " " + source + " --diff")) << name << compress;
        }
    }
    if (!has_program("convert") || !has_program("compare")) GTEST_SKIP() << "ImageMagick is not installed";
    // ImageMagick's Targa is left out: it turns its own files upside down.
    for (const char* name : {"sun:a.ras", "gif:b.gif", "tiff:b.tif -compress zip", "tiff:c.tif -interlace plane",
                             "tiff:d.tif -define tiff:tile-geometry=16x16", "sgi:b.sgi"}) {
        const std::string text = name, options = text.find(' ') < text.size() ? text.substr(text.find(' ')) : "";
        const std::string file = text.substr(text.find(':') + 1, text.find(' ') - text.find(':') - 1);
        const std::string theirs = m_folder / file;
        const std::string few = text.starts_with("gif") ? " -colors 256 -dither None" : "";
        ASSERT_TRUE(run_program("convert " + source + few + options + " " + theirs)) << name;
        const ImagePtr read(image_read(theirs.c_str()));
        ASSERT_TRUE(read) << name << ": " << imgio_last_error();
        const std::string ours = m_folder / "back.tif", again = m_folder / file;
        ASSERT_TRUE(image_write(ours.c_str(), read.get(), false));
        EXPECT_TRUE(run_program("test \"$(compare -metric AE " + ours + " " + theirs + " null: 2>&1)\" = 0")) << name;
        ASSERT_TRUE(image_write(again.c_str(), read.get(), true)) << imgio_last_error();
        EXPECT_TRUE(run_program("test \"$(compare -metric AE " + ours + " " + again + " null: 2>&1)\" = 0")) << name;
    }
    ASSERT_TRUE(run_program("convert " + source + " -set colorspace Log -depth 10 " + (m_folder / "a.cin")));
    const ImagePtr cineon(image_read((m_folder / "a.cin").c_str(), "cin"));
    ASSERT_TRUE(cineon) << imgio_last_error();
    for (int x = 0; x < 33; ++x)
        EXPECT_NEAR(image_get_sample(cineon.get(), x, 3, 1), 257 * image_get_sample(image.get(), x, 3, 1), 130)
            << x;  // it truncates
}

// A file cut anywhere, or with any of its first bytes turned over, is refused or read, but neither crashes nor hangs.
// Cut files of fixed size are always refused.
TEST_F(Files, BrokenOnes) {
    const std::string tk7 = "tk7";  // has no texts of its own
    for (const char* format : all_formats) {
        const std::string whole = bytes_of(written(format));
        ASSERT_TRUE(reads(whole, format)) << format;
        for (std::size_t size = 0; size + 8 < whole.size(); size += 1 + size / 8)
            if (const bool read = reads(whole.substr(0, size), format); read || (!*imgio_last_error() && format != tk7))
                ADD_FAILURE() << format << " cut to " << size << (read ? " is read" : " is refused without a text");
        for (std::size_t at = 0; at < std::min<std::size_t>(whole.size(), 1100); at += at < 64 ? 1 : 17) {
            std::string changed = whole;
            changed[at] = static_cast<char>(~changed[at]);
            reads(changed, format);
        }
    }
    EXPECT_FALSE(reads("", "tiff"));
    EXPECT_EQ(image_read("/", "tiff"), nullptr);
    EXPECT_EQ(image_read("/dev/zero", "sun"), nullptr);  // would never end
}

// Headers that promise more than there is are refused before memory is asked for.
TEST_F(Files, GreatPromises) {
    const auto large = [](std::string bytes, std::size_t width_at, std::size_t height_at) {
        for (const std::size_t at : {width_at, height_at}) bytes.replace(at, 2, "\x7f\x7f");
        return bytes;
    };
    EXPECT_FALSE(reads(large(bytes_of(written("targa2")), 12, 14), "targa2"));
    EXPECT_FALSE(reads(large(bytes_of(written("sun")), 6, 10), "sun"));
    EXPECT_FALSE(reads(large(bytes_of(written("alias")), 0, 2), "alias"));
    EXPECT_FALSE(reads(large(bytes_of(written("pixar")), 418, 416), "pixar"));
    EXPECT_FALSE(reads(large(bytes_of(written("tk7")), 8, 12), "tk7"));
}

TEST_F(Files, CallsRefuse) {
    const std::string path = m_folder / "a.tif";
    const ImagePtr image = noise_image(8, 4, 3, SAMPLE_U8);
    EXPECT_EQ(image_read((m_folder / "a.unknown").c_str()), nullptr);
    EXPECT_FALSE(image_write((m_folder / "a.unknown").c_str(), image.get(), false));
    EXPECT_FALSE(image_write((m_folder / "a.pic").c_str(), image.get(), false));
    EXPECT_EQ(image_read((m_folder / "a.unknown").c_str()), nullptr);
    EXPECT_STREQ(imgio_last_error(), "");  // none of an earlier call
    EXPECT_STREQ(image_file_format("x/Y.PIC"), "vertigo");
    EXPECT_EQ(setformat("nonsense"), 1);

    ASSERT_EQ(setformat("vertigo"), 0);
    EXPECT_EQ(openimg(path.c_str()), nullptr);
    EXPECT_STREQ(imgio_last_error(), "UGH: No open file routine defined for format [vertigo]!");
    ASSERT_EQ(setformat("tiff"), 0);
    EXPECT_EQ(createimg(path.c_str(), 8, 4, 12), nullptr);
    EXPECT_STREQ(imgio_last_error(), "ERROR: nbits must be 8 or 16 in [createimg()].");
    imgio_set_variable("IMGIO_TIFF_CHAN", "5");
    EXPECT_EQ(createimg(path.c_str(), 8, 4, 8), nullptr);
    EXPECT_TRUE(std::string(imgio_last_error()).starts_with("IMGIO_TIFF_CHAN must be 3 or 4."));
    imgio_set_variable("IMGIO_TIFF_CHAN", "");

    std::uint16_t line[32] = {};
    ImgioFile* file = createimg(path.c_str(), 8, 4, 8, 3);
    ASSERT_TRUE(file);
    EXPECT_NE(writeline16(file, line), 0);
    EXPECT_STREQ(imgio_last_error(), "ERROR: writeline16(): File was created for 8 bit data.");
    EXPECT_NE(readline(file, reinterpret_cast<std::uint8_t*>(line)), 0);
    EXPECT_STREQ(imgio_last_error(), "ERROR: Attempt to read from file opened for write.");
    EXPECT_NE(closeimg(file), 0);  // no line was written
    EXPECT_FALSE(std::filesystem::exists(path));
}

// Lines can be sought, forward only where a format cannot go back; both depths of line are given from either.
TEST_F(Files, LinesAndDepths) {
    for (const char* format : {"tiff", "jpeg", "sgisgi"}) {
        const std::string path = written(format);
        const ImagePtr image(image_read(path.c_str(), format));
        ASSERT_TRUE(image);
        ASSERT_EQ(setformat(format), 0);
        ImgioFile* file = openimg(path.c_str());
        ASSERT_TRUE(file);
        std::uint16_t line[33 * 3];
        ASSERT_EQ(seekline(file, 9), 0) << format;
        ASSERT_EQ(readline16(file, line), 0);
        for (int i = 0; i < 33 * 3; ++i) ASSERT_EQ(line[i], 257 * image_row<std::uint8_t>(image.get(), 9)[i]) << format;
        EXPECT_EQ(seekline(file, 2) == 0, std::string(format) != "jpeg");
        EXPECT_NE(seekline(file, 17), 0);
        closeimg(file);
    }
}

// TIFF 6.0, tag 274: 5 to 8 keep columns as rows, and the first column or row may be any side's.
TEST_F(Files, OrientationsOfTiff) {
    const std::string one("\x12\x01\3\0\1\0\0\0\1\0", 10);  // the tag in a directory
    for (const int type : {SAMPLE_U8, SAMPLE_U16})
        for (int orientation = 1; orientation <= 8; ++orientation) {
            const ImagePtr stored = noise_image(37, 21, type == SAMPLE_U8 ? 3 : 4, type);
            ASSERT_TRUE(image_write((m_folder / "a.tif").c_str(), stored.get(), true));
            std::string bytes = bytes_of(m_folder / "a.tif");
            ASSERT_NE(bytes.find(one), std::string::npos);
            bytes[bytes.find(one) + 8] = static_cast<char>(orientation);
            write_bytes(m_folder / "b.tif", bytes);
            const ImagePtr shown(image_read((m_folder / "b.tif").c_str()));
            ASSERT_TRUE(shown) << imgio_last_error();
            ASSERT_EQ(shown->width, orientation < 5 ? 37 : 21);
            ASSERT_EQ(shown->height, orientation < 5 ? 21 : 37);
            for (int row = 0; row < 21; ++row)
                for (int column = 0; column < 37; ++column) {
                    int x = orientation < 5 ? column : row, y = orientation < 5 ? row : column;
                    if (orientation % 4 == 2 || orientation % 4 == 3) x = shown->width - 1 - x;
                    if (orientation == 3 || orientation == 4 || orientation >= 7) y = shown->height - 1 - y;
                    for (int c = 0; c < stored->channels; ++c)
                        ASSERT_EQ(image_get_sample(shown.get(), x, y, c),
                                  image_get_sample(stored.get(), column, row, c))
                            << orientation;
                }
        }
}

// From images of any sample type; what the table says of alpha; variables; the image's own form.
TEST_F(Files, WholeImages) {
    const ImagePtr image = make_image(5, 1, 4, SAMPLE_F32);
    const float values[] = {-1.0f, 0.5f, 2.0f, NAN, 1.0f / 65535.0f};
    for (int x = 0; x < 5; ++x)
        for (int c = 0; c < 4; ++c) image_row<float>(image.get(), 0)[4 * x + c] = values[x];
    ASSERT_TRUE(image_write((m_folder / "f.tif").c_str(), image.get(), false));
    EXPECT_EQ(imgio_variable("IMGIO_TIFF_COMPRESS"), "none");
    EXPECT_EQ(imgio_variable("IMGIO_TIFF_ORIENT"), "topleft");
    const ImagePtr tiff(image_read((m_folder / "f.tif").c_str()));
    ASSERT_TRUE(tiff);
    EXPECT_EQ(tiff->channels, 4);
    const int expected[] = {0, 32767, 65535, 0, 1};
    for (int x = 0; x < 5; ++x) EXPECT_EQ(image_get_sample(tiff.get(), x, 0, 1), expected[x]) << x;
    ASSERT_TRUE(image_write((m_folder / "f.sgi").c_str(), image.get(), false));
    const ImagePtr sgi(image_read((m_folder / "f.sgi").c_str()));
    ASSERT_TRUE(sgi);
    EXPECT_EQ(sgi->channels, 3);
    ASSERT_TRUE(image_write((m_folder / "f.tga").c_str(), image.get(), true));
    int width = 0, height = 0, channels = 0, depth = 0;
    ASSERT_TRUE(image_file_info((m_folder / "f.tga").c_str(), &width, &height, &channels, &depth));
    EXPECT_EQ(channels * 100 + depth, 308);

    const ImagePtr odd = noise_image(9, 4, 7, SAMPLE_U32);
    image_set_pixel_size(odd.get(), 2.0f, 1.0f, 2);
    ASSERT_TRUE(image_write((m_folder / "a.tk7").c_str(), odd.get(), false));
    const ImagePtr again(image_read((m_folder / "a.tk7").c_str()));
    ASSERT_TRUE(again);
    EXPECT_TRUE(same_pixels(odd.get(), again.get()));
    EXPECT_EQ(again->pixel_aspect, 2.0f);
}

}  // namespace
