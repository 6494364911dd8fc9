#include "effects/textures/PatchTex.h"

#include <algorithm>
#include <cmath>

#include "effects/textures/PatchShading.h"
#include "fftlib/fft_lattice.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_complete.h"
#include "imagelib/imagelib_distance.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr float BLACK = 0.02F;          // of a mask: grain in its black makes no hole
constexpr double REGULAR = 0.35;        // correlation from which on texture counts as repeating
constexpr double HARDLY_REGULAR = 0.1;  // where the user says that it does
constexpr int SMALLEST_PATCH = 8;
constexpr double CELLS_ACROSS = 8.0;  // of a patch, by which surroundings are compared

// Pixels of this image in so many of the full size.
int pixels(double size, double scale) { return static_cast<int>(std::clamp(size / scale, 0.0, 4096.0) + 0.5); }

bool mirrors_x(int choice) { return choice == PatchTexInfo::LeftRight || choice == PatchTexInfo::BothWays; }
bool mirrors_y(int choice) { return choice == PatchTexInfo::TopBottom || choice == PatchTexInfo::BothWays; }

QuiltBox limited(double left, double bottom, double right, double top, const K7Image& image) {
    const auto to_pixel = [](double v, int most) {
        return static_cast<int>(std::clamp(std::floor(v), 0.0, double(most)));
    };
    const int l = to_pixel(left, image.width - 1), b = to_pixel(bottom, image.height - 1);
    return {l, b, std::max(to_pixel(right + 0.999, image.width), l + 1),
            std::max(to_pixel(top + 0.999, image.height), b + 1)};
}

ImagePtr states(int width, int height, QuiltState state) {
    ImagePtr image = made(make_image_uncleared(width, height, 1, SAMPLE_U8));
    for (int y = 0; y < height; ++y)
        std::fill_n(image_row<std::uint8_t>(image.get(), y), width, static_cast<std::uint8_t>(state));
    return image;
}

}  // namespace

void PatchTex::PrepareOverlay() {
    sampleCross.visible = sampleWidget.visible = !Centre.ghosted() && !Width.ghosted();
    holeCross.visible = holeWidget.visible = !RadiusX.ghosted();
}

// ---- What is made anew --------------------------------------------------------------------------------------------

// False where nothing is.
bool PatchTex::findHole(Hole& hole) const {
    const K7Image& picture = *input.image;
    const bool guided_by_mask = GuideFrom.value == ByMaskClip && Guide.limited() > 0.0;
    if (Area.value == Everywhere || (Area.value == ByMask && (!matte.isConnected() || guided_by_mask))) return true;
    hole.weight = made(make_image_uncleared(picture.width, picture.height, 1, SAMPLE_F32));
    hole.box = {picture.width, picture.height, 0, 0};
    const double rx = std::max(RadiusX.limited() * 0.5 * picture.width, 0.25);
    const double ry = std::max(RadiusY.limited() * 0.5 * picture.width * double(picture.pixel_aspect), 0.25);
    for (int y = 0; y < picture.height; ++y) {
        const float* mask = image_row<float>(matte.image.get(), y);
        float* weight = image_row<float>(hole.weight.get(), y);
        for (int x = 0; x < picture.width; ++x) {
            float w = 0;
            if (Area.value == Ellipse) {
                const double u = (x + 0.5 - HoleCentre.x * picture.width) / rx,
                             v = (y + 0.5 - HoleCentre.y * picture.height) / ry;
                w = static_cast<float>(std::clamp(0.5 + (1.0 - std::sqrt(u * u + v * v)) * std::min(rx, ry), 0.0, 1.0));
            } else {
                w = luminance(mask + 4L * x);
                w = std::clamp((w - BLACK) / (1.0F - 2.0F * BLACK), 0.0F, 1.0F);
            }
            weight[x] = w = InvertMask.value ? 1.0F - w : w;
            if (!(w > 0.0F)) continue;
            hole.box.left = std::min(hole.box.left, x), hole.box.right = std::max(hole.box.right, x + 1);
            hole.box.bottom = std::min(hole.box.bottom, y), hole.box.top = std::max(hole.box.top, y + 1);
        }
    }
    return hole.box.left < hole.box.right;
}

