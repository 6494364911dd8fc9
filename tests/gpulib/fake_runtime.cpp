#include "fake_runtime.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "gpulib/gpulib.h"
#include "gpulib/probe.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

FakeRuntime* s_fake = nullptr;
constexpr GpuStatus LAUNCH_FAILURE = 719;  // what a lost device answers

GpuDeviceProperties usual_properties() {
    GpuDeviceProperties properties;
    std::snprintf(properties.name, sizeof properties.name, "Fake device");
    properties.global_memory = 4294967296;
    properties.shared_memory_per_block = 49152;
    properties.registers_per_block = 65536;
    properties.warp_size = 32;
    properties.max_pitch = 2147483647;
    properties.max_threads_per_block = 1024;
    for (int axis = 0; axis < 3; ++axis) {
        properties.max_block[axis] = 1024 >> axis;
        properties.max_grid[axis] = 65535 - axis;
    }
    properties.clock_rate = 1980000;
    properties.constant_memory = 65536;
    properties.major = 9;
    properties.texture_alignment = 512;
    properties.copies_while_executing = true;
    properties.multiprocessors = 132;
    return properties;
}

}  // namespace

static void run_on_processor(const GpuShape& shape, const std::function<void(GpuPlace)>& thread) {
    const auto wide = static_cast<int>(shape.blocks_x * shape.threads_x),
               high = static_cast<int>(shape.blocks_y * shape.threads_y);
    for (int y = 0; y < high; ++y)
        for (int x = 0; x < wide; ++x) thread({x, y});
}

// The functions of the table.
struct FakeCalls {
    template <class Work>
    static GpuStatus call(const char* function, Work&& work) {
        const std::lock_guard lock(s_fake->m_mutex);
        if (const GpuStatus status = s_fake->enter(function)) return status;
        work(*s_fake);
        return GPU_SUCCESS;
    }

    using Blocks = std::map<const unsigned char*, std::size_t> FakeRuntime::*;

    static GpuStatus allocate(const char* function, Blocks blocks, void** memory, std::size_t bytes) {
        return call(function, [&](FakeRuntime& fake) {
            auto* block = static_cast<unsigned char*>(std::malloc(bytes));
            std::memset(block, 0xa5, bytes);
            (fake.*blocks)[block] = bytes;
            *memory = block;
        });
    }

    // What is freed is gone whatever the answer is.
    static GpuStatus free(const char* function, Blocks blocks, void* memory) {
        const std::lock_guard lock(s_fake->m_mutex);
        const GpuStatus status = s_fake->enter(function);
        if ((s_fake->*blocks).erase(static_cast<unsigned char*>(memory)) == 0)
            s_fake->fault(std::string(function) + " of a strange block");
        else
            std::free(memory);
        return status;
    }

    static GpuStatus device_free(void* memory) {
        const std::lock_guard lock(s_fake->m_mutex);
        s_fake->run_all();
        return free("device_free", &FakeRuntime::m_device, memory);
    }

    static GpuStatus host_free(void* memory) {
        const std::lock_guard lock(s_fake->m_mutex);
        const auto block = s_fake->m_pinned.find(static_cast<unsigned char*>(memory));
        for (const FakeRuntime::Work& work : s_fake->m_queue)
            if (block != s_fake->m_pinned.end() && FakeRuntime::within({*block}, work.pinned, 1))
                s_fake->fault("pinned memory is freed while it is copied");
        return free("host_free", &FakeRuntime::m_pinned, memory);
    }

    static GpuStatus copy(const char* function, void* to, const void* from, std::size_t bytes, const void* device,
                          const void* host) {
        return call(function, [&](FakeRuntime& fake) {
            if (!FakeRuntime::within(fake.m_device, device, bytes))
                fake.fault(std::string(function) + ": device memory");
            const bool pinned = FakeRuntime::within(fake.m_pinned, host, bytes);
            fake.m_queue.push_back({[=] { std::memcpy(to, from, bytes); }, pinned ? host : nullptr});
            if (!pinned) fake.run_all();
        });
    }

    static GpuStatus event_query(GpuEvent event) {
        const std::lock_guard lock(s_fake->m_mutex);
        if (const GpuStatus status = s_fake->enter("event_query")) return status;
        return s_fake->m_events.at(event) <= s_fake->m_done ? GPU_SUCCESS : GPU_NOT_READY;
    }

    static GpuStatus launch(const GpuFunction& kernel, const GpuShape& shape, void** arguments, GpuStream) {
        return call("launch", [&](FakeRuntime& fake) {
            fake.m_queue.push_back({[shape, thread = kernel.host(arguments)] { run_on_processor(shape, thread); }});
            if (!fake.probe_is_wrong || kernel.host != probe_kernel().host) return;
            fake.m_queue.push_back({[values = *static_cast<float**>(arguments[0])] { values[7] += 1e-6f; }});
        });
    }

    template <class Handle>
    static Handle new_handle() {
        return reinterpret_cast<Handle>(new char);
    }

