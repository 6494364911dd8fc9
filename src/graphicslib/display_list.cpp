#include "graphicslib/display_list.h"

#include <algorithm>
#include <new>

#include "k7pi_baselib/in_memory.h"

std::byte* DisplayList::take(std::size_t bytes) {
    bytes = (bytes + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
    while (m_block < m_blocks.size() && m_used + bytes > m_blocks[m_block].size) ++m_block, m_used = 0;
    if (m_block == m_blocks.size()) {
        const bool room = in_memory([&] {
            const std::size_t size = std::max(BLOCK, bytes);
            m_blocks.push_back({std::make_unique_for_overwrite<std::byte[]>(size), size});
        });
        if (!room) return nullptr;
        m_used = 0;
    }
    std::byte* place = m_blocks[m_block].bytes.get() + m_used;
    m_used += bytes;
    return place;
}

DisplayNode* DisplayList::add(int count, int floats) {
    const std::size_t vertex_bytes = std::size_t(count) * std::size_t(floats) * sizeof(float);
    std::byte* place = take(sizeof(DisplayNode) + vertex_bytes);
    if (!place) return nullptr;
    auto* node = new (place) DisplayNode{};
    node->count = count;
    node->vertices = vertex_bytes == 0 ? nullptr : new (place + sizeof(DisplayNode)) float[std::size_t(count * floats)];
    if (m_last)
        m_last->next = node;
    else
        m_first = node;
    m_last = node;
    ++m_nodes;
    return node;
}

void DisplayList::clear() {
    m_first = m_last = nullptr;
    m_nodes = 0;
    m_block = m_used = 0;
}

void DisplayList::relink(const std::vector<DisplayNode*>& order) {
    m_first = m_last = nullptr;
    for (DisplayNode* node : order) {
        node->next = nullptr;
        if (m_last)
            m_last->next = node;
        else
            m_first = node;
        m_last = node;
    }
}
