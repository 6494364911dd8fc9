#include "host/core/device_pictures.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace ofxhost {

namespace {

constexpr std::size_t guardBytes = 256;  // keeps the pixels aligned
constexpr std::byte guardPattern{0xA5};

std::size_t strideOf(const Image& image) { return static_cast<std::size_t>(std::abs(image.rowBytes())); }

std::size_t rowSizeOf(const Image& image) {
    return static_cast<std::size_t>(image.layout().width()) * image.layout().pixelBytes();
}

template <class Body>
void forRows(const Image& image, Body&& body) {
    const OfxRectI& bounds = image.layout().bounds;
    std::size_t at = guardBytes;
    for (int y = bounds.y1; y < bounds.y2; ++y, at += strideOf(image)) body(y, at);
}

std::vector<std::byte> packed(const Image& image) {
    const auto rows = static_cast<std::size_t>(image.layout().height());
    std::vector<std::byte> bytes(rows * strideOf(image) + 2 * guardBytes, guardPattern);
    forRows(image, [&](int y, std::size_t at) {
        std::memcpy(bytes.data() + at, image.pixel(image.layout().bounds.x1, y), rowSizeOf(image));
    });
    return bytes;
}

void unpack(const std::vector<std::byte>& bytes, Image& image) {
    forRows(image, [&](int y, std::size_t at) {
        std::memcpy(image.pixel(image.layout().bounds.x1, y), bytes.data() + at, rowSizeOf(image));
    });
}

bool surroundingsIntact(const std::vector<std::byte>& bytes, const Image& image) {
    std::size_t from = 0;  // behind the row before
    bool intact = true;
    const auto require = [&](std::size_t to) {
        intact = intact && std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                                       bytes.begin() + static_cast<std::ptrdiff_t>(to),
                                       [](std::byte value) { return value == guardPattern; });
    };
    forRows(image, [&](int, std::size_t at) {
        require(at);
        from = at + rowSizeOf(image);
    });
    require(bytes.size());
    return intact;
}

}  // namespace

DevicePictures::~DevicePictures() {
    if (!m_finished && !m_pictures.empty()) m_queue.finish();
    for (const auto& picture : m_pictures)
        if (picture->memory) m_queue.release(picture->memory);
}

std::ptrdiff_t DevicePictures::rowBytes(const Image& image) { return std::abs(image.rowBytes()); }

void* DevicePictures::give(const ImagePtr& image, bool isOutput) {
    const std::lock_guard lock(m_mutex);
    if (m_failed) return nullptr;
    auto found = std::find_if(m_pictures.begin(), m_pictures.end(),
                              [&](const auto& picture) { return picture->image == image; });
    if (found == m_pictures.end()) {
        m_pictures.push_back(std::make_unique<Picture>());
        found = m_pictures.end() - 1;
        (*found)->image = image;
        m_failed = !send(**found);
    }
    Picture& picture = **found;
    picture.isOutput = picture.isOutput || isOutput;
    return m_failed ? nullptr : static_cast<std::byte*>(picture.memory) + guardBytes;
}

bool DevicePictures::send(Picture& picture) {
    picture.bytes = packed(*picture.image);
    picture.memory = m_queue.allocate(picture.bytes.size());
    return picture.memory && m_queue.upload(picture.memory, picture.bytes.data(), picture.bytes.size()) &&
           (m_inOrder || m_queue.finish());
}

bool DevicePictures::fetch(Picture& picture, std::vector<std::byte>& bytes) {
    bytes.resize(picture.bytes.size());
    return m_queue.download(bytes.data(), picture.memory, bytes.size());
}

bool DevicePictures::bringBack(bool checkSources, Faults& faults) {
    const std::lock_guard lock(m_mutex);
    if (m_failed || !m_queue.finish()) return false;
    std::vector<std::vector<std::byte>> fetched(m_pictures.size());
    bool queued = true;
    for (std::size_t i = 0; i < m_pictures.size() && queued; ++i)
        if (m_pictures[i]->isOutput || checkSources) queued = fetch(*m_pictures[i], fetched[i]);
    m_finished = m_queue.finish();
    if (!m_finished || !queued) return false;
    for (std::size_t i = 0; i < m_pictures.size(); ++i) {
        const Picture& picture = *m_pictures[i];
        if (fetched[i].empty()) continue;
        const bool intact = surroundingsIntact(fetched[i], *picture.image);
        faults.outsideWritten = faults.outsideWritten || !intact;
        if (picture.isOutput)
            unpack(fetched[i], *picture.image);
        else
            faults.sourceWritten = faults.sourceWritten || (intact && fetched[i] != picture.bytes);
    }
    return true;
}

}  // namespace ofxhost
