// Private to the library and its tests: CUFFT, opened at run time where it is installed. The handful of its functions
// that we call are declared by us.
#pragma once

#include "fftlib/fftlib.h"
#include "gpulib/gpulib_runtime.h"

// All answer 0 for success. A plan is a small number that is not 0.
struct CufftFunctions {
    int (*plan_2d)(int* plan, int rows, int columns, int kind);
    int (*set_stream)(int plan, GpuStream stream);
    int (*exec_c2c)(int plan, FFTComplex* in, FFTComplex* out, int direction);  // queues work
    int (*destroy)(int plan);
};
inline constexpr int CUFFT_COMPLEX = 0x29, CUFFT_FORWARD = -1, CUFFT_INVERSE = 1;

// Whether it can be opened. The first time it cannot, the trace log says so. Only to be asked where there is a device:
// the library is large.
bool cufft_available();
// Takes other functions, of which all may be null, as where the library is not installed; null: its own again. For
// tests: no plan may exist.
void cufft_set_functions(const CufftFunctions* functions);

// Unnormalised transforms of planes of one size, on a stream.
class CufftPlan {
  public:
    CufftPlan() = default;
    ~CufftPlan();  // waits for the stream: what is queued uses it
    CufftPlan(const CufftPlan&) = delete;
    CufftPlan& operator=(const CufftPlan&) = delete;

    bool make(int width, int height, GpuStream stream);                       // once
    bool transform(FFTComplex* in, FFTComplex* out, FFTDirection direction);  // `in` may be `out`, else stays

  private:
    GpuStream m_stream = nullptr;
    int m_plan = 0;
    bool m_made = false;
};
