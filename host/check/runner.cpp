#include "host/check/runner.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <stdexcept>

#include "host/check/task.h"

namespace bundlecheck {

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// The line of a text that holds a word, from there on.
std::string lineWith(const std::string& text, const char* word) {
    const std::size_t at = text.find(word);
    if (at == std::string::npos) return {};
    return text.substr(at, std::min(text.find('\n', at), text.size()) - at);
}

// What a sanitizer or the fault handler says in one line.
std::string reasonIn(const std::string& output) {
    for (const char* word : {"runtime error: ", "SUMMARY: ", "WARNING: ThreadSanitizer", "ERROR: AddressSanitizer"})
        if (std::string line = lineWith(output, word); !line.empty()) return line;
    std::string fault = lineWith(output, "FAULT ");
    if (fault.empty()) return {};
    fault.erase(0, std::string("FAULT ").size());
    for (const std::string_view end : {"calls:", "; "})
        if (fault.ends_with(end)) fault.resize(fault.size() - end.size());
    return fault;
}

struct RunningCase {
    ScheduledCase what;
    std::unique_ptr<ChildProcess> process;
};

// A render that is still under way when the process is killed has been told to stop long before.
std::string deathOf(const ChildProcess& process, ChildProcess::End end, double timeout) {
    const bool renders = process.lastStep().starts_with(renderStep);
    return end == ChildProcess::End::TimedOut && renders ? unansweredAbort(timeout) : process.deathText();
}

std::vector<Finding> findingsOf(const RunningCase& ended, ChildProcess::End end, double timeout) {
    std::vector<Finding> found;
    const ChildProcess& process = *ended.process;
    for (const Message& message : process.messages())
        if (message.kind == MessageKind::Finding) found.push_back({ended.what.id, message.text, {}});
    const std::string output = process.output(), reason = reasonIn(output);
    if (end != ChildProcess::End::Finished) {
        std::string text = deathOf(process, end, timeout);
        if (!reason.empty()) text += ": " + reason;
        found.push_back({ended.what.id, text + "; at: " + process.lastStep(), output});
    } else if (!reason.empty() && output.find("Sanitizer") != std::string::npos) {
        found.push_back({ended.what.id, reason, output});
    }
    return found;
}

struct Answer {
    std::vector<std::string> texts;
    std::string error;  // of a process that died, maybe after some of the texts
};

// A question to the bundle that it may die of.
Answer askInChild(const TrialSetup& setup, const Task& question, const Limits& limits) {
    ChildProcess process(workFor(setup, question), limits);
    ChildProcess::End end;
    while ((end = process.advance()) == ChildProcess::End::Running) waitForAny({&process}, 0.2);
    Answer answer;
    for (const Message& message : process.messages())
        if (message.kind == MessageKind::Text) answer.texts.push_back(message.text);
    if (end == ChildProcess::End::Finished) return answer;
    answer.error = process.deathText();
    if (const std::string reason = reasonIn(process.output()); !reason.empty()) answer.error += ": " + reason;
    if (process.lastStep().starts_with("exception: ")) answer.error = process.lastStep().substr(11);
    return answer;
}

Answer askForFacts(const RunOptions& options, const std::vector<std::string>& names, bool device) {
    return askInChild(options.setup,
                      {.kind = Task::Kind::Facts, .effects = names, .device = device, .id = {}, .facts = {}},
                      options.limits);
}

// Drivers reserve more address space than there is memory.
Limits withDevice(Limits limits) {
    limits.memory = Limits::anyMemory;
    return limits;
}

bool askForDevice(const RunOptions& options) {
    if (!options.setup.device.open) return false;
    const Task question{.kind = Task::Kind::Device, .effects = {}, .id = {}, .facts = {}};
    return !askInChild(options.setup, question, withDevice(options.limits)).texts.empty();
}

}  // namespace

Tally RunResult::total() const {
    Tally sum;
    for (const auto& [cell, tally] : tallies) sum += tally;
    return sum;
}

Tally RunResult::ofEffect(const std::string& effect) const {
    Tally sum;
    for (const auto& [cell, tally] : tallies)
        if (cell.first == effect) sum += tally;
    return sum;
}

Tally RunResult::ofInvariant(const std::string& invariant) const {
    Tally sum;
    for (const auto& [cell, tally] : tallies)
        if (cell.second == invariant) sum += tally;
    return sum;
}

std::vector<std::string> listEffects(const TrialSetup& setup, const Limits& limits) {
    const Answer answer = askInChild(setup, {.kind = Task::Kind::Names, .effects = {}, .id = {}, .facts = {}}, limits);
    if (answer.texts.empty() || !answer.error.empty()) throw std::runtime_error(answer.error);
    return namesFromJson(answer.texts.front());
}

