// Pictures of the image library on a device.
#include "gpulib/gpulib.h"
#include "imagelib/imagelib_cuda.h"
#include "imagelib/samples.h"

HostPicture host_picture(const K7Image* image) {
    return {image->pixels, image->width, image->height, image->pixel_bytes,
            static_cast<std::ptrdiff_t>(image->row_bytes)};
}

bool image_pays_on_device(const K7Image* image, int images, double nanoseconds) {
    // A launch takes 65535 rows of blocks, which are 12 pixels high; some pictures lie transposed meanwhile.
    constexpr int LONGEST = 65535 * 12;
    if (!is_float_rgba(image) || image->width > LONGEST || image->height > LONGEST || !cuda_available()) return false;
    const double pixels = double(image->width) * image->height;
    return gpu_pays(static_cast<std::size_t>(pixels) * sizeof(GpuPixel) * static_cast<std::size_t>(images),
                    pixels * nanoseconds * 1e-9);
}
