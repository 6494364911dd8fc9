#include "fake_runtime.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "gpulib/device_rules.h"
#include "gpulib/gpulib.h"
#include "gpulib/probe.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

FakeRuntime* s_fake = nullptr;
constexpr GpuStatus LAUNCH_FAILURE = 719, UNKNOWN = 999;  // what a lost device answers, and one that goes on
constexpr GpuStatus INVALID_HANDLE = 400;                 // of another context
constexpr std::uintptr_t PRIMARY = 0x100;                 // handle of device 0's context that users share
thread_local GpuContext t_context = nullptr;

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

// The functions of the table.
struct FakeCalls {
    template <class Work>
    static GpuStatus call(const char* function, Work&& work) {
        const std::lock_guard lock(s_fake->m_mutex);
        if (const GpuStatus status = s_fake->enter(function)) return status;
        work(*s_fake);
        return GPU_SUCCESS;
    }

    static GpuStatus host_allocate(void** memory, std::size_t bytes) {
        return call("host_allocate", [&](FakeRuntime& fake) {
            *memory = std::malloc(bytes);
            fake.m_pinned[static_cast<unsigned char*>(*memory)] = bytes;
        });
    }

    // What is freed is gone whatever the answer is.
    static GpuStatus host_free(void* memory) {
        const std::lock_guard lock(s_fake->m_mutex);
        const GpuStatus status = s_fake->enter("host_free");
        if (s_fake->is_queued(memory)) s_fake->fault("pinned memory is freed while it is copied");
        if (s_fake->m_pinned.erase(static_cast<unsigned char*>(memory)) == 0)
            s_fake->fault("host_free of a strange block");
        else
            std::free(memory);
        return status;
    }

    // A null pool: none.
    static GpuStatus device_allocate(void** memory, std::size_t bytes, GpuPool pool) {
        const std::lock_guard lock(s_fake->m_mutex);
        if (const GpuStatus status = s_fake->enter("device_allocate")) return status;
        if (pool && !s_fake->m_pools.contains(pool)) s_fake->fault("a strange pool");
        if (const GpuStatus status = s_fake->take_memory(bytes, pool ? s_fake->m_idle : 0)) return status;
        *memory = device_rules::allocate(bytes);
        const auto* block = static_cast<unsigned char*>(*memory);
        s_fake->m_device[block] = bytes;
        if (pool) s_fake->m_of_pools.insert(block);
        return GPU_SUCCESS;
    }

    // Nobody may use the memory any more; it is gone when the stream is there, or, without one, at once.
    static GpuStatus device_free(void* memory, bool of_pool, GpuStream stream) {
        const std::lock_guard lock(s_fake->m_mutex);
        const GpuStatus status = s_fake->enter("device_free");
        if (!of_pool) s_fake->run_all();
        const auto found = s_fake->m_device.find(static_cast<unsigned char*>(memory));
        if (found == s_fake->m_device.end() || s_fake->m_of_pools.contains(found->first) != of_pool) {
            s_fake->fault("device_free of a strange block");
            return status;
        }
        const auto free = [fake = s_fake, of_pool, memory, bytes = found->second] {
            fake->m_used -= bytes;
            if (of_pool) fake->m_idle += bytes;
            device_rules::release(memory, bytes);
        };
        s_fake->m_device.erase(found);
        s_fake->m_of_pools.erase(static_cast<unsigned char*>(memory));
        if (of_pool && !s_fake->m_queues.empty())
            s_fake->queue(stream, free);
        else
            free();
        return status;
    }

    static GpuStatus pool_create(GpuPool* pool, int, std::size_t kept) {
        const std::lock_guard lock(s_fake->m_mutex);
        if (const GpuStatus status = s_fake->enter("pool_create")) return status;
        if (!s_fake->has_pools) return GPU_NOT_SUPPORTED;
        s_fake->m_pools[*pool = new_handle<GpuPool>()] = kept;
        return GPU_SUCCESS;
    }
    static GpuStatus pool_destroy(GpuPool pool) {
        const std::lock_guard lock(s_fake->m_mutex);
        const GpuStatus status = s_fake->enter("pool_destroy");
        if (s_fake->m_pools.erase(pool) == 0) s_fake->fault("a strange pool");
        s_fake->m_idle = 0;
        return status;
    }

