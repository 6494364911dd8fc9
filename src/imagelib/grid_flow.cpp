#include "imagelib/grid_flow.h"

#include <algorithm>

void GridFlow::begin(int nodes, const std::vector<int>& neighbours) {
    const auto count = std::size_t(nodes);
    m_neighbours = &neighbours;
    m_capacity.assign(4 * count, 0);
    m_rest.assign(count, 0);
    m_tree.assign(count, NONE);
    m_parent.assign(count, NOBODY);
    m_waits.assign(count, 0);
    m_checked.assign(count, 0);
    m_active.clear(), m_orphans.clear();
    m_first_active = 0;
    m_time = 0;
}

void GridFlow::activate(int node) {
    if (m_waits[std::size_t(node)] != 0) return;
    m_waits[std::size_t(node)] = 1;
    m_active.push_back(node);
}

// True where a node meets the other tree: at its neighbour in `direction`.
bool GridFlow::grow(int node, int& direction) {
    const Tree tree = m_tree[std::size_t(node)];
    for (direction = 0; direction < 4; ++direction) {
        const int other = neighbour(node, direction);
        if (other < 0 || towards(node, direction, tree) == 0) continue;
        if (m_tree[std::size_t(other)] == NONE) {
            m_tree[std::size_t(other)] = tree;
            m_parent[std::size_t(other)] = static_cast<std::int8_t>(direction ^ 1);
            m_checked[std::size_t(other)] = m_checked[std::size_t(node)];
            activate(other);
        } else if (m_tree[std::size_t(other)] != tree) {
            return true;
        }
    }
    return false;
}

// Fills the path over the link between two trees.
void GridFlow::augment(int node, int direction) {
    int ends[2] = {node, neighbour(node, direction)};
    int link = direction;
    if (m_tree[std::size_t(node)] == SINK) std::swap(ends[0], ends[1]), link ^= 1;
    int& between = m_capacity[4 * std::size_t(ends[0]) + std::size_t(link)];
    int flow = between;
    for (const Tree tree : {SOURCE, SINK}) {
        int at = ends[tree == SINK];
        while (m_parent[std::size_t(at)] != ROOT) {
            const int d = m_parent[std::size_t(at)];
            flow = std::min(flow, towards(neighbour(at, d), d ^ 1, tree));
            at = neighbour(at, d);
        }
        flow = std::min(flow, std::abs(m_rest[std::size_t(at)]));
    }
    between -= flow;
    m_capacity[4 * std::size_t(ends[1]) + std::size_t(link ^ 1)] += flow;
    for (const Tree tree : {SOURCE, SINK}) {
        int at = ends[tree == SINK];
        while (m_parent[std::size_t(at)] != ROOT) {
            const int d = m_parent[std::size_t(at)], parent = neighbour(at, d);
            int& forwards = towards(parent, d ^ 1, tree);
            forwards -= flow;
            towards(at, d, tree) += flow;
            if (forwards == 0) make_orphan(at);
            at = parent;
        }
        int& rest = m_rest[std::size_t(at)];
        rest += tree == SOURCE ? -flow : flow;
        if (rest == 0) make_orphan(at);
    }
}

// Nodes on the way are marked, so that each is walked over once between two augmentations.
bool GridFlow::leads_to_root(int node) {
    int at = node;
    while (m_checked[std::size_t(at)] != m_time && m_parent[std::size_t(at)] != ROOT) {
        if (m_parent[std::size_t(at)] >= ROOT) return false;
        at = neighbour(at, m_parent[std::size_t(at)]);
    }
    for (at = node; m_checked[std::size_t(at)] != m_time; at = neighbour(at, m_parent[std::size_t(at)])) {
        m_checked[std::size_t(at)] = m_time;
        if (m_parent[std::size_t(at)] == ROOT) break;
    }
    return true;
}

void GridFlow::find_parent(int orphan) {
    const Tree tree = m_tree[std::size_t(orphan)];
    for (int d = 0; d < 4; ++d) {
        const int other = neighbour(orphan, d);
        if (other < 0 || m_tree[std::size_t(other)] != tree || towards(other, d ^ 1, tree) == 0) continue;
        if (!leads_to_root(other)) continue;
        m_parent[std::size_t(orphan)] = static_cast<std::int8_t>(d);
        m_checked[std::size_t(orphan)] = m_time;
        return;
    }
    for (int d = 0; d < 4; ++d) {
        const int other = neighbour(orphan, d);
        if (other < 0 || m_tree[std::size_t(other)] != tree) continue;
        if (towards(other, d ^ 1, tree) > 0) activate(other);
        if (m_parent[std::size_t(other)] == (d ^ 1)) make_orphan(other);
    }
    m_tree[std::size_t(orphan)] = NONE;
    m_parent[std::size_t(orphan)] = NOBODY;
}

void GridFlow::adopt() {
    ++m_time;
    for (std::size_t next = 0; next < m_orphans.size(); ++next) find_parent(m_orphans[next]);
    m_orphans.clear();
}

void GridFlow::solve() {
    for (std::size_t n = 0; n < m_rest.size(); ++n) {
        if (m_rest[n] == 0) continue;
        m_tree[n] = m_rest[n] > 0 ? SOURCE : SINK;
        m_parent[n] = ROOT;
        activate(static_cast<int>(n));
    }
    for (; m_first_active < m_active.size(); ++m_first_active) {
        const int node = m_active[m_first_active];
        int direction = 0;
        while (m_tree[std::size_t(node)] != NONE && grow(node, direction)) {
            augment(node, direction);
            adopt();
        }
        m_waits[std::size_t(node)] = 0;
    }
}
