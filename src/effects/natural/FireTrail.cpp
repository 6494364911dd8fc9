#include "effects/natural/FireTrail.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_curves.h"
#include "k7pi_baselib/portable_math.h"
#include "k7pi_baselib/rows.h"

namespace {

constexpr int MOST_RINGS = 128, FEWEST_RINGS = 24;
constexpr double RING = 1.35;  // rings are wider than the fire, whose edge is the noise's
constexpr double SMALLEST_RADIUS = 1e-4;
constexpr float MOST_CORNERS = 1 << 20;

// How a value goes between two of four that are 1 apart, and its slope.
struct Spline {
    double value, slope;
};
Spline between(double before, double a, double b, double after, double t) {
    const double c1 = 0.5 * (b - before), c2 = before - 2.5 * a + 2 * b - 0.5 * after,
                 c3 = 0.5 * (after - before) + 1.5 * (a - b);
    return {a + t * (c1 + t * (c2 + t * c3)), c1 + t * (2 * c2 + t * 3 * c3)};
}

}  // namespace

// ---- The way --------------------------------------------------------------------------------------------------

FirePath::FirePath(int first, int last, double flow, const std::function<FireSource(int)>& source) : m_first(first) {
    for (int frame = m_first; frame <= std::max(last, m_first + 3); ++frame) {
        const FireSource ball = source(frame);
        m_frames.push_back({ball.x, ball.y, std::max(ball.radius, SMALLEST_RADIUS), 0, 0, 0});
    }
    for (std::size_t i = 1; i < m_frames.size(); ++i) {
        const Moment& before = m_frames[i - 1];
        Moment& now = m_frames[i];
        const double way = k7_hypot(k7_hypot(now.x - before.x, now.y - before.y), flow);
        now.along = before.along + 2 * way / (now.radius + before.radius);
    }
    const auto count = static_cast<std::ptrdiff_t>(m_frames.size());
    const double origin = m_frames[static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(-m_first, 0, count - 1))].along;
    for (Moment& each : m_frames) each.along -= origin;
}

FirePath::Moment FirePath::at(double frame) const {
    const auto count = static_cast<double>(m_frames.size());
    const double place = std::clamp(frame - m_first, 1.0, count - 2.0);
    const auto i = static_cast<std::size_t>(std::min(std::floor(place), count - 3.0));
    const double t = place - static_cast<double>(i);
    const Moment &before = m_frames[i - 1], &a = m_frames[i], &b = m_frames[i + 1], &after = m_frames[i + 2];
    const Spline x = between(before.x, a.x, b.x, after.x, t), y = between(before.y, a.y, b.y, after.y, t);
    const auto straight = [t](double from, double to) { return from + t * (to - from); };
    return {x.value, y.value, straight(a.radius, b.radius), x.slope, y.slope, straight(a.along, b.along)};
}

// ---- The gas --------------------------------------------------------------------------------------------------

FireTrail::FireTrail(const FirePath& path, double now, const FireWind& wind) {
    const double oldest = wind.life * wind.oldest;
    const int count = static_cast<int>(std::clamp(2 * oldest, double(FEWEST_RINGS), double(MOST_RINGS)));
    left = bottom = 1e9F, right = top = -1e9F;
    for (int i = 0; i <= count; ++i) {
        const double part = double(i) / count;
        const double passed = oldest * part * (0.35 + 0.65 * part);  // closer together near the ball
        const FirePath::Moment birth = path.at(now - passed);
        const double run = wind.slow_down * (1 - k7_exp(-passed / wind.slow_down));
        const double lives = passed / wind.life;
        const double widening =
            1 + (wind.end_width - 1) * std::min(lives, 1.0) + wind.smoke_grow * std::max(lives - 1, 0.0);
        const auto x = static_cast<float>(birth.x + wind.momentum * birth.vx * run + wind.x * passed);
        const auto y = static_cast<float>(birth.y + wind.momentum * birth.vy * run + wind.y * passed +
                                          wind.rise * (passed - 0.5 * run));
        const auto radius = static_cast<float>(std::max(RING * birth.radius * widening, SMALLEST_RADIUS));
        for (FireRingList* rings : {&all, &few}) {
            if (rings == &few && i % 4 != 0 && i != count) continue;
            rings->x.push_back(x), rings->y.push_back(y), rings->radius.push_back(radius);
            rings->along.push_back(static_cast<float>(birth.along)), rings->age.push_back(static_cast<float>(lives));
        }
        left = std::min(left, x - radius), right = std::max(right, x + radius);
        bottom = std::min(bottom, y - radius), top = std::max(top, y + radius);
    }
}

