// Which of the plug-in's lines are its trace log's, and what becomes of them.

#include "host/cli/trace_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iostream>
#include <sstream>

#include "host/cli/console.h"
#include "host/cli/plugin_output.h"
#include "temporary_folder.h"

namespace quillon {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(TraceLine, IsToldFromOtherLines) {
    const auto info = parseTraceLine("(Some_run) 11/21/26 06:45:39.12 INFO : Radial LIC: 1.500 ms elapsed.");
    ASSERT_TRUE(info);
    EXPECT_EQ(info->kind, TraceKind::Other);
    EXPECT_EQ(info->text, "Radial LIC: 1.500 ms elapsed.");
    EXPECT_EQ(parseTraceLine("() 01/02/03 00:00:00.00 ERROR: it broke")->kind, TraceKind::Error);
    EXPECT_EQ(parseTraceLine("() 01/02/03 00:00:00.00 WARN : hm")->kind, TraceKind::Other);
    const auto more = parseTraceLine("()                           : Simulating 2-way multi-processing");
    ASSERT_TRUE(more);
    EXPECT_EQ(more->kind, TraceKind::More);
    EXPECT_EQ(more->text, "Simulating 2-way multi-processing");
    for (const char* line : {"", "(", "()", "(x) hello", "free(): invalid pointer", "() 1/02/03 00:00:00.00 ERROR: x",
                             "() 01/02/03 00:00:00.00 error: x", "() 01/02/03 00:00:00.00", "quillon: no"})
        EXPECT_FALSE(parseTraceLine(line)) << line;
}

TEST(StageTime, IsReadFromTheEndOfTheText) {
    const auto time = parseStageTime("Find: the map: 12.345 ms elapsed.");
    ASSERT_TRUE(time);
    EXPECT_EQ(time->stage, "Find: the map");
    EXPECT_EQ(time->milliseconds, 12.345);
    for (const char* text : {"", " ms elapsed.", "A: x ms elapsed.", "A 1.0 ms elapsed.", "A: 1.0 ms"})
        EXPECT_FALSE(parseStageTime(text)) << text;
}

#ifndef QUILLON_SANITIZED

void say(const std::string& text) {
    ASSERT_EQ(::write(STDERR_FILENO, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

class PluginOutputTest : public testing::Test {
  protected:
    std::string log() const {
        std::ostringstream text;
        text << std::ifstream(folder / "log").rdbuf();
        return text.str();
    }
    TemporaryFolder folder;
};

TEST_F(PluginOutputTest, ShowsErrorsAndForeignLinesAndLogsAll) {
    testing::internal::CaptureStderr();
    {
        Console console(true, false, folder / "log");
        const PluginOutput output(console, false);
        say("() 01/02/03 00:00:00.00 INFO : chatter\n()                           : and more\n");
        say("() 01/02/03 00:00:00.00 ERROR: broken\n()                           : because\n");
        say("() 01/02/03 00:00:00.00 WARN : doubt\n()                           : of it\nforeign ");
        std::cerr << "own" << std::endl;
        say("line\nunfinished");
    }
    say("after\n");
    const std::string shown = testing::internal::GetCapturedStderr();
    for (const char* text : {"ERROR: broken\n", ": because\n", "foreign line\n", "own\n", "unfinished\n", "after\n"})
        EXPECT_THAT(shown, HasSubstr(text));
    for (const char* text : {"chatter", "and more", "doubt", "of it"}) {
        EXPECT_THAT(shown, Not(HasSubstr(text)));
        EXPECT_THAT(log(), HasSubstr(text));
    }
    EXPECT_THAT(log(), HasSubstr("foreign line"));
}

#endif

}  // namespace
}  // namespace quillon
