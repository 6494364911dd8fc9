#include "effects/sky/Fireworks.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_curves.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "noiselib/place_hash.h"
#include "noiselib/solidnoise.h"

namespace {

constexpr int BAND = 16;                 // rows that a thread draws and composes at once: they stay in its cache
constexpr int CELLS = 240;               // of the grid for soft light, across the picture
constexpr double LONGEST_LOOK = 6000.0;  // frames that a frame looks back for triggers and tempo
constexpr int MOST_TRIGGERED = 100;      // shells in a frame

// Where strokes begin and end among the bands that they reach.
struct Bands {
    std::vector<std::uint32_t> order;
    std::vector<std::size_t> first;  // of each band, and the end

    Bands(const std::vector<LightStroke>& strokes, int rows, float row_height) {
        const int count = (rows + BAND - 1) / BAND;
        first.assign(static_cast<std::size_t>(count) + 1, 0);
        const auto each = [&](const LightStroke& s, auto&& work) {
            const float scale = 1.0F / (row_height * BAND);
            const float low = (std::min(s.ay, s.by) - s.radius) * scale - 0.1F;
            const float high = (std::max(s.ay, s.by) + s.radius) * scale + 0.1F;
            if (!(high >= 0.0F) || !(low < static_cast<float>(count))) return;
            const int from = static_cast<int>(std::max(low, 0.0F));
            const int to = static_cast<int>(std::min(high, static_cast<float>(count - 1)));
            for (int band = from; band <= to; ++band) work(static_cast<std::size_t>(band));
        };
        for (const LightStroke& s : strokes) each(s, [&](std::size_t band) { ++first[band + 1]; });
        for (std::size_t band = 1; band < first.size(); ++band) first[band] += first[band - 1];
        order.resize(first.back());
        std::vector<std::size_t> next(first.begin(), first.end() - 1);
        for (std::size_t i = 0; i < strokes.size(); ++i)
            each(strokes[i], [&](std::size_t band) { order[next[band]++] = static_cast<std::uint32_t>(i); });
    }
};

}  // namespace

// Light on a coarse grid: what bleeds, smoke, and what falls on the ground.
struct Fireworks::Soft {
    int width = 0, height = 0;     // cells
    float cell = 1;                // of a cell's side, in widths of a pixel
    std::vector<float> light[3];   // planes, with room behind each row
    std::vector<float> ground[3];  // empty: none
    int pitch = 0;

    Soft(const K7Image& picture, float square_height) {
        width = std::min<int>(CELLS, picture.width);
        cell = static_cast<float>(picture.width) / static_cast<float>(width);
        height = std::clamp(static_cast<int>(std::ceil(square_height / cell)), 1, 4 * CELLS);
        pitch = width + 2 * LIGHT_ROOM;
        for (auto& plane : light)
            plane.assign(static_cast<std::size_t>(pitch) * static_cast<std::size_t>(height), 0.0F);
    }
    std::size_t at(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(pitch) + static_cast<std::size_t>(x);
    }
    // Adds light at a place to the four cells around it.
    void splat(K7Image& grid, float x, float y, const float* colour, float part) const {
        const float gx = x / cell - 0.5F, gy = y / cell - 0.5F;
        if (!(gx > -1.0F && gy > -1.0F && gx < static_cast<float>(width) && gy < static_cast<float>(height))) return;
        const int left = static_cast<int>(gx + 1.0F) - 1, low = static_cast<int>(gy + 1.0F) - 1;
        const float fx = gx - static_cast<float>(left), fy = gy - static_cast<float>(low);
        for (int j = 0; j < 2; ++j)
            for (int i = 0; i < 2; ++i) {
                if (left + i < 0 || left + i >= width || low + j < 0 || low + j >= height) continue;
                const float weight = part * (i ? fx : 1.0F - fx) * (j ? fy : 1.0F - fy);
                float* out = image_row<float>(&grid, low + j) + 3 * (left + i);
                for (int c = 0; c < 3; ++c) out[c] += weight * colour[c];
            }
    }
};

