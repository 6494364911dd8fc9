// A GPU runtime without a GPU. Work is queued and done as late as the real one may do it, memory is counted, and any
// call can be made to fail, alone or with all that follow.
#pragma once

#include <gtest/gtest.h>

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
    std::vector<std::string> faults;  // wrong uses of the runtime

  private:
    friend struct FakeCalls;

    GpuStatus enter(const char* function);
    void run_all();
    void fault(const std::string& what) { faults.push_back(what); }
    static bool within(const std::map<const unsigned char*, std::size_t>& blocks, const void* at, std::size_t bytes);

    struct Work {
        std::function<void()> run;
        const void* pinned = nullptr;  // what it copies from or to: that, or the handle of a texture
    };
    struct HeldTexture {
        unsigned name;
        bool mapped = false;
    };
    std::recursive_mutex m_mutex;
    std::vector<Work> m_queue;
    std::size_t m_done = 0;                       // works ever done
    std::map<const void*, std::size_t> m_events;  // each with the works ever queued when it was recorded
    std::set<const void*> m_streams;
    std::map<const void*, HeldTexture> m_held_textures;
    std::map<const unsigned char*, std::size_t> m_device, m_pinned;
    std::map<std::string, int> m_calls_of;
    std::set<int> m_selected;
    int m_call = 0, m_failing = 1 << 30;
    bool m_loses_device = false;
};
