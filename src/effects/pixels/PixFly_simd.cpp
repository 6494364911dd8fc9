#include "effects/pixels/PixFly_simd.h"

#include "noiselib/place_hash.h"
#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

using Words = Register<std::uint32_t>;

constexpr float VARIED_IN = 12;             // frames in which pieces come to differ in size
constexpr float CARRIED = 0.7F;             // share of the wind that carries eddies along as well
constexpr float STEP = 0.6F, WIDER = 0.8F;  // pixels from place to place of what is blurred by motion, and of its size
constexpr float MOST_STEPS = 24;
constexpr float FARTHEST = 1e6F;  // pixels

// ---- Chance -------------------------------------------------------------------------------------------------------

// place_hash() of a word and a number.
static inline Words hashed(Words a, std::uint32_t b) {
    Words h = a ^ (b * 0x9E3779B9U + 0x7F4A7C15U);
    h = (h ^ (h >> 16)) * 0x85EBCA6BU;
    h = (h ^ (h >> 13)) * 0xC2B2AE35U;
    return h ^ (h >> 16);
}
static inline Words hashed(std::uint32_t a, Words b) {
    Words h = (b * 0x9E3779B9U + 0x7F4A7C15U) ^ a;
    h = (h ^ (h >> 16)) * 0x85EBCA6BU;
    h = (h ^ (h >> 13)) * 0xC2B2AE35U;
    return h ^ (h >> 16);
}
static inline Floats unit(Words word) { return to_floats((Ints)(word >> 8)) * 0x1p-24F; }
// Of the halves of a word, in [0, 1).
static inline Floats upper_unit(Words word) { return to_floats((Ints)(word >> 16)) * 0x1p-16F; }
static inline Floats lower_unit(Words word) { return to_floats((Ints)(word & 0xFFFFU)) * 0x1p-16F; }

// ---- Curves -------------------------------------------------------------------------------------------------------

// e^-x for x from 0 on, to about 1e-6: 2^f by its series.
static inline Floats fallen(Floats x) {
    const Floats power = limited(x, Floats{}, all<Floats>(80.0F)) * -1.44269504F;
    const Ints whole = to_ints(power);
    const Floats f = (power - to_floats(whole)) * 0.693147181F;
    const Floats series =
        1.0F + f * (1.0F + f * (0.5F + f * (0.166666667F +
                                            f * (0.0416666667F +
                                                 f * (0.00833333333F + f * (0.00138888889F + f * 0.000198412698F))))));
    return series * (Floats)((whole + 127) << 23);
}

struct Turned {
    Floats sine, cosine;
};
// By the series of the half angle, to about 1e-5.
static inline Turned turned(Floats angle) {
    const Floats turns = limited(angle * 0.159154943F, all<Floats>(-1e6F), all<Floats>(1e6F));
    const Floats rest = turns - to_floats(to_ints(turns + (turns < 0.0F ? all<Floats>(-0.5F) : all<Floats>(0.5F))));
    const Floats y = rest * 3.14159265F, q = y * y;
    const Floats s =
        y * (1.0F + q * (-0.166666667F + q * (0.00833333333F + q * (-0.000198412698F + q * 2.75573192e-6F))));
    const Floats c =
        1.0F + q * (-0.5F + q * (0.0416666667F + q * (-0.00138888889F + q * (2.48015873e-5F + q * -2.75573192e-7F))));
    return {2.0F * s * c, c * c - s * s};
}

static inline Floats smooth(Floats t) {
    t = to_unit(t);
    return (3.0F - 2.0F * t) * t * t;
}

// ---- Flights ------------------------------------------------------------------------------------------------------

struct Vector {
    Floats x, y;
};

// What does not change while a piece flies.
struct Pieces {
    Vector start, speed;
    Floats grip, inverse_grip;
    Vector from_vortex, to_attractor;
    Floats vortex_turn, pull, swirled;
};

// Frames that something has had of its first speed, of the air's, and of a steady acceleration (squared), of
// v' = g + k (w - v).
struct Spans {
    Floats coast, felt, pulled;
};
static inline Spans spans(const Pieces& p, Floats age) {
    const Floats lost = p.grip * age;
    const Floats coast = (1.0F - fallen(lost)) * p.inverse_grip;
    const Floats pulled = (age - coast) * p.inverse_grip;
    const auto is_short = lost < 0.02F;  // where the differences would be rounded away
    const Floats early = age * (1.0F - lost * (0.5F - lost * 0.166666667F));
    const Floats early_pulled = 0.5F * age * age * (1.0F - lost * (0.333333333F - lost * 0.0833333333F));
    Spans s;
    s.coast = is_short ? early : coast;
    s.pulled = is_short ? early_pulled : pulled;
    s.felt = s.pulled * p.grip;
    return s;
}

