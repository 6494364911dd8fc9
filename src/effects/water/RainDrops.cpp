#include "effects/water/RainDrops.h"

#include <algorithm>
#include <cmath>

#include "effects/engines/particles/Mattes.h"
#include "effects/engines/particles/Readings.h"
#include "effects/water/RainDrops_simd.h"
#include "graphicslib/bit_text.h"
#include "graphicslib/row_bands.h"
#include "imagelib/imagelib_blur.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"

using particles::share;
using particles::signed_draw;
using particles::value;

namespace {

constexpr float GLASS = 0.1f;  // height of a dry window
constexpr float LARGEST = 40.0f, SMALLEST = 2.0f;
constexpr int BLOCK = particles::Swirl::ABREAST;  // drops that a row thread takes at once

// The round brushes of the drops go up by half a pixel of radius.
float brush_radius(float across) {
    constexpr float LEAST = 2.0f;
    return std::max(LEAST, std::floor(across + 0.5f) * 0.5f + 0.5f);
}

// Strokes of drops in a picture, each with the rows that it may touch.
class Strokes {
  public:
    Strokes(int width, int height, float row_height) : m_width(width), m_height(height), m_row_height(row_height) {}

    void add(const float from[2], const float to[2], float radius, float thickness) {
        constexpr float FARTHEST = 1e6f;  // pixels; a drop that is farther away has left for good
        for (int i = 0; i < 2; ++i)
            if (!(std::fabs(from[i]) < FARTHEST && std::fabs(to[i]) < FARTHEST)) return;
        const auto [left, right] = std::minmax(from[0], to[0]);
        const auto [bottom, top] = std::minmax(from[1], to[1]);
        const float reach = radius / m_row_height;
        if (right + radius < 0 || left - radius >= float(m_width) || top + reach < 0 ||
            bottom - reach >= float(m_height))
            return;
        const DropStroke shape{.x = from[0],
                               .y = from[1] * m_row_height,
                               .dx = to[0] - from[0],
                               .dy = (to[1] - from[1]) * m_row_height,
                               .radius = radius,
                               .thickness = thickness};
        m_strokes.push_back(
            {shape, std::max(int(std::ceil(bottom - reach)), 0), std::min(int(std::floor(top + reach)), m_height - 1)});
        if (m_strokes.back().first > m_strokes.back().last) m_strokes.pop_back();
    }

    // The highest stroke counts, so that their order does not.
    void draw(K7Image& water) const {
        row_bands::draw(
            m_strokes.size(), m_height, [&](std::size_t i) { return std::pair(m_strokes[i].first, m_strokes[i].last); },
            [&](int first, int last, const std::uint32_t* begin, const std::uint32_t* end) {
                for (const std::uint32_t* i = begin; i < end; ++i)
                    for (int y = std::max(first, m_strokes[*i].first); y <= std::min(last, m_strokes[*i].last); ++y)
                        drawRow(m_strokes[*i].shape, y, image_row<float>(&water, y));
            });
    }

  private:
    struct Stroke {
        DropStroke shape;
        int first, last;  // rows, both included
    };

    // Of a row the pixels around the part of the line that is near it.
    void drawRow(const DropStroke& s, int y, float* row) const {
        float start = 0, end = 1;
        const float away = float(y) * m_row_height - s.y;
        if (std::fabs(s.dy) > 0.001f) {
            const auto [a, b] = std::minmax({(away - s.radius) / s.dy, (away + s.radius) / s.dy});
            start = std::clamp(a, 0.0f, 1.0f), end = std::clamp(b, 0.0f, 1.0f);
        }
        const auto [left, right] = std::minmax({s.x + start * s.dx, s.x + end * s.dx});
        const auto limit = [&](float x) { return int(std::clamp(x, 0.0f, float(m_width))); };
        const int first = limit(left - s.radius), last = limit(right + s.radius + 2);
        if (first < last) raindrops_kernels().stroke(s, float(y) * m_row_height, first, last, row);
    }

    int m_width, m_height;
    float m_row_height;  // in widths of a pixel
    std::vector<Stroke> m_strokes;
};

}  // namespace

