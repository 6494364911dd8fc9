#include "effects/sky/Aurora_simd.h"

#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

// ---- The table of azimuths and elevations ---------------------------------------------------------------------

static void add_profile(const AuroraProfile& profile, float amount, int shift, float* plane, int columns) {
    // Column j takes value j + shift.
    int j = shift < 0 ? -shift : 0;
    const int end = profile.count - shift < columns ? profile.count - shift : columns;
    for (; j + LANES <= end; j += LANES) store(plane + j, load(plane + j) + amount * load(profile.values + j + shift));
    for (; j < end; ++j) plane[j] += amount * profile.values[j + shift];
}

static void add_cells(const AuroraProfile* profiles, const float* cells, int count, int nearest, float* const* planes,
                      int lowest, int columns) {
    constexpr int plane_of[AURORA_LIGHTS] = {AURORA_GREEN_PLANE, AURORA_GREEN_PLANE, AURORA_RED_PLANE,
                                             AURORA_FRINGE_PLANE};
    for (int cell = 0; cell < count; ++cell)
        for (int light = 0; light < AURORA_LIGHTS; ++light) {
            const float amount = cells[AURORA_LIGHTS * cell + light];
            if (amount > 0)
                add_profile(profiles[light], amount, lowest + nearest + cell - profiles[light].lowest,
                            planes[plane_of[light]], columns);
        }
}

static void colour(const float* const* planes, const float colours[AURORA_PLANES][4], const float* air, float* texels,
                   int columns) {
    const Pixel green = load<Pixel>(colours[0]), red = load<Pixel>(colours[1]), fringe = load<Pixel>(colours[2]);
    for (int j = 0; j < columns; ++j)
        store(texels + 4L * j, air[j] * (planes[0][j] * green + planes[1][j] * red + planes[2][j] * fringe));
}

// Texels that the glow was spread over, AURORA_COARSE for each of its own, linear between their middles.
static void expand(const float* glow, int first, int count, float* out) {
    static_assert(AURORA_COARSE == 4);
    for (int k = 0; k < count; k += 4, out += 16) {
        const float* from = glow + (first + k);  // four floats for four columns
        const Pixel a = load<Pixel>(from), b = load<Pixel>(from + 4), c = load<Pixel>(from + 8);
        store(out, a + 0.625F * (b - a)), store(out + 4, a + 0.875F * (b - a));
        store(out + 8, b + 0.125F * (c - b)), store(out + 12, b + 0.375F * (c - b));
    }
}

// 1 - exp(-x), nearly; a Taylor polynomial of exp below the line keeps it smooth and below 1.
static Floats shoulder(Floats x) {
    return 1.0F - 1.0F / (1.0F + x * (1.0F + x * (0.5F + x * (1.0F / 6.0F + x * (1.0F / 24.0F)))));
}

static void develop(const float* glow, float* texels, int columns) {
    for (int j = 0; j < columns; j += LANES) {
        const int count = columns - j < LANES ? columns - j : LANES;
        alignas(64) float spread[4 * LANES];
        expand(glow, j, count, spread);
        const Planes around = load_planes(spread);
        Planes light = load_planes(texels + 4L * j, count);
        light.r += around.r, light.g += around.g, light.b += around.b;
        // Film and eyes see strong light of one colour as paler.
        const Floats whole = 0.3F * light.r + 0.5F * light.g + 0.2F * light.b;
        const Floats pale = 0.05F * whole * whole / (1.0F + 0.25F * whole);
        light.r = shoulder(light.r + pale), light.g = shoulder(light.g + pale), light.b = shoulder(light.b + pale);
        light.a = larger(larger(light.r, light.g), light.b);
        store_planes(texels + 4L * j, light, count);
    }
}

// ---- The picture ----------------------------------------------------------------------------------------------

// Within 2e-5 radians: C. Hastings, "Approximations for Digital Computers", 1955, sheet 11.
static Floats azimuth_of(Floats side, Floats ahead) {
    const Floats x = absolute(ahead), y = absolute(side);
    const Floats most = larger(x, y), t = smaller(x, y) / larger(most, Floats{} + 1e-20F), tt = t * t;
    Floats angle = t * (0.9998660F + tt * (-0.3302995F + tt * (0.1801410F + tt * (-0.0851330F + tt * 0.0208351F))));
    angle = y > x ? 1.57079633F - angle : angle;
    angle = ahead < 0.0F ? 3.14159265F - angle : angle;
    return side < 0.0F ? -angle : angle;
}

// Natural, of positive numbers that are neither tiny nor huge.
static Floats logarithm(Floats v) {
    const Ints bits = (Ints)v, exponent = ((bits - 0x3F3504F3) >> 23);  // the mantissa from sqrt(1/2) to sqrt(2)
    const Floats m = (Floats)(bits - (exponent << 23));
    const Floats y = (m - 1.0F) / (m + 1.0F), yy = y * y;
    const Floats of_mantissa = y * (2.0F + yy * (2.0F / 3.0F + yy * (0.4F + yy * (2.0F / 7.0F))));
    return of_mantissa + to_floats(exponent) * 0.693147181F;
}

// The texels around a place of a table.
struct Spot {
    long offset;
    float down, along;
};