// ---- Declaration ----------------------------------------------------------------------------------------------

FireworksInfo::FireworksInfo() {
    ghost({&Tempo, &Salvo}, Show, is(ByTriggers));
    ghost({&Trigger, &TriggerIs, &TriggerAt}, Show, is(BySeed));
    ghost({&Colour1, &Colour2, &Colour3, &Colour4}, Colouring, isNot(5));
    declarePresets();
    scene.inputs = {"launch-small.png"};
    scene.settings = {{"GroundLight", "60"}};
    scene.frame = 84;
    scene.look = {{"Demos", "Celebration"}};
}

void Fireworks::PrepareOverlay() { triggerWidget.visible = !TriggerAt.ghosted(); }

// ---- The show -------------------------------------------------------------------------------------------------

double Fireworks::hostTime(int frame) const { return renderContext.time + (frame - currentFrame) * timeOfFrame; }
double Fireworks::atFrame(const FloatControlK7& control, int frame) const {
    double value = control.limited();
    if (control.GetValue(hostTime(frame), &value) && !std::isfinite(value)) value = control.limited();
    return std::clamp(value, control.min(), control.max());
}
int Fireworks::atFrame(const IntegerControlK7& control, int frame) const {
    int value = control.value;
    control.GetValue(hostTime(frame), &value);
    return std::clamp(value, control.min(), control.max());
}

FireworkLook Fireworks::look() const {
    const K7Image& picture = *output.image;
    const float half_width = 0.5F * static_cast<float>(picture.width);
    const auto pixels = [&](const SizeControlK7& size) { return static_cast<float>(size.limited()) * half_width; };
    FireworkLook look;
    look.radius = pixels(ShellSize);
    look.variation = SizeVariation.percent();
    look.gravity = Gravity.percent();
    look.air = AirDrag.percent();
    look.wind = Wind.percent() * look.radius;
    look.rise = static_cast<float>(RiseTime.limited());
    look.stars = StarCount.percent();
    look.burn = BurnTime.percent();
    look.trails = Trails.percent();
    look.glitter = Glitter.percent();
    look.ragged = Irregular.percent();
    look.rockets = RisingTail.percent();
    look.star_radius = 1.5F * pixels(StarSize);  // where the light has gone down to nothing
    // Thinner strokes would miss pixels.
    look.least_radius = 1.8F * std::max(1.0F, 1.0F / picture.pixel_aspect);
    look.brightness = 7.0F * Brightness.percent();
    look.flash = Flash.percent();
    look.palette = static_cast<FireworkLook::Palette>(std::clamp(Colouring.value - 1, 0, 4));
    const ColourControlK7* own[] = {&Colour1, &Colour2, &Colour3, &Colour4};
    for (int i = 0; i < 4; ++i) {
        const float colour[] = {own[i]->red, own[i]->green, own[i]->blue};
        for (int c = 0; c < 3; ++c) look.own[i][c] = std::clamp(colour[c], 0.0F, 16.0F);
    }
    look.turning = ColourChange.percent();
    const double frame = 1.0 / FrameRate.limited();
    look.shutter = Shutter.limited() * 0.01 * frame;
    look.still = 0.5 * frame;
    return look;
}

// At least a pixel.
float Fireworks::burstRadius() const {
    return std::max(static_cast<float>(ShellSize.limited()) * 0.5F * static_cast<float>(output.image->width), 1.0F);
}

