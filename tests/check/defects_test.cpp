// Every defect is found, by the invariant that it breaks; and a sound effect has none.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "host/check/report.h"
#include "host/check/runner.h"
#include "host/check/values.h"
#include "host/core/bundle.h"
#include "ofx/ofx_names.h"
#include "support/protected_device.h"
#include "support/sanitizers.h"

namespace bundlecheck {
namespace {

using testing::HasSubstr;

RunOptions optionsFor(const std::string& bundle, const std::string& effect) {
    RunOptions options;
    options.setup.bundle = std::filesystem::path(BUNDLES) / (bundle + ".ofx.bundle");
    if (!effect.empty()) options.effects = {effect};
    // It can't follow threads in a forked process: cases run in programs started anew, each of which takes its time.
    if (threadSanitizer) options.setup.program = QUILLON_PROGRAM;
    options.setup.device.open = [] { return std::make_shared<support::ProtectedDevice>(); };
    options.setup.device.fail = [](int call) {
        ::setenv("DEFECTIVE_DEVICE_FAILS_AT", std::to_string(call).c_str(), 1);
    };
    options.jobs = 2;
    options.limits.seconds = 30.0;
    return options;
}

RunResult runOne(const std::string& bundle, const std::string& effect, const std::string& invariant,
                 double seconds = 30.0) {
    RunOptions options = optionsFor(bundle, effect);
    options.invariants = {findInvariant(invariant)};
    options.limits.seconds = seconds;
    return run(options, {});
}

std::string textsOf(const RunResult& result) {
    std::string texts;
    for (const Finding& finding : result.findings)
        texts += tokenOf(finding.id) + ": " + finding.text + "\n" + finding.output.substr(0, 2000);
    return texts;
}

struct Defect {
    const char* effect;
    const char* invariant;
    const char* says;
};

void PrintTo(const Defect& defect, std::ostream* stream) { *stream << defect.effect << " by " << defect.invariant; }

class Defects : public testing::TestWithParam<Defect> {};

TEST_P(Defects, AreFound) {
    const Defect& defect = GetParam();
    const double seconds = std::string(defect.effect) == "Hangs" ? 2.0 : 30.0;
    const RunResult result = runOne("Defective", defect.effect, defect.invariant, seconds);
    ASSERT_GT(result.total().findings, 0) << "in " << result.total().cases << " cases";
    EXPECT_EQ(result.findings.front().id.effect, defect.effect);
    EXPECT_THAT(textsOf(result), HasSubstr(defect.says));
}

const Defect defects[] = {
    {"CrashesOnNull", "null-data", "at: render frame 2"},
    {"CrashesWithoutClip", "clips", "at: render frame 0"},
    {"LeaksImage", "hosts", "an image was not released"},
    {"WritesOutside", "hosts", "memory outside the image's pixels was written"},
    {"WritesSource", "hosts", "the pixels of a source were written"},
    {"DependsOnThreads", "threads", "16 threads give another picture than one"},
    {"DependsOnCpus", "fewer-threads", "the picture differs"},
    {"IgnoresAbort", "abort", "times more after it has been told to stop at poll 1"},
    {"Hangs", "sizes", "does not answer an abort within 0.5 s"},
    {"DependsOnOrder", "order", "differs backwards"},
    {"SharesState", "at-once", "differs while another instance renders"},
    {"LeavesOutput", "output", "depends on what the output held before"},
    {"IgnoresRows", "rows", "the way that rows lie in memory changes the picture"},
    {"TrustsMemory", "allocations", "allocation"},
    {"ShowsHalfMade", "allocations", "half made"},
    {"LeaksMemory", "instances", "100 blocks of memory"},
    {"BadDefault", "declaration", "the default is out of range"},
    {"BadScriptName", "declaration", "script name same again"},
    {"KeepsOldValue", "edits", "depends on the render before"},
    {"NotANumber", "random", "a rendered sample is no finite number"},
    {"CrashesOnName", "changes", "at: instance changed: OfxTypeParameter \"xxx"},
    {"NeedsProperty", "host-properties", "at: describe in OfxImageEffectContextFilter"},
    {"IgnoresScale", "scales", "differs from the full one"},
    {"FreesUnderRender", "while-rendering", "while a render runs"},
#ifndef __SANITIZE_THREAD__
    // Programs started anew have no such device.
    {"DiffersOnDevice", "gpu-pictures", "the picture on the device differs from that in main memory"},
    {"HalfOnDevice", "gpu-failures", "at the plug-in's call 2 is not that of main memory"},
    {"LeaksMemory", "gpu-instances", "100 blocks of memory remain"},
    {"SharesState", "gpu-at-once", "differs while another instance renders"},
    {"TouchesDevice", "gpu-pictures", "at: render frame 1"},
#endif
#ifndef QUILLON_SANITIZED
    // A sanitizer tells faults in its own words, and fills fresh memory in its own way.
    {"FragileInteract", "handles", "in OfxInteractActionPenDown of com.brindlemoor.tests.FragileInteract"},
    {"WritesOutside", "guards", "0 bytes behind the pixels of Output"},
    {"WritesSource", "guards", "a write to the pixels of Source"},
    {"ReadsOutside", "guards", "0 bytes behind the pixels of Source"},
    {"UsesFreshMemory", "memory", "when fresh memory is not zero"},
#endif
};

INSTANTIATE_TEST_SUITE_P(All, Defects, testing::ValuesIn(defects), [](const auto& tested) {
    std::string name = std::string(tested.param.effect) + "By" + tested.param.invariant;
    std::erase(name, '-');
    return name;
});

TEST(Exploring, OutlivesAnEffectThatDiesOfIt) {
    RunOptions options = optionsFor("Defective", "");
    options.effects = {"Sound", "CrashesDescribing", "SaysSo"};
    const Exploration found = explore(options);
    std::vector<std::string> names;
    for (const EffectFacts& effect : found.effects) names.push_back(effect.name);
    EXPECT_EQ(names, (std::vector<std::string>{wholeBundle, "Sound", "SaysSo"}));
    EXPECT_TRUE(found.effects.back().history);
    ASSERT_EQ(found.findings.size(), 1u);
    EXPECT_EQ(found.findings[0].id.effect, "CrashesDescribing");
    EXPECT_THAT(found.findings[0].text, HasSubstr("describing: killed by signal 6"));
}

// Slow is not hung.
TEST(LongRenders, AreGivenUpAndNoFindings) {
    const double seconds = threadSanitizer ? 12.0 : 4.0;  // unloading takes some of them
    const RunResult slow = runOne("Defective", "Slow", "suite-memory", seconds);
    EXPECT_EQ(textsOf(slow), "");
    EXPECT_EQ(slow.total().givenUp, 1);
    EXPECT_EQ(slow.total().renders, 1);
    EXPECT_THAT(countsText(slow), HasSubstr("given up"));
    const RunResult together = runOne("Defective", "Slow", "at-once", seconds);
    EXPECT_EQ(textsOf(together), "") << "renders on threads of the host are given up as well";
    EXPECT_EQ(together.total().givenUp, together.total().cases);
}

TEST(LongRenders, ThatDoNotStopAreFindings) {
    const RunResult deaf = runOne("Defective", "Deaf", "suite-memory", 4.0);
    EXPECT_THAT(textsOf(deaf), HasSubstr("does not answer an abort within 1 s"));
    EXPECT_EQ(deaf.total().givenUp, 0);
}

TEST(Devices, AreNoneOfTheirInvariantsBusinessWhereThereAreNone) {
    RunOptions options = optionsFor("Defective", "DiffersOnDevice");
    options.setup.device = {};
    options.invariants = {findInvariant("gpu-pictures")};
    const RunResult result = run(options, {});
    EXPECT_FALSE(result.device);
    EXPECT_EQ(result.total().cases, 0);
}

// Cases that get a new program instead of a forked process say the same.
TEST(NewPrograms, FindWhatForkedProcessesFind) {
    if (threadSanitizer) GTEST_SKIP() << "forked processes can't be compared with";
    for (const Defect& defect : {Defect{"DependsOnThreads", "threads", "16 threads give another picture than one"},
                                 Defect{"CrashesOnName", "changes", "at: instance changed: OfxTypeParameter \"xxx"},
                                 Defect{"Sound", "order", ""}}) {
        RunOptions options = optionsFor("Defective", defect.effect);
        options.invariants = {findInvariant(defect.invariant)};
        options.setup.program.clear();
        const RunResult forked = run(options, {});
        options.setup.program = QUILLON_PROGRAM;
        const RunResult anew = run(options, {});
        EXPECT_EQ(anew.total().cases, forked.total().cases);
        EXPECT_EQ(anew.total().renders, forked.total().renders);
        EXPECT_EQ(anew.total().findings, forked.total().findings);
        EXPECT_EQ(anew.findings.empty(), std::string(defect.says).empty());
        EXPECT_THAT(textsOf(anew), HasSubstr(defect.says));
    }
    RunOptions options = optionsFor("Defective", "Sound");
    options.setup.program = "/no/such/program";
    EXPECT_THROW(listEffects(options.setup, options.limits), std::runtime_error);
}

// The whole of it finds nothing in an effect without fault, nor in one that says what it depends on.
TEST(SoundEffects, HaveNoFindings) {
    for (const char* effect : {"Sound", "SaysSo"}) {
        RunOptions options = optionsFor("Defective", effect);
        if (threadSanitizer || std::string(effect) == "SaysSo")
            options.invariants = {findInvariant("order"), findInvariant("abort")};
        const RunResult result = run(options, {});
        EXPECT_TRUE(result.complete);
        EXPECT_GT(result.total().renders, 20);
        std::string texts;
        for (const Finding& finding : result.findings)
            if (finding.id.effect == effect) texts += tokenOf(finding.id) + ": " + finding.text + "\n";
        EXPECT_EQ(texts, "");
    }
}

TEST(Libraries, AreFoundOutBeforeTheirEffects) {
    EXPECT_THAT(textsOf(runOne("Leaky", "", "exports")), HasSubstr("helperOfTheLibrary"));
    const std::string entries = textsOf(runOne("Leaky", "", "entries"));
    EXPECT_THAT(entries, HasSubstr("a plug-in at index -1"));
    EXPECT_THAT(entries, HasSubstr("two plug-ins are called com.brindlemoor.tests.Twin"));
    EXPECT_THAT(textsOf(runOne("Leaky", "", "load")), HasSubstr("open files grow"));
}

TEST(Strictness, LeavesOutWhatIsBelowIt) {
    RunOptions options = optionsFor("Defective", "NotANumber");
    options.invariants = {findInvariant("random")};
    options.setup.strictness = Determinism;
    EXPECT_EQ(run(options, {}).total().findings, 0);
}

}  // namespace
}  // namespace bundlecheck
