// Particles that live for a limited number of frames, at any frame.
//
// What lives at a frame was born in the last `life` frames. So no replay reaches farther back, and a frame is the same
// whatever was rendered before it. Some states are kept, each with what made it: going on from the latest that still
// holds gives the bits of a replay.
#pragma once

#include <functional>
#include <map>
#include <memory>

#include "effects/trails/TrailBirths.h"

// What happens in one frame.
struct TrailStep {
    TrailSettings settings;
    std::uint64_t print = 0;   // of the settings and all that follows
    float camera[2] = {0, 0};  // how far the scene has moved since the frame before, pixel widths
    std::vector<TrailPoint> births;
};

class TrailFlight {
  public:
    // A frame's step; null: the render ends. It stays until at() returns.
    using StepOf = std::function<const TrailStep*(int frame)>;

    void forget() { m_states.clear(); }
    // The particles of a frame, none born before `earliest`. Null: the render ends.
    const std::vector<TrailPoint>* at(int frame, int life, int earliest, const StepOf& step_of,
                                      const StopRequested& stop);

  private:
    struct State {
        int from = 0;  // the first frame whose births it has
        std::vector<TrailPoint> points;
        std::vector<std::uint64_t> prints;  // of its last steps, the latest last
    };
    bool holds(const State& state, int frame, int first, const std::vector<const TrailStep*>& steps) const;
    void step(int frame, const TrailStep& now, State& state);
    void keep(int frame, int life, const State& state);
    void thinOut(int frame);

    std::map<int, State> m_states;
    std::unique_ptr<SolidNoise> m_noise;
    std::uint32_t m_noise_seed = 0;
};
