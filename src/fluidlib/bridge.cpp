// Fields from pictures, and pictures from fields.
#include "fluidlib/fluid_work.h"
#include "imagelib/imagelib_resample.h"

namespace {

// The sum of the three colours of a row of pixels, times factor.
template <class T>
void add_row(const T* pixels, int count, float factor, float offset, float* cells) {
    for (int x = 0; x < count; ++x) {
        const T* p = pixels + 4 * std::ptrdiff_t(x);
        const float sum = static_cast<float>(p[0]) + static_cast<float>(p[1]) + static_cast<float>(p[2]);
        cells[x] = finite_within(cells[x] + (sum * factor - offset), FLUID_MAX_VALUE);
    }
}

void add_picture_row(const K7Image* image, int y, float factor, float offset, float* cells) {
    switch (image->sample_type) {
        case SAMPLE_U8:
            return add_row(image_row<std::uint8_t>(image, y), image->width, factor, offset, cells);
        case SAMPLE_U16:
            return add_row(image_row<std::uint16_t>(image, y), image->width, factor, offset, cells);
        case SAMPLE_U32:
            return add_row(image_row<std::uint32_t>(image, y), image->width, factor, offset, cells);
        default:
            return add_row(image_row<float>(image, y), image->width, factor, offset, cells);
    }
}

}  // namespace

bool FluidFlow::load_field(const K7Image* image, int slot, float scale, bool centre) {
    ScalarField* to = field(slot);
    if (!to || !image || !image->pixels || image->channels != 4 || image_bytes_per_sample(image) < 0) return false;
    const float strength = finite_within(scale, 1e6F);
    const float factor = strength * 0.33333334F / image_full_value(image->sample_type);
    const float offset = centre ? 0.5F * strength : 0;
    const int first_cell = to->first();
    const FluidRows rows = executor();
    const auto cells = [&](int y) { return to->data.get() + to->index(first_cell, first_cell + y); };
    if (image->width == to->width && image->height == to->height) {
        const bool done = rows.for_rows(image->height, true, [&](int first, int last) {
            for (int y = first; y <= last; ++y) add_picture_row(image, y, factor, offset, cells(y));
        });
        to->set_boundary();
        return done;
    }
    // The sum first, then to the grid: a quarter of the work.
    const ImagePtr sums = make_image(image->width, image->height, 1, SAMPLE_F32);
    const ImagePtr scaled = make_image_uncleared(to->width, to->height, 1, SAMPLE_F32);
    if (!sums || !scaled) return false;
    const bool summed = rows.for_rows(image->height, true, [&](int first, int last) {
        for (int y = first; y <= last; ++y) add_picture_row(image, y, factor, offset, image_row<float>(sums.get(), y));
    });
    if (!summed || !image_scale(sums.get(), scaled.get(), KERNEL_TRIANGLE, false)) return false;
    for (int y = 0; y < to->height; ++y) {
        const float* row = image_row<float>(scaled.get(), y);
        for (int x = 0; x < to->width; ++x) cells(y)[x] = finite_within(cells(y)[x] + row[x], FLUID_MAX_VALUE);
    }
    to->set_boundary();
    return true;
}

bool FluidFlow::read_field(int slot, K7Image* image, float scale) const {
    const ScalarField* from = field(slot);
    if (!from || !image || !image->pixels || !(std::abs(scale) > 0)) return false;
    const int channels = image->channels, colours = channels > 3 ? 3 : channels;
    const ImagePtr values = make_image_uncleared(from->width, from->height, channels, SAMPLE_F32);
    if (!values) return false;
    const int first_cell = from->first();
    for (int y = 0; y < from->height; ++y) {
        const float* cells = from->data.get() + from->index(first_cell, first_cell + y);
        float* pixel = image_row<float>(values.get(), y);
        for (int x = 0; x < from->width; ++x, pixel += channels)
            for (int c = 0; c < channels; ++c) pixel[c] = c < colours ? cells[x] / scale : 1.0F;
    }
    return image_to_layout(values.get(), image, true, KERNEL_TRIANGLE, 0);
}
