// The program among files that are not what they should be, and folders that take nothing.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "host/check/child_process.h"
#include "host/check/random.h"
#include "host/cli/failure.h"
#include "host/cli/picture_file.h"
#include "hostcli/temporary_folder.h"
#include "support/sanitizers.h"

namespace {

namespace fs = std::filesystem;
using bundlecheck::ChildProcess;
using bundlecheck::MessageKind;
using quillon::Picture;
using testing::HasSubstr;

constexpr const char* formats[] = {"exr", "tif", "jpg", "png", "ppm", "tga", "hdr", "bmp"};

Picture someOfIt() {
    Picture picture(40, 30);
    bundlecheck::Random random(5);
    for (float& value : picture.rgba) value = static_cast<float>(random.unit());
    return picture;
}

std::string bytesOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// In a process of its own as well: the library's threads, once started here, would be missing in every child.
void writeApart(const fs::path& path) {
    ChildProcess process([&](const bundlecheck::Sender&) { quillon::writePicture(path, someOfIt(), {}); }, {});
    ChildProcess::End end;
    while ((end = process.advance()) == ChildProcess::End::Running) bundlecheck::waitForAny({&process}, 0.1);
    ASSERT_EQ(end, ChildProcess::End::Finished) << process.lastStep();
}

// How a process ends that reads the file: "read", "refused: ...", or how it died.
std::string readApart(const fs::path& path, std::size_t memory = 4ull << 30) {
    ChildProcess process(
        [&](const bundlecheck::Sender& sender) {
            try {
                const Picture read = quillon::readPicture(path);
                sender.send(MessageKind::Text, "read");
            } catch (const quillon::RunError& error) {
                sender.send(MessageKind::Text, std::string("refused: ") + error.what());
            }
        },
        {.seconds = 20.0, .memory = memory, .scratch = ""});
    ChildProcess::End end;
    while ((end = process.advance()) == ChildProcess::End::Running) bundlecheck::waitForAny({&process}, 0.1);
    if (end != ChildProcess::End::Finished) return process.deathText() + ", " + process.lastStep();
    return process.messages().front().text;
}

std::string oneOutcome(const fs::path& path, const std::string& bytes, std::size_t memory = 4ull << 30) {
    std::ofstream(path, std::ios::binary) << bytes;
    const std::string outcome = readApart(path, memory);
    const bool told = outcome.starts_with("refused: ") && outcome.find(path.string()) != std::string::npos;
    return told ? "refused" : outcome;
}

class DamagedFiles : public testing::TestWithParam<const char*> {};

TEST_P(DamagedFiles, AreReadOrRefusedByName) {
    if (threadSanitizer) GTEST_SKIP() << "it can't follow the threads of a library in forked processes";
    const TemporaryFolder folder;
    const std::string format = GetParam();
    const fs::path whole = folder / ("whole." + format), damaged = folder / ("damaged." + format);
    writeApart(whole);
    const std::string bytes = bytesOf(whole);
    ASSERT_GT(bytes.size(), 100u);
    for (const double part : {0.0, 0.001, 0.01, 0.05, 0.2, 0.5, 0.9, 0.999}) {
        const auto size = static_cast<std::size_t>(static_cast<double>(bytes.size()) * part);
        const std::string outcome = oneOutcome(damaged, bytes.substr(0, size));
        EXPECT_TRUE(outcome == "refused" || (outcome == "read" && part > 0.04))
            << format << " cut at " << size << ": " << outcome;
    }
    bundlecheck::Random random(bundlecheck::hashOf(format));
    for (int i = 0; i < 25; ++i) {
        std::string changed = bytes;
        for (int j = 0; j < 1 + i / 5; ++j) {
            // The head tells sizes and kinds, and is hit as often as all the rest.
            const int place = random.below(random.chance(0.5) ? 100 : static_cast<int>(bytes.size()));
            changed[static_cast<std::size_t>(place)] = static_cast<char>(random.below(256));
        }
        const std::string outcome = oneOutcome(damaged, changed);
        EXPECT_TRUE(outcome == "refused" || outcome == "read") << format << ", damage " << i << ": " << outcome;
    }
}

INSTANTIATE_TEST_SUITE_P(All, DamagedFiles, testing::ValuesIn(formats),
                         [](const auto& tested) { return std::string(tested.param); });

TEST(HugeFiles, AreRefusedBeforeMemoryRunsOut) {
    const TemporaryFolder folder;
    for (const char* size : {"200000 10", "100000 100000", "60000 8000", "2147483647 2147483647"}) {
        const std::string outcome =
            oneOutcome(folder / "huge.ppm", "P6 " + std::string(size) + " 255\nxxx", std::size_t{3} << 30);
        EXPECT_EQ(outcome, "refused") << size;
    }
}

// ---- The program ------------------------------------------------------------------------------------------------

class Started {
  public:
    Started(std::vector<std::string> arguments, const std::string& output, const std::string& temporary) {
        arguments.insert(arguments.begin(), QUILLON_PROGRAM);
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        m_output = output;
        m_child = fork();
        if (m_child != 0) return;
        const int file = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::dup2(file, 1);
        ::dup2(file, 2);
        ::setenv("TMPDIR", temporary.c_str(), 1);
        ::execv(QUILLON_PROGRAM, argv.data());
        ::_exit(98);
    }
    void interrupt() const { ::kill(m_child, SIGINT); }
    int code() const {
        int status = 0;
        ::waitpid(m_child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }
    std::string text() const { return bytesOf(m_output); }

  private:
    pid_t m_child = -1;
    std::string m_output;
};

const std::string bundle = BUNDLES "/Defective.ofx.bundle";

TEST(UnwritablePlaces, AreReported) {
    const TemporaryFolder folder;
    writeApart(folder / "in.exr");
    const struct {
        std::vector<std::string> arguments;
        const char* says;
    } cases[] = {
        {{"render", "Sound", "--bundle", bundle, "-i", folder / "in.exr", "-o", "/proc/out.exr"}, "/proc/out.exr"},
        {{"render", "Sound", "--bundle", bundle, "-i", folder / "in.exr", "-o", folder / "in.exr/out.exr"}, "in.exr"},
        {{"check", "--bundle", bundle, "--effects", "Sound", "--json", "/proc/out.json"}, "/proc"},
        {{"check", "--bundle", bundle, "--effects", "Sound", "--json", folder / "none/out.json"}, "none"},
        {{"check", "--bundle", bundle, "--effects", "Sound", "--json", folder.path()}, "a folder"},
    };
    for (const auto& one : cases) {
        const auto start = std::chrono::steady_clock::now();
        const Started program(one.arguments, folder / "log", folder.path());
        EXPECT_EQ(program.code(), 1) << program.text();
        EXPECT_THAT(program.text(), HasSubstr(one.says));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60)) << "before the work, not after";
    }
    EXPECT_EQ(folder.names(), (std::set<std::string>{"in.exr", "log"}));
}

TEST(Interrupting, ACheckEndsItsChildrenAndCleansUp) {
    const TemporaryFolder folder, logs;
    const Started program(
        {"check", "--bundle", bundle, "--effects", "Hangs", "--invariants", "sizes", "--timeout", "600"}, logs / "log",
        folder.path());
    for (int i = 0; i < 1000 && folder.names().empty(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    program.interrupt();
    EXPECT_EQ(program.code(), 1000 + SIGINT) << "by the signal, so that shells notice";
    EXPECT_THAT(program.text(), HasSubstr("interrupted"));
    EXPECT_TRUE(folder.names().empty());
}

}  // namespace
