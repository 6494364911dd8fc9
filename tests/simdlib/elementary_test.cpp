// The elementary functions against extended precision, and their vector forms against the single ones.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "elementary_simd.h"
#include "k7pi_baselib/portable_math.h"
#include "simdlib/cpu.h"

namespace {

using One = double (*)(double);
using Two = double (*)(double, double);
constexpr double INF = std::numeric_limits<double>::infinity(), NONE = std::numeric_limits<double>::quiet_NaN();

const std::vector<double>& special_values() {
    using Limits = std::numeric_limits<double>;
    static const std::vector<double> values = [] {
        std::vector<double> all = {0,          5e-324, 1e-310,   Limits::min(), 1e-30, 0.25,   0.4375,     0.5,
                                   1,          2,      3,        709.7,         745.2, 0x1p20, 0x1p52 + 1, 0x1p53 - 1,
                                   0x1p53 + 2, 1e22,   0x1p1000, Limits::max(), INF,   NONE};
        for (double x : {0.5, 1.0, 2.0, 3.0, 0x1p20})
            all.push_back(std::nextafter(x, 0)), all.push_back(std::nextafter(x, 9e9));
        for (int n = 1; n < 40; ++n)
            all.push_back(n * 1.5707963267948966), all.push_back(std::ldexp(1.5707963267948966, 25 * n));
        for (std::size_t i = 0, n = all.size(); i < n; ++i) all.push_back(-all[i]);
        return all;
    }();
    return values;
}

// Numbers of every size, and many of the sizes that pictures have.
std::vector<double> wide_numbers(unsigned seed) {
    std::mt19937_64 random(seed);
    std::vector<double> all = special_values();
    for (int i = 0; i < 60000; ++i) all.push_back(std::bit_cast<double>(random()));
    for (int i = 0; i < 200000; ++i)
        all.push_back(std::ldexp(double(int64_t(random())), -63) * std::ldexp(1.0, int(random() % 24) - 12));
    all.resize(all.size() / 8 * 8);
    return all;
}

// In units in the last place of a double; 0 where both are not a number or the same infinity.
double error(double got, long double exact) {
    const double rounded = static_cast<double>(exact);
    if (std::isnan(rounded) || std::isnan(got)) return std::isnan(rounded) && std::isnan(got) ? 0 : INF;
    if (std::isinf(rounded) || std::isinf(got) || rounded == 0)
        return got == rounded ? 0 : std::abs(got) < 1e-323 ? 1 : INF;
    const double unit = std::nextafter(std::abs(rounded), INF) - std::abs(rounded);
    return static_cast<double>(std::abs(got - exact) / unit);
}

// Steps between two floats
int64_t float_steps(float a, float b) {
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b) ? 0 : 1 << 30;
    const auto place = [](float v) {
        const auto bits = std::bit_cast<int32_t>(v);
        return int64_t{bits < 0 ? INT32_MIN - bits : bits};
    };
    return std::abs(place(a) - place(b));
}

void expect_near(const char* name, double x, double y, double got, long double exact, double limit) {
    ASSERT_LE(error(got, exact), limit) << name << "(" << x << ", " << y << ") = " << got << " instead of "
                                        << static_cast<double>(exact);
    ASSERT_LE(float_steps(static_cast<float>(got), static_cast<float>(exact)), 1)
        << name << "(" << x << ", " << y << ")";
}

TEST(Elementary, FunctionsOfOneNumberAreExactToAUnit) {
    struct Row {
        const char* name;
        One ours;
        long double (*exact)(long double);
        double limit;
    };
    const Row rows[] = {{"exp", k7_exp, std::exp, 1},   {"log", k7_log, std::log, 1}, {"sin", k7_sin, std::sin, 2.5},
                        {"cos", k7_cos, std::cos, 2.5}, {"tan", k7_tan, std::tan, 5}, {"acos", k7_acos, std::acos, 1}};
    for (const Row& row : rows) {
        for (const double x : wide_numbers(1)) expect_near(row.name, x, 0, row.ours(x), row.exact(x), row.limit);
    }
}

TEST(Elementary, FunctionsOfTwoNumbersAreExactToAUnit) {
    struct Row {
        const char* name;
        Two ours;
        long double (*exact)(long double, long double);
        double limit, limit_per_power;  // the second is for each unit of the result's logarithm
    };
    const Row rows[] = {{"pow", k7_pow, std::pow, 1.2, 0.06},
                        {"pow_float", [](double x, double y) { return double{k7_pow_float(x, y)}; }, std::pow, 0, 0},
                        {"atan2", k7_atan2, std::atan2, 2, 0},
                        {"hypot", k7_hypot, std::hypot, 1.5, 0}};
    const std::vector<double> xs = wide_numbers(2), ys = wide_numbers(3);
    for (const Row& row : rows) {
        const auto check = [&row](double x, double y) {
            const long double exact = row.exact(x, y);
            const auto size = static_cast<double>(std::abs(std::log(std::abs(exact))));
            const double limit = row.limit + (size < 800 ? size * row.limit_per_power : 0);
            expect_near(row.name, x, y, row.ours(x, y), exact, row.limit > 0 ? limit : INF);
        };
        for (const double x : special_values())
            for (const double y : special_values()) check(x, y);
        for (std::size_t i = 0; i < xs.size(); ++i) check(xs[i], ys[i]), check(std::abs(xs[i]), ys[i]);
    }
}

TEST(Elementary, ZerosKeepTheirSign) {
    EXPECT_TRUE(std::signbit(k7_sin(-0.0)) && std::signbit(k7_tan(-0.0)) && std::signbit(k7_atan2(-0.0, 1.0)));
    EXPECT_TRUE(std::signbit(k7_pow(-0.0, 3.0)) && !std::signbit(k7_pow(-0.0, 2.0)));
    EXPECT_EQ(k7_pow(-0.0, -3.0), -INF);
    EXPECT_EQ(k7_atan2(-0.0, -0.0), -k7_acos(-1.0));
}

TEST(Elementary, VectorsHaveTheBitsOfSingleNumbers) {
    const std::vector<double> xs = wide_numbers(4), ys = wide_numbers(5);
    const std::size_t count = std::min(xs.size(), ys.size());
    for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
        set_cpu_level_limit(level);
        const ElementaryTable& table = elementary_table();
        const auto compare = [&](const char* name, ElementaryTable::Row row, auto single) {
            std::vector<double> got(count);
            row(xs.data(), ys.data(), got.data(), int(count));
            for (std::size_t i = 0; i < count; ++i) {
                const double value = single(xs[i], ys[i]);
                if (std::isnan(value) && std::isnan(got[i])) continue;
                ASSERT_EQ(std::bit_cast<uint64_t>(got[i]), std::bit_cast<uint64_t>(value))
                    << name << " " << xs[i] << " " << ys[i] << " level " << int(level);
            }
        };
        const auto of_x = [](One function) { return [function](double x, double) { return function(x); }; };
        compare("exp", table.exp, of_x(k7_exp));
        compare("log", table.log, of_x(k7_log));
        compare("sin", table.sin, of_x(k7_sin));
        compare("cos", table.cos, of_x(k7_cos));
        compare("tan", table.tan, of_x(k7_tan));
        compare("acos", table.acos, of_x(k7_acos));
        compare("pow", table.pow, Two{k7_pow});
        compare("atan2", table.atan2, Two{k7_atan2});
        compare("hypot", table.hypot, Two{k7_hypot});
    }
    set_cpu_level_limit(CpuLevel::avx512);
}

}  // namespace
