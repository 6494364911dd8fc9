// Averages along arcs against a slow reference in double precision, and their limits.
#include "imagelib/imagelib_arcs.h"

#include <numbers>

#include "imagelib/imagelib_resample.h"
#include "pictures.h"

namespace {

constexpr double PI = std::numbers::pi;

// A picture and the arcs that it is averaged along.
struct Arcs {
    ImagePtr source, matte = nullptr;
    float cx, cy;
    ArcLengths lengths;

    explicit Arcs(ImagePtr image)
        : source(std::move(image)), cx(float(source->width) / 2), cy(float(source->height) / 2) {
        const auto width = float(source->width);
        lengths = {.angle = 0,
                   .profile = ArcProfile::Constant,
                   .inner = 0.05f * width,
                   .outer = 0.2f * width,
                   .soft = 0.015f * width,
                   .exponent = 2,
                   .invert_matte = false};
    }
    Arcs& degrees(double angle) { return lengths.angle = float(angle * PI / 180), *this; }
    Arcs& profile(ArcProfile profile) { return lengths.profile = profile, *this; }
    Arcs& centre(double x, double y) {
        return cx = float(x) * float(source->width), cy = float(y) * float(source->height), *this;
    }
    ImagePtr average() const {
        static const TurnTable turn;
        ImagePtr result = same_size(source);
        image_fill(result.get(), -7);
        ImagelibCircles circles(*source, cx, cy);
        EXPECT_TRUE(circles.unwrap(*source, turn, 0, circles.max_distance()));
        EXPECT_TRUE(circles.average(*source, matte.get(), lengths, *result));
        return result;
    }
};

// The same polar picture and arcs, written down plainly: samples of the library, running sums in double precision.
class Reference {
  public:
    explicit Reference(const Arcs& arcs)
        : m_arcs(arcs), m_source(*arcs.source), m_kernel(KERNEL_BSPLINE, EDGE_CLAMP), m_cx(arcs.cx), m_cy(arcs.cy) {
        for (int i = 0; i < 4; ++i)
            m_far = std::max(m_far, distance(i & 1 ? m_source.width : 0, i & 2 ? m_source.height : 0));
        m_turn = 2 * PI * m_far;
        for (int r = 0; r < int(m_far) + 2; ++r) m_rows.push_back(circle(r));
    }

    double worst(const ImagePtr& result) const {
        return largest_difference(
            result, picture(result->width, result->height, [&](int x, int y, int c) { return pixel(x, y, c); }));
    }

  private:
    // Negated, in radians.
    double arc(int x, int y) const {
        const ArcLengths& a = m_arcs.lengths;
        const double d = distance(x, y), in = a.inner, out = a.outer, soft = a.soft;
        double share = 1;
        if (a.profile == ArcProfile::Ring) {
            if (d <= in || d >= out)
                share = 0;
            else if (d < in + soft)
                share = (d - in) / soft;
            else if (d > out - soft)
                share = 1 - (d - (out - soft)) / soft;
        } else if (a.profile == ArcProfile::Outward) {
            share = std::pow(d / m_far, double(a.exponent));
        } else if (a.profile == ArcProfile::Inward) {
            share = std::pow(1 - d / m_far, double(a.exponent));
        }
        if (const ImagePtr& m = m_arcs.matte) {
            const double l = std::clamp(0.3 * at(m, x, y, 0) + 0.5 * at(m, x, y, 1) + 0.2 * at(m, x, y, 2), 0.0, 1.0);
            share *= a.invert_matte ? 1 - l : l;
        }
        return -double(a.angle) * share;
    }
    double pixel(int x, int y, int c) const {
        const double v = arc(x, y);
        if (std::fabs(v) < 5e-5) return at(&m_source, x, y, c);
        const double dx = (x - m_cx) * m_source.pixel_width, dy = (y - m_cy) * m_source.pixel_height;
        const double r = std::hypot(dx, dy), t = (std::atan2(dy, dx) + PI) * m_far, length = v * m_far;
        const int i = int(r);
        const auto value = [&](int row) { return (sum(row, t + length, c) - sum(row, t, c)) / length; };
        return value(i) + (r - i) * (value(i + 1) - value(i));
    }
    double distance(double x, double y) const {
        return std::hypot((x - m_cx) * m_source.pixel_width, (y - m_cy) * m_source.pixel_height);
    }
    // Sums before each column; the last entry is that of a repeated column 0.
    std::vector<double> circle(int r) const {
        const int columns = int(m_turn);
        std::vector<double> sums(4 * std::size_t(columns + 2));
        for (int c = 0; c <= columns; ++c) {
            const double angle = (c < columns ? c : 0) / m_far - PI;
            const float x = float(r * std::cos(angle) / m_source.pixel_width + m_cx);
            const float y = float(r * std::sin(angle) / m_source.pixel_height + m_cy);
            float sample[4], weights[4];  // those of the library's filter do not sum to 1
            image_sample(&m_source, x, y, sample, 4, &m_kernel);
            image_sample(m_ones.get(), x, y, weights, 4, &m_kernel);
            for (int k = 0; k < 4; ++k)
                sums[4 * std::size_t(c + 1) + k] = sums[4 * std::size_t(c) + k] + sample[k] / weights[k];
        }
        return sums;
    }
    double inside(int row, double p, int c) const {
        const int column = std::min(int(p), int(m_turn));
        const double* entry = &m_rows[std::size_t(row)][4 * std::size_t(column) + std::size_t(c)];
        return entry[0] + (p - column) * (entry[4] - entry[0]);
    }
    double sum(int row, double p, int c) const {
        if (p < 0) return inside(row, p + m_turn, c) - inside(row, m_turn, c);
        if (p > m_turn) return inside(row, p - m_turn, c) + inside(row, m_turn, c);
        return inside(row, p, c);
    }

