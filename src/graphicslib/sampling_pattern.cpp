#include "graphicslib/sampling_pattern.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/portable_math.h"

namespace {

constexpr int ATTEMPTS = 1024;

}  // namespace

bool StochasticSamplingPattern::init(std::uint32_t new_seed, int cells_per_side, int number_of_sets, int new_mode) {
    if (cells_per_side < 1 || cells_per_side > 1024 || number_of_sets < 1) return false;
    if (number_of_sets > (1 << 26) / (cells_per_side * cells_per_side)) return false;
    if (new_mode != JITTERED && new_mode != POISSON) return false;
    m_cursor = 0;
    if (new_seed == m_seed && cells_per_side == m_cells && number_of_sets == m_sets && new_mode == m_mode) return true;
    m_seed = new_seed;
    m_cells = cells_per_side;
    m_sets = number_of_sets;
    m_mode = new_mode;
    m_cells_per_set = m_cells * m_cells;
    m_total = m_cells_per_set * m_sets;
    m_random = MTRandom(m_seed);
    m_places.clear();
    return true;
}

bool StochasticSamplingPattern::keeps_distance(const Place& candidate) const {
    const float limit = 0.2F / static_cast<float>(m_cells), limit_squared = limit * limit;
    return std::all_of(m_places.begin(), m_places.end(), [&](const Place& place) {
        const float dx = place.x - candidate.x, dy = place.y - candidate.y;
        return dx * dx + dy * dy > limit_squared;
    });
}

// Sets come into being when they are first asked for: pictures mostly use the first one only, and the distances of a
// Poisson pattern are to the places before.
void StochasticSamplingPattern::add_set() {
    const float cell = 1 / static_cast<float>(m_cells);
    for (int j = 0; j < m_cells; ++j)
        for (int i = 0; i < m_cells; ++i) {
            Place candidate{};
            for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
                candidate.x = static_cast<float>(i) * cell + m_random.next_float_in(0, cell);
                candidate.y = static_cast<float>(j) * cell + m_random.next_float_in(0, cell);
                if (m_mode == JITTERED || m_places.empty() || keeps_distance(candidate)) break;
            }
            m_places.push_back(candidate);
        }
}

void StochasticSamplingPattern::set_cursor(int index) {
    if (index >= 0) m_cursor = index % m_total;
}

void StochasticSamplingPattern::next_sample(float place[3]) {
    while (m_places.size() <= std::size_t(m_cursor)) add_set();
    place[0] = m_places[std::size_t(m_cursor)].x;
    place[1] = m_places[std::size_t(m_cursor)].y;
    place[2] = 0;
    m_cursor = (m_cursor + 1) % m_total;
}

void StochasticSamplingPattern::centred_sample(float scale, float offset[3]) {
    next_sample(offset);
    offset[0] = (offset[0] - 0.5F) * scale;
    offset[1] = (offset[1] - 0.5F) * scale;
}

float StochasticSamplingPattern::gaussian_sample(float radius, float offset[3]) {
    offset[0] = offset[1] = offset[2] = 0;
    if (!(radius > 0.01F)) return 1;
    const double s = radius / std::sqrt(2 * k7_log(2.0)), scale = 2 * s;
    centred_sample(static_cast<float>(scale), offset);
    for (int i = 0; i < 2; ++i) offset[i] *= static_cast<float>(scale);  // twice the scale: the filter's reach
    const double squared = double(offset[0]) * offset[0] + double(offset[1]) * offset[1];
    return static_cast<float>(k7_exp(-squared / (s * scale)));
}
