// Cuts a picture into convex tiles that leave nothing out and do not overlap.
//
// Places are in widths of the picture, from its middle, x to the right and y upwards. Tiles at the picture's edges are
// cut off there. Shards are the cells of a Voronoi diagram over a jittered lattice; cracks run out from the centre as
// in glass that was hit there.
#pragma once

#include <cstdint>
#include <vector>

struct TilingShape {
    enum Kinds { Squares = 1, Bricks = 2, Triangles = 3, Hexagons = 4, Shards = 5, Cracks = 6 };
    int kind = Squares;
    float size = 0.03F;                // width of a tile; of cracked glass, a quarter of a width from the centre
    float aspect = 1.0F;               // of a tile, width over height; unused by cracks
    float irregular = 0.8F;            // of shards and cracks, 0 to 1
    float centre_x = 0, centre_y = 0;  // of cracks
    float tallness = 1;                // height of the picture
    std::uint32_t seed = 1;
};

struct TilePoint {
    float x, y;
};

class Tiling {
  public:
    static constexpr int MOST_CORNERS = 16;
    struct Tile {
        TilePoint middle;
        float radius;                // of a circle around the middle that holds the tile
        std::uint32_t first, count;  // of its corners, counter-clockwise
        std::uint32_t word;          // its own random number, the same at any size of the picture
    };

    explicit Tiling(const TilingShape& shape);
    const std::vector<Tile>& tiles() const { return m_tiles; }
    const TilePoint* corners(const Tile& tile) const { return m_corners.data() + tile.first; }

  private:
    struct Cutter;
    void add(int count, const TilePoint* corners, std::uint32_t word);
    void append(const Tiling& other);
    void cut_squares(const TilingShape& shape);
    void cut_triangles(const TilingShape& shape);
    void cut_hexagons(const TilingShape& shape);
    void cut_shards(const TilingShape& shape);
    void cut_cracks(const TilingShape& shape);
    Tiling() = default;

    float m_half_height = 0.5F;
    std::vector<Tile> m_tiles;
    std::vector<TilePoint> m_corners;
};
