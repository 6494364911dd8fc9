// The command as it is used: exit codes, tokens, files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/cli/picture_file.h"
#include "hostcli/temporary_folder.h"
#include "support/run_command.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

using Result = support::CommandResult;

Result quillon(const std::string& arguments) {
    return support::run_command(std::string(QUILLON_PROGRAM) + " " + arguments);
}

Result check(const std::string& arguments) {
    return quillon("check --bundle " BUNDLES "/Defective.ofx.bundle " + arguments);
}

TEST(CheckCommand, EndsWith0WhenNothingIsFound) {
    const Result result = check("--effects sound --invariants order,threads --jobs 2");
    EXPECT_EQ(result.code, 0) << result.text;
    EXPECT_THAT(result.text, HasSubstr("nothing found"));
    EXPECT_THAT(result.text, HasSubstr("1 effect "));
}

TEST(CheckCommand, EndsWith1AndALineThatReproducesWhatItFound) {
    const Result result = check("--effects DependsOnThreads --invariants threads");
    EXPECT_EQ(result.code, 1) << result.text;
    EXPECT_THAT(result.text, HasSubstr("finding: DependsOnThreads, threads: "));
    const std::size_t at = result.text.find("--reproduce ");
    ASSERT_NE(at, std::string::npos);
    const std::string token = result.text.substr(at, result.text.find('\n', at) - at);
    const Result again = check(token);
    EXPECT_EQ(again.code, 1) << again.text;
    EXPECT_THAT(again.text, HasSubstr("finding: "));
    EXPECT_THAT(again.text, HasSubstr("step: 7 threads"));
    EXPECT_THAT(again.text, HasSubstr("    clipGetImage")) << "suite calls are told";
    EXPECT_EQ(check("--reproduce Sound:threads:0:1").code, 0);
}

TEST(CheckCommand, EndsWith2WhenTheCommandLineMakesNoSense) {
    const struct {
        const char *arguments, *message;
    } cases[] = {
        {"--effects Sond", "did you mean \"Sound\""},
        {"--invariants thread", "did you mean \"threads\""},
        {"--reproduce nonsense", "no token"},
        {"--reproduce Sound:nothing:0:1", "no token"},
        {"--reproduce Sound:threads:999:1", "does not exist"},
        {"--reproduce Nobody:threads:0:1", "no effect"},
        {"--strictness 6", "strictness"},
        {"--jobs -1", "jobs"},
        {"--budget x", "budget"},
    };
    for (const auto& one : cases) {
        const Result result = check(one.arguments);
        EXPECT_EQ(result.code, 2) << one.arguments << "\n" << result.text;
        EXPECT_THAT(result.text, HasSubstr(one.message));
    }
    EXPECT_EQ(quillon("check --bundle /nowhere").code, 1);
    EXPECT_EQ(quillon("check --bundle /bin").code, 1) << "a folder that is no bundle";
}

TEST(CheckCommand, WritesCountsAndFindings) {
    const TemporaryFolder folder;
    const Result result = check("--effects LeaksImage,Sound --invariants load,hosts --json " +
                                (folder / "counts.json") + " --table " + (folder / "counts.md"));
    EXPECT_EQ(result.code, 1);
    std::ifstream stream(folder / "counts.json");
    const auto json = nlohmann::json::parse(stream);
    ASSERT_EQ(json["effects"].size(), 3u) << "the two, and the bundle";
    EXPECT_EQ(json["effects"][1]["name"], "LeaksImage");
    EXPECT_GT(json["effects"][1]["invariants"]["hosts"]["findings"], 0);
    EXPECT_EQ(json["effects"][2]["findings"], 0);
    EXPECT_EQ(json["total"]["findings"], json["findings"].size());
    EXPECT_EQ(json["findings"][0]["effect"], "LeaksImage");
    EXPECT_TRUE(json["complete"]);

    std::ifstream table(folder / "counts.md");
    std::vector<std::string> lines;
    for (std::string line; std::getline(table, line);) lines.push_back(line);
    ASSERT_EQ(lines.size(), 6u) << "head, rule, bundle, two effects, sum";
    for (const std::string& line : lines) EXPECT_EQ(std::count(line.begin(), line.end(), '|'), 6) << line;
    EXPECT_EQ(lines[0], "| Effect | Cases | Renders | `load` | `hosts` |");
    const std::string cases = std::to_string(json["effects"][1]["cases"].get<int>());
    const std::string found = cases + " (**" + std::to_string(json["effects"][1]["findings"].get<int>()) + " found**)";
    EXPECT_THAT(lines[3], HasSubstr("| LeaksImage | " + found + " |"));
    EXPECT_THAT(lines[3], HasSubstr(" | | " + found + " |")) << "nothing of the bundle's own invariants";
}

