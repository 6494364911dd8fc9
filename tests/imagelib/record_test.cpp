// Image records: creation, attributes, copies, fills, conversions, sums and the row dispatcher.
#include <atomic>
#include <functional>

#include "imagelib/imagelib_arithmetic.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_composite.h"
#include "imagelib/imagelib_geometry.h"
#include "imagelib/imagelib_lic.h"
#include "imagelib/imagelib_median.h"
#include "imagelib/imagelib_mode.h"
#include "imagelib/imagelib_morphology.h"
#include "imagelib/imagelib_pyramid.h"
#include "imagelib/imagelib_range.h"
#include "imagelib/imagelib_vignette.h"
#include "pictures.h"

namespace {

TEST(Record, FreshImageIsZeroAndPageAligned) {
    for (int type : SAMPLE_TYPES) {
        const ImagePtr image = make_image(33, 7, 3, type);
        ASSERT_TRUE(image);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(image->pixels) % 4096, 0u);
        EXPECT_EQ(image->row_bytes, 33u * 3u * unsigned(image_bytes_per_sample(type)));
        const std::vector<std::uint8_t> zeros(std::size_t(image_total_bytes(image.get())), 0);
        EXPECT_EQ(std::memcmp(image->pixels, zeros.data(), zeros.size()), 0);
    }
}

TEST(Record, HeaderOverForeignMemoryLeavesItAlone) {
    std::vector<float> memory(4 * 4, 0.5f);
    K7Image* image = image_create(2, 2, 4, SAMPLE_F32, 0);
    EXPECT_FALSE(image_fill(image, 1.0f)) << "no pixels yet";
    image->pixels = memory.data();
    EXPECT_TRUE(image_fill(image, 0.25f));
    EXPECT_EQ(image_destroy(image), 0);
    EXPECT_EQ(memory[15], 0.25f);
}

// The smallest and largest sample are known until something is written.
TEST(Record, EveryOperationForgetsTheStatistics) {
    const MedianRadii radii[4] = {{2, 2}, {2, 2}, {2, 2}, {2, 2}};
    const WindowSize windows[4] = {{3, 3, 1}, {3, 3, 1}, {3, 3, 1}, {3, 3, 1}};
    const ImagePtr source = float_noise(12, 12), map = make_image(12, 12, 2, SAMPLE_F32);
    const K7Image* from = source.get();
    const ImagelibPyramid pyramid(from, 1, 0, true, true);
    const std::function<bool(K7Image*)> writes[] = {
        [](K7Image* image) { return image_fill(image, 0.5f); },
        [](K7Image* image) { return image_add_constant(image, 0.5f); },
        [](K7Image* image) { return image_gaussian_blur(image, 1, 1, 1); },
        [](K7Image* image) { return image_unary(image, UNARY_DARKEN, 0.5f, 0, 0, 9, 9); },
        [](K7Image* image) { return image_clamp_range(image, 0.25f, 0.5f); },
        [](K7Image* image) { return image_flip_vertical(image); },
        [](K7Image* image) {
            return image_vignette(image, {6, 6, 0, 4, 1, 1});
        },
        [&](K7Image* image) { return image_copy_channels(from, image, 5); },
        [&](K7Image* image) { return image_composite(image, from, 1, from, true, -1, -1, -1, -1); },
        [&](K7Image* image) { return image_translate_subpixel(from, image, 1, 2, 1, 1); },
        [&](K7Image* image) { return image_interpolate_field(from, image, 0); },
        [&](K7Image* image) { return image_window_median(from, image, radii); },
        [&](K7Image* image) { return image_window_mode(from, image, 1, 1); },
        [&](K7Image* image) { return image_window_extreme(from, image, true, windows); },
        [&](K7Image* image) { return image_radial_lic(from, image, 5, 5, 0, 0.5f, 1, 1, 0, 0); },
        [&](K7Image* image) { return image_pyramid_warp(&pyramid, map.get(), image); }};
    for (const auto& write : writes) {
        const ImagePtr image = copy_of(source);
        image->stats_valid = 1;
        EXPECT_TRUE(write(image.get()));
        EXPECT_EQ(image->stats_valid, 0u) << "operation " << &write - writes;
    }
}

TEST(Record, SettersDeriveTheOtherSizesAndRefuseNonsense) {
    const ImagePtr image = make_image(200, 100, 1, SAMPLE_U8);
    EXPECT_TRUE(image_set_pixel_size(image.get(), 2.0f, 1.0f, 2));
    EXPECT_EQ(image->physical_width, 400.0f);
    EXPECT_EQ(image->physical_aspect, 4.0f);
    EXPECT_TRUE(image_set_physical_size(image.get(), 100.0f, 100.0f, 4));
    EXPECT_EQ(image->pixel_width, 0.5f);
    EXPECT_EQ(image->pixel_aspect, 0.5f);
    EXPECT_EQ(image->units, 4u);
}

