#include "flowfinderlib/flow_motion.h"

#include <cmath>
#include <vector>

#include "flowfinderlib/flow_refine_simd.h"

namespace {

constexpr int BAND = 16;           // rows of the result that a thread fills at a time
constexpr float DOUBTFUL = 0.01F;  // what unsure flow counts beside sure flow
constexpr float SURE = 0.5F;

// ---- Covered pixels -----------------------------------------------------------------------------------------------

struct Direction {
    float x, y;
};
constexpr Direction DIRECTIONS[] = {{1, 0},  {1, 0.4142F},  {1, 1},  {0.4142F, 1},   {0, 1},   {-0.4142F, 1},
                                    {-1, 1}, {-1, 0.4142F}, {-1, 0}, {-1, -0.4142F}, {-1, -1}, {-0.4142F, -1},
                                    {0, -1}, {0.4142F, -1}, {1, -1}, {1, -0.4142F}};
constexpr int DIRECTION_COUNT = 16;
constexpr int PROBES = 4, PROBE_STEP = 2;  // pixels beyond the nearest sure one that are compared with the covered one
constexpr float ONE_MOTION = 1.5F;         // pixels by which the flow of one thing may differ

struct Candidate {
    float u, v, weight;
    float distance;  // pixels to the nearest that moves so
};
bool is_one_motion(float u, float v, const Candidate& other) {
    return (u - other.u) * (u - other.u) + (v - other.v) * (v - other.v) <= ONE_MOTION * ONE_MOTION;
}

// The two likeliest flows of each covered pixel.
struct Choice {
    FlowPlane u, v, other_u, other_v;
    FlowPlane trust;  // how much better the first one suits it; nothing: the pixel is not covered
    FlowPlane near;   // 1 where the thing that moves so begins beside the pixel, less where it is some way off
    bool make(int width, int height) {
        for (FlowPlane* plane : {&u, &v, &other_u, &other_v, &trust, &near})
            if (!plane->make(width, height)) return false;
        return true;
    }
};

class CoveredRow {
  public:
    CoveredRow(const K7Image* picture, const FlowGround& ground, int y, int radius, float likeness)
        : m_picture(picture), m_ground(ground), m_y(y), m_radius(radius), m_over(1.0F / (likeness * likeness)) {}

    // The two likeliest flows of pixel x, among those of the things around it. A weight of 0: there is none.
    void likeliest(int x, Candidate& first, Candidate& second) const {
        Candidate found[DIRECTION_COUNT];
        int count = 0;
        for (const Direction& direction : DIRECTIONS)
            if (look(x, direction, found[count])) ++count;
        first = best_group(found, count);
        count = int(std::remove_if(found, found + count,
                                   [&](const Candidate& c) { return is_one_motion(first.u, first.v, c); }) -
                    found);
        second = best_group(found, count);
    }

  private:
    float difference(int x, int other_x, int other_y) const {
        const float* a = image_row<float>(m_picture, m_y) + 4 * x;
        const float* b = image_row<float>(m_picture, other_y) + 4 * other_x;
        float sum = 0;
        for (int c = 0; c < 3; ++c) sum += (a[c] - b[c]) * (a[c] - b[c]);
        return sum;
    }
    // The first sure pixel that way, weighted by how much it and those behind it look like pixel x.
    bool look(int x, Direction direction, Candidate& found) const {
        const int width = m_ground.u.width, height = m_ground.u.height;
        for (int step = 1; step <= m_radius; ++step) {
            const int at = x + int(direction.x * float(step)), row = m_y + int(direction.y * float(step));
            if (at < 0 || at >= width || row < 0 || row >= height) return false;
            if (m_ground.sure.row(row)[at] < SURE) continue;
            float unlike = difference(x, at, row);
            for (int n = 1; n < PROBES; ++n) {
                const int further = step + PROBE_STEP * n;
                const int px = std::clamp(x + int(direction.x * float(further)), 0, width - 1);
                const int py = std::clamp(m_y + int(direction.y * float(further)), 0, height - 1);
                unlike = std::min(unlike, difference(x, px, py));
            }
            const float alike = 1.0F / (1.0F + unlike * m_over);
            found = {m_ground.u.row(row)[at], m_ground.v.row(row)[at], alike * alike / (8.0F + float(step)),
                     float(step)};
            return true;
        }
        return false;
    }

