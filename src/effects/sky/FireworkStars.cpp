#include "effects/sky/FireworkStars.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_curves.h"
#include "k7pi_baselib/portable_math.h"

using namespace firework;

namespace {

constexpr double TAIL_STEP = 1.0 / 36.0;  // seconds between the embers of a tail
constexpr float EMBER_DRAG = 4.0F;

// What salts and metals glow like: strontium, barium, copper, sodium, calcium and their mixtures.
constexpr StarColour SALTS[] = {{{1.0F, 0.10F, 0.06F}}, {{0.16F, 1.0F, 0.22F}}, {{0.14F, 0.28F, 1.0F}},
                                {{1.0F, 0.78F, 0.20F}}, {{0.62F, 0.16F, 1.0F}}, {{1.0F, 0.36F, 0.06F}},
                                {{0.12F, 0.85F, 1.0F}}, {{1.0F, 0.20F, 0.52F}}, {{0.95F, 0.95F, 1.0F}}};
constexpr StarColour PASTELS[] = {{{1.0F, 0.55F, 0.62F}},
                                  {{0.58F, 0.85F, 1.0F}},
                                  {{0.72F, 1.0F, 0.70F}},
                                  {{0.86F, 0.66F, 1.0F}},
                                  {{1.0F, 0.84F, 0.52F}}};
template <std::size_t COUNT>
StarColour one_of(const StarColour (&colours)[COUNT], float which) {
    return colours[std::min(static_cast<std::size_t>(which * static_cast<float>(COUNT)), COUNT - 1)];
}

// How bright an ember is `u` of its tail's time after it left the star, integrated from u on.
double ember_left(double u) {
    const double rest = 1.0 - std::clamp(u, 0.0, 1.0);
    return rest * rest * rest / 3.0;
}

StarColour colour_at(const StarGroup& group, const FireworkStar& star, float age) {
    const float u = age / star.life;
    StarColour colour = mixed(group.colour, group.later, smooth_step(u, 0.42F, 0.55F));
    if (group.hot && age < 0.25F) {
        const float heat = 1.0F - age / 0.25F;
        colour = mixed(colour, WHITE_HOT, 0.85F * heat);
    }
    return colour;
}

}  // namespace

// ---- Colours --------------------------------------------------------------------------------------------------

StarColour mixed(const StarColour& a, const StarColour& b, float part) {
    return {{a.c[0] + part * (b.c[0] - a.c[0]), a.c[1] + part * (b.c[1] - a.c[1]), a.c[2] + part * (b.c[2] - a.c[2])}};
}

StarColour star_colour(const FireworkLook& look, float which) {
    switch (look.palette) {
        case FireworkLook::Gold:
            return mixed(GOLD, StarColour{{1.0F, 0.74F, 0.36F}}, which);
        case FireworkLook::Silver:
            return mixed(SILVER, StarColour{{1.0F, 0.96F, 0.88F}}, which);
        case FireworkLook::Pastel:
            return one_of(PASTELS, which);
        case FireworkLook::Own: {
            const float* own = look.own[std::min(static_cast<int>(which * 4.0F), 3)];
            return {{own[0], own[1], own[2]}};
        }
        default:
            return one_of(SALTS, which);
    }
}
StarColour spark_colour(const FireworkLook& look, float which) {
    if (look.palette == FireworkLook::Own) return star_colour(look, 0.0F);
    if (look.palette == FireworkLook::Silver) return SILVER;
    if (look.palette == FireworkLook::Gold) return GOLD;
    return which < 0.35F ? SILVER : GOLD;
}

// ---- Ways -----------------------------------------------------------------------------------------------------

StarWay star_way(float drag, double age) {
    const double out = (1.0 - k7_exp(-static_cast<double>(drag) * age)) / static_cast<double>(drag);
    return {static_cast<float>(out), static_cast<float>(age - out)};
}
StarWay rocket_way(double part) { return {static_cast<float>(part * (2.0 - part)), 0.0F}; }

