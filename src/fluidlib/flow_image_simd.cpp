// Pictures read through coordinate maps.
//
// A pixel's samples lie so close together that three by three pixels of the picture hold them all. So their weights are
// summed first, for many pixels abreast, and each pixel then is one weighted sum: nine pixels instead of sixteen.
#include "fluidlib/flow_image_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr int TAPS = 3;

// Weights of LANES pixels, and the lower left ones of their taps.
struct Block {
    Floats weights[TAPS][TAPS];  // rows, columns
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
    Block block;
    Floats beyond_x, beyond_y;
    block.left = first_tap(x, beyond_x), block.bottom = first_tap(y, beyond_y);
    for (int n = 0; n < FLOW_SAMPLES; ++n) {
        Floats across[TAPS], along[TAPS];
        tap_weights(beyond_x + offsets[n][0], across);
        tap_weights(beyond_y + offsets[n][1], along);
        for (int j = 0; j < TAPS; ++j) {
            const Floats share = along[j] * (1.0F / FLOW_SAMPLES);
            for (int i = 0; i < TAPS; ++i) {
                const Floats weight = share * across[i];
                block.weights[j][i] = n == 0 ? weight : block.weights[j][i] + weight;
            }
        }
    }
    return block;
}

static inline int inside(int tap, int size, bool wraps) {
    if (wraps) {
        tap = tap < 0 ? tap + size : tap;
        while (tap >= size) tap -= size;
        return tap;
    }
    return tap < 0 ? 0 : (tap < size ? tap : size - 1);
}

// The sum over the taps; offset(j) and offset(i) are those of their rows and columns in floats.
template <class Row, class Column>
QUILLON_VECTOR Pixel sum(const float* pixels, const float (*weights)[LANES], int lane, Row row, Column column) {
    Pixel total = {};
    for (int j = 0; j < TAPS; ++j) {
        const float* from = pixels + row(j);
        Pixel part = load<Pixel>(from + column(0)) * weights[j * TAPS][lane];
        for (int i = 1; i < TAPS; ++i) part += load<Pixel>(from + column(i)) * weights[j * TAPS + i][lane];
        total = j == 0 ? part : total + part;
    }
    return total;
}

static void read_row(const FlowMapRow& maps, const FlowPicture& picture, const float (*offsets)[2], int count,
                     float* out) {
    for (int at = 0; at < count; at += LANES) {
        Floats x, y;
        read_maps(maps, at, x, y);
        const Block block =
            weigh(inside(x, picture.width, picture.wrap_x), inside(y, picture.height, picture.wrap_y), offsets);
        alignas(64) float weights[TAPS * TAPS][LANES];
        __builtin_memcpy(weights, block.weights, sizeof weights);
        const int pixels = count - at < LANES ? count - at : LANES;
        float* to = out + 4L * at;
        const Ints within = (block.left >= 0) & (block.bottom >= 0) & (block.left + (TAPS - 1) < picture.width) &
                            (block.bottom + (TAPS - 1) < picture.height);
        if (all_set(within) && pixels == LANES) {
#pragma GCC unroll 4
            for (int n = 0; n < LANES; ++n) {
                const float* from = picture.pixels + block.bottom[n] * picture.stride + 4L * block.left[n];
                store(to + 4L * n,
                      sum(
                          from, weights, n, [&](int j) { return j * picture.stride; }, [](int i) { return 4L * i; }));
            }
            continue;
        }
        for (int n = 0; n < pixels; ++n) {
            const auto row = [&](int j) {
                return inside(block.bottom[n] + j, picture.height, picture.wrap_y) * picture.stride;
            };
            const auto column = [&](int i) { return 4L * inside(block.left[n] + i, picture.width, picture.wrap_x); };
            store(to + 4L * n, sum(picture.pixels, weights, n, row, column));
        }
    }
}

}  // namespace

extern const FlowTable fluid_flow_image = {read_row};

}  // namespace QUILLON_SIMD
