#include "host/core/image.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace ofxhost {
namespace {

constexpr std::size_t guardBytes = 64;
constexpr std::byte guardPattern{0xA5};

template <class Sample>
Sample quantise(float value, float white) {
    if (!(value > 0.0f)) return 0;  // NaN as well
    return static_cast<Sample>(std::lround(std::min(value, 1.0f) * white));
}

template <class Sample>
void copyIn(std::byte* row, const float* samples, std::size_t count, float white) {
    for (std::size_t i = 0; i < count; ++i) {
        const Sample level = quantise<Sample>(samples[i], white);
        std::memcpy(row + i * sizeof level, &level, sizeof level);
    }
}

template <class Sample>
void copyOut(const std::byte* row, float* samples, std::size_t count, float white) {
    for (std::size_t i = 0; i < count; ++i) {
        Sample level;
        std::memcpy(&level, row + i * sizeof level, sizeof level);
        samples[i] = static_cast<float>(level) / white;
    }
}

}  // namespace

const char* depthText(Depth depth) {
    switch (depth) {
        case Depth::Byte:
            return ofx::depth::Byte;
        case Depth::Short:
            return ofx::depth::Short;
        case Depth::Float:
            break;
    }
    return ofx::depth::Float;
}

double depthWhite(Depth depth) {
    switch (depth) {
        case Depth::Byte:
            return 255.0;
        case Depth::Short:
            return 65535.0;
        case Depth::Float:
            break;
    }
    return 1.0;
}

Image::Image(const ImageLayout& layout) : m_layout(layout) {
    const auto width = static_cast<std::int64_t>(layout.bounds.x2) - layout.bounds.x1;
    const auto height = static_cast<std::int64_t>(layout.bounds.y2) - layout.bounds.y1;
    if (width <= 0 || height <= 0 || layout.components < 1 || layout.components > 4 || layout.padding < 0) {
        throw std::length_error("an image needs a size above 0 and 1 to 4 components");
    }
    const std::size_t sampleBytes = static_cast<std::size_t>(layout.depth) / 8;
    m_rowSize = static_cast<std::size_t>(width) * layout.pixelBytes();
    // Rows stay aligned to their samples, as every host keeps them.
    m_stride = (m_rowSize + static_cast<std::size_t>(layout.padding) + sampleBytes - 1) / sampleBytes * sampleBytes;
    if (m_stride > INT_MAX || static_cast<std::uint64_t>(height) > (1ull << 36) / m_stride) {
        throw std::length_error("the image is too large");
    }
    m_rowBytes = layout.negativeRows ? -static_cast<std::ptrdiff_t>(m_stride) : static_cast<std::ptrdiff_t>(m_stride);
    m_pixelMemory = m_stride * static_cast<std::size_t>(height);
    layout.guard == Guard::Pattern ? allocateHeap() : allocatePages();
    std::fill(m_storage.start, m_pixels, guardPattern);
    std::fill(m_pixels + m_pixelMemory, m_storage.start + m_storage.size, guardPattern);
    if (m_stride == m_rowSize) return;
    for (std::int64_t row = 0; row < height; ++row) {
        std::fill_n(m_pixels + static_cast<std::size_t>(row) * m_stride + m_rowSize, m_stride - m_rowSize,
                    guardPattern);
    }
}

void Image::allocateHeap() {
    m_storage.size = m_pixelMemory + 2 * guardBytes;
    m_storage.heap = std::make_unique<std::byte[]>(m_storage.size);
    m_storage.start = m_storage.heap.get();
    m_pixels = m_storage.start + guardBytes;
}

