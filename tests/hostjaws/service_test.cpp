// The service with sound jobs and bad ones, alone, in company and after a death. Without Ghostscript nothing is tested.
#include "host/jaws/service.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <mutex>
#include <thread>

#include "jawslib/jawslib.h"
#include "k7pi_baselib/temporary_home.h"

namespace {

namespace fs = std::filesystem;
using testing::Each;
using testing::HasSubstr;
using testing::SizeIs;

constexpr char RED[] = "1 0 0 setrgbcolor 0 0 30 20 rectfill showpage\n";

class JawsService : public TemporaryHome {
  protected:
    void SetUp() override {
        if (jaws::findGhostscript().empty()) GTEST_SKIP() << "Ghostscript is not installed: the service is not tested";
        SetTraceLevel(TRACE_OFF);
        fs::create_directories(temporary);
        fs::create_directories(input);
    }

    // Services that run while it lives, with what they say.
    class Running {
      public:
        Running(const std::string& base, int count, jaws::RunLimits limits = {}) {
            for (int i = 0; i < count; ++i)
                m_threads.emplace_back([this, base, limits] {
                    jaws::Service service(
                        base,
                        [this](const std::string& line) {
                            const std::lock_guard lock(m_lock);
                            m_lines.push_back(line);
                        },
                        limits);
                    service.run([this] { return m_stop.load(); });
                });
        }
        ~Running() { stop(); }
        void stop() {
            m_stop = true;
            for (std::thread& thread : m_threads)
                if (thread.joinable()) thread.join();
        }
        std::vector<std::string> lines() {
            const std::lock_guard lock(m_lock);
            return m_lines;
        }
        bool says(std::size_t lines_wanted, double seconds = 30.0) {
            for (int i = 0; i < seconds * 50 && lines().size() < lines_wanted; ++i) thread_sleep(20);
            return lines().size() >= lines_wanted;
        }

      private:
        std::mutex m_lock;
        std::vector<std::string> m_lines;
        std::atomic<bool> m_stop{false};
        std::vector<std::thread> m_threads;
    };

    std::string job(const std::string& program, JawsRequest request = {}) {
        if (request.picture.empty()) request.picture = output + "/" + make_uuid() + ".tif";
        if (request.width == 720) request.width = 40, request.height = 30;
        const std::string script = temporary_name(), name = make_uuid();
        write(script, program);
        EXPECT_EQ(write_jaws_job(script.c_str(), &request, (input + "/" + name).c_str()), JawsJob::Done);
        fs::remove(script);
        return name;
    }
    static std::vector<std::string> names(const std::string& folder) {
        std::vector<std::string> all;
        for (const auto& entry : fs::directory_iterator(folder)) all.push_back(entry.path().filename().string());
        return all;
    }

