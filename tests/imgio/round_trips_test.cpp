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
                                         Kind{"tiff", 8, 4, 4}, Kind{"tiff", 16, 1, 1}, Kind{"tiff", 16, 4, 4}));

// Each way of storing the same picture.
TEST_F(RoundTrip, TiffOptions) {
    const ImagePtr image = picture(131, 37, 3, 16);
    for (const auto& [name, value] : {std::pair{"IMGIO_TIFF_COMPRESS", "lzw"}, {"IMGIO_TIFF_ORIENT", "botleft"}}) {
        ASSERT_TRUE(imgio_set_variable(name, value));
        setformat("tiff");
        ASSERT_TRUE(write_lines(m_folder / "a.tif", image.get()));
        const ImagePtr again(image_read((m_folder / "a.tif").c_str()));
        ASSERT_TRUE(again);
        EXPECT_TRUE(same_pixels(image.get(), again.get())) << name;
    }
}

}  // namespace
