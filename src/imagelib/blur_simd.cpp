// Three box passes in one sweep along the line.
//
// Pass 2 follows pass 1 at a distance of one radius, and pass 3 follows pass 2: a line is read once and written once
// whatever the radius. A pass keeps the sum of its window, and in a ring what has entered it until it leaves.
//
// Sums are double and not divided until the end. Every single sum is exact while the samples of a window span less
// than about 2^(29 - log2(window)), and beyond that off by 2^-53 of the largest; neither can reach a float result
// that is not near zero next to something enormous. What could remain there is the sign: a rest of -1e-17 where the
// picture is 0. So a result is never less than the smallest sample that the sweep has met on its line.
//
// A NaN or an infinity stays in the sums: the rest of its line becomes NaN. Host pictures cannot hold any.
//
// Measured on one thread of a Zen 4 at 1920x1080 RGBA: see docs/performance.md. Bound by the vector adders and the
// store port in the sweep, not by memory.
#include <type_traits>

#include "imagelib/blur_simd.h"
#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

// ---- Vectors: two registers of doubles are the lanes ------------------------------------------------------------

constexpr int HALF = COUNT_OF<Doubles>;
using Half = Vec<float, HALF>;

// Zen has separate pipes for additions (which also convert) and for multiplications. Conversions fill the one, so that
// some sums go through the other, multiplied by 1, which changes no bit.
#if defined(__AVX512F__)
inline Doubles plus(Doubles a, Doubles b) {
    return (Doubles)_mm512_fmadd_pd((__m512d)a, _mm512_set1_pd(1.0), (__m512d)b);
}
inline Doubles minus(Doubles a, Doubles b) {
    return (Doubles)_mm512_fmsub_pd((__m512d)a, _mm512_set1_pd(1.0), (__m512d)b);
}
#else
inline Doubles plus(Doubles a, Doubles b) { return a + b; }
inline Doubles minus(Doubles a, Doubles b) { return a - b; }
#endif

struct Pixels {
    Half half[2];
};
struct Sums {
    Doubles half[2];
};

// The address may lie beyond the image: nothing is read there.
inline void prefetch(const float* p, std::ptrdiff_t ahead) {
    __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(p) + std::uintptr_t(ahead) * 4));
}

// Lanes that lie side by side (columns, packed lines).
struct SideBySide {
    static void fetch(const float* p, std::ptrdiff_t, std::ptrdiff_t ahead) { prefetch(p, ahead); }
    static Pixels load(const float* p, std::ptrdiff_t) {
        return {{QUILLON_SIMD::load<Half>(p), QUILLON_SIMD::load<Half>(p + HALF)}};
    }
    static void store(float* p, std::ptrdiff_t, const Pixels& x) {
        QUILLON_SIMD::store(p, x.half[0]);
        QUILLON_SIMD::store(p + HALF, x.half[1]);
    }
};

// Groups of four lanes apart from each other: pixels of neighbouring rows.
struct Groups {
    static void fetch(const float* p, std::ptrdiff_t group, std::ptrdiff_t ahead) {
        for (int row = 0; row < LANES / 4; ++row) prefetch(p + row * group, ahead);
    }
    static Pixels load(const float* p, std::ptrdiff_t group) {
        if constexpr (HALF == 8)
            return {{two(p, group), two(p + 2 * group, group)}};
        else if constexpr (HALF == 4)
            return {{QUILLON_SIMD::load<Half>(p), QUILLON_SIMD::load<Half>(p + group)}};
        else
            return SideBySide::load(p, group);
    }
    static void store(float* p, std::ptrdiff_t group, const Pixels& x) {
        if constexpr (HALF == 8) {
            store_two(p, group, x.half[0]);
            store_two(p + 2 * group, group, x.half[1]);
        } else if constexpr (HALF == 4) {
            QUILLON_SIMD::store(p, x.half[0]);
            QUILLON_SIMD::store(p + group, x.half[1]);
        } else {
            SideBySide::store(p, group, x);
        }
    }

