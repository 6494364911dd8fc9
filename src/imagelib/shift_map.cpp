#include "imagelib/shift_map.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/rows.h"

namespace {

using simd::Pixel;

constexpr int WINDOW = 3;           // around a cell, of known ones that its shift has to explain
constexpr float CONTEXT = 0.25F;    // what they count to a seam
constexpr float SEAM = 0.0006F;     // of any seam: no pieces for the sake of grain
constexpr float LENGTH = 4e-4F;     // of a long shift over no shift
constexpr float DIRECTION = 1e-4F;  // of the direction that is liked least
constexpr float NOWHERE = 0.15F;    // of a seam that can't be judged
constexpr float IMPOSSIBLE = 100.0F;
constexpr float UNITS = 262144.0F;  // whole numbers: the cut ends, and is the same everywhere

constexpr int STEPS[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};

int units(float cost) { return static_cast<int>(std::min(cost, 4.0F) * UNITS + 0.5F); }

}  // namespace

bool ShiftMap::valid(int x, int y, const Shift& s) const {
    if (s.x == 0 && s.y == 0) return m_level->known(x, y);
    return m_level->source(x + s.x, y + s.y);
}

// Between what two shifts bring to a place.
float ShiftMap::difference(int x, int y, const Shift& a, const Shift& b) const {
    if (!m_level->known(x + a.x, y + a.y) || !m_level->known(x + b.x, y + b.y)) return NOWHERE;
    const Pixel d = m_level->colours[m_level->at(x + a.x, y + a.y)] - m_level->colours[m_level->at(x + b.x, y + b.y)];
    const Pixel squares = d * d;
    return std::max(((squares[0] + squares[1]) + (squares[2] + squares[3])) - m_taste.tolerance, 0.0F);
}

// Between a cell with shift a and its neighbour with shift b. What nothing is known of counts by the other side.
float ShiftMap::seam(int x, int y, int nx, int ny, const Shift& a, const Shift& b) const {
    if (a == b) return 0.0F;
    const bool here = (b.x != 0 || b.y != 0) || m_level->known(x, y);
    const bool there = (a.x != 0 || a.y != 0) || m_level->known(nx, ny);
    const float first = here ? difference(x, y, a, b) : 0.0F, second = there ? difference(nx, ny, a, b) : 0.0F;
    return SEAM + (here ? first : second) + (there ? second : first);
}

float ShiftMap::own_cost(int x, int y, const Shift& s) const {
    if (!valid(x, y, s)) return IMPOSSIBLE;
    if (s.x == 0 && s.y == 0) return 0.0F;
    float cost = 0.0F;
    if (m_at_border[m_level->at(x, y)] != 0)
        for (int v = -WINDOW; v <= WINDOW; ++v)
            for (int u = -WINDOW; u <= WINDOW; ++u)
                if (explains(x + u, y + v)) cost += difference(x + u, y + v, s, {});
    const auto sx = static_cast<float>(s.x), sy = static_cast<float>(s.y);
    const float length = std::sqrt(sx * sx + sy * sy);
    const float turned = length > 0.0F ? (sx * m_taste.x + sy * m_taste.y) / length : 0.0F;
    return CONTEXT * cost + LENGTH * std::min(length / m_taste.reach, 4.0F) + DIRECTION * 0.5F * (1.0F - turned);
}

void ShiftMap::gather_open() {
    m_open.clear();
    for (int y = 0; y < m_level->height; ++y)
        for (int x = 0; x < m_level->width; ++x)
            if (m_level->open(x, y)) m_open.push_back({x, y});
    m_node_at.assign(labels.size(), -1);
    m_at_border.assign(labels.size(), 0);
    for_rows_float(static_cast<int>(m_open.size()), [&](int first, int last) {
        for (int n = first; n <= last; ++n) {
            const auto [x, y] = m_open[std::size_t(n)];
            bool any = false;
            for (int v = -WINDOW; v <= WINDOW && !any; ++v)
                for (int u = -WINDOW; u <= WINDOW && !any; ++u) any = explains(x + u, y + v);
            m_at_border[m_level->at(x, y)] = any;
        }
    });
}

void ShiftMap::gather_pieces() {
    m_pieces.resize(shifts.size());
    for (auto& piece : m_pieces) piece.clear();
    for (const auto& [x, y] : m_open) m_pieces[std::size_t(label(x, y))].push_back({x, y});
}

void ShiftMap::begin() {
    labels.assign(m_level->colours.size(), 0);
    gather_open();
    for (const auto& [x, y] : m_open) {
        float least = INFINITY;
        for (std::size_t k = 0; k < shifts.size(); ++k) {
            const float cost = own_cost(x, y, shifts[k]);
            if (cost < least) least = cost, label(x, y) = static_cast<Label>(k);
        }
    }
}

