#include "noiselib/krvf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <vector>

#include "noiselib/krvf_transform.h"
#include "support/same_bits.h"

namespace {

using Complex = std::complex<double>;
using Vector = std::array<double, 3>;
using ComplexVector = std::array<Complex, 3>;

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

// ---- The field by its definition, slowly ------------------------------------------------------------------------

struct Cube {
    int edge;
    std::vector<ComplexVector> values;

    explicit Cube(int n) : edge(n), values(static_cast<std::size_t>(n) * n * n) {}
    ComplexVector& at(int x, int y, int z) { return values[(static_cast<std::size_t>(z) * edge + y) * edge + x]; }
};

// First columns of a square root of the tensor, in pivot order.
std::array<Vector, 3> tensor_root(const std::array<Vector, 3>& tensor) {
    std::array<Vector, 3> root = {}, rest = tensor;
    std::vector<int> left = {0, 1, 2};
    for (int column = 0; column < 3; ++column) {
        const auto found = std::find_if(left.begin(), left.end(), [&](int i) { return rest[i][i] != 0; });
        if (found == left.end()) break;
        const int pivot = *found;
        left.erase(found);
        root[pivot][column] = std::sqrt(rest[pivot][pivot]);
        for (const int i : left)
            if (rest[i][i] != 0) root[i][column] = rest[i][pivot] / root[pivot][column];
        for (const int i : left)
            for (const int j : left) rest[i][j] -= root[i][column] * root[j][column];
        for (const int i : left) rest[i][i] = std::max(rest[i][i], 0.0);
    }
    return root;
}

ComplexVector entry_at(int x, int y, int z, double energy, std::vector<MTRandom>& random) {
    const Vector k = {double(x), double(y), double(z)};
    const int squared = x * x + y * y + z * z;
    const double length = std::sqrt(double(squared));
    const auto power = [](double base, long double exponent) { return double(std::pow((long double)base, exponent)); };
    const double s = 1.5 * power(energy, 1.5L) * power(length, -2.5L) / (12.5663706 * (double(squared) * squared));
    std::array<Vector, 3> tensor;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) tensor[i][j] = ((i == j ? squared : 0) - k[i] * k[j]) * s;
    std::array<Complex, 3> drawn;
    for (int m = 0; m < 3; ++m) {
        const double g = random[2 * m].next_gaussian();
        const double phase = 2 * 3.14159265 * random[2 * m + 1].next_double();
        drawn[m] = std::polar(1.0, phase) * g;
    }
    const std::array<Vector, 3> root = tensor_root(tensor);
    ComplexVector entry = {};
    for (int i = 0; i < 3; ++i)
        for (int m = 0; m < 3; ++m) entry[i] += root[i][m] * drawn[m];
    Complex along = 0;
    for (int i = 0; i < 3; ++i) along += entry[i] * k[i] / length;
    for (int i = 0; i < 3; ++i) entry[i] -= along * k[i] / length;
    return entry;
}

Cube spectrum_by_definition(uint32_t seed, int n, double k_min, double energy) {
    MTRandom seeds(seed);
    std::vector<MTRandom> random;
    for (int i = 0; i < 6; ++i) random.emplace_back(seeds.next_uint32() >> 1);
    const int edge = 2 * n;
    Cube cube(edge);
    for (int z = 0; z <= n; ++z)
        for (int y = 0; y <= n; ++y)
            for (int x = 0; x <= n; ++x) {
                if (!(std::sqrt(double(x * x + y * y + z * z)) > k_min)) continue;
                const ComplexVector entry = entry_at(x, y, z, energy, random);
                for (const int mx : {x, edge - x})
                    for (const int my : {y, edge - y})
                        for (const int mz : {z, edge - z}) {
                            if (mx >= edge || my >= edge || mz >= edge || (z == 0 && mz != 0)) continue;
                            ComplexVector& to = cube.at(mx, my, mz);
                            for (int i = 0; i < 3; ++i) to[i] = mz == z ? entry[i] : std::conj(entry[i]);
                        }
            }
    for (int z = 0; z < edge; ++z)
        for (int y = 0; y < edge; ++y)
            for (int x = 0; x < edge; ++x)
                if (x % n == 0 || y % n == 0 || z % n == 0)
                    for (Complex& c : cube.at(x, y, z)) c = c.real();
    return cube;
}

