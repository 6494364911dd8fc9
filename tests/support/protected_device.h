// A device for hosts under test: its memory is pages that nobody may touch but the device's own functions and, through
// OpenedMemory, what a plug-in does in the place of a kernel.
#pragma once

#include <sys/mman.h>

#include <atomic>
#include <cstring>
#include <map>

#include "host/core/device.h"
#include "support/opened_memory.h"

namespace support {

class ProtectedDevice final : public ofxhost::RenderDevice {
  public:
    std::unique_ptr<ofxhost::DeviceQueue> queue() override {
        return fails() ? nullptr : std::make_unique<Queue>(*this);
    }

    int failing = 0;  // that call, counted from 1; 0: none
    std::atomic<int> calls{0}, blocks{0};

  private:
    bool fails() { return ++calls == failing; }

    class Queue final : public ofxhost::DeviceQueue {
      public:
        explicit Queue(ProtectedDevice& device) : m_device(device) {}
        void* stream() const override { return const_cast<Queue*>(this); }
        void* allocate(std::size_t bytes) override {
            if (m_device.fails()) return nullptr;
            void* memory = ::mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            if (memory == MAP_FAILED) return nullptr;
            m_sizes[memory] = bytes;
            ++m_device.blocks;
            return memory;
        }
        void release(void* memory) override {
            ::munmap(memory, m_sizes.at(memory));
            m_sizes.erase(memory);
            --m_device.blocks;
        }
        bool upload(void* device, const void* host, std::size_t bytes) override {
            if (m_device.fails()) return false;
            const OpenedMemory opened(device, bytes);
            std::memcpy(device, host, bytes);
            return true;
        }
        bool download(void* host, const void* device, std::size_t bytes) override {
            if (m_device.fails()) return false;
            const OpenedMemory opened(device, bytes);
            std::memcpy(host, device, bytes);
            return true;
        }
        bool finish() override { return !m_device.fails(); }

      private:
        ProtectedDevice& m_device;
        std::map<void*, std::size_t> m_sizes;
    };
};

}  // namespace support
