#include "effects/sky/AuroraCurtains.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_curves.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/place_hash.h"

// ---- The line -------------------------------------------------------------------------------------------------

namespace {

constexpr int PARTS = 64;  // of a stretch between two points, to measure its length

// Catmull and Rom's spline, with straight ends.
AuroraPoint on_spline(const std::vector<AuroraPoint>& points, bool closed, float at) {
    const int count = static_cast<int>(points.size()), spans = closed ? count : count - 1;
    const int i = std::clamp(static_cast<int>(at), 0, spans - 1);
    const float t = at - static_cast<float>(i);
    const auto point = [&](int n) {
        if (closed) return points[static_cast<std::size_t>((n + count) % count)];
        if (n >= 0 && n < count) return points[static_cast<std::size_t>(n)];
        const AuroraPoint a = points[n < 0 ? 0 : std::size_t(count) - 1],
                          b = points[n < 0 ? 1 : std::size_t(count) - 2];
        return AuroraPoint{2 * a.x - b.x, 2 * a.y - b.y};
    };
    const AuroraPoint p[] = {point(i - 1), point(i), point(i + 1), point(i + 2)};
    const auto blend = [t](float a, float b, float c, float d) {
        return b + 0.5F * t * (c - a + t * (2 * a - 5 * b + 4 * c - d + t * (3 * (b - c) + d - a)));
    };
    return {blend(p[0].x, p[1].x, p[2].x, p[3].x), blend(p[0].y, p[1].y, p[2].y, p[3].y)};
}

float distance(AuroraPoint a, AuroraPoint b) {
    return std::sqrt((a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y));
}

// Points at equal distances along the spline, as it is seen in the picture.
std::vector<AuroraPoint> evenly_along(const std::vector<AuroraPoint>& points, bool closed, int count) {
    const int parts = PARTS * static_cast<int>(points.size() - (closed ? 0 : 1));
    std::vector<float> length(std::size_t(parts) + 1);
    AuroraPoint last = on_spline(points, closed, 0);
    for (int i = 1; i <= parts; ++i) {
        const AuroraPoint next = on_spline(points, closed, static_cast<float>(i) / PARTS);
        length[std::size_t(i)] = length[std::size_t(i) - 1] + distance(last, next);
        last = next;
    }
    std::vector<AuroraPoint> even(static_cast<std::size_t>(count));
    std::size_t part = 0;
    for (int i = 0; i < count; ++i) {
        const float wanted = length.back() * static_cast<float>(i) / static_cast<float>(count - 1);
        while (part + 2 < length.size() && length[part + 1] < wanted) ++part;
        const float span = length[part + 1] - length[part];
        const float rest = span > 0 ? std::clamp((wanted - length[part]) / span, 0.0F, 1.0F) : 0.0F;
        even[std::size_t(i)] = on_spline(points, closed, (static_cast<float>(part) + rest) / PARTS);
    }
    return even;
}

}  // namespace

AuroraCurtains::AuroraCurtains(const AuroraCamera& camera, const std::vector<AuroraPoint>& points, bool closed,
                               const AuroraShine& shine, std::vector<AuroraSuction> suctions)
    : m_camera(camera), m_shine(shine), m_suctions(std::move(suctions)), m_noise(9000 + shine.seed) {
    constexpr int count = STRANDS + 1;
    const std::vector<AuroraPoint> seen = evenly_along(points, closed, count);
    for (std::vector<float>* list : {&m_x, &m_y, &m_along, &m_step, &m_fade}) list->resize(count);
    const AuroraPoint middle = camera.to_plan(seen[STRANDS / 2]);
    m_width = std::sqrt(middle.x * middle.x + middle.y * middle.y + 1.0F) / camera.focal();
    for (std::size_t i = 0; i < count; ++i) {
        const AuroraPoint place = camera.to_plan(seen[i]);
        m_x[i] = place.x / m_width, m_y[i] = place.y / m_width;
        const float t = static_cast<float>(i) / STRANDS;
        const float end = closed ? 1.0F : std::min(t, 1.0F - t) / std::max(m_shine.ends, 1e-4F);
        m_fade[i] = smooth_step(end, 0.0F, 1.0F);
        if (i == 0) continue;
        m_step[i] = distance({m_x[i - 1], m_y[i - 1]}, {m_x[i], m_y[i]});
        m_along[i] = m_along[i - 1] + m_step[i];
    }
}

