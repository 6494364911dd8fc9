// Private to imagelib: the least cut of a graph whose nodes have up to four neighbours.
//
// Y. Boykov and V. Kolmogorov, "An experimental comparison of min-cut/max-flow algorithms for energy minimization in
// vision", 2004: two trees grow from the ends, paths between them are filled, and cut branches look for new parents.
// Capacities are whole numbers, so the cut is the same everywhere.
#pragma once

#include <cstdint>
#include <vector>

class GridFlow {
  public:
    // `neighbours`: four for each node, -1 where there is none. If m is neighbour d of n, n is neighbour d ^ 1 of m.
    void begin(int nodes, const std::vector<int>& neighbours);
    // What it costs to leave a node on the source's side, and on the sink's; from 0 on.
    void add_costs(int node, int on_source_side, int on_sink_side) {
        m_rest[std::size_t(node)] += on_sink_side - on_source_side;
    }
    // What it costs to cut node n (on the source's side) from its neighbour d, and the other way round.
    void add_link(int node, int direction, int there, int back) {
        m_capacity[4 * std::size_t(node) + std::size_t(direction)] += there;
        m_capacity[4 * std::size_t(neighbour(node, direction)) + std::size_t(direction ^ 1)] += back;
    }
    void solve();
    // Nodes of no tree may lie on either side; they count to the sink's.
    bool on_source_side(int node) const { return m_tree[std::size_t(node)] == SOURCE; }

  private:
    enum Tree : std::uint8_t { NONE, SOURCE, SINK };
    static constexpr std::int8_t ROOT = 4, ORPHAN = 5, NOBODY = 6;

    int neighbour(int node, int direction) const {
        return (*m_neighbours)[4 * std::size_t(node) + std::size_t(direction)];
    }
    // What flows from a parent to its child in the source's tree, and back in the sink's.
    int& towards(int parent, int child_direction, Tree tree) {
        const int child = neighbour(parent, child_direction);
        return tree == SOURCE ? m_capacity[4 * std::size_t(parent) + std::size_t(child_direction)]
                              : m_capacity[4 * std::size_t(child) + std::size_t(child_direction ^ 1)];
    }
    void activate(int node);
    bool grow(int node, int& direction);
    void augment(int node, int direction);
    void adopt();
    bool leads_to_root(int node);
    void make_orphan(int node) {
        m_parent[std::size_t(node)] = ORPHAN;
        m_orphans.push_back(node);
    }
    void find_parent(int orphan);

    const std::vector<int>* m_neighbours = nullptr;
    std::vector<int> m_capacity;  // to each neighbour
    std::vector<int> m_rest;      // from the source where above 0, to the sink where below
    std::vector<Tree> m_tree;
    std::vector<std::int8_t> m_parent;  // its direction
    std::vector<int> m_active, m_orphans;
    std::vector<std::uint8_t> m_waits;
    std::size_t m_first_active = 0;
    std::vector<int> m_checked;  // at which augmentation a node was found to lead to a root
    int m_time = 0;
};
