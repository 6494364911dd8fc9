#include "effects/sky/StarExposure.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_curves.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr int MIDDLE = StarExposure::SUB_FRAMES / 2;
constexpr std::uint32_t BLOCK = 512;     // stars that a thread takes at once
constexpr float REACH_OF_LIGHT = 10.0F;  // light years from which a star like the sun is as bright as white
constexpr float FAINTEST = 0.0008F;      // share of white, below which nothing is drawn
constexpr float FAINTEST_FAR = 0.0024F;  // of the faintest far star
constexpr float BRIGHTEST = 400.0F;      // stars that come nearer do not get brighter
constexpr float NEAREST = 0.02F;         // light years
constexpr float LONGEST_PIECE = 10.0F;   // pixels of a picture 1920 wide
constexpr float OUTSIDE = 1e5F;          // pixels: places from here on are not drawn

Matrix4 turn_of(const StarPose& pose) {
    Matrix4 turn = Matrix4::identity();
    for (int k = 0; k < 3; ++k) {
        turn.m[k][0] = static_cast<float>(pose.right[k]);
        turn.m[k][1] = static_cast<float>(pose.up[k]);
        turn.m[k][2] = static_cast<float>(-pose.forward[k]);
    }
    return turn;
}

float dot(const float (&a)[3], const float (&b)[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

float length(const float (&v)[3]) { return std::sqrt(dot(v, v)); }

}  // namespace

struct StarExposure::Star {
    float place[3];  // from the camera in the middle of the exposure, in light years; of a far star its direction
    bool moves;      // comes nearer: not a far star
    float light;     // in the middle of the exposure
    float distance;
    float colour[3];
    std::uint32_t word;
    float reach = 0;  // of its kernel
};

StarExposure::StarExposure(const StarScene& scene, const StarFlight& flight)
    : m_scene(scene), m_haze(scene.haze), m_cameras(SUB_FRAMES + 1), m_views(SUB_FRAMES + 1) {
    const double wide = k7_tan(scene.field_of_view * 3.141592653589793 / 360.0);
    const double tall = wide * scene.height / (scene.width * scene.pixel_aspect);
    const auto time = [&](int k) { return scene.frame + scene.shutter * (double(k) / SUB_FRAMES - 0.5); };
    const StarPose middle = flight.at(time(MIDDLE)), start = flight.at(0.0);
    double least = 1.0;
    for (int k = 0; k <= SUB_FRAMES; ++k) {
        const StarPose pose = flight.at(time(k));
        Camera& camera = m_cameras[static_cast<std::size_t>(k)];
        camera.field_of_view = static_cast<float>(2.0 * k7_atan2(tall, 1.0));
        camera.near_depth = NEAREST, camera.far_depth = 1e6F;
        camera.width = static_cast<float>(scene.width), camera.height = static_cast<float>(scene.height);
        camera.pixel_aspect = static_cast<float>(scene.pixel_aspect);
        camera.auto_matrix = false;
        camera.rotation_matrix = turn_of(pose);
        float shift[3];
        double ahead = 0.0;
        for (int i = 0; i < 3; ++i) {
            shift[i] = static_cast<float>(pose.place[i] - middle.place[i]);
            ahead += pose.forward[i] * middle.forward[i];
            if (k == 0 || k == SUB_FRAMES) m_shift[k == 0 ? 0 : 1][i] = shift[i];
        }
        least = std::min(least, ahead);
        camera.translation_matrix = Matrix4::translation(-shift[0], -shift[1], -shift[2]);
        camera.update_camera();
        m_views[static_cast<std::size_t>(k)] = camera.world_to_pixel();
    }
    for (int i = 0; i < 3; ++i) {
        m_place[i] = middle.place[i];
        m_cluster[i] = start.place[i] + scene.cluster_place[i] - middle.place[i];
        m_forward[i] = static_cast<float>(middle.forward[i]);
    }
    const double corner = k7_atan2(std::sqrt(wide * wide + tall * tall), 1.0), swept = k7_acos(std::min(least, 1.0));
    m_cone = static_cast<float>(k7_cos(std::min(corner * 1.04 + 0.01 + swept, 3.141592653589793)));
    const StarPose end = flight.at(time(SUB_FRAMES)), begin = flight.at(time(0));
    double rolled = 0.0;
    for (int i = 0; i < 3; ++i) rolled += end.right[i] * begin.right[i];
    m_turned = static_cast<float>((swept + k7_acos(std::clamp(rolled, -1.0, 1.0))) * 0.5 * scene.width / wide);
}

// ---- What is seen ---------------------------------------------------------------------------------------------

// The cone around the picture, wide enough for all directions that the camera looks to during the exposure.
bool StarExposure::mayBeSeen(const float (&place)[3], bool moves) const {
    if (dot(place, m_forward) >= m_cone * length(place)) return true;
    for (int end = 0; moves && end < 2; ++end) {
        float seen[3];
        for (int i = 0; i < 3; ++i) seen[i] = place[i] - m_shift[end][i];
        if (dot(seen, m_forward) >= m_cone * length(seen)) return true;
    }
    return false;
}

// Pixels, rows in widths of a pixel, and depth. False behind the camera.
bool StarExposure::project(const Star& star, int sub_frame, float (&point)[3]) const {
    const Matrix4& view = m_views[static_cast<std::size_t>(sub_frame)];
    const float* p = star.place;
    float sums[4];
    for (int c = 0; c < 4; ++c) {
        sums[c] = p[0] * view.m[0][c] + p[1] * view.m[1][c] + p[2] * view.m[2][c];
        if (star.moves) sums[c] += view.m[3][c];
    }
    if (!(sums[3] > NEAREST)) return false;
    point[0] = sums[0] / sums[3];
    point[1] = sums[1] / sums[3] / static_cast<float>(m_scene.pixel_aspect);
    point[2] = sums[3];
    return std::fabs(point[0]) < OUTSIDE && std::fabs(point[1]) < OUTSIDE;
}

float StarExposure::dimmed(float light) const {
    if (m_scene.range != 1.0F)
        light = k7_pow_float(static_cast<double>(light) + 1e-12, static_cast<double>(m_scene.range));
    return std::min(light * m_scene.brightness, BRIGHTEST);
}

// ---- Stars ----------------------------------------------------------------------------------------------------

void StarExposure::nearStar(std::uint32_t number, StarLight& light) const {
    Star star{};
    star.word = m_scene.scatter.near_word(number);
    m_scene.scatter.near_place(star.word, star.place);
    const auto edge = static_cast<float>(m_scene.box);
    for (int i = 0; i < 3; ++i) {
        const double at = m_place[i] / m_scene.box;
        const float away = star.place[i] - static_cast<float>(at - std::floor(at));
        star.place[i] = (away - std::floor(away + 0.5F)) * edge;
    }
    if (!mayBeSeen(star.place, true)) return;
    star.moves = true;
    star.distance = std::max(length(star.place), NEAREST);
    // It fades in before the box repeats.
    const float fade = 1.0F - smooth_step(star.distance / edge, 0.32F, 0.5F);
    if (!(fade > 0.0F)) return;
    const StarKind& kind = m_scene.kinds[star.word];
    const float nearness = REACH_OF_LIGHT / star.distance;
    star.light = dimmed(kind.light * nearness * nearness) * fade;
    std::copy_n(kind.colour, 3, star.colour);
    draw(star, light);
}

void StarExposure::farStars(std::uint32_t first, std::uint32_t last, StarLight& light) const {
    Star seen[BLOCK];
    int count = 0;
    for (std::uint32_t number = first; number < last; ++number) {
        Star& star = seen[count];
        star = {};
        star.word = m_scene.scatter.far_word(number);
        m_scene.scatter.far_direction(star.word, star.place);
        if (!mayBeSeen(star.place, false)) continue;
        star.distance = 1.0F;
        star.light = FAINTEST_FAR * m_scene.scatter.far_light(star.word);
        std::copy_n(m_scene.kinds[star.word].colour, 3, star.colour);
        ++count;
    }
    if (m_scene.haze.milky_way > 0.0F && m_scene.haze.dust > 0.0F && count > 0) dust(seen, count);
    for (int i = 0; i < count; ++i) {
        seen[i].light = dimmed(seen[i].light);
        draw(seen[i], light);
    }
}

void StarExposure::dust(Star* stars, int count) const {
    float parts[3][BLOCK], scratch[3 * BLOCK], share[BLOCK];
    const float* const direction[3] = {parts[0], parts[1], parts[2]};
    for (int i = 0; i < count; ++i)
        for (int k = 0; k < 3; ++k) parts[k][i] = stars[i].place[k];
    m_haze.let_through(direction, count, scratch, share);
    for (int i = 0; i < count; ++i) stars[i].light *= share[i];
}

void StarExposure::clusterStar(std::uint32_t number, StarLight& light) const {
    Star star{};
    star.word = m_scene.scatter.cluster_word(number);
    m_scene.scatter.cluster_place(star.word, star.place);
    for (int i = 0; i < 3; ++i)
        star.place[i] = static_cast<float>(m_cluster[i] + static_cast<double>(star.place[i] * m_scene.cluster_radius));
    if (!mayBeSeen(star.place, true)) return;
    star.moves = true;
    star.distance = std::max(length(star.place), NEAREST);
    const StarKind& kind = m_scene.kinds.old(star.word);
    const float nearness = REACH_OF_LIGHT / star.distance;
    star.light = dimmed(kind.light * nearness * nearness);
    std::copy_n(kind.colour, 3, star.colour);
    draw(star, light);
}

// The light of the cluster's stars that are too faint to be drawn, as one glow.
void StarExposure::clusterHaze(StarLight& light) const {
    Star middle{};
    for (int i = 0; i < 3; ++i) middle.place[i] = static_cast<float>(m_cluster[i]);
    middle.moves = true;
    middle.distance = length(middle.place);
    float point[3];
    if (m_scene.cluster_stars == 0 || middle.distance < 2.0F * m_scene.cluster_radius) return;
    if (!project(middle, MIDDLE, point)) return;
    const float scale = static_cast<float>(0.5 * m_scene.width) /
                        k7_tan(static_cast<float>(m_scene.field_of_view * 3.141592653589793 / 360.0));
    StarGlow glow{point[0], point[1], m_scene.cluster_radius / point[2] * scale, 0.0F, {}};
    glow.core = std::max(glow.core, m_scene.reach);
    glow.reach = glow.core * 5.0F;
    const float nearness = REACH_OF_LIGHT / middle.distance, across = m_scene.reach * 0.5F / glow.core;
    const float each = dimmed(m_scene.kinds.mean_light() * nearness * nearness);
    const float unseen = 1.0F - smooth_step(each, FAINTEST, 60.0F * FAINTEST);
    if (!(unseen > 0.0F)) return;
    const float strength =
        0.12F * unseen * std::min(static_cast<float>(m_scene.cluster_stars) * each * across * across, 4.0F);
    constexpr float OLD[] = {1.0F, 0.86F, 0.66F};
    for (int c = 0; c < 3; ++c) glow.colour[c] = strength * OLD[c] * m_scene.tint[c];
    light.glows.push_back(glow);
}

// ---- Drawing --------------------------------------------------------------------------------------------------

// Bright stars spread on film: the light in their middle grows with the power of two thirds.
void StarExposure::draw(const Star& given, StarLight& light) const {
    if (!(given.light > FAINTEST)) return;
    Star star = given;
    for (int c = 0; c < 3; ++c) star.colour[c] *= m_scene.tint[c];
    const float growth = k7_pow_float(1.0 + static_cast<double>(star.light) / 4.0, 1.0 / 6.0);
    star.reach = m_scene.reach * growth;

    // The way of the star through the picture, as far as it is before the camera.
    constexpr int COARSE = 8, STEP = SUB_FRAMES / COARSE;
    float points[COARSE + 1][3], way = 0.0F;
    bool seen[COARSE + 1];
    for (int k = 0; k <= COARSE; ++k) {
        seen[k] = project(star, k * STEP, points[k]);
        if (k > 0 && seen[k] && seen[k - 1])
            way += std::sqrt((points[k][0] - points[k - 1][0]) * (points[k][0] - points[k - 1][0]) +
                             (points[k][1] - points[k - 1][1]) * (points[k][1] - points[k - 1][1]));
    }
    if (m_scene.streak_light > 0.0F && way > 0.0F)
        star.light *= k7_pow_float(1.0 + static_cast<double>(way / (0.65F * star.reach)),
                                   static_cast<double>(m_scene.streak_light));
    star.light /= growth * growth;

    float middle[3];
    if (m_scene.spikes > 0 && project(star, MIDDLE, middle)) drawSpikes(star, light);
    const float piece = LONGEST_PIECE * std::max(static_cast<float>(m_scene.width) / 1920.0F, 0.25F);
    if (way < 0.1F * star.reach) {
        if (project(star, MIDDLE, middle)) drawPiece(star, middle, middle, m_scene.frame, 1.0F, light);
        return;
    }
    int pieces = 1;
    while (pieces < SUB_FRAMES && static_cast<float>(pieces) * piece < way) pieces *= 2;
    const int step = SUB_FRAMES / pieces;
    float from[3], to[3];
    bool before = project(star, 0, from);
    for (int k = step; k <= SUB_FRAMES; k += step) {
        const bool after = project(star, k, to);
        const double time = m_scene.frame + m_scene.shutter * ((k - 0.5 * step) / SUB_FRAMES - 0.5);
        if (before && after) drawPiece(star, from, to, time, 1.0F / static_cast<float>(pieces), light);
        before = after;
        std::copy_n(to, 3, from);
    }
}

void StarExposure::drawPiece(const Star& star, const float (&from)[3], const float (&to)[3], double time, float share,
                             StarLight& light) const {
    const float dx = to[0] - from[0], dy = to[1] - from[1], long_ = std::sqrt(dx * dx + dy * dy);
    StarStreak streak{};
    streak.x = 0.5F * (from[0] + to[0]), streak.y = 0.5F * (from[1] + to[1]);
    streak.reach = star.reach;
    const bool still = long_ < 0.05F * star.reach;
    streak.half = still ? 0.0F : 0.5F * long_;
    streak.cosine = still ? 1.0F : dx / long_, streak.sine = still ? 0.0F : dy / long_;
    float strength = star.light * share;
    if (m_scene.twinkle > 0.0F)
        strength *= 1.0F + m_scene.twinkle * star_flicker(star.word, time * m_scene.twinkle_speed);
    // Coming nearer within an exposure.
    if (star.moves) {
        float shift[3];
        const float part = static_cast<float>((time - m_scene.frame) / std::max(m_scene.shutter, 1e-9)) + 0.5F;
        for (int i = 0; i < 3; ++i) shift[i] = star.place[i] - (m_shift[0][i] + (m_shift[1][i] - m_shift[0][i]) * part);
        const float nearness = star.distance / std::max(length(shift), NEAREST);
        strength *= std::min(nearness * nearness, 100.0F);
    }
    if (!(strength > 0.0F)) return;
    for (int c = 0; c < 3; ++c) streak.colour[c] = strength * star.colour[c];

    const float glow = m_scene.glow * 0.012F * strength * star.reach * star.reach / (m_scene.reach * m_scene.reach);
    constexpr float FAINTEST_GLOW = 0.0004F;
    const auto width = static_cast<float>(m_scene.width),
               height = static_cast<float>(m_scene.height / m_scene.pixel_aspect);
    if (glow > 2.0F * FAINTEST_GLOW) {
        // Wider than its piece is long, so that those of a streak run into one another.
        StarGlow spot{streak.x, streak.y, 1.6F * m_scene.reach, 0.0F, {}};
        spot.reach = std::min(spot.core * std::sqrt(glow / FAINTEST_GLOW), m_scene.glow_size);
        const float core = std::max(spot.core, std::min(1.2F * streak.half, 0.5F * m_scene.glow_size));
        const float thinner = spot.core / core;
        spot.core = core, spot.reach = std::max(spot.reach, 2.0F * core);
        for (int c = 0; c < 3; ++c) spot.colour[c] = glow * thinner * thinner * star.colour[c];
        if (spot.x > -spot.reach && spot.x < width + spot.reach && spot.y > -spot.reach &&
            spot.y < height + spot.reach && spot.reach > spot.core)
            light.glows.push_back(spot);
    }
    const float reach = streak.half + streak.reach;
    if (streak.x > -reach && streak.x < width + reach && streak.y > -reach && streak.y < height + reach)
        light.streaks.push_back(streak);
}

void StarExposure::drawSpikes(const Star& star, StarLight& light) const {
    constexpr float BRIGHT = 0.3F, FULL = 20.0F;
    float point[3];
    if (!(star.light > BRIGHT) || !project(star, MIDDLE, point)) return;
    const float share = std::min(std::sqrt((star.light - BRIGHT) / FULL), 1.0F);
    StarStreak ray{};
    ray.ray = true;
    ray.x = point[0], ray.y = point[1];
    ray.half = m_scene.spike_length * share, ray.reach = m_scene.reach * 0.8F;
    if (!(ray.half > ray.reach)) return;
    for (int c = 0; c < 3; ++c) ray.colour[c] = m_scene.spike_strength * 0.5F * share * star.colour[c];
    for (int i = 0; i < m_scene.spikes; ++i) {
        const K7SineCosine turn = k7_sine_cosine(m_scene.spike_angle + 3.141592653589793 * i / m_scene.spikes);
        ray.cosine = static_cast<float>(turn.cosine), ray.sine = static_cast<float>(turn.sine);
        light.streaks.push_back(ray);
    }
}

// ---- All of them ----------------------------------------------------------------------------------------------

void StarExposure::nearStars(std::uint32_t first, std::uint32_t last, StarLight& light) const {
    for (std::uint32_t i = first; i < last; ++i) nearStar(i, light);
}
void StarExposure::clusterStars(std::uint32_t first, std::uint32_t last, StarLight& light) const {
    for (std::uint32_t i = first; i < last; ++i) clusterStar(i, light);
}

bool StarExposure::expose(StarLight& light, const StopRequested& stop) const {
    clusterHaze(light);
    const struct {
        int count;
        void (StarExposure::*take)(std::uint32_t, std::uint32_t, StarLight&) const;
    } populations[] = {{m_scene.stars, &StarExposure::nearStars},
                       {m_scene.far_stars, &StarExposure::farStars},
                       {m_scene.cluster_stars, &StarExposure::clusterStars}};
    for (const auto& [count, take] : populations) {
        const auto stars = static_cast<std::uint32_t>(std::max(count, 0));
        std::vector<StarLight> found((stars + BLOCK - 1) / BLOCK);
        const bool whole = each_row_float(
            static_cast<int>(found.size()), [&] { return wants_end(stop); },
            [&](int block) {
                const std::uint32_t first = static_cast<std::uint32_t>(block) * BLOCK;
                (this->*take)(first, std::min(first + BLOCK, stars), found[static_cast<std::size_t>(block)]);
            });
        if (!whole) return false;
        for (const StarLight& part : found) {
            light.streaks.insert(light.streaks.end(), part.streaks.begin(), part.streaks.end());
            light.glows.insert(light.glows.end(), part.glows.begin(), part.glows.end());
        }
    }
    return true;
}