    static Candidate best_group(const Candidate* found, int count) {
        Candidate best = {};
        for (int n = 0; n < count; ++n) {
            Candidate group = {0, 0, 0, found[n].distance};
            for (int k = 0; k < count; ++k) {
                if (!is_one_motion(found[n].u, found[n].v, found[k])) continue;
                group.weight += found[k].weight;
                group.u += found[k].weight * found[k].u;
                group.v += found[k].weight * found[k].v;
                group.distance = std::min(group.distance, found[k].distance);
            }
            if (group.weight > best.weight)
                best = {group.u / group.weight, group.v / group.weight, group.weight, group.distance};
        }
        return best;
    }

    const K7Image* m_picture;
    const FlowGround& m_ground;
    int m_y, m_radius;
    float m_over;
};

// Whether the flow of a pixel is unknown because something covers it. What leaves the picture goes on as it did.
bool is_covered(const FlowGround& ground, int x, int y) {
    const float px = float(x) + ground.u.row(y)[x], py = float(y) + ground.v.row(y)[x];
    return ground.sure.row(y)[x] < SURE && px >= 0 && py >= 0 && px <= float(ground.u.width - 1) &&
           py <= float(ground.u.height - 1);
}

void choose_alone(const CoveredRow& row, const FlowGround& ground, int y, Choice& choice) {
    float *u = choice.u.row(y), *v = choice.v.row(y), *trust = choice.trust.row(y), *near = choice.near.row(y);
    for (int x = 0; x < ground.u.width; ++x) {
        u[x] = ground.u.row(y)[x], v[x] = ground.v.row(y)[x], trust[x] = near[x] = 0;
        if (!is_covered(ground, x, y)) continue;
        Candidate first, second;
        row.likeliest(x, first, second);
        if (!(first.weight > 0)) continue;
        if (!(second.weight > 0)) second = first;
        u[x] = first.u, v[x] = first.v;
        choice.other_u.row(y)[x] = second.u, choice.other_v.row(y)[x] = second.v;
        trust[x] = first.weight / (first.weight + second.weight);
        near[x] = 1.0F / (1.0F + first.distance * first.distance * (1.0F / 16.0F));
    }
}

// A spot of the background that looks like what covers it follows those around it. The rim of a thing follows the
// thing.
void choose_together(const Choice& choice, int y, float* to_u, float* to_v) {
    constexpr int REACH = 24, STEP = 6;
    constexpr float OWN = 4.0F;  // what a pixel's own looks count, beside a thing, against those of all around it
    const int width = choice.u.width, height = choice.u.height;
    const float *u = choice.u.row(y), *v = choice.v.row(y), *trust = choice.trust.row(y);
    std::copy_n(u, width, to_u);
    std::copy_n(v, width, to_v);
    for (int x = 0; x < width; ++x) {
        if (!(trust[x] > 0)) continue;
        const Candidate other = {choice.other_u.row(y)[x], choice.other_v.row(y)[x], 0, 0};
        float mine = 0, its = 0;
        for (int r = std::max(y - REACH, y % STEP); r <= std::min(y + REACH, height - 1); r += STEP)
            for (int c = std::max(x - REACH, x % STEP); c <= std::min(x + REACH, width - 1); c += STEP) {
                const float vote = choice.trust.row(r)[c];
                if (!(vote > 0)) continue;
                const Candidate there = {choice.u.row(r)[c], choice.v.row(r)[c], 0, 0};
                if (is_one_motion(u[x], v[x], there)) mine += vote;
                if (is_one_motion(other.u, other.v, there)) its += vote;
            }
        const float own = OWN * (2.0F * trust[x] - 1.0F) * choice.near.row(y)[x];
        if (its <= mine + own * (mine + its)) continue;
        to_u[x] = other.u;
        to_v[x] = other.v;
    }
}

// ---- Moving to the time -------------------------------------------------------------------------------------------

// The rows that each row's pixels land on.
struct Reach {
    int first, last;
};

class Splat {
  public:
    // The flow leads `part` of its length; as motion it counts `sign` times.
    Splat(const FlowGround& ground, float part, float sign) : m_ground(ground), m_part(part), m_sign(sign) {
        m_reach.resize(std::size_t(ground.u.height));
        flow_rows(ground.u.height, [&](int y) {
            const float* v = ground.v.row(y);
            float low = v[0], high = v[0];
            for (int x = 1; x < ground.u.width; ++x) low = std::min(low, v[x]), high = std::max(high, v[x]);
            const float a = float(y) + part * low, b = float(y) + part * high;
            const float last = float(ground.u.height);
            m_reach[std::size_t(y)] = {int(std::floor(std::clamp(std::min(a, b), -2.0F, last))),
                                       int(std::floor(std::clamp(std::max(a, b), -2.0F, last))) + 1};
        });
    }

