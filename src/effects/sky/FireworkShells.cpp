// The light and the smoke of single shells.
#include <algorithm>
#include <cmath>

#include "effects/sky/FireworkShow.h"
#include "imagelib/imagelib_curves.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/place_hash.h"

namespace {

constexpr float TURN = 6.2831853F;
constexpr float GRAVITY = 0.24F;  // radii of a burst a second squared, so that all sizes fall alike
constexpr double TAIL_STEP = 1.0 / 36.0, LIGHT_STEP = 1.0 / 20.0;  // seconds between the corners of a line
constexpr float EMBER_DRAG = 4.0F;
constexpr double FLASH = 0.3, FOUNTAIN = 6.0, CANDLE_BALL = 0.75;
constexpr int CANDLE_BALLS = 10;

enum Choice : std::uint32_t {
    DIRECTION = 101,
    ROLL,
    TILT,
    LIFE,
    LIGHT,
    COLOUR,
    SECOND,
    TURNS,
    PISTIL,
    SPEED,
    GLITTER,
    TWINKLE,
    SIDE,
    UP,
    BLINK,
    METAL,
    PUFF
};
float chance(std::uint32_t word, Choice kind) { return unit_of(place_hash(word, kind)); }
float spread(std::uint32_t word, Choice kind) { return signed_of(place_hash(word, kind)); }

// ---- Colours --------------------------------------------------------------------------------------------------

struct Colour {
    float c[3];
};
Colour mixed(const Colour& a, const Colour& b, float part) {
    return {{a.c[0] + part * (b.c[0] - a.c[0]), a.c[1] + part * (b.c[1] - a.c[1]), a.c[2] + part * (b.c[2] - a.c[2])}};
}

// What salts and metals glow like: strontium, barium, copper, sodium, calcium and their mixtures.
constexpr Colour SALTS[] = {{{1.0F, 0.10F, 0.06F}}, {{0.16F, 1.0F, 0.22F}}, {{0.14F, 0.28F, 1.0F}},
                            {{1.0F, 0.78F, 0.20F}}, {{0.62F, 0.16F, 1.0F}}, {{1.0F, 0.36F, 0.06F}},
                            {{0.12F, 0.85F, 1.0F}}, {{1.0F, 0.20F, 0.52F}}, {{0.95F, 0.95F, 1.0F}}};
constexpr Colour PASTELS[] = {{{1.0F, 0.55F, 0.62F}},
                              {{0.58F, 0.85F, 1.0F}},
                              {{0.72F, 1.0F, 0.70F}},
                              {{0.86F, 0.66F, 1.0F}},
                              {{1.0F, 0.84F, 0.52F}}};
constexpr Colour GOLD{{1.0F, 0.56F, 0.16F}}, SILVER{{0.86F, 0.92F, 1.0F}}, WHITE_HOT{{1.0F, 0.93F, 0.80F}},
    ASH_RED{{1.0F, 0.22F, 0.04F}};

template <std::size_t COUNT>
Colour one_of(const Colour (&colours)[COUNT], float which) {
    return colours[std::min(static_cast<std::size_t>(which * static_cast<float>(COUNT)), COUNT - 1)];
}
Colour salt(const FireworkLook& look, float which) {
    switch (look.palette) {
        case FireworkLook::Gold:
            return mixed(GOLD, Colour{{1.0F, 0.74F, 0.36F}}, which);
        case FireworkLook::Silver:
            return mixed(SILVER, Colour{{1.0F, 0.96F, 0.88F}}, which);
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
// Of sparks: gold of charcoal and iron, silver of titanium.
Colour metal(const FireworkLook& look, float silver) {
    if (look.palette == FireworkLook::Own) return salt(look, 0.0F);
    if (look.palette == FireworkLook::Silver) return SILVER;
    if (look.palette == FireworkLook::Gold) return GOLD;
    return silver < 0.35F ? SILVER : GOLD;
}

// ---- Stars ----------------------------------------------------------------------------------------------------

struct Star {
    float x, y, vx, vy;
    float life, light;
    std::uint32_t word;
};

// What the stars of a group have in common.
struct Group {
    double birth = 0;
    float drag = 2, fall = GRAVITY;  // fall: gravity over the radius of a burst
    float fade_from = 0.6F;          // part of the life from which on a star fades
    float tail = 0;                  // seconds
    float tail_light = 0, glitter = 0;
    float size = 1;
    bool blinks = false, hot = true, rocket = false;
    float head = 1;  // light of the star itself
    Colour colour{}, later{}, sparks{};
};

struct Shape {
    int stars;
    float reach, drag, burn, thick;
    float tail, tail_light, glitter, head, size, fall, fade_from;
};
// clang-format off
constexpr Shape SHAPES[] = {
    //                 stars reach drag  burn  thick  tail  light glit. head  size  fall  fade
    /* Peony */         {190, 1.00F, 2.3F, 1.9F, 0.07F, 0.00F, 0.0F, 0.0F, 1.00F, 1.00F, 1.0F, 0.55F},
    /* Chrysanthemum */ {150, 1.08F, 1.9F, 2.2F, 0.06F, 0.60F, 0.8F, 0.4F, 0.80F, 0.90F, 1.0F, 0.50F},
    /* Willow */        { 90, 1.10F, 1.3F, 4.4F, 0.22F, 1.90F, 0.9F, 0.9F, 0.22F, 0.80F, 1.5F, 0.10F},
    /* Palm */          { 15, 1.15F, 1.5F, 2.5F, 0.12F, 1.15F, 3.6F, 0.6F, 1.60F, 1.45F, 1.1F, 0.45F},
    /* Ring */          { 70, 0.90F, 2.0F, 2.0F, 0.01F, 0.14F, 0.5F, 0.2F, 1.05F, 1.05F, 0.8F, 0.60F},
    /* Crossette */     { 18, 0.95F, 1.7F, 0.9F, 0.06F, 0.45F, 1.5F, 0.4F, 1.10F, 1.10F, 0.9F, 0.95F},
    /* Heart */         { 84, 0.85F, 2.4F, 2.3F, 0.00F, 0.10F, 0.3F, 0.2F, 1.05F, 1.05F, 0.6F, 0.65F},
    /* Strobe */        {150, 0.95F, 2.2F, 3.8F, 0.28F, 0.00F, 0.0F, 0.0F, 1.50F, 1.00F, 0.9F, 0.75F},
};
// clang-format on

// The way A(t), and the time in which the air carries, at an age.
struct Way {
    float out, carried;
};
Way way_at(float drag, double age) {
    const double out = (1.0 - k7_exp(-static_cast<double>(drag) * age)) / static_cast<double>(drag);
    return {static_cast<float>(out), static_cast<float>(age - out)};
}
// A rocket rises to its highest point within its life: 2 u - u^2, as a throw without drag.
Way rocket_at(double part) { return {static_cast<float>(part * (2.0 - part)), 0.0F}; }

// How bright an ember is `u` of its tail's time after it left the star, integrated from u on.
double ember_left(double u) {
    const double rest = 1.0 - std::clamp(u, 0.0, 1.0);
    return rest * rest * rest / 3.0;
}

class Painter {
  public:
    Painter(const FireworkLook& look, double now, FireworkLight& light)
        : m_look(look),
          m_now(now),
          m_since(now - std::max(look.shutter, 1e-5)),
          m_still(std::clamp(look.still, 1e-5, std::max(look.shutter, 1e-5))),
          m_light(light) {}

    void group(const Group& group, const std::vector<Star>& stars) {
        if (!(m_now > group.birth) || stars.empty()) return;
        float longest = 0;
        for (const Star& star : stars) longest = std::max(longest, star.life);
        const float drag = std::max(group.drag * m_look.air, 0.02F);
        const float fall = group.fall * m_look.gravity * m_look.radius / drag;
        heads(group, stars, longest, drag, fall);
        if (group.tail > 0.0F && group.tail_light > 0.0F) tails(group, stars, longest, drag, fall);
    }

    void stroke(FireworkPlace a, FireworkPlace b, float radius, const Colour& colour, float light) {
        if (!(light > 1e-4F)) return;
        LightStroke s{a.x, a.y, b.x, b.y, std::max(radius, m_look.least_radius), {}};
        for (int c = 0; c < 3; ++c) s.light[c] = colour.c[c] * light, m_light.total[c] += s.light[c];
        m_light.strokes.push_back(s);
    }
    // Of a star as bright as the look says, a whole `still` long.
    float star_light() const { return m_look.brightness * m_look.star_radius * m_look.star_radius * 0.66F; }
    double now() const { return m_now; }
    double since() const { return m_since; }
    double still() const { return m_still; }
    const FireworkLook& look() const { return m_look; }

  private:
    struct Moment {
        double age;
        Way way;
    };
    Way way(const Group& group, float drag, double age, float life) const {
        return group.rocket ? rocket_at(age / static_cast<double>(life)) : way_at(drag, age);
    }
    FireworkPlace place(const Star& star, const Way& way, float fall) const {
        return {star.x + star.vx * way.out + m_look.wind * way.carried,
                star.y + star.vy * way.out - fall * way.carried};
    }

    // Light at an age of a star, as a part of its full light.
    float glow(const Group& group, const Star& star, float age) const {
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
    static Colour colour_at(const Group& group, const Star& star, float age) {
        const float u = age / star.life;
        Colour colour = mixed(group.colour, group.later, smooth_step(u, 0.42F, 0.55F));
        if (group.hot && age < 0.25F) {
            const float heat = 1.0F - age / 0.25F;
            colour = mixed(colour, WHITE_HOT, 0.85F * heat);
        }
        return colour;
    }

    void heads(const Group& group, const std::vector<Star>& stars, float longest, float drag, float fall) {
        const double begin = std::max(m_since - group.birth, 0.0);
        const double end = std::min(m_now - group.birth, static_cast<double>(longest));
        if (!(end > begin)) return;
        const int pieces = std::clamp(static_cast<int>(std::ceil((end - begin) / LIGHT_STEP)), 1, 400);
        std::vector<Moment> moments;
        for (int i = 0; i <= pieces; ++i) {
            const double age = begin + (end - begin) * i / pieces;
            moments.push_back({age, way(group, drag, age, longest)});
        }
        const float radius = m_look.star_radius * group.size;
        const float full = star_light() * group.size * group.size * group.head;
        for (const Star& star : stars)
            for (int i = 0; i < pieces; ++i) {
                const Moment &from = moments[static_cast<std::size_t>(i)],
                             &to = moments[static_cast<std::size_t>(i) + 1];
                const auto age = static_cast<float>(0.5 * (from.age + to.age));
                if (age >= star.life) break;
                const float part = static_cast<float>((to.age - from.age) / m_still);
                stroke(place(star, from.way, fall), place(star, to.way, fall), radius, colour_at(group, star, age),
                       full * part * glow(group, star, age));
            }
    }

    // Embers stay behind where the star has been, and sink.
    void tails(const Group& group, const std::vector<Star>& stars, float longest, float drag, float fall) {
        const double tail = static_cast<double>(group.tail);
        const auto first = static_cast<int>(std::floor(std::max(m_since - group.birth - tail, 0.0) / TAIL_STEP));
        const double end = std::min(m_now - group.birth, static_cast<double>(longest));
        const auto last = static_cast<int>(std::ceil(end / TAIL_STEP)) - 1;
        struct Ember {
            Moment from, to;
            float light, sunk_from, sunk_to, age;
        };
        std::vector<Ember> embers;
        const auto sunk = [&](double time) {
            return group.rocket ? 0.0F
                                : GRAVITY * m_look.radius * m_look.gravity / EMBER_DRAG *
                                      way_at(EMBER_DRAG, std::max(time, 0.0)).carried * 1.5F;
        };
        const double gone = m_now - group.birth, opened = m_since - group.birth;
        for (int i = first; i <= last && i - first < 2000; ++i) {
            const double a = i * TAIL_STEP, b = std::min(a + TAIL_STEP, end);
            const double left = tail * (ember_left(std::max(opened - a, 0.0) / tail) - ember_left((gone - a) / tail));
            const auto light = static_cast<float>(left * (b - a) / m_still);
            embers.push_back({{a, way(group, drag, a, longest)},
                              {b, way(group, drag, b, longest)},
                              light,
                              sunk(gone - a),
                              sunk(gone - b),
                              static_cast<float>(gone - a)});
        }
        const float radius = 0.72F * m_look.star_radius * group.size;
        const float full = 16.0F * star_light() * group.size * group.tail_light;
        const float glitter = std::clamp(group.glitter * m_look.glitter, 0.0F, 1.0F);
        const auto beat = static_cast<std::uint32_t>(static_cast<std::int64_t>(std::floor(m_now * 15.0)));
        for (const Star& star : stars)
            for (int i = 0; i < static_cast<int>(embers.size()); ++i) {
                const Ember& e = embers[static_cast<std::size_t>(i)];
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

    const FireworkLook& m_look;
    double m_now, m_since, m_still;
    FireworkLight& m_light;
};

// ---- Shapes ---------------------------------------------------------------------------------------------------

struct Direction {
    float x, y, z;
};
// Evenly over a sphere: a spiral with steps of the golden angle (H. Vogel 1979; R. Swinbank and J. Purser 2006).
Direction on_sphere(int i, int count, float start) {
    const float z = 1.0F - (2.0F * static_cast<float>(i) + 1.0F) / static_cast<float>(count);
    const K7SineCosine turn = k7_sine_cosine(2.39996323 * i + static_cast<double>(start));
    const float across = std::sqrt(std::max(1.0F - z * z, 0.0F));
    return {across * static_cast<float>(turn.cosine), across * static_cast<float>(turn.sine), z};
}
// About x, then about z: what the shell's tumbling made of it.
Direction turned(Direction d, float tilt, float roll) {
    const K7SineCosine a = k7_sine_cosine(static_cast<double>(tilt)), b = k7_sine_cosine(static_cast<double>(roll));
    const float y = d.y * static_cast<float>(a.cosine) - d.z * static_cast<float>(a.sine);
    const float z = d.y * static_cast<float>(a.sine) + d.z * static_cast<float>(a.cosine);
    return {d.x * static_cast<float>(b.cosine) - y * static_cast<float>(b.sine),
            d.x * static_cast<float>(b.sine) + y * static_cast<float>(b.cosine), z};
}

// Points of a heart at equal distances along it, within 1 of the middle.
std::vector<Direction> heart(int count) {
    constexpr int FINE = 360;
    const auto at = [](int i) {
        const double t = static_cast<double>(TURN) * i / FINE, s = k7_sin(t);
        return Direction{
            static_cast<float>(16.0 * s * s * s / 17.0),
            static_cast<float>(
                (13.0 * k7_cos(t) - 5.0 * k7_cos(2.0 * t) - 2.0 * k7_cos(3.0 * t) - k7_cos(4.0 * t) + 2.5) / 17.0),
            0.0F};
    };
    std::vector<Direction> curve;
    std::vector<float> length = {0.0F};
    for (int i = 0; i <= FINE; ++i) {
        curve.push_back(at(i));
        if (i == 0) continue;
        const Direction &a = curve[static_cast<std::size_t>(i) - 1], &b = curve.back();
        length.push_back(length.back() + std::sqrt((b.x - a.x) * (b.x - a.x) + (b.y - a.y) * (b.y - a.y)));
    }
    std::vector<Direction> points;
    for (int i = 0; i < count; ++i) {
        const float wanted = length.back() * static_cast<float>(i) / static_cast<float>(count);
        const auto next = std::upper_bound(length.begin(), length.end(), wanted) - length.begin();
        points.push_back(curve[static_cast<std::size_t>(std::min<std::ptrdiff_t>(next, FINE)) - (next > 0 ? 1 : 0)]);
    }
    return points;
}

std::vector<Direction> directions(Shell shell, int count, std::uint32_t word) {
    std::vector<Direction> found;
    const float roll = TURN * chance(word, ROLL);
    if (shell == Shell::Heart) {
        found = heart(count);
        const K7SineCosine yaw = k7_sine_cosine(static_cast<double>(0.55F * spread(word, TILT)));
        const float lean = 0.16F * spread(word, ROLL);
        for (Direction& d : found) d = turned({d.x * static_cast<float>(yaw.cosine), d.y, 0.0F}, 0.0F, lean);
    } else if (shell == Shell::Ring) {
        for (int i = 0; i < count; ++i) {
            const K7SineCosine a = k7_sine_cosine(static_cast<double>(TURN) * i / count);
            found.push_back(turned({static_cast<float>(a.cosine), static_cast<float>(a.sine), 0.0F},
                                   0.35F + 0.9F * chance(word, TILT), roll));
        }
    } else {
        for (int i = 0; i < count; ++i)
            found.push_back(turned(on_sphere(i, count, roll), 0.6F * spread(word, TILT), roll));
    }
    return found;
}

int star_count(const FireworkLook& look, float stars) {
    return std::clamp(static_cast<int>(stars * look.stars + 0.5F), 3, 4000);
}

// Stars that fly apart from a place that itself moves.
std::vector<Star> flung(const FireworkLook& look, const Shape& shape, Shell shell, int count, std::uint32_t word,
                        FireworkPlace from, float radius) {
    std::vector<Star> stars;
    const std::vector<Direction> ways = directions(shell, count, word);
    for (int i = 0; i < count; ++i) {
        const std::uint32_t own = place_hash(place_hash(word, DIRECTION), static_cast<std::uint32_t>(i));
        const float thick = std::min(shape.thick * look.ragged, 0.9F);
        const float ragged = shell == Shell::Heart || shell == Shell::Ring ? 0.012F : 0.05F;
        Direction d = ways[static_cast<std::size_t>(i)];
        d.x += ragged * look.ragged * spread(own, SIDE), d.y += ragged * look.ragged * spread(own, UP);
        if (shell == Shell::Palm) d.y = 0.35F + 0.75F * d.y;
        // Near stars seem to fly further than far ones.
        const float speed =
            radius * shape.reach * shape.drag * (1.0F + thick * spread(own, SPEED)) * (1.0F + 0.06F * d.z);
        const float life = shape.burn * look.burn * (1.0F + 0.16F * std::min(look.ragged, 2.0F) * spread(own, LIFE));
        stars.push_back(
            {from.x, from.y, d.x * speed, d.y * speed, std::max(life, 0.05F), 1.0F + 0.25F * spread(own, LIGHT), own});
    }
    return stars;
}

Group group_of(const FireworkLook& look, const Shape& shape, double birth) {
    Group group;
    group.birth = birth;
    group.drag = shape.drag;
    group.fall = GRAVITY * shape.fall;
    group.fade_from = shape.fade_from;
    group.tail = shape.tail * look.trails;
    group.tail_light = shape.tail_light;
    group.glitter = shape.glitter;
    group.size = shape.size;
    group.head = shape.head;
    return group;
}

void colour_group(const FireworkLaunch& launch, const FireworkLook& look, Group& group) {
    const Colour sparks = metal(look, launch.shell == Shell::Willow ? 0.5F : chance(launch.paints, METAL));
    Colour first = salt(look, chance(launch.paints, COLOUR)), second = salt(look, chance(launch.paints, SECOND));
    const bool classic = look.palette == FireworkLook::Classic;
    if (launch.shell == Shell::Willow) first = second = sparks;
    if (launch.shell == Shell::Heart && classic)
        first = second = chance(launch.paints, COLOUR) < 0.7F ? SALTS[0] : SALTS[7];
    if (launch.shell == Shell::Strobe && classic && chance(launch.paints, METAL) < 0.6F) first = second = SILVER;
    if (!(chance(launch.paints, TURNS) < look.turning)) second = first;
    group.colour = first, group.later = second;
    const bool coloured = launch.shell == Shell::Ring || launch.shell == Shell::Heart ||
                          (launch.shell == Shell::Chrysanthemum && chance(launch.paints, METAL) < 0.75F);
    group.sparks = coloured ? mixed(first, WHITE_HOT, 0.25F) : sparks;
}

// ---- Kinds ----------------------------------------------------------------------------------------------------

void rocket(const FireworkLaunch& launch, const FireworkLook& look, Painter& painter) {
    if (!(look.rockets > 0.0F)) return;
    Group group;
    group.birth = launch.lift;
    group.rocket = true;
    group.hot = false;
    group.tail = 0.55F * std::max(look.trails, 0.2F);
    group.tail_light = 1.4F * look.rockets;
    group.glitter = 0.8F;
    group.head = 0.25F * look.rockets;
    group.size = 0.8F;
    group.fade_from = 0.9F;
    group.colour = group.later = group.sparks = mixed(GOLD, WHITE_HOT, 0.3F);
    const std::vector<Star> one = {{launch.from.x, launch.from.y, launch.to.x - launch.from.x,
                                    launch.to.y - launch.from.y, std::max(look.rise, 0.05F), 1.0F, launch.word}};
    painter.group(group, one);
}

// The stars of a crossette break into four.
void split(const Group& whole, const Shape& shape, const std::vector<Star>& stars, const FireworkLook& look,
           float radius, float age, Painter& painter) {
    const float drag = std::max(whole.drag * look.air, 0.02F);
    const float fall = whole.fall * look.gravity * look.radius / drag;
    const Way way = way_at(drag, static_cast<double>(age));
    const float left = 1.0F - drag * way.out;  // of the speed
    Group group = whole;
    group.birth = whole.birth + static_cast<double>(age);
    group.tail *= 0.8F;
    group.fade_from = 0.4F;
    group.hot = true;
    group.colour = group.later = whole.later;
    std::vector<Star> parts;
    for (const Star& star : stars)
        for (int i = 0; i < 4; ++i) {
            const std::uint32_t own = place_hash(star.word, static_cast<std::uint32_t>(500 + i));
            const K7SineCosine turn =
                k7_sine_cosine(static_cast<double>(TURN * (0.25F * static_cast<float>(i) + chance(star.word, ROLL))));
            const float speed = 0.42F * radius * shape.drag * (0.85F + 0.3F * chance(own, SPEED));
            parts.push_back({star.x + star.vx * way.out + look.wind * way.carried,
                             star.y + star.vy * way.out - fall * way.carried,
                             star.vx * left + speed * static_cast<float>(turn.cosine),
                             star.vy * left + speed * static_cast<float>(turn.sine),
                             1.1F * look.burn * (0.9F + 0.2F * chance(own, LIFE)), 1.0F, own});
        }
    painter.group(group, parts);
}

void burst(const FireworkLaunch& launch, const FireworkLook& look, Painter& painter) {
    const Shape& shape = SHAPES[static_cast<int>(launch.shell)];
    const int count = star_count(look, static_cast<float>(shape.stars));
    Group group = group_of(look, shape, launch.burst);
    group.blinks = launch.shell == Shell::Strobe;
    colour_group(launch, look, group);
    std::vector<Star> stars = flung(look, shape, launch.shell, count, launch.word, launch.to, launch.radius);
    if (launch.shell == Shell::Crossette) {
        const float age = shape.burn * look.burn;
        for (Star& star : stars) star.life = age;
        painter.group(group, stars);
        split(group, shape, stars, look, launch.radius, age, painter);
        return;
    }
    painter.group(group, stars);
    const bool second_ring = launch.shell == Shell::Ring && chance(launch.word, PISTIL) < 0.5F;
    const bool pistil =
        (launch.shell == Shell::Peony || launch.shell == Shell::Chrysanthemum || launch.shell == Shell::Ring) &&
        chance(launch.word, PISTIL) < 0.6F;
    const bool second_heart = launch.shell == Shell::Heart;
    if (!second_ring && !second_heart && !pistil) return;
    const std::uint32_t word = second_heart ? launch.word : place_hash(launch.word, PISTIL);
    const Shell inner = second_ring ? Shell::Ring : second_heart ? Shell::Heart : Shell::Peony;
    Shape small = SHAPES[static_cast<int>(inner)];
    small.burn *= 0.85F;
    Group core = group_of(look, small, launch.burst);
    core.colour = core.later = second_heart ? mixed(group.colour, WHITE_HOT, 0.35F)
                                            : salt(look, chance(place_hash(launch.paints, PISTIL), COLOUR));
    core.sparks = core.colour;
    const int fewer = star_count(look, second_heart ? 80.0F : 45.0F);
    const float share = second_heart ? 0.8F : second_ring ? 0.62F : 0.4F;  // of the radius
    painter.group(core, flung(look, small, inner, fewer, word, launch.to, launch.radius * share));
}

// Sparks thrown up by a nozzle; each is a short line.
void fountain(const FireworkLaunch& launch, const FireworkLook& look, Painter& painter) {
    const float height = 1.9F * launch.radius, gravity = 1.7F * height * std::max(look.gravity, 0.05F);
    constexpr float DRAG = 0.9F, LONGEST = 1.7F;
    const float speed = 1.35F * std::sqrt(2.0F * gravity * height);
    const float a_second = 190.0F * look.stars;
    const double gap = 1.0 / std::max(static_cast<double>(a_second), 1.0);
    const double length = FOUNTAIN * static_cast<double>(look.burn), life_most = static_cast<double>(LONGEST);
    const double begin = std::max(painter.since() - launch.lift - life_most, 0.0);
    const double end = std::min(painter.now() - launch.lift, length);
    const Colour colour = salt(look, chance(launch.paints, COLOUR)), sparks = metal(look, chance(launch.paints, METAL));
    const bool coloured = chance(launch.paints, TURNS) < 0.4F;
    const float fall = gravity / DRAG;
    for (auto i = static_cast<std::int64_t>(std::ceil(begin / gap)); static_cast<double>(i) * gap < end; ++i) {
        const std::uint32_t word = place_hash(place_hash(launch.word, SPEED), static_cast<std::uint32_t>(i));
        const double lit = launch.lift + (static_cast<double>(i) + static_cast<double>(chance(word, LIFE))) * gap;
        const float swell = smooth_step(static_cast<float>(lit - launch.lift), -0.3F, 0.8F) *
                            (1.0F - smooth_step(static_cast<float>(lit - launch.lift),
                                                static_cast<float>(length) - 1.2F, static_cast<float>(length)));
        const float life = LONGEST * (0.55F + 0.45F * chance(word, LIGHT));
        // Sparks glow a little longer than the shutter is open, so that they are lines.
        const double from = std::max(painter.since() - 0.055 - lit, 0.0);
        const double to = std::min(painter.now() - lit, static_cast<double>(life));
        if (!(to > from) || !(swell > 0.0F)) continue;
        const float side = 0.2F * (spread(word, SIDE) + 0.6F * spread(word, UP));
        const float up = speed * (0.72F + 0.28F * chance(word, ROLL)) * (0.35F + 0.65F * swell);
        const int pieces = std::clamp(static_cast<int>(std::ceil((to - from) / LIGHT_STEP)), 1, 60);
        FireworkPlace before{};
        for (int p = 0; p <= pieces; ++p) {
            const double age = from + (to - from) * p / pieces;
            const Way way = way_at(DRAG, age);
            const FireworkPlace at{launch.from.x + side * up * way.out + look.wind * way.carried,
                                   launch.from.y + up * way.out - fall * way.carried};
            const float u = static_cast<float>(age) / life;
            const float part = static_cast<float>((to - from) / pieces / (painter.still() + 0.055));
            if (p > 0)
                painter.stroke(
                    before, at, 0.7F * look.star_radius,
                    coloured && (word & 3U) == 0U
                        ? colour
                        : mixed(mixed(sparks, WHITE_HOT, 0.5F * (1.0F - u)), ASH_RED, 0.5F * u * u),
                    painter.star_light() * 1.1F * part * (1.0F - u * u) * (0.4F + 1.2F * chance(word, GLITTER)));
            before = at;
        }
    }
}

// Balls with tails, one after another from a tube.
void roman_candle(const FireworkLaunch& launch, const FireworkLook& look, Painter& painter) {
    const float height = 2.3F * launch.radius, life = 1.35F;
    for (int i = 0; i < CANDLE_BALLS; ++i) {
        const std::uint32_t word = place_hash(place_hash(launch.word, SIDE), static_cast<std::uint32_t>(i));
        Group group;
        group.birth = launch.lift + CANDLE_BALL * (i + 0.35 * static_cast<double>(chance(word, SPEED)));
        if (painter.now() <= group.birth) break;
        group.rocket = true;
        group.hot = false;
        group.fade_from = 0.8F;
        group.tail = 0.45F * look.trails;
        group.tail_light = 2.2F;
        group.glitter = 0.6F;
        group.size = 1.4F;
        group.colour = group.later = salt(look, chance(word, COLOUR));
        group.sparks = mixed(metal(look, 0.5F), group.colour, 0.35F);
        const float lean = 0.1F * spread(launch.word, TILT) + 0.07F * spread(word, TILT);
        const float up = height * (0.85F + 0.3F * chance(word, UP));
        const FireworkPlace top{launch.from.x + lean * up, launch.from.y + up};
        painter.group(group, {{launch.from.x, launch.from.y, top.x - launch.from.x, up, life, 1.0F, word}});
        // It ends in a small burst.
        Shape shape = SHAPES[0];
        shape.burn = 0.7F;
        Group pop = group_of(look, shape, group.birth + static_cast<double>(life));
        pop.colour = pop.later = group.colour;
        pop.size = 0.8F;
        painter.group(pop, flung(look, shape, Shell::Peony, star_count(look, 16.0F), word, top, 0.22F * launch.radius));
    }
}

}  // namespace

double longest_life(const FireworkLook& look) {
    const double air = static_cast<double>(4.4F * 1.32F * look.burn + 1.9F * look.trails + look.rise);
    const double ground = std::max(FOUNTAIN * static_cast<double>(look.burn) + 2.0,
                                   CANDLE_BALLS * CANDLE_BALL + 2.0 + static_cast<double>(look.trails + look.burn));
    return std::max(air, ground) + look.shutter;
}

void light_of(const FireworkLaunch& launch, const FireworkLook& look, double now, FireworkLight& light) {
    light.middle = launch.to;
    Painter painter(look, now, light);
    if (launch.shell == Shell::Fountain || launch.shell == Shell::RomanCandle) {
        light.middle = {launch.from.x, launch.from.y + 0.7F * launch.radius};
        return launch.shell == Shell::Fountain ? fountain(launch, look, painter) : roman_candle(launch, look, painter);
    }
    rocket(launch, look, painter);
    if (now < launch.burst) {
        const Way way = rocket_at(std::clamp((now - launch.lift) / (launch.burst - launch.lift), 0.0, 1.0));
        light.middle = {launch.from.x + way.out * (launch.to.x - launch.from.x),
                        launch.from.y + way.out * (launch.to.y - launch.from.y)};
        return;
    }
    const double since_burst = now - launch.burst;
    if (since_burst < FLASH) {
        const auto rest = static_cast<float>(1.0 - since_burst / FLASH);
        light.flash = rest * rest * rest;
        Group group;
        colour_group(launch, look, group);
        for (int c = 0; c < 3; ++c) light.flash_colour[c] = 0.6F * WHITE_HOT.c[c] + 0.4F * group.colour.c[c];
        // What the case was: a core that the glow alone would lack.
        const float core = 0.045F * launch.radius * (1.4F - 0.4F * rest);
        painter.stroke(launch.to, launch.to, core, WHITE_HOT, 5.0F * core * core * look.flash * light.flash * rest);
    }
    burst(launch, look, painter);
}

void add_smoke(const FireworkLaunch& launch, const FireworkLook& look, double now, std::vector<SmokePuff>& puffs) {
    const auto puff = [&](FireworkPlace at, float size, double since, float thick, std::uint32_t word) {
        const double age = now - since;
        if (!(age > 0.0) || age >= SMOKE_LIFE) return;
        const auto seconds = static_cast<float>(age), rest = static_cast<float>(1.0 - age / SMOKE_LIFE);
        const Way way = way_at(1.6F, age);
        const float away = 0.8F * size * way.out;
        puffs.push_back({at.x + away * spread(word, SIDE) + look.wind * seconds,
                         at.y + away * spread(word, UP) + 0.012F * size * seconds,
                         size * (0.14F + 0.34F * way.out + 0.03F * seconds),
                         thick * rest * rest * smooth_step(seconds, 0.0F, 0.25F)});
    };
    if (launch.in_the_air()) {
        for (int i = 0; i < 7; ++i)
            puff(launch.to, launch.radius, launch.burst, 0.55F,
                 place_hash(place_hash(launch.word, PUFF), static_cast<std::uint32_t>(i)));
        return;
    }
    const double length =
        launch.shell == Shell::Fountain ? FOUNTAIN * static_cast<double>(look.burn) : CANDLE_BALLS * CANDLE_BALL;
    for (int i = 0; i < 200 && 0.6 * i < length; ++i)
        puff({launch.from.x, launch.from.y + 0.1F * launch.radius}, 0.6F * launch.radius, launch.lift + 0.6 * i, 0.4F,
             place_hash(place_hash(launch.word, PUFF), static_cast<std::uint32_t>(i)));
}