TEST(Copy, ChannelsByMask) {
    for (int type : SAMPLE_TYPES) {
        const ImagePtr source = noise_image(9, 5, 4, type, 1), before = noise_image(9, 5, 4, type, 2);
        const ImagePtr copy = copy_of(before);
        EXPECT_TRUE(image_copy_channels(source.get(), copy.get(), 0b1010));
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 9; ++x)
                for (int c = 0; c < 4; ++c)
                    ASSERT_EQ(image_get_sample(copy.get(), x, y, c),
                              image_get_sample(c % 2 ? source.get() : before.get(), x, y, c));
    }
}

TEST(Copy, MappedListsRepeatClampAndWorkInPlace) {
    const ImagePtr source = float_noise(7, 3), result = same_size(source), swapped = copy_of(source);
    const int third[] = {3}, swap[] = {2, 1, -1, 99}, from[] = {1, 0, 2, 3};
    EXPECT_TRUE(image_copy_mapped(source.get(), result.get(), third, 1));
    EXPECT_TRUE(image_copy_mapped(swapped.get(), swapped.get(), swap, 4));
    for (int c = 0; c < 4; ++c) {
        EXPECT_EQ(at(result, 6, 2, c), at(source, 6, 2, 2));
        EXPECT_EQ(at(swapped, 3, 1, c), at(source, 3, 1, from[c]));
    }
    EXPECT_TRUE(image_copy_mapped(source.get(), result.get(), nullptr, 0));
    EXPECT_FALSE(image_copy_mapped(source.get(), result.get(), nullptr, 2));

    const ImagePtr single = noise_image(7, 3, 1, SAMPLE_F32, 2), other_size = make_image(6, 3, 4, SAMPLE_F32);
    const int map[] = {1, 0, 7, -9};
    EXPECT_TRUE(image_clear(result.get()));
    EXPECT_TRUE(image_merge_mapped(source.get(), single.get(), result.get(), map, 4));
    EXPECT_TRUE(
        same_pixels(result, picture(7, 3, [&](int x, int y, int c) {
                        const float merged[] = {at(source, x, y, 0), 0, at(source, x, y, 3), at(single, x, y, 0)};
                        return merged[c];
                    })));
    EXPECT_FALSE(image_merge_mapped(source.get(), single.get(), other_size.get(), map, 4));
}

TEST(Fill, IsInSampleUnitsAndLimited) {
    const float values[] = {-5.0f, 0.9f, 127.9f, 255.0f, 256.0f, 1e20f, NOT_A_NUMBER};
    const float expected[] = {0, 0, 127, 255, 255, 255, 0};
    const ImagePtr bytes = make_image(3, 2, 4, SAMPLE_U8), words = make_image(3, 2, 4, SAMPLE_U32);
    for (int i = 0; i < 7; ++i) {
        EXPECT_TRUE(image_fill(bytes.get(), values[i]));
        EXPECT_EQ(image_get_sample(bytes.get(), 2, 1, 3), expected[i]) << values[i];
    }
    EXPECT_TRUE(image_fill_level(words.get(), 2.0f));
    EXPECT_EQ(image_row<std::uint32_t>(words.get(), 0)[0], 4294967295u);
    EXPECT_TRUE(image_clear(bytes.get()));
    const float channels[] = {1, 2, 3, 4, 5};
    EXPECT_TRUE(image_fill_channels(bytes.get(), channels, 5));
    EXPECT_TRUE(image_fill_channel(bytes.get(), 9.0f, 100)) << "clamped to the last channel";
    for (int c = 0; c < 4; ++c) EXPECT_EQ(image_get_sample(bytes.get(), 1, 1, c), c == 3 ? 9.0f : channels[c]);
}

TEST(Convert, EveryCodeSurvivesTheWayThroughFloat) {
    for (int type : {SAMPLE_U8, SAMPLE_U16}) {
        const ImagePtr codes = make_image(256, 256, 1, type), floats = make_image(256, 256, 1, SAMPLE_F32);
        for (int i = 0; i < 65536; ++i) {
            if (type == SAMPLE_U8) static_cast<std::uint8_t*>(codes->pixels)[i] = static_cast<std::uint8_t>(i);
            if (type == SAMPLE_U16) static_cast<std::uint16_t*>(codes->pixels)[i] = static_cast<std::uint16_t>(i);
        }
        const ImagePtr back = make_image(256, 256, 1, type);
        EXPECT_TRUE(image_convert(codes.get(), floats.get(), true, 0));
        EXPECT_EQ(image_get_sample(floats.get(), 255, 255, 0), 1.0f);
        EXPECT_TRUE(image_convert(floats.get(), back.get(), true, 0));
        EXPECT_TRUE(same_pixels(codes.get(), back.get()));
    }
}

