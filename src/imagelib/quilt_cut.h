// Private to quilting: the cheapest cut between what is kept and what is new.
#pragma once

#include <cstdint>
#include <vector>

// Cells of a grid, each kept or replaced. Work memory is kept from cut to cut.
class QuiltCut {
  public:
    enum Role : std::uint8_t { FREE, KEPT, REPLACED };

    // All cells free, without cost.
    void begin(int width, int height);
    Role& role(int x, int y) { return m_role[index(x, y)]; }
    // What it costs to cut through a cell, from 0 on; beyond 4 counts as 4.
    float& cost(int x, int y) { return m_cost[index(x, y)]; }
    // The minimum cut: afterwards replaced() tells of each cell. With no cell kept all are replaced.
    void solve();
    bool replaced(int x, int y) const { return m_level[index(x, y)] < 0; }

  private:
    std::size_t index(int x, int y) const { return std::size_t(y) * std::size_t(m_width) + std::size_t(x); }
    int neighbour(int cell, int direction) const;
    bool find_levels();
    void push_from(int source);

    int m_width = 0, m_height = 0;
    std::vector<Role> m_role;
    std::vector<float> m_cost;
    std::vector<int> m_capacity;  // to the right, the left, above and below of each cell
    std::vector<int> m_level;     // distance from the kept cells; -1: cut off from them
    std::vector<std::uint8_t> m_next;
    std::vector<int> m_queue, m_path;
    std::vector<std::uint8_t> m_turns;
};
