#include "host/check/trial.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace bundlecheck {

std::string unansweredAbort(double timeout) {
    std::ostringstream text;
    text << "does not answer an abort within " << patienceOf(timeout).answer << " s";
    return text.str();
}

Trial::Trial(const TrialSetup& setup, EffectFacts facts, const CaseId& id, Listener listener, double timeout)
    : m_setup(setup),
      m_facts(std::move(facts)),
      m_id(id),
      m_listener(std::move(listener)),
      m_random(hashOf(tokenOf(id))),
      m_timeout(timeout) {}

void Trial::step(const std::string& text) { m_listener.step(text); }

void Trial::finding(Level level, const std::string& text) {
    if (level > m_setup.strictness) return;
    ++m_findings;
    m_listener.finding(text);
}

void Trial::note(const std::string& text) {
    if (m_setup.strictness >= Robustness && m_listener.note) m_listener.note(text);
}

Trial::Clock::time_point Trial::beginRender(const std::string& what) {
    const auto after = [](Clock::time_point start, double seconds) {
        return start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    };
    const Patience patience = patienceOf(m_timeout);
    const Clock::time_point now = Clock::now(), end = after(m_start, patience.all);
    if (now >= end) throw GivenUp{};
    step(renderStep + what);
    return std::min(after(now, patience.render), end);
}

void Trial::endRender(Clock::time_point stopAt, bool told) {
    ++m_renders;
    const double late = std::chrono::duration<double>(Clock::now() - stopAt).count();
    if (late > patienceOf(m_timeout).answer) finding(Safety, unansweredAbort(m_timeout));
    if (told) throw GivenUp{};
}

void Trial::arm(ofxhost::Host& host, ofxhost::HostHooks hooks) const {
    if (m_listener.call) {
        hooks.beforeCall = [listener = m_listener.call,
                            inner = hooks.beforeCall](const ofxhost::SuiteCall& call) -> std::optional<OfxStatus> {
            const auto forced = inner ? inner(call) : std::nullopt;
            std::string line(call.name);
            if (!call.subject.empty()) line.append("(").append(call.subject).append(")");
            if (forced) line += " answered " + std::to_string(*forced) + " by the case";
            listener(line);
            return forced;
        };
    }
    host.setHooks(hooks);
}

}  // namespace bundlecheck
