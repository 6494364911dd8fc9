// The clock of all simulations that are replayed: frame n is the same picture whatever was rendered before it.
//
// A frame's state is what the silent steps of all frames from the first one leave; the frame is then stepped once more
// while it is drawn, which leaves the state of the next one. So the clock
// - continues, when the wanted frame follows the last one;
// - otherwise goes back to the latest earlier state that it kept, or to the beginning, and steps silently from there.
// States are kept at a few earlier frames, close together near the present and ever farther apart before it, as long
// as they fit the memory budget. Each carries a fingerprint of everything that steered its steps, so that it is only
// ever used where stepping from the beginning would give the same bits.
//
// What restarts: another size, first frame or animation mode (the request's `shape`), mark_restart() (a preset, a
// button), and a parameter that was changed by hand. A parameter that merely moves along its curve does not, as long as
// frames come in order: the parameters of the last frame are read again to tell the two apart.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// What a clock drives: an effect's particles, generators and parameters.
class ClockedSimulation {
  public:
    virtual ~ClockedSimulation() = default;

    // Makes the parameters those of a frame, and answers a fingerprint of the ones that steer steps. Drawing ones are
    // left out, so that they change without a replay.
    virtual std::uint64_t readParameters(int frame) = 0;
    virtual void restart() = 0;                     // the state before the first frame
    virtual bool step(int frame, bool silent) = 0;  // false: ended early, and the state is no frame's
    virtual std::size_t stateBytes() const = 0;
    virtual void saveState(std::byte* to) const = 0;
    virtual bool restoreState(const std::byte* from) = 0;
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
        int start = 0;             // the first frame of the simulation
        int target = 0;            // the frame to draw, start or later
        bool animated = false;     // parameters are read at each replayed frame, not once
        std::uint64_t shape = 0;   // fingerprint of what every state depends on, such as the picture's size
        std::uint64_t inputs = 0;  // fingerprint of the pictures that steer steps, as far as they are known
    };

    // Steps to the target and draws it. False: the host wanted the render to end, or there was no memory.
    bool run(ClockedSimulation& simulation, const Request& request);
    // The next run starts from the beginning.
    void mark_restart();
    // Somebody changed something, perhaps a parameter's past: the next run goes on only from states whose history shows
    // that it may.
    void recheck() { m_trusted = false; }

    void set_budget(std::size_t bytes) { m_budget = bytes; }  // for kept states; 0: none are kept
    std::size_t kept_bytes() const;
    int kept_states() const { return static_cast<int>(m_kept.size()); }
    int steps_taken() const { return m_steps; }  // by the last run, the drawn one included

  private:
    struct Kept {
        int frame;
        std::uint64_t history;
        std::size_t bytes, capacity;
        std::unique_ptr<std::byte[]> state;
    };

    bool continues(ClockedSimulation& simulation, const Request& request, std::uint64_t parameters) const;
    std::uint64_t historyAt(int frame) const;
    bool readHistory(ClockedSimulation& simulation, const Request& request, std::uint64_t parameters);
    void goBack(ClockedSimulation& simulation, const Request& request);
    bool stepSilently(ClockedSimulation& simulation, const Request& request);
    void keep(const ClockedSimulation& simulation, int target);
    bool worthKeeping(int frame, int target) const;
    void thinOut(std::size_t bytes, int target);

    // The state that the simulation object is in
    bool m_live = false;
    int m_next = 0;                  // the frame it is the state of
    std::uint64_t m_parameters = 0;  // of the last drawn step
    std::uint64_t m_history = 0;     // of all steps so far
    bool m_pure = false;             // the history is that of a replay
    bool m_trusted = true;

    Request m_last;
    std::vector<std::uint64_t> m_histories;  // wanted before each frame, from the first one on; one for all frames
                                             // where parameters are read once
    std::vector<Kept> m_kept;                // by frame
    std::unique_ptr<std::byte[]> m_spare;    // memory of a state that was dropped
    std::size_t m_spare_bytes = 0;
    std::size_t m_budget = std::size_t(96) << 20;
    int m_steps = 0;
};