static inline Floats swell(const PixFlight& f, Floats age) {
    const Floats at = limited(age * (static_cast<float>(PixFlight::SWELLS) / f.flight_time), Floats{},
                              all<Floats>(static_cast<float>(PixFlight::SWELLS) - 0.001F));
    const Ints index = to_ints(at);
    const Floats low = gather(f.swells, index), high = gather(f.swells, index + 1);
    return low + (at - to_floats(index)) * (high - low);
}

// Without eddies. `carried`: how far the wind has carried it.
static inline Vector place_at(const PixFlight& f, const Pieces& p, Floats age, Floats& felt, Vector& carried) {
    const Spans s = spans(p, age);
    felt = s.felt;
    const Floats blown = s.felt * (f.swells ? swell(f, age) : all<Floats>(1.0F));
    carried = {f.wind[0] * blown, f.wind[1] * blown};
    Vector at = {p.start.x + p.speed.x * s.coast + f.gravity[0] * s.pulled + carried.x,
                 p.start.y + p.speed.y * s.coast + f.gravity[1] * s.pulled + carried.y};
    if (f.vortex_turn != 0) {
        const Turned t = turned(p.vortex_turn * s.felt);
        at.x = at.x + (t.cosine - 1.0F) * p.from_vortex.x - t.sine * p.from_vortex.y;
        at.y = at.y + (t.cosine - 1.0F) * p.from_vortex.y + t.sine * p.from_vortex.x;
    }
    if (f.pull != 0) {
        // What is pulled goes to the middle and stays there; what is pushed flies on.
        const Floats h = 0.5F * p.pull * age * age;
        const Floats share = f.pull > 0 ? 1.0F - fallen(h) : h;
        const Floats kept = f.pull > 0 ? 1.0F - share : all<Floats>(1.0F);
        at.x = p.start.x + (at.x - p.start.x) * kept + share * p.to_attractor.x;
        at.y = p.start.y + (at.y - p.start.y) * kept + share * p.to_attractor.y;
    }
    return at;
}

static inline Floats half_of(Ints word, bool upper) { return to_floats(upper ? word >> 16 : (word << 16) >> 16); }

// The eddies' displacement at a place, of unit strength.
static inline Vector eddies(const PixFlight& f, Floats x, Floats y) {
    const Floats u = limited((x - f.eddies_left) * f.eddies_per_width, Floats{},
                             all<Floats>(static_cast<float>(f.eddies_wide) - 1.001F));
    const Floats v = limited((y - f.eddies_low) * f.eddies_per_width, Floats{},
                             all<Floats>(static_cast<float>(f.eddies_high) - 1.001F));
    const Ints column = to_ints(u), row = to_ints(v), index = row * f.eddies_wide + column;
    const Floats tx = u - to_floats(column), ty = v - to_floats(row);
    const Ints a = gather(f.eddies, index), b = gather(f.eddies, index + 1),
               c = gather(f.eddies, index + f.eddies_wide), d = gather(f.eddies, index + f.eddies_wide + 1);
    const auto mixed = [&](bool upper) {
        const Floats low = half_of(a, upper) + tx * (half_of(b, upper) - half_of(a, upper));
        const Floats high = half_of(c, upper) + tx * (half_of(d, upper) - half_of(c, upper));
        return (low + ty * (high - low)) * f.eddy_unit;
    };
    return {mixed(false), mixed(true)};
}