// One axis after the other; the exponent has the sign given.
Cube fourier(const Cube& cube, int sign) {
    Cube from = cube, to(cube.edge);
    const int strides[] = {1, cube.edge, cube.edge * cube.edge};
    for (const int stride : strides) {
        for (int i = 0; i < int(from.values.size()); ++i) {
            const int place = i / stride % cube.edge;
            ComplexVector sum = {};
            for (int k = 0; k < cube.edge; ++k) {
                const Complex turn = std::polar(1.0, sign * 2 * std::numbers::pi * (place * k % cube.edge) / cube.edge);
                for (int c = 0; c < 3; ++c) sum[c] += turn * from.values[i + (k - place) * stride][c];
            }
            to.values[i] = sum;
        }
        std::swap(from, to);
    }
    return from;
}

// The field at its grid points, where nothing is interpolated.
Cube read_field(const KRVF& field) {
    const int edge = field.grid_edge();
    Cube cube(edge);
    for (int z = 0; z < edge; ++z)
        for (int y = 0; y < edge; ++y)
            for (int x = 0; x < edge; ++x) {
                Vector v;
                field.sample(double(x) / edge, double(y) / edge, double(z) / edge, &v[0], &v[1], &v[2]);
                for (int c = 0; c < 3; ++c) cube.at(x, y, z)[c] = v[c];
            }
    return cube;
}

Vector sample_at(const KRVF& field, double x, double y, double z) {
    Vector v;
    EXPECT_TRUE(field.sample(x, y, z, &v[0], &v[1], &v[2]));
    return v;
}

Vector sample_at(KRVFT& field, double x, double y, double z, double time) {
    Vector v;
    EXPECT_EQ(field.sample(x, y, z, time, &v[0], &v[1], &v[2]), 1);
    return v;
}

}  // namespace

TEST(Transform, AgreesWithTheSumsAlongAnyAxis) {
    constexpr std::size_t SIZES[3] = {4, 16, 2};  // along x, y and z
    constexpr std::size_t TOTAL = 4 * 16 * 2;
    MTRandom random(3);
    std::vector<double> real(TOTAL), imag(TOTAL);
    for (std::size_t i = 0; i < TOTAL; ++i) real[i] = random.next_gaussian(), imag[i] = random.next_gaussian();
    for (const int sign : {-1, 1})
        for (std::size_t axis = 0, stride = 1; axis < 3; stride *= SIZES[axis++]) {
            const std::size_t size = SIZES[axis];
            auto got_real = real, got_imag = imag;
            ASSERT_TRUE(fft_radix2(got_real.data(), got_imag.data(), TOTAL, size, stride * size, sign));
            for (std::size_t i = 0; i < TOTAL; ++i) {
                const std::size_t place = i / stride % size;
                Complex sum = 0;
                for (std::size_t k = 0; k < size; ++k) {
                    const std::size_t j = i - place * stride + k * stride;
                    sum += Complex(real[j], imag[j]) *
                           std::polar(1.0, sign * 2 * std::numbers::pi * double(place * k % size) / double(size));
                }
                ASSERT_NEAR(got_real[i], sum.real(), 1e-12);
                ASSERT_NEAR(got_imag[i], sum.imag(), 1e-12);
            }
        }
    EXPECT_FALSE(fft_radix2(real.data(), imag.data(), 12, 3, 3, -1));
    EXPECT_FALSE(fft_radix2(real.data(), imag.data(), TOTAL, 8, 12, -1));
    EXPECT_FALSE(fft_radix2(nullptr, imag.data(), TOTAL, 4, 4, -1));
}