void ShiftMap::refine(const ShiftLevel& level) {
    const ShiftLevel& coarse = *m_level;
    const std::vector<Label> before = std::move(labels);
    m_level = &level;
    m_taste.reach *= 2.0F;
    for (Shift& s : shifts) s = {2 * s.x, 2 * s.y};
    labels.assign(level.colours.size(), 0);
    gather_open();
    for (const auto& [x, y] : m_open) {
        label(x, y) = before[coarse.at(x / 2, y / 2)];
        if (valid(x, y, shifts[std::size_t(label(x, y))])) continue;
        // A neighbour's.
        for (int reach = 1; reach <= 3; ++reach)
            for (const auto& step : STEPS) {
                const int u = x / 2 + reach * step[0], v = y / 2 + reach * step[1];
                if (!coarse.inside(u, v)) continue;
                const Label other = before[coarse.at(u, v)];
                if (valid(x, y, shifts[std::size_t(other)])) label(x, y) = other;
            }
    }
}

float ShiftMap::piece_cost(Label piece, const Shift& s) const {
    float cost = 0.0F;
    for (const auto& [x, y] : m_pieces[std::size_t(piece)]) {
        if (!valid(x, y, s)) {
            cost += valid(x, y, shifts[std::size_t(piece)]) ? 1.0F : 0.0F;
            continue;
        }
        for (const auto& step : STEPS) {
            const int u = x + step[0], v = y + step[1];
            if (!m_level->inside(u, v) || label(u, v) == piece) continue;
            if (!m_level->known(u, v) && label(u, v) == 0) continue;
            cost += seam(x, y, u, v, s, shifts[std::size_t(label(u, v))]);
        }
    }
    return cost;
}

void ShiftMap::settle() {
    gather_pieces();
    for (std::size_t k = 1; k < shifts.size(); ++k) {
        if (m_pieces[k].empty()) continue;
        const auto piece = static_cast<Label>(k);
        Shift best = shifts[k];
        float least = piece_cost(piece, best);
        for (int y = -1; y <= 1; ++y)
            for (int x = -1; x <= 1; ++x) {
                const Shift s{shifts[k].x + x, shifts[k].y + y};
                if ((x == 0 && y == 0) || (s.x == 0 && s.y == 0)) continue;
                const float cost = piece_cost(piece, s);
                if (cost < least) least = cost, best = s;
            }
        shifts[k] = best;
    }
}

// Cells that may take label alpha: all open ones, or those of a piece that is at home where alpha is and those within
// `band` of it.
void ShiftMap::gather_candidates(Label alpha, Label home, int band) {
    for (const auto& [x, y] : m_nodes) m_node_at[m_level->at(x, y)] = -1;
    m_nodes.clear();
    const Shift& s = shifts[std::size_t(alpha)];
    const auto add = [&](int x, int y) {
        if (label(x, y) == alpha || m_node_at[m_level->at(x, y)] >= 0 || !valid(x, y, s)) return;
        m_node_at[m_level->at(x, y)] = static_cast<int>(m_nodes.size());
        m_nodes.push_back({x, y});
    };
    if (band == 0) {
        for (const auto& [x, y] : m_open) add(x, y);
        return;
    }
    for (const auto& [x, y] : m_pieces[std::size_t(home)]) {
        if (label(x, y) != home) continue;  // has left the piece since
        add(x, y);
        if (!at_seam(x, y)) continue;
        for (int v = std::max(y - band, 0); v <= std::min(y + band, m_level->height - 1); ++v)
            for (int u = std::max(x - band, 0); u <= std::min(x + band, m_level->width - 1); ++u)
                if (m_level->open(u, v)) add(u, v);
    }
}

bool ShiftMap::at_seam(int x, int y) const {
    return std::any_of(std::begin(STEPS), std::end(STEPS), [&](const auto& step) {
        const int u = x + step[0], v = y + step[1];
        return m_level->inside(u, v) && m_level->open(u, v) && label(u, v) != label(x, y);
    });
}

