#include "effects/weather/Smoke.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_blur.h"

using particles::share;
using particles::signed_draw;
using particles::value;

// ---- Parameters -----------------------------------------------------------------------------------------------

void Smoke::readOwn(SmokeMotion& motion, SmokeLook& look) {
    const FrameShape& f = frame();
    motion.extinction = value(Extinction);
    motion.emitter.speed = value(InitialHeat) / (f.unit_scale * 100) * f.aspect();
    motion.size = value(PuffSize);
    motion.size_var = share(PuffSizeVar);
    motion.intensity = share(InitIntensity);
    motion.look = LookMode.value;
    motion.birth_matte = UseBirthMatte.value;
    motion.wind = particles::read_wind(f, wind);

    look.opacity = value(Opacity) * 0.01f;
    look.shutter = particles::read_shutter(start);
    look.condensation = share(Condensation);
    look.blur = value(PointBlur) > 0.01f ? value(PointBlur) / f.unit_scale : 0;
    look.points = LookMode.value == Point;
}

std::uint64_t Smoke::steeringPictures() const {
    return UseBirthMatte.value ? particles::matte_fingerprint(birth.image.get()) : 0;
}

// ---- Births ---------------------------------------------------------------------------------------------------

void Smoke::births() { emit(motion().emitter.gusty_count(random())); }

bool Smoke::fillNewborn(SmokeParticle& p) {
    const SmokeMotion& m = motion();
    MTRandom& draw = random();
    MTRandom& own = set().random;
    if (!m.emitter.place(p, m.extinction + signed_draw(draw) * m.extinction / 10, own)) return false;
    if (m.birth_matte && !particles::matte_allows(birth.image.get(), p.position)) return false;
    // Hot smoke rises against gravity's arrow, whether there is gravity or not.
    const float up[2] = {-m.gravity.direction[0], -m.gravity.direction[1]};
    m.emitter.send(p, up, draw, own);
    m.tint.give(p, m.intensity, draw);
    p.size = m.size + signed_draw(draw) * m.size * m.size_var;
    p.look = m.look;
    return true;
}

// ---- Forces ---------------------------------------------------------------------------------------------------

// The air swirls where the wind has not yet carried the smoke.
void Smoke::applyForces(SmokeParticle* particles, int count) const {
    const SmokeMotion& m = motion();
    swirlWith(m.swirl, particles, count, [&](SmokeParticle& p, float x, float y, float grown) {
        const float push = m.swirl.amplitude * grown;
        p.velocity[0] += x * push / frame().pixel_width;
        p.velocity[1] += y * push;
    });
    m.wind.blow(particles, count, m.wind.speed);  // last: the noise is read where the smoke was
}

// ---- Drawing --------------------------------------------------------------------------------------------------

void Smoke::show(SmokeParticle& p) {
    const SmokeLook& l = look();
    const float visible = p.fading(p.condensed(l.condensation) * p.color[3] * l.opacity);
    if (!(visible > 0)) return;
    if (p.look == Point) {
        particles::stamp_with_tail(p, l.shutter, 20, visible / frame().unit_scale,
                                   [&](float x, float y, float coverage) { splats().point(p.color, x, y, coverage); });
    } else if (p.look == Streak) {
        particles::draw_streak(splats(), p, p.color, l.shutter, visible);
    } else {
        const Sprite* puff = m_sprites.soft_blob(p.size / frame().unit_scale);
        particles::stamp_with_tail(p, l.shutter, 10, visible, [&](float x, float y, float coverage) {
            splats().sprite(p.color, puff, x, y, coverage);
        });
    }
}

void Smoke::background() {
    WeatherEffect::background();
    if (BlackBG.value) image_clear(input.image.get());
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
    const ImagePtr drawn = made(make_image_uncleared(result.width, result.height, 4, SAMPLE_F32));
    const ImagePtr layer = made(make_image_uncleared(width, height, 4, SAMPLE_F32));
    for_rows_within(area, drawn.get(), [&](int, float* row) { std::fill_n(row, 4L * width, 0.0f); });
    splats().draw(drawn.get());
    for_rows_within(area, drawn.get(),
                    [&](int y, float* row) { std::copy_n(row, 4L * width, image_row<float>(layer.get(), y)); });
    constexpr int ALL_CHANNELS = 15;
    made(image_gaussian_blur(layer.get(), look().blur, look().blur, ALL_CHANNELS));
    for_rows_within(area, &result, [&](int y, float* row) {
        const float* over = image_row<float>(layer.get(), y);
        for (int x = 0; x < width; ++x, row += 4, over += 4) {
            const float through = 1 - over[3];
            for (int c = 0; c < 4; ++c) row[c] = over[c] + through * row[c];
        }
    });
}
