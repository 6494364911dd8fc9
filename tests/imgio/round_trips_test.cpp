// What is written is read again, by format, depth and number of channels.
#include "imgio/pictures.h"

namespace {

struct Kind {
    const char* format;
    int bits;
    int channels;       // given to createimg
    int read_channels;  // what comes back
};

void PrintTo(const Kind& kind, std::ostream* out) {
    *out << kind.format << ' ' << kind.bits << " bits, " << kind.channels << " channels";
}

class RoundTrip : public testing::TestWithParam<Kind> {
  protected:
    RoundTrip() {
        for (const char* name : {"IMGIO_TIFF_COMPRESS", "IMGIO_TIFF_ORIENT", "IMGIO_TARGA_COMPRESS", "IMGIO_TIFF_CHAN"})
            imgio_set_variable(name, "");
    }
    TemporaryFolder m_folder;
};

// Odd sizes, half of the lines noise and half flat with single pixels, for whatever packs runs.
ImagePtr picture(int width, int height, int channels, int bits) {
    ImagePtr image = noise_image(width, height, channels, bits == 8 ? SAMPLE_U8 : SAMPLE_U16, 7);
    for (int y = 0; y < height; y += 2) {
        std::uint8_t* row = image_row<std::uint8_t>(image.get(), y);
        for (std::uint32_t i = 0; i < image->row_bytes; ++i)
            if (i % (image->pixel_bytes * 149u) >= image->pixel_bytes) row[i] = static_cast<std::uint8_t>(y);
    }
    return image;
}

bool write_lines(const std::string& path, const K7Image* image) {
    ImgioFile* file = createimg(path.c_str(), image->width, image->height, 8 * image->sample_bytes, image->channels);
    if (!file) return false;
    for (int y = 0; y < image->height; ++y) {
        if (image->sample_bytes == 1)
            writeline(file, image_row<std::uint8_t>(image, y));
        else
            writeline16(file, image_row<std::uint16_t>(image, y));
    }
    return closeimg(file) == 0;
}

TEST_P(RoundTrip, GivesTheSamePixels) {
    const Kind kind = GetParam();
    const std::string path = m_folder / "picture";
    for (const auto& [width, height] : {std::pair{1, 1}, {7, 3}, {301, 43}}) {
        const ImagePtr image = picture(width, height, kind.channels, kind.bits);
        ASSERT_EQ(setformat(kind.format), 0);
        ASSERT_TRUE(write_lines(path, image.get())) << imgio_last_error();
        const ImagePtr again(image_read(path.c_str(), kind.format));
        ASSERT_TRUE(again) << imgio_last_error();
        ASSERT_EQ(again->channels, kind.read_channels);
        if (kind.read_channels == kind.channels) {
            EXPECT_TRUE(same_pixels(image.get(), again.get())) << width << " x " << height;
            continue;
        }
        const ImagePtr expected = make_image(width, height, kind.read_channels, image->sample_type);
        image_convert(image.get(), expected.get(), false, kind.channels == 1 ? 1 : 3);
        EXPECT_TRUE(same_pixels(expected.get(), again.get())) << width << " x " << height;
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, RoundTrip,
                         testing::Values(Kind{"tiff", 8, 1, 1}, Kind{"tiff", 8, 2, 2}, Kind{"tiff", 8, 3, 3},
                                         Kind{"tiff", 8, 4, 4}, Kind{"tiff", 16, 1, 1}, Kind{"tiff", 16, 4, 4},
                                         Kind{"targa2", 8, 1, 1}, Kind{"targa2", 8, 3, 3}, Kind{"targa2", 8, 4, 4},
                                         Kind{"sgirgb", 8, 1, 1}, Kind{"sgisgi", 8, 4, 4}, Kind{"sgisgi", 16, 2, 2},
                                         Kind{"sgisgi", 16, 3, 3}, Kind{"sun", 8, 1, 1}, Kind{"sun", 8, 3, 3},
                                         Kind{"sun", 8, 4, 3}, Kind{"rla", 8, 1, 1}, Kind{"rla", 8, 4, 4},
                                         Kind{"rla", 16, 2, 2}, Kind{"rla", 16, 3, 3}, Kind{"softimage", 8, 1, 3},
                                         Kind{"softimage", 8, 3, 3}, Kind{"softimage", 8, 4, 4}, Kind{"alias", 8, 1, 1},
                                         Kind{"alias", 8, 4, 3}, Kind{"pixar", 8, 1, 1}, Kind{"pixar", 8, 3, 3},
                                         Kind{"pixar", 8, 4, 4}, Kind{"gif", 8, 1, 3}));

// Each way of storing the same picture, set by variables.
TEST_F(RoundTrip, WaysOfStoring) {
    const ImagePtr image = picture(131, 37, 3, 8);
    for (const auto& [format, name, value] : {std::tuple{"tiff", "IMGIO_TIFF_COMPRESS", "lzw"},
                                              {"tiff", "IMGIO_TIFF_ORIENT", "botleft"},
                                              {"tiff", "IMGIO_TIFF_PHOTOMETRIC", "cmyk"},
                                              {"targa2", "IMGIO_TARGA_COMPRESS", "yes"}}) {
        const std::string path = m_folder / "plain", other = m_folder / "other";
        setformat(format);
        ASSERT_TRUE(write_lines(path, image.get()));
        ASSERT_TRUE(imgio_set_variable(name, value));
        ASSERT_TRUE(write_lines(other, image.get())) << imgio_last_error();
        EXPECT_NE(bytes_of(path), bytes_of(other)) << name;
        imgio_set_variable(name, "");
        const ImagePtr again(image_read(other.c_str(), format));
        ASSERT_TRUE(again) << imgio_last_error();
        EXPECT_TRUE(same_pixels(image.get(), again.get())) << name;
    }
}

// Cineon has 10 bits: 8 bits stay, of 16 what came from 10 stays, and all else becomes the nearest.
TEST_F(RoundTrip, TenBits) {
    const ImagePtr eight = picture(131, 37, 3, 8);
    ASSERT_TRUE(image_write((m_folder / "8.cin").c_str(), eight.get(), false, "cin"));
    const ImagePtr sixteen(image_read((m_folder / "8.cin").c_str(), "cin"));
    ASSERT_TRUE(sixteen);
    const ImagePtr back = make_image(131, 37, 3, SAMPLE_U8);
    image_convert(sixteen.get(), back.get(), true, 0);
    EXPECT_TRUE(same_pixels(eight.get(), back.get()));
    const ImagePtr image = make_image(1024, 64, 1, SAMPLE_U16);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 1024; ++x)
            image_row<std::uint16_t>(image.get(), y)[x] =
                static_cast<std::uint16_t>(y == 0 ? x * 65535 / 1023 : 1024 * y + x);
    const std::string path = m_folder / "a.cin";
    ASSERT_TRUE(image_write(path.c_str(), image.get(), false, "cin"));
    const ImagePtr again(image_read(path.c_str(), "cin"));
    ASSERT_TRUE(again);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 1024; ++x) {
            const int in = image_row<std::uint16_t>(image.get(), y)[x];
            ASSERT_NEAR(image_row<std::uint16_t>(again.get(), y)[x], in, y == 0 ? 0 : 33) << x << ' ' << y;
        }
}

