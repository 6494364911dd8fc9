// Images that live in the device's memory and in the host's, copied only when needed.
#pragma once

#include <cstddef>

#include "gpulib/gpulib_runtime.h"

// Pixels in main memory, owned by somebody else. row_bytes is the distance from a row to the next; it may be negative.
struct HostPicture {
    void* pixels = nullptr;
    int width = 0, height = 0;
    int pixel_bytes = 16;  // RGBA as floats
    std::ptrdiff_t row_bytes = 0;
};

// Memory of the device. Freed with its owner, but not in a forked child: there the device is out of reach.
//
// Where the device can, it comes from a pool of our own, in the order of a stream's work: nothing waits, neither when
// it is allocated nor when it is freed, and frames of the same size do not go to the driver again. Where the device is
// full, what is kept is given back first (gpulib_kept.h).
class DeviceMemory {
  public:
    DeviceMemory() = default;
    ~DeviceMemory();
    DeviceMemory(const DeviceMemory&) = delete;
    DeviceMemory& operator=(const DeviceMemory&) = delete;

    // Once. To be used by work on this stream, or by what has waited for its work so far. It is freed behind all work
    // that is on the stream then, and the stream must outlive it.
    GpuStatus allocate(std::size_t bytes, GpuStream stream);
    // Once. For memory that outlives streams: freeing waits for all work of the device.
    GpuStatus allocate(std::size_t bytes);
    void* get() const { return m_memory; }

  private:
    void* m_memory = nullptr;
    GpuStream m_stream = nullptr;
    bool m_pooled = false;
    int m_process = 0;
};

// A stream of our own. Work on different streams may overlap.
class DeviceStream {
  public:
    DeviceStream() = default;
    ~DeviceStream();  // waits for nothing; the device frees it when its work is done
    DeviceStream(const DeviceStream&) = delete;
    DeviceStream& operator=(const DeviceStream&) = delete;

    GpuStatus create();  // once; until then it is the default stream
    GpuStatus finish();  // waits for its work, and tells what of it failed
    GpuStream get() const { return m_stream; }

  private:
    GpuStream m_stream = nullptr;
    int m_process = 0;
};

// A device buffer beside a host picture. Either side may hold the picture or not; the calls below copy when theirs does
// not. On the device rows lie without gaps from the first to the last, which is the order of the host's rows.
//
// All calls of one image come from one thread that cuda_available() has answered true to, outside of row work. Host
// pixels may be touched between them. Where one fails it answers null or false, status() says why, and the host's
// pixels are as they were.
//
//     DeviceImage in(input, stream), out(output, stream);
//     const void* source = in.read();
//     void* target = source ? out.write() : nullptr;
//     if (!target || gpu_launch(kernel, shape, stream, source, target) != GPU_SUCCESS) return false;
//     out.written();
//     return out.to_host();
class DeviceImage {
  public:
    // Nothing is allocated or copied yet. Host pixels of null: a picture that lives on the device alone, and is nowhere
    // until it is written. The pixels and the stream must outlive the image.
    DeviceImage(const HostPicture& host, GpuStream stream);
    DeviceImage(const DeviceImage&) = delete;
    DeviceImage& operator=(const DeviceImage&) = delete;

    const void* read();  // the picture on the device
    void* write();       // a place for a new picture; the device's is gone
    void* modify();      // the picture, to be changed; the device's is gone until written()
    bool clear();        // zero on the device, which counts as written()
    void written();      // what write() or modify() gave has been filled by queued work: the host's picture is stale

    bool to_host();       // waits, and brings the picture to the host's pixels unless they have it
    void host_written();  // the host's pixels have been changed: the device's picture is stale

    int width() const { return m_host.width; }
    int height() const { return m_host.height; }
    bool has_room() const { return m_memory.get() != nullptr; }  // on the device
    bool on_device() const { return m_on_device; }
    bool on_host() const { return m_on_host; }
    GpuStatus status() const { return m_status; }  // of the call that failed last

  private:
    bool succeeded(GpuStatus status, const char* doing);
    bool allocate();
    bool upload();
    unsigned char* host_row(int y) const;

    HostPicture m_host;
    GpuStream m_stream;
    DeviceMemory m_memory;
    std::size_t m_bytes = 0;  // 0: the picture's measures make no sense
    bool m_on_device = false, m_on_host = false;
    GpuStatus m_status = GPU_SUCCESS;
};
