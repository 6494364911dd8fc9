// Pictures read through coordinate maps.
//
// A pixel's samples lie so close together that three by three pixels of the picture hold them all. So their weights are
// summed first, for many pixels abreast, and each pixel then is one weighted sum: nine pixels instead of sixteen. Where
// the flow has squeezed the picture samples have to cover more of it, or fine lines would break into dots that flicker.
#include "fluidlib/flow_image_simd.h"

#include <utility>

#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

constexpr int TAPS = 3;
constexpr int AHEAD = TAPS + 1;  // rows

// Four weights of a pixel side by side: its three columns, and a 0. The pixel of group g in register n is 4 g + n.
struct RowWeights {
    Floats of[4];
};
// What LANES pixels read: the weights of three rows, and the column and row of the lower left one of their taps.
struct Block {
    RowWeights rows[TAPS];
    Ints left, bottom;
};

static inline Floats cubic(const Floats (&k)[4], Floats f) { return k[0] + f * (k[1] + f * (k[2] + f * k[3])); }

// Whether LANES neighbouring pixels always lie within LANES cells, so that one load a coefficient brings all they need.
static inline bool fits_window(float step) { return step * (LANES - 1) <= static_cast<float>(LANES - 2); }

static inline void read_maps(const FlowMapRow& maps, int first, Floats& x, Floats& y) {
    const Floats number = counting<Floats>() + static_cast<float>(first);
    const Floats place = limited(number * maps.step, Floats{}, all<Floats>(static_cast<float>(maps.cells)));
    Ints cell = to_ints(place);
    cell = cell < maps.cells ? cell : all<Ints>(maps.cells - 1);
    const Floats f = place - to_floats(cell);
    Floats across[4], along[4];
    if (LANES > 4 && fits_window(maps.step)) {
        const int begin = cell[0];
        const Ints lane = cell - begin;
        for (int n = 0; n < 4; ++n) across[n] = picked(load(maps.x[n] + begin), lane);
        for (int n = 0; n < 4; ++n) along[n] = picked(load(maps.y[n] + begin), lane);
    } else {
        for (int n = 0; n < 4; ++n) across[n] = gather(maps.x[n], cell);
        for (int n = 0; n < 4; ++n) along[n] = gather(maps.y[n], cell);
    }
    x = cubic(across, f), y = cubic(along, f);
}

// Where it lies in a picture of so many pixels.
static inline Floats inside(Floats place, int size, bool wraps) {
    const auto length = static_cast<float>(size);
    if (wraps) {
        constexpr float FAR = 1e6F;  // places further off count as being there
        place = limited(place, all<Floats>(-FAR * length), all<Floats>(FAR * length));
        const Floats turns = place / length;
        Ints whole = to_ints(turns);
        whole += to_floats(whole) > turns;  // a mask is -1
        place -= to_floats(whole) * length;
        return limited(place, Floats{}, all<Floats>(length));
    }
    return limited(place, Floats{}, all<Floats>(length - 1.0F));
}

// The first tap, and the distance of the place from it.
static inline Ints first_tap(Floats place, Floats& beyond) {
    const Ints tap = to_ints(place + (1.0F - FLOW_REACH)) - 1;
    beyond = larger(place - to_floats(tap), all<Floats>(FLOW_REACH));
    return tap;
}

static inline void tap_weights(Floats distance, Floats (&weights)[TAPS]) {
    weights[0] = larger(1.0F - distance, Floats{});
    weights[2] = larger(distance - 1.0F, Floats{});
    weights[1] = 1.0F - weights[0] - weights[2];
}

static inline Block weigh(Floats x, Floats y, const float (*offsets)[2]) {
    Block block = {};
    Floats beyond_x, beyond_y;
    block.left = first_tap(x, beyond_x), block.bottom = first_tap(y, beyond_y);
    for (int n = 0; n < FLOW_SAMPLES; ++n) {
        Floats across[TAPS], along[TAPS];
        tap_weights(beyond_x + offsets[n][0], across);
        tap_weights(beyond_y + offsets[n][1], along);
        for (int j = 0; j < TAPS; ++j) {
            const Floats share = along[j] * (1.0F / FLOW_SAMPLES);
            for (int i = 0; i < TAPS; ++i) block.rows[j].of[i] += share * across[i];
        }
    }
    for (RowWeights& row : block.rows) transpose(row.of[0], row.of[1], row.of[2], row.of[3]);
    return block;
}

// ---- Sums ---------------------------------------------------------------------------------------------------------
//
// Of each column first, from the bottom up, then of the columns from the left: at all widths of registers.

constexpr int WIDE = LANES / 4;  // pixels in a register
constexpr int PARTS = 4 / WIDE;  // registers that hold the columns

