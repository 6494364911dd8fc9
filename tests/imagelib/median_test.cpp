// The median against a slow reference that sorts every window, and its edge cases.
#include "imagelib/imagelib_median.h"

#include "pictures.h"

namespace {

// A soft picture under grain, in levels of 12 bits: many bins hold one value, some hold none.
ImagePtr grainy(int width, int height) {
    const ImagePtr noise = float_noise(width, height, 1, 0, 1);
    return picture(width, height, [&](int x, int y, int c) {
        const float soft = 0.5f + 0.3f * float(std::sin(0.11 * x + c) * std::cos(0.07 * y));
        return std::floor((soft + 0.3f * (at(noise, x, y, c) - 0.5f)) * 4096) / 4096;
    });
}

using Radii = std::vector<MedianRadii>;  // of each channel

Radii all_channels(int x, int y) { return Radii(4, {x, y}); }

ImagePtr medians(const ImagePtr& source, const Radii& radii) {
    ImagePtr result = same_size(source);
    image_fill(result.get(), -7);
    EXPECT_TRUE(image_window_median(source.get(), result.get(), radii.data()));
    return result;
}
ImagePtr medians(const ImagePtr& source, int r) { return medians(source, all_channels(r, r)); }

struct Expected {
    double mean;
    bool single;  // the bin holds one value
};

class Reference {
  public:
    Reference(const ImagePtr& source, int channel) : m_source(source), m_channel(channel) {
        m_min = m_max = at(source, 0, 0, channel);
        for (int y = 0; y < source->height; ++y)
            for (int x = 0; x < source->width; ++x) {
                m_min = std::min(m_min, at(source, x, y, channel));
                m_max = std::max(m_max, at(source, x, y, channel));
            }
        const float step = (m_max - m_min) / 4095.0f;
        m_scale = step <= 0.00001f ? 0.0f : 1.0f / step;
    }
    Expected operator()(int x, int y, int rx, int ry) const {
        std::vector<float> window;
        for (int j = std::max(y - ry, 0); j <= std::min(y + ry, m_source->height - 1); ++j)
            for (int i = std::max(x - rx, 0); i <= std::min(x + rx, m_source->width - 1); ++i)
                window.push_back(at(m_source, i, j, m_channel));
        const auto middle = window.begin() + long(window.size() / 2);  // bins never fall as samples rise
        std::nth_element(window.begin(), middle, window.end());
        const int median = bin(*middle);
        long double sum = 0;
        int count = 0;
        float low = *middle, high = *middle;
        for (const float sample : window) {
            if (bin(sample) != median) continue;
            sum += sample, ++count;
            low = std::min(low, sample), high = std::max(high, sample);
        }
        return {double(sum / count), low == high};
    }

