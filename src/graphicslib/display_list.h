// Private: what has been drawn and not yet rendered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

struct DisplayNode {
    enum Kind : std::uint8_t { POLYGON = 1, LINE = 2, DISC = 3 };
    static constexpr int NAME_ROOM = 8;

    DisplayNode* next;
    float depth;             // the largest z of the vertices
    float x0, y0, x1, y1;    // bounds in pixels, without any sample offset
    std::uint16_t material;  // 0: the default shading
    std::uint16_t second_id;
    Kind kind;
    std::uint8_t name_length;
    char name[NAME_ROOM];
    bool level;       // all vertices at one depth
    bool one_colour;  // and of one colour
    // Polygons and lines.
    int count;
    float* vertices;
    // Soft discs.
    float colour[4];
    float centre[2];
    float radius;
};

// A singly linked list whose nodes live in blocks; clearing keeps the blocks for the next picture.
class DisplayList {
  public:
    // A node at the tail with room for `count` vertices of `floats`; null when memory runs out, with the list as it
    // was.
    DisplayNode* add(int count, int floats);
    void clear();
    // Relinks in the order of `nodes`, which holds every node of the list once.
    void relink(const std::vector<DisplayNode*>& nodes);

    const DisplayNode* head() const { return m_first; }
    DisplayNode* head() { return m_first; }
    int count() const { return m_nodes; }

  private:
    static constexpr std::size_t BLOCK = std::size_t(1) << 18;
    struct Block {
        std::unique_ptr<std::byte[]> bytes;
        std::size_t size;
    };
    std::byte* take(std::size_t bytes);

    std::vector<Block> m_blocks;
    std::size_t m_block = 0, m_used = 0;
    DisplayNode *m_first = nullptr, *m_last = nullptr;
    int m_nodes = 0;
};
