#include "Library2/DeviceFrame.h"

#include "k7pi_baselib/k7pi_baselib.h"

GpuStatus DeviceFrame::begin() {
    const GpuStatus status = m_stream.create();
    m_queue = m_stream.get();
    return status;
}

DeviceImage& DeviceFrame::picture(const ClipRecord& clip) {
    const K7Image* image = clip.image.get();
    for (Held& held : m_held)
        if (held.of == image) return held.picture;
    return m_held.emplace_back(image, m_queue).picture;
}

bool DeviceFrame::fetch(const ClipRecord& clip) { return check("gpu_fetch", gpu_fetch(picture(clip))); }

bool DeviceFrame::check(const char* operation, int step) {
    if (step == GPU_DONE) return !m_failed;
    m_failed = true;
    Trace(TRACE_ERROR, "ERROR: %s() failed, error = %d\n", operation, step);
    return false;
}