static inline Pieces pieces(const PixFlight& f, Vector start, Words word) {
    const Words a = hashed(word, 1U), b = hashed(word, 2U);
    Pieces p;
    p.start = start;
    p.grip = f.grip * (0.6F + 0.8F * upper_unit(a));
    p.inverse_grip = 1.0F / larger(p.grip, all<Floats>(1e-9F));
    const Floats chance = lower_unit(a);
    p.swirled = 0.55F + 0.9F * chance;
    // A square of chance made round.
    const Floats sx = 2.0F * upper_unit(b) - 1.0F, sy = 2.0F * lower_unit(b) - 1.0F;
    p.speed.x = f.spread * sx * square_root(1.0F - 0.5F * sy * sy);
    p.speed.y = f.spread * sy * square_root(1.0F - 0.5F * sx * sx);
    if (f.burst != 0) {
        const Floats dx = start.x - f.burst_centre[0], dy = start.y - f.burst_centre[1];
        const Floats distance = square_root(dx * dx + dy * dy);
        const Floats speed = f.burst * (0.4F + 1.2F * chance) * f.burst_reach / (f.burst_reach + distance) /
                             larger(distance, all<Floats>(0.5F));
        p.speed = {p.speed.x + speed * dx, p.speed.y + speed * dy};
    }
    p.from_vortex = {start.x - f.vortex[0], start.y - f.vortex[1]};
    p.to_attractor = {f.attractor[0] - start.x, f.attractor[1] - start.y};
    const auto near = [](const Vector& v, float radius) {
        return 1.0F / (1.0F + (v.x * v.x + v.y * v.y) * (1.0F / (radius * radius)));
    };
    p.vortex_turn = f.vortex_turn * near(p.from_vortex, f.vortex_radius) * (0.85F + 0.3F * chance);
    p.pull = f.pull * near(p.to_attractor, f.attractor_radius) * (0.7F + 0.6F * chance);
    return p;
}

// Splats of LANES pieces at rest at `start`, which have been away for so long. How many.
static inline int splat_of(const PixFlight& f, Vector start, Words word, Floats age, Ints flies, std::uint32_t first,
                           PixSplat* out) {
    const Pieces p = pieces(f, start, word);
    const Floats opened = larger(age - f.half_open, Floats{});
    const Floats closed = larger(age + f.half_open, Floats{});
    Floats felt_open, felt;
    Vector carried;
    Vector open = place_at(f, p, opened, felt_open, carried);
    Vector close = place_at(f, p, closed, felt, carried);
    if (f.swirl_speed != 0) {
        const Vector eddy = eddies(f, close.x - CARRIED * carried.x, close.y - CARRIED * carried.y);
        // Straight on within an eddy, a random walk through many.
        const float reach = f.swirl_speed * f.swirl_time;
        const auto far = [&](Floats frames) {
            return p.swirled * reach * (square_root(1.0F + frames * (2.0F / f.swirl_time)) - 1.0F);
        };
        const Floats from = far(felt_open), to = far(felt);
        open = {open.x + from * eddy.x, open.y + from * eddy.y};
        close = {close.x + to * eddy.x, close.y + to * eddy.y};
    }
    const Floats share = to_unit(age * (1.0F / f.flight_time));
    const Floats varied = -f.vary * smooth(age * (1.0F / VARIED_IN)) * upper_unit(hashed(word, 3U));
    const Floats size = f.block * (1.0F + varied) * (1.0F + (f.end_size - 1.0F) * smooth(share));
    const Floats weight = f.fade > 0 ? 1.0F - smooth((share - (1.0F - f.fade)) * (1.0F / f.fade)) : all<Floats>(1.0F);
    const Floats tint = smooth(share * (1.0F / f.tint_part)), glow = smooth(age * (1.0F / VARIED_IN));
    const Floats x = 0.5F * (open.x + close.x), y = 0.5F * f.aspect * (open.y + close.y);
    const Floats dx = close.x - open.x, dy = f.aspect * (close.y - open.y);
    const Floats reach_x = size + absolute(dx), reach_y = size * larger(f.aspect, 1.0F) + absolute(dy);
    const Ints seen = flies & (weight > 0.0F) & (size > 0.02F) & (x + reach_x > 0.0F) & (x - reach_x < f.width) &
                      (y + reach_y > 0.0F) & (y - reach_y < f.height) & (absolute(x) < FARTHEST) &
                      (absolute(y) < FARTHEST);
    const auto whole = [](Floats v, float unit, float most) {
        return to_ints(limited(v * (1.0F / unit), all<Floats>(-most), all<Floats>(most)));
    };
    const Ints moved_x = whole(dx, PixSplat::MOVE, 32767), moved_y = whole(dy, PixSplat::MOVE, 32767);
    const Ints sized = whole(size + 0.5F * PixSplat::SIZE, PixSplat::SIZE, 65535);
    alignas(64) float places[2][LANES];
    alignas(64) std::uint32_t rest[3][LANES];
    alignas(64) int kept[LANES];
    store_aligned(places[0], x), store_aligned(places[1], y);
    store_aligned(rest[0], (Words)((moved_x & 0xFFFF) | (moved_y << 16)));
    store_aligned(rest[1], (Words)(sized | (whole(weight, 1.0F / 65535, 65535) << 16)));
    store_aligned(rest[2], (Words)(whole(tint, 1.0F / 255, 255) | (whole(glow, 1.0F / 255, 255) << 8)));
    store_aligned(kept, seen);
    asm("" : "+m"(places), "+m"(rest), "+m"(kept));  // really in memory, which lanes are read from fastest
    int count = 0;
    for (int i = 0; i < LANES; ++i) {
        out[count] = {places[0][i], places[1][i], rest[0][i],
                      rest[1][i],   rest[2][i],   first + static_cast<std::uint32_t>(i)};
        count -= kept[i];
    }
    return count;
}

