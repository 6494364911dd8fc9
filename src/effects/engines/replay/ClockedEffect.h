// An effect with a simulation that is replayed: the road of a frame, the clock, and two generators of random numbers.
// What is simulated, particles or the grids of a solver, is the effect's own.
//
// A frame goes this way: background(); nothing more before the first frame. Then the clock runs the simulation up to
// the frame plus the pre-roll, and finish() draws what the last step collected.
//
// The clock asks readControls() for a fingerprint of all that steers steps, and calls begin(), advance() and state().
// Numbers that only drawing needs are drawn from drawRandom(), which is seeded for each frame: silent steps leave
// exactly the state that drawn ones leave.
//
// A host can deliver changes while a render runs. They only raise requests that the clock's next run takes.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

#include "Library2/PluginK7.h"
#include "effects/engines/replay/FrameClock.h"
#include "effects/engines/replay/FrameShape.h"
#include "noiselib/mtrandom.h"

// When a simulation runs, in frames.
struct SimulationTiming {
    int start = 0;               // the first frame; before it there is only the background
    int pre_roll = 0;            // steps before that frame
    bool animated = false;       // parameters are read at each replayed frame
    bool moving_inputs = false;  // steps read clips at their own frames: see readInputs
    double longest_replay = std::numeric_limits<double>::infinity();  // frames; see FrameClock::Request
};

template <class Info>
class ClockedEffect : public Effect<Info>, protected ClockedSimulation {
  public:
    static constexpr std::uint32_t SEED = 1234567;  // unless the effect has one of its own

    void ProcessFrame() final;
    void MarkRestart() override { m_clock.mark_restart(); }
    void ControlChanged(ControlK7&) override { m_clock.recheck(); }
    void ClipChanged() override { m_clock.refetch_inputs(); }

    const FrameClock& clock() const { return m_clock; }
    FrameClock& clock() { return m_clock; }

  protected:
    // ---- What an effect gives
    virtual SimulationTiming timing() const = 0;
    virtual std::uint64_t
    readControls() = 0;  // makes its records from the controls; a fingerprint of what steers steps
    virtual std::uint32_t seed() const { return SEED; }           // of the generators, from the controls
    virtual std::uint64_t steeringPictures() const { return 0; }  // fingerprint of this render's pictures that steer
    virtual void background() {}
    virtual void begin() = 0;                  // the state before the first frame
    virtual bool advance() = 0;                // one step; false: ended early
    virtual void state(StateWalk& walk) = 0;   // names the parts of the state, the generator of the frames aside
    virtual void finish(K7Image& result) = 0;  // draws the frame after its step
    virtual void tooFar(K7Image&) {}           // instead, where the replay would be too long

    // ---- What it finds
    const FrameShape& frame() const { return m_frame; }
    int stepFrame() const { return m_step_frame; }  // the frame being stepped
    bool silent() const { return m_silent; }        // without drawing
    MTRandom& random() { return m_random; }         // of the frames: part of the state
    MTRandom& drawRandom() { return m_draw_random; }

    // A clip as it is at a frame of the simulation, float RGBA of the result's size. For the drawn frame, and for a
    // clip that is not connected, that is this render's picture; others are fetched from the host, into `fetched`.
    // Null: the host refuses it.
    const K7Image* pictureAt(ClipRecord& clip, int frame_number, ImagePtr& fetched);

  private:
    std::uint64_t readParameters(int frame_number) final;
    void restart() final {
        m_random = MTRandom(seed());
        begin();
    }
    bool step(int frame_number, bool silent) final {
        m_step_frame = frame_number;
        m_silent = silent;
        m_draw_random = MTRandom(seed() + static_cast<std::uint32_t>(frame_number));
        return advance();
    }
    void walkState(StateWalk& walk) final {
        walk.value(m_random);
        state(walk);
    }
    bool wantsAbort() const final { return this->abortRequested() != 0; }

    FrameShape m_frame{K7Image{}};
    int m_target = 0;  // of this render
    int m_step_frame = 0;
    bool m_silent = false;
    bool m_parameters_moved = false;  // the controls are those of another frame
    MTRandom m_random{SEED}, m_draw_random{SEED};
    FrameClock m_clock;
};

template <class Info>
void ClockedEffect<Info>::ProcessFrame() {
    K7Image* result = this->output.image.get();
    constexpr int LONGEST_PRE_ROLL = 999999;
    const int frame_number = static_cast<int>(std::floor(this->currentFrame));
    background();
    const SimulationTiming when = timing();
    if (frame_number < when.start) return;

    m_frame = FrameShape(*result);
    m_target = frame_number + std::clamp(when.pre_roll, 0, LONGEST_PRE_ROLL);
    m_parameters_moved = false;
    const bool drawn = m_clock.run(*this, {.start = when.start,
                                           .target = m_target,
                                           .shown = frame_number,
                                           .animated = when.animated,
                                           .moving_inputs = when.moving_inputs,
                                           .shape = fingerprint(&m_frame, sizeof m_frame),
                                           .inputs = steeringPictures(),
                                           .longest_replay = when.longest_replay});
    if (drawn) finish(*result);
    if (m_clock.was_too_far()) tooFar(*result);
    if (m_parameters_moved) this->fetchParametersAt(this->currentFrame);
}

// Frames of the simulation run ahead of the host's by the pre-roll; parameters are those that the host shows then.
template <class Info>
std::uint64_t ClockedEffect<Info>::readParameters(int frame_number) {
    if (frame_number != m_target || m_parameters_moved) {
        this->fetchParametersAt(this->currentFrame + (frame_number - m_target));
        m_parameters_moved = frame_number != m_target;
    }
    return fingerprint(readControls(), seed());
}

template <class Info>
const K7Image* ClockedEffect<Info>::pictureAt(ClipRecord& clip, int frame_number, ImagePtr& fetched) {
    fetched.reset();
    const bool connected = clipProperties(clip.handle()).intOr(ofx::prop::ClipConnected, 0) != 0;
    if (frame_number == m_target || !connected) return clip.image.get();
    const K7Image* like = this->output.image.get();
    fetched = made(make_image_uncleared(like->width, like->height, 4, SAMPLE_F32));
    if (!clip.GetFrame(this->currentFrame + (frame_number - m_target), fetched.get())) fetched.reset();
    return fetched.get();
}
