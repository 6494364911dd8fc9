#include "effects/abstract/RomanTile.h"

#include <algorithm>
#include <cmath>

#include "effects/abstract/StoneSets.h"
#include "imagelib/imagelib_curves.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/solidnoise.h"
#include "simdlib/vectors.h"

namespace {

constexpr double DEGREE = 3.14159265358979323846 / 180.0;
constexpr float SEEN = 6;        // pixels on the side of a stone where its colour and directions are measured
constexpr float LEAST_SIZE = 2;  // of a stone, in pixels
constexpr int BAND = 16;         // rows that share a list of stones
constexpr float TILT = 0.27f;    // slope at full tilt: 15 degrees
constexpr float FAR = 4;         // slope of the lamp's rays at most

enum Chance : std::uint32_t {
    TILT_X = 11,
    TILT_Y,
    LIGHTNESS,
    GREEN_RED,
    BLUE_YELLOW,
    CHOICE_L,
    CHOICE_A,
    CHOICE_B,
    TEXTURE_X,
    TEXTURE_Y,
    LAID,
    LOST
};

float spread(const Stone& stone, Chance kind) { return 2 * stone_chance(stone.id, kind) - 1; }

// Means of blocks of `step` by `step` pixels, premultiplied.
ImagePtr reduced(const K7Image& picture, int step, const PluginK7& effect) {
    const auto cells = [&](int pixels) { return (pixels + step - 1) / step; };
    ImagePtr small = made(make_image_uncleared(cells(picture.width), cells(picture.height), 4, SAMPLE_F32));
    small->pixel_aspect = picture.pixel_aspect;
    effect.eachRow(small->height, [&](int y) {
        float* to = image_row<float>(small.get(), y);
        const int bottom = y * step, rows = std::min(step, picture.height - bottom);
        for (int x = 0; x < small->width; ++x, to += 4) {
            const int left = x * step, columns = std::min(step, picture.width - left);
            simd::Pixel sum{};
            for (int j = 0; j < rows; ++j) {
                const float* from = image_row<float>(&picture, bottom + j) + 4L * left;
                for (int i = 0; i < columns; ++i, from += 4) {
                    const simd::Pixel pixel = simd::load<simd::Pixel>(from);
                    sum += simd::Pixel{from[3], from[3], from[3], 1.0f} * pixel;
                }
            }
            simd::store(to, sum / static_cast<float>(rows * columns));
        }
    });
    return small;
}

// The premultiplied mean within a stone; at least of the pixel at its middle.
simd::Pixel mean_within(const K7Image& small, float scale, const Stone& stone) {
    const float rows = scale * small.pixel_aspect;
    const auto column = [&](float x) { return std::clamp(static_cast<int>(x * scale), 0, small.width - 1); };
    const auto line = [&](float y) { return std::clamp(static_cast<int>(y * rows), 0, small.height - 1); };
    simd::Pixel sum{};
    float weights = 0;
    for (int y = line(stone.low_y); y <= line(stone.high_y); ++y)
        for (int x = column(stone.low_x); x <= column(stone.high_x); ++x) {
            const float px = (static_cast<float>(x) + 0.5f) / scale, py = (static_cast<float>(y) + 0.5f) / rows;
            const float weight = std::clamp(0.5f - distance_to(stone, px, py) * scale, 0.0f, 1.0f);
            if (weight == 0) continue;
            sum += weight * simd::load<simd::Pixel>(image_row<float>(&small, y) + 4L * x);
            weights += weight;
        }
    if (weights > 1e-3f) return sum / weights;
    return simd::load<simd::Pixel>(image_row<float>(&small, line(stone.y)) + 4L * column(stone.x));
}

bool is_seen(const StoneShape& shape, const Stone& stone) {
    const float height = static_cast<float>(shape.height) / shape.pixel_aspect;
    return stone.count > 0 && stone.high_x > -1 && stone.low_x < static_cast<float>(shape.width) + 1 &&
           stone.high_y > -1 && stone.low_y < height + 1;
}

}  // namespace

StoneShape RomanTile::shapeOf(const K7Image& picture) const {
    const float size = std::max(static_cast<float>(TileSize.limited() * picture.width), LEAST_SIZE);
    return {.pattern = static_cast<StonePattern>(Layout.value - 1),
            .width = picture.width,
            .height = picture.height,
            .pixel_aspect = picture.pixel_aspect,
            .size = size,
            .angle = static_cast<float>(Angle.limited() * DEGREE),
            .disorder = Disorder.percent(),
            .grout = GroutWidth.percent() * size,
            .seed = static_cast<std::uint32_t>(Seed.value)};
}