FireworkPlan Fireworks::plan() const {
    const K7Image& picture = *output.image;
    const auto width = static_cast<float>(picture.width);
    const float height = static_cast<float>(picture.height) / picture.pixel_aspect;
    const auto place = [&](const PositionControlK7& at) {
        const auto near = [](double v) { return static_cast<float>(std::clamp(v, -10.0, 10.0)); };
        return FireworkPlace{near(at.x) * width, near(at.y) * height};
    };
    FireworkPlan plan;
    plan.seed = place_hash(static_cast<std::uint32_t>(Seed.value), 18);
    const CheckboxControlK7* wanted[SHELLS] = {&Peony,     &Chrysanthemum, &Willow, &Palm,     &Ring,
                                               &Crossette, &Heart,         &Strobe, &Fountain, &RomanCandle};
    for (int i = 0; i < SHELLS; ++i) plan.shells[i] = wanted[i]->value;
    plan.salvo = Salvo.percent();
    plan.launch[0] = place(LaunchA), plan.launch[1] = place(LaunchB);
    plan.centre = place(BurstAt);
    plan.half = {static_cast<float>(BurstWidth.limited()) * 0.5F * width,
                 static_cast<float>(BurstHeight.limited()) * 0.5F * width};
    plan.frame = 1.0 / FrameRate.limited();
    plan.first_frame = StartAt.value, plan.last_frame = EndAt.value;
    return plan;
}

// Triggers are read from the curve of the parameter: those ahead too, where they say when a shell bursts.
void Fireworks::addTriggered(const FireworkPlan& plan, const FireworkLook& look, double since, double now,
                             std::vector<FireworkLaunch>& launches) const {
    const K7Image& picture = *output.image;
    const bool bursts = TriggerIs.value == IsBurst;
    const double ahead = bursts ? static_cast<double>(look.rise) : 0.0;
    const int first = static_cast<int>(std::floor(since / plan.frame));
    const int last = static_cast<int>(std::floor((now + ahead) / plan.frame + 1e-6));
    int before = atFrame(Trigger, first - 1);
    for (int frame = first; frame <= last; ++frame) {
        const int value = atFrame(Trigger, frame), shells = std::min(value - before, MOST_TRIGGERED);
        for (int i = 0; i < shells; ++i) {
            double x = TriggerAt.x, y = TriggerAt.y;
            TriggerAt.GetValue(hostTime(frame), &x, &y);
            const std::uint32_t word = place_hash(place_hash(plan.seed, 77), static_cast<std::uint32_t>(before + i));
            // The shells of one frame keep clear of each other.
            const float apart = i == 0 ? 0.0F : look.radius;
            const FireworkPlace to{static_cast<float>(std::clamp(x, -10.0, 10.0)) * static_cast<float>(picture.width) +
                                       apart * signed_of(place_hash(word, 2)),
                                   static_cast<float>(std::clamp(y, -10.0, 10.0) * picture.height /
                                                      static_cast<double>(picture.pixel_aspect)) +
                                       0.5F * apart * signed_of(place_hash(word, 3))};
            FireworkLaunch launch = launch_to(plan, look, word, frame * plan.frame, to);
            if (bursts && launch.in_the_air()) launch.lift -= ahead, launch.burst -= ahead;
            if (launch.lift <= now) launches.push_back(launch);
        }
        before = value;
    }
}

std::vector<FireworkLaunch> Fireworks::launches(const FireworkLook& look) const {
    const FireworkPlan show = plan();
    const double now = currentFrame * show.frame;
    const double life = std::max(longest_life(look), static_cast<double>(look.rise) + SMOKE_LIFE + 6.0);
    const double since = std::max(now - life, now - LONGEST_LOOK * show.frame);
    std::vector<FireworkLaunch> found;
    if (Show.value != ByTriggers) {
        int frame_read = 0;
        double tempo = -1.0;
        const auto tempo_at = [&](int frame) {
            if (tempo < 0.0 || frame != frame_read) tempo = atFrame(Tempo, frame);
            frame_read = frame;
            return tempo;
        };
        add_show(show, look, tempo_at, since, now, found);
    }
    if (Show.value != BySeed) addTriggered(show, look, since, now, found);
    return found;
}

// ---- Light ----------------------------------------------------------------------------------------------------

