#include "effects/adjust/RemGrain.h"

#include <algorithm>

#include "effects/adjust/RemGrain_simd.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_colour.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "simdlib/cpu.h"

namespace {

constexpr float EDGE_BLUR = 3;       // pixels
constexpr float BLUR_UNIT = 0.025f;  // pixels
constexpr float SHARP_UNIT = 0.01f;

void find_edges(const K7Image& picture, K7Image& edges) {
    const RemGrainKernels& table = rem_grain_kernels();
    for_rows_float(picture.height, [&](int first, int last) {
        if (first > last) return;
        // A row of zeros for those beyond the picture, and two of scratch with zeros on both sides.
        const ImagePtr scratch = made(make_image(picture.width + 2 * GRAIN_REACH, 3, 4, SAMPLE_F32));
        for (int y = first; y <= last; ++y) {
            const float* rows[2 * GRAIN_REACH + 1];
            for (int k = -GRAIN_REACH; k <= GRAIN_REACH; ++k)
                rows[k + GRAIN_REACH] = y + k < 0 || y + k >= picture.height ? image_row<float>(scratch.get(), 0)
                                                                             : image_row<float>(&picture, y + k);
            table.edge_row(rows, 4L * picture.width, image_row<float>(scratch.get(), 1) + GRAIN_PAD,
                           image_row<float>(scratch.get(), 2) + GRAIN_PAD, image_row<float>(&edges, y));
        }
    });
}

// Blurred colours come back to the source where edges are strong.
void mix_edges(const GrainMix& mix, const K7Image& source, const K7Image& edges, K7Image& blurred) {
    const RemGrainKernels& table = rem_grain_kernels();
    for_rows_float(source.height, [&](int first, int last) {
        if (first > last) return;
        float* rows = image_row<float>(&blurred, first);
        table.mix_row(mix, rows, image_row<float>(&edges, first), image_row<float>(&source, first),
                      4L * source.width * (last - first + 1), rows);
    });
}

void paste(const K7Image& part, K7Image& picture, int left, int bottom) {
    for_rows_float(part.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            std::copy_n(image_row<float>(&part, y), 4 * part.width, image_row<float>(&picture, bottom + y) + 4 * left);
    });
}

int pixel_place(double fraction, int pixels) {
    const double place = fraction * pixels;
    return place > 0 ? place < pixels ? static_cast<int>(place) : pixels : 0;
}

}  // namespace

RemGrainInfo::RemGrainInfo() {
    ghost({&RonMx, &GonMx, &BonMx}, Mode, isOn);
    ghost({&RGBEx}, Mode, isOff);
    const auto ghostUnused = [this] {
        int seeing = 0, seen = 0;
        if (!Mode.GetValue(-1, &seeing) || !RGBEx.GetValue(-1, &seen)) return;
        for (const Channel& colour : colours) {
            int on = 0;
            if (!colour.on.GetValue(-1, &on)) return;
            const bool used = seeing ? &colour == colours + seen - 1 : on != 0;
            colour.blur.SetGhosted(!used);
            colour.sharp.SetGhosted(!used);
        }
    };
    rule(Mode, ghostUnused, "Blur and Sharp are greyed but for the colour shown when See Luminance is on");
    rule(RonMx, ghostUnused, "Red Blur and Red Sharp are greyed when Red is off");
    rule(GonMx, ghostUnused, "Green Blur and Green Sharp are greyed when Green is off");
    rule(BonMx, ghostUnused, "Blue Blur and Blue Sharp are greyed when Blue is off");
    rule(RGBEx, ghostUnused, "Luminance says which colour's Blur and Sharp stay open when See Luminance is on");
    ghost({&Point1, &Point2}, ROI, isOff);
    scene.inputs = {"seeding-small.png"};
    scene.settings = {{"RBlur", "100"}, {"GBlur", "100"}, {"BBlur", "100"}};
    scene.plates = {"portrait.jpg"};
}

