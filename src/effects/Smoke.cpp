#include "effects/Smoke.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_blur.h"

using weather::signed_draw;

// ---- Parameters -----------------------------------------------------------------------------------------------

void Smoke::readBlocks(SmokeMotion& motion, SmokeLook& look) {
    const weather::Frame& f = frame();
    const auto value = [](const FloatControlK7& control) { return static_cast<float>(control.value); };
    const auto share = [](const FloatControlK7& control) { return static_cast<float>(control.value) / 100; };
    motion.density = value(Density);
    motion.left[0] = static_cast<float>(Left.x) * f.width;
    motion.left[1] = static_cast<float>(Left.y) * f.height;
    motion.right[0] = static_cast<float>(Right.x) * f.width;
    motion.right[1] = static_cast<float>(Right.y) * f.height;
    motion.position_var = f.width * value(PositionVar) * f.pixel_width;
    motion.life = value(Lifetime);
    motion.life_low = motion.life / 10;
    motion.extinction = value(Extinction);
    motion.heat = value(InitialHeat) / (f.unit_scale * 100) * f.aspect();
    motion.velocity_var = share(VelocityVar);
    motion.drag = DoFriction.value ? value(Friction) : 0;
    motion.size = value(PuffSize);
    motion.size_var = share(PuffSizeVar);
    motion.intensity = share(InitIntensity);
    motion.colour[0] = SmokeColour.red;
    motion.colour[1] = SmokeColour.green;
    motion.colour[2] = SmokeColour.blue;
    motion.colour_var = share(ColourVar);
    motion.mono_var = share(MonoVar);
    motion.look = LookMode.value;
    motion.birth_matte = UseBirthMatte.value;
    motion.gravity.set(f, DoGravity.value, Gravity.value, GravAngle.value);
    constexpr bool ONE_DIRECTION = false;
    motion.wind.set(f, DoWind.value, WindSource.x, WindSource.y, WindTarget.x, WindTarget.y, WindSpread.value,
                    WindSpeed.value, ONE_DIRECTION);
    motion.swirl.set(f, DoTurbulence.value, SwirlDens.value, SwirlAmp.value, SwlMaxTim.value, StartAt.value);

    look.opacity = value(Opacity) * 0.01f;
    look.shutter = std::clamp(share(ShutterTime), 0.0f, 10.0f);
    look.condensation = share(Condensation);
    look.blur = value(PointBlur) > 0.01f ? value(PointBlur) / f.unit_scale : 0;
    look.points = LookMode.value == Point;
}

std::uint64_t Smoke::matteState() const {
    return UseBirthMatte.value ? weather::matte_fingerprint(birth.image.get()) : 0;
}

// ---- Births ---------------------------------------------------------------------------------------------------

void Smoke::births() {
    constexpr int TRIES = 10;  // for each birth
    MTRandom& draw = random();
    const float fewer = draw.next_float() * motion().density / 10;
    const int count = weather::birth_count(0.5f - fewer + draw.next_float() * motion().density);
    SmokeParticle particle;
    for (int born = 0, tries = 0; born < count && tries < TRIES * count; ++tries) {
        if (!fillTemplate(particle)) continue;
        set().add_particle(&particle);
        ++born;
    }
}

// Hot smoke rises against gravity's arrow, whether there is gravity or not. False: not born after all.
bool Smoke::fillTemplate(SmokeParticle& p) {
    const SmokeMotion& m = motion();
    const float none[3] = {};
    const float left[3] = {m.left[0], m.left[1], 0};
    const float right[3] = {m.right[0], m.right[1], 0};
    const float radii[3] = {m.position_var, m.position_var, 0};
    MTRandom& draw = random();
    MTRandom& own = set().random;
    p.set_random_life(m.life, m.life_low, own);
    p.fade = m.extinction + signed_draw(draw) * m.extinction / 10;
    if (!(p.life > 0) || !(p.fade > 0)) return false;
    p.set_position_on_segment(left, right, radii, own);
    std::copy_n(p.position, 3, p.previous_position);
    float there = 0;
    if (m.birth_matte && !(weather::matte_at(birth.image.get(), p.position, &there) && there > 0)) return false;

    const float h = 1 + draw.next_float() * m.velocity_var;
    const float speed = h * m.heat * (1 + draw.next_float());
    const float mean[3] = {-speed * m.gravity.direction[0], -speed * m.gravity.direction[1], 0};
    p.set_random_velocity(mean, none, own);

    const float grey = m.mono_var * signed_draw(draw);
    for (const int channel : {2, 1, 0}) p.color[channel] = grey + m.colour[channel] + signed_draw(draw) * m.colour_var;
    p.color[3] = m.intensity;
    p.size = m.size + signed_draw(draw) * m.size * m.size_var;
    p.look = m.look;
    return true;
}

// ---- Forces ---------------------------------------------------------------------------------------------------

