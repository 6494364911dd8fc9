#include "effects/engines/flight/Flight.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/portable_math.h"
#include "noiselib/place_hash.h"

namespace {

constexpr float REACH = 0.45F;       // widths from the centre at which a burst has half its speed
constexpr double SET_IN = 8;         // frames in which lift, gusts and whirls set in
constexpr double DRAWN_IN = 22;      // frames in which a whirl has drawn things in half the way
constexpr float NECK = 0.05F;        // widths: the whirl's radius at its foot
constexpr float FLARE = 0.42F;       // by which it widens with height
constexpr float FULL_SWIRL = 0.03F;  // radians a frame from which on a whirl draws in all that it does
constexpr float INWARDS = 0.55F;     // how far a whirl around the line of sight draws things in
constexpr double GUST_FRAMES = 45;   // in which gusts change

// Frames of full strength that something which sets in softly has had.
double softly(double age) { return age * age / (age + SET_IN); }

}  // namespace

Flight::Flight(const FlightForces& forces, FlightPlace start, std::uint32_t word, float spacing)
    : m_forces(forces), m_start(start), m_speed{0, 0, 0}, m_drag(forces.drag), m_spacing(spacing), m_width(1) {
    const auto chance = [&](std::uint32_t which) { return unit_of(place_hash(word, which)); };
    const auto either = [&](std::uint32_t which) { return signed_of(place_hash(word, which)); };
    m_drag *= 0.6 + 0.8 * double(chance(1));
    m_width = 0.55F + 0.9F * chance(2);
    const float dx = start.x - forces.centre_x * spacing, dy = start.y - forces.centre_y * spacing;
    const float distance = std::sqrt(dx * dx + dy * dy);
    // Slower farther out, and never the same for two neighbours.
    const float burst =
        forces.burst * (0.55F + 0.9F * chance(3)) * REACH / (REACH + distance) / std::max(distance, 1e-4F);
    m_speed.x = burst * dx + forces.spread * either(4);
    m_speed.y = burst * dy + forces.spread * either(5);
    m_speed.z = forces.push * (0.3F + 1.4F * chance(7)) + forces.spread * either(6);
}

FlightPlace Flight::gust_at(double age) const {
    const float scale = 1 / m_forces.gust_size, carried = 0.6F * static_cast<float>(age);
    return {(m_start.x - m_forces.wind_x * carried) * scale, (m_start.y - m_forces.wind_y * carried) * scale,
            static_cast<float>(age / GUST_FRAMES)};
}

// Around an upright axis things are drawn into a funnel that stands on the centre; around the line of sight into the
// centre.
FlightPlace Flight::whirled(double age) const {
    const double angle = double(m_forces.swirl) * softly(age);
    const float strength = std::min(std::fabs(m_forces.swirl) / FULL_SWIRL, 1.0F);
    const float in = strength * static_cast<float>(age * age / (age * age + DRAWN_IN * DRAWN_IN));
    const K7SineCosine turn = k7_sine_cosine(angle * (0.8 + 0.4 * double(m_width)));
    const auto sine = static_cast<float>(turn.sine), cosine = static_cast<float>(turn.cosine);
    const float cx = m_forces.centre_x * m_spacing, cy = m_forces.centre_y * m_spacing;
    const float dx = m_start.x - cx, dy = m_start.y - cy;
    if (m_forces.swirl_axis == FlightForces::TowardsViewer) {
        const float share = 1 - INWARDS * m_width * in;
        return {cx + share * (dx * cosine - dy * sine), cy + share * (dx * sine + dy * cosine), m_start.z};
    }
    const float height = dy + m_forces.lift * static_cast<float>(softly(age));
    const float funnel = m_width * (NECK + FLARE * std::max(height, 0.0F));
    const float radius = std::fabs(dx) + in * (funnel - std::fabs(dx)), side = dx < 0 ? -radius : radius;
    return {cx + side * cosine, m_start.y, m_start.z + side * sine};
}

FlightPlace Flight::at(double age, const FlightPlace& gust) const {
    if (!(age > 0)) return m_start;
    // Of v' = g + k (w - v): what the first speed has become, and what the pull has.
    const double k = m_drag, lost = k * age;
    const double coast = lost < 1e-4 ? age * (1 - 0.5 * lost) : (1 - k7_exp(-lost)) / k;
    const double pulled = lost < 1e-4 ? 0.5 * age * age * (1 - lost / 3) : (age - coast) / k;
    const auto moved = [&](float speed, double pull) {
        return static_cast<float>(double(speed) * coast + pull * pulled);
    };
    FlightPlace place = m_forces.swirl != 0 ? whirled(age) : m_start;
    const double soft = softly(age);
    const auto blown = static_cast<float>(double(m_forces.gusts) * soft);
    place.x += moved(m_speed.x, k * double(m_forces.wind_x)) + blown * gust.x;
    place.y += moved(m_speed.y, k * double(m_forces.wind_y) - double(m_forces.gravity)) + blown * gust.y +
               m_forces.lift * static_cast<float>(soft);
    place.z += moved(m_speed.z, 0) + blown * gust.z;
    return place;
}