TEST(CheckCommand, TellsWhatItLeavesOutForWantOfADevice) {
    ::setenv("CUDA_DISABLE", "yes", 1);
    const std::string arguments = " --effects Sound --invariants gpu-pictures,gpu-failures";
    const Result result = quillon("check --bundle " BUNDLES "/Defective.ofx.bundle" + arguments);
    EXPECT_EQ(result.code, 0) << result.text;
    EXPECT_THAT(result.text, HasSubstr("not run, for there is no CUDA device: gpu-pictures, gpu-failures"));
    EXPECT_EQ(check("--reproduce Sound:gpu-pictures:0:1").code, 1);
    ::unsetenv("CUDA_DISABLE");
}

TEST(CheckCommand, KeepsToItsBudget) {
    const Result result = check("--effects Sound --budget 0.5");
    EXPECT_EQ(result.code, 0) << result.text;
    EXPECT_THAT(result.text, HasSubstr("not every case has been run"));
}

// Bundles in the manner of others: no index is asked that they do not have, and what they ask in vain is no finding.
TEST(ForeignBundles, AreListedDescribedRenderedAndChecked) {
    const TemporaryFolder folder;
    quillon::writePicture(folder / "in.png", quillon::Picture(8, 8), {.depth = 8});
    for (const std::string name : {"Asserting", "Throwing"}) {
        const std::string bundle = " --bundle " BUNDLES "/" + name + ".ofx.bundle ";
        Result result = quillon("list" + bundle);
        EXPECT_EQ(result.code, 0) << result.text;
        EXPECT_THAT(result.text, HasSubstr("Half as bright"));
        EXPECT_THAT(quillon("describe Halver" + bundle).text, HasSubstr("Die  OfxParamTypeBoolean"));
        const std::string render = "render Halver" + bundle + "-i " + (folder / "in.png") + " -o " + (folder / "o.png");
        result = quillon(render + " --strict");
        EXPECT_EQ(result.code, 0) << result.text;
        EXPECT_THAT(result.text, HasSubstr("frame 0"));
        result = quillon(render + " -p Die=on");
        EXPECT_TRUE(result.code == 128 + SIGABRT || result.code == 1000 + SIGABRT) << "with or without the shell";
#ifndef QUILLON_SANITIZED
        EXPECT_THAT(result.text,
                    HasSubstr("died by signal 6 in OfxImageEffectActionRender of com.example.foreign.Halver"));
#endif
        const std::string check = "check" + bundle + "--invariants entries,exports,declaration,hosts,host-properties";
        result = quillon(check + " --strictness 4");
        EXPECT_EQ(result.code, 0) << result.text;
        EXPECT_THAT(result.text, HasSubstr("note: Halver: propGetString(OfxParamHostPropSupportsStrChoice): "));
        EXPECT_THAT(quillon(check + " --strictness 3").text, Not(HasSubstr("note: ")));
        EXPECT_THAT(quillon(check).text, HasSubstr("exported beside the entry points: foreignHelper"));
    }
}

#ifdef QUILLON_BUNDLE_PATH
// A few seconds of the real bundle; ./test spends more on it.
TEST(CheckCommand, FindsNothingInAnEffectOfTheBundle) {
    const Result result = quillon("check --bundle " QUILLON_BUNDLE_PATH " --effects Darken --budget 5");
    EXPECT_EQ(result.code, 0) << result.text;
}
#endif

}  // namespace
