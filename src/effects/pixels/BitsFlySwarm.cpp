// Q_BitsFly: who has left, the way of each tile over the time of the shutter, and the shadows that they throw.
#include "effects/pixels/BitsFlySwarm.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "graphicslib/row_bands.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_curves.h"
#include "k7pi_baselib/portable_math.h"
#include "k7pi_baselib/rows.h"
#include "noiselib/place_hash.h"

namespace {

constexpr double DEGREE = 3.14159265358979 / 180;
constexpr double SET_IN = 6;          // frames in which a twirl sets in
constexpr float OUT_OF_PLANE = 0.4F;  // of the axes of twirls, which lie nearly in the picture
constexpr float GROWN = 5;            // frames in which its thickness comes to be seen
constexpr double TIPPED = 2.1;        // radians at which a tile that tips over comes off
constexpr double TIP_FRAMES = 10;     // that tipping takes at 120 degrees in ten frames
constexpr float POSE_STEP = 3.5F;     // pixels from pose to pose of what is blurred by motion
constexpr float CLOSE_POSES = 2;      // beyond these they may lie twice as far apart
constexpr float MOST_POSES = 14;
constexpr float MEAN_ARM = 0.6F;       // of a tile: what counts of its turning
constexpr float SHADOW_CELL = 4;       // pixels of the full size
constexpr float SHADOW_BLUR = 0.004F;  // widths
constexpr float SHADOW_REACH = 0.2F;   // widths of height at which a shadow is half as dark
constexpr float LIFTED = 0.015F;       // widths of height from which on there is a whole shadow
constexpr float FAR_AWAY = 1e8F;       // pixels
constexpr float DEEPEST = -50.0F;      // widths: what flies farther is gone

// The mean over a few places of a tile.
float light_of(const K7Image& matte, const Tiling::Tile& tile, float tallness) {
    static constexpr float PLACES[5][2] = {{0, 0}, {0.4F, 0.2F}, {-0.2F, 0.4F}, {-0.4F, -0.2F}, {0.2F, -0.4F}};
    float sum = 0;
    for (const auto& place : PLACES) {
        const float x = tile.middle.x + tile.radius * place[0] + 0.5F;
        const float y = (tile.middle.y + tile.radius * place[1]) / tallness + 0.5F;
        const auto index = [](float part, int count) {
            return std::clamp(static_cast<int>(part * static_cast<float>(count)), 0, count - 1);
        };
        sum += luminance(image_row<float>(&matte, index(y, matte.height)) + 4 * index(x, matte.width));
    }
    return 0.2F * sum;
}

void rotation(const float axis[3], double angle, float turn[9]) {  // O. Rodrigues' formula
    const K7SineCosine both = k7_sine_cosine(angle);
    const auto s = static_cast<float>(both.sine), c = static_cast<float>(both.cosine), d = 1 - c;
    const float x = axis[0], y = axis[1], z = axis[2];
    const float rows[9] = {c + d * x * x,     d * x * y - s * z, d * x * z + s * y, d * x * y + s * z, c + d * y * y,
                           d * y * z - s * x, d * x * z - s * y, d * y * z + s * x, c + d * z * z};
    std::copy_n(rows, 9, turn);
}

template <class Craft>
TilePose pose_between(const Craft& craft, float t) {
    TilePose pose;
    const auto mixed = [t](float from, float to) { return from + t * (to - from); };
    rotation(craft.axis, craft.open.angle + double(t) * (craft.close.angle - craft.open.angle), pose.turn);
    for (int k = 0; k < 3; ++k) {
        const float* row = pose.turn + 3 * k;
        const float arm = row[0] * craft.arm[0] + row[1] * craft.arm[1] + row[2] * craft.arm[2];
        pose.place[k] = mixed(craft.open.place[k], craft.close.place[k]) + arm;
    }
    pose.size = mixed(craft.open.size, craft.close.size);
    pose.opacity = mixed(craft.open.opacity, craft.close.opacity);
    pose.thickness = mixed(craft.open.thickness, craft.close.thickness);
    return pose;
}

}  // namespace

