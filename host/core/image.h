// A picture as the host hands it over: rows bottom to top, pixels interleaved, with any row stride.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ofx/ofx.h"
#include "ofx/ofx_names.h"

namespace ofxhost {

enum class Depth : std::uint8_t { Byte = 8, Short = 16, Float = 32 };

const char* depthText(Depth depth);  // "OfxBitDepthByte"
double depthWhite(Depth depth);      // 255, 65535, 1

// What lies around an image's memory. Pages that nobody may touch turn an access outside into a fault at that very
// instruction, on one side: behind the last byte or before the first.
enum class Guard : std::uint8_t { Pattern, PageBehind, PageBefore };

struct ImageLayout {
    OfxRectI bounds = {0, 0, 0, 0};
    Depth depth = Depth::Float;
    int components = 4;         // RGBA; 3 is RGB and 1 is Alpha
    int padding = 0;            // bytes behind each row
    bool negativeRows = false;  // row y + 1 lies below row y in memory
    double pixelAspect = 1.0;
    OfxPointD renderScale = {1.0, 1.0};
    std::string premultiplication = ofx::premultiplication::UnPremultiplied;
    Guard guard = Guard::Pattern;

    int width() const { return bounds.x2 - bounds.x1; }
    int height() const { return bounds.y2 - bounds.y1; }
    std::size_t pixelBytes() const {
        return static_cast<std::size_t>(components) * static_cast<std::size_t>(depth) / 8;
    }
};

class Image {
  public:
    explicit Image(const ImageLayout& layout);  // all samples 0; throws std::length_error for an impossible size

    const ImageLayout& layout() const { return m_layout; }
    std::ptrdiff_t rowBytes() const { return m_rowBytes; }  // signed
    std::byte* pixel(int x, int y);                         // in the coordinates of the bounds, not checked
    const std::byte* pixel(int x, int y) const;
    std::byte* data() { return pixel(m_layout.bounds.x1, m_layout.bounds.y1); }  // the bottom-left pixel

    // One sample, as a level of the depth divided by its white: 0 to 1 for the integer depths.
    float sample(int x, int y, int channel) const;
    void setSample(int x, int y, int channel, float value);  // integer depths: limited and rounded to nearest
    std::vector<float> toFloats() const;                     // rows bottom to top, no padding
    void fromFloats(const std::vector<float>& samples);

    // Memory around and between the rows holds a pattern; false when somebody wrote there.
    bool guardsIntact() const;
    // From now on a write to the pixels is a fault. Only for images between guard pages.
    void makeReadOnly();
    const std::byte* firstByte() const { return m_pixels; }  // lowest address of pixels
    std::size_t pixelMemory() const { return m_pixelMemory; }
    std::uint64_t checksum() const;  // of the pixels alone

  private:
    // Bytes of its own, or whole pages of the system's.
    struct Storage {
        ~Storage();
        std::byte* start = nullptr;  // what may be touched
        std::size_t size = 0;
        std::unique_ptr<std::byte[]> heap;
        void* mapping = nullptr;
        std::size_t mappingSize = 0;
    };
    void allocateHeap();
    void allocatePages();

    ImageLayout m_layout;
    std::size_t m_rowSize = 0, m_stride = 0, m_pixelMemory = 0;
    std::ptrdiff_t m_rowBytes = 0;
    Storage m_storage;
    std::byte* m_pixels = nullptr;
};

using ImagePtr = std::shared_ptr<Image>;

}  // namespace ofxhost