  private:
    int bin(float sample) const { return std::min(int((sample - m_min) * m_scale), 4095); }
    const ImagePtr& m_source;
    int m_channel;
    float m_min, m_max, m_scale;
};

// Exactly where the bin holds one value, within a rounding of the exact mean elsewhere; every `stride`th pixel.
void expect_medians(const ImagePtr& source, const ImagePtr& result, const Radii& radii, int stride = 1) {
    for (int c = 0; c < 4; ++c) {
        const Reference reference(source, c);
        const auto [rx, ry] = radii[std::size_t(c)];
        int wrong = 0;
        for (int i = 0; i < source->width * source->height; i += stride) {
            const int x = i % source->width, y = i / source->width;
            const Expected expected = reference(x, y, rx, ry);
            const float rounded = float(expected.mean), found = at(result, x, y, c);
            const bool right = expected.single ? found == rounded
                                               : found >= std::nextafter(rounded, -ENDLESS) &&
                                                     found <= std::nextafter(rounded, ENDLESS);
            if (!right && ++wrong < 4)
                ADD_FAILURE() << "channel " << c << " at " << x << ", " << y << ", radii " << rx << ", " << ry << ": "
                              << found << " for " << expected.mean;
        }
        EXPECT_EQ(wrong, 0);
    }
}

// Few columns of many rows, many of few, windows that the picture cuts: no method may take a shape that is not its own.
TEST(Median, WindowsOfEveryShapeInPicturesOfEverySize) {
    const RowThreads threads(2);
    Radii shapes;
    for (int rx = 1; rx <= 80; ++rx)
        for (int ry = 1; ry <= 80; ++ry)
            if (rx == ry || (2 * rx + 1) * (2 * ry + 1) < 140 || (rx * 31 + ry * 17) % 97 == 0)
                shapes.push_back({rx, ry});
    while (shapes.size() % 4) shapes.push_back({1, 19});
    const ImagePtr source = grainy(71, 74), wide = grainy(700, 90);
    for (std::size_t i = 0; i < shapes.size(); i += 4) {
        const Radii radii(shapes.begin() + long(i), shapes.begin() + long(i) + 4);
        expect_medians(source, medians(source, radii), radii, 23);
    }
    for (int r = 1; r < 6; ++r) expect_medians(source, medians(source, r), all_channels(r, r));
    for (const auto& [width, height] :
         {std::pair{1, 1}, {1, 40}, {40, 1}, {2, 3}, {15, 4}, {31, 5}, {33, 7}, {65, 2}}) {
        const ImagePtr small = grainy(width, height);
        for (const int r : {1, 2, 3, 5, 17, 80}) expect_medians(small, medians(small, r), all_channels(r, r));
    }
    for (const Radii& radii : {all_channels(2, 2), all_channels(6, 5), all_channels(80, 9)})  // across strips
        expect_medians(wide, medians(wide, radii), radii, 53);
    // A channel whose contrast is too low for bins becomes the mean of the window.
    const ImagePtr faint = float_noise(90, 40, 3, 0.5f, 0.54f);
    for (const Radii& radii : {all_channels(1, 1), all_channels(3, 6), all_channels(80, 80)})
        expect_medians(faint, medians(faint, radii), radii, 7);
    const ImagePtr pair = picture(2, 1, [](int x, int, int) { return x; });  // the upper one of an even number
    for (const int r : {1, 40}) EXPECT_EQ(at(medians(pair, r), 0, 0, 0), 1.0f);
}

TEST(Median, AllThreadsAndProcessorsGiveTheSameBits) {
    // Full-precision noise: a sum in another order would round differently.
    const ImagePtr source = float_noise(533, 70, 5, 0.0f, 3.0f);
    at(source, 11, 9, 0) = 65504.0f;  // and bins that hold many samples
    for (const Radii& radii :
         {all_channels(1, 1), all_channels(2, 2), all_channels(4, 3), all_channels(9, 9), all_channels(50, 20)})
        expect_medians(source, same_bits_everywhere([&] { return medians(source, radii); }), radii, 211);
    // Each channel its own way: by histograms, as a mean, filled, and by sorted columns.
    const ImagePtr noise = grainy(300, 80);
    const ImagePtr mixed = picture(300, 80, [&](int x, int y, int c) {
        const float sample = at(noise, x, y, c);
        return c == 1 ? 0.5f + 0.03f * sample : c == 2 ? 0.25f : sample;
    });
    const Radii radii = {{12, 9}, {7, 4}, {3, 3}, {2, 2}};
    expect_medians(mixed, same_bits_everywhere([&] { return medians(mixed, radii); }), radii, 31);
}

TEST(Median, HostileSamplesAndRadii) {
    const ImagePtr source = grainy(80, 40), hurt = copy_of(source), healed = copy_of(source);
    float low = ENDLESS;  // what a NaN counts as
    for (int i = 0; i < 80 * 40; ++i) low = std::min(low, at(source, i % 80, i / 80, 0));
    for (int i = 3; i < 80 * 40; i += 17)
        at(hurt, i % 80, i / 80, 0) = NOT_A_NUMBER, at(healed, i % 80, i / 80, 0) = low;
    for (const int r : {1, 2, 12}) EXPECT_TRUE(same_pixels(medians(healed, r), medians(hurt, r))) << r;

    const float hostile[] = {NOT_A_NUMBER, ENDLESS, -ENDLESS, 3e38f, -3e38f, 1e-45f, 0.0f, -1.0f};
    for (const int used : {1, 3, 8}) {
        const ImagePtr mad = picture(40, 20, [&](int x, int y, int c) { return hostile[(x * 7 + y * 3 + c) % used]; });
        for (const int r : {-2147483647, 1, 2, 9, 2147483647}) {
            const ImagePtr result = medians(mad, r);
            for (std::size_t i = 0; i < sample_count(result.get()); ++i)
                ASSERT_TRUE(std::isfinite(sample_of(result.get(), i)));
        }
    }
}

TEST(Median, RefusesWhatItCannotFilterAndEndsWhenAsked) {
    const ImagePtr source = grainy(40, 30), narrow = grainy(39, 30), single = make_image(40, 30, 1, SAMPLE_F32);
    const ImagePtr result = same_size(source);
    const Radii radii = all_channels(2, 2);
    EXPECT_FALSE(image_window_median(single.get(), single.get(), radii.data()));
    EXPECT_FALSE(image_window_median(source.get(), source.get(), radii.data()));
    EXPECT_FALSE(image_window_median(source.get(), result.get(), radii.data(), [] { return true; }));
    EXPECT_EQ(at(result, 3, 3, 3), 0.0f);
}

}  // namespace
