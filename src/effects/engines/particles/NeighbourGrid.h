// Neighbours of particles, found through a grid of cells, for steps in which particles act on each other.
//
// Made from all particles at once and then only read, so that any number of threads may ask. The order in which
// neighbours are visited depends on nothing but the particles.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "effects/engines/particles/ParticleBase.h"
#include "effects/engines/replay/FrameShape.h"

class NeighbourGrid {
  public:
    // Sorts the particles into cells of `reach` pixels. Particles may be outside of the picture; those whose position
    // is not finite are left out.
    template <class Particle>
    void build(const Particle* particles, int count, float reach, const FrameShape& frame) {
        m_places.clear();
        m_places.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) m_places.push_back({particles[i].position[0], particles[i].position[1]});
        sort(reach, frame);
    }

    // Calls visit(index) for all particles up to the reach away in x and y, oneself included: cells from the lowest row
    // up, each from left to right, in a cell by ascending index. Ends when visit answers false.
    template <class Visit>
    void around(const float position[2], Visit visit) const {
        if (m_first.empty() || !finite({position[0], position[1]})) return;
        const float wide = m_reach * 1.0001f;  // more than what rounding can lose
        const int left = column(position[0] - wide), right = column(position[0] + wide);
        const int bottom = row(position[1] - wide), top = row(position[1] + wide);
        for (int y = bottom; y <= top; ++y)
            for (int cell = y * m_columns + left; cell <= y * m_columns + right; ++cell)
                for (auto at = m_first[std::size_t(cell)]; at < m_first[std::size_t(cell) + 1]; ++at) {
                    const std::int32_t index = m_sorted[at];
                    const Place& place = m_places[std::size_t(index)];
                    const float dx = place.x - position[0], dy = place.y - position[1];
                    if (dx * dx + dy * dy <= m_reach * m_reach && !visit(index)) return;
                }
    }

    // For crowds, where only so many particles of a cell are looked at: puts the list of particles by cell into an
    // order in which those that are spread over a cell with more than `most` of them follow one another. around() then
    // visits such a cell in that order.
    void spread(std::uint32_t most);
    // The particles by cell.
    const std::vector<std::int32_t>& byCell() const { return m_sorted; }
    // visit(first, count) for the runs of that list that lie in the cells about a place, at most `most` particles of
    // each cell; which ones follows from `choice`. After spread() with that number.
    template <class Visit>
    void sampledRuns(const float position[2], std::uint32_t most, std::uint32_t choice, Visit visit) const {
        if (m_first.empty() || most == 0 || !finite({position[0], position[1]})) return;
        const float wide = m_reach * 1.0001f;
        const int left = column(position[0] - wide), right = column(position[0] + wide);
        const int bottom = row(position[1] - wide), top = row(position[1] + wide);
        for (int y = bottom; y <= top; ++y)
            for (int cell = y * m_columns + left; cell <= y * m_columns + right; ++cell) {
                const std::uint32_t first = m_first[std::size_t(cell)], count = m_first[std::size_t(cell) + 1] - first;
                const std::uint32_t samples = std::max(count / most, 1U), asked = std::min(count, most);
                if (asked > 0) visit(first + choice % samples * asked, asked);
            }
    }

  private:
    struct Place {
        float x, y;
    };
    static bool finite(Place place) { return place.x - place.x == 0 && place.y - place.y == 0; }
    // What is beyond the cells belongs to the outermost ones.
    int column(float x) const {
        return static_cast<int>(std::clamp((x - m_left) * m_per_pixel, 0.0f, float(m_columns - 1)));
    }
    int row(float y) const {
        return static_cast<int>(std::clamp((y - m_bottom) * m_per_pixel, 0.0f, float(m_rows - 1)));
    }
    void sort(float reach, const FrameShape& frame);

    float m_reach = 0, m_per_pixel = 0;
    float m_left = 0, m_bottom = 0;
    int m_columns = 1, m_rows = 1;
    std::vector<Place> m_places;
    std::vector<std::uint32_t> m_first;  // of each cell, and the end of the last one; empty: no cells
    std::vector<std::int32_t> m_sorted;  // particles by cell
};
