// The characters of Q_Flock as small models in space, from which outlines are made in any pose.
//
// x points forwards, y to the left and z up; the largest extent of a character, wing tip to wing tip or nose to tail,
// is about 1. A model is a list of parts: flat outlines, ellipsoids and limbs. These hang on joints that beat, sway and
// step.
#pragma once

#include <array>
#include <vector>

namespace flock {

enum class Kind : int { Starling = 1, Goose, Bat, Fish, Bee, PaperPlane, Beetle, Ant };
inline constexpr int KINDS = 8;

enum class Form { Outline, Ellipsoid, Limb };
// What moves a part: nothing, a wing's beat, the wave along a fish, or a leg's step.
enum class Joint { Body, Wing, Sway, Leg };
// Own colours follow the controls, from the main one to the markings; the others are of the kind.
enum class Paint { Own, Black, Horn, Glass, Gloss, White };

struct Point {
    float x, y, z;
    bool corner = false;                 // of an outline: a point, where other places are rounded
    float lag_cosine = 1, lag_sine = 0;  // of the wave along the body; make_character() sets them
};

// A colour along a part, from one end of its axis to the other.
struct Shade {
    float marks;  // 0 is the main colour, 1 that of the markings
    float tone;   // factor of its brightness
};

struct Part {
    Form form;
    Joint joint;
    Paint paint;
    std::vector<Point> points;  // outline; a limb's line; an ellipsoid's centre and radii
    Shade from{0, 1}, to{0, 1};
    Point axis_from{0, 0, 0}, axis_to{0, 0, 0};  // outlines only; ellipsoids are shaded towards the light
    bool on_skin = false;                        // seen while the side that it lies on faces the eye
    bool pair = false;                           // stands on the right side too
    float smallest = 0, largest = 1e9F;          // pixels of the character from and below which it is drawn
    float bias = 0;                              // how much nearer to the eye it counts when parts are ordered
    float thickness = 0, thin = 0;               // of a limb, at its root and its end
    float opacity = 1;
    int leg = 0;  // 0 to 2, front to rear
};

// How it moves. Angles in radians.
struct Gait {
    float beats = 0;                   // wing beats, strokes of the tail or double steps a frame, at 25 frames a second
    float beat = 0, middle = 0;        // of the arm: amplitude, and the angle about which it beats
    float hand = 0, lag = 0;           // amplitude of the hand against the arm, and how far it is behind
    float fold = 0;                    // how far the hand is drawn back as it rises
    float shoulder = 0, wrist = 0.2F;  // where the wing begins, and how far from there it bends
    float spread = 0.1F;               // angle of the arm while gliding
    float bob = 0;                     // how far the body rises against the wings
    float sway = 0, wave = 5;          // amplitude of the tail, radians of the wave along a length
    float step = 0;                    // how far feet go
    bool with_speed = false;           // beats follow the speed
    bool walks = false;                // may stand still
    bool blurred = false;              // beats too fast to be followed: phases are random
};

struct Character {
    Gait gait;
    std::vector<Part> parts;
};

Character make_character(Kind kind);

}  // namespace flock