TEST(Convert, LimitsTruncatesAndFillsExtraChannels) {
    const ImagePtr grey = make_image(4, 1, 1, SAMPLE_F32);
    const float samples[] = {0.5f, -1.0f, 3.0f, NOT_A_NUMBER};
    std::memcpy(grey->pixels, samples, sizeof samples);
    const int first[] = {127, 0, 255, 0};
    for (int mode : {0, 1, 3}) {
        const ImagePtr bytes = make_image(4, 1, 3, SAMPLE_U8);
        EXPECT_TRUE(image_convert(grey.get(), bytes.get(), true, mode));
        for (int x = 0; x < 4; ++x) {
            const auto* pixel = image_row<std::uint8_t>(bytes.get(), 0) + x * 3;
            EXPECT_EQ(pixel[0], first[x]);
            EXPECT_EQ(pixel[2], mode == 1 ? first[x] : mode == 3 ? 255 : 0);
        }
    }
    const ImagePtr bytes = make_image(2, 1, 1, SAMPLE_U8), words = make_image(2, 1, 1, SAMPLE_U32);
    image_fill(bytes.get(), 200.0f);
    EXPECT_TRUE(image_convert(bytes.get(), words.get(), true, 0));
    EXPECT_EQ(image_row<std::uint32_t>(words.get(), 0)[1], 200u * 16843009u);
    EXPECT_TRUE(image_convert(words.get(), bytes.get(), false, 0));
    EXPECT_EQ(image_get_sample(bytes.get(), 0, 0, 0), 255.0f);
    const ImagePtr wider = make_image(5, 1, 1, SAMPLE_U8);
    EXPECT_FALSE(image_convert(grey.get(), wider.get(), true, 0));
}

TEST(Accumulator, SumsFloatFramesOfItsLayoutOnly) {
    const ImagePtr frame = make_image(6, 5, 4, SAMPLE_F32), mean = make_image(6, 5, 4, SAMPLE_F32);
    ImageAccumulator sum(frame.get());
    EXPECT_FALSE(sum.mean(mean.get())) << "nothing summed yet";
    for (float level : {1.0f, 2.0f, 6.0f}) EXPECT_TRUE(image_fill(frame.get(), level) && sum.add(frame.get()));
    EXPECT_FALSE(sum.add(make_image(5, 5, 4, SAMPLE_F32).get()));
    EXPECT_TRUE(sum.mean(mean.get()));
    EXPECT_EQ(image_get_sample(mean.get(), 5, 4, 3), 3.0f);
}

struct Splits {
    std::atomic<int> calls{0};
    static void run(void* context, RowWorker worker, int rows, void* job) {
        ++static_cast<Splits*>(context)->calls;
        worker(job, 0, rows / 2 - 1);
        worker(job, rows / 2, rows - 1);
        worker(job, rows, rows - 1);  // empty
    }
};

TEST(Dispatcher, SplitsOnlyFromTwiceTheRowUnitOn) {
    Splits splits;
    image_set_multiprocess(&splits, &Splits::run);
    image_set_multiprocess_float(&splits, &Splits::run);
    std::vector<int> visits(64, 0);
    const auto visit = [&](int first, int last) {
        for (int y = first; y <= last; ++y) ++visits[std::size_t(y)];
    };
    for_rows(63, visit);
    for_rows_float(31, visit);
    EXPECT_EQ(splits.calls, 0);
    for_rows(64, visit);
    for_rows_float(32, visit);
    EXPECT_EQ(splits.calls, 2);
    image_suppress_multiprocess(true);
    for_rows(64, visit);
    image_suppress_multiprocess(false);
    EXPECT_EQ(splits.calls, 2);
    for (int y = 0; y < 64; ++y) EXPECT_EQ(visits[std::size_t(y)], 2 + (y < 63) + (y < 31) + (y < 32)) << y;
    image_clear_multiprocess_context(&visits);
    for_rows(64, visit);
    EXPECT_EQ(splits.calls, 3) << "another context's";
    image_clear_multiprocess_context(&splits);
    for_rows(64, visit);
    for_rows(0, visit);
    EXPECT_EQ(splits.calls, 3);
}

}  // namespace