QuiltBox PatchTex::sampleBox(const Hole& hole) const {
    const K7Image& picture = *input.image;
    const double w = picture.width, h = picture.height;
    if (Source.value == Rectangle) {
        const double half_w = Width.limited() * 0.5 * w, half_h = Height.limited() * 0.5 * h;
        return limited(Centre.x * w - half_w, Centre.y * h - half_h, Centre.x * w + half_w, Centre.y * h + half_h,
                       picture);
    }
    if (Source.value == Surroundings && hole.weight) {
        const double reach = std::max(Reach.limited() * w, 8.0), up = reach * double(picture.pixel_aspect);
        return limited(hole.box.left - reach, hole.box.bottom - up, hole.box.right + reach, hole.box.top + up, picture);
    }
    return {0, 0, picture.width, picture.height};
}

// ---- The task -----------------------------------------------------------------------------------------------------

// Sizes, and a sample that has room for a patch: patches become smaller until it has. False where there is none.
bool PatchTex::prepareTask(QuiltTask& task, const Hole& hole) const {
    const K7Image& picture = *input.image;
    const double scale = double{picture.unit_scale}, aspect = double{picture.pixel_aspect};
    const double overlap = Overlap.limited() * 0.01;
    task.from = sampleBox(hole);
    task.bond = Bond.value;
    task.straight = Seams.value == Straight;
    task.flip_x = mirrors_x(Flip.value), task.flip_y = mirrors_y(Flip.value);
    const auto turn = Renew.value > 0 ? static_cast<std::uint32_t>(std::floor(currentFrame / Renew.value)) : 0U;
    task.seed = static_cast<std::uint32_t>(Seed.value) + 104729U * turn;
    task.guide_weight = Guide.percent();
    for (double size = PatchSize.limited();; size *= 0.5) {
        task.patch_width = std::max(pixels(size / aspect, scale), 4);
        task.patch_height = std::max(pixels(size / Proportion.limited(), scale), 4);
        task.overlap_x = static_cast<int>(overlap * task.patch_width);
        task.overlap_y = static_cast<int>(overlap * task.patch_height);
        if (image_quilt_has_room(task)) break;
        if (size < SMALLEST_PATCH) return false;
    }
    if (Pattern.value == Irregular || task.straight || Flip.value != NoFlips || Guide.limited() > 0.0) return true;
    TextureLattice lattice;
    made(fft_texture_lattice(task.sample, task.from.left, task.from.bottom, task.from.right, task.from.top,
                             Pattern.value == Regular ? HARDLY_REGULAR : REGULAR, lattice));
    task.lattice.axes = lattice.axes;
    for (int i = 0; i < 2; ++i) task.lattice.x[i] = lattice.x[i], task.lattice.y[i] = lattice.y[i];
    return true;
}

ImagePtr PatchTex::guideFor(const QuiltTask& task) const {
    const bool from_mask = GuideFrom.value == ByMaskClip && matte.isConnected();
    ImagePtr guide =
        made(luminance_of(from_mask ? *matte.image : *input.image, task.canvas->width, task.canvas->height));
    if (Equalise.value) made(match_tones(*guide, *task.sample, task.from));
    return guide;
}

// False when the host wants an end.
bool PatchTex::quilt(QuiltTask& task) const {
    ImagePtr guide;
    if (Guide.limited() > 0.0) guide = guideFor(task);
    task.guide = guide.get();
    if (!madeUnlessAborted(image_quilt(task, stopRequested()))) return false;
    const K7Image& picture = *input.image;
    if (Shade.limited() > 0.0) {
        const bool from_mask = GuideFrom.value == ByMaskClip && matte.isConnected();
        const ImagePtr light =
            made(luminance_of(from_mask ? *matte.image : picture, task.canvas->width, task.canvas->height));
        const auto radius = 0.2F * static_cast<float>(std::min(task.patch_width, task.patch_height));
        made(shade_like(*task.canvas, *light, radius, radius, Shade.percent()));
    }
    const BrickLook look{.joint = static_cast<float>(Joint.limited()) / picture.unit_scale,
                         .aspect = picture.pixel_aspect,
                         .colour = {JointColour.red, JointColour.green, JointColour.blue},
                         .relief = Relief.percent(),
                         .variation = Variation.percent(),
                         .seed = task.seed,
                         .unit = 1.0F / picture.unit_scale};
    return !look.shows() || shade_bricks(*task.canvas, *task.state, quilt_grid(task), look, stopRequested());
}