// The weights of the columns in part P, for the pixel of group G: each four times.
template <int G, int P, int... E>
QUILLON_VECTOR Floats weights_of(Floats row, std::integer_sequence<int, E...>) {
    return in_order<(4 * G + WIDE * P + E / 4)...>(row, row);
}
// Column I of the parts.
template <int I>
QUILLON_VECTOR Pixel column(const Floats (&parts)[PARTS]) {
    constexpr int first = I % WIDE * 4;
    const Floats part = parts[I / WIDE];
    return in_order<first, first + 1, first + 2, first + 3>(part, part);
}

template <int G, int P>
QUILLON_VECTOR Floats sum_part(const Floats (&rows)[TAPS], const float* from, long stride) {
    constexpr std::make_integer_sequence<int, LANES> each{};
    if constexpr (P * WIDE >= TAPS) return Floats{};
    const float* pixels = from + P * LANES;
    return (load(pixels) * weights_of<G, P>(rows[0], each) + load(pixels + stride) * weights_of<G, P>(rows[1], each)) +
           load(pixels + 2 * stride) * weights_of<G, P>(rows[2], each);
}
template <int G, int... P>
QUILLON_VECTOR Pixel sum_pixel(const Floats (&rows)[TAPS], const float* from, long stride,
                               std::integer_sequence<int, P...>) {
    const Floats parts[PARTS] = {sum_part<G, P>(rows, from, stride)...};
    return (column<0>(parts) + column<1>(parts)) + column<2>(parts);
}

// All pixels of register n, one for each group.
template <int... G>
QUILLON_VECTOR void sum_groups(const Block& block, int n, const int* offsets, const float* pixels, long stride,
                               float* out, std::integer_sequence<int, G...>) {
    const Floats rows[TAPS] = {block.rows[0].of[n], block.rows[1].of[n], block.rows[2].of[n]};
    constexpr std::make_integer_sequence<int, PARTS> parts{};
    (store(out + 4L * (4 * G + n), sum_pixel<G>(rows, pixels + offsets[4 * G + n], stride, parts)), ...);
}

static inline int nearest(int tap, int size, bool wraps) {
    if (wraps) {
        tap = tap < 0 ? tap + size : tap;
        while (tap >= size) tap -= size;
        return tap;
    }
    return tap < 0 ? 0 : (tap < size ? tap : size - 1);
}

static void find_places(const FlowMapRow& maps, int count, const FlowPlaces& places) {
    for (int at = 0; at < count; at += LANES) {
        Floats x, y;
        read_maps(maps, at, x, y);
        store(places.x + at, x), store(places.y + at, y);
    }
    for (float* row : {places.x, places.y}) row[-1] = count > 1 ? 2.0F * row[0] - row[1] : row[0];
}

// One pixel whose taps may lie beyond an edge.
static Pixel sum_at_edge(const Block& block, int lane, const FlowPicture& picture) {
    Pixel columns[TAPS];
    for (int i = 0; i < TAPS; ++i) {
        const long x = nearest(block.left[lane] + i, picture.width, picture.wrap_x);
        Pixel parts[TAPS];
        for (int j = 0; j < TAPS; ++j) {
            const long y = nearest(block.bottom[lane] + j, picture.height, picture.wrap_y);
            const float weight = block.rows[j].of[lane % 4][lane / 4 * 4 + i];
            parts[j] = load<Pixel>(picture.pixels + y * picture.stride + 4 * x) * weight;
        }
        columns[i] = (parts[0] + parts[1]) + parts[2];
    }
    return (columns[0] + columns[1]) + columns[2];
}

// ---- Squeezed pictures --------------------------------------------------------------------------------------------

constexpr float SQUEEZED = 2;    // pixels of the picture from pixel to pixel
constexpr float SPACING = 1.5F;  // of its samples, each of which already mixes two pixels a side
constexpr int MOST_SAMPLES = 8;  // along a side

// From a pixel's left neighbour, and from the one below.
struct Steps {
    Floats x[2], y[2];
    Floats squared[2];
};

static inline Steps steps_of(const FlowPlaces& places, const FlowPlaces& below, int at, Floats x, Floats y) {
    Steps steps = {{x - load(places.x + at - 1), x - load(below.x + at)},
                   {y - load(places.y + at - 1), y - load(below.y + at)},
                   {}};
    for (int n = 0; n < 2; ++n) steps.squared[n] = steps.x[n] * steps.x[n] + steps.y[n] * steps.y[n];
    return steps;
}

static inline float inside_one(float place, int size, bool wraps) {
    if (wraps) return inside(all<Floats>(place), size, wraps)[0];
    const auto last = static_cast<float>(size - 1);
    return place > 0.0F ? (place < last ? place : last) : 0.0F;
}

