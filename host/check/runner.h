// Runs cases in child processes, several at a time, and collects what they find.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/check/child_process.h"
#include "host/check/schedule.h"

namespace bundlecheck {

struct RunOptions {
    TrialSetup setup;
    std::vector<std::string> effects;          // names; empty: all
    std::vector<const Invariant*> invariants;  // empty: all
    std::uint32_t seed = 1;
    int jobs = 1;
    double budget = 0.0;  // seconds; 0: every case once. With time left, seeded cases run on with other seeds.
    Limits limits;
};

struct Finding {
    CaseId id;
    std::string text;    // one line
    std::string output;  // what the process wrote, where it died
};

struct Tally {
    long cases = 0, renders = 0, findings = 0;
    long givenUp = 0;  // of the cases, because a render took too long
    Tally& operator+=(const Tally& other) {
        cases += other.cases, renders += other.renders, findings += other.findings;
        givenUp += other.givenUp;
        return *this;
    }
};

struct RunResult {
    std::vector<std::string> effects;  // that were checked
    std::vector<const Invariant*> invariants;
    std::map<std::pair<std::string, std::string>, Tally> tallies;  // by effect and invariant
    std::vector<Finding> findings;
    std::map<std::string, std::string> notes;  // each once: text, and the effect that it was first told of
    double seconds = 0.0;
    bool complete = false;  // every case ran at least once
    bool device = false;    // there is one for renders

    Tally total() const;
    Tally ofEffect(const std::string& effect) const;
    Tally ofInvariant(const std::string& invariant) const;
};

struct RunEvents {
    std::function<void(const Finding&)> finding;
    std::function<void(const std::string& effect, const std::string& text)> note;  // each text once; may be empty
    std::function<void(const RunResult& soFar, std::size_t planned)> progress;
    std::function<bool()> stop;
};

// What exploring has found: the effects' facts, and findings where an effect's description kills the process.
struct Exploration {
    std::vector<EffectFacts> effects;  // the bundle as a whole among them, first
    std::vector<Finding> findings;
    bool device = false;  // there is one for renders; only a process of its own can tell
};

// Throws std::runtime_error when the bundle can't even tell its effects.
std::vector<std::string> listEffects(const TrialSetup& setup, const Limits& limits);
Exploration explore(const RunOptions& options);
RunResult run(const RunOptions& options, const RunEvents& events);

}  // namespace bundlecheck