    static GpuStatus texture_register(GpuTexture* texture, unsigned name, unsigned) {
        const std::lock_guard lock(s_fake->m_mutex);
        if (const GpuStatus status = s_fake->enter("texture_register")) return status;
        if (!s_fake->textures.contains(name)) return GPU_INVALID_VALUE;
        if (s_fake->holds_texture(name)) s_fake->fault("a texture is registered twice");
        s_fake->m_held_textures[*texture = new_handle<GpuTexture>()] = {name};
        return GPU_SUCCESS;
    }

    static GpuStatus texture_unregister(GpuTexture texture) {
        const std::lock_guard lock(s_fake->m_mutex);
        const GpuStatus status = s_fake->enter("texture_unregister");
        for (const FakeRuntime::Work& work : s_fake->m_queue)
            if (work.pinned == texture) s_fake->fault("a texture is given back while it is copied");
        if (s_fake->m_held_textures.erase(texture) == 0) s_fake->fault("a strange texture");
        delete reinterpret_cast<char*>(texture);
        return status;
    }

    // What can't be unmapped is lost, and not to be unmapped again.
    static GpuStatus map(const char* function, GpuTexture texture, bool mapped) {
        const std::lock_guard lock(s_fake->m_mutex);
        const GpuStatus status = s_fake->enter(function);
        FakeRuntime::HeldTexture& held = s_fake->m_held_textures.at(texture);
        if (held.mapped == mapped) s_fake->fault(std::string(function) + " twice");
        if (!mapped || status == GPU_SUCCESS) held.mapped = mapped;
        return status;
    }

    static GpuStatus texture_texels(GpuTexture texture, GpuTexels* texels, GpuTexelLayout* layout) {
        return call("texture_texels", [&](FakeRuntime& fake) {
            const FakeRuntime::HeldTexture& held = fake.m_held_textures.at(texture);
            if (!held.mapped) fake.fault("texels of a texture that is not mapped");
            *texels = reinterpret_cast<GpuTexels>(texture);
            *layout = fake.textures.at(held.name).layout;
        });
    }

    static GpuStatus copy_texels(const char* function, GpuTexels texels, const void* device, std::size_t row_bytes,
                                 std::size_t rows, bool to_texels) {
        return call(function, [&](FakeRuntime& fake) {
            const FakeRuntime::HeldTexture& held = fake.m_held_textures.at(texels);
            FakeRuntime::Texture& texture = fake.textures.at(held.name);
            auto* memory = static_cast<unsigned char*>(const_cast<void*>(device));
            if (!held.mapped || !FakeRuntime::within(fake.m_device, device, rows * row_bytes) ||
                row_bytes > texture.row_bytes() || rows > static_cast<std::size_t>(texture.layout.height))
                return fake.fault(std::string(function) + ": memory or texture");
            const auto copy = [=, from = &texture] {
                for (std::size_t y = 0; y < rows; ++y) {
                    unsigned char *row = memory + y * row_bytes, *texel = from->texels.data() + y * from->row_bytes();
                    std::memcpy(to_texels ? texel : row, to_texels ? row : texel, row_bytes);
                }
            };
            fake.m_queue.push_back({copy, texels});
        });
    }

    static GpuRuntime table();
};

