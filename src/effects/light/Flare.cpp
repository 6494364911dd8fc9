#include "effects/light/Flare.h"

#include <algorithm>
#include <cmath>

#include "Library2/DeviceFrame.h"
#include "effects/light/Flare_cuda.h"
#include "fftlib/fftlib_cuda.h"
#include "imagelib/imagelib_blur.h"
#include "k7pi_baselib/k7pi_baselib.h"

FlareInfo::FlareInfo() {
    regionWidget.heightInHeights = matchedWidget.heightInHeights = true;
    ghost({&YScale}, Match, isOn);
    ghost({&LoLight, &ThinOut, &FattenMap}, Shape, isNot(Threshold));
    ghost({&MapBlur}, Shape, is(Spot));
    ghost({&HaloFrnStrn}, HaloFring, is(0));
    ghost({&Reflectivity, &ReflScale}, Reflections, is(0));
    ghost({&Brightness, &CompType, &Contrast, &Streaks, &MonoStreak, &StreakLen, &StreakRot, &StreakStrn, &GlowRad,
           &GlowStrn, &Aper, &HaloFring, &HaloStrn},
          LMap_On, isOn);
    scene.inputs = {"launch-small.png", "launch-small.png"};
    scene.settings = {{"Center", "0.3,0.08"}, {"XScale", "0.7"},    {"YScale", "0.4"},
                      {"LoLight", "0.9"},     {"Brightness", "22"}, {"StreakLen", "50"},
                      {"GlowRad", "33"},      {"Reflections", "5"}, {"Aper", "8"}};
    scene.look = {{"Center", "0.3,0.08"}, {"XScale", "0.7"},    {"YScale", "0.4"}, {"LoLight", "0.9"},
                  {"Brightness", "22"},   {"Reflections", "5"}, {"Aper", "8"}};
}

namespace {

// Pixels of the full size in rows of this one.
float rowsOf(double pixels, const K7Image& picture) {
    return static_cast<float>(pixels / static_cast<double>(picture.unit_scale));
}

// Rounded, with one pixel more at the top.
void roi_range(double centre, double half, int size, int& first, int& last) {
    const auto edge = [&](double place) {
        return static_cast<int>(std::clamp(std::floor(place + 0.5), -1.0, size + 1.0));
    };
    first = std::max(edge(centre - half), 0);
    last = std::min(edge(centre + half), size - 1);
}

}  // namespace

LightPlace Flare::place(const K7Image& picture) const {
    const double high = Match.value ? XScale.limited() : YScale.limited();
    return {Center.x * picture.width, Center.y * picture.height, picture.width * XScale.limited() * 0.5,
            picture.height * high * 0.5};
}

LightMap Flare::makeMap(const K7Image& picture) const {
    const StageTimer timer("Light map gen");
    LightMap map(picture.width, picture.height);
    K7Image* lights = lightMap.image.get();
    if (const float radius = rowsOf(MapBlur.limited() / 10.0, picture); radius > 0.0F)
        made(image_gaussian_blur(lights, radius / picture.pixel_aspect, radius, 7));
    const LightPlace where = place(picture);
    if (Shape.value == Spot) {
        add_spot(map, where);
    } else if (Shape.value == Area) {
        take_area(map, *lights, where);
    } else {
        PixelBox box{};
        roi_range(where.x, where.radius_x, picture.width, box.x0, box.x1);
        roi_range(where.y, where.radius_y, picture.height, box.y0, box.y1);
        const bool all = LoLight.limited() < 0.005;
        if (all) box = {0, 0, picture.width - 1, picture.height - 1};
        take_bright(map, *lights, box, all ? -1.0F : static_cast<float>(LoLight.limited()));
        if (ThinOut.limited() > 0.01) thin_out(map, box, ThinOut.limited() * 0.01, RandSeed.value);
        if (const float radius = rowsOf(FattenMap.limited() / 20.0, picture); FattenMap.limited() > 0.01)
            spread(map, radius / picture.pixel_aspect, radius);
    }
    map.tighten();
    if (!abortRequested())
        add_reflections(map, Reflections.value, ReflScale.limited() * 0.01, Reflectivity.limited() * 0.01);
    return map;
}