// What is needed to draw a tile that has left, in no poses when it is not seen. False: it is in its place.
bool BitsFly::launch(const Swarm& swarm, std::uint32_t index, Craft& craft) const {
    const Tiling::Tile& tile = swarm.tiling.tiles()[index];
    craft.tile = index, craft.poses = 0;
    const float x = tile.middle.x, y = tile.middle.y;
    const float order = swarm.ordered ? light_of(*matte2D.image, tile, swarm.tallness) : 0;
    const float turn = swarm.departures.turn(x, y, tile.word, order);
    if (turn < 0) return false;
    const double half_open = 0.5 * std::clamp(Shutter.value, 0.0, 200.0) / 100;
    const double ages[2] = {swarm.departures.age(turn, -half_open), swarm.departures.age(turn, half_open)};
    if (!(std::max(ages[0], ages[1]) > 0)) return false;
    if (swarm.departures.gone(ages[0]) && swarm.departures.gone(ages[1])) return true;

    const float depth = swarm.deep ? Depth.percent() * (light_of(*matte3D.image, tile, swarm.tallness) - 1) : 0;
    // Where it hides nothing of the picture at rest: on the way from the eye to its place.
    const float spacing = (swarm.look.distance - depth) / swarm.look.distance;
    const FlightPlace start{x * spacing, y * spacing, depth};
    const Flight flight(swarm.forces, start, tile.word, spacing);
    const float chance = unit_of(place_hash(tile.word, 41)), way = unit_of(place_hash(tile.word, 42));
    const double twirl = Twirl.limited() * DEGREE / 10;
    double tip_frames = 0, sense = chance < 0.5F ? -1 : 1;
    craft.arm[0] = craft.arm[1] = craft.arm[2] = 0;
    if (Release.value == TipOver && twirl > 1e-3) {
        float to_x, to_y, reach = 0;
        swarm.departures.heading(x, y, to_x, to_y);
        const TilePoint* corners = swarm.tiling.corners(tile);
        for (std::uint32_t i = 0; i < tile.count; ++i)
            reach = std::max(reach, (corners[i].x - x) * to_x + (corners[i].y - y) * to_y);
        craft.axis[0] = -to_y, craft.axis[1] = to_x, craft.axis[2] = 0;
        craft.arm[0] = -to_x * reach * spacing, craft.arm[1] = -to_y * reach * spacing;
        tip_frames = TIP_FRAMES * (120 * DEGREE / 10) / twirl, sense = 1;
    } else {
        const K7SineCosine around = k7_sine_cosine(360 * DEGREE * double(way));
        const float z = OUT_OF_PLANE * signed_of(place_hash(tile.word, 43)), flat = std::sqrt(1 - z * z);
        craft.axis[0] = flat * static_cast<float>(around.cosine),
        craft.axis[1] = flat * static_cast<float>(around.sine);
        craft.axis[2] = z;
    }
    const double speed = sense * twirl * (0.5 + double(unit_of(place_hash(tile.word, 44))));

    FlightPlace gust{0, 0, 0};
    if (swarm.forces.gusts > 0) {
        const FlightPlace at = flight.gust_at(std::max(0.5 * (ages[0] + ages[1]) - tip_frames, 0.0));
        gust = {swarm.gusts.noise(at.x, at.y, at.z), swarm.gusts.noise(at.x + 17.3F, at.y, at.z + 5.1F),
                swarm.gusts.noise(at.x, at.y + 23.7F, at.z + 9.4F)};
    }
    const float life = static_cast<float>(swarm.departures.settings().flight_time);
    for (int end = 0; end < 2; ++end) {
        const double age = std::max(ages[end], 0.0), loose = std::max(age - tip_frames, 0.0);
        Moment& moment = end == 0 ? craft.open : craft.close;
        const FlightPlace place = flight.at(loose, gust);
        moment.place[0] = place.x - craft.arm[0], moment.place[1] = place.y - craft.arm[1], moment.place[2] = place.z;
        if (tip_frames > 0) {
            const double tipped = std::min(age / tip_frames, 1.0);
            moment.angle = TIPPED * tipped * tipped + 2 * TIPPED / tip_frames * loose;
        } else {
            moment.angle = speed * age * age / (age + SET_IN);
        }
        // In its place no side of it is seen.
        moment.thickness = smooth_step(static_cast<float>(age) / GROWN, 0, 1);
        const float share = std::min(static_cast<float>(age) / life, 1.0F);
        moment.size = spacing * (1 - Shrink.percent() * smooth_step(share, 0, 1));
        const float fade = FadeOut.percent();
        moment.opacity = ages[end] >= double(life) ? 0 : fade > 0 ? 1 - smooth_step(share, 1 - fade, 1) : 1;
        // Out of the eye's way.
        moment.opacity *= 1 - smooth_step(place.z / swarm.look.distance, 0.6F, 0.85F);
        if (!(place.z > DEEPEST)) moment.opacity = 0;
    }
    if (!(craft.open.opacity + craft.close.opacity > 0) || !(craft.open.size + craft.close.size > 1e-4F)) return true;
    const float radius = tile.radius * std::max(craft.open.size, craft.close.size);
    const float nearest = std::max(craft.open.place[2], craft.close.place[2]);
    const float nearness = swarm.look.distance / std::max(swarm.look.distance - nearest, 0.05F * swarm.look.distance);
    const float dx = swarm.painter.pixel_x(craft.close.place[0], craft.close.place[2]) -
                     swarm.painter.pixel_x(craft.open.place[0], craft.open.place[2]);
    const float dy = swarm.painter.pixel_y(craft.close.place[1], craft.close.place[2]) -
                     swarm.painter.pixel_y(craft.open.place[1], craft.open.place[2]);
    const float turned = MEAN_ARM * radius * nearness * static_cast<float>(picture.image->width) *
                         std::min(static_cast<float>(std::fabs(craft.close.angle - craft.open.angle)), 3.0F);
    const float moved = std::sqrt(dx * dx + dy * dy) + turned;
    const float steps = moved / POSE_STEP;
    const float poses = 1 + (steps < CLOSE_POSES ? steps : CLOSE_POSES + 0.5F * (steps - CLOSE_POSES));
    craft.poses = static_cast<int>(std::min(poses, MOST_POSES));
    return true;
}