namespace {

// A coordinate of noise, which repeats after 256: small enough for a float at any moment.
float wrapped(double cells) { return static_cast<float>(cells - 4096.0 * std::floor(cells / 4096.0)); }

}  // namespace

// ---- Folds ----------------------------------------------------------------------------------------------------

struct AuroraCurtains::Block {
    int count = 0;
    int index[BLOCK + 1];
    float x[BLOCK + 1], y[BLOCK + 1];                              // widths of the picture at the line's middle
    float along[BLOCK + 1], step[BLOCK + 1];                       // of the line
    float a[BLOCK + 1], b[BLOCK + 1], c[BLOCK + 1], d[BLOCK + 1];  // for noise
};

// A pattern that pushes places about.
struct AuroraCurtains::Bend {
    float size, amplitude;
    float drift;  // of the pattern along x, in its cells
    float z;      // moment, in cells
};

void AuroraCurtains::begin(int curtain, Block& block) const {
    const float apart = 1.0F + m_shine.spacing * static_cast<float>(curtain);
    for (int i = 0; i < block.count; ++i) {
        const auto n = static_cast<std::size_t>(block.index[i]);
        block.x[i] = apart * m_x[n], block.y[i] = apart * m_y[n];
        block.along[i] = m_along[n], block.step[i] = m_step[n];
    }
}

void AuroraCurtains::bend(const Bend& bend, Block& block) const {
    if (!(bend.amplitude > 0)) return;
    const float cells = 1.0F / bend.size;
    for (int i = 0; i < block.count; ++i) {
        block.a[i] = block.x[i] * cells + bend.drift, block.b[i] = block.y[i] * cells;
        block.c[i] = bend.z;
    }
    m_noise.noise_row(block.a, block.b, block.c, block.d, block.count);
    const float far = bend.size * bend.amplitude;
    for (int i = 0; i < block.count; ++i) {
        block.x[i] += far * block.d[i];
        block.a[i] += 31.7F, block.b[i] += 17.3F;
    }
    m_noise.noise_row(block.a, block.b, block.c, block.d, block.count);
    for (int i = 0; i < block.count; ++i) block.y[i] += far * block.d[i];
}

void AuroraCurtains::carry(const AuroraFolding& folding, int curtain, Block& block) const {
    begin(curtain, block);
    const auto which = static_cast<float>(curtain);
    bend({2.7F * folding.fold_size, 0.8F * folding.folds, 0.0F, 0.35F * which + wrapped(0.5 * folding.waves)}, block);
    bend({folding.fold_size, 1.15F * folding.folds, 0.0F, 0.8F * which + 11.3F + wrapped(folding.waves)}, block);
    bend({0.43F * folding.fold_size, 0.9F * folding.folds, wrapped(0.6 * folding.waves),
          1.7F * which + 23.9F + wrapped(1.3 * folding.waves)},
         block);
    bend({folding.ripple_size, folding.ripples, wrapped(folding.rippling),
          2.3F * which + 37.1F + wrapped(0.6 * folding.rippling)},
         block);
}

// ---- Curls ----------------------------------------------------------------------------------------------------