  private:
    template <class Eight>
    static void store_two(float* p, std::ptrdiff_t group, Eight x) {
        QUILLON_SIMD::store(p, in_order<0, 1, 2, 3>(x, x));
        QUILLON_SIMD::store(p + group, in_order<4, 5, 6, 7>(x, x));
    }
    static Half two(const float* p, std::ptrdiff_t group) {
        return joined<Half>(QUILLON_SIMD::load<Pixel>(p), QUILLON_SIMD::load<Pixel>(p + group));
    }
};

inline Sums load_sums(const double* p) { return {{load_aligned(p), load_aligned(p + HALF)}}; }
inline void store_sums(double* p, const Sums& x) {
    store_aligned(p, x.half[0]);
    store_aligned(p + HALF, x.half[1]);
}

// ---- One sweep ----------------------------------------------------------------------------------------------------

struct State {
    Sums sum1, sum2, sum3;
    Pixels low;  // smallest sample so far
};

// A stretch of steps between two events (a pass begins or ends, a line end is reached, a ring wraps). Each pass keeps
// what enters its window in a ring, from where it leaves the window.
struct Stretch {
    int count;
    std::ptrdiff_t group;
    const float* lead;  // samples that enter pass 1
    std::ptrdiff_t lead_step;
    std::ptrdiff_t ahead;  // of `lead`: what the caches should fetch
    double* ring[3];
    const double* trail[3];  // what leaves
    std::ptrdiff_t trail_step[3];
};

// Where results go, and with which weights.
struct Target {
    float* to;
    std::ptrdiff_t step, group;
    const float* mix;  // null, or the results of the smaller box
    std::ptrdiff_t mix_step;
    bool mix_packed;  // else the mix has the layout of the lines
    const std::uint32_t* keep;
    double scale, mix_scale;
};

enum Output {
    NOTHING,
    PLAIN,   // into the line
    MIXED,   // into the line, mixed with the smaller box or leaving some lanes alone
    PACKED,  // side by side, into scratch memory
};

inline Sums widen(const Pixels& x) { return {{to_doubles(x.half[0]), to_doubles(x.half[1])}}; }

// Weights the sums of pass 3, mixes them with the smaller box and stores them.
template <class Layout, Output OUTPUT>
inline void store_result(const Target& target, float* to, const float* mix, const Sums& sum, const Pixels& low) {
    using OutLayout = std::conditional_t<OUTPUT == PACKED, SideBySide, Layout>;
    const Doubles scale = all<Doubles>(target.scale);
    Sums value = {{sum.half[0] * scale, sum.half[1] * scale}};
    if (OUTPUT == MIXED && mix) {
        const Doubles mix_scale = all<Doubles>(target.mix_scale);
        const Sums other = widen(target.mix_packed ? SideBySide::load(mix, 0) : Layout::load(mix, target.group));
        for (int i = 0; i < 2; ++i) value.half[i] = value.half[i] + other.half[i] * mix_scale;
    }
    Pixels result;
    for (int i = 0; i < 2; ++i) result.half[i] = larger(to_floats(value.half[i]), low.half[i]);
    if (OUTPUT == MIXED && target.keep) {
        const Pixels keep = SideBySide::load(reinterpret_cast<const float*>(target.keep), 0);
        const Pixels old = OutLayout::load(to, target.group);
        for (int i = 0; i < 2; ++i) result.half[i] = (Vec<int, HALF>)keep.half[i] != 0 ? old.half[i] : result.half[i];
    }
    OutLayout::store(to, target.group, result);
}

template <int PASS>
inline void take(Stretch& s, Sums& sum, const Sums& enters) {
    const Sums leaves = load_sums(s.trail[PASS]);
    store_sums(s.ring[PASS], enters);
    for (int i = 0; i < 2; ++i) {
        const Doubles change = minus(enters.half[i], leaves.half[i]);
        sum.half[i] = PASS == 0 ? sum.half[i] + change : plus(sum.half[i], change);
    }
    s.ring[PASS] += LANES;
    s.trail[PASS] += s.trail_step[PASS];
}

