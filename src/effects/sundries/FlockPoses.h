// Poses the characters of Q_Flock: the outlines of a member on the picture when the shutter opens and when it closes,
// with their inks, from the farthest part to the nearest.
//
// A place of the model is a sum of five vectors that follow from the member's joints (Weights), so that a pose costs a
// few vectors and then five products a place, both ends of the shutter's time abreast.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "effects/sundries/FlockCharacters.h"
#include "graphicslib/ink.h"

namespace flock {

// A member as it is drawn. Pixels; whole numbers are the corners of pixels.
struct View {
    float x, y;          // of its middle, when the shutter closes
    float way_x, way_y;  // since it opened
    float size;          // of a length of 1 of its model
    float axes[3][3];    // forwards, left and up; each to the right, up and towards the eye; of unit length
    float phase;         // of its beat, in turns
    float beaten;        // turns since the shutter opened
    float glide;         // 0 beats, 1 holds its wings still
    float main[3], marks[3];
    float opacity;
    float haze;  // 0 to 1
};

// What falls on all of them.
struct Lighting {
    float towards[3] = {0, 1, 0};  // the light, of unit length
    float shading = 0.5F;          // 0 flat
    float haze[3] = {};
    float shadow = 0;                  // its opacity; 0 none
    float shadow_x = 0, shadow_y = 0;  // how far it lies off, in lengths of the model
};

// A place on the picture: x and y when the shutter closes, and when it opens.
using Corner = ink::Quad;

// An outline, filled with an ink that changes along an axis.
struct Piece {
    std::uint32_t begin, count;      // of its loop, among the corners
    const std::uint8_t* sharp;       // of a smooth loop through them: which are points; null: they are joined straight
    std::int32_t moments;            // whose mean is seen
    float depth;                     // towards the eye
    float left, bottom, right, top;  // that its corners reach at any moment
    Corner axis_from, axis_to;
    ink::Quad from, to;
};

struct Poses {
    struct Member {
        std::uint32_t begin, count;  // of the pieces
        float left, bottom, right, top;
        float size, opacity, haze;
    };
    std::vector<Corner> corners;
    std::vector<Piece> pieces;
    std::vector<Member> members;
    void clear() { corners.clear(), pieces.clear(), members.clear(); }
};

class PoseMaker {
  public:
    PoseMaker() = default;
    explicit PoseMaker(Kind kind);
    PoseMaker(PoseMaker&&) = default;  // shapes refer to parts of the character
    PoseMaker& operator=(PoseMaker&&) = default;
    const Gait& gait() const { return m_character.gait; }
    // Adds the pose of a member, of no pieces where it lies beyond all pictures. `wide`: pixels to the right for one
    // upwards.
    void add(const View& view, const Lighting& lighting, float wide, Poses& poses) const;

  private:
    // Of a place: forwards, to the left and up; and along what its joint moves, which for a wing are the arm and the
    // hand, for a tail the two parts of its wave, for a leg its step.
    static constexpr int AXES = 5;
    using Weights = std::array<float, AXES>;
    struct Turn {  // of the loop about a pair of these axes
        int a, b;
        float area;
    };
    struct Shape {
        const Part* part;
        std::vector<Weights> places;
        std::vector<std::uint8_t> sharp;
        Weights mean, axis_from, axis_to;
        std::vector<Turn> turns;
    };
    struct Joints;
    struct Stance;
    class Poser;

    Weights weightsOf(const Part& part, const Point& point, float along) const;

    Character m_character;
    std::vector<Shape> m_shapes;
};

}  // namespace flock