    // Onto rows [first, last).
    void draw(int first, int last, FlowPlane& u, FlowPlane& v, FlowPlane& score) const {
        for (int y = 0; y < m_ground.u.height; ++y) {
            const Reach reach = m_reach[std::size_t(y)];
            if (reach.last >= first && reach.first < last) draw_row(y, first, last, u, v, score);
        }
    }

  private:
    void draw_row(int y, int first, int last, FlowPlane& u, FlowPlane& v, FlowPlane& score) const {
        const float *from_u = m_ground.u.row(y), *from_v = m_ground.v.row(y), *sure = m_ground.sure.row(y);
        const int width = m_ground.u.width;
        for (int x = 0; x < width; ++x) {
            const float to_x = float(x) + m_part * from_u[x], to_y = float(y) + m_part * from_v[x];
            if (!(to_x > -1.0F && to_x < float(width) && to_y > float(first) - 1.0F && to_y < float(last))) continue;
            const int ix = int(std::floor(to_x)), iy = int(std::floor(to_y));
            const float fx = to_x - float(ix), fy = to_y - float(iy), weight = sure[x] + DOUBTFUL;
            const float mu = m_sign * from_u[x], mv = m_sign * from_v[x];
            for (int r = 0; r < 2; ++r) {
                if (iy + r < first || iy + r >= last) continue;
                const float part = weight * (r ? fy : 1.0F - fy);
                float* best = score.row(iy + r);
                for (int c = 0; c < 2; ++c) {
                    const int at = ix + c;
                    const float mine = part * (c ? fx : 1.0F - fx);
                    if (at < 0 || at >= width || mine <= best[at]) continue;
                    best[at] = mine;
                    u.row(iy + r)[at] = mu;
                    v.row(iy + r)[at] = mv;
                }
            }
        }
    }