// ---- Light ----------------------------------------------------------------------------------------------------

StarPainter::StarPainter(const FireworkLook& look, double now, FireworkLight& light)
    : m_look(look),
      m_now(now),
      m_since(now - std::max(look.shutter, 1e-5)),
      m_still(std::clamp(look.still, 1e-5, std::max(look.shutter, 1e-5))),
      m_light(light) {}

void StarPainter::group(const StarGroup& group, const std::vector<FireworkStar>& stars) {
    if (!(m_now > group.birth) || stars.empty()) return;
    float longest = 0;
    for (const FireworkStar& star : stars) longest = std::max(longest, star.life);
    const float drag = std::max(group.drag * m_look.air, 0.02F);
    const float fall = group.fall * m_look.gravity * m_look.radius / drag;
    heads(group, stars, longest, drag, fall);
    if (group.tail > 0.0F && group.tail_light > 0.0F) tails(group, stars, longest, drag, fall);
}

void StarPainter::stroke(FireworkPlace a, FireworkPlace b, float radius, const StarColour& colour, float light) {
    if (!(light > 1e-4F)) return;
    LightStroke s{a.x, a.y, b.x, b.y, std::max(radius, m_look.least_radius), {}};
    for (int c = 0; c < 3; ++c) s.light[c] = colour.c[c] * light, m_light.total[c] += s.light[c];
    m_light.strokes.push_back(s);
}

StarWay StarPainter::way(const StarGroup& group, float drag, double age, float life) const {
    return group.rocket ? rocket_way(age / static_cast<double>(life)) : star_way(drag, age);
}

FireworkPlace StarPainter::place(const FireworkStar& star, const StarWay& way, float fall) const {
    return {star.x + star.vx * way.out + m_look.wind * way.carried, star.y + star.vy * way.out - fall * way.carried};
}

// Light at an age of a star, as a part of its full light.
float StarPainter::glow(const StarGroup& group, const FireworkStar& star, float age) const {
    const float u = age / star.life;
    if (u >= 1.0F) return 0.0F;
    float light = star.light * (1.0F - smooth_step(u, group.fade_from, 1.0F));
    if (group.hot && age < 0.2F) light *= 1.0F + 1.5F * (1.0F - age / 0.2F);
    if (group.blinks) {
        const float phase = age * (5.0F + 2.5F * chance(star.word, BLINK)) + 7.0F * chance(star.word, TWINKLE);
        const float part = phase - std::floor(phase);
        light *= part < 0.22F ? 2.4F : 0.03F;
    } else if (m_look.glitter > 0.0F && u > 0.5F) {
        const auto beat = static_cast<std::uint32_t>(age * 18.0F);
        const float dip = unit_of(place_hash(place_hash(star.word, TWINKLE), beat));
        light *= 1.0F - std::min(m_look.glitter, 1.0F) * 0.7F * dip * (u - 0.5F) * 2.0F;
    }
    return light;
}

void StarPainter::heads(const StarGroup& group, const std::vector<FireworkStar>& stars, float longest, float drag,
                        float fall) {
    const double begin = std::max(m_since - group.birth, 0.0);
    const double end = std::min(m_now - group.birth, static_cast<double>(longest));
    if (!(end > begin)) return;
    const int pieces = std::clamp(static_cast<int>(std::ceil((end - begin) / FIREWORK_STEP)), 1, 400);
    std::vector<Moment> moments;
    for (int i = 0; i <= pieces; ++i) {
        const double age = begin + (end - begin) * i / pieces;
        moments.push_back({age, way(group, drag, age, longest)});
    }
    const float radius = m_look.star_radius * group.size;
    const float full = star_light() * group.size * group.size * group.head;
    for (const FireworkStar& star : stars)
        for (int i = 0; i < pieces; ++i) {
            const Moment &from = moments[static_cast<std::size_t>(i)], &to = moments[static_cast<std::size_t>(i) + 1];
            const auto age = static_cast<float>(0.5 * (from.age + to.age));
            if (age >= star.life) break;
            const float part = static_cast<float>((to.age - from.age) / m_still);
            stroke(place(star, from.way, fall), place(star, to.way, fall), radius, colour_at(group, star, age),
                   full * part * glow(group, star, age));
        }
}

