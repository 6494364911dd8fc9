// A GPU runtime without a GPU. Work is queued, for each stream by itself, and done as late as the real one may do it,
// memory is counted, and any call can be made to fail, alone or with all that follow.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "gpulib/gpulib_image.h"
#include "gpulib/gpulib_runtime.h"

// Installed while it lives; there is one at a time.
class FakeRuntime {
  public:
    FakeRuntime();
    ~FakeRuntime();  // fails the test for what is left over
    FakeRuntime(const FakeRuntime&) = delete;
    FakeRuntime& operator=(const FakeRuntime&) = delete;

    int devices = 1;
    GpuDeviceProperties properties;
    std::map<std::string, GpuStatus> answers;  // what functions answer instead of doing their work
    bool probe_is_wrong = false;
    bool has_pools = true;
    std::size_t memory = SIZE_MAX;               // bytes of the device
    std::map<GpuContext, int> private_contexts;  // that a host has made, each with its device

    // As OpenGL has them, by their names: texels of `layout.bits`, row by row.
    struct Texture {
        GpuTexelLayout layout;
        std::vector<unsigned char> texels;
        std::size_t row_bytes() const { return texels.size() / static_cast<std::size_t>(layout.height); }
    };
    std::map<unsigned, Texture> textures;
    bool holds_texture(unsigned name) const;

    // From now on: the call with this number, counted from 1, fails; all after it, too, when the device is lost by it.
    void fail_call(int number, bool lose_device);
    bool has_failed() const { return m_call >= m_failing; }

    int calls() const { return m_call; }  // since the latest fail_call()
    int calls_of(const std::string& function);
    void forget_calls() { m_calls_of.clear(); }
    std::set<int> selected_devices();  // by all calls of set_device
    std::size_t blocks_of_device() const { return m_device.size(); }
    std::size_t blocks_of_host() const { return m_pinned.size(); }
    std::size_t pools() const { return m_pools.size(); }
    std::size_t idle_memory() const { return m_idle; }  // that pools keep and nobody uses
    static GpuContext context();                        // of the calling thread
    static void select(GpuContext context);
    std::vector<std::string> faults;  // wrong uses of the runtime

  private:
    friend struct FakeCalls;

    struct Work {
        std::function<void()> run;
        const void* holds = nullptr;  // what must stay until it is done: pinned memory, the handle of a texture
    };
    struct Queue {
        std::deque<Work> works;
        std::size_t done = 0;  // works ever done
        std::size_t queued() const { return done + works.size(); }
    };
    struct Event {
        GpuContext context;
        GpuStream stream = nullptr;
        std::size_t behind = 0;  // so many works of the stream
    };
    struct HeldTexture {
        unsigned name;
        bool mapped = false;
    };
    using Blocks = std::map<const unsigned char*, std::size_t>;

    GpuStatus enter(const char* function);
    void queue(GpuStream stream, std::function<void()> run, const void* holds = nullptr);
    void run(GpuStream stream, std::size_t until = SIZE_MAX);
    void run_all();
    bool is_queued(const void* held) const;
    void fault(const std::string& what) { faults.push_back(what); }
    static bool within(const Blocks& blocks, const void* at, std::size_t bytes);
    GpuStatus take_memory(std::size_t bytes, std::size_t idle);
    void shrink_pools();

    std::recursive_mutex m_mutex;
    std::map<GpuStream, Queue> m_queues;  // those of destroyed streams go on
    std::map<GpuEvent, Event> m_events;
    std::map<GpuStream, GpuContext> m_streams;
    std::map<const void*, HeldTexture> m_held_textures;
    Blocks m_device, m_pinned;                  // of the device without those whose freeing is queued
    std::set<const unsigned char*> m_of_pools;  // blocks
    std::map<GpuPool, std::size_t> m_pools;     // each with the bytes that it keeps
    std::size_t m_used = 0, m_idle = 0;         // memory of the device
    std::map<std::string, int> m_calls_of;
    std::set<int> m_selected;
    int m_call = 0, m_failing = 1 << 30;
    std::uintptr_t m_handles = 0;
    bool m_loses_device = false;
};
