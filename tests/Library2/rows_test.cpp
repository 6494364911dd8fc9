// Row-parallel work: the splits, the host's threads with all their moods, the bundle's own.
#include <atomic>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

#include "Library2/InstanceRecord.h"
#include "Library2/MultiProcess.h"
#include "probe_effect.h"

namespace {

using probe::script;
using support::TestEffect;
using testing::ElementsAre;

using Range = std::pair<int, int>;

std::vector<Range> split(int rows, int threads, bool own) {
    std::vector<Range> result;
    for (int i = 0; i < threads; ++i) {
        const auto range = own ? ownRowRange(rows, i, threads) : hostRowRange(rows, unsigned(i), unsigned(threads));
        result.emplace_back(range.first, range.last);
    }
    return result;
}

TEST(RowSplit, GivesEachThreadAsManyRowsAndTheLastTheRemainder) {
    for (const bool own : {false, true}) {
        EXPECT_THAT(split(10, 4, own), ElementsAre(Range(0, 1), Range(2, 3), Range(4, 5), Range(6, 9)));
        for (const int rows : {1, 7, 63, 64, 1080})
            for (const int threads : {1, 2, 7, 64}) {
                std::vector<int> seen(static_cast<std::size_t>(rows));
                for (const auto& [first, last] : split(rows, threads, own))
                    for (int y = first; y <= last; ++y) ++seen.at(static_cast<std::size_t>(y));
                EXPECT_THAT(seen, testing::Each(1)) << rows << " rows, " << threads << " threads, own " << own;
            }
    }
}

// ---- In a render ----------------------------------------------------------------------------------------------

// A pattern whose every row is computed by some thread, once at least.
void paintRows(probe::Probe& object) {
    K7Image* image = object.output.image.get();
    object.MultiProcess(
        [image](int first, int last) {
            for (int y = first; y <= last; ++y)
                for (int i = 0; i < image->width * 4; ++i)
                    image_row<float>(image, y)[i] = float(y * 1000 + i) / 65536.0f;
        },
        image->height);
}

class Rows : public probe::ProbeTest {
  protected:
    TestEffect& effectOn(std::string_view word, unsigned threads) {
        on(word, threads).project.height = 47;
        TestEffect& effect = create();
        effect.connect(effect.primaryClip().name(), support::gradientImage(support::layoutOf(64, 47)));
        script().process = paintRows;
        return effect;
    }
    static std::vector<float> pattern() {
        std::vector<float> result;
        for (int y = 0; y < 47; ++y)
            for (int i = 0; i < 256; ++i) result.push_back(float(y * 1000 + i) / 65536.0f);
        return result;
    }
};

TEST_F(Rows, EveryHostAndNumberOfThreadsGivesTheSameBits) {
    for (const char* word : {"generic", "fusion", "vegas"})
        for (const unsigned threads : {1u, 2u, 3u, 7u, 16u})
            EXPECT_EQ(effectOn(word, threads).render(), pattern()) << word << threads;
}

TEST_F(Rows, AHostMayGiveFewerThreadsOrNoneOrRefuse) {
    const struct {
        std::optional<unsigned> cpus, given;
        std::optional<OfxStatus> status;
    } moods[] = {
        {{}, 3u, {}},
        {{}, 1u, {}},
        {64u, 2u, {}},
        {0u, {}, {}},
        {{}, {}, ofx::status::Failed},
        {{}, {}, ofx::status::ErrExists},
        {{}, {}, ofx::status::OK},  // says yes and does nothing
    };
    for (const auto& mood : moods) {
        TestEffect& effect = effectOn("generic", 7);
        ofxhost::HostHooks hooks;
        hooks.reportedCpus = mood.cpus;
        hooks.maxThreadsGiven = mood.given;
        hooks.multiThreadStatus = mood.status;
        host->setHooks(hooks);
        EXPECT_EQ(effect.render(), pattern())
            << (mood.cpus ? int(*mood.cpus) : -1) << (mood.given ? int(*mood.given) : -1);
    }
}

TEST_F(Rows, WorkInsideWorkRunsOnItsThread) {
    for (const char* word : {"generic", "fusion"}) {
        TestEffect& effect = effectOn(word, 3);
        script().process = [](probe::Probe& object) {
            K7Image* image = object.output.image.get();
            object.MultiProcess(
                [&](int first, int last) {
                    const auto outer = std::this_thread::get_id();
                    for (int y = first; y <= last; ++y)
                        object.MultiProcess(
                            [&](int from, int to) {
                                EXPECT_EQ(std::this_thread::get_id(), outer);
                                for (int i = from; i <= to; ++i)
                                    image_row<float>(image, y)[i] = float(y * 1000 + i) / 65536.0f;
                            },
                            image->width * 4);
                },
                image->height);
        };
        EXPECT_EQ(effect.render(), pattern()) << word;
    }
}

// What a row worker throws ends the render, not the host.
TEST_F(Rows, AnExceptionInAWorkerEndsTheRenderQuietly) {
    for (const char* word : {"generic", "fusion", "vegas"}) {
        for (const int failing : {0, 46}) {
            TestEffect& effect = effectOn(word, 3);
            effect.background = 0.25f;
            script().process = [failing](probe::Probe& object) {
                object.MultiProcess(
                    [failing](int first, int last) {
                        if (first <= failing && failing <= last) throw std::runtime_error("row");
                    },
                    47);
            };
            EXPECT_EQ(effect.renderStatus(), ofx::status::OK) << word;
            EXPECT_TRUE(effect.imagesBalanced());
            EXPECT_THAT(effect.lastImage()->toFloats(), testing::Each(0.25f));
            script().process = paintRows;
            EXPECT_EQ(effect.render(), pattern()) << "the next render works";
            EXPECT_EQ(host->faults(), "");
        }
    }
}

// ---- The bundle's own threads ---------------------------------------------------------------------------------

TEST(OwnThreads, RunOneJobAtATimeOnAllProcessors) {
    K7PTMultiProcess first, second;
    EXPECT_GE(first.processorCount(), 1);
    EXPECT_LE(first.processorCount(), 64);
    struct Job {
        std::atomic<int>*active, *started;  // threads at work: units of one job, thousands of the other
        int unit;
    };
    std::atomic<int> active{0}, started{0};
    const auto function = [](const K7PTMultiProcess::ThreadRecord*, void* argument) {
        const auto& job = *static_cast<const Job*>(argument);
        const int now = job.active->fetch_add(job.unit) + job.unit;
        EXPECT_TRUE(now % 1000 == 0 || now < 1000) << "two jobs at a time";
        std::this_thread::yield();
        ++*job.started;
        job.active->fetch_sub(job.unit);
    };
    std::vector<std::thread> callers;
    for (const int unit : {1, 1000}) {
        callers.emplace_back([&, unit] {
            Job job{&active, &started, unit};
            for (int i = 0; i < 20; ++i) (unit == 1 ? first : second).mp_exec(function, &job);
        });
    }
    for (auto& caller : callers) caller.join();
    EXPECT_EQ(started, 40 * first.processorCount());
}

// The libraries' row loops lead to the effect at work.
TEST_F(Rows, LibraryLoopsRunOnTheEffectsThreadsAboveTheirThreshold) {
    TestEffect& effect = effectOn("generic", 2);
    script().process = [](probe::Probe& object) {
        object.LibMpSetup(5);
        std::atomic<int> calls{0};
        const auto count = [](void* data, int, int) { ++*static_cast<std::atomic<int>*>(data); };
        image_dispatch_rows(count, 9, &calls);
        EXPECT_EQ(calls.exchange(0), 1) << "below twice the thread count";
        image_dispatch_rows(count, 10, &calls);
        EXPECT_EQ(calls, 2);
    };
    effect.render();
}

}  // namespace
