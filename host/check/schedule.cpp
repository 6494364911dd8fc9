#include "host/check/schedule.h"

#include <algorithm>
#include <numeric>

namespace bundlecheck {

Schedule::Schedule(const std::vector<EffectFacts>& effects, const std::vector<const Invariant*>& chosen, int strictness,
                   std::uint32_t seed)
    : m_seed(seed) {
    for (const EffectFacts& facts : effects) {
        const bool bundle = facts.name == wholeBundle;
        for (const Invariant* invariant : chosen) {
            if (invariant->ofBundle != bundle || invariant->level > strictness) continue;
            const int count = invariant->count(facts);
            if (count <= 0) continue;
            m_cells.push_back({invariant, &facts, {facts.name, invariant->name, 0, 0}});
            m_counts.push_back(count);
        }
    }
    fill();
}

// Round by round, each with one case of every cell that has any left, in random order.
void Schedule::fill() {
    Random random(m_seed + (std::uint64_t{m_generation} << 32));
    m_cases.clear();
    m_next = 0;
    std::vector<std::vector<int>> orders;
    std::size_t longest = 0;
    for (std::size_t cell = 0; cell < m_cells.size(); ++cell) {
        const bool again = m_generation == 0 || m_cells[cell].invariant->seeded;
        std::vector<int> order(static_cast<std::size_t>(again ? m_counts[cell] : 0));
        std::iota(order.begin(), order.end(), 0);
        random.shuffle(order);
        longest = std::max(longest, order.size());
        orders.push_back(std::move(order));
    }
    std::vector<std::size_t> cells(m_cells.size());
    std::iota(cells.begin(), cells.end(), std::size_t{0});
    for (std::size_t round = 0; round < longest; ++round) {
        random.shuffle(cells);
        for (const std::size_t cell : cells) {
            if (round >= orders[cell].size()) continue;
            ScheduledCase made = m_cells[cell];
            made.id.index = orders[cell][round];
            made.id.seed = m_cells[cell].invariant->seeded ? static_cast<std::uint32_t>(random.next()) : m_seed;
            m_cases.push_back(std::move(made));
        }
    }
}

std::optional<ScheduledCase> Schedule::next() {
    return m_next < m_cases.size() ? std::optional(m_cases[m_next++]) : std::nullopt;
}

bool Schedule::nextGeneration() {
    ++m_generation;
    fill();
    return !m_cases.empty();
}

}  // namespace bundlecheck