// How far a burst lights the ground is how far it is away: the light of a point above a plane.
void Fireworks::lightGround(const std::vector<FireworkLight>& lights, Soft& soft) const {
    const K7Image& picture = *output.image;
    const float height = static_cast<float>(picture.height) / picture.pixel_aspect;
    const float top = GroundHeight.percent() * height, width = static_cast<float>(picture.width);
    if (!(top > 0.0F)) return;
    struct Lamp {
        float x, y, colour[3];
    };
    std::vector<Lamp> lamps;
    const float radius = burstRadius();
    for (const FireworkLight& light : lights) {
        Lamp lamp{light.middle.x, light.middle.y, {}};
        const float area = radius * radius;
        for (int c = 0; c < 3; ++c)
            lamp.colour[c] = GroundLight.percent() * (6.0F * light.total[c] / area +
                                                      2.5F * Flash.percent() * light.flash * light.flash_colour[c]);
        if (std::max({lamp.colour[0], lamp.colour[1], lamp.colour[2]}) > 1e-3F) lamps.push_back(lamp);
    }
    if (lamps.empty()) return;
    for (auto& plane : soft.ground) plane.assign(soft.light[0].size(), 0.0F);
    const float reach = 0.3F * width;
    eachRow(soft.height, [&](int row) {
        const float y = (static_cast<float>(row) + 0.5F) * soft.cell;
        const float kept = 1.0F - smooth_step(y, 0.35F * top, top);
        if (!(kept > 0.0F)) return;
        for (const Lamp& lamp : lamps)
            for (int i = 0; i < soft.width; ++i) {
                const float dx = (static_cast<float>(i) + 0.5F) * soft.cell - lamp.x;
                const float lit = kept / (1.0F + dx * dx / (reach * reach));
                for (int c = 0; c < 3; ++c) soft.ground[c][soft.at(i, row)] += lit * lamp.colour[c];
            }
    });
}

// The light of strokes and flashes on the grid, unblurred.
ImagePtr Fireworks::gathered(const std::vector<FireworkLight>& lights, const Soft& soft) const {
    ImagePtr grid = made(make_image(soft.width, soft.height, 3, SAMPLE_F32));
    const float area = soft.cell * soft.cell, size = burstRadius();
    for (const FireworkLight& light : lights) {
        for (const LightStroke& s : light.strokes) {
            const float longest = std::max(std::fabs(s.bx - s.ax), std::fabs(s.by - s.ay));
            const int pieces = std::clamp(static_cast<int>(longest / soft.cell) + 1, 1, 64);
            for (int i = 0; i < pieces; ++i) {
                const float u = (static_cast<float>(i) + 0.5F) / static_cast<float>(pieces);
                soft.splat(*grid, s.ax + u * (s.bx - s.ax), s.ay + u * (s.by - s.ay), s.light,
                           1.0F / (area * static_cast<float>(pieces)));
            }
        }
        if (light.flash > 0.0F)
            soft.splat(*grid, light.middle.x, light.middle.y, light.flash_colour,
                       0.16F * Flash.percent() * light.flash * size * size / area);
    }
    return grid;
}

