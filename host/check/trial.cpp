#include "host/check/trial.h"

#include <algorithm>
#include <vector>

namespace bundlecheck {

Trial::Trial(const TrialSetup& setup, EffectFacts facts, const CaseId& id, Listener listener)
    : m_setup(setup),
      m_facts(std::move(facts)),
      m_id(id),
      m_listener(std::move(listener)),
      m_random(hashOf(tokenOf(id))) {}

void Trial::step(const std::string& text) { m_listener.step(text); }

void Trial::finding(Level level, const std::string& text) {
    if (level > m_setup.strictness) return;
    ++m_findings;
    m_listener.finding(text);
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