// ---- Colours ------------------------------------------------------------------------------------------------------

bool RomanTile::chooseColours(const K7Image& small, float scale, const StoneShape& shape,
                              const std::vector<Stone>& stones, std::vector<StoneFace>& faces) {
    const float contrast = Contrast.percent(), saturation = Saturation.percent();
    const float gold = Gold.percent();
    const float leaf[3] = {GoldColour.red, GoldColour.green, GoldColour.blue};
    faces.assign(stones.size(), {});
    const bool done = eachRow(static_cast<int>((stones.size() + 63) / 64), [&](int block) {
        const std::size_t end = std::min(stones.size(), 64 * std::size_t(block + 1));
        for (std::size_t i = 64 * std::size_t(block); i < end; ++i) {
            StoneFace& face = faces[i];
            if (!is_seen(shape, stones[i])) continue;
            const simd::Pixel mean = mean_within(small, scale, stones[i]);
            const float alpha = mean[3], part = alpha > 1e-6f ? 1 / alpha : 0.0f;
            const float grey = part * (0.2126f * mean[0] + 0.7152f * mean[1] + 0.0722f * mean[2]);
            // Warm tones, such as skin, are spared.
            const float warmth = std::max(part * (mean[0] - 0.5f * (mean[1] + mean[2])) - 0.03f, 0.0f);
            const float level = 0.45f + contrast * (grey - 0.45f);
            const float golden = gold > 0 ? smooth_step((grey - 3 * warmth - 1 + gold) * 5, 0.0f, 1.0f) : 0.0f;
            for (int c = 0; c < 3; ++c) {
                const float own = std::max(level + contrast * saturation * (part * mean[c] - grey), 0.0f);
                const float light = 0.55f + 0.5f * std::min(grey, 1.0f);
                face.colour[c] = own + golden * (leaf[c] * light - own);
            }
            face.alpha = alpha, face.metal = golden, face.laid = true;
        }
    });
    if (done) matchStones(faces, stones);
    return done;
}

// Stones are chosen for a colour a little beside the picture's, so that two sets blend where neither fits.
void RomanTile::matchStones(std::vector<StoneFace>& faces, const std::vector<Stone>& stones) const {
    const int side = std::max(static_cast<int>(std::ceil(std::sqrt(double(faces.size())))), 1);
    ImagePtr colours = made(make_image(side, side, 4, SAMPLE_F32));
    const auto at = [&](std::size_t i) { return image_row<float>(colours.get(), int(i) / side) + 4 * (int(i) % side); };
    for (std::size_t i = 0; i < faces.size(); ++i) {
        const float rgba[4] = {faces[i].colour[0], faces[i].colour[1], faces[i].colour[2], faces[i].alpha};
        oklab_from_rgb(rgba, at(i), 1);
    }
    const float jitter = ColourJitter.percent();
    if (StoneColours.value != STONES_OF_PICTURE) {
        Palette few;
        const Palette* palette = &few;
        if (StoneColours.value == STONES_FEW)
            made(image_palette(colours.get(), ColourCount.value, static_cast<std::uint32_t>(Seed.value), few));
        else
            palette = &stone_set(StoneColours.value);
        ImagePtr shifted = made(ImagePtr(image_duplicate(colours.get())));
        ImagePtr chosen = made(make_image(side, side, 1, SAMPLE_U32));
        for (std::size_t i = 0; i < faces.size(); ++i) {
            float* to = image_row<float>(shifted.get(), int(i) / side) + 4 * (int(i) % side);
            to[0] += 0.07f * jitter * spread(stones[i], CHOICE_L);
            to[1] += 0.02f * jitter * spread(stones[i], CHOICE_A);
            to[2] += 0.02f * jitter * spread(stones[i], CHOICE_B);
        }
        const float match = Match.percent();
        if (palette->count > 0 && made(image_nearest_colours(shifted.get(), *palette, chosen.get())))
            for (std::size_t i = 0; i < faces.size(); ++i) {
                const std::uint32_t which = image_row<std::uint32_t>(chosen.get(), int(i) / side)[int(i) % side];
                float* to = at(i);
                const float keep = 1 - match * (1 - faces[i].metal);
                to[0] = palette->l[which] + keep * (to[0] - palette->l[which]);
                to[1] = palette->a[which] + keep * (to[1] - palette->a[which]);
                to[2] = palette->b[which] + keep * (to[2] - palette->b[which]);
            }
    }
    for (std::size_t i = 0; i < faces.size(); ++i) {
        float* lab = at(i);
        lab[0] = std::max(lab[0] * (1 + 0.22f * jitter * spread(stones[i], LIGHTNESS)), 0.0f);
        lab[1] += 0.02f * jitter * spread(stones[i], GREEN_RED);
        lab[2] += 0.025f * jitter * spread(stones[i], BLUE_YELLOW);
        float rgba[4];
        rgb_from_oklab(lab, rgba, 1);
        for (int c = 0; c < 3; ++c) faces[i].colour[c] = rgba[c];
    }
}