// How thick smoke is in each cell of a row, 0 to 1. Billows stay with the air; there is room for a row of them too.
void Fireworks::smokeRow(const std::vector<SmokePuff>& puffs, const Soft& soft, int row, const SolidNoise& noise,
                         float* thick, float* billows) const {
    std::fill_n(thick, soft.width, 0.0F);
    const float y = (static_cast<float>(row) + 0.5F) * soft.cell, limit = static_cast<float>(soft.width);
    bool any = false;
    for (const SmokePuff& puff : puffs) {
        const float up = (y - puff.y) / puff.radius, rest = 1.0F - up * up;
        if (!(rest > 0.0F)) continue;
        const float half = std::sqrt(rest) * puff.radius;
        const int first = static_cast<int>(std::clamp((puff.x - half) / soft.cell, 0.0F, limit));
        const int last = static_cast<int>(std::clamp((puff.x + half) / soft.cell + 1.0F, 0.0F, limit));
        for (int i = first; i < last; ++i) {
            const float dx = ((static_cast<float>(i) + 0.5F) * soft.cell - puff.x) / puff.radius;
            const float left = std::max(rest - dx * dx, 0.0F);
            thick[i] += puff.density * left * left;
            any = true;
        }
    }
    if (!any) return;
    constexpr double FINENESS = 2.2;  // billows in a radius of a burst
    const double now = currentFrame / FrameRate.limited(), size = static_cast<double>(burstRadius());
    const double step = FINENESS * static_cast<double>(soft.cell) / size;
    const NoiseLine line{0.5 * step - FINENESS * static_cast<double>(Wind.percent()) * now, step,
                         static_cast<float>(FINENESS * static_cast<double>(y) / size), static_cast<float>(0.22 * now)};
    noise.turbulence_row(line, 0, 1.0F, 9.0F, billows, soft.width);
    for (int i = 0; i < soft.width; ++i) {
        const float d = thick[i] * std::clamp(0.55F + 1.15F * billows[i], 0.0F, 1.6F);
        thick[i] = d / (1.0F + d);
    }
}

// Three blurs: close by, as far as the glow goes, and the light that smoke is seen by.
bool Fireworks::softLight(const std::vector<FireworkLight>& lights, const std::vector<SmokePuff>& puffs,
                          Soft& soft) const {
    const ImagePtr near = gathered(lights, soft), wide = made(ImagePtr(image_duplicate(near.get())));
    const float radius = static_cast<float>(GlowSize.limited()) * 0.5F * static_cast<float>(soft.width);
    made(image_gaussian_blur(near.get(), 0.3F * radius, 0.3F * radius, -1));
    made(image_gaussian_blur(wide.get(), radius, radius, -1));
    const ImagePtr far = made(ImagePtr(image_duplicate(wide.get())));
    const float reach = std::min(0.35F * burstRadius() / soft.cell, 0.2F * static_cast<float>(soft.width));
    made(image_gaussian_blur(far.get(), reach, reach, -1));

    const SolidNoise noise(1234567);
    const float glow = Glow.percent(), smoke = Smoke.percent();
    for_rows_float(soft.height, [&](int first, int last) {
        if (first > last) return;
        std::vector<float> thick(static_cast<std::size_t>(soft.width), 0.0F), billows = thick;
        for (int row = first; row <= last && !abortRequested(); ++row) {
            if (smoke > 0.0F) smokeRow(puffs, soft, row, noise, thick.data(), billows.data());
            const float* a = image_row<float>(near.get(), row);
            const float* b = image_row<float>(wide.get(), row);
            const float* f = image_row<float>(far.get(), row);
            for (int i = 0; i < soft.width; ++i)
                for (int c = 0; c < 3; ++c, ++a, ++b, ++f)
                    soft.light[c][soft.at(i, row)] =
                        glow * (0.5F * *a + 0.8F * *b) +
                        smoke * thick[static_cast<std::size_t>(i)] * (2.4F * *f + 0.8F * *b);
        }
    });
    return !abortRequested();
}

// ---- The picture ----------------------------------------------------------------------------------------------

