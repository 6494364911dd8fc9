// The CUDA device of this program as a device that effects render on.
#pragma once

#include <memory>

#include "host/core/device.h"

namespace quillon {

// Opened by its first queue, so that a process which has it can still fork. Its queues are null where cuda_available()
// says no.
std::shared_ptr<ofxhost::RenderDevice> cudaDevice();

// Throws RunError where there is none, telling whether it is the program or the machine that lacks it.
std::shared_ptr<ofxhost::RenderDevice> requireCudaDevice();

}  // namespace quillon