static Pixel bilinear(const FlowPicture& picture, float x, float y) {
    x = inside_one(x, picture.width, picture.wrap_x), y = inside_one(y, picture.height, picture.wrap_y);
    // A joined picture's edge itself counts as its first pixel.
    const int left = nearest(static_cast<int>(x), picture.width, picture.wrap_x);
    const int bottom = nearest(static_cast<int>(y), picture.height, picture.wrap_y);
    const float fx = x - static_cast<float>(static_cast<int>(x)), fy = y - static_cast<float>(static_cast<int>(y));
    const float* row = picture.pixels + bottom * picture.stride;
    const float* next = picture.pixels + nearest(bottom + 1, picture.height, picture.wrap_y) * picture.stride;
    const long right = nearest(left + 1, picture.width, picture.wrap_x);
    const Pixel low = load<Pixel>(row + 4L * left) * (1.0F - fx) + load<Pixel>(row + 4L * right) * fx;
    const Pixel high = load<Pixel>(next + 4L * left) * (1.0F - fx) + load<Pixel>(next + 4L * right) * fx;
    return low * (1.0F - fy) + high * fy;
}

static inline int samples_for(float squared) {
    const float count = square_root(squared) / SPACING;
    return count < MOST_SAMPLES ? static_cast<int>(count) + 1 : MOST_SAMPLES;
}

// The mean over the parallelogram of a pixel's steps around its place.
static Pixel mean_over(const FlowPicture& picture, float x, float y, const Steps& steps, int lane) {
    const int across = samples_for(steps.squared[0][lane]), along = samples_for(steps.squared[1][lane]);
    Pixel total = {};
    for (int j = 0; j < along; ++j)
        for (int i = 0; i < across; ++i) {
            const float a = (static_cast<float>(i) + 0.5F) / static_cast<float>(across) - 0.5F;
            const float b = (static_cast<float>(j) + 0.5F) / static_cast<float>(along) - 0.5F;
            total += bilinear(picture, x + a * steps.x[0][lane] + b * steps.x[1][lane],
                              y + a * steps.y[0][lane] + b * steps.y[1][lane]);
        }
    return total / static_cast<float>(across * along);
}

// ---- Rows ---------------------------------------------------------------------------------------------------------

static void read_row(const FlowPlaces& places, const FlowPlaces& below, const FlowPicture& picture,
                     const float (*offsets)[2], int count, float* out) {
    const bool countable = picture.stride * picture.height < (1L << 31);  // places as numbers of 32 bits
    const int stride = countable ? static_cast<int>(picture.stride) : 0;
    const bool aligned = reinterpret_cast<std::uintptr_t>(out) % sizeof(Floats) == 0;
    for (int at = 0; at < count; at += LANES) {
        const Floats x = load(places.x + at), y = load(places.y + at);
        const Block block =
            weigh(inside(x, picture.width, picture.wrap_x), inside(y, picture.height, picture.wrap_y), offsets);
        const Steps steps = steps_of(places, below, at, x, y);
        const Ints squeezed = (steps.squared[0] > SQUEEZED * SQUEEZED) | (steps.squared[1] > SQUEEZED * SQUEEZED);
        // One column more, since four are read.
        const Ints within = (block.left >= 0) & (block.bottom >= 0) & (block.left + TAPS < picture.width) &
                            (block.bottom + (TAPS - 1) < picture.height);
        float* to = out + 4L * at;
        const int pixels = count - at < LANES ? count - at : LANES;
        const bool calm = all_set(~squeezed);
        if (countable && pixels == LANES && all_set(within)) {
            alignas(64) int offsets_in_floats[LANES];
            alignas(64) float made[4 * LANES];
            store(offsets_in_floats, block.bottom * stride + block.left * 4);
            // The next row of pixels mostly begins to read one row further up.
            for (int n = 0; n < LANES; n += 4)
                __builtin_prefetch(picture.pixels + offsets_in_floats[n] + AHEAD * picture.stride);
            for (int n = 0; n < 4; ++n)
                sum_groups(block, n, offsets_in_floats, picture.pixels, picture.stride, made,
                           std::make_integer_sequence<int, WIDE>{});
            if (!calm) {
                for (int n = 0; n < LANES; ++n)
                    if (squeezed[n]) store(made + 4L * n, mean_over(picture, x[n], y[n], steps, n));
            }
            for (int n = 0; n < 4 * LANES; n += LANES)
                aligned ? stream(to + n, load_aligned(made + n)) : store(to + n, load_aligned(made + n));
        } else {
            for (int n = 0; n < pixels; ++n)
                store(to + 4L * n,
                      squeezed[n] ? mean_over(picture, x[n], y[n], steps, n) : sum_at_edge(block, n, picture));
        }
    }
    finish_streams();
}

}  // namespace

extern const FlowTable fluid_flow_image = {find_places, read_row};

}  // namespace QUILLON_SIMD