// Which of the cells take label alpha so that seams cost least. Whether any does.
bool ShiftMap::expand_one(Label alpha) {
    if (m_nodes.empty()) return false;
    const auto count = static_cast<int>(m_nodes.size());
    m_neighbours.assign(4 * m_nodes.size(), -1);
    for (int n = 0; n < count; ++n)
        for (int d = 0; d < 4; ++d) {
            const int u = m_nodes[std::size_t(n)].x + STEPS[d][0], v = m_nodes[std::size_t(n)].y + STEPS[d][1];
            if (m_level->inside(u, v)) m_neighbours[4 * std::size_t(n) + std::size_t(d)] = m_node_at[m_level->at(u, v)];
        }
    m_flow.begin(count, m_neighbours);
    const Shift taken = shifts[std::size_t(alpha)];
    m_apart.resize(m_nodes.size());
    for (int n = 0; n < count; ++n) {
        const auto [x, y] = m_nodes[std::size_t(n)];
        m_apart[std::size_t(n)] = difference(x, y, shifts[std::size_t(label(x, y))], taken);
    }
    for (int n = 0; n < count; ++n) {
        const auto [x, y] = m_nodes[std::size_t(n)];
        const Shift own = shifts[std::size_t(label(x, y))];
        // The source's side takes alpha, so that ties keep what there is.
        const float keeping = own_cost(x, y, own);
        int on_source = units(own_cost(x, y, taken));
        int on_sink = keeping >= IMPOSSIBLE ? units(IMPOSSIBLE) * 16 : units(keeping);
        for (int d = 0; d < 4; ++d) {
            const int u = x + STEPS[d][0], v = y + STEPS[d][1];
            if (!m_level->inside(u, v) || (!m_level->open(u, v) && !m_level->known(u, v))) continue;
            const Shift other = shifts[std::size_t(label(u, v))];
            const int m = m_neighbours[4 * std::size_t(n) + std::size_t(d)];
            if (m < 0) {
                on_source += units(seam(x, y, u, v, taken, other));
                on_sink += units(seam(x, y, u, v, own, other));
            } else if ((d & 1) == 0 && own == other && alpha != 0 && (own.x != 0 || own.y != 0)) {
                // Inside a piece, where most links are: both sides are compared already.
                const int apart = units(SEAM + m_apart[std::size_t(n)] + m_apart[std::size_t(m)]);
                m_flow.add_costs(m, apart, 0);
                on_sink += apart;
                m_flow.add_link(n, d, 2 * apart, 0);
            } else if ((d & 1) == 0) {
                const int both = units(seam(x, y, u, v, own, other)), theirs = units(seam(x, y, u, v, own, taken)),
                          ours = units(seam(x, y, u, v, taken, other));
                // Seam costs by which of the two take alpha, put into terms of one cell and one of both; where they
                // do not add up to a cut, what is left out makes the move more careful.
                m_flow.add_costs(m, theirs, both);
                on_sink += theirs;
                m_flow.add_link(n, d, std::max(theirs + ours - both, 0), 0);
            }
        }
        m_flow.add_costs(n, on_source, on_sink);
    }
    m_flow.solve();
    bool any = false;
    for (int n = 0; n < count; ++n) {
        if (!m_flow.on_source_side(n)) continue;
        const Place& taker = m_nodes[std::size_t(n)];
        label(taker.x, taker.y) = alpha, any = true;
        m_pieces[std::size_t(alpha)].push_back(taker);
    }
    return any;
}

void ShiftMap::expand(int sweeps, int band, const StopRequested& stop) {
    m_nodes.clear();
    std::fill(m_node_at.begin(), m_node_at.end(), -1);
    gather_pieces();
    std::size_t idle = 0;  // moves in a row that changed nothing
    for (int sweep = 0; sweep < sweeps; ++sweep)
        for (std::size_t k = 0; k < shifts.size() && idle < shifts.size() && !wants_end(stop); ++k) {
            const auto alpha = static_cast<Label>(k);
            gather_candidates(alpha, k < m_homes.size() ? m_homes[k] : alpha, band);
            idle = expand_one(alpha) ? 0 : idle + 1;
        }
    m_homes.clear();
}

void ShiftMap::forget_unused() {
    std::vector<std::uint8_t> used(shifts.size(), 0);
    for (const auto& [x, y] : m_open) used[std::size_t(label(x, y))] = 1;
    std::vector<Label> now(shifts.size(), 0);
    std::vector<Shift> kept{{}};
    for (std::size_t k = 1; k < shifts.size(); ++k)
        if (used[k] != 0) now[k] = static_cast<Label>(kept.size()), kept.push_back(shifts[k]);
    for (const auto& [x, y] : m_open) label(x, y) = now[std::size_t(label(x, y))];
    shifts = std::move(kept);
}

void ShiftMap::explore(int step) {
    forget_unused();
    const std::size_t used = shifts.size();
    m_homes.clear();
    for (std::size_t k = 0; k < used; ++k) m_homes.push_back(static_cast<Label>(k));
    for (std::size_t k = 1; k < used; ++k)
        for (int y = -step; y <= step; y += step)
            for (int x = -step; x <= step; x += step) {
                const Shift s{shifts[k].x + x, shifts[k].y + y};
                if (std::find(shifts.begin(), shifts.end(), s) != shifts.end()) continue;
                shifts.push_back(s), m_homes.push_back(static_cast<Label>(k));
            }
}

bool ShiftMap::complete() const {
    return std::all_of(m_open.begin(), m_open.end(),
                       [&](const Place& p) { return valid(p.x, p.y, shifts[std::size_t(label(p.x, p.y))]); });
}
