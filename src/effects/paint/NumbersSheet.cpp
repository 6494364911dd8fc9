#include "effects/paint/NumbersSheet.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_guided.h"
#include "imagelib/imagelib_labelborders.h"

namespace {

constexpr int COLUMNS = 960;

// Lightness counts for so much less than Oklab has it when colours are chosen: a sheet needs hues more than shades.
constexpr float LIGHTNESS_WEIGHT = 0.5F;

// School paints, the most wanted ones first.
constexpr int BOX = 24;
constexpr float PAINT_BOX[BOX][3] = {
    {0.96F, 0.95F, 0.92F}, {0.12F, 0.12F, 0.14F}, {0.86F, 0.16F, 0.14F}, {0.15F, 0.35F, 0.72F}, {0.97F, 0.80F, 0.13F},
    {0.20F, 0.55F, 0.27F}, {0.50F, 0.30F, 0.17F}, {0.95F, 0.74F, 0.60F}, {0.93F, 0.49F, 0.13F}, {0.56F, 0.57F, 0.58F},
    {0.52F, 0.75F, 0.91F}, {0.07F, 0.28F, 0.20F}, {0.42F, 0.22F, 0.52F}, {0.80F, 0.62F, 0.32F}, {0.62F, 0.79F, 0.36F},
    {0.09F, 0.15F, 0.36F}, {0.93F, 0.50F, 0.62F}, {0.76F, 0.77F, 0.78F}, {0.55F, 0.10F, 0.16F}, {0.16F, 0.62F, 0.64F},
    {0.88F, 0.83F, 0.70F}, {0.32F, 0.33F, 0.36F}, {0.71F, 0.62F, 0.82F}, {0.44F, 0.44F, 0.20F}};

Palette box_of(int count) {
    struct Paint {
        float l, a, b;
    };
    std::vector<Paint> paints;
    for (int i = 0; i < std::min(count, BOX); ++i) {
        const float rgba[] = {PAINT_BOX[i][0], PAINT_BOX[i][1], PAINT_BOX[i][2], 1};
        float laba[4];
        oklab_from_rgb(rgba, laba, 1);
        paints.push_back({LIGHTNESS_WEIGHT * laba[0], laba[1], laba[2]});
    }
    std::stable_sort(paints.begin(), paints.end(), [](const Paint& p, const Paint& q) { return p.l < q.l; });
    Palette palette;
    for (const Paint& p : paints) {
        const int i = palette.count++;
        palette.l[i] = p.l, palette.a[i] = p.a, palette.b[i] = p.b;
    }
    return palette;
}

bool choose_paints(const K7Image& oklab, const NumbersSettings& settings, Palette& palette) {
    if (settings.paint_box) {
        palette = box_of(settings.colours);
        return true;
    }
    if (!image_steady_palette(&oklab, settings.colours, settings.seed, palette)) return false;
    if (palette.count == 0) palette.count = 1;  // nothing is to be seen: one black field
    return true;
}

void mix_paints(const Palette& palette, NumbersSheet& sheet) {
    sheet.paints = palette.count;
    for (int i = 0; i < palette.count; ++i) {
        const float laba[] = {palette.l[i] / LIGHTNESS_WEIGHT, palette.a[i], palette.b[i], 1};
        rgb_from_oklab(laba, sheet.paint[i], 1);
        sheet.lightness[i] = laba[0];
    }
}

void weigh_lightness(K7Image& oklab) {
    for_rows_float(oklab.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* p = image_row<float>(&oklab, y);
            for (int x = 0; x < oklab.width; ++x) p[4 * x] *= LIGHTNESS_WEIGHT;
        }
    });
}

LabelSmoothing rounding(const NumbersSettings& settings, const K7Image& raster, float row_height) {
    const float box = settings.smoothing * static_cast<float>(raster.width);
    const auto half = [](float pixels) {
        return std::clamp(static_cast<int>(std::floor(0.5F * pixels)), 1, LabelSmoothing::MOST_HALF);
    };
    return {.half_x = half(box), .half_y = half(box / row_height), .row_height = row_height};
}

}  // namespace

bool divide_into_fields(const K7Image& picture, const NumbersSettings& settings, NumbersSheet& sheet,
                        const StopRequested& stop) {
    sheet.factor = std::max(1, (picture.width + COLUMNS / 2) / COLUMNS);
    sheet.row_height = 1.0F / std::clamp(picture.pixel_aspect, 0.1F, 10.0F);
    const ImagePtr raster = image_shrunk(&picture, sheet.factor);
    if (!raster || !image_to_oklab(raster.get(), raster.get(), stop)) return false;
    const int width = raster->width, height = raster->height;
    const float columns = static_cast<float>(width);
    if (!image_guided_smooth(raster.get(), 0.009F * columns, sheet.row_height, 0.1F * settings.simplify, stop))
        return false;
    weigh_lightness(*raster);
    Palette palette;
    if (!choose_paints(*raster, settings, palette)) return false;
    mix_paints(palette, sheet);

    const ImagePtr nearest = make_image_uncleared(width, height, 1, SAMPLE_U32);
    ImagePtr labels = make_image_uncleared(width, height, 1, SAMPLE_U32);
    sheet.depth = make_image_uncleared(width, height, 1, SAMPLE_F32);
    if (!nearest || !labels || !sheet.depth) return false;
    const LabelSmoothing smoothing = rounding(settings, *raster, sheet.row_height);
    sheet.reach = smoothing.reach();
    const float side = settings.smallest_field * columns;
    if (!image_nearest_colours(raster.get(), palette, nearest.get(), stop) ||
        !image_smooth_labels(nearest.get(), smoothing, labels.get(), nullptr, stop) ||
        !image_merge_specks(labels.get(), static_cast<int>(side * side / sheet.row_height)) ||
        !image_smooth_labels(labels.get(), smoothing, nearest.get(), sheet.depth.get(), stop))
        return false;
    sheet.fields = std::move(labels);
    return image_regions(nearest.get(), sheet.fields.get(), sheet.found) &&
           image_region_poles(sheet.fields.get(), sheet.found, stop);
}