void Image::allocatePages() {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    m_storage.size = (m_pixelMemory + page - 1) / page * page;
    m_storage.mappingSize = m_storage.size + 2 * page;
    void* mapping = ::mmap(nullptr, m_storage.mappingSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) throw std::bad_alloc();
    m_storage.mapping = mapping;
    m_storage.start = static_cast<std::byte*>(mapping) + page;
    if (::mprotect(m_storage.start, m_storage.size, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
    const bool behind = m_layout.guard == Guard::PageBehind;
    m_pixels = behind ? m_storage.start + (m_storage.size - m_pixelMemory) : m_storage.start;
}

Image::Storage::~Storage() {
    if (mapping) ::munmap(mapping, mappingSize);
}

void Image::makeReadOnly() {
    if (m_storage.mapping) ::mprotect(m_storage.start, m_storage.size, PROT_READ);
}

const std::byte* Image::pixel(int x, int y) const {
    const OfxRectI& bounds = m_layout.bounds;
    const std::ptrdiff_t row = m_layout.negativeRows ? static_cast<std::ptrdiff_t>(bounds.y2) - 1 - y
                                                     : static_cast<std::ptrdiff_t>(y) - bounds.y1;
    const std::ptrdiff_t column =
        (static_cast<std::ptrdiff_t>(x) - bounds.x1) * static_cast<std::ptrdiff_t>(m_layout.pixelBytes());
    return m_pixels + row * static_cast<std::ptrdiff_t>(m_stride) + column;
}

std::byte* Image::pixel(int x, int y) { return const_cast<std::byte*>(static_cast<const Image*>(this)->pixel(x, y)); }

float Image::sample(int x, int y, int channel) const {
    const std::byte* at =
        pixel(x, y) + static_cast<std::size_t>(channel) * static_cast<std::size_t>(m_layout.depth) / 8;
    float value = 0.0f;
    switch (m_layout.depth) {
        case Depth::Byte:
            copyOut<std::uint8_t>(at, &value, 1, 255.0f);
            break;
        case Depth::Short:
            copyOut<std::uint16_t>(at, &value, 1, 65535.0f);
            break;
        case Depth::Float:
            std::memcpy(&value, at, sizeof value);
            break;
    }
    return value;
}

void Image::setSample(int x, int y, int channel, float value) {
    std::byte* at = pixel(x, y) + static_cast<std::size_t>(channel) * static_cast<std::size_t>(m_layout.depth) / 8;
    switch (m_layout.depth) {
        case Depth::Byte:
            copyIn<std::uint8_t>(at, &value, 1, 255.0f);
            break;
        case Depth::Short:
            copyIn<std::uint16_t>(at, &value, 1, 65535.0f);
            break;
        case Depth::Float:
            std::memcpy(at, &value, sizeof value);
            break;
    }
}

std::vector<float> Image::toFloats() const {
    const std::size_t rowSamples =
        static_cast<std::size_t>(m_layout.width()) * static_cast<std::size_t>(m_layout.components);
    std::vector<float> samples(rowSamples * static_cast<std::size_t>(m_layout.height()));
    float* target = samples.data();
    for (int y = m_layout.bounds.y1; y < m_layout.bounds.y2; ++y, target += rowSamples) {
        const std::byte* row = pixel(m_layout.bounds.x1, y);
        switch (m_layout.depth) {
            case Depth::Byte:
                copyOut<std::uint8_t>(row, target, rowSamples, 255.0f);
                break;
            case Depth::Short:
                copyOut<std::uint16_t>(row, target, rowSamples, 65535.0f);
                break;
            case Depth::Float:
                std::memcpy(target, row, rowSamples * sizeof(float));
                break;
        }
    }
    return samples;
}

void Image::fromFloats(const std::vector<float>& samples) {
    const std::size_t rowSamples =
        static_cast<std::size_t>(m_layout.width()) * static_cast<std::size_t>(m_layout.components);
    if (samples.size() != rowSamples * static_cast<std::size_t>(m_layout.height())) {
        throw std::length_error("the samples do not fit the image");
    }
    const float* source = samples.data();
    for (int y = m_layout.bounds.y1; y < m_layout.bounds.y2; ++y, source += rowSamples) {
        std::byte* row = pixel(m_layout.bounds.x1, y);
        switch (m_layout.depth) {
            case Depth::Byte:
                copyIn<std::uint8_t>(row, source, rowSamples, 255.0f);
                break;
            case Depth::Short:
                copyIn<std::uint16_t>(row, source, rowSamples, 65535.0f);
                break;
            case Depth::Float:
                std::memcpy(row, source, rowSamples * sizeof(float));
                break;
        }
    }
}

bool Image::guardsIntact() const {
    const auto intact = [](const std::byte* from, std::size_t count) {
        return std::all_of(from, from + count, [](std::byte value) { return value == guardPattern; });
    };
    const std::byte* const end = m_pixels + m_pixelMemory;
    if (!intact(m_storage.start, static_cast<std::size_t>(m_pixels - m_storage.start))) return false;
    if (!intact(end, static_cast<std::size_t>(m_storage.start + m_storage.size - end))) return false;
    const std::byte* row = m_pixels;
    for (int y = 0; y < m_layout.height(); ++y, row += m_stride) {
        if (!intact(row + m_rowSize, m_stride - m_rowSize)) return false;
    }
    return true;
}

std::uint64_t Image::checksum() const {
    std::uint64_t hash = 0xcbf29ce484222325ull;  // FNV-1a, a word at a time
    const auto mix = [&hash](std::uint64_t word) { hash = (hash ^ word) * 0x100000001b3ull; };
    for (int y = m_layout.bounds.y1; y < m_layout.bounds.y2; ++y) {
        const std::byte* row = pixel(m_layout.bounds.x1, y);
        std::size_t i = 0;
        for (std::uint64_t word; i + sizeof word <= m_rowSize; i += sizeof word) {
            std::memcpy(&word, row + i, sizeof word);
            mix(word);
        }
        for (; i < m_rowSize; ++i) mix(static_cast<std::uint64_t>(row[i]));
    }
    return hash;
}

}  // namespace ofxhost