    static GpuStatus copy(const char* function, void* to, const void* from, std::size_t bytes, const void* device,
                          const void* host, GpuStream stream) {
        const std::lock_guard lock(s_fake->m_mutex);
        if (const GpuStatus status = s_fake->enter(function)) return status;
        if (const GpuStatus status = use(stream)) return status;
        if (!FakeRuntime::within(s_fake->m_device, device, bytes))
            s_fake->fault(std::string(function) + ": device memory");
        const bool pinned = FakeRuntime::within(s_fake->m_pinned, host, bytes);
        s_fake->queue(
            stream, [=] { std::memcpy(to, from, bytes); }, pinned ? host : nullptr);
        if (!pinned) s_fake->run(stream);
        return GPU_SUCCESS;
    }

    static GpuStatus clear(void* device, std::size_t bytes, GpuStream stream) {
        const std::lock_guard lock(s_fake->m_mutex);
        if (const GpuStatus status = s_fake->enter("clear")) return status;
        if (const GpuStatus status = use(stream)) return status;
        if (!FakeRuntime::within(s_fake->m_device, device, bytes)) s_fake->fault("clear: device memory");
        s_fake->queue(stream, [=] { std::memset(device, 0, bytes); });
        return GPU_SUCCESS;
    }

    // Work on a stream, which is one of the context that the thread has selected.
    static GpuStatus use(GpuStream stream) {
        const auto found = s_fake->m_streams.find(stream);
        if (stream && found == s_fake->m_streams.end()) s_fake->fault("work on a strange stream");
        return !stream || found == s_fake->m_streams.end() || same(found->second) ? GPU_SUCCESS : INVALID_HANDLE;
    }
    // A thread that has selected nothing works on device 0.
    static bool same(GpuContext context) { return context == (t_context ? t_context : primary(0)); }
    static GpuContext primary(int device) {
        return reinterpret_cast<GpuContext>(PRIMARY + 16 * static_cast<std::uintptr_t>(device));
    }
    static GpuStatus get_device(int* device) {
        return call("get_device", [=](FakeRuntime& fake) {
            const auto found = fake.private_contexts.find(t_context);
            const auto place = static_cast<int>(reinterpret_cast<std::uintptr_t>(t_context) - PRIMARY) / 16;
            *device = found != fake.private_contexts.end() ? found->second : t_context ? place : 0;
        });
    }

    static GpuStatus stream_create(GpuStream* stream) {
        return call("stream_create", [=](FakeRuntime& fake) {
            fake.m_streams[*stream = new_handle<GpuStream>()] = t_context ? t_context : primary(0);
        });
    }
    static GpuStatus stream_destroy(GpuStream stream) {
        const std::lock_guard lock(s_fake->m_mutex);
        const GpuStatus status = s_fake->enter("stream_destroy");
        if (s_fake->m_streams.erase(stream) == 0) s_fake->fault("a strange stream");
        return status;
    }
    static GpuStatus stream_synchronize(GpuStream stream) {
        return call("stream_synchronize", [=](FakeRuntime& fake) {
            fake.run(stream);
            fake.shrink_pools();
        });
    }
    static GpuStatus stream_wait(GpuStream stream, GpuEvent event) {
        return call("stream_wait", [=](FakeRuntime& fake) {
            const FakeRuntime::Event until = fake.m_events.at(event);
            fake.queue(stream, [=, &fake] { fake.run(until.stream, until.behind); });
        });
    }

    static GpuStatus event_create(GpuEvent* event) {
        return call("event_create", [=](FakeRuntime& fake) {
            fake.m_events[*event = new_handle<GpuEvent>()] = {.context = t_context ? t_context : primary(0)};
        });
    }
    static GpuStatus event_destroy(GpuEvent event) {
        const std::lock_guard lock(s_fake->m_mutex);
        const GpuStatus status = s_fake->enter("event_destroy");
        if (s_fake->m_events.erase(event) == 0) s_fake->fault("a strange event");
        return status;
    }
    static GpuStatus event_record(GpuEvent event, GpuStream stream) {
        const std::lock_guard lock(s_fake->m_mutex);
        if (const GpuStatus status = s_fake->enter("event_record")) return status;
        FakeRuntime::Event& recorded = s_fake->m_events.at(event);
        if (use(stream) != GPU_SUCCESS || !same(recorded.context)) return INVALID_HANDLE;
        recorded.stream = stream;
        recorded.behind = s_fake->m_queues[stream].queued();
        return GPU_SUCCESS;
    }
    static GpuStatus event_query(GpuEvent event) {
        const std::lock_guard lock(s_fake->m_mutex);
        if (const GpuStatus status = s_fake->enter("event_query")) return status;
        const FakeRuntime::Event& asked = s_fake->m_events.at(event);
        return asked.behind <= s_fake->m_queues[asked.stream].done ? GPU_SUCCESS : GPU_NOT_READY;
    }
    static GpuStatus event_synchronize(GpuEvent event) {
        return call("event_synchronize", [=](FakeRuntime& fake) {
            fake.run(fake.m_events.at(event).stream, fake.m_events.at(event).behind);
        });
    }

