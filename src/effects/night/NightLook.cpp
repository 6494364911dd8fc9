#include "effects/night/NightLook.h"

#include "Library2/Made.h"
#include "imagelib/imagelib_blur.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "simdlib/cpu.h"

ImagePtr softened(const K7Image& source, bool soften, double softening) {
    ImagePtr work = made(make_image_uncleared(source.width, source.height, source.channels, source.sample_type));
    image_copy_attributes(&source, work.get());
    const float radius = static_cast<float>(softening * 0.1) / source.unit_scale;
    if (!soften || !(radius > 0.0f))
        image_copy(&source, work.get());
    else
        made(image_gaussian_blur_to(&source, work.get(), radius, radius, -1));
    return work;
}