static int fly(const PixFlight& f, const PixRow& row) {
    int flown = 0;
    const float middle = (static_cast<float>(row.row) + 0.5F) * f.block / f.aspect;
    for (int i = 0; i < row.count; i += LANES) {
        const int n = smaller(LANES, row.count - i);
        Floats base = {}, light = {};
        __builtin_memcpy(&base, row.base + i, sizeof(float) * static_cast<unsigned>(n));
        if (row.only) __builtin_memcpy(&light, row.only + i, sizeof(float) * static_cast<unsigned>(n));
        const Ints column = counting<Ints>() + i;
        const Words word = hashed(hashed(f.seed, (Words)column), static_cast<std::uint32_t>(row.row));
        const Floats chance = unit(hashed(word, 101U));
        Floats turn = base + f.ragged * chance;
        if (f.random != 0) turn = turn + f.random * unit(hashed(word, 102U));
        turn = limited(turn, Floats{}, all<Floats>(f.most_turn));
        const Floats left = f.now - turn * f.duration;
        const Floats age = f.arrive ? f.flight_time - left : left;
        Ints away = age > -f.half_open;
        if (row.only) away &= light > 0.5F + f.soft_matte * (chance - 0.5F);
        for (int k = 0; k < n; ++k) row.away[i + k] = static_cast<unsigned char>(-away[k]);
        const Ints flies = away & (age < f.flight_time) & (column < row.count);
        if (all_set(~flies)) continue;
        const Vector start = {(to_floats(column) + 0.5F) * f.block, all<Floats>(middle)};
        const auto first =
            static_cast<std::uint32_t>(row.row) * static_cast<std::uint32_t>(row.count) + static_cast<std::uint32_t>(i);
        flown += splat_of(f, start, word, age, flies, first, row.splats + flown);
    }
    return flown;
}

// ---- Drawing ------------------------------------------------------------------------------------------------------

using Pair = Vec<float, 8>;  // of pixels

struct Window {
    float* sums;
    std::ptrdiff_t pitch;
    int width, first, last;
};

// A square of a pixel or less.
static inline void draw_small(const Window& w, float x, float y, Pixel colour) {
    if (!(x > -1.0F && y > static_cast<float>(w.first) - 1.0F && x < static_cast<float>(w.width) + 1.0F &&
          y < static_cast<float>(w.last) + 2.0F))
        return;
    const float left = x + 0.5F, low = y + 0.5F;  // of what it covers, moved by one
    const int column = floor_of(left), row = floor_of(low);
    const float tx = left - static_cast<float>(column), ty = low - static_cast<float>(row);
    const Pixel second = colour * tx;
    const Pair both = joined<Pair>(colour - second, second), upper = both * ty;
    float* at = w.sums + (row - 1 - w.first) * w.pitch + 4 * (column - 1 + PIX_MARGIN);
    if (row - 1 >= w.first && row - 1 <= w.last) store(at, load<Pair>(at) + (both - upper));
    at += w.pitch;
    if (row >= w.first && row <= w.last) store(at, load<Pair>(at) + upper);
}

// A box of more than one pixel and up to two along both edges.
static inline void draw_middling(const Window& w, float x, float y, float wide, float high, Pixel colour) {
    const float left = x - 0.5F * wide, low = y - 0.5F * high;
    if (!(left > -2.0F && low > static_cast<float>(w.first) - 2.0F && left < static_cast<float>(w.width) &&
          low < static_cast<float>(w.last) + 1.0F))
        return;
    const int column = floor_of(left), row = floor_of(low);
    const float first = static_cast<float>(column) + 1.0F - left, others = wide - first, second = smaller(others, 1.0F);
    const Pair both = joined<Pair>(colour * first, colour * second);
    const Pixel third = colour * (others - second);
    const float lowest = static_cast<float>(row) + 1.0F - low, upper = high - lowest, middle = smaller(upper, 1.0F);
    const float parts[3] = {lowest, middle, upper - middle};
    float* at = w.sums + (row - w.first) * w.pitch + 4 * (column + PIX_MARGIN);
    for (int i = 0; i < 3; ++i, at += w.pitch) {
        if (row + i < w.first || row + i > w.last) continue;
        store(at, load<Pair>(at) + both * parts[i]);
        store(at + 8, load<Pixel>(at + 8) + third * parts[i]);
    }
}