void BitsFly::launchAll(Swarm& swarm) const {
    const auto count = static_cast<int>(swarm.tiling.tiles().size());
    constexpr int BLOCK = 64;
    std::vector<Craft> all(swarm.tiling.tiles().size());
    std::vector<unsigned char> away(all.size());
    each_row_float((count + BLOCK - 1) / BLOCK, [&](int block) {
        for (int i = block * BLOCK; i < std::min((block + 1) * BLOCK, count); ++i)
            away[std::size_t(i)] = launch(swarm, static_cast<std::uint32_t>(i), all[std::size_t(i)]) ? 1 : 0;
    });
    std::size_t poses = 0;
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (away[i]) swarm.holes.push_back(static_cast<std::uint32_t>(i));
        if (all[i].poses == 0) continue;
        all[i].first_pose = poses;
        poses += std::size_t(all[i].poses);
        swarm.crafts.push_back(all[i]);
    }
    swarm.poses.resize(poses);
    swarm.flying.resize(swarm.crafts.size());
    const auto crafts = static_cast<int>(swarm.crafts.size());
    std::vector<unsigned char> seen(swarm.crafts.size());
    each_row_float((crafts + BLOCK - 1) / BLOCK, [&](int block) {
        for (int i = block * BLOCK; i < std::min((block + 1) * BLOCK, crafts); ++i) {
            const Craft& craft = swarm.crafts[std::size_t(i)];
            TilePose* first = swarm.poses.data() + craft.first_pose;
            for (int k = 0; k < craft.poses; ++k)
                first[k] = pose_between(craft, (static_cast<float>(k) + 0.5F) / static_cast<float>(craft.poses));
            TilePainter::Flying& flying = swarm.flying[std::size_t(i)];
            const float* at = first[craft.poses / 2].place;
            const float depth = swarm.look.distance - at[2];
            flying = {&swarm.tiling.tiles()[craft.tile],
                      first,
                      craft.poses,
                      at[0] * at[0] + at[1] * at[1] + depth * depth,
                      {}};
            seen[std::size_t(i)] = swarm.painter.measure(flying) ? 1 : 0;
        }
    });
    std::size_t kept = 0;
    for (std::size_t i = 0; i < swarm.flying.size(); ++i)
        if (seen[i]) swarm.flying[kept++] = swarm.flying[i];
    swarm.flying.resize(kept);
    std::stable_sort(swarm.flying.begin(), swarm.flying.end(),
                     [](const auto& a, const auto& b) { return a.distance > b.distance; });  // the farthest first
}