std::vector<AuroraCurtains::Curl> AuroraCurtains::curls_at(const AuroraFolding& folding, int curtain) const {
    std::vector<Curl> curls;
    if (!(folding.curls > 0)) return curls;
    constexpr int MOST = BLOCK;
    const float apart = 5.0F * folding.curl_size, length = m_along.back();
    const int count = static_cast<int>(std::min(length / apart, static_cast<float>(MOST)));
    Block block;
    block.count = count;
    const std::uint32_t seed = place_hash(m_shine.seed, static_cast<std::uint32_t>(curtain));
    for (int i = 0; i < count; ++i) {
        // Each lives, dies and is born again elsewhere.
        const std::uint32_t own = place_hash(seed, static_cast<std::uint32_t>(i));
        const double lives =
            0.22 * folding.waves * (0.7 + 0.6 * double(unit_of(own))) + double(unit_of(own * 747796405U));
        const double life = std::floor(lives);
        const auto age = static_cast<float>(lives - life);
        const std::uint32_t born = place_hash(own, static_cast<std::uint32_t>(static_cast<std::int64_t>(life)));
        const float along = apart * (static_cast<float>(i) + 0.2F + 0.6F * unit_of(born));
        const float grown = 4.0F * age * (1.0F - age);
        const float turn = (curtain % 2 ? -1.0F : 1.0F) * (0.35F + 0.65F * unit_of(born * 2891336453U));
        curls.push_back({{}, along, 6.2831853F * folding.curls * turn * grown * grown});
        const auto found = std::lower_bound(m_along.begin(), m_along.end(), along);
        block.index[i] = static_cast<int>(std::min<std::ptrdiff_t>(found - m_along.begin(), STRANDS));
    }
    carry(folding, curtain, block);
    for (int i = 0; i < count; ++i) curls[std::size_t(i)].place = {block.x[i], block.y[i]};
    return curls;
}

namespace {

void turn_about(AuroraPoint centre, float angle, float& x, float& y) {
    const K7SineCosine turn = k7_sine_cosine(double(angle));
    const auto sine = static_cast<float>(turn.sine), cosine = static_cast<float>(turn.cosine);
    const float dx = x - centre.x, dy = y - centre.y;
    x = centre.x + cosine * dx - sine * dy, y = centre.y + sine * dx + cosine * dy;
}

// 1 at the middle, a quarter at the radius, then soon nothing.
float nearness(float dx, float dy, float radius) {
    const float r = 1.0F + (dx * dx + dy * dy) / (radius * radius);
    return 1.0F / (r * r);
}

}  // namespace

// In the picture, where the user sees what is drawn.
void AuroraCurtains::draw_in(Block& block) const {
    if (m_suctions.empty()) return;
    for (int i = 0; i < block.count; ++i) {
        AuroraPoint seen;
        if (!m_camera.to_picture({block.x[i] * m_width, block.y[i] * m_width}, seen)) continue;
        for (const AuroraSuction& suction : m_suctions) {
            const float dx = seen.x - suction.place.x, dy = seen.y - suction.place.y;
            const float there = nearness(dx, dy, suction.radius), kept = 1.0F - suction.pull * there;
            seen = {suction.place.x + kept * dx, suction.place.y + kept * dy};
            if (suction.twist != 0) turn_about(suction.place, suction.twist * there, seen.x, seen.y);
        }
        const AuroraPoint place = m_camera.to_plan(seen);
        block.x[i] = place.x / m_width, block.y[i] = place.y / m_width;
    }
}

// ---- Light ----------------------------------------------------------------------------------------------------

void AuroraCurtains::add_along(const Block& block, float size, double y, double z, float amplitude, float* sum) const {
    float where[BLOCK + 1], high[BLOCK + 1], deep[BLOCK + 1], noise[BLOCK + 1];
    const float cells = 1.0F / size, up = wrapped(y), in = wrapped(z);
    for (int i = 0; i < block.count; ++i) where[i] = block.along[i] * cells, high[i] = up, deep[i] = in;
    m_noise.noise_row(where, high, deep, noise, block.count);
    for (int i = 0; i < block.count; ++i)
        sum[i] += amplitude * std::clamp(2.0F - 4.0F * block.step[i] * cells, 0.0F, 1.0F) * noise[i];
}

