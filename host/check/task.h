// What a child process is asked to do, as text that can be handed to another program.
#pragma once

#include <string>
#include <vector>

#include "host/check/child_process.h"
#include "host/check/trial.h"

namespace bundlecheck {

struct Task {
    enum class Kind : int {
        Names,  // of all effects
        Facts,  // of some effects, a text each
        Case,
    };
    Kind kind = Kind::Names;
    std::vector<std::string> effects;  // for Facts
    CaseId id;                         // of a case
    EffectFacts facts;                 // of its effect
    double timeout = 20.0;
};

// In a forked process, or in the setup's program.
ChildProcess::Work workFor(const TrialSetup& setup, const Task& task);

// What such a program does, with the text that it finds on its standard input.
[[noreturn]] void answerTask(const std::string& text, const WithCanvas& withCanvas, int pipe);

}  // namespace bundlecheck