// ---- Laying -------------------------------------------------------------------------------------------------------

void RomanTile::layInOrder(const StoneShape& shape, const std::vector<Stone>& stones,
                           std::vector<StoneFace>& faces) const {
    const float laid = Laid.percent(), damage = Damage.percent();
    if (laid >= 1 && damage <= 0) return;
    const SolidNoise noise(static_cast<std::uint32_t>(Seed.value));
    const auto width = static_cast<float>(shape.width), height = static_cast<float>(shape.height) / shape.pixel_aspect;
    const float diagonal = std::sqrt(width * width + height * height);
    for (std::size_t i = 0; i < stones.size(); ++i) {
        const Stone& stone = stones[i];
        const float x = stone.anchor_x, y = stone.anchor_y, chance = stone_chance(stone.id, LAID);
        float turn = chance;
        if (LayingOrder.value == FromLeft) turn = 0.94f * x / width + 0.06f * chance;
        if (LayingOrder.value == FromBelow) turn = 0.94f * y / height + 0.06f * chance;
        if (LayingOrder.value == FromTheMiddle) {
            const float dx = x - 0.5f * width, dy = y - 0.5f * height;
            turn = 1.88f * std::sqrt(dx * dx + dy * dy) / diagonal + 0.06f * chance;
        }
        // Large patches with ragged edges, and single stones beside them.
        const float patches = noise.turbulence(x / width * 3, y / width * 3, 0.5f, 1, 6);
        const float hold = 0.5f + 0.75f * patches + 0.16f * spread(stone, LOST);
        const bool lost = damage > 0 && hold < damage;
        faces[i].laid = faces[i].laid && (laid >= 1 || turn < laid) && !lost && damage < 1;
    }
}

// ---- Drawing ------------------------------------------------------------------------------------------------------

// The grain of stone: slopes and tone of a fractal, from which each stone takes a piece of its own.
struct RomanTile::Texture {
    int columns = 0, rows = 0, pitch = 0;
    float span = 0;  // room for a stone and its way from where it began, in widths of a pixel
    std::vector<float> slope_x, slope_y, tone;

    void make(const StoneShape& shape, const RomanTile& effect) {
        span = 7 * shape.size;
        columns = std::max(static_cast<int>(span) + 64, 256);
        rows = static_cast<int>(static_cast<float>(columns) * shape.pixel_aspect) + 1;
        pitch = columns + 2 * STONE_SLACK;
        const std::size_t area = std::size_t(pitch) * std::size_t(rows + 1);
        slope_x.resize(area), slope_y.resize(area), tone.resize(area);
        const SolidNoise noise(static_cast<std::uint32_t>(effect.Seed.value) + 77);
        const float finest = std::clamp(0.4f * shape.size, 2.0f, 40.0f), row_height = 1 / shape.pixel_aspect;
        effect.eachRow(rows + 1, [&](int y) {
            const NoiseLine line{0.37, 1 / double(shape.size), float(y) * row_height / shape.size + 0.21f, 0.43f};
            noise.turbulence_row(line, 0, 1.3f, finest, tone.data() + std::size_t(y) * std::size_t(pitch), pitch);
        });
        const float steep = 0.45f * shape.size;
        effect.eachRow(rows, [&](int y) {
            const std::size_t row = std::size_t(y) * std::size_t(pitch);
            for (std::size_t i = row; i + 1 < row + std::size_t(pitch); ++i) {
                slope_x[i] = steep * (tone[i + 1] - tone[i]);
                slope_y[i] = steep * shape.pixel_aspect * (tone[i + std::size_t(pitch)] - tone[i]);
            }
        });
    }

    // Tones for a row of the picture, to and fro through the texture.
    const float* mortar(int y, std::vector<float>& row) const {
        const auto mirrored = [](int i, int count) { return i / count % 2 ? count - 1 - i % count : i % count; };
        const float* from = tone.data() + std::size_t(mirrored(y, rows)) * std::size_t(pitch);
        for (std::size_t x = 0; x < row.size(); ++x) row[x] = from[mirrored(int(x), columns)];
        return row.data();
    }