// ---- Shadows --------------------------------------------------------------------------------------------------

// How much light tiles keep from the picture's plane, at a part of the size. Null: none.
ImagePtr BitsFly::shadows(const Swarm& swarm) const {
    const K7Image& full = *picture.image;
    if (!(Shadow.value > 0.0) || swarm.flying.empty()) return nullptr;
    const float cell = std::max(SHADOW_CELL / full.unit_scale, 1.0F);
    const auto cells = [cell](int pixels) { return std::max(static_cast<int>(static_cast<float>(pixels) / cell), 2); };
    ImagePtr plane = made(make_image(cells(full.width), cells(full.height), 1, SAMPLE_F32));
    const auto wide = static_cast<float>(plane->width), high = static_cast<float>(plane->height);
    struct Cast {
        float xy[2 * Tiling::MOST_CORNERS];
        int count = 0, first = 0, last = -1;
        float dark = 0;
    };
    std::vector<Cast> casts(swarm.flying.size());
    const float slant_x = swarm.look.light[0] / swarm.look.light[2],
                slant_y = swarm.look.light[1] / swarm.look.light[2];
    constexpr int BLOCK = 64;
    const auto count = static_cast<int>(casts.size());
    each_row_float((count + BLOCK - 1) / BLOCK, [&](int block) {
        for (int n = block * BLOCK; n < std::min((block + 1) * BLOCK, count); ++n) {
            const TilePainter::Flying& flying = swarm.flying[std::size_t(n)];
            const TilePose& pose = flying.poses[flying.count / 2];
            const float height = pose.place[2];
            if (!(height > 0)) continue;
            Cast& cast = casts[std::size_t(n)];
            cast.dark = pose.opacity * smooth_step(height, 0, LIFTED) * SHADOW_REACH / (SHADOW_REACH + height);
            const TilePoint* corners = swarm.tiling.corners(*flying.tile);
            cast.count = static_cast<int>(flying.tile->count);
            float low = high, top = 0;
            for (int i = 0; i < cast.count; ++i) {
                const float x = (corners[i].x - flying.tile->middle.x) * pose.size;
                const float y = (corners[i].y - flying.tile->middle.y) * pose.size;
                const float z = pose.place[2] + pose.turn[6] * x + pose.turn[7] * y;
                const float at_x = pose.place[0] + pose.turn[0] * x + pose.turn[1] * y - slant_x * z;
                const float at_y = pose.place[1] + pose.turn[3] * x + pose.turn[4] * y - slant_y * z;
                cast.xy[2 * i] = (at_x + 0.5F) * wide;
                cast.xy[2 * i + 1] = (at_y / swarm.tallness + 0.5F) * high;
                if (!(std::fabs(cast.xy[2 * i]) + std::fabs(cast.xy[2 * i + 1]) < FAR_AWAY)) cast.dark = 0;
                low = std::min(low, cast.xy[2 * i + 1]), top = std::max(top, cast.xy[2 * i + 1]);
            }
            cast.first = static_cast<int>(std::max(low, 0.0F));
            cast.last = static_cast<int>(std::clamp(top, -1.0F, high - 1));
        }
    });
    std::erase_if(casts, [](const Cast& cast) { return !(cast.dark > 0) || cast.first > cast.last; });
    if (casts.empty()) return nullptr;
    row_bands::draw(
        casts.size(), plane->height,
        [&](std::size_t i) {
            return std::pair{casts[i].first, casts[i].last};
        },
        [&](int first, int last, const std::uint32_t* begin, const std::uint32_t* end) {
            PolygonCoverage coverage;
            for (; begin != end; ++begin) {
                const Cast& cast = casts[*begin];
                made(coverage.set_polygon(cast.count, cast.xy, 2, {0, first, plane->width - 1, last}));
                coverage.for_runs([&](const CoverageRun& run) {
                    float* out = image_row<float>(plane.get(), run.y);
                    for (int x = run.x0; x <= run.x1; ++x)
                        out[x] += (1 - out[x]) * cast.dark * (run.coverage ? run.coverage[x - run.x0] : 1.0F);
                });
            }
        });
    made(image_gaussian_blur(plane.get(), SHADOW_BLUR * wide, SHADOW_BLUR * wide * full.pixel_aspect, 1));
    return plane;
}
