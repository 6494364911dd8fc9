// A library with the GPU code in it, linked as the bundle is.
#include "gpulib/gpulib.h"

extern "C" [[gnu::visibility("default")]] int gpu_module_available() { return cuda_available(); }