TEST(Krvf, IsTheFieldOfItsDefinition) {
    for (const auto& [n, k_min] : {std::pair{2, 1.0}, {4, 2.5}, {8, 4.0}}) {
        KRVF field;
        ASSERT_TRUE(field.generate(4711, n, k_min, 1.3));
        Cube expected = fourier(spectrum_by_definition(4711, n, k_min, 1.3), -1);
        const Cube got = read_field(field);
        double largest = 0;
        for (const auto& v : expected.values) largest = std::max(largest, std::abs(v[0]));
        ASSERT_GT(largest, 1e-3);
        for (std::size_t i = 0; i < got.values.size(); ++i)
            for (int c = 0; c < 3; ++c) {
                ASSERT_NEAR(got.values[i][c].real(), expected.values[i][c].real(), 1e-9 * largest) << n << ' ' << i;
            }
    }
}

TEST(Krvf, RefusesWhatItCannotBuildAndKeepsWhatItHas) {
    KRVF field;
    double u = 1, v = 1, w = 1;
    EXPECT_FALSE(field.sample(0.1, 0.2, 0.3, &u, &v, &w));
    EXPECT_EQ(u * u + v * v + w * w, 0);
    ASSERT_TRUE(field.generate(1, 4, 1, 1));
    const Vector before = sample_at(field, 0.1, 0.2, 0.3);
    for (const int n : {3, 512, 1, 0, -4, std::numeric_limits<int>::min()}) EXPECT_FALSE(field.generate(2, n, 4, 1));
    for (const double k_min : {0.5, -1.0, NOT_A_NUMBER, -INF}) EXPECT_FALSE(field.generate(2, 4, k_min, 1));
    EXPECT_EQ(field.grid_edge(), 8);
    EXPECT_EQ(sample_at(field, 0.1, 0.2, 0.3), before);
}

TEST(Krvf, IsZeroWithoutWaves) {
    KRVF field;
    for (const auto& [k_min, energy] :
         {std::pair{8 * std::sqrt(3.0), 1.0}, {INF, 1.0}, {1.0, 0.0}, {1.0, -2.0}, {1.0, NOT_A_NUMBER}, {1.0, INF}}) {
        ASSERT_TRUE(field.generate(1, 8, k_min, energy));
        EXPECT_EQ(field.statistics().max_length, 0);
        EXPECT_EQ(sample_at(field, 0.3, 0.3, 0.7), Vector{});
    }
    // The weight of these waves is the least number there is: nothing is left of it in some tensors.
    ASSERT_TRUE(field.generate(1, 2, 1, 1e-215));
    EXPECT_TRUE(std::isfinite(field.statistics().max_length));
}

TEST(Krvf, RepeatsAndInterpolates) {
    KRVF field;
    ASSERT_TRUE(field.generate(5, 4, 1, 1));
    const Vector here = sample_at(field, 0.3125, 0.8125, 0.0625);
    EXPECT_EQ(sample_at(field, 1.3125, -3.1875, 7.0625), here);
    EXPECT_EQ(sample_at(field, 0.999999, 0, 0), sample_at(field, 0.99999, 0, 0));
    EXPECT_EQ(sample_at(field, NOT_A_NUMBER, INF, -INF), sample_at(field, 0, 0, 0));
    EXPECT_EQ(sample_at(field, 1e300, -1e300, 4e18), sample_at(field, 0, 0, 0));
    EXPECT_EQ(sample_at(field, 0.25, 0.125, 0.3), sample_at(field, 0.75, 0.875, 0.3));
    const Vector a = sample_at(field, 0.25, 0.5, 0.875);
    const Vector b = sample_at(field, 0.25, 0.5, 0);
    const Vector between = sample_at(field, 0.25, 0.5, 0.96875);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(between[c], 0.25 * a[c] + 0.75 * b[c], 1e-15);
}

