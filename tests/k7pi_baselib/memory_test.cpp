#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <thread>
#include <unordered_map>

#include "k7pi_baselib/memory_tracker.h"
#include "temporary_home.h"

namespace {

std::string pointer_text(const void* pointer) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", pointer);
    return text;
}

}  // namespace

class TrackedMemory : public TemporaryHome {
  protected:
    TrackedMemory() {
        EXPECT_TRUE(OpenLog("run", true));
        k7_memory_set_tracking(true);
    }
    ~TrackedMemory() override {
        k7_memory_set_trace(false);
        k7_memory_set_enabled(true);
        k7_memory_set_tracking(false);
    }
    bool logged(const std::string& text) const { return log().find(text) != std::string::npos; }
    static MemoryStatistics normal() { return k7_memory_statistics(MemoryTable::Normal); }
    static MemoryStatistics image() { return k7_memory_statistics(MemoryTable::Image); }
};

TEST_F(TrackedMemory, ManyBlocksAgainstAPlainMap) {
    std::unordered_map<void*, std::size_t> live;
    const MemoryStatistics before = normal();
    std::mt19937 random(2);
    std::size_t total = 0;
    for (int step = 0; step < 60000; ++step) {
        if (random() % 3 || live.empty()) {
            const std::size_t size = 1 + random() % 64;
            void* block = k7_malloc(size);
            ASSERT_NE(block, nullptr);
            live[block] = size;
            total += size;
        } else {
            total -= live.begin()->second;
            k7_free(live.begin()->first);
            live.erase(live.begin());
        }
    }
    const MemoryStatistics after = normal();
    EXPECT_GT(after.collisions, before.collisions);
    EXPECT_EQ(after.current_size, before.current_size + total);
    EXPECT_GE(after.peak_size, after.current_size);
    for (auto& [block, size] : live) k7_free(block);
    EXPECT_EQ(normal().current_size, before.current_size);
    EXPECT_EQ(normal().alloc_calls - before.alloc_calls, normal().free_calls - before.free_calls);
    EXPECT_EQ(log(), "");
}

TEST_F(TrackedMemory, MistakesAreRefusedWithALine) {
    void* block = k7_malloc(10, "a.cpp", 1);
    const std::string address = pointer_text(block);
    const std::string missing = " attempted - but " + address + " is not allocated! [";
    k7_image_free(block, "b.cpp", 2);
    std::memset(block, 1, 10);  // still there
    k7_free(block, "c.cpp", 3);
    k7_free(reinterpret_cast<void*>(std::stoull(address, nullptr, 16)), "d.cpp", 4);
    EXPECT_EQ(k7_realloc(reinterpret_cast<void*>(0x1230), 5, "e.cpp", 5), nullptr);
    k7_memory_set_tracking(false);
    void* earlier = k7_malloc(10, "a.cpp", 1);
    k7_memory_set_tracking(true);
    k7_free(earlier, "late.cpp", 6);
    k7_memory_set_enabled(false);
    k7_free(earlier, "off.cpp", 7);
    k7_memory_set_enabled(true);
    EXPECT_EQ(k7_malloc(0, "z.cpp", 1), nullptr);
    EXPECT_EQ(k7_realloc(nullptr, 0, "z.cpp", 2), nullptr);
    EXPECT_EQ(k7_strdup(nullptr, "z.cpp", 3), nullptr);
    k7_free(nullptr, "z.cpp", 4);
    EXPECT_EQ(k7_image_malloc(0, "z.cpp", 5), nullptr);
    k7_image_free(nullptr, "z.cpp", 6);
    for (const std::string& text :
         {"k7_image_free(" + address + ")" + missing + "b.cpp(2)]\n",
          "k7_free(" + address + ")" + missing + "d.cpp(4)]\n",
          std::string("k7_realloc(0x1230,5) attempted - but 0x1230 is not allocated!  [e.cpp(5)]\n"),
          std::string("k7_malloc( size=0 ) attempted! [z.cpp(1)]\n"),
          std::string("k7_realloc( size=0 ) attempted! [z.cpp(2)]\n"),
          std::string("k7_strdup( NULL ) attempted! [z.cpp(3)]\n"),
          std::string("k7_free( NULL ) attempted! [z.cpp(4)]\n"),
          std::string("k7_image_malloc( size=0 ) attempted! [z.cpp(5)]\n"),
          std::string("k7_image_free( NULL ) attempted! [z.cpp(6)]\n")})
        EXPECT_TRUE(logged(" ERROR: K7-HM-DEBUG: " + text)) << text;
    EXPECT_TRUE(logged(" is not allocated! [late.cpp(6)]\n"));
    EXPECT_FALSE(logged("c.cpp") || logged("off.cpp"));
    for (bool on : {true, false}) {
        k7_memory_set_tracking(on);
        EXPECT_EQ(k7_calloc(SIZE_MAX / 2, 3, "z.cpp", 7), nullptr);
    }
}

TEST_F(TrackedMemory, ReallocStrdupAndCallocKeepTheAccount) {
    const std::size_t before = normal().current_size;
    auto* numbers = static_cast<unsigned char*>(k7_calloc(100, 3, "a.cpp", 1));
    EXPECT_TRUE(std::all_of(numbers, numbers + 300, [](unsigned char number) { return number == 0; }));
    EXPECT_EQ(normal().current_size, before + 300);
    numbers[0] = 5;
    numbers = static_cast<unsigned char*>(k7_realloc(numbers, 100000, "a.cpp", 2));
    EXPECT_EQ(numbers[0], 5);
    char* text = k7_strdup("four", "a.cpp", 3);
    EXPECT_STREQ(text, "four");
    EXPECT_EQ(normal().current_size, before + 100000 + 5);
    k7_free(text);
    k7_free(numbers);
    EXPECT_EQ(normal().current_size, before);
}