template <bool PASS1, bool PASS2, bool PASS3, class Layout, Output OUTPUT>
void sweep(const Stretch& stretch, State& state, Target& where) {
    // Copies whose address is never taken stay in registers.
    Stretch s = stretch;
    Target target = where;
    Sums sum1 = state.sum1, sum2 = state.sum2, sum3 = state.sum3;
    Pixels low = state.low;

    const auto pass1 = [&] {
        const Pixels sample = Layout::load(s.lead, s.group);
        for (int i = 0; i < 2; ++i) low.half[i] = smaller(sample.half[i], low.half[i]);
        Layout::fetch(s.lead, s.group, s.ahead);
        s.lead += s.lead_step;
        take<0>(s, sum1, widen(sample));
    };
    const auto pass2 = [&] { take<1>(s, sum2, sum1); };
    const auto pass3 = [&] { take<2>(s, sum3, sum2); };
    const auto put = [&] {
        if constexpr (OUTPUT != NOTHING) {
            store_result<Layout, OUTPUT>(target, target.to, target.mix, sum3, low);
            target.to += target.step;
            if (OUTPUT == MIXED && target.mix) target.mix += target.mix_step;
        }
    };

    int count = s.count;
    if (PASS1 && PASS2 && PASS3 && count >= 3) {
        // The same steps, each pass one step of the loop behind the pass before it: nothing in an iteration waits for
        // anything else in it.
        pass1(), pass2(), pass3(), pass1(), pass2(), pass1();
        for (; count > 3; --count) put(), pass3(), pass2(), pass1();
        put(), pass3(), pass2(), put(), pass3(), put();
    } else {
        for (; count > 0; --count) {
            if constexpr (PASS1) pass1();
            if constexpr (PASS2) pass2();
            if constexpr (PASS3) pass3();
            put();
        }
    }

    state.sum1 = sum1, state.sum2 = sum2, state.sum3 = sum3;
    state.low = low;
    where.to = target.to;
    where.mix = target.mix;
}

// ---- The sweep's time table -----------------------------------------------------------------------------------------

// At time u pass 1 takes in sample u, pass 2 the sum of pass 1 around u - radius, and so on.
struct Schedule {
    int length, radius, window;
    int ring;              // slots; sums of time u are in slot u % ring
    int begin[3], end[3];  // first and last time of each pass
    int real[3];           // from this time on the window of a pass loses real sums, before that its first one
    int output, output_end;
};

Schedule clamped_schedule(int length, int radius) {
    Schedule s{};
    s.length = length, s.radius = radius, s.window = 2 * radius + 1;
    for (int pass = 0; pass < 3; ++pass) {
        s.begin[pass] = pass * radius + 1;
        s.end[pass] = length - 1 + (pass + 1) * radius;
        s.real[pass] = pass * radius + s.window;
    }
    s.output = 3 * radius;
    s.output_end = s.end[2];
    return s;
}

// All passes start from an empty window ahead of the samples that count.
Schedule wrapped_schedule(int length, int radius, int margin) {
    Schedule s{};
    s.length = length, s.radius = radius, s.window = 2 * radius + 1;
    for (int pass = 0; pass < 3; ++pass) s.end[pass] = length, s.real[pass] = s.window;
    s.output = margin + 3 * radius;
    s.output_end = s.output + length - 2 * margin - 1;
    return s;
}

// Rings of short windows hold several of them, so that they wrap seldom; longer ones hold one and take as little of the
// cache as can be.
constexpr int SHORT_WINDOW = 32, SHORT_RING = 64;

int ring_slots(int window) { return window > SHORT_WINDOW ? window : window * ((SHORT_RING + window - 1) / window); }

// Slots from one ring to the next: what is read from one ring must not lie at the same place within a page as what was
// just written to another, or the processor waits for a store that it takes for the same.
int ring_distance(int slots) { return (slots + 31) / 32 * 32 + 11; }

int next_event(const Schedule& s, int now) {
    int next = s.output_end + 1;
    const auto consider = [&](int event) {
        if (event > now && event < next) next = event;
    };
    for (int pass = 0; pass < 3; ++pass) {
        consider(s.begin[pass]);
        consider(s.end[pass] + 1);
        consider(s.real[pass]);
    }
    consider(s.output);
    consider(s.length);
    consider(now + s.ring - now % s.ring);
    if (now >= s.window) consider(now + s.ring - (now - s.window) % s.ring);
    return next;
}

