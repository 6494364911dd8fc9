// fftlib: discrete Fourier, sine and cosine transforms in single precision, and convolution with kernels of any size.
//
// Rules common to all functions:
// - Same bits. Results depend on the arguments only: not on the processor, its instruction set, the number of threads
//   or the system's libraries. (Two exceptions, see FFTConvolver: FFTW, which the user switches on, and CUDA devices.)
// - Refusals. Null pointers and sizes outside their range are answered with false, and nothing is changed. Nothing
//   throws but the constructor of FFTConvolver, without memory.
// - Threads. Work is spread through a row dispatcher in pieces of 16 or 32 rows (or columns) and returns when all is
//   done. Plans and tables are made once a size and kept for the process; any thread may ask for them.
// - Accuracy. The root mean square of the errors is below 5e-7 of the root mean square of the transform.
// - Not a number. The plain transforms are arithmetic: a NaN or an infinity spreads over all numbers of its plane; in
//   transforms of rows, over its row and the one that it is transformed with. `FFTConvolver::convolve` takes such
//   samples as 0. Samples so large that sums of theirs pass the range of a float spoil their channel and the one that
//   it is transformed with (red and green, blue and alpha).
//
// The engine is a mixed-radix transform (Cooley and Tukey, 1965) on groups of 16 rows or columns at a time; lengths
// with prime factors above 61 go through a convolution (Bluestein, 1970).
#pragma once

#include <memory>
#include <span>

#include "imagelib/imagelib.h"

// Aligned so that devices move it at once, as CUFFT does.
struct alignas(8) FFTComplex {
    float real, imaginary;
};

inline constexpr int FFT_MAX_SIZE = 8192;

// The length not below n that transforms fast: a product of 2, 3, 5 and 7 from 2 to 8192. 0 where there is none.
int fft_good_size(int n);

enum class FFTDirection {
    forward,  // the sum as it stands
    inverse,  // scaled, so that it undoes the forward transform
};

// ---- Sine and cosine transforms -----------------------------------------------------------------------------------
//
// In place, over `height` rows of `width` numbers; row y begins at data + y * pitch (pitch >= width). Widths and
// heights are 1 to 4096, of any factors; they are fastest where width + 1 (sine) or width (cosine) is a product of
// small primes. Planes of less than 40000 numbers are done in the calling thread, others through the image library's
// dispatcher for float pictures.

// Type 1, of functions that are 0 at both ends:
//     X(k) = sum over j of x(j) * sin(pi * (j + 1) * (k + 1) / (width + 1)),   j and k from 0 to width - 1.
// It is its own inverse up to a factor 2 / (width + 1), which `inverse` applies.
bool sine_transform_rows(float* data, int width, int height, int pitch, FFTDirection direction);
// Rows, then columns.
bool sine_transform_2d(float* data, int width, int height, int pitch, FFTDirection direction);

// Type 2, of functions whose slope is 0 at both ends, and its inverse (type 3, scaled):
//     X(k) = sum over j of x(j) * cos(pi * (j + 1/2) * k / width).
bool cosine_transform_rows(float* data, int width, int height, int pitch, FFTDirection direction);
bool cosine_transform_2d(float* data, int width, int height, int pitch, FFTDirection direction);

// ---- Fourier transforms and convolution ---------------------------------------------------------------------------

// How FFTConvolver picks its engine.
enum FFTOption : int {
    // The own engine; FFTW where the variable K7_USE_FFTW_WISDOM is set and it is installed; else a CUDA device where
    // there is one with CUFFT and it pays.
    FFT_AS_CONFIGURED = 0,
    FFT_OWN_ENGINE = 1,
};

enum FFTError : int {
    FFT_NO_ERROR = 0,
    FFT_BAD_ARGUMENT = 1,  // null, or pictures that do not go together
    FFT_BAD_SIZE = 2,
    FFT_NO_MEMORY = 3,
    FFT_ABORTED = 4,
    FFT_NO_PLAN = 10,
    FFT_DEVICE_FAILED = 11,  // a CUDA device; the trace log says at which step, and the result is as it was
};

struct FFTBox {  // of pixels, both ends inclusive
    int x0, y0, x1, y1;
};

