// Private to completion: which shift each pixel of a hole takes its colour from, on one level of a pyramid.
//
// Y. Pritch, E. Kav-Venaki and S. Peleg, "Shift-map image editing", 2009; labels by expansion moves (Y. Boykov,
// O. Veksler and R. Zabih, 2001), in bands on finer levels (H. Lombaert et al., 2005).
#pragma once

#include <cstdint>
#include <vector>

#include "imagelib/grid_flow.h"
#include "imagelib/imagelib_complete.h"
#include "simdlib/vectors.h"

struct Shift {
    int x = 0, y = 0;
    bool operator==(const Shift&) const = default;
};

// The picture on one level: a cell's colour, and in the last channel how rough it is inside.
struct ShiftLevel {
    int width = 0, height = 0;
    std::vector<simd::Pixel> colours;
    std::vector<std::uint8_t> flags;  // CompletionFlag

    std::size_t at(int x, int y) const { return std::size_t(y) * std::size_t(width) + std::size_t(x); }
    bool inside(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }
    bool known(int x, int y) const { return inside(x, y) && (flags[at(x, y)] & COMPLETE_HOLE) == 0; }
    bool source(int x, int y) const {
        return inside(x, y) && (flags[at(x, y)] & (COMPLETE_HOLE | COMPLETE_NO_SOURCE)) == 0;
    }
    bool open(int x, int y) const { return (flags[at(x, y)] & (COMPLETE_HOLE | COMPLETE_LOOSE)) != 0; }
};

// What shifts are preferred by where all fit alike: short ones, and those of one direction.
struct ShiftTaste {
    float x = 0, y = 0;       // the direction
    float reach = 1.0F;       // of long shifts, in cells
    float tolerance = 1e-4F;  // sum of squared differences of colours that counts as none: grain makes it
};

class ShiftMap {
  public:
    using Label = std::int16_t;  // of `shifts`; 0 is no shift: what is known there
    std::vector<Shift> shifts{{}};
    std::vector<Label> labels;  // of each cell of the level

    explicit ShiftMap(const ShiftLevel& level, const ShiftTaste& taste) : m_level(&level), m_taste(taste) {}
    // Each open cell gets the shift that suits it best by itself.
    void begin();
    // Goes on with a level of twice the size.
    void refine(const ShiftLevel& level);
    // Moves each piece as a whole to where its border fits best, by a cell at most.
    void settle();
    // Expansion moves over all open cells, or over cells so near to a seam.
    void expand(int sweeps, int band, const StopRequested& stop);
    void forget_unused();
    // Drops shifts that are not in use, and adds those `step` cells beside the others: the next expansion tries them
    // around the pieces that they are like.
    void explore(int step);
    // Whether all cells of the hole have a shift that leads to a source.
    bool complete() const;

  private:
    struct Place {
        int x, y;
    };
    Label& label(int x, int y) { return labels[m_level->at(x, y)]; }
    Label label(int x, int y) const { return labels[m_level->at(x, y)]; }
    bool valid(int x, int y, const Shift& s) const;
    float difference(int x, int y, const Shift& a, const Shift& b) const;
    float seam(int x, int y, int nx, int ny, const Shift& a, const Shift& b) const;
    bool explains(int x, int y) const { return m_level->known(x, y) && !m_level->open(x, y); }
    float own_cost(int x, int y, const Shift& s) const;
    float piece_cost(Label piece, const Shift& s) const;
    void gather_open();
    void gather_pieces();
    void gather_candidates(Label alpha, Label home, int band);
    bool at_seam(int x, int y) const;
    bool expand_one(Label alpha);

    const ShiftLevel* m_level;
    ShiftTaste m_taste;
    std::vector<Place> m_open;
    std::vector<Place> m_nodes;  // that may change in an expansion
    std::vector<Label> m_homes;  // of shifts that are tried around a piece: that piece
    std::vector<int> m_node_at, m_neighbours;
    std::vector<float> m_apart;  // of nodes: what they have from what they may take
    // Of each label, also cells that have left it during an expansion.
    std::vector<std::vector<Place>> m_pieces;
    std::vector<std::uint8_t> m_at_border;  // of open cells: whether there is anything known to explain
    GridFlow m_flow;
};
