// A device that pictures lie on while a plug-in renders there. The program brings one: this library knows no driver.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>

namespace ofxhost {

// Work that a device does in order, and memory there. For one thread at a time, whichever it is.
class DeviceQueue {
  public:
    virtual ~DeviceQueue() = default;

    virtual void* stream() const = 0;               // what a plug-in queues its own work on
    virtual void* allocate(std::size_t bytes) = 0;  // aligned to 256 bytes; null where there is no room
    virtual void release(void* memory) = 0;         // once the work that uses it has been waited for
    // Queued or done; false where that can't be. The host's memory stays until finish().
    virtual bool upload(void* device, const void* host, std::size_t bytes) = 0;
    virtual bool download(void* host, const void* device, std::size_t bytes) = 0;
    virtual bool finish() = 0;  // waits for all that is queued; false where any of it failed
};

class RenderDevice {
  public:
    virtual ~RenderDevice() = default;
    // From any thread. Null where the device can't be used (any more).
    virtual std::unique_ptr<DeviceQueue> queue() = 0;
    // Bytes that nobody uses, of whatever process; none where that is not known.
    virtual std::optional<std::size_t> freeMemory() { return std::nullopt; }
};

}  // namespace ofxhost
