// When each piece of a picture leaves for its flight, or arrives from it: the controls, and the answer for a place.
//
// Pieces leave in turn, by a wipe, by their distance from a point, at random or by a matte. A piece's time is a
// function of its place and nothing else, so every frame follows from itself.
//
// Places and lengths are in widths of the picture, from its middle, x to the right and y upwards.
#pragma once

#include "Library2/PluginK7.h"
#include "noiselib/solidnoise.h"

class Departures {
  public:
    enum Orders { Wipe = 1, Random = 2, FromCentre = 3, ToCentre = 4 };
    enum MatteUses { BrightFirst = 1, DarkFirst = 2, OnlyBright = 3 };

    struct Settings {
        bool arrive = false;      // flights run backwards, and end at rest
        double now = 0;           // frames since the first piece may leave
        double duration = 60;     // frames between the first piece and the last
        double flight_time = 60;  // frames that a flight lasts
        int order = Wipe;
        float direction_x = 1, direction_y = 0;  // of the wipe, of unit length
        float centre_x = 0, centre_y = 0;
        float ragged = 0;   // share of chance
        int matte_use = 0;  // 0: there is no matte
        float matte_mix = 1;
        float tallness = 1;  // height of the picture
        std::uint32_t seed = 1;
    };
    explicit Departures(const Settings& settings);

    // A piece's turn, from 0 for the first to 1 for the last; below 0 for one that stays. `word` is its own random one
    // and `matte` the matte's luminance there.
    float turn(float x, float y, std::uint32_t word, float matte) const;
    // What of a turn is smooth, for those who work out many: the order alone, 0 where it is chance that decides, and
    // the clumps that a ragged order leaves in, about 0 to 1.
    float order(float x, float y) const;
    float clump(float x, float y) const;
    static constexpr float SOFT_MATTE = 0.8F;  // of the matte's range chance decides which pieces fly
    // Frames that it is away from rest; 0 and less: it is at rest. `later`: frames from now.
    double age(float turn, double later = 0) const {
        const double left = m_set.now + later - double(turn) * m_set.duration;
        return m_set.arrive ? m_set.flight_time - left : left;
    }
    bool gone(double age) const { return age >= m_set.flight_time; }
    // Where pieces at a place are headed for when they tip over: the way that the order runs.
    void heading(float x, float y, float& to_x, float& to_y) const;
    const Settings& settings() const { return m_set; }

  private:
    Settings m_set;
    SolidNoise m_noise;
    float m_low = 0, m_range = 1;  // of the wipe; of distances
};

// The controls of all that, on a page of their own.
struct DepartureControls {
    struct Given {
        const char* piece = "tile";  // what flies, one and many
        const char* pieces = "tiles";
        const char* matte = "2D Matte";  // the clip's label
        double duration = 60.0;
    };
    DepartureControls(EffectInfo* owner, const Given& given);

    enum Modes { FlyAway = 1, Assemble = 2 };
    enum Timings { ByFrames = 1, ByProgress = 2 };

    ListControlK7 Mode;
    ListControlK7 Timing;
    IntegerControlK7 StartAt;
    FloatControlK7 Progress;
    FloatControlK7 Duration;
    FloatControlK7 FlightTime;
    ListControlK7 Order;
    AngleControlK7 WipeAngle;
    PositionControlK7 Centre;
    FloatControlK7 Ragged;
    ListControlK7 MatteUse;
    FloatControlK7 MatteMix;

    // At a frame, counted from the first one of the clip.
    Departures departures(double frame, float tallness, bool matte, std::uint32_t seed) const;
    float centre_x() const { return static_cast<float>(Centre.x) - 0.5F; }
    float centre_y(float tallness) const { return (static_cast<float>(Centre.y) - 0.5F) * tallness; }
};