template <class Layout, Output OUTPUT>
void sweep_passes(int passes, const Stretch& stretch, State& state, Target& target) {
    switch (passes) {
        case 1:
            return sweep<true, false, false, Layout, NOTHING>(stretch, state, target);
        case 2:
            return sweep<false, true, false, Layout, NOTHING>(stretch, state, target);
        case 3:
            return sweep<true, true, false, Layout, NOTHING>(stretch, state, target);
        case 4:
            return sweep<false, false, true, Layout, OUTPUT>(stretch, state, target);
        case 6:
            return sweep<false, true, true, Layout, OUTPUT>(stretch, state, target);
        case 7:
            return sweep<true, true, true, Layout, OUTPUT>(stretch, state, target);
    }
}

constexpr double NO_SUMS[LANES] __attribute__((aligned(64))) = {};
// What the caches should fetch in time: in columns the latency of memory at some 7 ns a step; rows the processor
// fetches by itself, only not far enough.
constexpr int STEPS_AHEAD = 24, FLOATS_AHEAD = 256;

// What the windows lose at the beginning: their own first value (repeated line ends), or nothing (wrapped).
struct FirstSums {
    const double* of[3];
};

double* ring_of(const Schedule& s, double* rings, int pass, int now) {
    return rings + (std::ptrdiff_t(pass) * ring_distance(s.ring) + now % s.ring) * LANES;
}

Stretch make_stretch(const BlurLines& lines, const Schedule& s, const FirstSums& first, double* rings, int now) {
    Stretch t;
    t.group = lines.group_step;
    t.ahead = lines.group_step == 4 ? STEPS_AHEAD * lines.step : FLOATS_AHEAD;
    const bool inside = now < s.length;
    t.lead = lines.first + (inside ? now : s.length - 1) * lines.step;
    t.lead_step = inside ? lines.step : 0;
    for (int pass = 0; pass < 3; ++pass) {
        const bool real = now >= s.real[pass];
        t.ring[pass] = ring_of(s, rings, pass, now);
        t.trail[pass] = real ? ring_of(s, rings, pass, now - s.window) : first.of[pass];
        t.trail_step[pass] = real ? LANES : 0;
    }
    return t;
}

// The sum of a window that holds nothing but `value`, which goes into the ring.
Sums begin_pass(const Schedule& s, const Sums& value, const double* slot) {
    store_sums(const_cast<double*>(slot), value);
    const Doubles window = all<Doubles>(s.window);
    return {{value.half[0] * window, value.half[1] * window}};
}

template <class Layout, Output OUTPUT>
void run(int now, const BlurLines& lines, const Schedule& s, const FirstSums& first, double* rings, State& state,
         Target& target) {
    while (now <= s.output_end) {
        if (now > 0 && now == s.begin[1]) state.sum2 = begin_pass(s, state.sum1, first.of[1]);
        if (now > 0 && now == s.begin[2]) state.sum3 = begin_pass(s, state.sum2, first.of[2]);
        Stretch stretch = make_stretch(lines, s, first, rings, now);
        stretch.count = next_event(s, now) - now;
        int passes = 0;
        for (int pass = 0; pass < 3; ++pass)
            if (now >= s.begin[pass] && now <= s.end[pass]) passes |= 1 << pass;
        if (now >= s.output)
            sweep_passes<Layout, OUTPUT>(passes, stretch, state, target);
        else
            sweep_passes<Layout, NOTHING>(passes, stretch, state, target);
        now += stretch.count;
    }
}

template <class Layout, Output OUTPUT>
void sweep_clamped(const BlurLines& lines, int radius, double* rings, Target target) {
    Schedule s = clamped_schedule(lines.length, radius);
    s.ring = ring_slots(s.window);
    FirstSums first;
    for (int pass = 0; pass < 3; ++pass) first.of[pass] = ring_of(s, rings, pass, pass * radius);
    State state;
    state.low = Layout::load(lines.first, lines.group_step);
    state.sum1 = state.sum2 = state.sum3 = begin_pass(s, widen(state.low), first.of[0]);
    run<Layout, OUTPUT>(1, lines, s, first, rings, state, target);
}

