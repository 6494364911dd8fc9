// The pictures of one render on a CUDA device.
#pragma once

#include <deque>

#include "Library2/EffectInfo.h"
#include "imagelib/imagelib_cuda.h"

// What an effect's path on the device works with. PluginK7::deviceFor gives it where there is a device and it pays:
//
//     if (DeviceFrame* device = deviceFor(80)) {
//         const StageTimer timer("Darken (CUDA)");
//         device->check("cuda_darken", cuda_darken(device->picture(input), device->picture(output), ...));
//         return;
//     }
//
// The framework brings the output to the host afterwards.
class DeviceFrame {
  public:
    // Once, before anything else: on a stream of its own, or on the host's.
    GpuStatus begin();
    void begin(GpuStream hosts) { m_queue = hosts; }
    GpuStream stream() const { return m_queue; }

    // The picture of a clip or of the output, which has an image. It is copied to the device when it is read first.
    DeviceImage& picture(const ClipRecord& clip);

    // Brings a picture to the host, for an effect that goes on there. False, and in the log, where it can't be.
    bool fetch(const ClipRecord& clip);

    // Takes what an operation answers: 0, or the step that failed, which it tells the log. False then; the output stays
    // as it was.
    bool check(const char* operation, int step);
    bool failed() const { return m_failed; }

  private:
    struct Held {
        Held(const K7Image* image, GpuStream stream) : of(image), picture(host_picture(image), stream) {}
        const K7Image* of;
        DeviceImage picture;
    };
    DeviceStream m_stream;
    GpuStream m_queue = nullptr;
    std::deque<Held> m_held;
    bool m_failed = false;
};
