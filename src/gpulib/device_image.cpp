// Images on the device and on the host, copied when a side is asked for that does not hold the picture.
#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "gpulib/gpulib_image.h"
#include "gpulib/staging.h"
#include "k7pi_baselib/rows.h"

namespace {

// Rows are copied to pinned memory in bands, and each band sets off for the device while the next one is copied.
constexpr std::size_t BAND_BYTES = std::size_t{4} << 20;

std::size_t bytes_of_row(const HostPicture& picture) {
    return static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.pixel_bytes);
}

// 0 for measures that make no sense, and for pictures of more bytes than a pointer difference can tell.
std::size_t bytes_of(const HostPicture& picture) {
    if (picture.width <= 0 || picture.height <= 0 || picture.pixel_bytes <= 0) return 0;
    const std::size_t row = bytes_of_row(picture);
    if (row > static_cast<std::size_t>(PTRDIFF_MAX) / static_cast<std::size_t>(picture.height)) return 0;
    return row * static_cast<std::size_t>(picture.height);
}

}  // namespace

DeviceImage::DeviceImage(const HostPicture& host, GpuStream stream)
    : m_host(host), m_stream(stream), m_bytes(bytes_of(host)), m_on_host(host.pixels && m_bytes) {}

bool DeviceImage::succeeded(GpuStatus status, const char* doing) {
    if (status != GPU_SUCCESS) m_status = status;
    return gpu_succeeded(status, doing);
}

bool DeviceImage::allocate() {
    if (!succeeded(m_bytes ? GPU_SUCCESS : GPU_INVALID_VALUE, "making room for an image without pixels")) return false;
    return m_memory.get() || succeeded(m_memory.allocate(m_bytes, m_stream), "allocating an image");
}

unsigned char* DeviceImage::host_row(int y) const {
    return static_cast<unsigned char*>(m_host.pixels) + m_host.row_bytes * y;
}

bool DeviceImage::upload() {
    const std::size_t row_bytes = bytes_of_row(m_host);
    StagingBlock staging(m_bytes, m_stream);
    if (!succeeded(staging.status(), "allocating pinned memory")) return false;
    const int band = static_cast<int>(std::clamp<std::size_t>(BAND_BYTES / row_bytes, 1, INT_MAX));
    for (int first = 0, rows; first < m_host.height; first += rows) {
        rows = std::min(band, m_host.height - first);
        const std::size_t start = static_cast<std::size_t>(first) * row_bytes;
        unsigned char* const from = staging.data() + start;
        for_rows(rows, [&](int top, int bottom) {
            for (int y = top; y <= bottom; ++y)
                std::memcpy(from + static_cast<std::size_t>(y) * row_bytes, host_row(first + y), row_bytes);
        });
        staging.copies_are_queued();
        if (!succeeded(gpu_runtime().copy_to_device(static_cast<unsigned char*>(m_memory.get()) + start, from,
                                                    static_cast<std::size_t>(rows) * row_bytes, m_stream),
                       "copying an image to the device"))
            return false;
    }
    return true;
}

const void* DeviceImage::read() {
    if (m_on_device) return m_memory.get();
    if (!succeeded(m_on_host ? GPU_SUCCESS : GPU_INVALID_VALUE, "reading an image that is nowhere")) return nullptr;
    if (!allocate() || !upload()) return nullptr;
    m_on_device = true;
    return m_memory.get();
}

void* DeviceImage::write() {
    if (!allocate()) return nullptr;
    m_on_device = false;
    return m_memory.get();
}

void* DeviceImage::modify() { return read() ? write() : nullptr; }

bool DeviceImage::clear() {
    if (!write() || !succeeded(gpu_runtime().clear(m_memory.get(), m_bytes, m_stream), "clearing an image"))
        return false;
    written();
    return true;
}

void DeviceImage::written() {
    m_on_device = m_memory.get() != nullptr;
    m_on_host = m_on_host && !m_on_device;
}

bool DeviceImage::to_host() {
    if (m_on_host) return true;
    if (!succeeded(m_on_device && m_host.pixels ? GPU_SUCCESS : GPU_INVALID_VALUE, "fetching an image that is nowhere"))
        return false;
    // Whole into pinned memory first: where the device fails halfway, the host's pixels are as they were.
    StagingBlock staging(m_bytes, m_stream);
    if (!succeeded(staging.status(), "allocating pinned memory")) return false;
    staging.copies_are_queued();
    if (!succeeded(gpu_runtime().copy_to_host(staging.data(), m_memory.get(), m_bytes, m_stream),
                   "copying an image to the host") ||
        !succeeded(gpu_runtime().stream_synchronize(m_stream), "making an image")) {
        m_on_device = false;  // what it holds can't be told any more
        return false;
    }
    staging.copies_are_done();
    const std::size_t row_bytes = bytes_of_row(m_host);
    for_rows(m_host.height, [&](int top, int bottom) {
        for (int y = top; y <= bottom; ++y)
            std::memcpy(host_row(y), staging.data() + static_cast<std::size_t>(y) * row_bytes, row_bytes);
    });
    m_on_host = true;
    return true;
}

void DeviceImage::host_written() {
    m_on_host = m_host.pixels && m_bytes;
    m_on_device = false;
}