    // Where the texture for the pixels [first, last) of a row begins.
    std::size_t place(const Stone& stone, int y, float pixel_aspect, int first, int last) const {
        const auto pick = [](float chance, int room, float anchor, float reach) {
            return static_cast<int>(chance * std::max(float(room) - 2 * reach, 0.0f) + reach) -
                   static_cast<int>(std::floor(anchor));
        };
        const int shift = pick(stone_chance(stone.id, TEXTURE_X), columns, stone.anchor_x, 0.5f * span);
        const int lift =
            pick(stone_chance(stone.id, TEXTURE_Y), rows, stone.anchor_y * pixel_aspect, 0.5f * span * pixel_aspect);
        const int column = std::clamp(first + shift, 0, std::max(columns - (last - first), 0));
        const int row = std::clamp(y + lift, 0, rows - 1);
        return std::size_t(row) * std::size_t(pitch) + std::size_t(column);
    }
};

StoneLook RomanTile::lookOf(const StoneShape& shape, const Stone& stone, const StoneFace& face) const {
    const double width = shape.width, height = shape.height / double(shape.pixel_aspect);
    const double lamp_x = std::clamp(Light.x, -100.0, 100.0) * width,
                 lamp_y = std::clamp(Light.y, -100.0, 100.0) * height;
    const double above = LightZ.limited() * width;
    const auto lean = [&](double from) { return std::clamp(static_cast<float>(from / above), -FAR, FAR); };
    StoneLook look{};
    look.lamp[0] = lean(lamp_x - double(stone.x)), look.lamp[1] = lean(lamp_y - double(stone.y)), look.lamp[2] = 1;
    const float length = std::sqrt(look.lamp[0] * look.lamp[0] + look.lamp[1] * look.lamp[1] + 1);
    const float half[3] = {look.lamp[0] / length, look.lamp[1] / length, 1 / length + 1};
    const float size = std::sqrt(half[0] * half[0] + half[1] * half[1] + half[2] * half[2]);
    for (int c = 0; c < 3; ++c) look.half[c] = half[c] / size;

    // Gold leans more: it was set so that it glints.
    const float tilt = TILT * Tilt.percent() * (1 + 0.8f * face.metal), glaze = Glaze.percent(),
                print = Print.percent();
    look.tilt_x = tilt * spread(stone, TILT_X), look.tilt_y = tilt * spread(stone, TILT_Y);
    const float lamp[3] = {LightColour.red, LightColour.green, LightColour.blue};
    for (int c = 0; c < 3; ++c) {
        look.colour[c] = (1 - print) * (1 - 0.25f * face.metal) * face.colour[c];
        look.gleam[c] = lamp[c] * (glaze * (1 - face.metal) + face.metal * (0.35f + glaze) * 1.3f * face.colour[c]);
    }
    look.alpha = face.alpha;
    look.roughness = Roughness.percent();
    return look;
}

namespace {

// The pixels of a row within `reach` of a stone, or a few more.
struct Run {
    int first, last;
};
Run run_of(const Stone& stone, float y, float reach, int width) {
    float low = stone.low_x - reach, high = stone.high_x + reach;
    for (int i = 0; i < stone.count && !stone.round; ++i) {
        const StoneEdge& edge = stone.edges[std::size_t(i)];
        const float room = edge.c + reach - y * edge.ny;
        if (edge.nx > 1e-3f) high = std::min(high, room / edge.nx + 1);
        if (edge.nx < -1e-3f) low = std::max(low, room / edge.nx - 1);
    }
    const auto limit = static_cast<float>(width);
    return {static_cast<int>(std::clamp(low - 1, 0.0f, limit)), static_cast<int>(std::clamp(high + 1, 0.0f, limit))};
}

// The sums of a row, cleared for each.
class RowStore {
  public:
    explicit RowStore(int width) : m_pitch(std::size_t(width + STONE_SLACK)), m_values(8 * m_pitch) {}
    MosaicRow row() {
        const auto plane = [&](std::size_t i) { return m_values.data() + i * m_pitch; };
        std::fill(m_values.begin(), m_values.end(), 0.0f);
        std::fill_n(plane(5), m_pitch, 1.0f);
        return {plane(0), plane(1), plane(2), plane(3), plane(4), plane(5), plane(6), plane(7)};
    }

  private:
    std::size_t m_pitch;
    std::vector<float> m_values;
};

}  // namespace