// ---- The grid -------------------------------------------------------------------------------------------------

FireGrid::FireGrid(const FireTrail& trail, const FireAir& air, const SolidNoise& noise, float cell, float left_,
                   float right_, float bottom_, float top_)
    : m_cell(cell) {
    const float margin = air.reach * air.radius + 2 * cell;
    left = std::max(left_, trail.left - margin), right = std::min(right_, trail.right + margin);
    bottom = std::max(bottom_, trail.bottom - margin), top = std::min(top_, trail.top + margin);
    if (!(right > left && top > bottom)) return;
    while ((right - left + 3 * m_cell) * (top - bottom + 3 * m_cell) > MOST_CORNERS * m_cell * m_cell) m_cell *= 1.4F;
    // On corners that do not depend on where the gas is.
    left = std::floor(left / m_cell) * m_cell, bottom = std::floor(bottom / m_cell) * m_cell;
    const float columns = std::ceil((right - left) / m_cell) + 1, rows = std::ceil((top - bottom) / m_cell) + 1;
    m_width = static_cast<int>(columns), m_height = static_cast<int>(rows);
    right = left + m_cell * (columns - 1), top = bottom + m_cell * (rows - 1);
    m_cells.resize(std::size_t(m_width) * std::size_t(m_height) * FIRE_FIELDS);
    each_row_float(m_height, [&](int row) { fillRow(trail, air, noise, row); });
}

void FireGrid::fillRow(const FireTrail& trail, const FireAir& air, const SolidNoise& noise, int row) {
    const auto count = std::size_t(m_width), stride = std::size_t(fire_stride(m_width));
    std::vector<float> memory(stride * 9);
    const auto part = [&](std::size_t i) { return memory.data() + i * stride; };
    float *x = part(0), *y = part(1), *u = part(2), *v = part(3);
    float* fields[] = {part(4), part(5), part(6), part(7), part(8)};
    const float height = bottom + m_cell * static_cast<float>(row);
    for (int i = 0; i < m_width; ++i) x[i] = left + m_cell * static_cast<float>(i), y[i] = height;
    const FireKernels& kernels = fire_kernels();
    if (air.reach > 0) {
        // How old gas is about here.
        kernels.find(trail.few.view(), x, y, m_width, fields);
        // Eddies of two sizes; gas at the ball is hardly stirred yet.
        for (const auto& [size, share, offset] : {std::tuple{1.0F, 1.0F, 0.0F}, std::tuple{0.41F, 0.45F, 31.7F}}) {
            const double step = double(m_cell / (air.size * size));
            const double start = double((left - air.wind_x) / (air.size * size));
            const float up = (height - air.wind_y) / (air.size * size);
            const float phase = air.phase / size + offset;
            noise.noise_row(NoiseLine{start, step, up, phase}, 0, u, m_width);
            noise.noise_row(NoiseLine{start + 17.3, step, up + 5.1F, phase}, 0, v, m_width);
            for (int i = 0; i < m_width; ++i) {
                const float calm = 0.12F + 0.88F * std::min(fields[FIRE_AGE][i], 1.6F);
                const float reach = air.reach * air.radius * share * calm;
                x[i] += reach * u[i], y[i] += reach * v[i];
            }
        }
    }
    kernels.find(trail.all.view(), x, y, m_width, fields);
    float* cell = m_cells.data() + std::size_t(row) * count * FIRE_FIELDS;
    for (int i = 0; i < m_width; ++i, cell += FIRE_FIELDS) {
        for (int f = 0; f < FIRE_CORE; ++f) cell[f] = fields[f][i];
        const float dx = x[i] - trail.all.x[0], dy = y[i] - trail.all.y[0];
        cell[FIRE_CORE] = std::sqrt(dx * dx + dy * dy) / trail.all.radius[0] * static_cast<float>(RING);
    }
}

FireGridView FireGrid::view() const { return {m_cells.data(), m_width, m_height, left, bottom, 1 / m_cell}; }

FireGrid::Span FireGrid::span(int row, float oldest) const {
    Span found{m_width, 0};
    for (int y = row; y <= std::min(row + 1, m_height - 1); ++y) {
        const float* cell = m_cells.data() + std::size_t(y) * std::size_t(m_width) * FIRE_FIELDS;
        for (int x = 0; x < m_width; ++x, cell += FIRE_FIELDS)
            if (cell[FIRE_DEPTH] > 0 && cell[FIRE_AGE] < oldest)
                found.first = std::min(found.first, x - 1), found.last = std::max(found.last, x + 2);
    }
    return {std::max(found.first, 0), std::min(found.last, m_width)};
}