void RemGrain::ProcessFrame() {
    const K7Image* source = input.image.get();
    K7Image* result = output.image.get();
    const StageTimer timer("RemGrain (CPU)");
    image_copy(source, result);
    const Box part = box(*source);
    if (part.width == 0 || part.height == 0) return;
    if (part.width == source->width && part.height == source->height) {
        clean(*source, *result);
    } else {
        const ImagePtr inside = made(make_image_uncleared(part.width, part.height, 4, SAMPLE_F32));
        image_copy_rect(source, inside.get(), part.left, part.bottom);
        image_copy_attributes(source, inside.get());
        const ImagePtr cleaned(made(image_duplicate(inside.get())));
        clean(*inside, *cleaned);
        paste(*cleaned, *result, part.left, part.bottom);
    }
}

// `picture` begins as a copy of the source.
void RemGrain::clean(const K7Image& source, K7Image& picture) const {
    const int shown = shownColours();
    const ImagePtr edges = made(make_image_uncleared(source.width, source.height, 4, SAMPLE_F32));
    find_edges(source, *edges);
    made(image_gaussian_blur(edges.get(), EDGE_BLUR, EDGE_BLUR, shown));
    blurColours(picture, shown);

    GrainMix mix{};
    for (int i = 0; i < 16; ++i) {
        const int c = i % 4;
        mix.sharp[i] = c < 3 ? static_cast<float>(colours[c].sharp.value) * SHARP_UNIT : 0;
        // A mix of a sample with itself would not keep its last bit.
        const bool blurred = c < 3 && colours[c].blur.value > 0, visible = c == 3 || shown >> c & 1;
        mix.mixed[i] = visible && blurred ? -1 : 0;
        mix.from_source[i] = visible && !blurred ? -1 : 0;
    }
    mix_edges(mix, source, *edges, picture);
    if (Mode.value) image_select_channel(&picture, &picture, RGBEx.value - 1);
}

RemGrain::Box RemGrain::box(const K7Image& picture) const {
    if (!ROI.value) return {0, 0, picture.width, picture.height};
    const int left = pixel_place(std::min(Point1.x, Point2.x), picture.width);
    const int bottom = pixel_place(std::min(Point1.y, Point2.y), picture.height);
    const int right = pixel_place(std::max(Point1.x, Point2.x), picture.width);
    const int top = pixel_place(std::max(Point1.y, Point2.y), picture.height);
    return {left, bottom, std::max(right - left, 0), std::max(top - bottom, 0)};
}

int RemGrain::shownColours() const {
    if (Mode.value) return 1 << (RGBEx.value - 1);
    int shown = 0;
    for (int c = 0; c < 3; ++c) shown |= colours[c].on.value << c;
    return shown;
}

// Colours of one radius at once.
void RemGrain::blurColours(K7Image& picture, int shown) const {
    for (int c = 0; c < 3; ++c) {
        int mask = 0;
        for (int k = c; k < 3; ++k)
            if (shown >> k & 1 && colours[k].blur.value == colours[c].blur.value) mask |= 1 << k;
        shown &= ~mask;
        const float radius = static_cast<float>(colours[c].blur.value) * BLUR_UNIT / picture.unit_scale;
        made(image_gaussian_blur(&picture, radius, radius, mask));
    }
}

// ---- Overlay --------------------------------------------------------------------------------------------------

void RemGrain::PrepareOverlay() { point1Widget.visible = point2Widget.visible = !Point1.ghosted(); }

// The box between the two positions.
void RemGrain::DrawMore(const OverlayPen& pen) {
    if (Point1.ghosted()) return;
    const Point a = view.place(Point1.overlayX, Point1.overlayY), c = view.place(Point2.overlayX, Point2.overlayY);
    const Point b{c.x, a.y}, d{a.x, c.y};
    pen.colour(OVERLAY_WHITE);
    pen.line(a, b);
    pen.line(b, c);
    pen.line(c, d);
    pen.line(d, a);
}
