// gpulib: whether a CUDA device may be used, timers around its work, and sizes.
//
// Every GPU path asks cuda_available() and has a path on the processor beside it that makes the same picture to within
// float rounding. Without a usable device all works as if this library were not there. Nothing of the runtime is called
// before the first cuda_available(); where the variable CUDA_DISABLE says "yes", nothing ever. gpulib_image.h has
// images that live on both sides, gpulib_runtime.h the runtime's functions and launches.
//
// Variables (k7pi_baselib):
//   CUDA_DISABLE        "yes": no GPU use
//   CUDA_DEVICE_NUMBER  index of the device, 0 unless set; one that does not exist: no GPU use
//   CUDA_DEBUG_INFO     "yes": what is found out goes to the console too, with the device's properties
#pragma once

#include "gpulib/gpulib_runtime.h"

// Decided at the first call and kept for the life of the process; after a fork the child decides anew, because a device
// in use does not survive one. Any thread may call it, and must before it uses the device: the device is selected for
// the calling thread. A device that is lost, so that every call fails from then on, turns the answer to false for good.
bool cuda_available();

// When it ends, the thread has selected what it had before, whatever was selected meanwhile. For calls of a host, whose
// threads may work on a device of its own. Where nothing selects a device it calls nothing of the runtime.
class KeepsSelection {
  public:
    KeepsSelection();
    ~KeepsSelection();
    KeepsSelection(const KeepsSelection&) = delete;
    KeepsSelection& operator=(const KeepsSelection&) = delete;

    void remember();  // before the first selection: what is selected

  private:
    KeepsSelection* m_outer;
    GpuContext m_context = nullptr;
    bool m_asked = false, m_known = false, m_selected_before;
};

// While it lives, its thread works on the device that it has selected, which is the host's: cuda_available() selects no
// other one. For work on pictures that a host has on a device. The host may have selected a context of its own there.
class HostsDevice {
  public:
    HostsDevice();
    ~HostsDevice();
    HostsDevice(const HostsDevice&) = delete;
    HostsDevice& operator=(const HostsDevice&) = delete;

    bool usable() const { return m_usable; }  // cuda_available(), and what is selected is still what it was

  private:
    bool m_usable = false, m_was_hosts, m_was_private;
};

// Where asked to, cuda_available() answers false to its thread while it lives, and all work is done on the processor.
class WithoutDevice {
  public:
    explicit WithoutDevice(bool without);
    ~WithoutDevice();
    WithoutDevice(const WithoutDevice&) = delete;
    WithoutDevice& operator=(const WithoutDevice&) = delete;

  private:
    bool m_before;
};

// Whether there may be a device at all: this build has the runtime. Calls nothing of it.
bool cuda_built();

// What the decision is made by; tells the log why. Keeps nothing.
bool cuda_check(bool print_properties);

// 0 when the selected device runs a small kernel and computes what the processor does, 1 when not. A device that is
// older than all that we compile for is found out here.
int test_cuda_works();

// Of the device in use; all zero where cuda_available() is false.
const GpuDeviceProperties& cuda_device_properties();

// ---- Timers ---------------------------------------------------------------------------------------------------
//
// Two running sums over all threads: overhead (allocating, copying) and kernels. On while SetTiming is on; off, they
// cost nothing and answer 0. Each call waits for the device first, where one is in use, so that a span holds its work.
// A stop answers the milliseconds since its thread's last start.

void cuda_timer_overhead_start();
double cuda_timer_overhead_stop();
double cuda_timer_overhead_total();
void cuda_timer_kernel_start();
double cuda_timer_kernel_stop();
double cuda_timer_kernel_total();

// ---- Sizes ----------------------------------------------------------------------------------------------------

// Blocks of b that cover a. a is not negative, b positive.
constexpr int cuda_div_up(int a, int b) { return a / b + (a % b != 0); }

// An edge that transforms are quick at: the next power of two up to 1024, above that the next multiple of 512. With a
// device n is first rounded up to a multiple of half its warp size. n is limited to 1 ... 2^30.
int cuda_round_fft_size(int n);
