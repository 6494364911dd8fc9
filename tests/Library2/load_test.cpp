// The load action: logging variables from the store, and the memory reports when an instance goes.
#include <algorithm>

#include "k7pi_baselib/temporary_home.h"
#include "probe_effect.h"

namespace {

class Load : public TemporaryHome {
  protected:
    Load() {
        bundleState() = {};
        probe::script() = {};
    }
    ~Load() override { k7_memory_set_tracking(false), k7_memory_set_trace(false); }
    void variable(const std::string& name, const std::string& value) {
        const auto size = static_cast<unsigned char>(value.size() + 1);
        write(home + "/Settings/Variables/" + name, std::string{char(size), 0, 0, 0} + value + '\0');
    }
    std::string log() const { return contents(home + "/Logs/Brindlemoor_Quillon_ofx.log"); }
    static OfxStatus load() { return probe::probePlugin()->mainEntry(ofx::action::Load, nullptr, nullptr, nullptr); }
};

TEST_F(Load, WithoutVariablesNothingIsOpened) {
    EXPECT_EQ(load(), 0);
    EXPECT_FALSE(std::filesystem::exists(home + "/Logs/Brindlemoor_Quillon_ofx.log"));
    EXPECT_FALSE(k7_memory_tracking());
    EXPECT_FALSE(GetTiming());
    EXPECT_EQ(GetTraceLevel(), TRACE_INFO);
}

TEST_F(Load, EachVariableOpensTheLog) {
    for (const auto& [name, value] : {std::pair{"PERFMON", "YES"}, {"MEMMON", "yes"}, {"TRACELEVEL", "4"}}) {
        CloseLog();
        std::filesystem::remove_all(home);
        variable(name, value);
        EXPECT_EQ(load(), 0);
        Trace(TRACE_ERROR, "hello from %s\n", name);
        EXPECT_THAT(log(), testing::HasSubstr(std::string("hello from ") + name));
        EXPECT_EQ(GetTiming(), std::string_view(name) == "PERFMON");
        EXPECT_EQ(k7_memory_tracking(), std::string_view(name) == "MEMMON");
        EXPECT_EQ(GetTraceLevel(), std::string_view(name) == "TRACELEVEL" ? 4 : TRACE_INFO);
    }
}

// Nothing is opened that is not there, and without a desktop the help button tells what it can.
TEST_F(Load, TheHelpButtonNamesTheEffectAndItsManual) {
    const ScopedEnvironment noX("DISPLAY", nullptr), noWayland("WAYLAND_DISPLAY", nullptr);
    variable("TRACELEVEL", "3");
    const std::string manual = home + "/manual.pdf";
    variable("QuillonHelpPath", manual);
    support::RecordingHost host(ofxhost::hostConfig("generic"), {probe::probePlugin()});
    support::TestEffect& effect = host.effect("Q_Probe");
    testing::internal::CaptureStderr();
    EXPECT_EQ(effect.press("HelpButton"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Q_Probe Version 7.00\n");
    EXPECT_THAT(log(), testing::HasSubstr("Quillon Plug-Ins for OFX: v7.00 of 02-Feb-2012"));
    EXPECT_THAT(log(), testing::HasSubstr("More help on Q_Probe: file://" + manual));
    EXPECT_THAT(log(), testing::HasSubstr("for tests"));
    EXPECT_THAT(log(), testing::HasSubstr("Error Loading File: The file " + manual + " was not found."));
    write(manual, "a manual");
    effect.press("HelpButton");
    EXPECT_THAT(log(),
                testing::HasSubstr("There is no application associated with the file name extension for " + manual));
}

TEST_F(Load, AWholeLifeLeavesNoBlockBehind) {
    variable("MEMMON", "yes");
    variable("TRACELEVEL", "5");
    k7_memory_set_tracking(false);
    {
        ofxhost::HostConfig config = ofxhost::hostConfig("fusion");
        config.threads = 2;
        support::RecordingHost host(config, {probe::probePlugin()});
        support::TestEffect& effect = host.effect("Q_Probe");
        ASSERT_TRUE(k7_memory_tracking());
        effect.connect("Input", support::gradientImage(support::layoutOf(64, 48)));
        probe::script().process = [](probe::Probe& object) {
            EXPECT_GE(k7_memory_statistics(MemoryTable::Image).current_size, 2u * 64 * 48 * 16) << object.currentFrame;
        };
        effect.render();
        effect.render(1.0);
        host.abortAt(3);
        effect.renderStatus(2.0);
        EXPECT_EQ(k7_memory_statistics(MemoryTable::Image).current_size, 0u);
        const auto reports = [this](const std::string& line) {
            const auto all = lines(log());
            return std::count_if(all.begin(), all.end(), [&](const std::string& text) { return text.ends_with(line); });
        };
        EXPECT_EQ(reports("MEMORY ALLOCATOR REPORT"), 0);
        effect.destroyInstance();
        EXPECT_EQ(reports("MEMORY ALLOCATOR REPORT"), 2) << "one for each kind of memory";
        EXPECT_EQ(reports("Blocks currently allocated: 0"), 2);
        EXPECT_EQ(k7_memory_statistics(MemoryTable::Image).current_size, 0u);
        EXPECT_EQ(k7_memory_statistics(MemoryTable::Normal).current_size, 0u);
        EXPECT_EQ(k7_memory_statistics(MemoryTable::Image).internal_error, 0);
    }
    EXPECT_THAT(log(), testing::HasSubstr("LibMpSetup() completed"));
    EXPECT_THAT(log(), testing::HasSubstr("K7PTMultiProcess DESTRUCTOR exit. Instance count = 0"));
}

}  // namespace
