#include "effects/trails/TrailBirths.h"

#include <algorithm>
#include <cmath>

#include "effects/engines/particles/Births.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_curves.h"
#include "k7pi_baselib/portable_math.h"
#include "k7pi_baselib/rows.h"

namespace {

constexpr float TURN = 6.2831855F;
constexpr float USUAL_SPEED = 0.01F, FASTEST = 6.0F;  // part of the width a frame; times that
constexpr double FEW_CELLS = 4;                       // so many give half of the births, so that specks give few
constexpr float MOST_LIVING = 2e5F;                   // particles

const float* pixel_at(const K7Image& picture, float x, float y) {
    const auto column = static_cast<int>(std::clamp(x, 0.0F, static_cast<float>(picture.width - 1)));
    const auto row = static_cast<int>(std::clamp(y, 0.0F, static_cast<float>(picture.height - 1)));
    return image_row<float>(&picture, row) + 4L * column;
}

}  // namespace

// ---- What moves -----------------------------------------------------------------------------------------------

MovingPlaces::Way MovingPlaces::way(const TrailSettings& s, const TrailView& view, int x, int y) const {
    const float* back = image_row<float>(view.motion->back.get(), y) + 2L * x;
    const auto cell = static_cast<float>(view.shrink);
    const float u = s.follows_camera ? view.motion->camera_u : 0.0F,
                v = s.follows_camera ? view.motion->camera_v : 0.0F;
    return {(u - back[0]) * cell, (v - back[1]) * cell * s.aspect};
}

void MovingPlaces::find(const TrailSettings& s, const TrailView& view) {
    const K7Image& flow = *view.motion->back;
    m_width = flow.width, m_height = flow.height;
    m_moves.resize(std::size_t(m_width) * std::size_t(m_height));
    each_row_float(m_height, [&](int y) {
        float* moves = m_moves.data() + std::size_t(y) * std::size_t(m_width);
        for (int x = 0; x < m_width; ++x) {
            const Way v = way(s, view, x, y);
            const float speed = std::sqrt(v.x * v.x + v.y * v.y) / s.width;
            float share = speed > s.speed_low ? smooth_step(speed, s.speed_low, s.speed_high) : 0.0F;
            const int left = x * view.shrink, low = y * view.shrink;
            if (share > 0.0F && s.bright_high > 0.0F)
                share *= smooth_step(luminance(image_row<float>(view.motion->picture, y) + 4L * x), s.bright_low,
                                     s.bright_high);
            if (share > 0.0F && view.matte) {
                const float half = 0.5F * static_cast<float>(view.shrink);
                share *=
                    std::clamp(*pixel_at(*view.matte, static_cast<float>(left) + half, static_cast<float>(low) + half),
                               0.0F, 1.0F);
            }
            moves[x] = share;
        }
    });
}

namespace {

// work(value so far, next value) over the cells within a reach of each cell, along a line; ends are repeated.
template <class Work>
void over_neighbours(std::vector<float>& cells, int width, int height, int reach, Work work) {
    std::vector<float> before;
    for (const int step : {1, width}) {
        before = cells;
        each_row_float(height, [&](int y) {
            for (int x = 0; x < width; ++x) {
                const int at = step == 1 ? x : y, last = (step == 1 ? width : height) - 1, here = y * width + x;
                float value = before[std::size_t(here)];
                for (int i = -reach; i <= reach; ++i)
                    if (i != 0)
                        value = work(value, before[std::size_t(here + (std::clamp(at + i, 0, last) - at) * step)]);
                cells[std::size_t(here)] = value;
            }
        });
    }
}

}  // namespace

void MovingPlaces::close() {
    constexpr int HOLES = 4;  // cells, half the width of the largest
    over_neighbours(m_moves, m_width, m_height, HOLES, [](float a, float b) { return std::max(a, b); });
    over_neighbours(m_moves, m_width, m_height, HOLES, [](float a, float b) { return std::min(a, b); });
    over_neighbours(m_moves, m_width, m_height, 1, [](float a, float b) { return a + b; });
    for (float& share : m_moves) share *= 1.0F / 9;
}

// How much a cell counts by where on the thing it lies: edges are where what moves begins and ends.
float MovingPlaces::sourced(const TrailSettings& s, const TrailView& view, int x, int y) const {
    const float here = row(y)[x];
    if (s.source == WHOLE || !(here > 0.0F)) return here;
    const float dx = row(y)[std::min(x + 1, m_width - 1)] - row(y)[std::max(x - 1, 0)],
                dy = row(std::min(y + 1, m_height - 1))[x] - row(std::max(y - 1, 0))[x];
    const Way v = way(s, view, x, y);
    const float speed = std::sqrt(v.x * v.x + v.y * v.y), across = std::sqrt(dx * dx + dy * dy);
    if (s.source == OUTLINE) return here * std::min(across, 1.0F);
    const float into = speed > 0.0F ? (dx * v.x + dy * v.y) / speed : 0.0F;  // above 0 behind the thing
    return here * std::clamp(s.source == TRAILING_EDGE ? into : -into, 0.0F, 1.0F);
}

