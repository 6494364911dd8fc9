#include "effects/natural/FireBall.h"

#include <algorithm>
#include <cmath>

#include "effects/engines/sprites/Splats.h"
#include "imagelib/imagelib_arithmetic.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_curves.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/place_hash.h"

namespace {

constexpr int MOST_FRAMES = 20000;  // of a curve that are read
constexpr float FLAME_OLDEST = 1.02F;
constexpr int FLAME_OCTAVES = 5, SMOKE_OCTAVES = 4;
constexpr int COARSE = 2;  // pixels of the picture to one of smoke, each way
constexpr int BLOCK = 8;   // pixels of the glow's own, each way

float tallness_of(const K7Image& picture) {
    return static_cast<float>(picture.height) / (picture.pixel_aspect * static_cast<float>(picture.width));
}

}  // namespace

FireBallInfo::FireBallInfo() {
    declarePresets();
    ghost({&Start, &Finish, &ArcHeight, &StartAt, &Duration}, Motion, isNot(Arc));
    ghost({&Centre}, Motion, isNot(Handle));
    Motion.followedByOverlay = true;
    scene.inputs = {"winter-small.png"};
    scene.settings = {{"Start", "0.3,0.72"}, {"Finish", "0.8,0.4"}, {"Radius", "0.11"}};
    scene.plates = {"street.jpg"};
    scene.look = {{"Start", "0.2,0.7"}, {"Finish", "0.9,0.4"}};
    scene.frame = 30;
}

void FireBall::PrepareOverlay() {
    arcWidget.visible = startRadiusWidget.visible = Motion.overlayValue == Arc;
    centreWidget.visible = radiusWidget.visible = !arcWidget.visible;
}

FireBall::Frame FireBall::frame() const {
    const K7Image& p = *output.image;
    return {currentFrame,
            static_cast<float>(p.width),
            p.pixel_aspect,
            tallness_of(p),
            static_cast<float>(std::max(Radius.limited(), 1e-3) * 0.5),
            static_cast<std::uint32_t>(Seed.value),
            static_cast<float>(std::fmod(currentFrame * 0.02 * double(Churn.percent()), 65536.0))};
}

// ---- The way --------------------------------------------------------------------------------------------------

FireSource FireBall::sourceAt(int at, double tallness) const {
    const double time = renderContext.time + (at - currentFrame) * timeOfFrame;
    double radius = Radius.value;
    Radius.GetValue(time, &radius);
    radius = std::clamp(radius, 1e-3, 4.0) * 0.5;
    if (Motion.value == Handle) {
        double x = Centre.x, y = Centre.y;
        if (Centre.GetValue(time, &x, &y)) x *= renderContext.xFactor;
        return {std::clamp(x, -100.0, 100.0), std::clamp(y, -100.0, 100.0) * tallness, radius};
    }
    const double t = std::clamp((at - StartAt.value) / std::max(double(Duration.value), 1.0), -20.0, 20.0);
    const double height = std::clamp(double(ArcHeight.percent()), -1.0, 1.0);
    const auto between = [t](double from, double to) { return std::clamp(from + t * (to - from), -100.0, 100.0); };
    return {between(Start.x, Finish.x), (between(Start.y, Finish.y)) * tallness + 4 * height * t * (1 - t), radius};
}

FirePath FireBall::path(double tallness) const {
    const double oldest = TailTime.limited() * (1 + SmokeTime.limited()) + EmberLife.limited();
    const double now = std::clamp(currentFrame, -2e9, 2e9);
    const double first = std::floor(now - oldest) - 2, last = std::ceil(now) + 2;
    // From or up to frame 0, too, from which gas is counted.
    const double begin = std::max(std::min(0.0, first), last - double(MOST_FRAMES));
    const double end = std::max(last, std::min(0.0, begin + double(MOST_FRAMES)));
    // What leaves a ball that stands goes as fast as wind and heat take it, in widths of the tail, or else by itself.
    const double width = 0.5 + 0.5 * double(EndWidth.percent()), life = std::max(TailTime.limited(), 1.0);
    const double taken = k7_hypot(Wind.limited(), Rise.limited()) * 0.01 / std::max(width, 0.4);
    const double spreads = std::fabs(double(EndWidth.percent()) - 1) * 0.5 * Radius.limited() / life;
    const double flow = taken + spreads + 0.01 * double(Churn.percent()) * 0.5 * Radius.limited();
    return {static_cast<int>(begin), static_cast<int>(end), flow, [&](int at) { return sourceAt(at, tallness); }};
}

