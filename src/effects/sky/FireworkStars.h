// The stars of firework shells and the light of their ways: what shells are made of. See FireworkShow.h for lengths and
// times.
#pragma once

#include <cstdint>
#include <vector>

#include "effects/sky/FireworkShow.h"
#include "noiselib/place_hash.h"

inline constexpr float FIREWORK_GRAVITY = 0.24F;     // radii of a burst a second squared, so that all sizes fall alike
inline constexpr double FIREWORK_STEP = 1.0 / 20.0;  // seconds between the corners of a way

// The chances of a shell or a star, each a number of its own.
namespace firework {
enum Choice : std::uint32_t {
    DIRECTION = 101,
    ROLL,
    TILT,
    LIFE,
    LIGHT,
    COLOUR,
    SECOND,
    TURNS,
    PISTIL,
    SPEED,
    GLITTER,
    TWINKLE,
    SIDE,
    UP,
    BLINK,
    METAL,
    PUFF
};
inline float chance(std::uint32_t word, Choice kind) { return unit_of(place_hash(word, kind)); }
inline float spread(std::uint32_t word, Choice kind) { return signed_of(place_hash(word, kind)); }
}  // namespace firework

// ---- Colours --------------------------------------------------------------------------------------------------

struct StarColour {
    float c[3];
};
StarColour mixed(const StarColour& a, const StarColour& b, float part);

inline constexpr StarColour GOLD{{1.0F, 0.56F, 0.16F}}, SILVER{{0.86F, 0.92F, 1.0F}}, WHITE_HOT{{1.0F, 0.93F, 0.80F}},
    ASH_RED{{1.0F, 0.22F, 0.04F}}, STRONTIUM_RED{{1.0F, 0.10F, 0.06F}}, PINK{{1.0F, 0.20F, 0.52F}};

// A colour of the look's palette; `which` from 0 to 1.
StarColour star_colour(const FireworkLook& look, float which);
// Of sparks: silver of titanium where `which` is low, gold of charcoal and iron.
StarColour spark_colour(const FireworkLook& look, float which);

// ---- Stars ----------------------------------------------------------------------------------------------------

struct FireworkStar {
    float x, y, vx, vy;
    float life, light;
    std::uint32_t word;
};

// What the stars of a group have in common.
struct StarGroup {
    double birth = 0;
    float drag = 2, fall = FIREWORK_GRAVITY;  // fall: gravity over the radius of a burst
    float fade_from = 0.6F;                   // part of the life from which on a star fades
    float tail = 0;                           // seconds
    float tail_light = 0, glitter = 0;
    float size = 1;
    bool blinks = false, hot = true, rocket = false;
    float head = 1;  // light of the star itself
    StarColour colour{}, later{}, sparks{};
};

// The way A(t), and the time in which the air carries, at an age.
struct StarWay {
    float out, carried;
};
StarWay star_way(float drag, double age);
// A rocket rises to its highest point within its life, of which `part` is over: a throw without drag.
StarWay rocket_way(double part);

// Turns stars into strokes, as a camera sees them whose shutter closes at `now`.
class StarPainter {
  public:
    StarPainter(const FireworkLook& look, double now, FireworkLight& light);

    void group(const StarGroup& group, const std::vector<FireworkStar>& stars);
    void stroke(FireworkPlace a, FireworkPlace b, float radius, const StarColour& colour, float light);

    // Of a star as bright as the look says, a whole `still` long.
    float star_light() const { return m_look.brightness * m_look.star_radius * m_look.star_radius * 0.66F; }
    double now() const { return m_now; }
    double since() const { return m_since; }  // when the shutter opened
    double still() const { return m_still; }

  private:
    struct Moment {
        double age;
        StarWay way;
    };
    struct Ember {
        Moment from, to;
        float light, sunk_from, sunk_to, age;
    };
    StarWay way(const StarGroup& group, float drag, double age, float life) const;
    FireworkPlace place(const FireworkStar& star, const StarWay& way, float fall) const;
    float glow(const StarGroup& group, const FireworkStar& star, float age) const;
    void heads(const StarGroup& group, const std::vector<FireworkStar>& stars, float longest, float drag, float fall);
    int embers(const StarGroup& group, float longest, float drag, std::vector<Ember>& found) const;
    void tails(const StarGroup& group, const std::vector<FireworkStar>& stars, float longest, float drag, float fall);

    const FireworkLook& m_look;
    double m_now, m_since, m_still;
    FireworkLight& m_light;
};
