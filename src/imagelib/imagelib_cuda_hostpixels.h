// The edge between pictures of a host that lie on the device and float pictures beside them: imagelib_hostpixels.h for
// a host that keeps its pictures on the device. `data` points to the device's memory.
#pragma once

#include "imagelib/imagelib_cuda.h"
#include "imagelib/imagelib_hostpixels.h"

// Whether the two functions below take pixels of this depth that lie like this: samples begin at multiples of their
// size.
bool device_takes(const void* data, int depth, std::ptrdiff_t row_bytes);

// The picture that make_float_image makes of the same pixels. It is as large as `image`.
int cuda_place_host_pixels(const HostPixels& host, DeviceImage& image, GpuStream stream);

// What store_float_image writes.
int cuda_store_host_pixels(DeviceImage& image, const HostTarget& host, HostRect region, GpuStream stream);