template <Output OUTPUT>
void sweep_wrapped(const BlurLines& lines, int radius, int margin, double* rings, Target target) {
    Schedule s = wrapped_schedule(lines.length, radius, margin);
    s.ring = ring_slots(s.window);
    State state;
    state.low = SideBySide::load(lines.first, 0);
    state.sum1 = state.sum2 = state.sum3 = {{all<Doubles>(0), all<Doubles>(0)}};
    run<SideBySide, OUTPUT>(0, lines, s, {{NO_SUMS, NO_SUMS, NO_SUMS}}, rings, state, target);
}

// ---- Both boxes -----------------------------------------------------------------------------------------------------

Target line_target(const BlurLines& lines) {
    return {lines.first, lines.step, lines.group_step, nullptr, 0, false, lines.keep, 0.0, 0.0};
}
Target packed_target(float* to) { return {to, LANES, 4, nullptr, 0, true, nullptr, 0.0, 0.0}; }

// Enough for the rings of either box.
std::size_t ring_doubles(BoxRadius box) {
    return std::size_t(3) * ring_distance(2 * box.radius + 3 + SHORT_RING) * LANES;
}

template <class Layout>
void blur_clamped(const BlurLines& lines, BoxRadius box, double* scratch) {
    Target target = line_target(lines);
    int radius = box.radius;
    if (box.fraction > 0) {
        radius = box.radius + 1;
        target.mix = lines.first, target.mix_step = lines.step;
        target.mix_scale = 1.0 - box.fraction;
        if (box.radius > 0) {
            float* const smaller_box = reinterpret_cast<float*>(scratch + ring_doubles(box));
            Target packed = packed_target(smaller_box);
            packed.scale = box_scale(box.radius, 1.0);
            sweep_clamped<Layout, PACKED>(lines, box.radius, scratch, packed);
            target.mix = smaller_box, target.mix_step = LANES, target.mix_packed = true;
        }
    }
    target.scale = box_scale(radius, box.fraction > 0 ? box.fraction : 1.0);
    if (target.mix || target.keep)
        sweep_clamped<Layout, MIXED>(lines, radius, scratch, target);
    else
        sweep_clamped<Layout, PLAIN>(lines, radius, scratch, target);
}

void clamped(const BlurLines& lines, BoxRadius box, double* scratch) {
    if (lines.group_step == 4)
        blur_clamped<SideBySide>(lines, box, scratch);
    else
        blur_clamped<Groups>(lines, box, scratch);
}

void wrapped(const BlurLines& lines, BoxRadius box, double* scratch) {
    Target target = line_target(lines);
    const int radius = box.radius + (box.fraction > 0);
    const int margin = 3 * radius;
    if (box.fraction > 0) {
        target.mix = lines.first + margin * lines.step, target.mix_step = lines.step;
        target.mix_scale = 1.0 - box.fraction;
        if (box.radius > 0) {
            float* const smaller_box = reinterpret_cast<float*>(scratch + ring_doubles(box));
            Target packed = packed_target(smaller_box);
            packed.scale = box_scale(box.radius, 1.0);
            sweep_wrapped<PACKED>(lines, box.radius, margin, scratch, packed);
            target.mix = smaller_box, target.mix_step = LANES, target.mix_packed = true;
        }
    }
    target.scale = box_scale(radius, box.fraction > 0 ? box.fraction : 1.0);
    sweep_wrapped<MIXED>(lines, radius, margin, scratch, target);
}

std::size_t scratch_doubles(int length, BoxRadius box) {
    return ring_doubles(box) + std::size_t(length) * LANES / 2 + LANES;
}

}  // namespace

const BlurKernels blur_kernels = {LANES, clamped, wrapped, scratch_doubles};

}  // namespace QUILLON_SIMD
