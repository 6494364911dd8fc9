#include <gmock/gmock.h>

#include <algorithm>
#include <thread>

#include "k7pi_baselib/trace_clock.h"
#include "temporary_home.h"

namespace fs = std::filesystem;

class TraceLog : public TemporaryHome {};

TEST_F(TraceLog, LineAndContinuationForm) {
    ASSERT_TRUE(OpenLog("run", true));
    Trace(TRACE_WARN, "number %d\n", 7);
    TraceMore("without a line end");
    TraceInfo("info\n");
    const auto written = lines(log());
    ASSERT_EQ(written.size(), 3u);
    EXPECT_THAT(
        written[0],
        testing::MatchesRegex(
            R"(\(run\) [0-9][0-9]/[0-9][0-9]/[0-9][0-9] [0-2][0-9]:[0-5][0-9]:[0-5][0-9]\.[0-9][0-9] WARN : number 7)"));
    EXPECT_EQ(written[1], "(run)" + std::string(27, ' ') + ": without a line end");
    EXPECT_EQ(written[2], "(run)" + std::string(27, ' ') + ": info");
    EXPECT_EQ(written[0].find(": number"), written[1].find(": without"));
    EXPECT_EQ(log().back(), '\n');
}

TEST_F(TraceLog, LevelsSelectLinesAndTheirContinuations) {
    ASSERT_TRUE(OpenLog("run", true));
    const auto written_at = [&](int level) {
        SetTraceLevel(level);
        EXPECT_EQ(GetTraceLevel(), level);
        fs::resize_file(home + "/Logs/run.log", 0);
        for (int of_line = -1; of_line <= 6; ++of_line) {
            Trace(of_line, "<%d>", of_line);
            TraceMore("<%d>", of_line);
        }
        const std::string text = log();
        std::string levels;
        for (std::size_t at = 0; (at = text.find('<', at)) != std::string::npos; ++at) levels += text[at + 1];
        return levels;
    };
    EXPECT_EQ(written_at(TRACE_OFF), "");
    EXPECT_EQ(written_at(TRACE_NONE), "");
    EXPECT_EQ(written_at(TRACE_ERROR), "11");
    EXPECT_EQ(written_at(TRACE_INFO), "112233");
    EXPECT_EQ(written_at(TRACE_TRACE), "112233445566");
    EXPECT_EQ(written_at(7), "112233445566");
    EXPECT_NE(log().find(" TRACE: <6>"), std::string::npos);

    Trace(TRACE_ERROR, "before");
    SetTraceLevel(TRACE_OFF);
    SetTraceLevel(TRACE_INFO);
    TraceMore("<lost with the line it continued>");
    EXPECT_EQ(log().find("<lost"), std::string::npos);
}

TEST_F(TraceLog, LongTextsArriveWholeAndErrnoIsKept) {
    ASSERT_TRUE(OpenLog("run", true));
    for (std::size_t length : {1020u, 1021u, 1022u, 1023u, 1024u, 1025u, 100000u}) {
        fs::resize_file(home + "/Logs/run.log", 0);
        errno = EDOM;
        Trace(TRACE_ERROR, "%s", std::string(length, 'x').c_str());
        EXPECT_EQ(errno, EDOM);
        const std::string text = log();
        EXPECT_EQ(std::count(text.begin(), text.end(), 'x'), static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(text.back(), '\n');
    }
}

TEST_F(TraceLog, ThreadsWriteWholeLinesAndContinueTheirOwn) {
    ASSERT_TRUE(OpenLog("run", true));
    constexpr int threads = 8, rounds = 200;
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t)
        writers.emplace_back([t] {
            const std::string text(100, static_cast<char>('a' + t));
            for (int i = 0; i < rounds; ++i) {
                Trace(t % 2 ? TRACE_TRACE : TRACE_ERROR, "<%s>", text.c_str());  // the odd threads stay silent
                TraceMore("<%s>", text.c_str());
            }
        });
    for (auto& writer : writers) writer.join();
    const auto written = lines(log());
    EXPECT_EQ(written.size(), std::size_t{threads / 2 * rounds * 2});
    for (const std::string& line : written) {
        const std::size_t text = line.find('<');
        ASSERT_NE(text, std::string::npos);
        ASSERT_EQ(line.substr(text), "<" + std::string(100, line[text + 1]) + ">");
    }
}