FireWind FireBall::wind() const {
    const K7SineCosine turn = k7_sine_cosine(WindAngle.value * (3.14159265358979 / 180));
    const double speed = Wind.limited() * 0.01;
    const double life = std::max(TailTime.limited(), 1.0);
    return {.x = speed * turn.cosine,
            .y = speed * turn.sine,
            .rise = Rise.limited() * 0.01,
            .momentum = double(Momentum.percent()),
            .slow_down = 0.25 * life,
            .life = life,
            .oldest = Smoke.value > 0 ? 1 + SmokeTime.limited() : 1.03,
            .end_width = double(EndWidth.percent()),
            .smoke_grow = double(SmokeWidth.percent())};
}

// ---- Fire -----------------------------------------------------------------------------------------------------

FireBall::Colour FireBall::colourOf(const ColourControlK7& control) {
    const auto limited = [](float sample) { return std::clamp(sample, 0.0F, 100.0F); };
    return {limited(control.red), limited(control.green), limited(control.blue)};
}

FireLook FireBall::look() const {
    return {
        .turbulence = 1.1F * Turbulence.percent(),
        .break_up = 0.5F * BreakUp.percent(),
        .softness = Softness.percent(),
        .cooling = Cooling.percent(),
        .core = Core.percent(),
        .core_reach = 1 / std::max(CoreSize.percent(), 0.05F),
        .contrast = Contrast.percent(),
        .brightness = 15 * Brightness.percent(),
        .opacity = 4 * Opacity.percent(),
        .flame = {FlameColour.red, FlameColour.green, FlameColour.blue},
        .edge = {EdgeColour.red, EdgeColour.green, EdgeColour.blue},
    };
}

// The pixels that a grid covers, of which one stands for `coarseness` of the picture, each way.
FireBall::Layer FireBall::layerOver(const Frame& f, const FireGrid& grid, const K7Image& picture, int coarseness,
                                    int channels) {
    const float pixels = f.width / static_cast<float>(coarseness);
    const int wide = (picture.width + coarseness - 1) / coarseness,
              high = (picture.height + coarseness - 1) / coarseness;
    const auto pixel = [](float place, int most) { return std::clamp(static_cast<int>(std::floor(place)), 0, most); };
    Layer layer{pixel(grid.left * pixels, wide), pixel(grid.bottom * pixels * f.aspect, high), nullptr};
    const int right = pixel(grid.right * pixels + 1, wide), top = pixel(grid.top * pixels * f.aspect + 1, high);
    if (right > layer.left && top > layer.bottom)
        layer.image = made(make_image(right - layer.left, top - layer.bottom, channels, SAMPLE_F32));
    return layer;
}

// Rows of noise that travels with the gas.
struct FireBall::Noise {
    Noise(const FireBall& effect, const Frame& f, const FireGrid& grid, std::uint32_t seed, float ridge_, int octaves_)
        : noise(f.seed * 7919U + seed),
          grid_(grid),
          frame(f),
          scale(1 / std::max(effect.Size.percent(), 0.05F)),
          along(scale / std::max(static_cast<float>(effect.Stretch.limited()), 0.1F)),
          curl(1.6F * effect.Curl.percent()),
          falling(0.3F + 0.45F * effect.Detail.percent()),
          ridge(ridge_),
          octaves(octaves_) {}

