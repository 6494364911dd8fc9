// What a child process is asked to do, as text that can be handed to another program.
#pragma once

#include <string>
#include <vector>

#include "host/check/child_process.h"
#include "host/check/trial.h"

namespace bundlecheck {

struct Task {
    enum class Kind : int {
        Names,   // of all effects
        Device,  // whether there is one: a text if so
        Facts,   // of some effects, a text each
        Case,
    };
    Kind kind = Kind::Names;
    std::vector<std::string> effects;  // for Facts
    bool device = false;               // for Facts: there is one
    CaseId id;                         // of a case
    EffectFacts facts;                 // of its effect
    double timeout = 20.0;
};

// In a forked process, or in the setup's program.
ChildProcess::Work workFor(const TrialSetup& setup, const Task& task);

// What such a program does, with the text that it finds on its standard input.
// It brings what a setup can't tell in a text.
[[noreturn]] void answerTask(const std::string& text, TrialSetup setup, int pipe);

}  // namespace bundlecheck