// ---- When, and with what --------------------------------------------------------------------------------------

// Replays are refused that would keep a host waiting. The first frame needs none but its pre-roll.
SimulationTiming RainDrops::timing() const {
    constexpr double MOST_STEPS = 200.0;
    return {.start = StartAt.value,
            .pre_roll = PreRoll.value,
            .animated = WithAnimation.value,
            .longest_replay = MOST_STEPS / (InterFrame.value + 1)};
}

std::uint64_t RainDrops::readControls() {
    constexpr float DEGREE = 3.14159f / 180.0f;
    const FrameShape& f = frame();
    const int steps = InterFrame.value + 1;
    const float step = 1.0f / float(steps), angle = value(VelDir) * DEGREE;
    particles::Gravity gravity;
    gravity.set(f, DoGravity.value, Gravity.value, GravAngle.value);
    const bool swirls = DoTurbulence.value;
    m_rules = {.steps = steps,
               .births = value(Fecundity),
               .births_variance = value(FecundVar),
               .life = float(Lifetime.limited()) * float(steps),
               .life_variance = float(LifetimeVar.limited()),
               .speed = share(InitialVelocity) / f.unit_scale * step,
               .speed_variance = share(VelMagVar) * step,
               .heading = {k7_cos(angle), k7_sin(angle)},
               .gravity = gravity.strength * step * step,
               .gravity_direction = {gravity.direction[0], gravity.direction[1]},
               .friction = DoFriction.value ? std::clamp(value(Friction) * step, 0.0f, 1.0f) : 0.0f,
               .chance = share(GravChance),
               .wait = float(GravWait.value) * float(steps),
               .boost = value(GravBoost),
               .swirl = {.density = swirls ? value(SwirlDens) : 0.0f,
                         .amplitude = value(SwirlAmp) / f.unit_scale * step * step,
                         .ramp = float(steps) * std::max(value(SwlMaxTim), 1.0f)},
               .size = value(LumpRad),
               .size_variance = share(LumpRadVar),
               .thickness_variance = share(MonoVar),
               .kept = DoSteam.value ? 1.0f : std::clamp(share(FadeOut), 0.0f, 1.0f),
               .across = 1.0f / f.unit_scale,
               .steam = DoSteam.value,
               .birth_matte = UseBirthMatte.value,
               .pressed = value(CCacheSecret)};
    return fingerprint(&m_rules, sizeof m_rules);
}

std::uint64_t RainDrops::steeringPictures() const {
    return UseBirthMatte.value ? particles::matte_fingerprint(birth.image.get()) : 0;
}

void RainDrops::ButtonPressed(ButtonControlK7& button) {
    if (&button != &ClearCache) return;
    CCacheSecret.count();
    MarkRestart();
}

// ---- The simulation -------------------------------------------------------------------------------------------

void RainDrops::begin() {
    m_set.last_index = -1;
    m_water = made(make_image(int(frame().width), int(frame().height), 1, SAMPLE_F32));
}

void RainDrops::state(StateWalk& walk) {
    m_set.walkState(walk);
    walk.bytes(m_water->pixels, std::size_t(m_water->row_bytes) * m_water->height);
}

// A frame: what there is dries, drops are born, and all of them take its steps.
bool RainDrops::advance() {
    const StageTimer timer("Drops");
    if (m_noise_seed != seed()) m_noise = SolidNoise(m_noise_seed = seed());
    if (m_rules.kept < 1.0f)
        for_rows_float(m_water->height, [&](int first, int last) {
            for (int y = first; y <= last; ++y)
                raindrops_kernels().dry(m_rules.kept, m_water->width, image_row<float>(m_water.get(), y));
        });

    Strokes strokes(m_water->width, m_water->height, frame().aspect());
    for (int step = 0; step < m_rules.steps; ++step) {
        if (step == 0) spawn();
        m_set.prune();
        const int count = m_set.live();
        for_rows_float((count + BLOCK - 1) / BLOCK, [&](int first, int last) {
            for (int at = first * BLOCK; at < std::min((last + 1) * BLOCK, count); at += BLOCK)
                fall(m_set.records() + at, std::min(BLOCK, count - at));
        });
        for (int i = 0; i < count; ++i) {
            const RainDropsParticle& drop = m_set[i];
            const float thickness = m_rules.steam ? 1.0f : drop.color[0];
            if (drop.wandering && thickness > 0)
                strokes.add(drop.from, drop.position, brush_radius(drop.size * m_rules.across), thickness);
        }
    }
    strokes.draw(*m_water);
    return true;
}

