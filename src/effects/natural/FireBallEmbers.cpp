// The embers of Q_FireBall.
#include <algorithm>
#include <cmath>

#include "effects/engines/sprites/Splats.h"
#include "effects/natural/FireBall.h"
#include "k7pi_baselib/portable_math.h"
#include "k7pi_baselib/rows.h"
#include "noiselib/place_hash.h"

namespace {

constexpr int MOST_EMBERS = 20000;
constexpr std::uint32_t EMBER_SEED = 0xE3BE5U;

}  // namespace

// An ember's path is known from its birth on: thrown from the ball, slowed down by the air, carried by the wind and the
// eddies, and falling.
void FireBall::addEmbers(const Frame& f, const FirePath& path, const FireWind& wind, const FireAir& air,
                         const SolidNoise& noise) {
    const double rate = Embers.limited(), life = std::max(EmberLife.limited(), 1.0);
    if (!(rate > 0)) return;
    const double newest = std::floor(f.now * rate);
    const double oldest = std::max(std::ceil((f.now - life) * rate), newest - MOST_EMBERS);
    const double open = std::max(double(Shutter.percent()), 0.02), fall = EmberFall.limited() * 0.01;
    const float size = std::max(EmberSize.percent(), 1e-4F) * f.width;
    const ImagePtr blob = made(make_soft_blob(12));
    const MipPicture picture(blob.get());
    made(bool(picture));
    const Colour colour = colourOf(FlameColour);
    Splats splats;
    splats.begin(output.image->width, output.image->height);
    for (double k = oldest; k <= newest; ++k) {
        const std::uint32_t id =
            place_hash(place_hash(EMBER_SEED, f.seed), static_cast<std::uint32_t>(static_cast<std::int64_t>(k)));
        const auto draw = [id](std::uint32_t what) { return double(unit_of(place_hash(id, what))); };
        const double age = f.now - (k + draw(0)) / rate, lasts = life * (0.35 + 0.65 * draw(1));
        if (age < 0 || age > lasts) continue;
        const FirePath::Moment birth = path.at(f.now - age);
        const K7SineCosine way = k7_sine_cosine(6.283185307179586 * draw(2));
        const double speed = EmberSpeed.limited() * 0.01 * (0.2 + 0.8 * draw(3));
        const double start = birth.radius * 0.9 * std::sqrt(draw(4)),
                     held = double(Momentum.percent()) * (0.4 + 0.9 * draw(5));
        const double slow = life * 0.35;
        const auto place = [&](double at, float& x, float& y) {
            const double run = slow * (1 - k7_exp(-at / slow));
            x = static_cast<float>(birth.x + way.cosine * (start + speed * run) + held * birth.vx * run + wind.x * at);
            y = static_cast<float>(birth.y + way.sine * (start + speed * run) + held * birth.vy * run + wind.y * at +
                                   wind.rise * at - 0.5 * fall * at * at);
            const float u = (x - air.wind_x) / air.size, v = (y - air.wind_y) / air.size;
            const float reach = air.reach * air.radius * static_cast<float>(std::min(at / wind.life, 2.0));
            x += reach * noise.noise(u, v, air.phase), y += reach * noise.noise(u + 17.3F, v + 5.1F, air.phase);
        };
        float x0, y0, x1, y1;
        place(std::max(age - 0.5 * open, 0.0), x0, y0), place(age + 0.5 * open, x1, y1);
        x0 *= f.width, x1 *= f.width, y0 *= f.width * f.aspect, y1 *= f.width * f.aspect;
        const float dx = x1 - x0, dy = y1 - y0, length = std::sqrt(dx * dx + dy * dy);
        const float half = size * static_cast<float>(0.25 + 0.75 * draw(6) * draw(6) * draw(6)) * 2.5F;
        const double left = 1 - age / lasts;
        const double flicker = 0.75 + 0.25 * k7_sin(age * (0.5 + 1.5 * draw(7)) + 6.28 * draw(8));
        const double light =
            3 * left * left * flicker * double(Brightness.percent()) * double(half / (half + 0.4F * length));
        Splats::Look look{.half_width = half + 0.5F * length, .half_height = half, .blend = DrawBlend::screen};
        if (length > 0.1F) look.radians = k7_atan2(dy, dx);

        for (int c = 0; c < 3; ++c)
            look.colour[c] = static_cast<float>(1 - k7_exp(-light * double(colour[std::size_t(c)])));
        splats.stamp(&picture, 0.5F * (x0 + x1) - 0.5F, 0.5F * (y0 + y1) - 0.5F, look);
    }
    splats.draw(output.image.get());
}