// The air swirls where the wind has not yet carried the smoke.
void Smoke::applyForces(SmokeParticle* particles, int count) const {
    const SmokeMotion& m = motion();
    float x[weather::BLOCK], y[weather::BLOCK];
    for (int i = 0; i < count; ++i) x[i] = particles[i].position[0], y[i] = particles[i].position[1];
    if (m.wind.blows())
        for (int i = 0; i < count; ++i) m.wind.blow(particles[i].position, m.wind.speed);
    if (!m.swirl.turns()) return;
    m.swirl.read(noise(), frame(), stepFrame(), x, y, count);
    for (int i = 0; i < count; ++i) {
        const float push = m.swirl.amplitude * m.swirl.strength(particles[i].age);
        particles[i].velocity[0] += x[i] * push / frame().pixel_width;
        particles[i].velocity[1] += y[i] * push;
    }
}

// ---- Drawing --------------------------------------------------------------------------------------------------

void Smoke::show(SmokeParticle& p) {
    constexpr float QUARTER_TURN = 1.5707800388336182f;
    const SmokeLook& l = look();
    const float grown = std::min(p.age / std::max(p.fade, 1.0f) + l.condensation, 1.0f);
    float visible = weather::sine(grown * QUARTER_TURN) * p.color[3] * l.opacity;
    const float left = p.life - p.age;
    if (left < p.fade) visible *= left / p.fade;
    if (left < 0 || !(visible >= 0.0001f)) return;

    const float x = p.position[0];
    const float y = p.position[1];
    const auto tail_x = [&](float t) { return x - (x - p.previous_position[0]) * t + 0.5f; };
    const auto tail_y = [&](float t) { return y - (y - p.previous_position[1]) * t + 0.5f; };
    const auto with_tail = [&](float steps, float faint, auto&& stamp) {
        stamp(x, y, visible);
        for (int i = 1; static_cast<float>(i) < steps; ++i) {
            const float f = static_cast<float>(i) / steps;
            stamp(tail_x(f * l.shutter), tail_y(f * l.shutter), (1 - f) * visible * faint);
        }
    };
    if (p.look == Point) {
        visible /= frame().unit_scale;
        with_tail(20 * l.shutter, 0.05f,
                  [&](float at_x, float at_y, float coverage) { splats().point(p.color, at_x, at_y, coverage); });
    } else if (p.look == Streak) {
        splats().line(p.color, tail_x(l.shutter), tail_y(l.shutter), x, y, visible);
    } else {
        const Sprite* puff = m_sprites.soft_blob(p.size / frame().unit_scale);
        with_tail(10 * l.shutter, 0.1f, [&](float at_x, float at_y, float coverage) {
            splats().sprite(p.color, puff, at_x, at_y, coverage);
        });
    }
}

void Smoke::background() {
    WeatherEffect::background();
    if (BlackBG.value && input.image) image_clear(input.image.get());
}

namespace {

// The rectangle around points that their softened picture reaches, within the picture.
Splats::Bounds softened(Splats::Bounds points, float blur, const K7Image& picture) {
    const int reach = static_cast<int>(std::min(3 * blur, 65536.0f)) + 4;  // of three boxes, with room to spare
    return {std::max(points.first_column - reach, 0), std::min(points.last_column + reach, picture.width - 1),
            std::max(points.first_row - reach, 0), std::min(points.last_row + reach, picture.height - 1)};
}

// Calls work(row of the rectangle, first pixel in the picture), on all row threads.
template <class Work>
void for_rows_within(const Splats::Bounds& area, K7Image* picture, Work work) {
    for_rows_float(area.last_row - area.first_row + 1, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            work(y, image_row<float>(picture, area.first_row + y) + 4L * area.first_column);
    });
}

}  // namespace

// Points go into a picture of their own, so that all of them are softened at once. Only the part that the smoke reaches
// is ever touched.
void Smoke::paint(K7Image& result) {
    if (!look().points) return WeatherEffect::paint(result);
    const Splats::Bounds points = splats().bounds();
    if (points.empty()) return;
    const Splats::Bounds area = softened(points, look().blur, result);
    const int width = area.last_column - area.first_column + 1;
    const int height = area.last_row - area.first_row + 1;
    const ImagePtr drawn = make_image_uncleared(result.width, result.height, 4, SAMPLE_F32);
    const ImagePtr layer = make_image_uncleared(width, height, 4, SAMPLE_F32);
    if (!drawn || !layer) return;
    for_rows_within(area, drawn.get(), [&](int, float* row) { std::fill_n(row, 4L * width, 0.0f); });
    splats().draw(drawn.get());
    for_rows_within(area, drawn.get(),
                    [&](int y, float* row) { std::copy_n(row, 4L * width, image_row<float>(layer.get(), y)); });
    constexpr int ALL_CHANNELS = 15;
    if (look().blur > 0 && !image_gaussian_blur(layer.get(), look().blur, look().blur, ALL_CHANNELS)) return;
    for_rows_within(area, &result, [&](int y, float* row) {
        const float* over = image_row<float>(layer.get(), y);
        for (int x = 0; x < width; ++x, row += 4, over += 4) {
            const float through = 1 - over[3];
            for (int c = 0; c < 4; ++c) row[c] = over[c] + through * row[c];
        }
    });
    result.stats_valid = 0;
}