    // What is above a row of a layer: work(pixels of the row from `first`, count, fields and sum of noise). Only where
    // there is gas no older than `oldest`.
    template <class Work>
    void rows(const Layer& layer, int coarseness, float oldest, const StopRequested& stop, const Work& work) const {
        const K7Image& image = *layer.image;
        const int columns = image.width;
        const FireGridView cells = grid_.view();
        const auto coarse = static_cast<float>(coarseness);
        const auto place = [&](int pixel) { return (static_cast<float>(pixel) + 0.5F) * coarse - 0.5F; };
        for_rows_float(image.height, [&](int first, int last) {
            if (first > last) return;
            const int stride = fire_stride(columns);
            std::vector<float> memory(std::size_t(stride) * (FIRE_FIELDS + 5));
            FireRow row{};
            float* part = memory.data();
            for (float*& field : row.field) field = part, part += stride;
            for (float** each : {&row.u, &row.v, &row.w, &row.noise, &row.sum}) *each = part, part += stride;
            for (int y = first; y <= last && !wants_end(stop); ++y) {
                const float height = frame.y_of(place(y + layer.bottom));
                const float up = (height - grid_.bottom) * cells.cells_a_width;
                const FireGrid::Span span = grid_.span(std::clamp(static_cast<int>(up), 0, cells.height - 1), oldest);
                const auto column = [&](int cell) {
                    const float x = grid_.left + static_cast<float>(cell) / cells.cells_a_width;
                    return std::clamp(static_cast<int>(std::floor(x * frame.width / coarse)) - layer.left, 0, columns);
                };
                const int from = column(span.first), count = span.first < span.last ? column(span.last) - from : 0;
                if (count <= 0) continue;
                fire_kernels().read(cells, frame.x_of(place(from + layer.left)), coarse / frame.width, height, count,
                                    row);
                fill(row, count);
                work(row, y, from, count);
            }
        });
    }

    void fill(const FireRow& row, int count) const {
        const FireKernels& kernels = fire_kernels();
        kernels.begin(scale, along, frame.change, count, row);
        float amount = 0.62F;
        for (int i = 0; i < octaves; ++i, amount *= falling) {
            noise.noise_row(row.u, row.v, row.w, row.noise, count);
            // Octaves glide along the gas at different speeds, which changes their sum.
            const float slide = frame.change * (0.7F + 0.2F * static_cast<float>(i));
            kernels.octave({amount, ridge, 2.07F, curl, slide}, count, row);
        }
    }

    SolidNoise noise;
    const FireGrid& grid_;
    const Frame& frame;
    float scale, along, curl, falling, ridge;
    int octaves;
};

FireBall::Layer FireBall::burn(const Frame& f, const FireGrid& grid) const {
    Layer fire = layerOver(f, grid, *output.image, 1, 4);
    if (!fire.image) return fire;
    const FireLook how = look();
    const Noise noise(*this, f, grid, 11, Filaments.percent(), FLAME_OCTAVES);
    noise.rows(fire, 1, FLAME_OLDEST, stopRequested(), [&](FireRow& row, int y, int first, int count) {
        row.pixels = image_row<float>(fire.image.get(), y) + 4L * first;
        fire_kernels().shade(how, count, row);
    });
    return fire;
}

