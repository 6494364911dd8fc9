#include "graphicslib/display_list.h"

#include <algorithm>
#include <new>

#include "k7pi_baselib/in_memory.h"

std::byte* DisplayList::take(std::size_t bytes) {
    bytes = (bytes + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
    while (block < blocks.size() && used + bytes > blocks[block].size) ++block, used = 0;
    if (block == blocks.size()) {
        const bool room = in_memory([&] {
            const std::size_t size = std::max(BLOCK, bytes);
            blocks.push_back({std::make_unique_for_overwrite<std::byte[]>(size), size});
        });
        if (!room) return nullptr;
        used = 0;
    }
    std::byte* place = blocks[block].bytes.get() + used;
    used += bytes;
    return place;
}

DisplayNode* DisplayList::add(int count, int floats) {
    const std::size_t vertex_bytes = std::size_t(count) * std::size_t(floats) * sizeof(float);
    std::byte* place = take(sizeof(DisplayNode) + vertex_bytes);
    if (!place) return nullptr;
    auto* node = new (place) DisplayNode{};
    node->count = count;
    node->vertices = vertex_bytes == 0 ? nullptr : new (place + sizeof(DisplayNode)) float[std::size_t(count * floats)];
    if (last)
        last->next = node;
    else
        first = node;
    last = node;
    ++nodes;
    return node;
}

void DisplayList::clear() {
    first = last = nullptr;
    nodes = 0;
    block = used = 0;
}

void DisplayList::relink(const std::vector<DisplayNode*>& order) {
    first = last = nullptr;
    for (DisplayNode* node : order) {
        node->next = nullptr;
        if (last)
            last->next = node;
        else
            first = node;
        last = node;
    }
}
