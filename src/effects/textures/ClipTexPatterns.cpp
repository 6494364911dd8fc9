#include "effects/textures/ClipTexPatterns.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_bluenoise.h"

namespace {

float unit(float v) { return v > 0 ? (v < 1 ? v : 1.0F) : 0.0F; }
float part(float v) {
    const int whole = static_cast<int>(v);
    return v - static_cast<float>(whole - (static_cast<float>(whole) > v ? 1 : 0));
}
// Like the sine of so many turns, of two parabolas.
float wave(float v) {
    const float x = 2 * part(v) - 1;
    return -4 * x * (1 - std::fabs(x));
}

// What a pattern shows at a place of its tile: how much ink, how high, and a colour of its own where it has one.
struct Spot {
    float ink = 0;
    float height = 0;
    const float* colour = nullptr;  // of what is not ink; null: the paper's
};

struct Place {
    float u, v;   // 0 to 1
    float pixel;  // its size
    int band;
};

// Coverage of strokes, one in each unit of `phase`, of this width in units; `pixel` is a pixel's size in phase.
float stroke(float phase, float width, float pixel) {
    const float off = std::fabs(part(phase) - 0.5F);
    return unit((0.5F * width - off) / std::max(pixel, 1e-4F) + 0.5F);
}

// ---- Hatches ----------------------------------------------------------------------------------------------------

float hatches(const Place& p, int along_u, int along_v, float width, float seed) {
    const float phase = static_cast<float>(along_u) * p.u + static_cast<float>(along_v) * p.v;
    const float slow = wave(p.u + 2 * p.v + seed) + wave(2 * p.u - p.v + 0.3F + seed);
    const float quick = wave(7 * p.u - 5 * p.v + 2 * seed) + 0.7F * wave(11 * p.v + 6 * p.u + seed);
    const float steps = static_cast<float>(along_u * along_u + along_v * along_v);
    const float swell = 1 + 0.16F * quick;
    return stroke(phase + 0.16F * slow, width * swell, p.pixel * std::sqrt(steps));
}

Spot hatch(const Place& p) {
    float bare = 1;
    const auto add = [&](int along_u, int along_v, float width, float seed) {
        bare *= 1 - hatches(p, along_u, along_v, width, seed);
    };
    constexpr float WIDTHS[] = {0.46F, 0.34F, 0.24F};
    if (p.band > 2) return {0.0F, 0.5F};
    add(42, 42, WIDTHS[p.band], 0.1F);
    if (p.band < 2) add(42, -42, WIDTHS[p.band], 0.45F);
    if (p.band < 1) add(12, 58, 0.40F, 0.7F);
    return {1 - bare, 0.5F * bare};
}

// ---- Threads ----------------------------------------------------------------------------------------------------

// Two sets of threads; `over`: which one lies on top. Round threads, thick where they are on top.
struct Weave {
    float height;
    bool warp;
};
Weave weave(float u, float v, bool warp_over) {
    const float across = warp_over ? part(u) : part(v), along = warp_over ? part(v) : part(u);
    const float round = 1 - (2 * across - 1) * (2 * across - 1);
    const float bow = 1 - (2 * along - 1) * (2 * along - 1);
    return {std::sqrt(std::max(round, 0.0F)) * (0.55F + 0.45F * bow), warp_over};
}

Spot canvas(const Place& p) {
    constexpr int THREADS = 72;
    const float u = THREADS * (p.u + 0.0012F * wave(3 * p.v) + 0.0007F * wave(8 * p.v + 0.2F));
    const float v = THREADS * (p.v + 0.0012F * wave(2 * p.u + 0.4F) + 0.0007F * wave(7 * p.u));
    const int i = static_cast<int>(std::floor(u)), j = static_cast<int>(std::floor(v));
    const Weave threads = weave(u, v, ((i + j) & 1) == 0);
    const float slub = 0.06F * wave(static_cast<float>(threads.warp ? i : j) * 0.381966F + (threads.warp ? p.v : p.u));
    const float ink = unit(0.42F - 0.42F * threads.height + slub + 0.05F);
    return {ink, threads.height};
}

Spot fabric(const Place& p) {
    constexpr int THREADS[] = {96, 80, 64, 40};
    const int count = THREADS[p.band];
    const float u = static_cast<float>(count) * p.u, v = static_cast<float>(count) * p.v;
    const int i = static_cast<int>(std::floor(u)), j = static_cast<int>(std::floor(v));
    bool warp_over = false;
    switch (p.band) {
        case 0:  // twill
            warp_over = ((i + j) & 3) < 2;
            break;
        case 1:  // herringbone
            warp_over = ((((i / 10) & 1) ? j + i : j - i + 4000) & 3) < 2;
            break;
        case 2:  // plain
            warp_over = ((i + j) & 1) == 0;
            break;
        default: {  // knitted: two slanting loops a column
            const float side = 2 * part(u) - 1;
            const float loop = part(2 * v - 0.9F * std::fabs(side)) * 2 - 1;
            const float across = std::fabs(std::fabs(side) - 0.5F) * 2;
            const float height = std::sqrt(std::max((1 - loop * loop) * (1 - across * across), 0.0F));
            return {unit(0.5F - 0.55F * height), height};
        }
    }
    const Weave threads = weave(u, v, warp_over);
    constexpr float DARK[] = {0.78F, 0.52F, 0.30F};
    const float ink = unit(DARK[p.band] * (threads.warp ? 1.0F : 0.55F) + 0.4F * (0.7F - threads.height));
    return {ink, threads.height};
}

// ---- Prints -----------------------------------------------------------------------------------------------------

Spot woodcut(const Place& p) {
    constexpr float WIDTHS[] = {0.93F, 0.66F, 0.36F, 0.0F};
    if (p.band > 2) return {0.0F, 0.2F};
    const float bend = 0.9F * wave(p.u + 0.1F) + 0.45F * wave(2 * p.u + p.v) + 0.18F * wave(5 * p.u - 2 * p.v);
    const float phase = 34 * p.v + bend;
    const float line = std::floor(phase);
    // A gouge swells and tapers along its way, each on its own.
    const float swell = wave(3 * p.u + part(line * 0.618034F)) + 0.5F * wave(8 * p.u + part(line * 0.381966F));
    const float width = WIDTHS[p.band] + (p.band == 0 ? 0.05F : 0.16F) * swell;
    const float ink = stroke(phase, width, 36 * p.pixel);
    return {ink, 0.4F + 0.6F * ink};
}

Spot collage(const Place& p) {
    static constexpr float PAPERS[4][3] = {
        {0.80F, 0.79F, 0.74F}, {0.72F, 0.30F, 0.22F}, {0.91F, 0.70F, 0.28F}, {0.96F, 0.93F, 0.84F}};
    const float fibre = 0.5F + 0.2F * wave(61 * p.u + 3 * wave(7 * p.v)) + 0.2F * wave(83 * p.v + 2 * wave(11 * p.u));
    Spot spot{0.0F, 0.06F * fibre, PAPERS[p.band]};
    switch (p.band) {
        case 0: {  // lines of print, in two columns
            const float row = 40 * p.v, column = 2 * p.u;
            const float line = std::floor(row), place = part(column);
            const float text = 26 * place + 6 * part(line * 0.618034F);
            const float word = std::floor(text);
            const float length = 0.45F + 0.45F * part(word * 0.7548777F + line * 0.5698403F);
            const bool margin = place < 0.05F || place > 0.95F || static_cast<int>(line) % 10 == 9;
            const float height = unit((0.24F - std::fabs(part(row) - 0.5F)) / (40 * p.pixel) + 0.5F);
            const float letters = part(text) < length ? 0.65F + 0.3F * wave(5 * text) : 0.0F;
            spot.ink = margin ? 0.0F : 0.92F * height * unit(letters);
            break;
        }
        case 1: {  // stripes
            spot.ink = 0.35F * stroke(18 * (p.u + p.v), 0.32F, 25.5F * p.pixel);
            break;
        }
        case 2: {  // dots
            const float u = 20 * p.u, v = 20 * p.v + 0.5F * static_cast<float>(static_cast<int>(u) & 1);
            const float x = part(u) - 0.5F, y = part(v) - 0.5F;
            spot.ink = 0.5F * unit((0.24F - std::sqrt(x * x + y * y)) / (20 * p.pixel) + 0.5F);
            break;
        }
        default:
            spot.ink = 0.05F * unit(fibre - 0.5F);
    }
    return spot;
}

// ---- Stipples ---------------------------------------------------------------------------------------------------

// A dot in each cell of a blue noise tile whose rank is below the band's density.
void draw_stipples(int band, const PatternColours& colours, K7Image& tile) {
    constexpr int CELLS = BlueNoiseTile::SIDE;
    constexpr float DENSITY[] = {0.36F, 0.17F, 0.055F, 0.008F}, RADIUS[] = {0.92F, 0.80F, 0.66F, 0.55F};
    const BlueNoiseTile& noise = blue_noise_tile();
    const int side = tile.width;
    const float cell = static_cast<float>(side) / CELLS;
    for (int j = 0; j < CELLS; ++j)
        for (int i = 0; i < CELLS; ++i) {
            const float rank = noise.threshold(i, j);
            if (rank >= DENSITY[band]) continue;
            const float radius = cell * RADIUS[band] * (0.75F + 0.5F * part(rank * 977.0F));
            const float x = (static_cast<float>(i) + 0.25F + 0.5F * part(rank * 1631.0F)) * cell,
                        y = (static_cast<float>(j) + 0.25F + 0.5F * part(rank * 2713.0F)) * cell;
            const int reach = static_cast<int>(radius) + 2;
            const int cx = static_cast<int>(x), cy = static_cast<int>(y);
            for (int py = cy - reach; py <= cy + reach; ++py)
                for (int px = cx - reach; px <= cx + reach; ++px) {
                    const float dx = static_cast<float>(px) + 0.5F - x, dy = static_cast<float>(py) + 0.5F - y;
                    const float cover = unit(radius + 0.5F - std::sqrt(dx * dx + dy * dy));
                    if (cover <= 0) continue;
                    float* p = image_row<float>(&tile, (py + side) % side) + 4L * ((px + side) % side);
                    for (int c = 0; c < 3; ++c) p[c] += cover * (colours.ink[c] - p[c]);
                    p[3] *= 1 - cover;
                }
        }
}

}  // namespace

ImagePtr draw_pattern(int pattern, int band, int side, const PatternColours& colours) {
    ImagePtr tile = make_image_uncleared(side, side, 4, SAMPLE_F32);
    if (!tile) return nullptr;
    using Draw = Spot (*)(const Place&);
    constexpr Draw DRAWN[] = {hatch, canvas, woodcut, collage, nullptr, fabric};
    const Draw draw = DRAWN[std::clamp(pattern, 1, 6) - 1];
    const float pixel = 1.0F / static_cast<float>(side);
    for_rows_float(side, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* to = image_row<float>(tile.get(), y);
            for (int x = 0; x < side; ++x, to += 4) {
                const Place place{(static_cast<float>(x) + 0.5F) * pixel, (static_cast<float>(y) + 0.5F) * pixel, pixel,
                                  band};
                const Spot spot = draw ? draw(place) : Spot{0.0F, 0.6F};
                const float* const ground = spot.colour ? spot.colour : colours.paper;
                for (int c = 0; c < 3; ++c) to[c] = ground[c] + spot.ink * (colours.ink[c] - ground[c]);
                to[3] = spot.height;
            }
        }
    });
    if (!draw) draw_stipples(band, colours, *tile);
    return tile;
}