    const std::string base = root + "/base", input = base + "/JawsServiceInput", output = base + "/JawsServiceOutput";
    const std::string temporary = root + "/tmp";
    ScopedEnvironment m_temporary{"TMPDIR", temporary.c_str()};
    ScopedEnvironment m_other{"TMP", nullptr};
};

// The client and the service as they work together: sharp edges where they were drawn, transparent elsewhere.
TEST_F(JawsService, DrawsWhatAClientAsksFor) {
    Running service(base, 1);
    write(root + "/script.ps", RED);
    JwrsClient client(base + "/");
    ASSERT_TRUE(client.SetResolution(60, 40) && client.SetDepth(1));
    ASSERT_TRUE(client.SendPostScriptToService((root + "/script.ps").c_str(), true));
    const ImagePtr picture = client.GetImageFromService(20'000, true);
    ASSERT_TRUE(picture) << int(client.status());
    ASSERT_EQ(picture->channels, 4);
    const auto pixel = [&](int x, int y) {
        std::vector<float> samples;
        for (int c = 0; c < 4; ++c) samples.push_back(image_get_sample(picture.get(), x, y, c));
        return samples;
    };
    EXPECT_EQ(pixel(29, 19), (std::vector<float>{255, 0, 0, 255})) << "the origin is the lower left corner";
    for (const auto& [x, y] : {std::pair{30, 10}, {10, 20}, {59, 39}})
        EXPECT_EQ(pixel(x, y), (std::vector<float>{0, 0, 0, 0})) << x << "," << y;
    ASSERT_TRUE(service.says(1));
    EXPECT_THAT(service.lines()[0], HasSubstr("60x40, 4 samples a pixel"));
    service.stop();
    EXPECT_THAT(names(input), SizeIs(0));
    EXPECT_THAT(names(output), SizeIs(0));
    EXPECT_THAT(names(temporary), SizeIs(0)) << "nothing of the drawing stays";
}

TEST_F(JawsService, EndsEveryBadJobWithoutAPictureOrHarm) {
    write(root + "/secret", "secret");
    const std::string secret = "(" + root + "/secret)", evil = "(" + root + "/evil)";
    std::vector<std::string> bad = {
        job(RED, {.picture = root + "/" + make_uuid() + ".tif"}),
        job(RED, {.picture = output + "/../../" + make_uuid() + ".tif"}),
        job(RED, {.picture = output + "/picture.tif"}),
        job(RED, {.picture = make_uuid() + ".tif"}),
        job(RED, {.width = 5000, .height = 40}),
        job(RED, {.width = 40, .height = -40}),
        job(RED, {.width = 40, .height = 40, .depth = 65}),
        job("{} loop"),
        job("[ { 60000 array } loop"),
        job("{ (x) = } loop"),
        job(secret + " (r) file 10 string readstring pop = showpage"),
        job(evil + " (w) file dup (x) writestring closefile showpage"),
        job("(%pipe%touch " + root + "/evil) (w) file showpage"),
        job(secret + " deletefile showpage"),
        job("<</OutputFile " + evil + ">> setpagedevice showpage"),
        job(""),
        job("quit"),
        job("1 0 div showpage"),
    };
    bad.push_back(make_uuid());
    write(input + "/" + bad.back(), std::string(100'000, 'x'));  // never was a job
    bad.push_back(make_uuid());
    write(input + "/" + bad.back(), "");
    bad.push_back(make_uuid());
    fs::create_symlink(root + "/secret", input + "/" + bad.back());
    const std::vector<std::string> foreign = {"notes.txt", make_uuid() + ".part", make_uuid() + "0"};
    for (const std::string& name : foreign) write(input + "/" + name, "not a job");
    const std::string good = output + "/" + make_uuid() + ".tif";
    job(RED, {.picture = good});

    Running service(base, 1, {.seconds = 1.0, .memory = 300u << 20, .file = 1u << 20});
    ASSERT_TRUE(service.says(bad.size() + 1, 60.0)) << testing::PrintToString(service.lines());
    service.stop();
    EXPECT_THAT(names(input), testing::UnorderedElementsAreArray(foreign));
    EXPECT_THAT(names(output), testing::ElementsAre(fs::path(good).filename().string()));
    EXPECT_EQ(contents(root + "/secret"), "secret");
    EXPECT_FALSE(fs::exists(root + "/evil"));
    EXPECT_THAT(names(root), testing::UnorderedElementsAre("base", "tmp", "secret"));
    EXPECT_THAT(names(temporary), SizeIs(0));
}

// Where a job may read and write files, it finds none of others and leaves none.
TEST_F(JawsService, GivesEachJobAnEmptyFolder) {
    write(temporary + "/of-others", "x");
    job("(*) { 1 0 div } 100 string filenameforall { (" + temporary +
        "/*) { 1 0 div } 100 string filenameforall } stopped { $error /errorname get /undefinedresult eq { 1 0 div } "
        "if } if "
        "{ (left) (w) file dup (x) writestring closefile } stopped clear " +
        RED);
    Running service(base, 1);
    ASSERT_TRUE(service.says(1));
    service.stop();
    EXPECT_THAT(service.lines()[0], HasSubstr("40x30")) << "a file that it finds would stop it";
    EXPECT_THAT(names(temporary), testing::ElementsAre("of-others"));
}

TEST_F(JawsService, SharesTheDirectoriesWithOthers) {
    for (int i = 0; i < 8; ++i) job(RED);
    Running services(base, 3);
    ASSERT_TRUE(services.says(8));
    services.stop();
    EXPECT_THAT(services.lines(), SizeIs(8)) << "each once";
    EXPECT_THAT(services.lines(), Each(HasSubstr("40x30")));
    EXPECT_THAT(names(output), SizeIs(8));
    EXPECT_THAT(names(input), SizeIs(0)) << "no locks";
}

TEST_F(JawsService, LeavesAJobToOthersWhenItEndsAndTakesThoseOfTheDead) {
    const std::string endless = job("{} loop");
    {
        Running service(base, 1);
        while (!fs::exists(input + "/" + endless + ".lock")) thread_sleep(10);
        thread_sleep(100);
    }
    EXPECT_THAT(names(input), testing::ElementsAre(endless));
    EXPECT_THAT(names(temporary), SizeIs(0));

    write(input + "/" + endless + ".lock", "");         // of a service that was killed,
    write(temporary + "/quillon-jaws-old/job.ps", "");  // and what it was at
    const std::string held = job(RED);                  // somebody works at this one
    const int lock = ::open((input + "/" + held + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(::flock(lock, LOCK_EX), 0);
    Running service(base, 1, {.seconds = 0.5});
    ASSERT_TRUE(service.says(1));
    EXPECT_THAT(service.lines()[0], HasSubstr(endless + ": no picture: not drawn within"));
    thread_sleep(400);
    EXPECT_THAT(service.lines(), SizeIs(1));
    EXPECT_FALSE(fs::exists(temporary + "/quillon-jaws-old"));
    ::close(lock);
    EXPECT_TRUE(service.says(2));
}

// A limit on the size of files stands in for a disk without room.
TEST_F(JawsService, SurvivesAFullDisk) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{2000, before.rlim_max};
    Running service(base, 1);
    job(RED);
    ::setrlimit(RLIMIT_FSIZE, &small);
    const bool ended = service.says(1);
    ::setrlimit(RLIMIT_FSIZE, &before);
    ASSERT_TRUE(ended);
    EXPECT_THAT(service.lines()[0], HasSubstr("no picture: the picture can't be written"));
    EXPECT_THAT(names(input), SizeIs(0));
    EXPECT_THAT(names(output), SizeIs(0));
    job(RED);
    ASSERT_TRUE(service.says(2));
    EXPECT_THAT(names(output), SizeIs(1));
}

}  // namespace