    static GpuStatus launch(const GpuFunction& kernel, const GpuShape& shape, void** arguments, GpuStream stream) {
        const std::lock_guard lock(s_fake->m_mutex);
        if (const GpuStatus status = s_fake->enter("launch")) return status;
        if (const GpuStatus status = use(stream)) return status;
        if (const GpuStatus status = device_rules::status_of(shape)) return status;
        const std::string fault = device_rules::fault_of(kernel, arguments, [](std::uintptr_t at) {
            return FakeRuntime::within(s_fake->m_device, reinterpret_cast<void*>(at), 1);
        });
        if (!fault.empty()) {
            s_fake->fault(fault);
            return GPU_SUCCESS;
        }
        s_fake->queue(stream, [shape, thread = kernel.host(arguments)] { device_rules::Blocks(shape).run(thread); });
        if (s_fake->probe_is_wrong && kernel.host == probe_kernel().host)
            s_fake->queue(stream, [values = *static_cast<float**>(arguments[0])] { values[7] += 1e-6f; });
        return GPU_SUCCESS;
    }

    template <class Handle>
    static Handle new_handle() {
        return reinterpret_cast<Handle>(++s_fake->m_handles);
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
        if (s_fake->is_queued(texture)) s_fake->fault("a texture is given back while it is copied");
        if (s_fake->m_held_textures.erase(texture) == 0) s_fake->fault("a strange texture");
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
                                 std::size_t rows, GpuStream stream, bool to_texels) {
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
            fake.queue(stream, copy, texels);
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
            [](int device) {
                return call("set_device", [=](FakeRuntime& fake) {
                    fake.m_selected.insert(device);
                    t_context = primary(device);
                });
            },
        .get_device = get_device,
        .get_context =
            [](GpuContext* context) { return call("get_context", [=](FakeRuntime&) { *context = t_context; }); },
        .set_context =
            [](GpuContext context) { return call("set_context", [=](FakeRuntime&) { t_context = context; }); },
        .get_free_memory =
            [](std::size_t* bytes) { return call("get_free_memory", [=](FakeRuntime&) { *bytes = 0; }); },
        .device_synchronize = [] { return call("device_synchronize", [](FakeRuntime& fake) { fake.run_all(); }); },
        .device_allocate = [](void** memory, std::size_t bytes) { return device_allocate(memory, bytes, nullptr); },
        .device_free = [](void* memory) { return device_free(memory, false, nullptr); },
        .pool_create = pool_create,
        .pool_destroy = pool_destroy,
        .pool_allocate = [](void** memory, std::size_t bytes, GpuPool pool,
                            GpuStream) { return device_allocate(memory, bytes, pool); },
        .pool_free = [](void* memory, GpuStream stream) { return device_free(memory, true, stream); },
        .host_allocate = host_allocate,
        .host_free = host_free,
        .copy_to_device =
            [](void* device, const void* host, std::size_t bytes, GpuStream stream) {
                return copy("copy_to_device", device, host, bytes, device, host, stream);
            },
        .copy_to_host =
            [](void* host, const void* device, std::size_t bytes, GpuStream stream) {
                return copy("copy_to_host", host, device, bytes, device, host, stream);
            },
        .clear = clear,
        .stream_create = stream_create,
        .stream_destroy = stream_destroy,
        .stream_synchronize = stream_synchronize,
        .event_create = event_create,
        .event_destroy = event_destroy,
        .event_record = event_record,
        .event_query = event_query,
        .event_synchronize = event_synchronize,
        .stream_wait = stream_wait,
        .launch = launch,
        .texture_register = texture_register,
        .texture_unregister = texture_unregister,
        .texture_map = [](GpuTexture texture, GpuStream) { return map("texture_map", texture, true); },
        .texture_unmap = [](GpuTexture texture, GpuStream) { return map("texture_unmap", texture, false); },
        .texture_texels = texture_texels,
        .copy_from_texels =
            [](void* device, GpuTexels texels, std::size_t row_bytes, std::size_t rows, GpuStream stream) {
                return copy_texels("copy_from_texels", texels, device, row_bytes, rows, stream, false);
            },
        .copy_to_texels =
            [](GpuTexels texels, const void* device, std::size_t row_bytes, std::size_t rows, GpuStream stream) {
                return copy_texels("copy_to_texels", texels, device, row_bytes, rows, stream, true);
            },
        .error_text = [](GpuStatus) { return "made to fail"; },
    };
}

