// Fourier transforms of planes in doubles, short rather than fast, for what stands in for CUFFT in tests.
#pragma once

#include <cmath>
#include <numbers>
#include <vector>

#include "fftlib/fftlib.h"
#include "gpulib/gpulib_runtime.h"

class PlainTransform {
  public:
    // sign: -1 forward, 1 inverse.
    PlainTransform(int length, int sign) : m_length(static_cast<std::size_t>(length)) {
        for (int k = 0; k < length; ++k) {
            const double angle = sign * 2 * std::numbers::pi * k / length;
            m_roots.push_back({std::cos(angle), std::sin(angle)});
        }
        m_in.resize(m_length), m_out.resize(m_length);
    }
    // A line whose numbers are `step` apart.
    void run(const FFTComplex* in, FFTComplex* out, std::size_t step) {
        for (std::size_t i = 0; i < m_length; ++i)
            m_in[i] = {double(in[i * step].real), double(in[i * step].imaginary)};
        part(m_in.data(), 1, m_out.data(), m_length);
        for (std::size_t i = 0; i < m_length; ++i) out[i * step] = {float(m_out[i].real), float(m_out[i].imaginary)};
    }

  private:
    struct Complex {
        double real = 0, imaginary = 0;
    };
    static void add(Complex& sum, const Complex& a, const Complex& b) {
        sum.real += a.real * b.real - a.imaginary * b.imaginary;
        sum.imaginary += a.real * b.imaginary + a.imaginary * b.real;
    }
    // Every step-th number of the line, n of them. Halves while it can (Cooley and Tukey), else the sum as it stands.
    void part(const Complex* in, std::size_t step, Complex* out, std::size_t n) const {
        if (n % 2) {
            for (std::size_t k = 0; k < n; ++k) {
                out[k] = {};
                for (std::size_t j = 0; j < n; ++j) add(out[k], in[j * step], m_roots[j * k % n * step]);
            }
            return;
        }
        part(in, 2 * step, out, n / 2);
        part(in + step, 2 * step, out + n / 2, n / 2);
        for (std::size_t k = 0; k < n / 2; ++k) {
            Complex turned;
            add(turned, out[k + n / 2], m_roots[k * step]);
            out[k + n / 2] = {out[k].real - turned.real, out[k].imaginary - turned.imaginary};
            out[k] = {out[k].real + turned.real, out[k].imaginary + turned.imaginary};
        }
    }

    std::size_t m_length;
    std::vector<Complex> m_roots, m_in, m_out;
};

// A kernel of one thread.
inline void plain_transform_2d(GpuPlace, FFTComplex* in, FFTComplex* out, int rows, int columns, int sign) {
    PlainTransform across(columns, sign), up(rows, sign);
    const auto width = static_cast<std::size_t>(columns);
    for (std::size_t y = 0; y < static_cast<std::size_t>(rows); ++y) across.run(in + y * width, out + y * width, 1);
    for (std::size_t x = 0; x < width; ++x) up.run(out + x, out + x, width);
}