FlareKernel Flare::makeKernel(const K7Image& picture) const {
    constexpr double WIDEST_SLIT = 25.0, HALO_UNIT = 50.0, STREAK_UNIT = 0.05, GLOW_UNIT = 0.03;
    const double aspect = static_cast<double>(picture.pixel_aspect), shrink = static_cast<double>(picture.unit_scale);
    const double length = StreakLen.value / aspect / shrink;
    const int streaks = static_cast<int>(Streaks.limited());
    // Where the transforms' largest size leaves no room for all of the kernel, the halo ends sooner.
    double halo_reach = 0.0;
    const auto kernel_size = [&](int size) {
        const int wanted = std::max({size, static_cast<int>(2.0 * length), 1}), room = 2 * (FFT_MAX_SIZE - size);
        if (wanted <= room) return wanted;
        halo_reach = halo_reach > 0.0 ? std::min(halo_reach, room * 0.5) : std::max(room * 0.5, 1.0);
        return std::max(room, 1);
    };
    const int width = kernel_size(picture.width), height = kernel_size(picture.height);
    const FlareShape shape{.width = width,
                           .height = height,
                           .scale = std::max(double(picture.width), 2.0 * length),
                           .row_height = 1.0 / aspect,
                           .line_width = std::min(1.0 / shrink, 1.0),
                           .slit = std::min(WIDEST_SLIT, WIDEST_SLIT / (std::max(Aper.limited(), 2.0 * aspect) + 1.0)),
                           .halo_reach = halo_reach,
                           .halo_energy = HaloStrn.limited() / HALO_UNIT,
                           .spokes = HaloFring.value,
                           .spoke_contrast = HaloFrnStrn.limited() * 0.01,
                           .streaks = streaks,
                           .streak_length = length,
                           .streak_turn = StreakRot.limited() * (3.141592653589793 / 180.0),
                           .streak_energy = StreakStrn.limited() * STREAK_UNIT,
                           .streak_chroma = MonoStreak.limited() * 0.01,
                           .glow_radius = GlowRad.limited() / aspect / shrink,
                           .glow_energy = GlowStrn.limited() * GLOW_UNIT};
    MTRandom random(static_cast<std::uint32_t>(RandSeed.value));
    return make_flare_kernel(shape, random, stopRequested());
}

bool Flare::convolve(LightMap& map, const FlareKernel& kernel) const {
    const StageTimer timer("Convolve");
    const FFTBox lit{map.lit.x0, map.lit.y0, map.lit.x1, map.lit.y1};
    FFTConvolver convolver;
    convolver.set_multiprocess(fft_image_rows, nullptr);
    convolver.set_abort([](void* effect) { return static_cast<const Flare*>(effect)->abortRequested() != 0; },
                        const_cast<Flare*>(this));
    for (int c = 0; c < 3; ++c) {
        K7Image* const plane = map.planes[c].get();
        if (!madeUnlessAborted(convolver.convolve(plane, kernel.planes[c].get(), plane, &lit))) return false;
    }
    return true;
}

// Convolution and tone map in one stay on a device. False where there is none, or it would not be faster.
bool Flare::finishedOnDevice(const LightMap& map, const FlareKernel& kernel, const FlareTone& tone) {
    // Below 1 the power would bring out what transforms round in the dark, and theirs is not the processor's.
    if (tone.power < 1.0F) return false;
    constexpr double TONE = 1.0, TONE_WITH_POWER = 12.0;  // nanoseconds a pixel
    const K7Image& picture = *output.image;
    const double seconds =
        fft_processor_seconds(picture.width, picture.height, kernel.planes[0]->width, kernel.planes[0]->height,
                              {map.lit.x0, map.lit.y0, map.lit.x1, map.lit.y1});
    DeviceFrame* const device = deviceFor(3.0 * seconds * 1e9 / (double(picture.width) * picture.height) +
                                          (tone.power > 1.0F ? TONE_WITH_POWER : TONE));
    if (!device || !cuda_fft_available()) return false;
    const StageTimer timer("Flare (CUDA)");
    DeviceImage& result = device->picture(output);
    device->check("cuda_flare", cuda_flare(map, kernel, tone, result, result, device->stream()));
    return true;
}

void Flare::ProcessFrame() {
    K7Image* picture = output.image.get();
    if (std::max(picture->width, picture->height) > FFT_MAX_SIZE) {
        Trace(TRACE_ERROR, "Flare: pictures of more than %d pixels a side are left as they are.\n", FFT_MAX_SIZE);
        return;
    }
    LightMap map = makeMap(*picture);
    if (LMap_On.value) {
        eachRow(picture->height, [&](int y) {
            float* out = image_row<float>(picture, y);
            for (int x = 0; x < picture->width; ++x, out += 4)
                for (int c = 0; c < 3; ++c) out[c] = map.row(c, y)[x];
        });
        return;
    }
    if (map.lit.empty() || !(Brightness.limited() > 0.0) || abortRequested()) return;
    const FlareKernel kernel = makeKernel(*picture);
    if (abortRequested()) return;
    const FlareTone tone{.scale = static_cast<float>(1.0 / kernel.unit),
                         .power = static_cast<float>(Contrast.limited() * 0.01),
                         .gain = static_cast<float>(Brightness.limited() * 0.01 * 33.0),
                         .screen = CompType.value == Screens};
    if (finishedOnDevice(map, kernel, tone) || !convolve(map, kernel)) return;
    const StageTimer timer("Tone map");
    eachRow(picture->height, [&](int y) {
        flare_kernels().tone(tone, map.row(0, y), map.row(1, y), map.row(2, y), image_row<float>(picture, y),
                             picture->width);
    });
}

// ---- Overlay ----------------------------------------------------------------------------------------------------

void Flare::PrepareOverlay() {
    matchedWidget.visible = YScale.ghosted();
    regionWidget.visible = !YScale.ghosted();
}