// The hole goes on as its surroundings do. False where it can't, or the host wants an end.
bool PatchTex::complete(const QuiltTask& task) const {
    const K7Image& picture = *input.image;
    const ImagePtr flags = made(make_image_uncleared(picture.width, picture.height, 1, SAMPLE_U8));
    eachRow(picture.height, [&](int y) {
        std::uint8_t* to = image_row<std::uint8_t>(flags.get(), y);
        const std::uint8_t* state = image_row<std::uint8_t>(task.state, y);
        for (int x = 0; x < picture.width; ++x) {
            const bool given = x >= task.from.left && x < task.from.right && y >= task.from.bottom && y < task.from.top;
            to[x] = given ? 0 : COMPLETE_NO_SOURCE;
            if (state[x] == QUILT_EMPTY) to[x] = COMPLETE_HOLE;
            if (state[x] == QUILT_LOOSE) to[x] |= COMPLETE_LOOSE;
        }
    });
    const int cell = pixels(PatchSize.limited() / CELLS_ACROSS, double{picture.unit_scale});
    return image_complete({.picture = task.canvas, .flags = flags.get(), .cell = cell, .seed = task.seed},
                          stopRequested());
}

// ---- The picture --------------------------------------------------------------------------------------------------

void PatchTex::ProcessFrame() {
    const StageTimer timer("PatchTex (CPU)");
    const K7Image& picture = *input.image;
    Hole hole;
    if (!findHole(hole)) return;
    QuiltTask task;
    ImagePtr levelled, unusable, state, canvas;
    task.sample = &picture;
    if (hole.weight) {
        unusable = states(picture.width, picture.height, QUILT_FIXED);
        state = states(picture.width, picture.height, QUILT_FIXED);
        canvas = ImagePtr(made(image_duplicate(&picture)));
        ImagePtr distance;
        const float join = static_cast<float>(Join.limited()) / picture.unit_scale;
        if (join > 0.0F) {
            distance = made(make_image_uncleared(picture.width, picture.height, 1, SAMPLE_F32));
            if (!madeUnlessAborted(image_signed_distance(hole.weight.get(), 0, 1e-6F, distance.get(), stopRequested())))
                return;
        }
        for (int y = 0; y < picture.height; ++y)
            for (int x = 0; x < picture.width; ++x) {
                const bool empty = image_row<float>(hole.weight.get(), y)[x] > 0.0F;
                image_row<std::uint8_t>(unusable.get(), y)[x] = empty;
                image_row<std::uint8_t>(state.get(), y)[x] =
                    empty ? QUILT_EMPTY
                          : (distance && image_row<float>(distance.get(), y)[x] < join ? QUILT_LOOSE : QUILT_FIXED);
            }
        task.unusable = unusable.get();
    } else {
        // Of a picture with symmetry, the part that the others mirror.
        const int width = mirrors_x(Symmetry.value) ? (picture.width + 1) / 2 : picture.width;
        const int height = mirrors_y(Symmetry.value) ? (picture.height + 1) / 2 : picture.height;
        state = states(width, height, QUILT_EMPTY);
        canvas = made(make_image_uncleared(width, height, 4, SAMPLE_F32));
    }
    task.state = state.get(), task.canvas = canvas.get();
    if (!hole.weight && Source.value == Rectangle && EvenLight.limited() > 0.0 && !(Guide.limited() > 0.0)) {
        levelled = ImagePtr(made(image_duplicate(&picture)));
        const auto radius = static_cast<float>(0.5 * PatchSize.limited()) / picture.unit_scale;
        made(even_light(*levelled, sampleBox(hole), radius / picture.pixel_aspect, radius, EvenLight.percent()));
        task.sample = levelled.get();
        task.tone = 0.8F * EvenLight.percent();
    }
    if (!prepareTask(task, hole)) return;
    const bool whole = !task.straight && !(Guide.limited() > 0.0) && Flip.value == NoFlips && Source.value != Rectangle;
    if (hole.weight) task.tone = 1.0F;
    if (!(hole.weight && whole && complete(task)) && !quilt(task)) return;
    compose(*canvas, hole);
}

void PatchTex::compose(const K7Image& canvas, const Hole& hole) {
    const float mix = Mix.percent();
    const bool by_weight = hole.weight && !(Join.limited() > 0.0);
    eachRow(output.image->height, [&](int y) {
        const int source_y = y < canvas.height ? y : output.image->height - 1 - y;
        const float* from = image_row<float>(&canvas, source_y);
        float* to = image_row<float>(output.image.get(), y);
        for (int x = 0; x < output.image->width; ++x, to += 4) {
            const float* p = from + 4 * (x < canvas.width ? x : output.image->width - 1 - x);
            const float part = by_weight ? mix * image_row<float>(hole.weight.get(), y)[x] : mix;
            if (part >= 1.0F)
                std::copy_n(p, 4, to);
            else if (part > 0.0F)
                for (int c = 0; c < 4; ++c) to[c] += part * (p[c] - to[c]);
        }
    });
}