// Smoke is seen by light from above, and by the fire's.
FireBall::Layer FireBall::smokeOf(const Frame& f, const FireGrid& grid, const K7Image& glow) const {
    const Layer density = layerOver(f, grid, *output.image, COARSE, 1);
    Layer smoke{density.left, density.bottom, nullptr};
    if (!density.image) return smoke;
    const auto last = static_cast<float>(1 + SmokeTime.limited());
    const FireSmoke how{last, 0.5F + 0.5F * Turbulence.percent(), Smoke.percent()};
    const Noise noise(*this, f, grid, 23, 0, SMOKE_OCTAVES);
    noise.rows(density, COARSE, last, stopRequested(), [&](FireRow& row, int y, int first, int count) {
        fire_kernels().thicken(how, count, row, image_row<float>(density.image.get(), y) + first);
    });
    const int width = density.image->width, height = density.image->height;
    smoke.image = made(make_image(width, height, 4, SAMPLE_F32));
    const int above = std::max(1, static_cast<int>(0.12F * f.radius * f.width / COARSE));
    const Colour colour = colourOf(SmokeColour);
    each_row_float(height, [&](int y) {
        const float* here = image_row<float>(density.image.get(), y);
        const float* over = image_row<float>(density.image.get(), std::min(y + above, height - 1));
        float* pixel = image_row<float>(smoke.image.get(), y);
        const int j = std::min((y + smoke.bottom) * COARSE / BLOCK + 1, int(glow.height) - 1);
        for (int x = 0; x < width; ++x, pixel += 4) {
            if (!(here[x] > 0)) continue;
            const float shade = std::clamp(1 + 2.2F * (here[x] - over[x]), 0.35F, 1.9F);
            const float* lit = image_row<float>(&glow, j) + 4L * ((x + smoke.left) * COARSE / BLOCK + 1);
            for (int c = 0; c < 3; ++c)
                pixel[c] = here[x] * (colour[std::size_t(c)] * shade + std::min(0.5F * lit[c], 0.6F));
            pixel[3] = here[x];
        }
    });
    return smoke;
}

// What moves with the ball is blurred by as far as it goes while the shutter is open; older gas stays sharp.
void FireBall::smear(const Frame& f, const FirePath& path, Layer& fire) const {
    if (!fire.image) return;
    const FirePath::Moment ball = path.at(f.now);
    const double open = double(Shutter.percent());
    const auto dx = static_cast<float>(ball.vx * open * double(f.width));
    const auto dy = static_cast<float>(ball.vy * open * double(f.width * f.aspect));
    const float length = std::sqrt(dx * dx + dy * dy);
    if (!(length > 0.7F) || length > 4 * f.width) return;
    const int taps = static_cast<int>(std::clamp(std::ceil(length / 2.0F) + 1, 3.0F, 48.0F));
    const float speed = static_cast<float>(k7_hypot(ball.vx, ball.vy));
    const auto ahead_x = static_cast<float>(ball.vx) / speed, ahead_y = static_cast<float>(ball.vy) / speed;
    const auto radius = static_cast<float>(ball.radius);
    // What moves lies in a rectangle along the way.
    const float trailing = 3 * radius + length / f.width, leading = 2 * radius + length / f.width, wide = 2.5F * radius;
    const K7Image& image = *fire.image;
    const auto pixel = [](float place, int most) { return std::clamp(static_cast<int>(place), 0, most); };
    const auto x = static_cast<float>(ball.x), y = static_cast<float>(ball.y);
    const auto column = [&](float place) {
        return pixel(place * f.width - static_cast<float>(fire.left), image.width);
    };
    const auto line = [&](float place) {
        return pixel(place * f.width * f.aspect - static_cast<float>(fire.bottom), image.height);
    };
    const auto back = [&](float ahead) { return std::max(ahead * trailing, -ahead * leading); };
    const float wide_x = wide * std::fabs(ahead_y), wide_y = wide * std::fabs(ahead_x);
    const int left = column(x - back(ahead_x) - wide_x), right = column(x + back(-ahead_x) + wide_x);
    const int bottom = line(y - back(ahead_y) - wide_y), top = line(y + back(-ahead_y) + wide_y);
    const int columns = right - left;
    if (columns <= 0 || top <= bottom) return;
    const ImagePtr blurred = made(make_image_uncleared(columns, top - bottom, 4, SAMPLE_F32));
    const FirePixels from{image_row<float>(&image, 0),
                          image_row<float>(&image, 1 % image.height) - image_row<float>(&image, 0), image.width,
                          image.height};
    for_rows_float(blurred->height, [&](int first, int last) {
        std::vector<float> weights(static_cast<std::size_t>(columns));
        for (int j = first; j <= last; ++j) {
            const float up = f.y_of(static_cast<float>(j + bottom + fire.bottom)) - y;
            for (int i = 0; i < columns; ++i) {
                const float along = f.x_of(static_cast<float>(i + left + fire.left)) - x;
                const float ahead = along * ahead_x + up * ahead_y, aside = along * ahead_y - up * ahead_x;
                weights[static_cast<std::size_t>(i)] = smooth_step(ahead, -trailing, -0.5F * radius) *
                                                       (ahead < leading ? 1.0F : 0.0F) *
                                                       (1 - smooth_step(std::fabs(aside), radius, wide));
            }
            fire_kernels().smear(from, j + bottom, left, columns, weights.data(), dx, dy, taps,
                                 image_row<float>(blurred.get(), j));
        }
    });
    each_row_float(blurred->height, [&](int j) {
        std::copy_n(image_row<float>(blurred.get(), j), 4L * columns,
                    image_row<float>(fire.image.get(), j + bottom) + 4L * left);
    });
}