GpuRuntime FakeCalls::table() {
    return {
        .get_device_count =
            [](int* count) {
                thread_sleep(2);  // the first call takes its time, in which others ask, too
                return call("get_device_count", [=](FakeRuntime& fake) { *count = fake.devices; });
            },
        .get_device_properties =
            [](int, GpuDeviceProperties* properties) {
                return call("get_device_properties", [=](FakeRuntime& fake) { *properties = fake.properties; });
            },
        .set_device =
            [](int device) { return call("set_device", [=](FakeRuntime& fake) { fake.m_selected.insert(device); }); },
        .get_device = [](int* device) { return call("get_device", [=](FakeRuntime&) { *device = 0; }); },
        .get_free_memory =
            [](std::size_t* bytes) { return call("get_free_memory", [=](FakeRuntime&) { *bytes = 0; }); },
        .device_synchronize = [] { return call("device_synchronize", [](FakeRuntime& fake) { fake.run_all(); }); },
        .device_allocate =
            [](void** memory, std::size_t bytes) {
                return allocate("device_allocate", &FakeRuntime::m_device, memory, bytes);
            },
        .device_free = device_free,
        .host_allocate =
            [](void** memory, std::size_t bytes) {
                return allocate("host_allocate", &FakeRuntime::m_pinned, memory, bytes);
            },
        .host_free = host_free,
        .copy_to_device = [](void* device, const void* host, std::size_t bytes,
                             GpuStream) { return copy("copy_to_device", device, host, bytes, device, host); },
        .copy_to_host = [](void* host, const void* device, std::size_t bytes,
                           GpuStream) { return copy("copy_to_host", host, device, bytes, device, host); },
        .clear =
            [](void* device, std::size_t bytes, GpuStream) {
                return call("clear", [=](FakeRuntime& fake) {
                    if (!FakeRuntime::within(fake.m_device, device, bytes)) fake.fault("clear: device memory");
                    fake.m_queue.push_back({[=] { std::memset(device, 0, bytes); }});
                });
            },
        .stream_create =
            [](GpuStream* stream) {
                return call("stream_create",
                            [=](FakeRuntime& fake) { fake.m_streams.insert(*stream = new_handle<GpuStream>()); });
            },
        .stream_destroy =
            [](GpuStream stream) {
                const std::lock_guard lock(s_fake->m_mutex);
                const GpuStatus status = s_fake->enter("stream_destroy");
                if (s_fake->m_streams.erase(stream) == 0) s_fake->fault("a strange stream");
                delete reinterpret_cast<char*>(stream);
                return status;
            },
        .stream_synchronize =
            [](GpuStream) { return call("stream_synchronize", [](FakeRuntime& fake) { fake.run_all(); }); },
        .event_create =
            [](GpuEvent* event) {
                return call("event_create",
                            [=](FakeRuntime& fake) { fake.m_events[*event = new_handle<GpuEvent>()] = 0; });
            },
        .event_destroy =
            [](GpuEvent event) {
                const std::lock_guard lock(s_fake->m_mutex);
                const GpuStatus status = s_fake->enter("event_destroy");
                if (s_fake->m_events.erase(event) == 0) s_fake->fault("a strange event");
                delete reinterpret_cast<char*>(event);
                return status;
            },
        .event_record =
            [](GpuEvent event, GpuStream) {
                return call("event_record",
                            [=](FakeRuntime& fake) { fake.m_events.at(event) = fake.m_done + fake.m_queue.size(); });
            },
        .event_query = event_query,
        .event_synchronize =
            [](GpuEvent) { return call("event_synchronize", [](FakeRuntime& fake) { fake.run_all(); }); },
        .launch = launch,
        .texture_register = texture_register,
        .texture_unregister = texture_unregister,
        .texture_map = [](GpuTexture texture, GpuStream) { return map("texture_map", texture, true); },
        .texture_unmap = [](GpuTexture texture, GpuStream) { return map("texture_unmap", texture, false); },
        .texture_texels = texture_texels,
        .copy_from_texels =
            [](void* device, GpuTexels texels, std::size_t row_bytes, std::size_t rows, GpuStream) {
                return copy_texels("copy_from_texels", texels, device, row_bytes, rows, false);
            },
        .copy_to_texels =
            [](GpuTexels texels, const void* device, std::size_t row_bytes, std::size_t rows, GpuStream) {
                return copy_texels("copy_to_texels", texels, device, row_bytes, rows, true);
            },
        .error_text = [](GpuStatus) { return "made to fail"; },
    };
}

// ---- The object -----------------------------------------------------------------------------------------------

FakeRuntime::FakeRuntime() : properties(usual_properties()) {
    static const GpuRuntime table = FakeCalls::table();
    s_fake = this;
    gpu_set_runtime(&table);
}

FakeRuntime::~FakeRuntime() {
    gpu_set_runtime(nullptr);  // gives staging memory back
    EXPECT_TRUE(faults.empty()) << faults.front();
    EXPECT_EQ(m_device.size(), 0u) << "blocks of the device leak";
    EXPECT_EQ(m_pinned.size(), 0u) << "pinned blocks leak";
    EXPECT_EQ(m_events.size(), 0u) << "events leak";
    EXPECT_EQ(m_streams.size(), 0u) << "streams leak";
    EXPECT_EQ(m_held_textures.size(), 0u) << "textures stay registered";
    s_fake = nullptr;
}

GpuStatus FakeRuntime::enter(const char* function) {
    ++m_call;
    ++m_calls_of[function];
    if (m_call == m_failing || (m_loses_device && m_call > m_failing)) {
        if (m_loses_device) m_queue.clear();  // it is never done
        return LAUNCH_FAILURE;
    }
    const auto given = answers.find(function);
    return given == answers.end() ? GPU_SUCCESS : given->second;
}

void FakeRuntime::fail_call(int number, bool lose_device) {
    m_call = 0;
    m_failing = number;
    m_loses_device = lose_device;
}

int FakeRuntime::calls_of(const std::string& function) {
    const std::lock_guard lock(m_mutex);
    return m_calls_of[function];
}

std::set<int> FakeRuntime::selected_devices() {
    const std::lock_guard lock(m_mutex);
    return m_selected;
}

bool FakeRuntime::holds_texture(unsigned name) const {
    return std::any_of(m_held_textures.begin(), m_held_textures.end(),
                       [name](const auto& held) { return held.second.name == name; });
}

void FakeRuntime::run_all() {
    for (const Work& work : m_queue) work.run();
    m_done += m_queue.size();
    m_queue.clear();
}

bool FakeRuntime::within(const std::map<const unsigned char*, std::size_t>& blocks, const void* at, std::size_t bytes) {
    for (const auto& [block, size] : blocks)
        if (at >= block && static_cast<const unsigned char*>(at) + bytes <= block + size) return true;
    return false;
}