void Fireworks::compose(const std::vector<LightStroke>& strokes, const Soft& soft) const {
    const StageTimer timer("Fireworks drawn");
    K7Image& picture = *output.image;
    const float row_height = 1.0F / picture.pixel_aspect;
    const Bands bands(strokes, picture.height, row_height);
    const int width = picture.width, pitch = width + LIGHT_ROOM;
    std::vector<int> cells(static_cast<std::size_t>(pitch), 0);
    std::vector<float> parts(static_cast<std::size_t>(pitch), 0.0F);
    for (int x = 0; x < width; ++x) {
        const float at =
            std::clamp((static_cast<float>(x) + 0.5F) / soft.cell - 0.5F, 0.0F, static_cast<float>(soft.width - 1));
        cells[static_cast<std::size_t>(x)] = static_cast<int>(at);
        parts[static_cast<std::size_t>(x)] = at - std::floor(at);
    }
    for_rows_float(static_cast<int>(bands.first.size()) - 1, [&](int first, int last) {
        if (first > last) return;
        const auto plane = static_cast<std::size_t>(pitch) * BAND, line = static_cast<std::size_t>(soft.pitch);
        std::vector<float> sharp(3 * plane), upright(6 * line);
        for (int band = first; band <= last && !abortRequested(); ++band) {
            const auto b = static_cast<std::size_t>(band);
            const int from = band * BAND, to = std::min(from + BAND, static_cast<int>(picture.height)) - 1;
            const int count = static_cast<int>(bands.first[b + 1] - bands.first[b]);
            FireworkBand light{{&sharp[0], &sharp[plane], &sharp[2 * plane]}, width, pitch, from, to, row_height};
            if (count > 0) {
                std::fill(sharp.begin(), sharp.end(), 0.0F);
                firework_kernels().strokes(light, strokes.data(), &bands.order[bands.first[b]], count);
            }
            for (int y = from; y <= to; ++y) {
                LitRow row{{}, {}, {}, cells.data(), parts.data(), image_row<float>(&picture, y), width};
                const float at = std::clamp((static_cast<float>(y) + 0.5F) * row_height / soft.cell - 0.5F, 0.0F,
                                            static_cast<float>(soft.height - 1));
                const int low = static_cast<int>(at), high = std::min(low + 1, soft.height - 1);
                const float part = at - static_cast<float>(low);
                // One line of the grid, with its last cell twice.
                const auto between = [&](const std::vector<float>& grid, float* out) {
                    const float *below = &grid[soft.at(0, low)], *above = &grid[soft.at(0, high)];
                    for (int i = 0; i < soft.width; ++i) out[i] = below[i] + part * (above[i] - below[i]);
                    out[soft.width] = out[soft.width - 1];
                    return out;
                };
                for (int c = 0; c < 3; ++c) {
                    const auto k = static_cast<std::size_t>(c);
                    if (count > 0) row.sharp[c] = light.planes[c] + static_cast<long>(y - from) * pitch;
                    row.soft[c] = between(soft.light[c], &upright[k * line]);
                    if (!soft.ground[c].empty()) row.ground[c] = between(soft.ground[c], &upright[(k + 3) * line]);
                }
                firework_kernels().compose(row);
            }
        }
    });
}

void Fireworks::ProcessFrame() {
    const StageTimer timer("Fireworks (CPU)");
    K7Image& picture = *output.image;  // begins as a copy of the background
    if (BlackBG.value) image_clear(&picture);
    const FireworkLook shared = look();
    const std::vector<FireworkLaunch> shells = launches(shared);
    if (shells.empty() || !(shared.brightness > 0.0F)) return;
    const double now = currentFrame / FrameRate.limited();
    std::vector<FireworkLight> lights(shells.size());
    if (!eachRow(static_cast<int>(shells.size()), [&](int i) {
            const auto k = static_cast<std::size_t>(i);
            light_of(shells[k], shared, now, lights[k]);
        }))
        return;
    std::vector<SmokePuff> puffs;
    for (const FireworkLaunch& shell : shells) add_smoke(shell, shared, now, puffs);
    Soft soft(picture, static_cast<float>(picture.height) / picture.pixel_aspect);
    if (!softLight(lights, puffs, soft)) return;
    if (GroundLight.value > 0.0) lightGround(lights, soft);
    std::vector<LightStroke> strokes;
    for (const FireworkLight& light : lights) strokes.insert(strokes.end(), light.strokes.begin(), light.strokes.end());
    compose(strokes, soft);
}