// The number of drops varies by a count of its own. Where a matte allows none, ten tries for each are made.
void RainDrops::spawn() {
    constexpr float MOST = 1e6f;
    constexpr int TRIES = 10;
    const float births = m_rules.births + signed_draw(random()) * m_rules.births_variance + 0.5f;
    const int count = births >= 1 ? int(std::min(births, MOST)) : 0;
    RainDropsParticle drop;
    for (int born = 0, tried = 0; born < count && tried < TRIES * count; ++tried) {
        if (!fillNewborn(drop)) continue;
        made(m_set.add_particle(&drop));
        ++born;
    }
}

// The order of the draws is part of the picture. False: the matte is black there.
bool RainDrops::fillNewborn(RainDropsParticle& drop) {
    constexpr float ABOVE = 1.05f;  // drops are born above the picture too
    const Rules& r = m_rules;
    MTRandom& draw = random();
    drop = {};
    // A drop's life, and the time in which it fades with it, which nothing shows here.
    float fade = 0;
    do {
        drop.life = 1 + r.life + signed_draw(draw) * r.life_variance * r.life;
        fade = 1 + r.life + signed_draw(draw) * r.life_variance * r.life;
    } while (!(drop.life > 0 && fade > 0));

    const float nearest[3] = {}, farthest[3] = {frame().width, frame().height * ABOVE, 0};
    drop.set_random_position(nearest, farthest, draw);
    float speed = r.speed + r.speed * draw.next_float();
    speed *= 1 + draw.next_float() * r.speed_variance;
    for (int i = 0; i < 2; ++i) drop.velocity[i] = speed * r.heading[i];
    drop.size = std::clamp(r.size + signed_draw(draw) * r.size * r.size_variance, SMALLEST, LARGEST);
    if (r.birth_matte && !particles::matte_allows(birth.image.get(), drop.position)) return false;
    drop.color[0] = drop.color[1] = drop.color[2] = 0.5f + signed_draw(draw) * r.thickness_variance;
    drop.dribbles = draw.next_float() < r.chance;
    drop.wait = r.wait;
    drop.boost = r.boost * draw.next_float();
    return true;
}

// One step of some drops. The step takes the place of the particle set's own: no drop moves twice.
void RainDrops::fall(RainDropsParticle* drops, int count) const {
    const Rules& r = m_rules;
    int turned[BLOCK], turning = 0;
    for (int i = 0; i < count; ++i) {
        RainDropsParticle& p = drops[i];
        const bool runs = p.dribbles && p.age > p.wait;
        const float pull = runs ? r.gravity * p.boost * (p.size / LARGEST) : 0.0f, loss = runs ? r.friction : 0.0f;
        p.wandering = p.age <= 1;
        for (int axis = 0; axis < 2; ++axis) {
            float& v = p.velocity[axis];
            v = v - loss * v + r.gravity_direction[axis] * pull;
            p.from[axis] = p.position[axis];
            p.position[axis] += v;
            if (p.position[axis] != p.from[axis]) p.wandering = 1;
        }
        if (runs && r.gravity > 0) turned[turning++] = i;
    }
    if (r.swirl.turns()) {
        float x[BLOCK], y[BLOCK];
        for (int i = 0; i < turning; ++i) x[i] = drops[turned[i]].position[0], y[i] = drops[turned[i]].position[1];
        r.swirl.read(m_noise, frame(), stepFrame() - StartAt.value, x, y, turning);
        for (int i = 0; i < turning; ++i) {
            RainDropsParticle& p = drops[turned[i]];
            const float push = p.size / LARGEST * r.swirl.amplitude * r.swirl.strength(p.age);
            p.velocity[0] += x[i] * push;
            p.velocity[1] += y[i] * push;
        }
    }
    for (int i = 0; i < count; ++i) drops[i].age += 1;
}

