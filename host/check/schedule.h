// Which case comes when: a seeded random order in which every effect and every invariant gets its turn early.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/check/invariant.h"

namespace bundlecheck {

struct ScheduledCase {
    const Invariant* invariant = nullptr;
    const EffectFacts* facts = nullptr;
    CaseId id;
};

class Schedule {
  public:
    // The facts must outlive the schedule. Invariants above the strictness are left out, and with a list all others.
    Schedule(const std::vector<EffectFacts>& effects, const std::vector<const Invariant*>& chosen, int strictness,
             std::uint32_t seed);

    std::size_t size() const { return m_cases.size(); }  // of this generation
    // Nothing when all cases of the generation have been given out.
    std::optional<ScheduledCase> next();
    // The seeded cases once more with new seeds; false when there are none.
    bool nextGeneration();

  private:
    void fill();

    std::vector<ScheduledCase> m_cells;  // one for each pair of effect and invariant
    std::vector<int> m_counts;           // of the cells' cases
    std::vector<ScheduledCase> m_cases;
    std::size_t m_next = 0;
    std::uint32_t m_seed;
    std::uint32_t m_generation = 0;
};

}  // namespace bundlecheck