    const Arcs& m_arcs;
    const K7Image& m_source;
    ImagelibKernel m_kernel;
    ImagePtr m_ones{picture(m_source.width, m_source.height, [](int, int, int) { return 1.0f; })};
    double m_cx, m_cy, m_far = 0, m_turn;
    std::vector<std::vector<double>> m_rows;
};

// On noise. A place that rounds to the other side of a step of the filter's table, a 512th of a pixel, changes its
// sample by up to 1e-3, and the shortest arcs see only one or two samples; half a column off would be 5e-2.
constexpr double CLOSE = 1.5e-3;

TEST(ArcAverage, AgreesWithTheReference) {
    using enum ArcProfile;
    struct Case {
        double degrees;
        ArcProfile profile;
        double x, y;
        float exponent = 2;
    };
    const Case cases[] = {{10, Constant, 0.5, 0.5},       {-10, Constant, 0.5, 0.5},     {0.02, Constant, 0.5, 0.5},
                          {359, Constant, 0.5, 0.5},      {-270, Constant, 0.31, 0.77},  {30, Constant, 0, 0},
                          {45, Constant, 1.4, 0.5},       {90, Constant, -0.6, 1.9},     {25, Ring, 0.5, 0.5},
                          {-60, Ring, 0.4, 0.6},          {120, Outward, 0.5, 0.5},      {120, Inward, 0.5, 0.5},
                          {200, Outward, 0.2, 0.3, 0.3f}, {200, Inward, 0.2, 0.3, 7.5f}, {50, Outward, 0.5, 0.5, 100},
                          {50, Inward, 0.5, 0.5, 0}};
    for (const Case& c : cases) {
        Arcs arcs(float_noise(83, 61));
        arcs.degrees(c.degrees).profile(c.profile).centre(c.x, c.y).lengths.exponent = c.exponent;
        EXPECT_LT(Reference(arcs).worst(same_bits_everywhere([&] { return arcs.average(); })), CLOSE)
            << c.degrees << " profile " << int(c.profile) << " at " << c.x << ", " << c.y;
    }
    for (const auto& [width, height] : {std::pair{2, 1}, {1, 9}, {2, 2}, {3, 200}, {65, 3}}) {
        Arcs arcs(float_noise(width, height));
        EXPECT_LT(Reference(arcs.degrees(300)).worst(arcs.average()), CLOSE) << width << " x " << height;
    }
    Arcs stretched(float_noise(64, 40));  // with a matte and a hard ring
    image_set_pixel_size(stretched.source.get(), 2, 1, 2);
    stretched.matte = picture(64, 40, [](int x, int y, int c) { return float(x + c) / 50.0f - float(y) / 200.0f; });
    stretched.degrees(40).lengths.soft = 0;
    for (const bool invert : {false, true})
        for (const ArcProfile profile : {Constant, Ring}) {
            stretched.profile(profile).lengths.invert_matte = invert;
            EXPECT_LT(Reference(stretched).worst(stretched.average()), CLOSE) << int(profile) << invert;
        }
}

// The sums of a circle go on past a very bright or a bad pixel.
TEST(ArcAverage, FlatAreasStayFlatBesideBrightAndBadPixels) {
    Arcs sun(
        picture(200, 200, [](int x, int y, int) { return std::hypot(x - 170.0f, y - 100.0f) < 6 ? 20000.0f : 0.25f; }));
    const ImagePtr lit = sun.degrees(20).average();
    for (int y = 60; y < 140; ++y)
        for (int x = 10; x < 90; ++x) ASSERT_NEAR(at(lit, x, y, 1), 0.25f, 1e-4f);
    for (const float bad : {NOT_A_NUMBER, -ENDLESS, -1e38f}) {
        Arcs arcs(picture(60, 60, [&](int x, int y, int) { return x == 45 && y == 30 ? bad : 0.5f; }));
        const ImagePtr result = arcs.degrees(90).average();
        for (std::size_t i = 0; i < sample_count(result.get()); ++i)
            ASSERT_TRUE(sample_of(result.get(), i) >= 0 && sample_of(result.get(), i) < 0.51f);
    }
}

// Beyond the column behind the whole ones a row has no entries.
TEST(ArcAverage, PositionsEndOnTheCircleWhereATurnRoundsUp) {
    const ImagePtr layout = float_noise(60, 40);
    ArcGeometry circles;
    float cx = 30;
    do circles = arc_geometry(*layout, cx = std::nextafter(cx, 60.0f), 20);
    while (cx < 59 && float(circles.period) < float(circles.columns + 1));
    ASSERT_EQ(float(circles.period), float(circles.columns + 1));
    EXPECT_EQ(int(circles.last_position()), circles.columns);
}

TEST(ArcAverage, RefusesOtherSizesAndEndsWhenAsked) {
    const TurnTable turn;
    const ImagePtr image = float_noise(40, 30), other = float_noise(39, 30);
    EXPECT_FALSE(ImagelibCircles(*image, NOT_A_NUMBER, 5).valid() || ImagelibCircles(*image, 1e9f, 5).valid());
    ImagelibCircles circles(*image, 20, 15);
    EXPECT_FALSE(circles.unwrap(*image, turn, 0, 25, [] { return true; }));
    EXPECT_FALSE(circles.average(*image, nullptr, {}, *other));
}

}  // namespace