TEST_F(TraceLog, AppendingRotatesAboveFiveMillionBytesOnly) {
    const std::string path = home + "/Logs/run.log";
    write(path, std::string(5000000, 'a'));
    ASSERT_TRUE(OpenLog("run", true));
    EXPECT_FALSE(fs::exists(home + "/Logs/run.1.log"));
    EXPECT_EQ(fs::file_size(path), 5000000u);
    Trace(TRACE_ERROR, "more");
    EXPECT_GT(fs::file_size(path), 5000000u);
    fs::resize_file(path, 5000001);
    ASSERT_TRUE(OpenLog("run", true));
    EXPECT_EQ(fs::file_size(home + "/Logs/run.1.log"), 5000001u);
    EXPECT_EQ(fs::file_size(path), 0u);
}

TEST_F(TraceLog, TenGenerationsAreKept) {
    for (int run = 0; run < 13; ++run) {
        ASSERT_TRUE(OpenLog("run", false));
        Trace(TRACE_ERROR, "run <%d>", run);
    }
    CloseLog();
    EXPECT_NE(log().find("<12>"), std::string::npos);
    for (int k = 1; k <= 10; ++k) {
        const std::string generation = contents(home + "/Logs/run." + std::to_string(k) + ".log");
        EXPECT_NE(generation.find("<" + std::to_string(12 - k) + ">"), std::string::npos) << k;
    }
    EXPECT_FALSE(fs::exists(home + "/Logs/run.11.log"));
}

TEST_F(TraceLog, WithoutALogLinesGoToStandardError) {
    testing::internal::CaptureStderr();
    Trace(TRACE_ERROR, "to the host");
    ASSERT_TRUE(OpenLog("run", true));
    Trace(TRACE_ERROR, "to the log");
    EXPECT_FALSE(OpenLog("../run", true));
    EXPECT_FALSE(OpenLog(std::string(260 - home.size(), 'n').c_str(), true));  // a path of more than 260 bytes
    Trace(TRACE_ERROR, "still to the log");
    CloseLog();
    const std::string seen = testing::internal::GetCapturedStderr();
    EXPECT_NE(seen.find("to the host"), std::string::npos);
    EXPECT_EQ(lines(seen).size(), 1u);
    EXPECT_EQ(lines(log()).size(), 2u);
}

TEST(TraceClock, StaysInOrderAndIsTiedAnewAtMidnightAndWhenTheCounterRunsBack) {
    static LocalTime wall;
    const auto now = [] { return wall; };
    TraceClock clock;
    wall = {12, 31, 2026, 86390.0};
    EXPECT_DOUBLE_EQ(clock.at(100, now).seconds, 86390.0);
    wall = {12, 31, 2026, 50.0};  // somebody sets the clock
    EXPECT_DOUBLE_EQ(clock.at(109.5, now).seconds, 86399.5);
    wall = {1, 1, 2027, 0.25};
    const LocalTime after = clock.at(110.25, now);
    EXPECT_DOUBLE_EQ(after.seconds, 0.25);
    EXPECT_EQ(after.year, 2027);
    wall = {1, 1, 2027, 4000};
    EXPECT_DOUBLE_EQ(clock.at(50, now).seconds, 4000);
    EXPECT_DOUBLE_EQ(clock.at(51, now).seconds, 4001);
}

TEST_F(TraceLog, TimersNestAndSpeakOnlyWhenTimingIsOn) {
    ASSERT_TRUE(OpenLog("run", true));
    TimerStart();
    EXPECT_EQ(TimerStop("silent"), 0);
    SetTiming(true);
    EXPECT_EQ(TimerStop("nothing started"), 0);
    {
        StageTimer outer("outer");
        StageTimer inner("inner");
        thread_sleep(2);
    }
    for (int i = 0; i < 100; ++i) TimerStart();
    for (int i = 0; i < 100; ++i) EXPECT_GE(TimerStop("deep"), 0);
    const auto written = lines(log());
    ASSERT_GE(written.size(), 3u);
    EXPECT_THAT(written[0], testing::ContainsRegex(R"(INFO : inner: [0-9]+\.[0-9]{3} ms elapsed\.$)"));
    EXPECT_THAT(written[1], testing::ContainsRegex(R"(outer: [0-9]+\.[0-9]{3} ms elapsed\.$)"));
}
