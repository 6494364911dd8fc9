// Where members of a flock may be and begin, and what they look like, from clips.
#pragma once

#include <cstdint>
#include <vector>

#include "graphicslib/mip_picture.h"
#include "imagelib/imagelib.h"

namespace flock {

inline constexpr float WIDTH = 1920;  // of the picture that flocks live in; its height follows from the frame

// Of a frame: its height in these units, and the lower left corner of a pixel and back.
struct Ground {
    float per_column = 1, per_row = 1, height = 1080;
    Ground() = default;
    explicit Ground(const K7Image& frame);
};

// How far it is to the white of a matte.
class KeepOut {
  public:
    void clear() { m_distance.reset(); }
    void make(const K7Image& matte);
    bool any() const { return m_distance != nullptr; }
    // Negative inside; `away` points to where it grows. Beyond the picture as at its edge.
    float distance(float x, float y, float away[2]) const;

  private:
    ImagePtr m_distance;
    float m_cell = 1;
};

// Random places, as dense as a matte is bright.
class BirthPlaces {
  public:
    void clear() { m_sums.clear(); }
    void make(const K7Image& matte);
    bool any() const { return !m_sums.empty(); }
    // False where the matte is black all over.
    bool place(std::uint32_t word, float& x, float& y) const;

  private:
    std::vector<float> m_sums;  // of the cells' brightness, row after row
    int m_columns = 0;
    float m_cell_x = 1, m_cell_y = 1;
};

// A shape at one moment of its cycle, cut out, facing to the right and to the left.
struct Shape {
    MipPicture right, left;
};
// All of a cycle's shapes are of one cut, so that they do not jump.
struct ShapeCycle {
    std::vector<Shape> shapes;
    float aspect = 1;  // height over width, as seen
};
// Each picture has a colour, already multiplied by its alpha; where nothing is seen in any of them there are no shapes.
ShapeCycle cut_shapes(const std::vector<ImagePtr>& pictures);
// Makes the picture of a shape from its clips; either may be null. `ink` is the colour of a matte alone.
ImagePtr shape_picture(const K7Image* colour, const K7Image* matte, const float ink[3], float tint);

}  // namespace flock
