#include "effects/night/NightLook.h"

#include "imagelib/imagelib_blur.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "simdlib/cpu.h"

ImagePtr softened(const K7Image& source, bool soften, double softening) {
    ImagePtr work = make_image_uncleared(source.width, source.height, source.channels, source.sample_type);
    if (!work) return nullptr;
    image_copy_attributes(&source, work.get());
    const float radius = static_cast<float>(softening * 0.1) / source.unit_scale;
    if (!soften || !(radius > 0.0f)) {
        image_copy(&source, work.get());
    } else if (!image_gaussian_blur_to(&source, work.get(), radius, radius, -1)) {
        return nullptr;
    }
    return work;
}

void report_no_memory(const char* effect) { Trace(TRACE_ERROR, "%s: out of memory\n", effect); }
