// The light and the smoke of single shells.
#include <algorithm>
#include <cmath>

#include "effects/sky/FireworkStars.h"
#include "imagelib/imagelib_curves.h"
#include "k7pi_baselib/portable_math.h"

using namespace firework;

namespace {

constexpr float TURN = 6.2831853F;
constexpr double FLASH = 0.3, FOUNTAIN = 6.0, CANDLE_BALL = 0.75;  // seconds
constexpr int CANDLE_BALLS = 10;

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
    /* Heart */         {100, 0.85F, 2.4F, 2.3F, 0.00F, 0.16F, 0.5F, 0.3F, 1.05F, 1.05F, 0.6F, 0.65F},
    /* Strobe */        {150, 0.95F, 2.2F, 3.8F, 0.28F, 0.00F, 0.0F, 0.0F, 1.50F, 1.00F, 0.9F, 0.75F},
};
// clang-format on

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
std::vector<FireworkStar> flung(const FireworkLook& look, const Shape& shape, Shell shell, int count,
                                std::uint32_t word, FireworkPlace from, float radius) {
    std::vector<FireworkStar> stars;
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

StarGroup group_of(const FireworkLook& look, const Shape& shape, double birth) {
    StarGroup group;
    group.birth = birth;
    group.drag = shape.drag;
    group.fall = FIREWORK_GRAVITY * shape.fall;
    group.fade_from = shape.fade_from;
    group.tail = shape.tail * look.trails;
    group.tail_light = shape.tail_light;
    group.glitter = shape.glitter;
    group.size = shape.size;
    group.head = shape.head;
    return group;
}

void colour_group(const FireworkLaunch& launch, const FireworkLook& look, StarGroup& group) {
    const StarColour sparks = spark_colour(look, launch.shell == Shell::Willow ? 0.5F : chance(launch.paints, METAL));
    StarColour first = star_colour(look, chance(launch.paints, COLOUR)),
               second = star_colour(look, chance(launch.paints, SECOND));
    const bool classic = look.palette == FireworkLook::Classic;
    if (launch.shell == Shell::Willow) first = second = sparks;
    if (launch.shell == Shell::Heart && classic)
        first = second = chance(launch.paints, COLOUR) < 0.7F ? STRONTIUM_RED : PINK;
    if (launch.shell == Shell::Strobe && classic && chance(launch.paints, METAL) < 0.6F) first = second = SILVER;
    if (!(chance(launch.paints, TURNS) < look.turning)) second = first;
    group.colour = first, group.later = second;
    const float choice = chance(launch.paints, METAL);
    const bool branches = launch.shell == Shell::Palm || launch.shell == Shell::Crossette;
    const bool coloured = launch.shell == Shell::Ring || launch.shell == Shell::Heart ||
                          (launch.shell == Shell::Chrysanthemum && choice < 0.75F) || (branches && choice > 0.55F);
    group.sparks = coloured ? mixed(first, WHITE_HOT, 0.25F) : sparks;
}

// ---- Kinds ----------------------------------------------------------------------------------------------------

void rocket(const FireworkLaunch& launch, const FireworkLook& look, StarPainter& painter) {
    if (!(look.rockets > 0.0F)) return;
    StarGroup group;
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
    const std::vector<FireworkStar> one = {{launch.from.x, launch.from.y, launch.to.x - launch.from.x,
                                            launch.to.y - launch.from.y, std::max(look.rise, 0.05F), 1.0F,
                                            launch.word}};
    painter.group(group, one);
}

// The stars of a crossette break into four.
void split(const StarGroup& whole, const Shape& shape, const std::vector<FireworkStar>& stars, const FireworkLook& look,
           float radius, float age, StarPainter& painter) {
    const float drag = std::max(whole.drag * look.air, 0.02F);
    const float fall = whole.fall * look.gravity * look.radius / drag;
    const StarWay way = star_way(drag, static_cast<double>(age));
    const float left = 1.0F - drag * way.out;  // of the speed
    StarGroup group = whole;
    group.birth = whole.birth + static_cast<double>(age);
    group.tail *= 0.8F;
    group.fade_from = 0.4F;
    group.hot = true;
    group.colour = group.later = whole.later;
    std::vector<FireworkStar> parts;
    for (const FireworkStar& star : stars)
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

void burst(const FireworkLaunch& launch, const FireworkLook& look, StarPainter& painter) {
    const Shape& shape = SHAPES[static_cast<int>(launch.shell)];
    const int count = star_count(look, static_cast<float>(shape.stars));
    StarGroup group = group_of(look, shape, launch.burst);
    group.blinks = launch.shell == Shell::Strobe;
    colour_group(launch, look, group);
    std::vector<FireworkStar> stars = flung(look, shape, launch.shell, count, launch.word, launch.to, launch.radius);
    if (launch.shell == Shell::Crossette) {
        const float age = shape.burn * look.burn;
        for (FireworkStar& star : stars) star.life = age;
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
    StarGroup core = group_of(look, small, launch.burst);
    core.colour = core.later = second_heart ? mixed(group.colour, WHITE_HOT, 0.35F)
                                            : star_colour(look, chance(place_hash(launch.paints, PISTIL), COLOUR));
    core.sparks = core.colour;
    const int fewer = star_count(look, second_heart ? 80.0F : 45.0F);
    const float share = second_heart ? 0.8F : second_ring ? 0.62F : 0.4F;  // of the radius
    painter.group(core, flung(look, small, inner, fewer, word, launch.to, launch.radius * share));
}

// A nozzle on the ground.
struct Jet {
    FireworkPlace from;
    float speed, fall, wind;
    StarColour colour, sparks;
    bool coloured;  // every fourth spark
};
constexpr float JET_DRAG = 0.9F, LONGEST_SPARK = 1.7F;
constexpr double SPARK_GLOW =
    0.055;  // seconds that sparks glow longer than the shutter is open, so that they are lines

void spark(const Jet& jet, std::uint32_t word, double lit, float swell, const FireworkLook& look,
           StarPainter& painter) {
    const float life = LONGEST_SPARK * (0.55F + 0.45F * chance(word, LIGHT));
    const double from = std::max(painter.since() - SPARK_GLOW - lit, 0.0);
    const double to = std::min(painter.now() - lit, static_cast<double>(life));
    if (!(to > from) || !(swell > 0.0F)) return;
    const float up = jet.speed * (0.72F + 0.28F * chance(word, ROLL)) * (0.35F + 0.65F * swell);
    const float side = 0.2F * up * (spread(word, SIDE) + 0.6F * spread(word, UP));
    const int pieces = std::clamp(static_cast<int>(std::ceil((to - from) / FIREWORK_STEP)), 1, 60);
    const auto part = static_cast<float>((to - from) / pieces / (painter.still() + SPARK_GLOW));
    const float light = painter.star_light() * 1.1F * part * (0.4F + 1.2F * chance(word, GLITTER));
    FireworkPlace before{};
    for (int i = 0; i <= pieces; ++i) {
        const double age = from + (to - from) * i / pieces;
        const StarWay way = star_way(JET_DRAG, age);
        const FireworkPlace at{jet.from.x + side * way.out + jet.wind * way.carried,
                               jet.from.y + up * way.out - jet.fall * way.carried};
        const float u = static_cast<float>(age) / life;
        const StarColour metal = mixed(mixed(jet.sparks, WHITE_HOT, 0.5F * (1.0F - u)), ASH_RED, 0.5F * u * u);
        if (i > 0)
            painter.stroke(before, at, 0.7F * look.star_radius, jet.coloured && (word & 3U) == 0U ? jet.colour : metal,
                           light * (1.0F - u * u));
        before = at;
    }
}

void fountain(const FireworkLaunch& launch, const FireworkLook& look, StarPainter& painter) {
    const float height = 1.9F * launch.radius, gravity = 1.7F * height * std::max(look.gravity, 0.05F);
    const Jet jet{launch.from,
                  1.35F * std::sqrt(2.0F * gravity * height),
                  gravity / JET_DRAG,
                  look.wind,
                  star_colour(look, chance(launch.paints, COLOUR)),
                  spark_colour(look, chance(launch.paints, METAL)),
                  chance(launch.paints, TURNS) < 0.4F};
    const double gap = 1.0 / std::max(static_cast<double>(190.0F * look.stars), 1.0);
    const double length = FOUNTAIN * static_cast<double>(look.burn);
    const double begin = std::max(painter.since() - launch.lift - static_cast<double>(LONGEST_SPARK), 0.0);
    const double end = std::min(painter.now() - launch.lift, length);
    for (auto i = static_cast<std::int64_t>(std::ceil(begin / gap)); static_cast<double>(i) * gap < end; ++i) {
        const std::uint32_t word = place_hash(place_hash(launch.word, SPEED), static_cast<std::uint32_t>(i));
        const double lit = (static_cast<double>(i) + static_cast<double>(chance(word, LIFE))) * gap;
        const auto since = static_cast<float>(lit), last = static_cast<float>(length);
        const float swell = smooth_step(since, -0.3F, 0.8F) * (1.0F - smooth_step(since, last - 1.2F, last));
        spark(jet, word, launch.lift + lit, swell, look, painter);
    }
}

// Balls with tails, one after another from a tube.
void roman_candle(const FireworkLaunch& launch, const FireworkLook& look, StarPainter& painter) {
    const float height = 2.3F * launch.radius, life = 1.35F;
    for (int i = 0; i < CANDLE_BALLS; ++i) {
        const std::uint32_t word = place_hash(place_hash(launch.word, SIDE), static_cast<std::uint32_t>(i));
        StarGroup group;
        group.birth = launch.lift + CANDLE_BALL * (i + 0.35 * static_cast<double>(chance(word, SPEED)));
        if (painter.now() <= group.birth) break;
        group.rocket = true;
        group.hot = false;
        group.fade_from = 0.8F;
        group.tail = 0.45F * look.trails;
        group.tail_light = 2.2F;
        group.glitter = 0.6F;
        group.size = 1.4F;
        group.colour = group.later = star_colour(look, chance(word, COLOUR));
        group.sparks = mixed(spark_colour(look, 0.5F), group.colour, 0.35F);
        const float lean = 0.1F * spread(launch.word, TILT) + 0.07F * spread(word, TILT);
        const float up = height * (0.85F + 0.3F * chance(word, UP));
        const FireworkPlace top{launch.from.x + lean * up, launch.from.y + up};
        painter.group(group, {{launch.from.x, launch.from.y, top.x - launch.from.x, up, life, 1.0F, word}});
        // It ends in a small burst.
        Shape shape = SHAPES[0];
        shape.burn = 0.7F;
        StarGroup pop = group_of(look, shape, group.birth + static_cast<double>(life));
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
    StarPainter painter(look, now, light);
    if (launch.shell == Shell::Fountain || launch.shell == Shell::RomanCandle) {
        light.middle = {launch.from.x, launch.from.y + 0.7F * launch.radius};
        return launch.shell == Shell::Fountain ? fountain(launch, look, painter) : roman_candle(launch, look, painter);
    }
    rocket(launch, look, painter);
    if (now < launch.burst) {
        const StarWay way = rocket_way(std::clamp((now - launch.lift) / (launch.burst - launch.lift), 0.0, 1.0));
        light.middle = {launch.from.x + way.out * (launch.to.x - launch.from.x),
                        launch.from.y + way.out * (launch.to.y - launch.from.y)};
        return;
    }
    const double since_burst = now - launch.burst;
    if (since_burst < FLASH) {
        const auto rest = static_cast<float>(1.0 - since_burst / FLASH);
        light.flash = rest * rest * rest;
        StarGroup group;
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
        const StarWay way = star_way(1.6F, age);
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