void AuroraCurtains::light(const AuroraFolding& folding, int curtain, const Block& block, AuroraStrand* out) const {
    float rays[BLOCK + 1] = {}, patches[BLOCK + 1] = {}, heights[BLOCK + 1] = {}, lifts[BLOCK + 1] = {};
    const double which = 5.3 * curtain, drift = folding.drifting, flicker = folding.flickering;
    const float size = m_shine.ray_size;
    // Rays of several widths. Their patterns drift along the curtain and change.
    add_along(block, 4.6F * size, which + 0.5 * drift, 3.1 + 0.6 * flicker, 1.1F, rays);
    add_along(block, 1.9F * size, which + 0.8 * drift, 7.7 + flicker, 1.2F, rays);
    add_along(block, 0.83F * size, which + drift, 13.9 + 1.5 * flicker, 0.9F, rays);
    add_along(block, 0.4F * size, which + drift, 19.3 + 2.0 * flicker, 0.5F, rays);
    add_along(block, 0.31F, which + 0.2 * flicker, 43.1 + 0.3 * drift, 1.6F, patches);
    add_along(block, 0.09F, which + 0.35 * flicker, 47.9 + 0.4 * drift, 0.7F, patches);
    add_along(block, 2.6F * size, which + 0.6 * drift, 53.3 + 0.7 * flicker, 1.0F, heights);
    add_along(block, 0.13F, which, 59.7 + 0.3 * flicker, 0.05F, lifts);
    add_along(block, 1.3F * size, which + 0.9 * drift, 61.3 + flicker, 0.03F * m_shine.rays, lifts);
    float dim = 1.0F;
    for (int i = 0; i < curtain; ++i) dim *= m_shine.fall_off;
    for (int i = 0; i + 1 < block.count; ++i) {
        const float slow = dim * m_fade[std::size_t(block.index[i])] * k7_exp(2.0F * m_shine.patches * patches[i]);
        const float contrast = 1.9F * m_shine.rays * rays[i];
        const float bright = slow * k7_exp(contrast - 0.35F * m_shine.rays * m_shine.rays);
        const float reach = std::clamp(0.5F + 0.9F * heights[i] + 0.35F * rays[i], 0.0F, 1.0F);
        out[i].lift = lifts[i];
        out[i].light[0] = 0.45F * slow + 0.55F * bright;
        out[i].light[1] = bright * m_shine.tall * (0.25F + 1.1F * reach * reach);
        out[i].light[2] = slow * (0.6F + 0.4F * m_shine.tall * reach);
        out[i].light[3] = bright * std::min(bright, 2.5F);
    }
}

void AuroraCurtains::hang(const AuroraFolding& folding, const std::vector<Curl>& curls, int curtain, int first,
                          AuroraStrand* out) const {
    Block block;
    block.count = BLOCK + 1;
    for (int i = 0; i <= BLOCK; ++i) block.index[i] = first + i;
    carry(folding, curtain, block);
    const float reach = 6.0F * folding.curl_size;
    for (int i = 0; i < block.count; ++i)
        for (const Curl& curl : curls) {
            if (std::fabs(curl.along - block.along[i]) > reach) continue;
            const float dx = block.x[i] - curl.place.x, dy = block.y[i] - curl.place.y;
            // So that the turn ends where curls end to be looked for.
            const float near = smooth_step(std::fabs(curl.along - block.along[i]), reach, 0.6F * reach);
            turn_about(curl.place, near * curl.turn * nearness(dx, dy, folding.curl_size), block.x[i], block.y[i]);
        }
    draw_in(block);
    light(folding, curtain, block, out);
    for (int i = 0; i <= BLOCK; ++i) {
        const float x = block.x[i] * m_width, y = block.y[i] * m_width;
        out[i].azimuth = k7_atan2(y, x);
        out[i].distance = std::clamp(std::sqrt(x * x + y * y), 0.04F, 40.0F);
        out[i].log_distance = k7_log(out[i].distance);
        if (i > 0) out[i - 1].length = m_width * distance({block.x[i - 1], block.y[i - 1]}, {block.x[i], block.y[i]});
    }
}
