// Rotation by three shears (Paeth, "A fast algorithm for general raster rotation", 1986). Quarter turns are taken out
// exactly first. The usual pictures go through all three shears in one sweep (shear_bands.cpp); of others the second
// and third shear run together, a row at a time, so only the first makes a whole picture.
#include <atomic>
#include <cmath>
#include <new>
#include <numbers>

#include "imagelib/imagelib_geometry.h"
#include "imagelib/imagelib_resample.h"
#include "imagelib/line_filter.h"
#include "imagelib/resample_edges.h"
#include "imagelib/shears.h"
#include "k7pi_baselib/portable_math.h"

namespace {

using namespace resample;

constexpr double SMALLEST_ANGLE = 0.001;  // degrees; less moves no pixel of a picture visibly
constexpr std::size_t STREAM_BYTES = std::size_t(8) << 20;

// 0 up to 360.
double reduced(double degrees) {
    const double rest = std::fmod(degrees, 360.0);
    return rest < 0 ? rest + 360 : rest;
}

// Whole quarter turns; `degrees` keeps the rest.
ImagePtr quarter_turns(const K7Image* image, double& degrees) {
    ImagePtr turned;
    if (degrees >= 270) {
        turned.reset(image_transposed_copy(image));
        if (turned) image_flip_horizontal(turned.get());
        degrees -= 270;
    } else if (degrees >= 180) {
        turned.reset(image_duplicate(image));
        if (turned) image_flip_vertical(turned.get());
        if (turned) image_flip_horizontal(turned.get());
        degrees -= 180;
    } else {
        turned.reset(image_transposed_copy(image));
        if (turned) image_flip_vertical(turned.get());
        degrees -= 90;
    }
    return turned;
}

// Pixels for an extent. A size has the same parity as the picture's own, so that a middle pixel stays one.
int pixels_for(double extent, int like) {
    constexpr double SLACK = 1.0 / 64;
    const int size = static_cast<int>(std::ceil(extent - SLACK));
    return size + ((size ^ like) & 1);
}

template <class T>
bool second_and_third_shear(const K7Image* sheared, K7Image* result, const Shears& shears,
                            const ImagelibKernel& kernel) {
    ColumnFilters columns;
    if (!make_column_filters(sheared->width, shears.column_shear, shears.second_offset, kernel, columns)) return false;
    const ResampleKernels& kernels = resample_kernels();
    const bool stream = std::size_t(result->row_bytes) * result->height >= STREAM_BYTES;
    std::atomic<bool> failed{false};
    for_rows(result->height, [&](int first, int last) {
        if (first > last) return;
        std::unique_ptr<T[]> line(new (std::nothrow) T[std::size_t(sheared->width) * sheared->channels]);
        if (!line) return failed.store(true);
        for (int y = first; y <= last; ++y) {
            filter_columns(sheared, columns, y, line.get(), kernel.edge_mode, kernels);
            filter_line(line.get(), sheared->width, image_row<T>(result, y), result->width, sheared->channels,
                        make_line_filter(shears.third_offset - y * shears.row_shear, kernel), kernel.edge_mode, kernels,
                        stream);
        }
    });
    return !failed;
}

bool shear_with_temporary(const K7Image* image, K7Image* result, const Shears& shears, const ImagelibKernel& kernel) {
    ImagePtr sheared = make_image_uncleared(shears.sheared_width, image->height, image->channels, image->sample_type);
    if (!sheared) return false;
    shear_row_pass(image, sheared.get(), shears.row_shear, shears.first_offset, &kernel);
    return with_sample_type(image->sample_type, [&](auto sample) {
        return second_and_third_shear<decltype(sample)>(sheared.get(), result, shears, kernel);
    });
}

ImagePtr turn(const K7Image* image, double degrees, const ImagelibKernel& kernel) {
    const Shears shears(image, degrees);
    ImagePtr result = make_image_uncleared(shears.width, shears.height, image->channels, image->sample_type);
    if (!result) return nullptr;
    const bool done = suits_bands(image, kernel) ? shear_in_bands(image, result.get(), shears, kernel)
                                                 : shear_with_temporary(image, result.get(), shears, kernel);
    if (!done) return nullptr;
    image_copy_attributes(image, result.get());
    image_set_pixel_size(result.get(), image->pixel_width, image->pixel_height, static_cast<int>(image->units));
    result->stats_valid = 0;
    return result;
}

}  // namespace

namespace resample {

Shears::Shears(const K7Image* image, double degrees) {
    const double a = degrees * (std::numbers::pi / 180);
    const double w = image->width, h = image->height;
    row_shear = k7_tan(a / 2);
    column_shear = -k7_sin(a);
    sheared_width = pixels_for(w + h * row_shear, image->width);
    const bool upright = degrees <= 45;
    width = pixels_for(w * k7_cos(a) + h * k7_sin(a), upright ? image->width : image->height);
    height = pixels_for(h * k7_cos(a) + w * k7_sin(a), upright ? image->height : image->width);
    first_offset = (w - sheared_width) / 2 + (h - 1) / 2 * row_shear;
    second_offset = (h - height) / 2 + (sheared_width - 1) / 2.0 * column_shear;
    third_offset = (sheared_width - width) / 2.0 + (height - 1) / 2.0 * row_shear;
}

}  // namespace resample

K7Image* image_rotate(const K7Image* image, float degrees, int filter, int edge) {
    if (!has_pixels(image) || !std::isfinite(degrees)) return nullptr;
    const ImagelibKernel kernel(filter, edge);
    if (!kernel.valid) return nullptr;
    double rest = reduced(degrees);
    if (rest < SMALLEST_ANGLE) return image_duplicate(image);
    ImagePtr turned;
    if (rest >= 90) {
        turned = quarter_turns(image, rest);
        if (!turned || rest < SMALLEST_ANGLE) return turned.release();
        image = turned.get();
    }
    return turn(image, rest, kernel).release();
}
