// The clock of all simulations that are replayed: frame n is the same picture whatever was rendered before it.
//
// A frame's state is what the silent steps of all frames from the first one leave. The frame is then stepped once more
// while it is drawn, which leaves the state of the next one. So the clock
// - continues, when the wanted frame follows the last one, in the simulation and on the host's screen;
// - otherwise goes back to the latest earlier state that it kept, or to the beginning, and steps silently from there.
// States are kept at a few earlier frames, close together near the present and ever farther apart before it, as long
// as they fit the memory budget. Each carries a fingerprint of everything that steered its steps, so that it is only
// used where stepping from the beginning would give the same bits.
//
// What restarts: another size, first frame or animation mode (the request's `shape`), mark_restart() (a preset, a
// button), and a parameter that was changed by hand. A parameter that moves along its curve does not, as long as frames
// come in order: the parameters of the last frame are read again to tell the two apart. Unless the request is animated,
// such a sequence shows what a frame alone can't show, whose steps all have the parameters of that frame.
//
// Moving pictures that steer steps are fetched for every step. Their fingerprints are remembered by frame, so that a
// kept state can be used without fetching all frames before it once more. Where a frame's picture turns out to have
// changed, all of them are forgotten.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "effects/engines/replay/StateWalk.h"

// What a clock drives: an effect's particles or grids, generators and parameters.
class ClockedSimulation {
  public:
    virtual ~ClockedSimulation() = default;

    // Makes the parameters those of a frame, and answers a fingerprint of the ones that steer steps. Drawing ones are
    // left out, so that they change without a replay.
    virtual std::uint64_t readParameters(int frame) = 0;
    // Makes the moving pictures those of a frame, and gives their fingerprint; asked before each step of a request with
    // moving inputs. False: the host does not give them, and the run ends.
    virtual bool readInputs(int /*frame*/, std::uint64_t* /*fingerprint*/) { return true; }
    virtual void restart() = 0;                     // the state before the first frame
    virtual bool step(int frame, bool silent) = 0;  // false: ended early, and the state is no frame's
    virtual void walkState(StateWalk& walk) = 0;    // names the parts of the state
    virtual bool wantsAbort() const = 0;
};

// A fingerprint of bytes, to be continued.
inline constexpr std::uint64_t FINGERPRINT_SEED = 0x9E3779B97F4A7C15ULL;
std::uint64_t fingerprint(const void* data, std::size_t bytes, std::uint64_t before = FINGERPRINT_SEED);
inline std::uint64_t fingerprint(std::uint64_t value, std::uint64_t before) {
    return fingerprint(&value, sizeof value, before);
}

class FrameClock {
  public:
    struct Request {
        int start = 0;               // the first frame of the simulation
        int target = 0;              // the frame to draw, start or later
        int shown = 0;               // the host's number of that frame; a pre-roll lies between the two
        bool animated = false;       // parameters are read at each replayed frame, not once
        bool moving_inputs = false;  // readInputs is asked before each step
        std::uint64_t shape = 0;     // fingerprint of what every state depends on, such as the picture's size
        std::uint64_t inputs = 0;    // fingerprint of pictures that steer steps as they are at the drawn frame
        // Frames up to this one are replayed from the beginning, later ones only where a kept state is no more frames
        // before them. The simulation's first frame is never refused.
        double longest_replay = std::numeric_limits<double>::infinity();
    };

    // Steps to the target and draws it. False: the host wanted the render to end or refused an input, or the replay is
    // too long. What a step throws passes through; the next run begins at a kept state or at the first frame.
    bool run(ClockedSimulation& simulation, const Request& request);

    // From any thread, also while a run goes on; the next run does what was asked for.
    void mark_restart() { m_requests |= RESTART; }  // start from the beginning
    void recheck() {
        m_requests |= RECHECK;
    }  // something changed, perhaps earlier on a parameter's curve: go on
       // only from states whose history shows that it may
    void refetch_inputs() { m_requests |= REFETCH; }  // a clip was changed: what was known of its frames is void

    void set_budget(std::size_t bytes) { m_budget = bytes; }  // for kept states; 0: none are kept
    std::size_t kept_bytes() const;
    int kept_states() const { return static_cast<int>(m_kept.size()); }
    bool was_too_far() const { return m_too_far; }  // the last run, to be replayed
    int steps_taken() const { return m_steps; }     // by the last run, the drawn one included

  private:
    enum Asked : unsigned { RESTART = 1, RECHECK = 2, REFETCH = 4 };
    struct Kept {
        int frame;
        std::uint64_t history;
        std::size_t bytes, capacity;
        std::unique_ptr<std::byte[]> state;
    };

    void takeRequests(const Request& request);
    void forgetStates();
    bool continues(ClockedSimulation& simulation, std::uint64_t parameters) const;
    bool readTargetInputs(ClockedSimulation& simulation);
    bool readInputsOf(ClockedSimulation& simulation, int frame);
    bool readHistory(ClockedSimulation& simulation, std::uint64_t parameters);
    std::uint64_t historyAfter(int frame, std::uint64_t parameters, std::uint64_t before) const;
    bool fits(int frame, std::uint64_t history) const;
    bool goBack(ClockedSimulation& simulation);
    bool isTooFar(std::optional<int> from) const;
    bool stepSilently(ClockedSimulation& simulation);
    bool drawTarget(ClockedSimulation& simulation);
    void keep(ClockedSimulation& simulation);
    bool worthKeeping(int frame) const;
    void thinOut(std::size_t bytes);
    int hostFrame(int frame) const { return frame - m_request.target + m_request.shown; }
    bool historyGrows() const { return m_request.animated || m_request.moving_inputs; }

    std::atomic<unsigned> m_requests = 0;

    // The state that the simulation object is in
    bool m_live = false;
    int m_next = 0;                  // the frame it is the state of
    std::uint64_t m_parameters = 0;  // of the latest step
    std::uint64_t m_base = 0;        // of parameters and still pictures, where they are read once
    std::uint64_t m_history = 0;     // of all steps so far
    bool m_pure = false;             // the history is that of a replay
    bool m_trusted = true;
    bool m_drawn = false;  // the latest step was drawn,
    int m_shown = 0;       // as the host's frame of this number

    Request m_request;
    std::vector<std::uint64_t> m_histories;           // wanted before each frame, from the first one on, as far as the
                                                      // inputs are known; one for all frames where it does not grow
    std::unordered_map<int, std::uint64_t> m_inputs;  // fingerprints of moving inputs, by frame
    int m_inputs_read = 0;                            // the frame whose inputs the simulation holds,
    bool m_holds_inputs = false;                      // if it holds any
    std::vector<Kept> m_kept;                         // by frame
    std::unique_ptr<std::byte[]> m_spare;             // memory of a state that was dropped
    std::size_t m_spare_bytes = 0;
    std::size_t m_budget = std::size_t(96) << 20;
    bool m_too_far = false;
    int m_steps = 0;
};