void MovingPlaces::weigh(const TrailSettings& s, const TrailView& view) {
    m_sums.resize(m_moves.size());
    m_rows.resize(std::size_t(m_height));
    std::vector<double> covers(static_cast<std::size_t>(m_height), 0.0);
    each_row_float(m_height, [&](int y) {
        float* sums = m_sums.data() + std::size_t(y) * std::size_t(m_width);
        float sum = 0, cover = 0;
        for (int x = 0; x < m_width; ++x) {
            if (const float share = sourced(s, view, x, y); share > 0.0F) {
                const Way v = way(s, view, x, y);
                const float pace = std::min(std::sqrt(v.x * v.x + v.y * v.y) / (s.width * USUAL_SPEED), FASTEST);
                cover += share;
                sum += share * (1.0F + s.rate_by_speed * (pace - 1.0F));
            }
            sums[x] = sum;
        }
        covers[std::size_t(y)] = double(cover);
    });
    double sum = 0;
    m_cover = 0;
    for (int y = 0; y < m_height; ++y) {
        m_rows[std::size_t(y)] = sum += double(m_sums[std::size_t(y + 1) * std::size_t(m_width) - 1]);
        m_cover += covers[std::size_t(y)];
    }
}

// ---- Births ---------------------------------------------------------------------------------------------------

void MovingPlaces::births(const TrailSettings& s, const TrailView& view, int frame, int back,
                          std::vector<TrailPoint>& out) {
    out.clear();
    find(s, view);
    weigh(s, view);
    if (!(m_cover > 0.0) || !(m_rows.back() > 0.0)) return;
    MTRandom random(s.seed + 7919U * static_cast<std::uint32_t>(frame));
    const auto share = static_cast<float>(m_cover / (m_cover + FEW_CELLS) * (m_rows.back() / m_cover));
    const float wanted = std::min(s.rate * share, MOST_LIVING / static_cast<float>(s.life));
    const int count = static_cast<int>(wanted + random.next_float());
    out.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const double up = random.next_double() * m_rows.back();
        const auto y =
            std::min<std::ptrdiff_t>(std::upper_bound(m_rows.begin(), m_rows.end(), up) - m_rows.begin(), m_height - 1);
        const auto begin = m_sums.begin() + y * m_width, end = begin + m_width;
        const float part = random.next_float() * *(end - 1);
        const auto x = std::min<std::ptrdiff_t>(std::upper_bound(begin, end, part) - begin, m_width - 1);
        out.push_back(birth(s, view, static_cast<int>(x), static_cast<int>(y), back, random));
    }
}

TrailPoint MovingPlaces::birth(const TrailSettings& s, const TrailView& view, int x, int y, int back,
                               MTRandom& random) const {
    TrailPoint p{};
    p.key = random.next_uint32();
    const float column = (static_cast<float>(x) + random.next_float()) * static_cast<float>(view.shrink),
                row = (static_cast<float>(y) + random.next_float()) * static_cast<float>(view.shrink);
    const float turn = TURN * random.next_float(), away = s.scatter * random.next_float();
    const float bend = particles::draw_bend(s.spread, random);
    const float speed = s.speed * std::max(1.0F + s.speed_var * particles::signed_draw(random), 0.0F);
    p.life = std::max(static_cast<float>(s.life) * (1.0F - s.life_var * random.next_float()), 1.0F);
    p.age = std::min(random.next_float(), 0.999F);

    const Way v = way(s, view, x, y);
    const float way_length = std::sqrt(v.x * v.x + v.y * v.y);
    float ahead[2] = {1.0F, 0.0F};
    if (s.along && way_length > 0.0F) ahead[0] = v.x / way_length, ahead[1] = v.y / way_length;
    const float c = k7_cos(s.angle + bend), sine = k7_sin(s.angle + bend);
    p.velocity[0] = s.inherit * v.x + speed * (c * ahead[0] - sine * ahead[1]);
    p.velocity[1] = s.inherit * v.y + speed * (sine * ahead[0] + c * ahead[1]);

    const float frames = p.age + static_cast<float>(back);  // since the picture that was looked at
    p.before[0] = column - v.x * frames + away * k7_cos(turn);
    p.before[1] = row * s.aspect - v.y * frames + away * k7_sin(turn);
    for (int i = 0; i < 2; ++i) p.place[i] = p.before[i] + p.velocity[i] * p.age;
    if (s.own_colours) std::copy_n(image_row<float>(view.motion->picture, y) + 4L * x, 3, p.colour);
    return p;
}
