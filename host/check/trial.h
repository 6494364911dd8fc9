// One case while it runs: what it may use, and where it says what it does and what it found.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "host/check/facts.h"
#include "host/check/random.h"
#include "host/check/token.h"
#include "host/core/host.h"

namespace bundlecheck {

// How much a fault matters. A finding above the strictness asked for is not reported.
enum Level : int {
    Safety = 1,       // the host dies or hangs, memory is damaged
    Interface = 2,    // a rule of the interface is broken, something is not given back
    Determinism = 3,  // the same frame is not always the same picture
    Robustness = 4,   // doubtful accesses, growth, values that no picture should hold
    Quality = 5,      // worse than it could be, though any host lives with it
};

// What a case can do with OpenGL drawing: run a function while a drawing surface of that size is current. Empty where
// the program has none.
using WithCanvas = std::function<void(int width, int height, const std::function<void()>& draw)>;

// A device for renders on it, of the calling process, and what makes the plug-in's own calls to it fail: all from that
// call on, counted from 1; to be said before the library is loaded. Where `fail` is empty they can't be made to.
struct DeviceAccess {
    std::function<std::shared_ptr<ofxhost::RenderDevice>()> open;  // empty: the program knows no devices
    std::function<void(int call)> fail;
};

// Slow is not hung: a render that takes long is told to stop, and only one that then goes on is a finding. Seconds, of
// the time after which the case would be killed.
struct Patience {
    double render;  // one render has, then it is told to stop
    double all;     // the renders of a case have together
    double answer;  // from being told to having stopped
};
inline Patience patienceOf(double timeout) {
    return {std::min(timeout / 3.0, 10.0), timeout * 2.0 / 3.0, timeout / 4.0};
}
std::string unansweredAbort(double timeout);  // the finding

inline constexpr char renderStep[] = "render ";  // begins the words for the step in which an effect renders

struct GivenUp {};  // thrown out of a case whose render has been told to stop: there is nothing to compare

struct TrialSetup {
    std::filesystem::path bundle;
    int strictness = Quality;
    WithCanvas withCanvas;
    DeviceAccess device;
    // Where set, cases run in this program, started anew for each, which answers tasks; else in forked processes.
    std::filesystem::path program;
};

class Trial {
  public:
    struct Listener {
        std::function<void(const std::string&)> step, finding;
        std::function<void(const std::string&)> note;  // may be empty
        std::function<void(const std::string&)> call;  // each suite call; may be empty
    };

    using Clock = std::chrono::steady_clock;

    Trial(const TrialSetup& setup, EffectFacts facts, const CaseId& id, Listener listener, double timeout);

    const TrialSetup& setup() const { return m_setup; }
    const EffectFacts& facts() const { return m_facts; }
    const CaseId& id() const { return m_id; }
    int index() const { return m_id.index; }
    Random& random() { return m_random; }

    // What comes next, in words: it stands in the finding when the process dies of it.
    void step(const std::string& text);
    void finding(Level level, const std::string& text);
    // What is worth a line from the strictness of Robustness on, and no finding.
    void note(const std::string& text);
    bool require(bool holds, Level level, const std::string& text) {
        if (!holds) finding(level, text);
        return holds;
    }
    int findings() const { return m_findings; }

    // Arms the hooks; with a listener for calls, they are told as well.
    void arm(ofxhost::Host& host, ofxhost::HostHooks hooks) const;

    // Around each render. Both throw GivenUp; the first answers when the render is to be told to stop.
    Clock::time_point beginRender(const std::string& what);
    void endRender(Clock::time_point stopAt, bool told);
    int renders() const { return m_renders; }

  private:
    const TrialSetup& m_setup;
    EffectFacts m_facts;
    CaseId m_id;
    Listener m_listener;
    Random m_random;
    double m_timeout;
    Clock::time_point m_start = Clock::now();
    std::atomic<int> m_findings{0}, m_renders{0};  // some cases render on threads of their own
};

}  // namespace bundlecheck
