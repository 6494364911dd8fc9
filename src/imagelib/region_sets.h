// Private to the image library: disjoint sets of regions (R. Tarjan 1975), with halved paths. The least member of a set
// stands for it where sets are joined by join(); join_into() lets the caller say.
#pragma once

#include <cstdint>
#include <vector>

class RegionSets {
  public:
    RegionSets() = default;
    explicit RegionSets(std::size_t count) {
        m_parents.reserve(count);
        while (m_parents.size() < count) add();
    }
    std::size_t size() const { return m_parents.size(); }
    std::uint32_t add() {
        m_parents.push_back(static_cast<std::uint32_t>(m_parents.size()));
        return m_parents.back();
    }
    std::uint32_t find(std::uint32_t i) {
        while (m_parents[i] != i) i = m_parents[i] = m_parents[m_parents[i]];
        return i;
    }
    void join(std::uint32_t a, std::uint32_t b) {
        a = find(a), b = find(b);
        if (a < b)
            m_parents[b] = a;
        else
            m_parents[a] = b;
    }
    void join_into(std::uint32_t root, std::uint32_t other_root) { m_parents[other_root] = root; }

  private:
    std::vector<std::uint32_t> m_parents;
};
