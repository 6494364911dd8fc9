// Draws tiles of a picture that fly about in front of it: turned in space, seen in perspective, lit, as thick as
// wanted, and blurred by their motion.
//
// A tile is a prism. Each face that is seen is a convex polygon whose coverage is exact; its pixels look up the picture
// through the inverse of the projection, which is a quotient of linear functions (P. Heckbert, "Fundamentals of texture
// mapping and image warping", 1989). Faces and moments of one tile are added up before it is laid over what is behind,
// so that there are no seams between them.
//
// World: widths of the picture, from its middle, z towards the eye, which stands at `distance` from the picture's
// plane: there a picture of places (x, y, 0) is the picture itself.
#pragma once

#include <array>
#include <vector>

#include "effects/pixels/Tiling.h"
#include "imagelib/imagelib.h"
#include "imagelib/imagelib_coverage.h"

// The picture at full, half, quarter size and so on; the first one belongs to the caller.
class TileTexture {
  public:
    struct Level {
        const float* samples;  // r, g, b, a, multiplied by alpha
        int width, height;
        std::ptrdiff_t pitch;  // floats
    };
    // Throws std::bad_alloc.
    explicit TileTexture(const K7Image& picture);
    const Level& level(int i) const { return m_levels[std::size_t(i)]; }
    int levels() const { return static_cast<int>(m_levels.size()); }

  private:
    std::vector<ImagePtr> m_memory;
    std::vector<Level> m_levels;
};

struct TilePose {
    float place[3];  // of the tile's middle
    float turn[9];   // row after row; its columns are where the tile's own axes point
    float size;      // 1: as in the picture's plane
    float opacity;
    float thickness = 1;  // share of the look's
};

struct TileLook {
    float distance = 1;   // of the eye
    float thickness = 0;  // widths
    bool plain_back = false;
    float back[3] = {0.5F, 0.5F, 0.5F};
    float light[3] = {0, 0, 1};  // direction to it, of unit length, z above 0
    float shading = 0;           // 0: none, 1: faces turned away from the light are black
    float shine = 0;
};

class TilePainter {
  public:
    struct Flying {
        const Tiling::Tile* tile;
        const TilePose* poses;
        int count;          // of poses; each has an equal part of the time
        float distance;     // square of the distance from the eye: what is nearer is drawn later
        PixelWindow reach;  // of all poses
    };
    struct RowReach {
        int x0 = 0, x1 = -1;  // empty
    };
    struct Scratch {
        PolygonCoverage coverage;
        std::vector<float> sums;
        std::vector<RowReach> rows;
    };

    TilePainter(const Tiling& tiling, const TileTexture& texture, const TileLook& look, const K7Image& picture);

    // Sets where it reaches. False when nothing of it is seen.
    bool measure(Flying& flying) const;
    void paint(const Flying& flying, int first_row, int last_row, K7Image& into, Scratch& scratch) const;

    float pixel_x(float x, float z) const {
        return m_centre_x + x * m_scale_x * m_look.distance / (m_look.distance - z);
    }
    float pixel_y(float y, float z) const {
        return m_centre_y + y * m_scale_y * m_look.distance / (m_look.distance - z);
    }

  private:
    static constexpr int MOST = Tiling::MOST_CORNERS;
    struct Face;
    struct Solid;
    struct Target;
    Solid place(const Tiling::Tile& tile, const TilePose& pose) const;
    void light(const TilePose& pose, const float normal[3], Face& face) const;
    bool look_up(const double origin[3], const double across[3], const double up[3], const double texture[6],
                 Face& face) const;
    template <class Paint>
    void for_faces(const Tiling::Tile& tile, const TilePose& pose, int poses, Paint&& paint) const;
    void fill(const Face& face, float weight, bool add, const Target& target, PolygonCoverage& coverage) const;

    const Tiling& m_tiling;
    const TileTexture& m_texture;
    TileLook m_look;
    float m_centre_x, m_centre_y, m_scale_x, m_scale_y;  // pixels; pixels a width
    int m_width, m_height;
};