// ---- Light around it ------------------------------------------------------------------------------------------

// Of blocks of pixels, with a block more on each side; it begins with the picture's first pixel.
ImagePtr FireBall::glowOf(const Frame& f, const Layer& fire) const {
    const K7Image& picture = *output.image;
    const int width = (picture.width + BLOCK - 1) / BLOCK + 3, height = (picture.height + BLOCK - 1) / BLOCK + 3;
    ImagePtr glow = made(make_image(width, height, 4, SAMPLE_F32));
    constexpr float BRIGHTEST = 3;
    if (fire.image)
        each_row_float(height, [&](int j) {
            float* row = image_row<float>(glow.get(), j);
            for (int y = (j - 1) * BLOCK; y < j * BLOCK; ++y) {
                if (y < fire.bottom || y >= fire.bottom + fire.image->height) continue;
                const float* from = image_row<float>(fire.image.get(), y - fire.bottom);
                for (int x = 0; x < fire.image->width; ++x, from += 4) {
                    float* to = row + 4L * ((x + fire.left) / BLOCK + 1);
                    for (int c = 0; c < 3; ++c) to[c] += std::min(from[c], BRIGHTEST) * (1.0F / (BLOCK * BLOCK));
                }
            }
        });
    const float reach = std::max(GlowReach.percent(), 1e-3F) * f.width / BLOCK;
    ImagePtr wide = ImagePtr(made(image_duplicate(glow.get())));
    made(image_gaussian_blur(glow.get(), 0.25F * reach, 0.25F * reach * f.aspect, 7));
    made(image_gaussian_blur(wide.get(), reach, reach * f.aspect, 7));
    each_row_float(height, [&](int j) {
        float *a = image_row<float>(glow.get(), j), *b = image_row<float>(wide.get(), j);
        for (int i = 0; i < 4 * width; ++i) a[i] = 0.25F * a[i] + 0.5F * b[i];
    });
    return glow;
}

namespace {

// A row of a coarse layer between two of its rows.
void mix_rows(const K7Image& image, float place, std::vector<float>& to) {
    const int j = std::clamp(static_cast<int>(std::floor(place)), 0, image.height - 1);
    const float part = std::clamp(place - static_cast<float>(j), 0.0F, 1.0F);
    const float *a = image_row<float>(&image, j), *b = image_row<float>(&image, std::min(j + 1, image.height - 1));
    for (std::size_t i = 0; i < to.size(); ++i) to[i] = a[i] + part * (b[i] - a[i]);
}

std::vector<float> row_of(const K7Image* image) {
    return std::vector<float>(image ? std::size_t(image->width) * 4 : 0);
}

}  // namespace

