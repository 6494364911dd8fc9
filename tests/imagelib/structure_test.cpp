// The structure tensor against its definition and on pictures whose edges are known.
#include "imagelib/imagelib_structure.h"

#include "pictures.h"

namespace {

ImagePtr stripes(int width, int height, double angle, double aspect = 1, float grain = 0) {
    const ImagePtr noise = float_noise(width, height, 5, -0.5f, 0.5f);
    ImagePtr image = picture(width, height, [&](int x, int y, int c) {
        const double across = -x * std::sin(angle) + y / aspect * std::cos(angle);
        return 0.5 + 0.3 * std::sin(0.35 * across) + double(grain * at(noise, x, y, c));
    });
    image->pixel_aspect = static_cast<float>(aspect);
    return image;
}

ImagePtr structure(const ImagePtr& source, const StructureShape& shape) {
    return same_bits_everywhere([&] { return image_structure(source.get(), shape); });
}

// Of tangents, which have no sign.
double angle_between(const Tangent& t, double angle) {
    const double cosine = std::fabs(double(t.x) * std::cos(angle) + double(t.y) * std::sin(angle));
    return std::acos(std::min(cosine, 1.0));
}

TEST(Structure, TangentsFollowStripesAtAnyAngleAspectAndSize) {
    for (const bool half : {false, true})
        for (const double aspect : {1.0, 2.0, 0.5})
            for (const double angle : {0.0, 0.4, 1.5707963, 2.2, 3.0}) {
                const ImagePtr source = stripes(131, 97, angle, aspect, 0.02f);
                const ImagePtr field = structure(source, {.sigma = 6, .half_size = half});
                ASSERT_TRUE(field);
                EXPECT_EQ(field->width, half ? 66 : 131);
                for (int y = 20; y < 80; y += 7)
                    for (int x = 20; x < 110; x += 9) {
                        const Tangent t = tangent_at(field.get(), float(x), float(y), half ? 0.5f : 1.0f);
                        EXPECT_LT(angle_between(t, angle), 0.05) << half << " " << aspect << " " << angle;
                        EXPECT_GT(t.coherence, 0.85f);
                        EXPECT_NEAR(t.x * t.x + t.y * t.y, 1, 1e-4);
                    }
            }
}

TEST(Structure, UnsmoothedItIsTheTensorOfThePixelsGradient) {
    const ImagePtr source = float_noise(23, 17, 9, 0, 1);
    const ImagePtr field = structure(source, {.sigma = 0, .half_size = false});
    const auto gradient = [&](int x, int y, int c, bool down) {
        double sum = 0;
        for (int i = -1; i <= 1; ++i) {
            const double weight = i == 0 ? 10.0 : 3.0;
            const auto sample = [&](int along) {
                const int sx = std::clamp(x + (down ? i : along), 0, 22),
                          sy = std::clamp(y + (down ? along : i), 0, 16);
                return double(at(source, sx, sy, c));
            };
            sum += weight * (sample(1) - sample(-1));
        }
        return sum / 32;
    };
    for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 23; ++x) {
            double xx = 0, xy = 0, yy = 0;
            for (int c = 0; c < 3; ++c) {
                const double dx = gradient(x, y, c, false), dy = gradient(x, y, c, true);
                xx += dx * dx, xy += dx * dy, yy += dy * dy;
            }
            const double root = std::hypot(xx - yy, 2 * xy);
            const Tangent t{at(field, x, y, 0), at(field, x, y, 1), at(field, x, y, 2), at(field, x, y, 3)};
            EXPECT_NEAR(double(t.strength), std::sqrt(xx + yy), 1e-5);
            EXPECT_NEAR(double(t.coherence), root / (xx + yy), 1e-4);
            // The energy along the tangent is the lesser eigenvalue.
            const double along = xx * t.x * t.x + 2 * xy * t.x * t.y + yy * t.y * t.y;
            EXPECT_NEAR(along, 0.5 * (xx + yy - root), 1e-5);
        }
}

TEST(Structure, FlatAndHostilePicturesHaveADirectionAllTheSame) {
    const ImagePtr flat = picture(9, 5, [](int, int, int) { return 0.4; });
    const ImagePtr field = structure(flat, {.sigma = 3, .wide_sigma = 20});
    for (int x = 0; x < 5; ++x) {
        EXPECT_EQ(at(field, x, 1, 0), 1.0f);
        EXPECT_EQ(at(field, x, 1, 2), 0.0f);
    }
    // Far from a single edge the wide tensor still knows its direction.
    const ImagePtr edge = picture(200, 60, [](int x, int, int) { return x < 30 ? 0.2 : 0.8; });
    const ImagePtr near = structure(edge, {.sigma = 2}), far = structure(edge, {.sigma = 2, .wide_sigma = 40});
    EXPECT_EQ(tangent_at(near.get(), 80, 30, 0.5f).coherence, 0.0f);
    EXPECT_LT(angle_between(tangent_at(far.get(), 80, 30, 0.5f), 1.5707963), 0.05);

    const ImagePtr hostile = float_noise(33, 9);
    at(hostile, 3, 3, 0) = NOT_A_NUMBER, at(hostile, 12, 4, 1) = ENDLESS, at(hostile, 20, 4, 1) = -ENDLESS;
    const ImagePtr tiny = picture(1, 1, [](int, int, int) { return 1e30; });
    for (const ImagePtr* source : {&hostile, &tiny}) {
        const ImagePtr result = structure(*source, {.sigma = 1e9f, .wide_sigma = ENDLESS});
        ASSERT_TRUE(result);
        for (std::size_t i = 0; i < sample_count(result.get()); ++i)
            EXPECT_TRUE(std::isfinite(sample_of(result.get(), i)));
    }
    EXPECT_FALSE(image_structure(nullptr, {}));
    EXPECT_FALSE(image_structure(hostile.get(), {}, [] { return true; }));
}

}  // namespace
