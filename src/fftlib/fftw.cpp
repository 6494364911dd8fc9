#include "fftlib/fftw.h"

#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr char VARIABLE[] = "K7_USE_FFTW_WISDOM", WISDOM_FILE[] = "fftw3_wisdom_k7.dat";
constexpr unsigned ESTIMATE = 1U << 6;

using Complex = float[2];

struct Functions {
    void* (*plan_dft_r2c_2d)(int rows, int columns, float* in, Complex* out, unsigned flags);
    void* (*plan_dft_c2r_2d)(int rows, int columns, Complex* in, float* out, unsigned flags);
    void (*execute)(void* plan);
    void (*destroy_plan)(void* plan);
    void* (*malloc)(std::size_t bytes);
    void (*free)(void* memory);
    int (*import_wisdom_from_file)(std::FILE* file);
    int (*init_threads)();  // these two may be absent
    void (*plan_with_nthreads)(int threads);
};

std::mutex s_planner;  // FFTW's planner serves one thread at a time
Functions s_fftw;
enum class Opened { not_yet, yes, no } s_opened;

template <class Function>
bool find(Function& function, const char* name, const char* library) {
    function = reinterpret_cast<Function>(find_symbol(name, {library}));
    return function != nullptr;
}

bool open_functions() {
    constexpr char LIBRARY[] = "libfftw3f.so.3", THREADS[] = "libfftw3f_threads.so.3";
    Functions& f = s_fftw;
    if (!find(f.plan_dft_r2c_2d, "fftwf_plan_dft_r2c_2d", LIBRARY) ||
        !find(f.plan_dft_c2r_2d, "fftwf_plan_dft_c2r_2d", LIBRARY) || !find(f.execute, "fftwf_execute", LIBRARY) ||
        !find(f.destroy_plan, "fftwf_destroy_plan", LIBRARY) || !find(f.malloc, "fftwf_malloc", LIBRARY) ||
        !find(f.free, "fftwf_free", LIBRARY) ||
        !find(f.import_wisdom_from_file, "fftwf_import_wisdom_from_file", LIBRARY))
        return false;
    if (find(f.init_threads, "fftwf_init_threads", THREADS) &&
        find(f.plan_with_nthreads, "fftwf_plan_with_nthreads", THREADS))
        if (f.init_threads() == 0) f.plan_with_nthreads = nullptr;
    return true;
}

void read_wisdom() {
    const std::string path = path_join(get_standard_directory(DIRECTORY_HOME), WISDOM_FILE);
    std::FILE* file = std::fopen(path.c_str(), "r");
    if (!file) return;
    s_fftw.import_wisdom_from_file(file);
    std::fclose(file);
}

}  // namespace

bool FftwConvolution::wanted() {
    constexpr char ABSENT[] = "\n";  // any value counts, an empty one too
    if (read_variable(VARIABLE, ABSENT) == ABSENT) return false;
    std::lock_guard lock(s_planner);
    if (s_opened == Opened::not_yet) {
        s_opened = open_functions() ? Opened::yes : Opened::no;
        if (s_opened == Opened::yes)
            read_wisdom();
        else
            Trace(TRACE_WARN, "fftlib: %s is set, but libfftw3f.so.3 cannot be opened. Using the built-in transforms.",
                  VARIABLE);
    }
    return s_opened == Opened::yes;
}

std::unique_ptr<FftwConvolution> FftwConvolution::make(int width, int height, int threads) {
    std::unique_ptr<FftwConvolution> made(new (std::nothrow) FftwConvolution(width, height));
    if (!made) return nullptr;
    FftwConvolution& self = *made;
    self.m_plane = static_cast<float*>(s_fftw.malloc(sizeof(float) * std::size_t(width) * std::size_t(height)));
    self.m_spectrum = static_cast<Complex*>(s_fftw.malloc(sizeof(Complex) * self.frequencies()));
    self.m_kernel = static_cast<Complex*>(s_fftw.malloc(sizeof(Complex) * self.frequencies()));
    if (!self.m_plane || !self.m_spectrum || !self.m_kernel) return nullptr;
    std::lock_guard lock(s_planner);
    if (s_fftw.plan_with_nthreads) s_fftw.plan_with_nthreads(threads);
    self.m_forward = s_fftw.plan_dft_r2c_2d(height, width, self.m_plane, self.m_spectrum, ESTIMATE);
    self.m_inverse = s_fftw.plan_dft_c2r_2d(height, width, self.m_spectrum, self.m_plane, ESTIMATE);
    return self.m_forward && self.m_inverse ? std::move(made) : nullptr;
}

FftwConvolution::~FftwConvolution() {
    std::lock_guard lock(s_planner);
    for (void* plan : {m_forward, m_inverse})
        if (plan) s_fftw.destroy_plan(plan);
    for (void* memory : {static_cast<void*>(m_plane), static_cast<void*>(m_spectrum), static_cast<void*>(m_kernel)})
        s_fftw.free(memory);
}

void FftwConvolution::take_kernel() {
    s_fftw.execute(m_forward);
    std::memcpy(m_kernel, m_spectrum, sizeof(Complex) * frequencies());
}

void FftwConvolution::convolve() {
    s_fftw.execute(m_forward);
    const float scale = 1.0F / (static_cast<float>(m_width) * static_cast<float>(m_height));
    for (std::size_t i = 0; i < frequencies(); ++i) {
        const float real = m_spectrum[i][0] * scale, imaginary = m_spectrum[i][1] * scale;
        m_spectrum[i][0] = real * m_kernel[i][0] - imaginary * m_kernel[i][1];
        m_spectrum[i][1] = real * m_kernel[i][1] + imaginary * m_kernel[i][0];
    }
    s_fftw.execute(m_inverse);
}