void FireBall::compose(K7Image& picture, const Layer* fire, const Layer* smoke, const K7Image* glow) const {
    const auto covers = [](const Layer* layer, int y) {
        return layer && layer->image && y >= layer->bottom && y < layer->bottom + layer->image->height;
    };
    for_rows_float(picture.height, [&](int first, int last) {
        std::vector<float> glowing = row_of(glow), smoking = row_of(smoke ? smoke->image.get() : nullptr);
        for (int y = first; y <= last; ++y) {
            FireCover cover{};
            if (covers(fire, y)) {
                cover.fire = image_row<float>(fire->image.get(), y - fire->bottom);
                cover.first = fire->left, cover.count = fire->image->width;
            }
            if (covers(smoke, y / 2)) {
                mix_rows(*smoke->image, (static_cast<float>(y) - 0.5F) * 0.5F - static_cast<float>(smoke->bottom),
                         smoking);
                cover.smoke = smoking.data(), cover.smoke_first = smoke->left, cover.smoke_count = smoke->image->width;
            }
            if (glow) {
                mix_rows(*glow, (static_cast<float>(y) + 0.5F) / BLOCK + 0.5F, glowing);
                for (float& sample : glowing) sample *= Glow.percent();
                cover.glow = glowing.data(), cover.block = BLOCK, cover.blocks = glow->width,
                cover.light = Light.percent();
            }
            fire_kernels().compose(cover, image_row<float>(&picture, y), picture.width);
        }
    });
}

// ---- The picture ----------------------------------------------------------------------------------------------

void FireBall::ProcessFrame() {
    const StageTimer timer("FireBall (CPU)");
    const Frame f = frame();
    const FirePath way = path(double(f.tallness));
    const FireWind carried = wind();
    FireTrail trail(way, f.now, carried);
    const FirePath::Moment ball = way.at(f.now);
    const auto blur = static_cast<float>(0.5 * double(Shutter.percent()) * k7_hypot(ball.vx, ball.vy));
    trail.left -= blur, trail.right += blur, trail.bottom -= blur, trail.top += blur;
    const double aired = std::fmod(f.now, 16384.0);
    const FireAir air{.reach = Stir.percent() * 2,
                      .size = std::max(StirSize.percent(), 0.1F) * f.radius,
                      .phase = static_cast<float>(aired * 0.02) * Churn.percent(),
                      .wind_x = static_cast<float>(carried.x * f.now),
                      .wind_y = static_cast<float>((carried.y + carried.rise) * f.now),
                      .radius = f.radius};
    const SolidNoise eddies(f.seed);
    // The same at any size of the picture.
    const float cell = std::clamp(f.radius / 14, 1 / 1920.0F, 8 / 1920.0F);
    const FireGrid grid(trail, air, eddies, cell, 0, 1, 0, f.tallness);
    Layer fire, dark;
    if (!grid.empty()) fire = burn(f, grid);
    if (Shutter.value > 0) smear(f, way, fire);
    const ImagePtr glow = glowOf(f, fire);
    if (Smoke.value > 0 && !grid.empty()) dark = smokeOf(f, grid, *glow);
    if (abortRequested()) return;
    const bool occluded = matte.isConnected() && MatteMode.value == Occlude;
    compose(*output.image, &fire, &dark, glow.get());
    addEmbers(f, way, carried, air, eddies);
    if (occluded) {
        const ImagePtr behind = ImagePtr(made(image_duplicate(input.image.get())));
        compose(*behind, nullptr, nullptr, glow.get());
        hideBy(*behind);
    } else if (matte.isConnected()) {
        hideBy(*input.image);
    }
}

void FireBall::hideBy(const K7Image& without) {
    K7Image& picture = *output.image;
    const ImagePtr where = made(make_image_uncleared(picture.width, picture.height, 1, SAMPLE_F32));
    made(image_luminance_to_matte(matte.image.get(), where.get(), false));
    each_row_float(picture.height, [&](int y) {
        fire_kernels().hide(image_row<float>(&without, y), image_row<float>(where.get(), y),
                            image_row<float>(&picture, y), picture.width);
    });
}
