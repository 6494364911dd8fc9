// CUFFT without a device: transforms by their definition in doubles, queued on the runtime in use as its own would be.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <set>
#include <vector>

#include "fftlib/cufft.h"

// Installed while it lives; there is one at a time.
class FakeCufft {
  public:
    FakeCufft() {
        s_fake = this;
        static const CufftFunctions functions = {plan_2d, set_stream, exec_c2c, destroy};
        cufft_set_functions(&functions);
    }
    ~FakeCufft() {
        cufft_set_functions(nullptr);
        EXPECT_TRUE(m_plans.empty()) << "plans leak";
        s_fake = nullptr;
    }
    FakeCufft(const FakeCufft&) = delete;
    FakeCufft& operator=(const FakeCufft&) = delete;

    int failing = 0;  // the call with this number, counted from 1, fails
    int calls = 0, transforms = 0;
    int width = 0, height = 0;  // of the latest plan

  private:
    using Line = std::vector<std::complex<double>>;

    bool fails() { return ++calls == failing; }

    // Halves while it can (Cooley and Tukey), else the sum as it stands.
    static Line transformed(const Line& line, double sign) {
        const std::size_t n = line.size();
        Line out(n);
        const auto root = [&](std::size_t k) {
            return std::polar(1.0, sign * 2 * std::numbers::pi * double(k) / double(n));
        };
        if (n % 2) {
            for (std::size_t k = 0; k < n; ++k)
                for (std::size_t j = 0; j < n; ++j) out[k] += line[j] * root(j * k % n);
            return out;
        }
        Line even(n / 2), odd(n / 2);
        for (std::size_t j = 0; j < n / 2; ++j) even[j] = line[2 * j], odd[j] = line[2 * j + 1];
        even = transformed(even, sign), odd = transformed(odd, sign);
        for (std::size_t k = 0; k < n / 2; ++k) {
            const auto turned = odd[k] * root(k);
            out[k] = even[k] + turned, out[k + n / 2] = even[k] - turned;
        }
        return out;
    }

    static void transform_plane(GpuPlace, FFTComplex* in, FFTComplex* out, int rows, int columns, int direction) {
        std::vector<Line> lines;
        for (int y = 0; y < rows; ++y) {
            Line line;
            for (int x = 0; x < columns; ++x)
                line.emplace_back(in[y * columns + x].real, in[y * columns + x].imaginary);
            lines.push_back(transformed(line, direction));
        }
        for (int x = 0; x < columns; ++x) {
            Line column;
            for (const Line& line : lines) column.push_back(line[std::size_t(x)]);
            column = transformed(column, direction);
            for (int y = 0; y < rows; ++y)
                out[y * columns + x] = {float(column[std::size_t(y)].real()), float(column[std::size_t(y)].imag())};
        }
    }

    static int plan_2d(int* plan, int rows, int columns, int kind) {
        if (s_fake->fails()) return 2;
        EXPECT_EQ(kind, CUFFT_COMPLEX);
        s_fake->width = columns, s_fake->height = rows;
        *plan = ++s_fake->m_last;
        s_fake->m_plans.insert(*plan);
        return 0;
    }
    static int set_stream(int plan, GpuStream stream) {
        if (s_fake->fails()) return 1;
        EXPECT_TRUE(s_fake->m_plans.contains(plan));
        s_fake->m_stream = stream;
        return 0;
    }
    static int exec_c2c(int plan, FFTComplex* in, FFTComplex* out, int direction) {
        if (s_fake->fails()) return 6;
        EXPECT_TRUE(s_fake->m_plans.contains(plan));
        ++s_fake->transforms;
        return gpu_launch(gpu_kernel<transform_plane>(), {}, s_fake->m_stream, in, out, s_fake->height, s_fake->width,
                          direction);
    }
    static int destroy(int plan) {
        s_fake->m_plans.erase(plan);
        return 0;
    }

    static inline FakeCufft* s_fake = nullptr;
    std::set<int> m_plans;
    int m_last = 0;
    GpuStream m_stream = nullptr;
};
