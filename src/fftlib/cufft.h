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
// tests: no CufftPlan may exist.
void cufft_set_functions(const CufftFunctions* functions);

// A plan, kept until a transform of its size is asked for again: making one takes milliseconds. It owns a work area on
// the device that its transforms fill, so that it serves one CufftPlan at a time, and the transforms of the next one
// come after those of the last.
struct KeptPlan {
    int plan = 0;  // 0: none
    int width = 0, height = 0;
    int device = -1, process = 0;
    GpuEvent event = nullptr;  // behind the last transform
    bool has_work = false;     // that may still be running; the event tells

    bool create();
    void destroy();  // waits for the transforms
};

// Unnormalised transforms of planes of one size, on a stream.
class CufftPlan {
  public:
    CufftPlan() = default;
    ~CufftPlan();  // the stream is still there; waits for nothing, unless the plan can't be kept
    CufftPlan(const CufftPlan&) = delete;
    CufftPlan& operator=(const CufftPlan&) = delete;

    bool make(int width, int height, GpuStream stream);                       // once
    bool transform(FFTComplex* in, FFTComplex* out, FFTDirection direction);  // `in` may be `out`, else stays

  private:
    bool put_aside();

    KeptPlan m_plan;
    GpuStream m_stream = nullptr;
};