// Formats that lose something: the error of a photograph-like picture stays below what each stands for.
TEST_F(RoundTrip, LossyFormats) {
    const ImagePtr image = make_image(128, 96, 3, SAMPLE_U8);
    for (int y = 0; y < 96; ++y)
        for (int x = 0; x < 128; ++x) {
            std::uint8_t* colour = image_row<std::uint8_t>(image.get(), y) + 3 * x;
            colour[0] = static_cast<std::uint8_t>(2 * x);
            colour[1] = static_cast<std::uint8_t>(2 * y + 30);
            colour[2] = static_cast<std::uint8_t>(200 - x);
        }
    imgio_set_variable("IMGIO_YUV_LINESIZE", "128");
    for (const auto& [format, mean] : {std::pair{"jpeg", 0.8}, {"gif", 4.0}, {"yuv", 1.2}}) {
        const std::string path = m_folder / format;
        ASSERT_TRUE(image_write(path.c_str(), image.get(), false, format)) << imgio_last_error();
        const ImagePtr again(image_read(path.c_str(), format));
        ASSERT_TRUE(again) << imgio_last_error();
        ASSERT_TRUE(image_same_layout(image.get(), again.get()));
        double sum = 0;
        for (std::uint32_t i = 0; i < image->row_bytes * 96; ++i)
            sum += std::abs(static_cast<const std::uint8_t*>(image->pixels)[i] -
                            static_cast<const std::uint8_t*>(again->pixels)[i]);
        EXPECT_LT(sum / (image->row_bytes * 96), mean) << format;
    }
    imgio_set_variable("IMGIO_YUV_LINESIZE", "");
}

}  // namespace
