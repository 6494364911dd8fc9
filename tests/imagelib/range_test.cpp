// Threshold, clamping and stretching of samples.
#include "imagelib/imagelib_range.h"

#include "pictures.h"

namespace {

template <class T>
ImagePtr row_of(const std::vector<T>& samples, int type) {
    ImagePtr image = make_image(static_cast<int>(samples.size()), 1, 1, type);
    std::memcpy(image->pixels, samples.data(), samples.size() * sizeof(T));
    return image;
}

template <class T>
std::vector<T> samples_of(const ImagePtr& image) {
    const T* first = static_cast<const T*>(image->pixels);
    return {first, first + image->width};
}

using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::uint32_t>;
using Floats = std::vector<float>;

TEST(Range, Threshold) {
    ImagePtr bytes = row_of(Bytes{0, 127, 128, 255}, SAMPLE_U8);
    ASSERT_TRUE(image_threshold(bytes.get(), 0.5f, false));  // 127.5 + 0.5 is 128
    EXPECT_EQ(samples_of<std::uint8_t>(bytes), (Bytes{0, 0, 255, 255}));
    ASSERT_TRUE(image_threshold(bytes.get(), 5.0f, true));  // level 1
    EXPECT_EQ(samples_of<std::uint8_t>(bytes), (Bytes{255, 255, 0, 0}));
    ASSERT_TRUE(image_threshold(bytes.get(), -1.0f, false));  // level 0
    EXPECT_EQ(samples_of<std::uint8_t>(bytes), (Bytes{255, 255, 255, 255}));

    ImagePtr words = row_of(Words{0, 2147483647u, 4294967294u, 4294967295u}, SAMPLE_U32);
    ASSERT_TRUE(image_threshold(words.get(), 1.0f, false));
    EXPECT_EQ(samples_of<std::uint32_t>(words), (Words{0, 0, 0, 4294967295u}));

    ImagePtr floats = row_of(Floats{-1.0f, std::nextafter(1.0f, 0.0f), 1.0f, 7.0f, NAN}, SAMPLE_F32);
    ASSERT_TRUE(image_threshold(floats.get(), 1.0f, false));
    EXPECT_EQ(samples_of<float>(floats), (Floats{0, 0, 1, 1, 0}));
}

TEST(Range, Clamp) {
    ImagePtr bytes = row_of(Bytes{0, 9, 10, 100, 255}, SAMPLE_U8);
    ASSERT_TRUE(image_clamp_range(bytes.get(), 200.0f, 10.0f));
    EXPECT_EQ(samples_of<std::uint8_t>(bytes), (Bytes{10, 10, 10, 100, 200}));
    ImagePtr words = row_of(Words{0, 4294967295u}, SAMPLE_U32);
    ASSERT_TRUE(image_clamp_range(words.get(), -HUGE_VALF, 1e30f));
    EXPECT_EQ(samples_of<std::uint32_t>(words), (Words{0, 4294967295u}));
    ImagePtr floats = row_of(Floats{-3.0f, 0.25f, 0.5f, 40.0f, NAN}, SAMPLE_F32);
    ASSERT_TRUE(image_clamp_range(floats.get(), 0.3f, 8.0f));  // the range of floats is 0 to 1
    EXPECT_EQ(samples_of<float>(floats), (Floats{0.3f, 0.3f, 0.5f, 1.0f, 0.3f}));
}

TEST(Range, NormaliseReachesBothEndsForEveryType) {
    ImagePtr bytes = row_of(Bytes{50, 60, 100}, SAMPLE_U8);
    ASSERT_TRUE(image_normalize_full(bytes.get(), false));
    EXPECT_EQ(samples_of<std::uint8_t>(bytes), (Bytes{0, 51, 255}));
    bytes = row_of(Bytes{50, 60, 100}, SAMPLE_U8);
    ASSERT_TRUE(image_normalize_full(bytes.get(), true));
    EXPECT_EQ(samples_of<std::uint8_t>(bytes), (Bytes{127, 153, 255}));
    for (const auto& [before, after] :
         {std::pair{Floats{1, 2, 4}, Floats{0.25f, 0.5f, 1}}, {Floats{0, 0}, Floats{0, 0}}}) {
        const ImagePtr floats = row_of(before, SAMPLE_F32);
        ASSERT_TRUE(image_normalize_full(floats.get(), true));
        EXPECT_EQ(samples_of<float>(floats), after);
    }
    for (int type : {SAMPLE_U8, SAMPLE_U16, SAMPLE_U32}) {
        const float full = image_full_value(type);
        const ImagePtr image = noise_image(31, 17, 3, type, 5);
        EXPECT_TRUE(image_normalize_range(image.get(), full, 0.0f)) << "swapped ends";
        EXPECT_TRUE(image_compute_minmax(image.get()));
        EXPECT_EQ(image->min_value, 0.0f);
        EXPECT_EQ(image->max_value, full);
    }
    const ImagePtr flat = picture(4, 4, [](int, int, int) { return 0.3f; }), before = copy_of(flat);
    EXPECT_TRUE(image_normalize_range(flat.get(), 0.0f, 1.0f));
    EXPECT_TRUE(same_pixels(flat, before));
    at(flat, 1, 1, 1) = NOT_A_NUMBER;
    at(flat, 0, 2, 3) = -2.0f;
    EXPECT_TRUE(image_compute_minmax(flat.get()));
    EXPECT_EQ(flat->min_value, -2.0f);
    EXPECT_EQ(flat->max_value, 0.3f);
}

}  // namespace