// Two-dimensional transforms and convolutions. An object serves one thread at a time and keeps its work planes while
// their size stands.
//
// The variable K7_USE_FFTW_WISDOM (in the store of variables, or in the environment with any value) hands `convolve`
// over to FFTW in single precision, opened at run time, with the wisdom of the file "fftw3_wisdom_k7.dat" in the home
// directory. FFTW picks its code by the processor, so that its last bits differ between machines. Where it is not
// installed the trace log says so once and the own engine serves.
//
// Pictures of four channels are convolved on a CUDA device where that pays (fftlib_cuda.h), with the same results but
// for rounding. `convolve` is then to be called outside of row work.
class FFTConvolver {
  public:
    explicit FFTConvolver(int option = FFT_AS_CONFIGURED);
    virtual ~FFTConvolver();
    FFTConvolver(const FFTConvolver&) = delete;
    FFTConvolver& operator=(const FFTConvolver&) = delete;

    // Splits the rows of both passes; `fft_image_rows` is one that uses the image library's. Without one all work is
    // done in the calling thread.
    void set_multiprocess(RowDispatcher dispatcher, void* context);
    // Asked between pieces of work, from any of the dispatcher's threads. True ends the operation with false
    // (FFT_ABORTED); what was written of its result is of no use.
    void set_abort(bool (*requested)(void* context), void* context);
    // What results of forward_2d and inverse_2d are multiplied by; both are 1 at first.
    void set_scale(float forward, float inverse);

    // Each channel of `image` (float, 1 or 4 channels) with the same channel of `kernel`, or with its only one:
    //     result(x, y) = sum over u, v of kernel(u, v) * image(x - u + kw / 2, y - v + kh / 2)
    // for a kernel of kw x kh, halves rounded down, and 0 outside the picture. `result` has the image's layout and may
    // be the image. Samples that are not finite count as 0. Width plus half the kernel's (of what can reach a pixel)
    // must not exceed 8192, likewise in height. `lit`: pixels outside this box count as 0 and are not read; the smaller
    // it is, and the nearer to the middle, the faster. The same bits only with the same box.
    bool convolve(const K7Image* image, const K7Image* kernel, K7Image* result, const FFTBox* lit = nullptr);

    // Plain unnormalised transforms of a square of size * size numbers, size a power of two from 2 to 8192:
    //     out(k, l) = sum over x, y of in(x, y) * exp(-2 pi i (k x + l y) / size), row l, column k.
    // The inverse has +2 pi i and keeps the real part. Both are multiplied by their scale.
    bool forward_2d(const float* in, FFTComplex* out, int size);
    bool inverse_2d(const FFTComplex* data, float* out, int size);

    // Frequencies in the order of the transform: 0, 1, ... and, from size / 2 on, less `size`. Stands until the next
    // call with another size; empty for a size that is not positive or above 8192.
    std::span<const int> frequencies(int size);

    int error() const;  // FFTError of the last operation
    int width() const;  // of the picture last convolved or transformed, -1 before
    int height() const;
    int padded_width() const;  // of the planes it was transformed in, -1 before
    int padded_height() const;
    bool uses_fftw() const;

  private:
    struct State;
    std::unique_ptr<State> m_state;
};

// A dispatcher for `set_multiprocess` that hands rows to the image library's (context: null).
void fft_image_rows(void* context, RowWorker worker, int rows, void* job);

// ---- Colour as planes ---------------------------------------------------------------------------------------------
//
// Pictures of 3 or 4 channels of 8 bits, 16 bits or float, as four planes of width * height floats one after the other:
// luma, two colour differences with greys at about 0.5, and alpha, which is 1 where there are three channels. A pixel
// that is split and joined is the same to within 2e-6; integers are limited to their range and truncated, so that they
// may come out one lower.

bool fft_split_colours(const K7Image* picture, float* planes);
bool fft_join_colours(const float* planes, K7Image* picture);

// ---- Pictures that repeat -----------------------------------------------------------------------------------------
//
// A sum of square pictures that repeat beyond their edges, each filtered in its own way: one transform a picture and
// one back, however wide or many the filters are. A filter is the same along both axes, symmetric, and given as its
// gain for each wave; image_wrap_blur_gain gives those of blurs.
class FFTTileSum {
  public:
    // Squares of size * size numbers, 1 to 16384; all sizes do, products of small primes are fastest.
    explicit FFTTileSum(int size);
    ~FFTTileSum();
    FFTTileSum(const FFTTileSum&) = delete;
    FFTTileSum& operator=(const FFTTileSum&) = delete;

    // Adds `size` rows of `size` numbers. gains[k] multiplies waves of k periods across the picture, for k up to
    // size / 2, then the same vertically. Missing gains are 0: the fewer there are, the faster. False for null, too
    // many gains, a size out of range, or without memory; the sum is of no use then.
    bool add(const float* picture, std::span<const float> gains);
    // The sum, after which a new one begins.
    bool take(float* picture);

  private:
    struct State;
    std::unique_ptr<State> m_state;
};
