#include "effects/trails/TrailStopMo.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/trails/TrailStopMo_simd.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_pyramid.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr float RED = 0.3F, GREEN = 0.5F, BLUE = 0.2F;
constexpr float SLIGHTEST = 0.001F;  // opacity of a copy that is seen

int frame_number(double frame) { return static_cast<int>(std::floor(frame + 0.5)); }

using Matrix = float[3][3];

// out = m * out
void multiply(const double (&m)[3][3], Matrix& out) {
    Matrix before;
    std::copy(&out[0][0], &out[0][0] + 9, &before[0][0]);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            out[i][j] = static_cast<float>(m[i][0] * double(before[0][j]) + m[i][1] * double(before[1][j]) +
                                           m[i][2] * double(before[2][j]));
}

// Turns about the grey axis (P. Haeberli, "Matrix Operations for Image Processing", 1993).
void turn_hue(double degrees, Matrix& colours) {
    if (degrees == 0.0) return;
    const double angle = degrees * 3.14159265358979323846 / 180.0, c = k7_cos(angle), s = k7_sin(angle);
    const double third = (1.0 - c) / 3.0, root = s * std::sqrt(1.0 / 3.0);
    const double turn[3][3] = {{c + third, third - root, third + root},
                               {third + root, c + third, third - root},
                               {third - root, third + root, c + third}};
    multiply(turn, colours);
}

// Each colour becomes share * itself + (1 - share) * luminance * target.
void mix_luminance(double share, const float (&target)[3], Matrix& colours) {
    const float weights[3] = {RED, GREEN, BLUE};
    double mix[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            mix[i][j] = (i == j ? share : 0.0) + (1.0 - share) * double(target[i]) * double(weights[j]);
    multiply(mix, colours);
}

}  // namespace

// ---- Declaration ----------------------------------------------------------------------------------------------

TrailStopMoInfo::TrailStopMoInfo() {
    ghost({&Dissolve}, Hold, isOff);
    ghost({&KeyLow, &KeyHigh}, Key, below(Difference));
    ghost({&Opacity, &Fade}, Mode, is(Average));
    declarePresets();
    scene.inputs = {"@flight"};
    scene.settings = {{"Copies", "5"}, {"HueShift", "25"}};
    scene.frame = 22;
}

// ---- Which frames ---------------------------------------------------------------------------------------------

struct TrailStopMo::Copy {
    int frame;
    int index;      // 0 is the newest, -1 the live frame
    int place;      // shifts it lies away; frames that will be on the other side where there are both
    float opacity;  // with what fading and dissolving leave of it
};

// From the oldest to the newest.
std::vector<TrailStopMo::Copy> TrailStopMo::copiesAt(const TrailStopMoInfo& from, int frame) {
    const int step = std::max(from.Step.value, 1), count = std::clamp(from.Copies.value, 1, 60);
    const bool hold = from.Hold.value;
    const int grid = static_cast<int>(std::floor(static_cast<double>(frame) / step)) * step;
    const double rise = from.Dissolve.percent() * static_cast<float>(step);
    const auto coming = static_cast<float>(hold && rise > 0.0 ? std::min((frame - grid + 1) / rise, 1.0) : 1.0);
    std::vector<Copy> copies;
    for (int i = count - 1; i >= 0; --i) {
        int distance = hold ? i : i + 1;
        switch (from.Direction.value) {
            case Ahead:  // held copies of the future stand ahead of the shot
                distance = -(i + 1);
                break;
            case Both:
                distance = i % 2 == 0 ? i / 2 + (hold ? 0 : 1) : -(i / 2 + 1);
                break;
            default:
                break;
        }
        const int place = from.Direction.value == Both ? -distance : i;
        Copy copy{(hold ? grid : frame) - distance * step, i, place, 1.0F};
        copy.opacity =
            from.Opacity.percent() * static_cast<float>(k7_pow(1.0 - double(from.Fade.percent()), double(i)));
        if (i == 0) copy.opacity *= coming;
        // The oldest of whole frames goes by being covered.
        const bool covered = from.Mode.value == Over && from.Key.value == WholeFrame;
        if (i == count - 1 && count > 1 && !covered) copy.opacity *= coming < 1.0F ? 1.0F - coming : 1.0F;
        if (copy.frame >= 0) copies.push_back(copy);
    }
    return copies;
}

void TrailStopMo::FramePrepare(TrailStopMoInfo& plan, const FrameSpan& frames) const {
    const int frame = frame_number(frames.current);
    std::vector<int> wanted = {frame};
    for (const Copy& copy : copiesAt(plan, frame)) wanted.push_back(copy.frame);
    // The frame itself first, then from the newest to the oldest: hosts are told of the range between the two ends.
    std::sort(wanted.begin() + 1, wanted.end(), std::greater<>());
    wanted.erase(std::unique(wanted.begin(), wanted.end()), wanted.end());
    for (const int one : wanted) plan.input.addFrame(one);
}

// ---- The picture ----------------------------------------------------------------------------------------------

