// Flare on a CUDA device: the lights are convolved there and laid over the picture, in one stay.
//
// Answers are GpuSteps. After one that failed the picture holds nothing on the device, and its host's pixels are as
// they were.
#pragma once

#include "effects/light/FlareKernel.h"
#include "effects/light/Flare_simd.h"
#include "effects/light/LightMap.h"
#include "gpulib/gpulib_operation.h"

// The lights convolved with the kernel, toned, over `under`, into `picture` (which may be `under`). All have one size.
// The map must have lights. To be called where cuda_fft_available().
int cuda_flare(const LightMap& map, const FlareKernel& kernel, const FlareTone& tone, DeviceImage& under,
               DeviceImage& picture, GpuStream stream);

// Its last step, with the same bits as on the processor: planes of red, green and blue, one float a pixel.
int cuda_flare_tone(DeviceImage& red, DeviceImage& green, DeviceImage& blue, const FlareTone& tone, DeviceImage& under,
                    DeviceImage& picture, GpuStream stream);
