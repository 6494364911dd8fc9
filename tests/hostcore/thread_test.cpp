// The multi-thread suite and the pool behind it.
#include <algorithm>
#include <atomic>
#include <set>
#include <thread>

#include "fixture.h"

using namespace ofx::status;
using ofxhost::ThreadPool;

namespace {

TEST(ThreadPoolTest, RunsEachIndexOnceOnAThreadOfItsOwnJobAfterJob) {
    ThreadPool pool(4);
    std::set<std::thread::id> everyone;
    for (unsigned round = 0; round < 200; ++round) {
        const unsigned wanted = round % 7;  // 0 and more than there are, too
        std::vector<std::thread::id> ran(8);
        std::atomic<unsigned> calls{0};
        EXPECT_TRUE(pool.run(wanted, [&](unsigned index, unsigned count) {
            EXPECT_EQ(count, std::clamp(wanted, 1u, 4u));
            EXPECT_EQ(ThreadPool::jobIndex(), index);
            ran[index] = std::this_thread::get_id();
            ++calls;
        }));
        EXPECT_EQ(calls, std::clamp(wanted, 1u, 4u));
        EXPECT_EQ(ran[0], std::this_thread::get_id());
        const std::set<std::thread::id> threads(ran.begin(), ran.begin() + calls);
        EXPECT_EQ(threads.size(), calls);
        everyone.insert(threads.begin(), threads.end());
    }
    EXPECT_EQ(everyone.size(), 4u) << "the threads stay";
    EXPECT_FALSE(ThreadPool::insideJob());
}

TEST(ThreadPoolTest, RefusesNestingAndPassesExceptionsOn) {
    ThreadPool pool(3);
    std::atomic<int> refused{0};
    pool.run(3, [&](unsigned, unsigned) { refused += !pool.run(2, [](unsigned, unsigned) {}); });
    EXPECT_EQ(refused, 3);
    EXPECT_THROW(pool.run(3,
                          [](unsigned index, unsigned) {
                              if (index == 2) throw std::runtime_error("in a part");
                          }),
                 std::runtime_error);
    EXPECT_TRUE(pool.run(3, [](unsigned, unsigned) {})) << "fit for the next job";
}

TEST(ThreadPoolTest, TakesCallersOneAfterTheOther) {
    ThreadPool pool(3);
    std::atomic<int> inside{0}, calls{0};
    std::vector<std::thread> callers;
    for (int i = 0; i < 4; ++i) {
        callers.emplace_back([&] {
            for (int job = 0; job < 25; ++job) {
                pool.run(3, [&](unsigned, unsigned count) {
                    EXPECT_LE(++inside, static_cast<int>(count));
                    ++calls;
                    --inside;
                });
            }
        });
    }
    for (auto& caller : callers) caller.join();
    EXPECT_EQ(calls, 4 * 25 * 3);
}

struct ThreadSuiteTest : InverterTest {
    const OfxMultiThreadSuiteV1& t = *suites.threads;
};

TEST_F(ThreadSuiteTest, AnswersFromInsideAndOutside) {
    struct Seen {
        const OfxMultiThreadSuiteV1& suite;
        std::atomic<int> right{0}, nested{0};
    } seen{t};
    const auto body = [](unsigned index, unsigned, void* custom) {
        auto& result = *static_cast<Seen*>(custom);
        unsigned found = 99;
        result.suite.multiThreadIndex(&found);
        if (found == index && result.suite.multiThreadIsSpawnedThread()) ++result.right;
        if (result.suite.multiThread([](unsigned, unsigned, void*) {}, 2, nullptr) == ErrExists) ++result.nested;
    };
    EXPECT_EQ(t.multiThread(body, 100, &seen), OK);
    EXPECT_EQ(seen.right, 3) << "no more than the CPUs";
    EXPECT_EQ(seen.nested, 3);
    unsigned index = 99, cpus = 0;
    EXPECT_EQ(t.multiThreadIndex(&index), OK);
    EXPECT_EQ(index, 0u);
    EXPECT_EQ(t.multiThreadIsSpawnedThread(), 0);
    EXPECT_EQ(t.multiThreadNumCPUs(&cpus), OK);
    EXPECT_EQ(cpus, 3u);
    EXPECT_EQ(t.multiThreadNumCPUs(nullptr), ErrValue);
    EXPECT_EQ(t.multiThread(nullptr, 2, nullptr), ErrValue);
}

TEST_F(ThreadSuiteTest, LocksCountedMutexes) {
    OfxMutexHandle mutex = nullptr;
    ASSERT_EQ(t.mutexCreate(&mutex, 0), OK);
    const auto elsewhere = [&](auto&& call) {
        OfxStatus status = OK;
        std::thread([&] { status = call(); }).join();
        return status;
    };
    EXPECT_EQ(t.mutexLock(mutex), OK);
    EXPECT_EQ(t.mutexTryLock(mutex), OK) << "its holder may lock it again";
    EXPECT_EQ(elsewhere([&] { return t.mutexTryLock(mutex); }), Failed);
    EXPECT_EQ(elsewhere([&] { return t.mutexUnLock(mutex); }), Failed) << "not the holder";
    EXPECT_EQ(t.mutexUnLock(mutex), OK);
    EXPECT_EQ(elsewhere([&] { return t.mutexTryLock(mutex); }), Failed) << "still locked once";
    EXPECT_EQ(t.mutexUnLock(mutex), OK);
    EXPECT_EQ(t.mutexUnLock(mutex), Failed);
    EXPECT_EQ(elsewhere([&] { return t.mutexTryLock(mutex) == OK ? t.mutexUnLock(mutex) : Failed; }), OK);
    EXPECT_EQ(host.host().mutexes(), 1u);
    EXPECT_EQ(t.mutexDestroy(mutex), OK);
    EXPECT_EQ(t.mutexDestroy(mutex), ErrBadHandle);
    EXPECT_EQ(t.mutexLock(nullptr), ErrBadHandle);
    OfxMutexHandle locked = nullptr;
    ASSERT_EQ(t.mutexCreate(&locked, 1), OK);
    EXPECT_EQ(elsewhere([&] { return t.mutexTryLock(locked); }), Failed) << "created locked";
    forget();
    EXPECT_EQ(t.mutexDestroy(locked), OK);
    EXPECT_EQ(errors(), 1) << "destroyed while locked";
}

}  // namespace