Exploration explore(const RunOptions& options) {
    Exploration found;
    EffectFacts whole;
    whole.name = wholeBundle;
    found.effects.push_back(whole);
    const auto report = [&](const std::string& effect, const char* invariant, const std::string& text) {
        found.findings.push_back({{effect, invariant, 0, options.seed}, text, {}});
    };
    std::vector<std::string> names = options.effects;
    try {
        if (names.empty()) names = listEffects(options.setup, options.limits);
    } catch (const std::exception& error) {
        report(wholeBundle, "entries", error.what());
    }
    if (names.empty()) return found;
    found.device = askForDevice(options);
    // One process for all, since starting it is most of the work; those it has left when it dies get one each, so that
    // the guilty one is known.
    const std::vector<std::string> together = askForFacts(options, names, found.device).texts;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (i < together.size()) {
            found.effects.push_back(factsFromJson(together[i]));
            continue;
        }
        const Answer alone = askForFacts(options, {names[i]}, found.device);
        if (alone.error.empty() && !alone.texts.empty())
            found.effects.push_back(factsFromJson(alone.texts.front()));
        else
            report(names[i], "declaration", "describing: " + alone.error);
    }
    return found;
}

namespace {

class Runner {
  public:
    Runner(const RunOptions& options, const RunEvents& events)
        : m_options(options), m_events(events), m_start(Clock::now()), m_explored(explore(options)) {
        for (const Invariant* invariant : options.invariants) m_result.invariants.push_back(invariant);
        if (options.invariants.empty())
            for (const Invariant& invariant : invariants()) m_result.invariants.push_back(&invariant);
        for (const EffectFacts& facts : m_explored.effects) m_result.effects.push_back(facts.name);
        for (const Finding& finding : m_explored.findings) add(finding);
        m_result.device = m_explored.device;
    }

    RunResult run() {
        Schedule schedule(m_explored.effects, m_result.invariants, m_options.setup.strictness, m_options.seed);
        m_planned = schedule.size();
        std::optional<ScheduledCase> next = schedule.next();
        while (next || !m_running.empty()) {
            if (m_events.stop && m_events.stop()) break;
            const bool inTime = m_options.budget <= 0.0 || since(m_start) < m_options.budget;
            if (!inTime) next.reset();
            while (next && static_cast<int>(m_running.size()) < m_options.jobs && goesBeside(*next)) {
                start(*next);
                next = schedule.next();
                if (!next && m_options.budget > 0.0 && schedule.nextGeneration()) next = schedule.next();
            }
            collect();
            if (m_events.progress) m_events.progress(m_result, m_planned);
        }
        m_result.seconds = since(m_start);
        m_result.complete = m_started >= m_planned && m_running.empty();
        return std::move(m_result);
    }

  private:
    bool goesBeside(const ScheduledCase& what) const {
        return m_running.empty() || !(what.invariant->alone || m_running.back().what.invariant->alone);
    }

    void start(const ScheduledCase& what) {
        ++m_started;
        const Task task{.kind = Task::Kind::Case,
                        .effects = {},
                        .id = what.id,
                        .facts = *what.facts,
                        .timeout = m_options.limits.seconds};
        const auto work = workFor(m_options.setup, task);
        const Limits limits = what.invariant->onDevice ? withDevice(m_options.limits) : m_options.limits;
        m_running.push_back({what, std::make_unique<ChildProcess>(work, limits)});
    }

    void collect() {
        std::vector<ChildProcess*> processes;
        for (const RunningCase& one : m_running) processes.push_back(one.process.get());
        if (processes.empty()) return;
        waitForAny(processes, 0.2);
        std::erase_if(m_running, [&](RunningCase& one) {
            const ChildProcess::End end = one.process->advance();
            if (end == ChildProcess::End::Running) return false;
            take(one, end);
            return true;
        });
    }

    void take(const RunningCase& ended, ChildProcess::End end) {
        Tally& tally = m_result.tallies[{ended.what.id.effect, ended.what.id.invariant}];
        ++tally.cases;
        for (const Message& message : ended.process->messages()) {
            if (message.kind == MessageKind::Renders) tally.renders += std::stol(message.text);
            if (message.kind == MessageKind::GivenUp) ++tally.givenUp;
            if (message.kind == MessageKind::Note &&
                m_result.notes.emplace(message.text, ended.what.id.effect).second && m_events.note)
                m_events.note(ended.what.id.effect, message.text);
        }
        for (Finding& finding : findingsOf(ended, end, m_options.limits.seconds)) add(finding);
    }

    void add(const Finding& finding) {
        ++m_result.tallies[{finding.id.effect, finding.id.invariant}].findings;
        m_result.findings.push_back(finding);
        if (m_events.finding) m_events.finding(finding);
    }

    const RunOptions& m_options;
    const RunEvents& m_events;
    Clock::time_point m_start;
    Exploration m_explored;
    RunResult m_result;
    std::vector<RunningCase> m_running;
    std::size_t m_planned = 0, m_started = 0;
};

}  // namespace

RunResult run(const RunOptions& options, const RunEvents& events) { return Runner(options, events).run(); }

}  // namespace bundlecheck