// Makes a frame what of it is laid down.
void TrailStopMo::key(K7Image& picture) const {
    const float low = KeyLow.percent();
    const LayerKey look{Key.value, low, std::max(KeyHigh.percent(), low + 0.001F)};
    const K7Image& plate = *background.image;
    eachRow(picture.height, [&](int y) {
        layer_rows().key(look, image_row<float>(&plate, y), image_row<float>(&picture, y), picture.width);
    });
}

// A copy's frame, keyed, at its place, in its size and softness; null where the host does not give it.
ImagePtr TrailStopMo::pictureOf(const Copy& copy) {
    const K7Image& now = *input.image;
    ImagePtr picture = made(make_image_uncleared(now.width, now.height, 4, SAMPLE_F32));
    if (copy.frame == frame_number(currentFrame))
        made(image_copy(&now, picture.get()));
    else if (!input.GetFrame(copy.frame, picture.get()))
        return {};
    key(*picture);
    const auto i = static_cast<float>(copy.index);
    const float radius = Soften.percent() * i * static_cast<float>(now.width);
    if (radius > 0.0F) made(image_gaussian_blur(picture.get(), radius, radius * now.pixel_aspect, -1));
    const auto size = static_cast<float>(k7_pow(Zoom.limited() / 100.0, double(copy.index)));
    const auto away = static_cast<float>(copy.place);
    const float dx = ShiftX.percent() * away * static_cast<float>(now.width),
                dy = ShiftY.percent() * away * static_cast<float>(now.height);
    if (copy.index < 0 || (size == 1.0F && dx == 0.0F && dy == 0.0F)) return picture;
    ImagelibPyramid pyramid(picture.get(), KERNEL_BSPLINE, EDGE_BLACK, false, true);
    made(pyramid.valid() && pyramid.set_kernel(KERNEL_TRIANGLE, EDGE_BLACK));
    ImagePtr placed = made(make_image_uncleared(now.width, now.height, 4, SAMPLE_F32));
    const float cx = 0.5F * static_cast<float>(now.width - 1), cy = 0.5F * static_cast<float>(now.height - 1),
                shrunk = 1.0F / size;
    for_rows_float(now.height, [&](int first, int last) {
        std::vector<float> x(now.width), y(now.width), areas(now.width, std::max(shrunk * shrunk, 1.0F));
        for (int row = first; row <= last && !abortRequested(); ++row) {
            for (int column = 0; column < now.width; ++column) {
                x[std::size_t(column)] = cx + (static_cast<float>(column) - dx - cx) * shrunk;
                y[std::size_t(column)] = cy + (static_cast<float>(row) - dy - cy) * shrunk;
            }
            pyramid.sample_points(x.data(), y.data(), areas.data(), now.width, image_row<float>(placed.get(), row));
        }
    });
    return placed;
}

void TrailStopMo::lay(const K7Image& picture, const Copy& copy, float opacity) {
    LayerLook look{Mode.value == Average ? static_cast<int>(Over) : Mode.value, opacity, {}};
    for (int i = 0; i < 3; ++i) look.colours[i][i] = 1.0F;
    if (copy.index >= 0) {
        turn_hue(HueShift.limited() * copy.index, look.colours);
        const float grey[3] = {1, 1, 1};
        mix_luminance(k7_pow(Saturation.limited() / 100.0, double(copy.index)), grey, look.colours);
        const float age = static_cast<float>(copy.index) / static_cast<float>(std::max(Copies.value - 1, 1));
        const auto between = [&](float newest, float oldest) { return newest + age * (oldest - newest); };
        const float tint[3] = {between(NewColour.red, OldColour.red), between(NewColour.green, OldColour.green),
                               between(NewColour.blue, OldColour.blue)};
        mix_luminance(1.0 - double(TintAmount.percent()), tint, look.colours);
    }
    K7Image& result = *output.image;
    const K7Image& where = *matte.image;
    eachRow(result.height, [&](int y) {
        layer_rows().lay(look, image_row<float>(&picture, y), UseMatte.value ? image_row<float>(&where, y) : nullptr,
                         image_row<float>(&result, y), result.width);
    });
}

void TrailStopMo::ProcessFrame() {
    const StageTimer timer("TrailStopMo (CPU)");
    const int frame = frame_number(currentFrame);
    made(image_copy(background.image.get(), output.image.get()));
    float laid = 0.0F;  // pictures, for the mean
    const auto share = [&](float opacity) {
        laid += 1.0F;
        return Mode.value == Average ? 1.0F / laid : opacity;
    };
    const auto layLive = [&] {
        if (const ImagePtr picture = pictureOf({frame, -1, 0, 1.0F})) lay(*picture, {frame, -1, 0, 1.0F}, share(1.0F));
    };
    if (Live.value == Beneath) layLive();
    for (const Copy& copy : copiesAt(*this, frame)) {
        if (abortRequested()) return;
        if (Mode.value != Average && copy.opacity < SLIGHTEST) continue;
        if (const ImagePtr picture = pictureOf(copy)) lay(*picture, copy, share(copy.opacity));
    }
    if (Live.value == OnTop && !abortRequested()) layLive();
}
