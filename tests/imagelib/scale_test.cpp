// image_scale against the definition, written out sample by sample in double-precision positions.
#include <cfloat>

#include "imagelib/imagelib_resample.h"
#include "pictures.h"

namespace {

// One line of one channel, as the filter is defined. Integer lines of up to 16 bits are summed in fixed point.
std::vector<double> scale_line(const std::vector<double>& in, int n_out, int type, int sample_type, bool clamp) {
    const int n = static_cast<int>(in.size());
    if (n == n_out) return in;
    const ImagelibKernel kernel(type, EDGE_CLAMP);
    const bool fixed = sample_type <= SAMPLE_U16;
    const double full = sample_type == SAMPLE_F32 ? FLT_MAX : double(image_full_value(sample_type));
    std::vector<double> out(n_out);
    for (int i = 0; i < n_out; ++i) {
        const double p = n_out == 1 ? 0 : double(i) * (n - 1) / (n_out - 1);
        double v = 0;
        if (type == KERNEL_BOX) {
            v = in[static_cast<int>(p + 0.5)];
            if (n_out < n && v < 0) v = 0;
        } else if (n_out == 1) {
            v = in[0];
        } else {
            const double scale = n_out < n ? double(n - 1) / (n_out - 1) : 1;
            float total = 0, sum = 0;
            long long fixed_total = 0, fixed_sum = 0;
            std::vector<float> weights;
            for (int j = int(std::ceil(p - kernel.radius * scale)); j <= int(std::floor(p + kernel.radius * scale));
                 ++j) {
                const int index = int(std::min(std::fabs((j - p) / scale * 512), 512.0 * kernel.radius));
                const double s = in[std::min(std::max(j, 0), n - 1)];
                total += kernel.weights[index];
                fixed_total += kernel.fixed_weights[index];
                fixed_sum += kernel.fixed_weights[index] * static_cast<long long>(s);
                sum += kernel.weights[index] * float(s);
            }
            const bool divide = n_out < n || type == KERNEL_LANCZOS;
            if (fixed) {
                v = double(divide ? fixed_sum / fixed_total : fixed_sum >> 10);
            } else {
                v = divide ? sum / total : sum;
            }
        }
        if (sample_type != SAMPLE_F32 || clamp) v = std::min(std::max(v, 0.0), full);
        if (sample_type == SAMPLE_U32) v = std::floor(v);
        out[i] = v;
    }
    return out;
}

ImagePtr reference(const ImagePtr& source, int width, int height, int type, bool clamp) {
    auto pass = [&](const K7Image* in, int w, int h, bool rows) {
        ImagePtr out = make_image(w, h, in->channels, in->sample_type);
        std::vector<float> pixel(in->channels);
        for (int c = 0; c < in->channels; ++c) {
            for (int line = 0; line < (rows ? h : w); ++line) {
                std::vector<double> samples(rows ? in->width : in->height);
                for (std::size_t i = 0; i < samples.size(); ++i) {
                    samples[i] = rows ? image_get_sample(in, int(i), line, c) : image_get_sample(in, line, int(i), c);
                }
                const auto scaled = scale_line(samples, rows ? w : h, type, in->sample_type, clamp);
                for (int i = 0; i < int(scaled.size()); ++i) {
                    const int x = rows ? i : line, y = rows ? line : i;
                    image_get_pixel(out.get(), x, y, pixel.data());
                    pixel[c] = float(scaled[i]);
                    image_put_pixel(out.get(), x, y, pixel.data());
                }
            }
        }
        return out;
    };
    if (source->height * width <= source->width * height) {
        ImagePtr wide = pass(source.get(), width, source->height, true);
        return pass(wide.get(), width, height, false);
    }
    ImagePtr tall = pass(source.get(), source->width, height, false);
    return pass(tall.get(), width, height, true);
}

struct Case {
    int width, height, to_width, to_height;
};
constexpr Case CASES[] = {{1, 1, 5, 4},    {7, 5, 1, 1},    {5, 1, 9, 1},    {2, 2, 7, 3},
                          {17, 9, 34, 18}, {33, 18, 16, 9}, {13, 40, 29, 7}, {40, 13, 7, 29},
                          {9, 8, 9, 15},   {64, 3, 5, 3},   {31, 31, 30, 32}};

ImagePtr scaled(const ImagePtr& source, int width, int height, int type, bool clamp = false) {
    ImagePtr result = make_image(width, height, source->channels, source->sample_type);
    EXPECT_TRUE(image_scale(source.get(), result.get(), type, clamp));
    return result;
}

TEST(Scale, FollowsTheDefinitionForAllFiltersSampleTypesAndSizes) {
    for (const Case& c : CASES)
        for (const int sample_type : SAMPLE_TYPES)
            for (const int channels : {1, 2, 3, 4, 5}) {
                const ImagePtr source = noise_image(c.width, c.height, channels, sample_type, 7, -0.2f, 1.2f);
                for (int type = 0; type <= 5; ++type)
                    for (const bool clamp : {false, true}) {
                        const ImagePtr result = scaled(source, c.to_width, c.to_height, type, clamp);
                        const ImagePtr expected = reference(source, c.to_width, c.to_height, type, clamp);
                        // Integers of up to 16 bits are exact; the others differ in the rounding of the division.
                        const double tolerance = sample_type == SAMPLE_F32   ? 3e-6
                                                 : sample_type == SAMPLE_U32 ? 4096
                                                                             : 0;
                        ASSERT_LE(largest_difference(result, expected), tolerance)
                            << c.width << "x" << c.height << " to " << c.to_width << "x" << c.to_height << " type "
                            << type << " samples " << sample_type << " channels " << channels << " clamp " << clamp;
                    }
            }
}

TEST(Scale, GivesTheSameBitsForAnyThreadsAndProcessor) {
    for (const Case& c : {Case{67, 41, 134, 83}, Case{134, 83, 67, 41}, Case{50, 90, 131, 21}, Case{90, 20, 33, 77},
                          Case{1200, 700, 1300, 500}}) {
        const ImagePtr source = float_noise(c.width, c.height);
        for (int type = 0; type <= 5; ++type)
            same_bits_everywhere([&] { return scaled(source, c.to_width, c.to_height, type, type == 2); });
    }
}

TEST(Scale, CopiesEqualSizesAndRefusesWhatDoesNotMatch) {
    const ImagePtr source = float_noise(19, 11);
    EXPECT_TRUE(same_pixels(source, scaled(source, 19, 11, 4, true)));
    EXPECT_FALSE(image_scale(source.get(), make_image(30, 20, 3, SAMPLE_F32).get(), 4, false));
    EXPECT_FALSE(image_scale(source.get(), make_image(30, 20, 4, SAMPLE_U8).get(), 4, false));
}

TEST(Scale, KeepsThePhysicalSizeOfAPixel) {
    const ImagePtr source = make_image(40, 30, 4, SAMPLE_F32);
    image_set_pixel_size(source.get(), 2, 1, 2);
    image_set_unit_scale(source.get(), 3);
    const ImagePtr result = scaled(source, 20, 90, 2);
    EXPECT_TRUE(result->physical_width == 40 && result->physical_height == 90 && result->pixel_width == 2);
    EXPECT_EQ(result->unit_scale, 3);
}

TEST(ToLayout, ChangesSizeChannelsAndTypeTogether) {
    const ImagePtr matte = make_image(40, 30, 1, SAMPLE_U8);
    image_fill(matte.get(), 255.0f);
    constexpr double TABLE_STEP = 1.0 / 512.0;  // what the two weights of an axis may add up to beside 1
    for (const int mode : {0, 1, 3}) {
        const ImagePtr wide = make_image(17, 61, 4, SAMPLE_F32);
        ASSERT_TRUE(image_to_layout(matte.get(), wide.get(), true, KERNEL_TRIANGLE, mode));
        for (int channel = 0; channel < 4; ++channel)
            EXPECT_NEAR(at(wide, 9, 33, channel), channel > 0 && mode == 0 ? 0.0f : 1.0f, 2.5 * TABLE_STEP)
                << "mode " << mode << " channel " << channel;
    }
    const ImagePtr source = float_noise(33, 21, 5, -2.0f, 2.0f), result = make_image(50, 40, 4, SAMPLE_F32);
    ASSERT_TRUE(image_to_layout(source.get(), result.get()));
    EXPECT_TRUE(same_pixels(result, scaled(source, 50, 40, KERNEL_BSPLINE))) << "negative floats are kept";
}

}  // namespace