static inline float overlap(float from, float to, int pixel) {
    const float low = static_cast<float>(pixel);
    return larger(smaller(to, low + 1.0F) - larger(from, low), 0.0F);
}

// A box of any size.
static inline void draw_box(const Window& w, float x, float y, float wide, float high, Pixel colour) {
    const float left = x - 0.5F * wide, right = x + 0.5F * wide, low = y - 0.5F * high, top = y + 0.5F * high;
    if (!(right > 0.0F && left < static_cast<float>(w.width) && top > static_cast<float>(w.first) &&
          low < static_cast<float>(w.last) + 1.0F))
        return;
    const int x0 = static_cast<int>(larger(left, 0.0F)),
              x1 = static_cast<int>(smaller(right, static_cast<float>(w.width - 1)));
    const int y0 = static_cast<int>(larger(low, static_cast<float>(w.first))),
              y1 = static_cast<int>(smaller(top, static_cast<float>(w.last)));
    for (int row = y0; row <= y1; ++row) {
        const Pixel part = colour * overlap(low, top, row);
        float* at = w.sums + (row - w.first) * w.pitch + 4 * (x0 + PIX_MARGIN);
        for (int column = x0; column <= x1; ++column, at += 4)
            store(at, load<Pixel>(at) + part * overlap(left, right, column));
    }
}

static void draw(const PixCanvas& c, const PixSplat* splats, std::size_t count) {
    const Window w{c.sums, 4 * (static_cast<std::ptrdiff_t>(c.width) + 2 * PIX_MARGIN), c.width, c.first, c.last};
    const Pixel tint = {c.tint[0], c.tint[1], c.tint[2], 1.0F};
    const bool changes = c.tinted != 0 || c.glow != 0;
    for (const PixSplat* s = splats; s < splats + count; ++s) {
        Pixel colour = load<Pixel>(c.colours + 4 * static_cast<std::size_t>(s->source)) * s->weight();
        if (changes) {
            const float tinted = static_cast<float>(s->look & 255U) * (c.tinted / 255);
            const float gain = 1.0F + static_cast<float>(s->look >> 8) * (c.glow / 255);
            colour += tinted * (tint * colour[3] - colour);
            colour *= Pixel{gain, gain, gain, 1.0F};
        }
        const float wide = s->size(), high = wide * c.aspect, dx = s->dx(), dy = s->dy();
        const bool small = wide <= 1.0F && high <= 1.0F;
        if (small) colour *= wide * high;
        const float moved = absolute(dx) + absolute(dy);
        const int steps = static_cast<int>(smaller(1.0F + moved / (STEP + WIDER * larger(wide, 1.0F)), MOST_STEPS));
        const float part = 1.0F / static_cast<float>(steps);
        colour *= part;
        // Not all in step, which would show as a pattern.
        float t = steps == 1 ? 0.0F : unit_of(place_hash(s->source, 7)) * part - 0.5F;
        const auto at_all = [&](auto draw_at) {
            for (int i = 0; i < steps; ++i, t += part) draw_at(s->x + t * dx, s->y + t * dy);
        };
        if (small)
            at_all([&](float x, float y) { draw_small(w, x, y, colour); });
        else if (wide > 1.0F && high > 1.0F && wide <= 2.0F && high <= 2.0F)
            at_all([&](float x, float y) { draw_middling(w, x, y, wide, high, colour); });
        else
            at_all([&](float x, float y) { draw_box(w, x, y, wide, high, colour); });
    }
}

// What flies over what is in its place over what is behind. Where more than one thing covers a pixel their mean counts.
static void compose(const PixComposed& c) {
    int left = c.block;
    const unsigned char* away = c.away;
    for (int x = 0; x < c.count; ++x) {
        Pixel sum = load<Pixel>(c.sums + 4 * x);
        const float cover = sum[3];
        if (cover > 1.0F) sum *= 1.0F / cover;
        Pixel under = {};
        if (!*away) under = load<Pixel>(c.source + 4 * x);
        if (c.behind) under += (1.0F - under[3]) * load<Pixel>(c.behind + 4 * x);
        store(c.out + 4 * x, cover > 0.0F ? sum + (1.0F - sum[3]) * under : under);
        if (--left == 0) left = c.block, ++away;
    }
}

}  // namespace

const PixFlyKernels pix_fly_kernels = {fly, draw, compose};

}  // namespace QUILLON_SIMD