TEST_F(TrackedMemory, TraceAndReport) {
    const std::string path = "/" + std::string(60, 'd') + "/tail.cpp";
    k7_memory_set_trace(true);
    void* block = k7_malloc(33, path.c_str(), 12);
    void* silent = k7_malloc(34, "silent.cpp", 0);
    const std::string address = pointer_text(block);
    EXPECT_TRUE(logged("INFO : K7-HM-TRACE: k7_malloc(33) ret (" + address + ") at [" + path + "(12)]\n"));
    EXPECT_FALSE(logged("silent.cpp"));
    k7_memory_set_trace(false);

    k7_memory_report(MemoryTable::Normal, true);
    const std::string tail = path.substr(path.size() - 47);
    for (const std::string& text :
         {std::string("INFO : NORMAL MEMORY ALLOCATOR REPORT\n"), std::string(": Blocks currently allocated: 2\n"),
          std::string(": Total size now allocated: 67\n"), std::string(": Internal error state: 0\n"),
          ": " + address + ", 33  " + tail + "     12\n", std::string(": END OF ALLOCATION REPORT\n")})
        EXPECT_TRUE(logged(text)) << text;
    EXPECT_FALSE(logged("IMAGE MEMORY"));

    k7_memory_set_trace(true);
    k7_free(block, "free.cpp", 13);
    EXPECT_TRUE(logged("INFO : K7-HM-TRACE: k7_free(" + address + ") at [free.cpp(13)].\n"));
    EXPECT_TRUE(logged(":             Alloc at [" + tail + "(12)], size 33\n"));
    k7_free(silent, "silent.cpp", 0);
    k7_memory_set_tracking(false);
    k7_memory_report(MemoryTable::Image, true);
    EXPECT_TRUE(logged("INFO : K7-HM-DEBUG: Debug mode not set. Statistics not available.\n"));
}

TEST_F(TrackedMemory, AlignedBlocks) {
    for (bool tracking : {true, false}) {
        k7_memory_set_tracking(tracking);
        const std::size_t calls = image().alloc_calls, size_before = image().current_size;
        for (int alignment : {-5, 0, 3, 4, 6, 16, 64, 100, 4096, 1 << 20})
            for (std::size_t size : {0u, 1u, 63u, 100000u}) {
                const std::size_t step = alignment < 4 ? page_size() : static_cast<std::size_t>(alignment);
                auto* block = static_cast<unsigned char*>(k7_aligned_malloc(size, alignment, true));
                ASSERT_NE(block, nullptr);
                EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % step, 0u);
                std::uint32_t words[2];  // size, offset back to the start
                std::memcpy(words, block - 8, sizeof words);
                EXPECT_EQ(words[0], size);
                EXPECT_GE(words[1], 8u);
                EXPECT_LT(words[1], 8 + step);
                for (std::size_t i = 0; i < size; ++i) ASSERT_EQ(block[i], 0);
                std::memset(block, 0xff, size);
                k7_aligned_free(block, true);
            }
        EXPECT_EQ(image().alloc_calls, calls + (tracking ? 40 : 0));
        EXPECT_EQ(image().current_size, size_before);
        EXPECT_EQ(k7_aligned_malloc(std::size_t{1} << 31, -1, true), nullptr);
        EXPECT_EQ(k7_aligned_malloc(SIZE_MAX, 64, true), nullptr);
        void* largest = k7_aligned_malloc(0x7fffffff, -1, true);  // untouched zero pages: costs no memory
        EXPECT_NE(largest, nullptr);
        k7_aligned_free(largest, true);
    }
}

TEST_F(TrackedMemory, ThreadsShareTheTables) {
    const std::size_t before = normal().current_size;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([] {
            std::vector<void*> mine;
            for (int i = 0; i < 2000; ++i) mine.push_back(k7_malloc(8));
            for (void* block : mine) k7_free(block);
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(normal().current_size, before);
    EXPECT_EQ(log(), "");
}

TEST(ImageBlocks, FreedMemoryIsGivenAgainAndClearedOnlyWhereAsked) {
    constexpr std::size_t SIZE = std::size_t(3) << 20;
    for (int round = 0; round < 3; ++round) {
        auto* pixels = static_cast<unsigned char*>(k7_aligned_malloc(SIZE, -1, true));
        ASSERT_NE(pixels, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pixels) % page_size(), 0u);
        EXPECT_TRUE(std::all_of(pixels, pixels + SIZE, [](unsigned char byte) { return byte == 0; }));
        std::fill_n(pixels, SIZE, static_cast<unsigned char>(7));
        auto* other = static_cast<unsigned char*>(k7_aligned_malloc_uncleared(SIZE, -1, true));
        ASSERT_NE(other, nullptr);
        EXPECT_NE(other, pixels);
        std::fill_n(other, SIZE, static_cast<unsigned char>(9));
        EXPECT_TRUE(std::all_of(pixels, pixels + SIZE, [](unsigned char byte) { return byte == 7; }));
        k7_aligned_free(pixels, true);
        k7_aligned_free(other, true);
        if (round == 1) k7_image_blocks_release();
    }
    k7_image_blocks_release();
}