TEST(Krvf, TellsTheFiguresOfItsWholeGrid) {
    KRVF field;
    ASSERT_TRUE(field.generate(12, 8, 1, 1));
    const Cube cube = read_field(field);
    struct Range {
        double low = INF, high = -INF, mean = 0;
        void take(double v) { low = std::min(low, v), high = std::max(high, v), mean += v / 4096; }
    } parts[3], length;
    for (const auto& v : cube.values) {
        for (int c = 0; c < 3; ++c) parts[c].take(v[c].real());
        length.take(std::hypot(v[0].real(), v[1].real(), v[2].real()));
    }
    const KRVF::Statistics& got = field.statistics();
    const auto expect_range = [](const Range& range, double low, double high, double mean) {
        EXPECT_NEAR(low, range.low, 1e-14);
        EXPECT_NEAR(high, range.high, 1e-14);
        EXPECT_NEAR(mean, range.mean, 1e-14);
    };
    expect_range(parts[0], got.min_u, got.max_u, got.mean_u);
    expect_range(parts[1], got.min_v, got.max_v, got.mean_v);
    expect_range(parts[2], got.min_w, got.max_w, got.mean_w);
    expect_range(length, got.min_length, got.max_length, got.mean_length);
    EXPECT_GT(got.max_u, 0.01);
}

TEST(Krvf, IsTheSameFromAnyThreadsAndInstructions) {
    same_bits_everywhere([] {
        KRVF field;
        EXPECT_TRUE(field.generate(-1, 32, 4, 1));
        ImagePtr image = make_image(500, 1, 4, SAMPLE_F32);
        for (int i = 0; i < 500; ++i) {
            const Vector v = sample_at(field, 0.013 * i, 0.027 * i, 0.041 * i);
            const auto mean = float(field.statistics().mean_length);
            const float pixel[] = {float(v[0]), float(v[1]), float(v[2]), mean};
            std::copy_n(pixel, 4, image_row<float>(image.get(), 0) + 4 * i);
        }
        return image;
    });
}

TEST(Krvft, GoesFromKeyframeToKeyframe) {
    MTRandom words(31);
    KRVF keyframes[4];
    for (KRVF& keyframe : keyframes)
        ASSERT_TRUE(keyframe.generate(static_cast<int32_t>(words.next_uint32() >> 1), 4, 1, 1));
    const auto expect_between = [&](KRVFT& moving, int first, double time, double t) {
        const Vector got = sample_at(moving, 0.4, 0.1, 0.8, time);
        const Vector a = sample_at(keyframes[first], 0.4, 0.1, 0.8);
        const Vector b = sample_at(keyframes[first + 1], 0.4, 0.1, 0.8);
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(got[c], a[c] + (b[c] - a[c]) * t, 1e-15) << time;
    };
    KRVFT moving;
    ASSERT_EQ(moving.init(10.9, 31, 4, 1, 1), 1);
    EXPECT_EQ(sample_at(moving, 0.4, 0.1, 0.8, 10), sample_at(keyframes[0], 0.4, 0.1, 0.8));
    expect_between(moving, 0, 10.5, 0.5);
    expect_between(moving, 0, NOT_A_NUMBER, 0);
    expect_between(moving, 1, 11.25, 0.25);
    expect_between(moving, 2, 3.5, 0.5);  // back by eight, yet on by one

    ASSERT_EQ(moving.init(0, 31, 4, 1, 1), 1);
    expect_between(moving, 0, -0.75, -0.75);  // truncated towards 0
    expect_between(moving, 1, 90.75, 0.75);   // on by ninety, yet on by one
    expect_between(moving, 2, 1e300, 0);
}

TEST(Krvft, TellsWhenItHasNoField) {
    KRVFT moving;
    double u = 1, v = 1, w = 1;
    EXPECT_EQ(moving.sample(0, 0, 0, 0, &u, &v, &w), 0);
    EXPECT_EQ(moving.init(0, 1, 7, 1, 1), 0);
    EXPECT_EQ(moving.sample(0, 0, 0, 5, &u, &v, &w), 0);
    EXPECT_EQ(u * u + v * v + w * w, 0);
}
