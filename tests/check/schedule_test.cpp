#include <gtest/gtest.h>

#include <set>

#include "host/check/child_process.h"
#include "host/check/report.h"
#include "host/check/schedule.h"

namespace bundlecheck {
namespace {

TEST(Tokens, ComeBack) {
    const CaseId id{"Q_Darken", "null-data", 12, 0xfedcba98u};
    EXPECT_EQ(tokenOf(id), "Q_Darken:null-data:12:fedcba98");
    EXPECT_EQ(parseToken(tokenOf(id)), id);
    const CaseId odd{"of:two", "threads", 0, 0};
    EXPECT_EQ(parseToken(tokenOf(odd)), odd);
    for (const char* text : {"", ":::", "a:b:c:d", "a:b:1", "a:b:-1:0", "a::1:0", "a:b:1:100000000", "a:b:1:0 "})
        EXPECT_FALSE(parseToken(text)) << text;
}

EffectFacts facts(const char* name) {
    EffectFacts made;
    made.name = name;
    made.contexts = {"OfxImageEffectContextFilter"};
    made.params = 2;
    made.inputs = {"Source"};
    return made;
}

std::vector<const Invariant*> all() {
    std::vector<const Invariant*> list;
    for (const Invariant& invariant : invariants()) list.push_back(&invariant);
    return list;
}

TEST(Schedule, GivesEveryCaseOnceAndEveryPairEarly) {
    const std::vector<EffectFacts> effects = {facts("A"), facts("B"), facts(wholeBundle)};
    Schedule schedule(effects, all(), Quality, 7);
    std::size_t expected = 0, pairs = 0;
    for (const EffectFacts& effect : effects)
        for (const Invariant& invariant : invariants()) {
            if (invariant.ofBundle != (effect.name == wholeBundle)) continue;
            expected += static_cast<std::size_t>(invariant.count(effect));
            pairs += invariant.count(effect) > 0;
        }
    ASSERT_EQ(schedule.size(), expected);
    std::set<std::string> places;
    std::set<std::pair<std::string, std::string>> early;
    for (std::size_t i = 0; auto next = schedule.next(); ++i) {
        places.insert(next->id.effect + next->id.invariant + ":" + std::to_string(next->id.index));
        if (i < pairs) early.insert({next->id.effect, next->id.invariant});
        EXPECT_EQ(next->facts->name, next->id.effect);
    }
    EXPECT_EQ(places.size(), expected);
    EXPECT_EQ(early.size(), pairs) << "the first round has one case of each pair";
}

// ---- Children ---------------------------------------------------------------------------------------------------

ChildProcess::End finish(ChildProcess& process) {
    ChildProcess::End end;
    while ((end = process.advance()) == ChildProcess::End::Running) waitForAny({&process}, 0.1);
    return end;
}

TEST(ChildProcess, TellsAllThatWasSent) {
    const std::string longText(300000, 'x');
    ChildProcess process(
        [&](const Sender& sender) {
            sender.send(MessageKind::Step, "first");
            sender.send(MessageKind::Text, longText);
            sender.send(MessageKind::Step, "last");
            std::fputs("said", stderr);
        },
        {});
    EXPECT_EQ(finish(process), ChildProcess::End::Finished);
    ASSERT_EQ(process.messages().size(), 4u);
    EXPECT_EQ(process.messages()[1].text, longText);
    EXPECT_EQ(process.lastStep(), "last");
    EXPECT_EQ(process.output(), "said");
}

TEST(ChildProcess, ADeathOrAHangIsAnAnswer) {
    ChildProcess killed(
        [](const Sender& sender) {
            sender.send(MessageKind::Step, "before");
            ::raise(SIGKILL);
        },
        {});
    EXPECT_EQ(finish(killed), ChildProcess::End::Died);
    EXPECT_EQ(killed.lastStep(), "before");
    EXPECT_NE(killed.deathText().find("signal 9"), std::string::npos) << killed.deathText();

    ChildProcess hung([](const Sender&) { ::pause(); }, {.seconds = 0.3, .memory = 1u << 30, .scratch = ""});
    EXPECT_EQ(finish(hung), ChildProcess::End::TimedOut);

    ChildProcess left([](const Sender&) { ::_exit(7); }, {});
    EXPECT_EQ(finish(left), ChildProcess::End::Died) << "an exit without the last word";
    ChildProcess thrown([](const Sender&) { throw std::runtime_error("why"); }, {});
    EXPECT_EQ(finish(thrown), ChildProcess::End::Died);
    EXPECT_EQ(thrown.lastStep(), "exception: why");
}

TEST(Findings, ThatDifferInNumbersOnlyAreToldOnce) {
    FindingFilter filter;
    const Finding first{{"A", "threads", 0, 1}, "3 threads differ by -0.25", {}};
    Finding again = first, elsewhere = first, other = first;
    again.text = "16 threads differ by 7", elsewhere.id.effect = "B", other.text = "3 threads die";
    EXPECT_TRUE(filter.isNew(first));
    EXPECT_FALSE(filter.isNew(again));
    EXPECT_TRUE(filter.isNew(elsewhere));
    EXPECT_TRUE(filter.isNew(other));
}

}  // namespace
}  // namespace bundlecheck