QUILLON_VECTOR Pixel texel_at(const float* texels, long stride, const Spot& spot) {
    using Pair = Vec<float, 8>;  // neighbours in a row
    const float* from = texels + spot.offset;
    const Pair near = load<Pair>(from), mixed = near + spot.down * (load<Pair>(from + stride) - near);
    const Pixel left = in_order<0, 1, 2, 3>(mixed, mixed), right = in_order<4, 5, 6, 7>(mixed, mixed);
    return left + spot.along * (right - left);
}

static Spot spot_at(const AuroraTable& table, float row, float column) {
    const float last = static_cast<float>(table.rows) - 1.001F;
    row = row < 0 ? 0 : (row > last ? last : row);
    const int i = static_cast<int>(row), j = static_cast<int>(column);
    return {i * table.stride + 4L * j, row - static_cast<float>(i), column - static_cast<float>(j)};
}

static Pixel blended_levels(const AuroraPixels& pixels, float row, float column, float level) {
    const float most = static_cast<float>(pixels.levels - 1);
    level = level > most ? most : (level > 0 ? level : 0);
    const int fine = static_cast<int>(level), coarse = fine + 1 < pixels.levels ? fine + 1 : fine;
    const auto at = [&](int n) {
        const float parts = 1.0F / static_cast<float>(1 << n);
        const AuroraTable& table = pixels.tables[n];
        return texel_at(table.texels, table.stride, spot_at(table, (row + 0.5F) * parts - 0.5F, column));
    };
    const Pixel a = at(fine);
    return a + (level - static_cast<float>(fine)) * (at(coarse) - a);
}

// Light is laid over what is behind as by a second exposure: 1 - (1 - a) (1 - b) below white.
template <bool MATTED>
QUILLON_VECTOR void show(const AuroraPixels& pixels, Pixel light, int x, float* pixel) {
    const Pixel one = Pixel{} + 1.0F;
    const Pixel behind = pixels.alone ? Pixel{} : load<Pixel>(pixel);
    Pixel kept = behind * (1.0F - pixels.dimming);
    if constexpr (MATTED) {
        const float* matte = pixels.matte + 4L * x;
        float inside = to_unit(0.3F * matte[0] + 0.5F * matte[1] + 0.2F * matte[2]);
        inside = pixels.inverted ? 1.0F - inside : inside;
        kept = behind * ((1.0F - pixels.dimming * inside) * (one + (1.0F - inside) * load<Pixel>(pixels.ground)));
        light *= inside;
    }
    kept[3] = behind[3];
    store(pixel, kept + light * (one - smaller(kept, one)));
}

template <bool MATTED>
static void shade(const AuroraPixels& pixels, float* picture, int first, int end) {
    const AuroraTable& table = pixels.tables[0];
    const float last_column = static_cast<float>(table.columns) - 1.001F;
    const float last_row = static_cast<float>(table.rows) - 1.001F;
    const Floats zero = {}, tiny = zero + 1e-6F;
    for (int x = first; x < end; x += LANES) {
        const Floats at = static_cast<float>(x) + counting<Floats>();
        const Floats up = pixels.up + at * pixels.up_step, ahead = pixels.ahead + at * pixels.ahead_step,
                     side = pixels.side + at * pixels.side_step;
        const Floats level = larger(square_root(ahead * ahead + side * side), tiny);
        const Floats rise = limited(up / level, tiny, zero + 1e6F);
        const Floats row =
            limited((azimuth_of(side, ahead) - pixels.first_azimuth) * pixels.rows_a_radian, zero, zero + last_row);
        const Floats column =
            limited((logarithm(rise) - pixels.lowest) * (1.0F / AURORA_STEP), zero, zero + last_column);
        const int count = end - x < LANES ? end - x : LANES;
        if (pixels.levels > 1 && !all_set(level >= pixels.fine)) {
            const Floats octaves = logarithm(pixels.fine / level) * 1.44269504F;
            for (int i = 0; i < count; ++i) {
                // Pixel by pixel, as neighbours in a register must not decide about the last bit.
                const Pixel light = level[i] >= pixels.fine
                                        ? texel_at(table.texels, table.stride, spot_at(table, row[i], column[i]))
                                        : blended_levels(pixels, row[i], column[i], octaves[i]);
                show<MATTED>(pixels, light, x + i, picture + 4L * (x + i));
            }
            continue;
        }
        const Ints i = to_ints(row), j = to_ints(column);
        alignas(64) float down[LANES], along[LANES];
        alignas(64) int rows[LANES], columns[LANES];
        store(down, row - to_floats(i)), store(along, column - to_floats(j)), store(rows, i), store(columns, 4 * j);
        for (int n = 0; n < count; ++n)
            show<MATTED>(pixels,
                         texel_at(table.texels, table.stride, {rows[n] * table.stride + columns[n], down[n], along[n]}),
                         x + n, picture + 4L * (x + n));
    }
}

static void shade_row(const AuroraPixels& pixels, float* picture, int first, int end) {
    pixels.matte ? shade<true>(pixels, picture, first, end) : shade<false>(pixels, picture, first, end);
}

}  // namespace

const AuroraKernels aurora_kernels = {add_cells, colour, develop, shade_row};

}  // namespace QUILLON_SIMD