    const FlowGround& m_ground;
    float m_part, m_sign;
    std::vector<Reach> m_reach;
};

// ---- Holes --------------------------------------------------------------------------------------------------------

struct Filling {
    int width, height;
    std::vector<float> u, v, weight;
    Filling(int w, int h) : width(w), height(h), u(std::size_t(w) * std::size_t(h)), v(u.size()), weight(u.size()) {}
    std::size_t at(int x, int y) const { return std::size_t(y) * std::size_t(width) + std::size_t(x); }
};

// The mean of what is known in each two by two pixels.
Filling coarser(const Filling& fine) {
    Filling coarse((fine.width + 1) / 2, (fine.height + 1) / 2);
    flow_rows(coarse.height, [&](int y) {
        for (int x = 0; x < coarse.width; ++x) {
            float u = 0, v = 0, sum = 0;
            for (int r = 2 * y; r < std::min(2 * y + 2, fine.height); ++r)
                for (int c = 2 * x; c < std::min(2 * x + 2, fine.width); ++c) {
                    const std::size_t n = fine.at(c, r);
                    u += fine.weight[n] * fine.u[n], v += fine.weight[n] * fine.v[n], sum += fine.weight[n];
                }
            const std::size_t n = coarse.at(x, y);
            if (sum > 0) coarse.u[n] = u / sum, coarse.v[n] = v / sum;
            coarse.weight[n] = std::min(sum, 1.0F);
        }
    });
    return coarse;
}

void fill_from(Filling& fine, const Filling& coarse) {
    flow_rows(fine.height, [&](int y) {
        for (int x = 0; x < fine.width; ++x) {
            const std::size_t n = fine.at(x, y);
            if (fine.weight[n] > 0) continue;
            const int cx = x / 2, cy = y / 2;
            const int nx = std::clamp(x % 2 ? cx + 1 : cx - 1, 0, coarse.width - 1);
            const int ny = std::clamp(y % 2 ? cy + 1 : cy - 1, 0, coarse.height - 1);
            const std::size_t a = coarse.at(cx, cy), b = coarse.at(nx, cy), c = coarse.at(cx, ny),
                              d = coarse.at(nx, ny);
            fine.u[n] = 0.5625F * coarse.u[a] + 0.1875F * (coarse.u[b] + coarse.u[c]) + 0.0625F * coarse.u[d];
            fine.v[n] = 0.5625F * coarse.v[a] + 0.1875F * (coarse.v[b] + coarse.v[c]) + 0.0625F * coarse.v[d];
        }
    });
}

void fill_holes(FlowPlane& u, FlowPlane& v, const FlowPlane& score) {
    std::vector<Filling> levels;
    Filling& base = levels.emplace_back(u.width, u.height);
    flow_rows(u.height, [&](int y) {
        for (int x = 0; x < u.width; ++x) {
            const std::size_t n = base.at(x, y);
            base.weight[n] = score.row(y)[x] > 0 ? 1.0F : 0.0F;
            base.u[n] = u.row(y)[x], base.v[n] = v.row(y)[x];
        }
    });
    while (levels.back().width > 1 || levels.back().height > 1) levels.push_back(coarser(levels.back()));
    for (std::size_t n = levels.size() - 1; n > 0; --n) fill_from(levels[n - 1], levels[n]);
    const Filling& filled = levels.front();
    flow_rows(u.height, [&](int y) {
        std::copy_n(&filled.u[filled.at(0, y)], u.width, u.row(y));
        std::copy_n(&filled.v[filled.at(0, y)], u.width, v.row(y));
    });
}

bool has_holes(const FlowPlane& score) {
    for (int y = 0; y < score.height; ++y)
        for (int x = 0; x < score.width; ++x)
            if (!(score.row(y)[x] > 0)) return true;
    return false;
}

bool clean(FlowPlane& plane) {
    FlowPlane out;
    if (!out.make(plane.width, plane.height)) return false;
    flow_rows(plane.height, [&](int y) { plane.extend_row(y); });
    flow_rows(plane.height, [&](int y) {
        flow_refine().median(plane.row(std::max(y - 1, 0)), plane.row(y), plane.row(std::min(y + 1, plane.height - 1)),
                             plane.width, out.row(y));
    });
    plane.swap(out);
    return true;
}

}  // namespace

bool flow_fill_covered(const K7Image* picture, FlowGround& ground, float radius, float likeness) {
    Choice choice;
    if (!choice.make(ground.u.width, ground.u.height)) return false;
    const auto row = [&](int y) { return CoveredRow(picture, ground, y, int(radius), likeness); };
    flow_rows(ground.u.height, [&](int y) { choose_alone(row(y), ground, y, choice); });
    FlowPlane u, v;
    if (!u.make(ground.u.width, ground.u.height) || !v.make(ground.u.width, ground.u.height)) return false;
    flow_rows(ground.u.height, [&](int y) { choose_together(choice, y, u.row(y), v.row(y)); });
    ground.u.swap(u);
    ground.v.swap(v);
    return true;
}

bool flow_motion_at(const FlowGround& forward, const FlowGround* backward, float scale, FlowPlane& u, FlowPlane& v) {
    const int width = forward.u.width, height = forward.u.height;
    FlowPlane score;
    if (!u.make_clear(width, height) || !v.make_clear(width, height) || !score.make_clear(width, height)) return false;
    const Splat first(forward, scale, 1.0F);
    const Splat second(backward ? *backward : forward, backward ? 1.0F - scale : scale, backward ? -1.0F : 1.0F);
    for_rows_float((height + BAND - 1) / BAND, [&](int from, int to) {
        for (int band = from; band <= to; ++band) {
            const int top = band * BAND, bottom = std::min(top + BAND, height);
            first.draw(top, bottom, u, v, score);
            if (backward) second.draw(top, bottom, u, v, score);
        }
    });
    if (has_holes(score)) fill_holes(u, v, score);
    return clean(u) && clean(v);
}