// ---- The object -----------------------------------------------------------------------------------------------

FakeRuntime::FakeRuntime() : properties(usual_properties()) {
    static const GpuRuntime table = FakeCalls::table();
    s_fake = this;
    t_context = nullptr;
    gpu_set_runtime(&table);
}

FakeRuntime::~FakeRuntime() {
    gpu_set_runtime(nullptr);  // gives back what is kept
    run_all();
    EXPECT_TRUE(faults.empty()) << faults.front();
    EXPECT_EQ(m_device.size(), 0u) << "blocks of the device leak";
    EXPECT_EQ(m_pinned.size(), 0u) << "pinned blocks leak";
    EXPECT_EQ(m_pools.size(), 0u) << "pools leak";
    EXPECT_EQ(m_events.size(), 0u) << "events leak";
    EXPECT_EQ(m_streams.size(), 0u) << "streams leak";
    EXPECT_EQ(m_held_textures.size(), 0u) << "textures stay registered";
    s_fake = nullptr;
}

GpuStatus FakeRuntime::enter(const char* function) {
    ++m_call;
    ++m_calls_of[function];
    if (m_call == m_failing || (m_loses_device && m_call > m_failing)) {
        if (m_loses_device) m_queues.clear();  // it is never done
        return m_loses_device ? LAUNCH_FAILURE : UNKNOWN;
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

GpuContext FakeRuntime::context() { return t_context; }
void FakeRuntime::select(GpuContext context) { t_context = context; }

// ---- Queues, memory -------------------------------------------------------------------------------------------

void FakeRuntime::queue(GpuStream stream, std::function<void()> run, const void* holds) {
    m_queues[stream].works.push_back({std::move(run), holds});
}

// The first works of a stream, as many as it has had until then.
void FakeRuntime::run(GpuStream stream, std::size_t until) {
    for (Queue& queue = m_queues[stream]; queue.done < until && !queue.works.empty();) {
        const Work work = std::move(queue.works.front());
        queue.works.pop_front();
        ++queue.done;
        work.run();
    }
}

// The stream that was made last comes first: nothing says that an older one does.
void FakeRuntime::run_all() {
    std::vector<GpuStream> streams;
    for (const auto& [stream, queue] : m_queues) streams.push_back(stream);
    for (auto stream = streams.rbegin(); stream != streams.rend(); ++stream) run(*stream);
}

bool FakeRuntime::is_queued(const void* held) const {
    for (const auto& [stream, queue] : m_queues)
        for (const Work& work : queue.works) {
            const auto block = m_pinned.find(static_cast<const unsigned char*>(held));
            if (work.holds == held || (block != m_pinned.end() && within({*block}, work.holds, 1))) return true;
        }
    return false;
}

bool FakeRuntime::within(const Blocks& blocks, const void* at, std::size_t bytes) {
    const auto* const first = static_cast<const unsigned char*>(at);
    const auto behind = blocks.upper_bound(first);
    if (behind == blocks.begin()) return false;
    const auto& [block, size] = *std::prev(behind);
    return first + bytes <= block + size;
}

// `idle` bytes that a pool keeps may be used.
GpuStatus FakeRuntime::take_memory(std::size_t bytes, std::size_t idle) {
    const std::size_t used_again = std::min(bytes, idle);
    if (m_used + m_idle + bytes - used_again > memory) return GPU_OUT_OF_MEMORY;
    m_used += bytes;
    m_idle -= used_again;
    return GPU_SUCCESS;
}

void FakeRuntime::shrink_pools() {
    std::size_t kept = 0;
    for (const auto& [pool, bytes] : m_pools) kept += bytes;
    m_idle = std::min(m_idle, kept);
}
