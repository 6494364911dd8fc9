// Linked into a bundle, this gives it the emulated device from the start.
#include "gpu/emulated_gpu.h"

namespace {
struct Use {
    Use() { gpu_set_runtime(&emulated_gpu()); }
} const s_use;
}  // namespace
