#include "effects/night/NightLook.h"

#include "imagelib/imagelib_blur.h"
#include "k7pi_baselib/cpu.h"
#include "k7pi_baselib/k7pi_baselib.h"

bool is_night_picture(const K7Image* image) {
    return image && image->pixels && image->channels == 4 && image->sample_type == SAMPLE_F32;
}

bool same_night_size(const K7Image& a, const K7Image& b) { return a.width == b.width && a.height == b.height; }

ImagePtr softened(const K7Image& source, bool soften, double softening) {
    ImagePtr work = make_image_uncleared(source.width, source.height, source.channels, source.sample_type);
    if (!work) return nullptr;
    image_copy_attributes(&source, work.get());
    const float radius = narrowed(softening * 0.1) / source.unit_scale;
    if (!soften || !(radius > 0.0f)) {
        image_copy(&source, work.get());
    } else if (!image_gaussian_blur_to(&source, work.get(), radius, radius, -1)) {
        return nullptr;
    }
    return work;
}

ImagePtr fitted(const K7Image& source, const K7Image& layout) {
    ImagePtr work = make_image_uncleared(layout.width, layout.height, layout.channels, layout.sample_type);
    if (!work) return nullptr;
    image_copy_attributes(&layout, work.get());
    return image_to_layout(&source, work.get()) ? std::move(work) : nullptr;
}

void report_no_memory(const char* effect) { Trace(TRACE_ERROR, "%s: out of memory\n", effect); }
