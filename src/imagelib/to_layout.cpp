// Conversion to any layout, sizes included.
#include "imagelib/imagelib_resample.h"
#include "imagelib/samples.h"

bool image_to_layout(const K7Image* source, K7Image* destination, bool normalise, int scale_filter, int extra_mode) {
    if (!is_valid(source) || !is_valid(destination)) return false;
    if (image_same_layout(source, destination)) return image_copy(source, destination);
    if (source->width == destination->width && source->height == destination->height)
        return image_convert(source, destination, normalise, extra_mode);
    if (source->channels == destination->channels && source->sample_type == destination->sample_type)
        return image_scale(source, destination, scale_filter, false);
    const ImagePtr converted =
        make_image_uncleared(source->width, source->height, destination->channels, destination->sample_type);
    return converted && image_convert(source, converted.get(), normalise, extra_mode) &&
           image_scale(converted.get(), destination, scale_filter, false);
}