// ---- The picture ----------------------------------------------------------------------------------------------

// A window that is dry as yet may be misted already.
void RainDrops::background() {
    if (currentFrame < StartAt.value && isMisted()) addSteam(nullptr, *output.image);
}

void RainDrops::finish(K7Image& result) {
    if (!isSeen()) return;
    if (refract(result) && isMisted()) addSteam(m_water.get(), result);
}

bool RainDrops::refract(K7Image& result) const {
    const ImagePtr surface = made(make_image_uncleared(m_water->width, m_water->height, 1, SAMPLE_F32));
    for_rows_float(surface->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            raindrops_kernels().heights(surface->width, image_row<float>(m_water.get(), y),
                                        image_row<float>(m_water.get(), std::max(y - 1, 0)),
                                        image_row<float>(surface.get(), y));
    });
    const RefractingSurface look{.base = GLASS,
                                 .index = value(Distortion),
                                 .edge = EDGE_CLAMP,
                                 .light = {.x = float(LightPos.x),
                                           .y = float(LightPos.y),
                                           .z = value(LightZ),
                                           .brightness = LightOn.value ? share(LightBright) : 0.0f,
                                           .gloss = value(Gloss),
                                           .red = LightColour.red,
                                           .green = LightColour.green,
                                           .blue = LightColour.blue},
                                 .to_plane = {}};
    return refract_through(*surface, *input.image, look, doAlpha, stopRequested(), result);
}

void RainDrops::addSteam(const K7Image* water, K7Image& result) const {
    constexpr float WIDEST = 0.125f;  // of the picture's width
    constexpr int ALL_CHANNELS = -1;
    const StageTimer timer("Steam");
    const K7Image& source = *input.image;
    const ImagePtr mist = made(make_image_uncleared(source.width, source.height, 4, SAMPLE_F32));
    const float radius = std::min(share(Focus), WIDEST) * float(source.width);
    made(image_gaussian_blur_to(&source, mist.get(), radius, radius * source.pixel_aspect, ALL_CHANNELS));
    if (abortRequested()) return;
    const float mix = std::clamp(share(Mix), 0.0f, 1.0f);
    for_rows_float(result.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            raindrops_kernels().steam(result.width, image_row<float>(mist.get(), y), image_row<float>(&source, y),
                                      water ? image_row<float>(water, y) : nullptr, share(Brightness), share(Lift), mix,
                                      image_row<float>(&result, y));
    });
}

// Over the picture as it came in, on a pale plate, so that the dark letters are read on any picture.
void RainDrops::tooFar(K7Image& result) {
    constexpr float INK[] = {0.1f, 0.1f, 0.1f, 1.0f};
    constexpr char WHAT[] = "Pre-processing too slow.", ADVICE[] = "Clear Cache and render sequentially";
    constexpr float CELLS = sizeof ADVICE, ASPECT = float(BitText::CELL_WIDTH) / float(BitText::CELL_HEIGHT);
    constexpr float PALE = 0.8f;
    const float width = result.width, height = result.height, middle = 0.505f * width;
    const float size = std::min(0.04f * height, 0.9f * width / (CELLS * ASPECT)), half = 0.5f * size * CELLS * ASPECT;
    const auto limit = [](float v, float most) { return int(std::clamp(v, 0.0f, most)); };
    const int left = limit(middle - half - size, width), right = limit(middle + half + size, width);
    for (int y = limit(0.445f * height - size, height); y < limit(0.495f * height + size, height); ++y)
        for (int x = left; x < right; ++x) {
            float* pixel = image_row<float>(&result, y) + 4L * x;
            for (int c = 0; c < 3; ++c) pixel[c] += (PALE - std::min(pixel[c], 1.0f)) * PALE;
            pixel[3] = std::max(pixel[3], PALE);
        }
    BitText text;
    text.set_text_colour(INK, 4);
    text.set_transparent(true);
    text.draw(WHAT, &result, middle, 0.495f * height, size);
    text.draw(ADVICE, &result, middle, 0.445f * height, size);
}