// What a tail is made of, star for star: light that was left on the way, and has sunk since. Answers the number of the
// first one, counted from birth.
int StarPainter::embers(const StarGroup& group, float longest, float drag, std::vector<Ember>& found) const {
    const double tail = static_cast<double>(group.tail);
    const auto first = static_cast<int>(std::floor(std::max(m_since - group.birth - tail, 0.0) / TAIL_STEP));
    const double end = std::min(m_now - group.birth, static_cast<double>(longest));
    const auto last = static_cast<int>(std::ceil(end / TAIL_STEP)) - 1;
    const auto sunk = [&](double time) {
        return group.rocket ? 0.0F
                            : FIREWORK_GRAVITY * m_look.radius * m_look.gravity / EMBER_DRAG *
                                  star_way(EMBER_DRAG, std::max(time, 0.0)).carried * 1.5F;
    };
    const double gone = m_now - group.birth, opened = m_since - group.birth;
    for (int i = first; i <= last && i - first < 2000; ++i) {
        const double a = i * TAIL_STEP, b = std::min(a + TAIL_STEP, end);
        const double left = tail * (ember_left(std::max(opened - a, 0.0) / tail) - ember_left((gone - a) / tail));
        const auto light = static_cast<float>(left * (b - a) / m_still);
        found.push_back({{a, way(group, drag, a, longest)},
                         {b, way(group, drag, b, longest)},
                         light,
                         sunk(gone - a),
                         sunk(gone - b),
                         static_cast<float>(gone - a)});
    }
    return first;
}

// Embers stay behind where the star has been, and sink.
void StarPainter::tails(const StarGroup& group, const std::vector<FireworkStar>& stars, float longest, float drag,
                        float fall) {
    std::vector<Ember> left;
    const int first = embers(group, longest, drag, left);
    const float radius = 0.72F * m_look.star_radius * group.size;
    const float full = 16.0F * star_light() * group.size * group.tail_light;
    const float glitter = std::clamp(group.glitter * m_look.glitter, 0.0F, 1.0F);
    const auto beat = static_cast<std::uint32_t>(static_cast<std::int64_t>(std::floor(m_now * 15.0)));
    for (const FireworkStar& star : stars)
        for (int i = 0; i < static_cast<int>(left.size()); ++i) {
            const Ember& e = left[static_cast<std::size_t>(i)];
            const auto age = static_cast<float>(e.from.age);
            if (age >= star.life) break;
            const std::uint32_t word =
                place_hash(place_hash(star.word, GLITTER), static_cast<std::uint32_t>(first + i));
            float light = full * e.light * star.light * (1.0F - smooth_step(age / star.life, 0.7F, 1.0F));
            const float spark = unit_of(word), flicker = unit_of(place_hash(word, beat));
            light *= 1.0F + glitter * (2.4F * spark * spark * (0.35F + 1.3F * flicker) - 1.0F);
            FireworkPlace a = place(star, e.from.way, fall), b = place(star, e.to.way, fall);
            const float apart = glitter * m_look.radius * (0.002F + 0.022F * std::min(e.age, 2.0F));
            const float dx = apart * signed_of(place_hash(word, 3)), dy = apart * signed_of(place_hash(word, 4));
            a.x += dx, b.x += dx, a.y += dy - e.sunk_from, b.y += dy - e.sunk_to;
            const float cooled = std::min(e.age / group.tail, 1.0F);
            stroke(a, b, radius, mixed(group.sparks, ASH_RED, 0.55F * cooled * glitter), light);
        }
}
