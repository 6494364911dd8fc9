#include "effects/sky/Aurora_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

// ---- The table of azimuths and elevations ---------------------------------------------------------------------

static void add_profile(const AuroraProfile& profile, float amount, int shift, float* plane, int columns) {
    // Column j takes value j + shift.
    int j = shift < 0 ? -shift : 0;
    const int end = profile.count - shift < columns ? profile.count - shift : columns;
    for (; j + LANES <= end; j += LANES)
        store(plane + j, load(plane + j) + amount * load(profile.values + j + shift));
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

static Pixel between(const float* glow, int coarse, int j) {
    const float at = (static_cast<float>(j) + 0.5F) / static_cast<float>(coarse) + 0.5F;  // the first one stands twice
    const int i = static_cast<int>(at);
    const Pixel low = load<Pixel>(glow + 4L * i), high = load<Pixel>(glow + 4L * i + 4);
    return low + (at - static_cast<float>(i)) * (high - low);
}

static void develop(const AuroraTone& tone, const float* near_glow, const float* far_glow, int coarse, float* texels,
                    int columns) {
    for (int j = 0; j < columns; ++j) {
        Pixel light = load<Pixel>(texels + 4L * j);
        if (near_glow) light += tone.near_glow * between(near_glow, coarse, j);
        if (far_glow) light += tone.far_glow * between(far_glow, coarse, j);
        // Film and eyes see strong light of one colour as paler.
        const float whole = 0.3F * light[0] + 0.5F * light[1] + 0.2F * light[2];
        light += 0.05F * whole * whole / (1.0F + 0.25F * whole);
        const Pixel grown =
            1.0F + light * (1.0F + light * (0.5F + light * (1.0F / 6.0F + light * (1.0F / 24.0F))));
        Pixel shown = 1.0F - 1.0F / grown;
        float most = shown[0] > shown[1] ? shown[0] : shown[1];
        shown[3] = most > shown[2] ? most : shown[2];
        store(texels + 4L * j, shown);
    }
}

// ---- The picture ----------------------------------------------------------------------------------------------

// Within 2e-5 radians: C. Hastings, "Approximations for Digital Computers", 1955, sheet 11.
static Floats azimuth_of(Floats side, Floats ahead) {
    const Floats x = absolute(ahead), y = absolute(side);
    const Floats most = larger(x, y), t = smaller(x, y) / larger(most, Floats{} + 1e-20F), tt = t * t;
    Floats angle =
        t * (0.9998660F + tt * (-0.3302995F + tt * (0.1801410F + tt * (-0.0851330F + tt * 0.0208351F))));
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

static Pixel texel_at(const AuroraTable& table, float row, float column) {
    const float last = static_cast<float>(table.rows - 1);
    row = row < 0 ? 0 : (row > last ? last : row);
    int i = static_cast<int>(row), j = static_cast<int>(column);
    i = i > table.rows - 2 ? table.rows - 2 : i;
    const float down = row - static_cast<float>(i), along = column - static_cast<float>(j);
    const float* from = table.texels + i * table.stride + 4L * j;
    const Pixel a = load<Pixel>(from), b = load<Pixel>(from + 4);
    const Pixel c = load<Pixel>(from + table.stride), d = load<Pixel>(from + table.stride + 4);
    const Pixel low = a + along * (b - a), high = c + along * (d - c);
    return low + down * (high - low);
}

static Pixel light_at(const AuroraPixels& pixels, float row, float column, float level) {
    if (!(level > 0)) return texel_at(pixels.tables[0], row, column);
    const float most = static_cast<float>(pixels.levels - 1);
    if (level > most) level = most;
    const int fine = static_cast<int>(level), coarse = fine + 1 < pixels.levels ? fine + 1 : fine;
    const auto at = [&](int n) {
        const float parts = 1.0F / static_cast<float>(1 << n);
        return texel_at(pixels.tables[n], (row + 0.5F) * parts - 0.5F, column);
    };
    const Pixel a = at(fine);
    return a + (level - static_cast<float>(fine)) * (at(coarse) - a);
}

// Light is laid over what is behind as by a second exposure: 1 - (1 - a) (1 - b) below white.
static void show(const AuroraPixels& pixels, Pixel light, int x, float* pixel) {
    const Pixel one = Pixel{} + 1.0F;
    float inside = 1.0F;
    if (pixels.matte) {
        const float* matte = pixels.matte + 4L * x;
        inside = to_unit(0.3F * matte[0] + 0.5F * matte[1] + 0.2F * matte[2]);
        inside = pixels.inverted ? 1.0F - inside : inside;
    }
    const Pixel behind = pixels.alone ? Pixel{} : load<Pixel>(pixel);
    const Pixel kept =
        behind * ((1.0F - pixels.dimming * inside) * (one + (1.0F - inside) * load<Pixel>(pixels.ground)));
    light *= pixels.strength * inside;
    Pixel result = kept + light * (one - smaller(kept, one));
    result[3] = behind[3] + light[3] * (1.0F - smaller(float{behind[3]}, 1.0F));
    store(pixel, result);
}

static void shade_row(const AuroraPixels& pixels, float* picture, int width) {
    const float last_column = static_cast<float>(pixels.tables[0].columns) - 1.001F;
    const Floats zero = {}, tiny = zero + 1e-6F;
    for (int x = 0; x < width; x += LANES) {
        const Floats at = static_cast<float>(x) + counting<Floats>();
        const Floats up = pixels.up + at * pixels.up_step, ahead = pixels.ahead + at * pixels.ahead_step,
                     side = pixels.side + at * pixels.side_step;
        const Floats level = larger(square_root(ahead * ahead + side * side), tiny);
        const Floats rise = limited(up / level, tiny, zero + 1e6F);
        Floats row = (azimuth_of(side, ahead) - pixels.first_azimuth) * pixels.rows_a_radian;
        const Floats column = limited((logarithm(rise) - pixels.lowest) * (1.0F / AURORA_STEP), zero,
                                      zero + last_column);
        const Floats octaves = pixels.levels > 1 ? logarithm(larger(pixels.fine / level, tiny)) * 1.44269504F : zero;
        alignas(64) float rows[LANES], columns[LANES], levels[LANES];
        store(rows, row), store(columns, column), store(levels, octaves);
        const int count = width - x < LANES ? width - x : LANES;
        for (int i = 0; i < count; ++i)
            show(pixels, light_at(pixels, rows[i], columns[i], levels[i]), x + i, picture + 4L * (x + i));
    }
}

}  // namespace

const AuroraKernels aurora_kernels = {add_cells, colour, develop, shade_row};

}  // namespace QUILLON_SIMD
