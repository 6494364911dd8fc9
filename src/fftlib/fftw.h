// Private to the library: FFTW in single precision (fftw.org, GPL), opened at run time where the user asks for it. The
// handful of its functions that we call are declared by us.
#pragma once

#include <cstddef>
#include <memory>

// The convolution of planes of one size. An object serves one thread at a time.
class FftwConvolution {
  public:
    // Whether the variable K7_USE_FFTW_WISDOM is set and FFTW can be opened. The first time it can, the wisdom file is
    // read; the first time it cannot, the trace log says so.
    static bool wanted();

    // Plans for planes of width x height, circular; null where they cannot be had.
    static std::unique_ptr<FftwConvolution> make(int width, int height, int threads);
    ~FftwConvolution();
    FftwConvolution(const FftwConvolution&) = delete;
    FftwConvolution& operator=(const FftwConvolution&) = delete;

    int width() const { return m_width; }
    int height() const { return m_height; }

    // The kernel, then each picture: write to plane(), rows without padding, and call.
    float* plane() { return m_plane; }
    void take_kernel();  // from plane()
    void convolve();     // plane() with the kernel, in place, normalised

  private:
    FftwConvolution(int width, int height) : m_width(width), m_height(height) {}
    std::size_t frequencies() const { return std::size_t(m_width / 2 + 1) * std::size_t(m_height); }

    int m_width, m_height;
    float* m_plane = nullptr;
    float (*m_spectrum)[2] = nullptr;
    float (*m_kernel)[2] = nullptr;
    void* m_forward = nullptr;
    void* m_inverse = nullptr;
};