void RomanTile::draw(const StoneShape& shape, const std::vector<Stone>& stones, const std::vector<StoneFace>& faces) {
    const float half = 0.5f * (shape.size - shape.grout);
    const MosaicShape mosaic{.corner = std::max(Corners.percent() * half, 0.01f),
                             .bevel = std::max(Bevel.percent() * half, 0.5f),
                             .relief = Relief.percent(),
                             .gloss = 1.5f + 30 * Gloss.percent() * Gloss.percent(),
                             .grout_reach = std::max(0.9f * shape.grout, 1.0f),
                             .grout_depth = GroutDepth.percent(),
                             .alpha_reach = shape.grout + 1};
    Texture texture;
    if (Roughness.limited() > 0) texture.make(shape, *this);

    const float reach = std::max({mosaic.grout_reach, mosaic.alpha_reach, 0.5f}) + 0.5f;
    std::vector<std::vector<std::uint32_t>> bands(std::size_t((shape.height + BAND - 1) / BAND));
    std::vector<StoneLook> looks(stones.size());
    const auto band_of = [&](float y) {
        return static_cast<int>(std::floor(std::clamp(y * shape.pixel_aspect, -1e6f, 1e6f) / BAND));
    };
    for (std::size_t i = 0; i < stones.size(); ++i) {
        if (!faces[i].laid) continue;
        looks[i] = lookOf(shape, stones[i], faces[i]);
        const int last = std::min(band_of(stones[i].high_y + reach + 1), int(bands.size()) - 1);
        for (int band = std::max(band_of(stones[i].low_y - reach - 1), 0); band <= last; ++band)
            bands[std::size_t(band)].push_back(static_cast<std::uint32_t>(i));
    }

    MosaicFinish finish{.grout = {GroutColour.red, GroutColour.green, GroutColour.blue},
                        .print = Print.percent(),
                        .mix = Mix.percent(),
                        .clear_grout = ClearGrout.value,
                        .mortar_grain = 0.25f + 0.5f * Roughness.percent(),
                        .mortar = nullptr};
    const bool bare = texture.columns > 0 && (Laid.limited() < 100 || Damage.limited() > 0);
    const MosaicKernels& kernels = mosaic_kernels();
    const auto add = shape.pattern == STONES_SCALE ? kernels.round : kernels.straight;
    const K7Image* picture = input.image.get();
    for_rows_float(int(bands.size()), [&](int first_band, int last_band) {
        if (first_band > last_band) return;
        RowStore store(shape.width);
        MosaicFinish row_finish = finish;
        std::vector<float> mortar(std::size_t(shape.width));
        for (int y = first_band * BAND; y < std::min((last_band + 1) * BAND, shape.height); ++y) {
            if (abortRequested()) return;
            const MosaicRow row = store.row();
            const float middle = (static_cast<float>(y) + 0.5f) / shape.pixel_aspect;
            for (const std::uint32_t i : bands[std::size_t(y / BAND)]) {
                const Stone& stone = stones[i];
                if (middle < stone.low_y - reach || middle > stone.high_y + reach) continue;
                const Run run = run_of(stone, middle, reach, shape.width);
                if (run.first >= run.last) continue;
                StoneLook look = looks[i];
                if (texture.columns > 0) {
                    const std::size_t place = texture.place(stone, y, shape.pixel_aspect, run.first, run.last);
                    look.texture_x = texture.slope_x.data() + place - run.first;
                    look.texture_y = texture.slope_y.data() + place - run.first;
                    look.texture_tone = texture.tone.data() + place - run.first;
                }
                add(row, mosaic, look, stone.edges.data(), stone.count, middle, run.first, run.last);
            }
            if (bare) row_finish.mortar = texture.mortar(y, mortar);
            kernels.finish(row, row_finish, image_row<float>(picture, y), image_row<float>(output.image.get(), y),
                           shape.width);
        }
    });
}

void RomanTile::ProcessFrame() {
    const StageTimer timer("RomanTile (CPU)");
    const K7Image& picture = *input.image;
    const StoneShape shape = shapeOf(picture);
    const int step = std::max(static_cast<int>(shape.size / SEEN), 1);
    const float scale = 1.0f / static_cast<float>(step);
    const ImagePtr small = reduced(picture, step, *this);
    if (abortRequested()) return;
    EdgeField field;
    const bool follows = shape.pattern <= STONES_IRREGULAR;
    if (follows &&
        !madeUnlessAborted(edge_field(small.get(), scale, shape.size * scale, static_cast<float>(EdgeReach.limited()),
                                      FollowEdges.percent(), field, stopRequested())))
        return;
    std::vector<Stone> stones;
    if (!madeUnlessAborted(lay_stones(shape, field, stones, stopRequested()))) return;
    std::vector<StoneFace> faces;
    if (!chooseColours(*small, scale, shape, stones, faces)) return;
    layInOrder(shape, stones, faces);
    draw(shape, stones, faces);
}
