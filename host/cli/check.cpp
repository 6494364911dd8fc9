// quillon check: prove that no host can break a bundle, and that every frame is the same everywhere.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>
#include <thread>

#include "host/check/report.h"
#include "host/check/runner.h"
#include "host/check/task.h"
#include "host/cli/atomic_file.h"
#include "host/cli/command.h"
#include "host/cli/console.h"
#include "host/cli/cuda_device.h"
#include "host/cli/failure.h"
#include "host/cli/interrupt.h"
#include "host/cli/offscreen_gl.h"
#include "host/cli/session.h"
#include "host/cli/text.h"
#include "host/core/bundle.h"

namespace quillon {

namespace fs = std::filesystem;
using namespace bundlecheck;

namespace {

#ifdef QUILLON_SANITIZED
constexpr double slowness = 10.0;  // of a build with a sanitizer
#else
constexpr double slowness = 1.0;
#endif

// It can't follow threads that start in a process that has been forked by one with threads, so cases get new programs.
#ifdef __SANITIZE_THREAD__
constexpr bool threadSanitizer = true;
#else
constexpr bool threadSanitizer = false;
#endif

struct CheckOptions {
    std::string bundle, effects, invariants, json, table, token;
    int strictness = Quality, jobs = 0;
    double budget = 0.0, timeout = 20.0;
    std::uint32_t seed = 1;
    bool list = false;
    int answer = -1;  // the pipe, in a process that answers a task
};

// A home for the children, in which bundles may leave what they like.
class ScratchFolder {
  public:
    ScratchFolder() {
        std::string pattern = (fs::temp_directory_path() / "quillon-check-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) throw RunError("no temporary folder can be made");
        m_path = pattern;
    }
    ~ScratchFolder() {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    std::string path() const { return m_path.string(); }

  private:
    fs::path m_path;
};

void listInvariants() {
    for (const Invariant& invariant : invariants())
        std::cout << invariant.name
                  << std::string(18 - std::min<std::size_t>(17, std::string_view(invariant.name).size()), ' ')
                  << invariant.claim << '\n';
}

std::vector<std::string> wordsOf(const std::string& list) {
    std::vector<std::string> words;
    for (const std::string& word : split(list, ','))
        if (!trimmed(word).empty()) words.emplace_back(trimmed(word));
    return words;
}

std::vector<const Invariant*> chosenInvariants(const std::string& list) {
    std::vector<const Invariant*> chosen;
    std::vector<std::string> names;
    for (const Invariant& invariant : invariants()) names.emplace_back(invariant.name);
    for (const std::string& word : wordsOf(list)) {
        const Invariant* invariant = findInvariant(word);
        if (!invariant) throw UsageError("there is no invariant \"" + word + "\"" + suggestion(word, names));
        chosen.push_back(invariant);
    }
    return chosen;
}

// Names as the bundle has them, of words with or without "Q_" in any case.
std::vector<std::string> chosenEffects(const std::string& list, const RunOptions& options) {
    std::vector<std::string> chosen;
    if (wordsOf(list).empty()) return chosen;
    std::vector<std::string> names;
    try {
        names = listEffects(options.setup, options.limits);
    } catch (const std::exception& error) {
        throw RunError("the bundle does not tell its effects: " + std::string(error.what()));
    }
    for (const std::string& word : wordsOf(list)) {
        const auto found = std::find_if(names.begin(), names.end(), [&](const std::string& name) {
            return equalIgnoringCase(name, word) || equalIgnoringCase(name, "Q_" + word);
        });
        if (found == names.end()) throw UsageError("there is no effect \"" + word + "\"" + suggestion(word, names));
        chosen.push_back(*found);
    }
    return chosen;
}

WithCanvas canvasOfThisProgram() {
    return [](int width, int height, const std::function<void()>& draw) {
        if (!OffscreenGl::available()) return;
        const OffscreenGl canvas(width, height, width, height);
        draw();
    };
}

// ---- One case again ---------------------------------------------------------------------------------------------

void reproduce(const CheckOptions& options, const RunOptions& base) {
    const auto id = parseToken(options.token);
    const Invariant* invariant = id ? findInvariant(id->invariant) : nullptr;
    if (!invariant) throw UsageError("\"" + options.token + "\" is no token of a case");
    RunOptions one = base;
    if (!invariant->ofBundle) one.effects = chosenEffects(id->effect, base);
    one.setup.strictness = Quality;
    const Exploration explored = explore(one);
    const auto facts = std::find_if(explored.effects.begin(), explored.effects.end(),
                                    [&](const EffectFacts& candidate) { return candidate.name == id->effect; });
    for (const Finding& finding : explored.findings) std::cout << "finding: " << finding.text << std::endl;
    if (facts == explored.effects.end()) throw RunError("the effect can't be described");
    if (invariant->onDevice && !explored.device) throw RunError("there is no CUDA device for this case");
    if (id->index >= invariant->count(*facts)) throw UsageError("this case does not exist for " + id->effect);
    int findings = 0;
    Trial trial(one.setup, *facts, *id,
                {.step = [](const std::string& text) { std::cout << "step: " << text << std::endl; },
                 .finding =
                     [&findings](const std::string& text) {
                         ++findings;
                         std::cout << "finding: " << text << std::endl;
                     },
                 .note = [](const std::string& text) { std::cout << "note: " << text << std::endl; },
                 .call = [](const std::string& text) { std::cout << "    " + text + "\n"
                                                                 << std::flush; }},
                base.limits.seconds);
    std::cout << invariant->name << ": " << invariant->claim << std::endl;
    const bool ended = runCase(*invariant, trial);
    if (findings > 0) throw RunError(std::to_string(findings) + (findings == 1 ? " finding" : " findings"));
    std::cout << (ended ? "nothing found" : "given up: a render takes too long to compare it") << std::endl;
}

// ---- All of them ------------------------------------------------------------------------------------------------

// The line that goes along at the bottom of a terminal, and findings above it.
class LiveSummary {
  public:
    LiveSummary(const CheckOptions& options, const fs::path& bundle)
        : m_options(options), m_bundle(bundle), m_terminal(::isatty(STDERR_FILENO) == 1) {}

    void finding(const Finding& finding) {
        if (!m_filter.isNew(finding)) return;
        clear();
        std::cout << "finding: " << finding.id.effect << ", " << finding.id.invariant << ": " << finding.text
                  << "\n    quillon check --bundle " << m_bundle.string() << " --reproduce " << tokenOf(finding.id)
                  << std::endl;
    }
    void note(const std::string& effect, const std::string& text) {
        clear();
        std::cout << "note: " << effect << ": " << text << std::endl;
    }
    void progress(const RunResult& soFar, std::size_t planned) {
        const auto now = std::chrono::steady_clock::now();
        const double interval = m_terminal ? 0.2 : 30.0;
        if (std::chrono::duration<double>(now - m_last).count() < interval) return;
        m_last = now;
        const Tally total = soFar.total();
        const double seconds = std::chrono::duration<double>(now - m_start).count();
        std::string line = std::to_string(total.cases);
        line += m_options.budget > 0.0 ? " cases" : "/" + std::to_string(planned) + " cases";
        line += "  " + std::to_string(total.renders) + " renders  " + std::to_string(total.findings) + " findings  " +
                durationText(seconds);
        if (m_options.budget > 0.0) line += " of " + durationText(m_options.budget);
        clear();
        std::cerr << line << (m_terminal ? "" : "\n") << std::flush;
        m_shown = m_terminal;
    }
    void clear() {
        if (m_shown) std::cerr << "\r\033[K" << std::flush;
        m_shown = false;
    }

  private:
    const CheckOptions& m_options;
    fs::path m_bundle;
    bool m_terminal, m_shown = false;
    FindingFilter m_filter;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now(), m_last = m_start;
};

// The invariants that were to be run and need a device that there is not.
std::string withoutDevice(const RunResult& result) {
    std::string names;
    for (const Invariant* invariant : result.invariants)
        if (invariant->onDevice && !result.device) names += (names.empty() ? "" : ", ") + std::string(invariant->name);
    return names;
}

void checkAll(const CheckOptions& options, RunOptions run) {
    run.effects = chosenEffects(options.effects, run);
    run.invariants = chosenInvariants(options.invariants);
    LiveSummary live(options, run.setup.bundle);
    const RunResult result = bundlecheck::run(
        run, {.finding = [&](const Finding& finding) { live.finding(finding); },
              .note = [&](const std::string& effect, const std::string& text) { live.note(effect, text); },
              .progress = [&](const RunResult& r, std::size_t planned) { live.progress(r, planned); },
              .stop = interrupted});
    live.clear();
    const Tally total = result.total();
    std::cout << '\n' << countsText(result) << '\n';
    if (const std::string left = withoutDevice(result); !left.empty())
        std::cout << "not run, for there is no CUDA device: " << left << "\n\n";
    const auto write = [](const std::string& file, const std::string& text) {
        if (!file.empty()) writeFileAtomically(file, text.data(), text.size());
    };
    write(options.json, toJson(result, run));
    write(options.table, toMarkdown(result));
    if (interrupted()) throw RunError("interrupted after " + std::to_string(total.cases) + " cases");
    if (total.findings > 0)
        throw RunError(std::to_string(total.findings) + (total.findings == 1 ? " finding" : " findings"));
    std::cout << "nothing found in " << durationText(result.seconds)
              << (result.complete ? "" : "; not every case has been run") << std::endl;
}

void check(const CheckOptions& options) {
    if (options.list) return listInvariants();
    if (options.answer >= 0) {
        const std::string task{std::istreambuf_iterator<char>(std::cin), {}};
        TrialSetup setup;
        setup.withCanvas = canvasOfThisProgram();
        setup.device.open = cudaDevice;
        answerTask(task, std::move(setup), options.answer);
    }
    for (const std::string& file : {options.json, options.table})
        if (!file.empty()) requireWritable(file);
    RunOptions run;
    const ScratchFolder scratch;
    run.setup.bundle = fs::absolute(options.bundle.empty() ? findBundle() : fs::path(options.bundle));
    std::error_code error;
    if (!fs::exists(run.setup.bundle, error)) throw RunError("there is no bundle " + run.setup.bundle.string());
    try {
        ofxhost::Bundle::libraryOf(run.setup.bundle);
    } catch (const ofxhost::Error& failure) {
        throw RunError(failure.what());
    }
    run.setup.strictness = options.strictness;
    run.setup.withCanvas = canvasOfThisProgram();
    run.setup.device.open = cudaDevice;
    if (threadSanitizer)
        run.setup.program = fs::read_symlink("/proc/self/exe");
    else
        OffscreenGl::available();  // loads it here, once for all children
    run.seed = options.seed;
    run.jobs = options.jobs > 0 ? options.jobs : static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
    run.budget = options.budget;
    run.limits.seconds = options.timeout * slowness;
    run.limits.scratch = scratch.path();
    options.token.empty() ? checkAll(options, run) : reproduce(options, run);
}

std::function<void()> declare(CLI::App& app) {
    const auto o = std::make_shared<CheckOptions>();
    app.add_option("--bundle", o->bundle, "The bundle to check (a .ofx.bundle folder or the .ofx file in it)")
        ->type_name("PATH");
    app.add_option("--effects", o->effects, "Only these effects, separated by commas")->type_name("LIST");
    app.add_option("--invariants", o->invariants, "Only these invariants, separated by commas")->type_name("LIST");
    app.add_option("--strictness", o->strictness,
                   "How much is asked: 1 that hosts live, 2 that the interface is kept, 3 that frames are always the "
                   "same, 4 and 5 more (and notes: what a plug-in asks its host for in vain)")
        ->check(CLI::Range(1, 5))
        ->capture_default_str();
    app.add_option("--seed", o->seed, "Of everything that is random")->capture_default_str();
    app.add_option("--jobs", o->jobs, "Cases that run at once (0: one for each processor)")
        ->check(CLI::Range(0, 256))
        ->capture_default_str();
    app.add_option("--budget", o->budget,
                   "Seconds to spend, on a random choice of cases (0: every case once, for as long as it takes)")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    app.add_option("--timeout", o->timeout,
                   "Seconds after which a case counts as hung; a third of them for one render, then it is told to stop")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--json", o->json, "Write all counts and findings into this file")->type_name("FILE");
    app.add_option("--table", o->table, "Write the counts, effects by invariants, into this file as a Markdown table")
        ->type_name("FILE");
    app.add_option("--reproduce", o->token, "Run one case in this process, and tell all that happens")
        ->type_name("TOKEN");
    app.add_option("--answer", o->answer)->group("");  // hidden: for the children of this program
    app.add_flag("--list", o->list, "List the invariants and what they claim");
    return [o] { check(*o); };
}

}  // namespace

const Command checkCommand{"check", "Prove that no host can break a bundle", declare};

}  // namespace quillon
