// imagelib: the image record and everything done to whole images.
//
// Rules common to all functions of the library (said here once):
// - Layout. A K7Image is one contiguous block of interleaved samples, row after row, without padding. Rows are in the
//   host's order: row 0 is the bottom of the picture. Effects work on 4-channel float RGBA, nominal range 0 to 1,
//   colour not pre-multiplied unless a function says so.
// - Ownership. Whoever creates an image destroys it; ImagePtr does so by itself. Functions never keep a pointer to an
//   image after they return, except the classes that say so.
// - Refusals. A null image, a layout that does not match or an argument outside its range is answered with false (or
//   null) and nothing is changed. There are no error texts and nothing throws.
// - Statistics. A function that writes pixels clears stats_valid of the image it wrote.
// - Threads. Whole-image functions spread their rows by k7pi_baselib/rows.h and return when all rows are done. The
//   result does not depend on how rows were split, on the number of threads or on the processor.
// - Integer samples are in units of the sample type (255, 65535 and 4294967295 are white) in every function that
//   takes or gives single samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>

#include "k7pi_baselib/rows.h"

// ---- The record -----------------------------------------------------------------------------------------------

enum SampleType : std::uint16_t { SAMPLE_U8 = 0, SAMPLE_U16 = 1, SAMPLE_U32 = 2, SAMPLE_F32 = 3 };

struct K7Image {
    std::uint16_t width;        // pixels a row, 1 to 65535
    std::uint16_t height;       // rows, 1 to 65535
    std::uint16_t channels;     // samples a pixel
    std::uint16_t sample_type;  // SampleType
    std::uint16_t owns_pixels;  // non-zero: pixels go with the record
    std::uint16_t user_word;    // copied with the attributes, otherwise unused
    float min_value;            // smallest and largest sample, valid while stats_valid is set
    float max_value;
    std::uint32_t stats_valid;
    float physical_width;  // in `units`; initially the pixel counts
    float physical_height;
    float physical_aspect;  // physical_width / physical_height
    float pixel_width;      // of one pixel, in `units`; initially 1
    float pixel_height;
    float pixel_aspect;  // pixel_width / pixel_height
    float origin_x;      // offset of the image in its frame
    float origin_y;
    std::uint32_t units;      // 0 to 4; 0 fresh, 2 relative to square pixels (images made from host data)
    float unit_scale;         // above 0; 1 / render scale on images made from host data
    std::uint32_t row_bytes;  // width * channels * bytes a sample
    std::uint16_t pixel_bytes;
    std::uint16_t sample_bytes;
    void* pixels;  // first sample of row 0
};

int image_bytes_per_sample(int sample_type);  // 1, 2, 4, or -1 for an unknown type
int image_bytes_per_sample(const K7Image* image);
int image_pixel_bytes(int channels, int sample_type);
int image_pixel_bytes(const K7Image* image);
int image_row_bytes(int width, int channels, int sample_type);
int image_row_bytes(const K7Image* image);
int image_total_bytes(int width, int height, int channels, int sample_type);
int image_total_bytes(const K7Image* image);
float image_full_value(int sample_type);  // 255, 65535, 4294967295 or 1
bool image_same_layout(const K7Image* a, const K7Image* b);

// Width and height 1 to 65535; refused above 2^31 - 1 bytes. With `allocate` the pixels are zero, page aligned and
// owned by the record; without it the caller stores its own pointer.
K7Image* image_create(int width, int height, int channels, int sample_type, int allocate);
// The same with pixels that hold anything: for images that are written whole before they are read.
K7Image* image_create_uncleared(int width, int height, int channels, int sample_type);
int image_destroy(K7Image* image);  // 0, or -1 for null

struct ImageDeleter {
    void operator()(K7Image* image) const { image_destroy(image); }
};
using ImagePtr = std::unique_ptr<K7Image, ImageDeleter>;

inline ImagePtr make_image(int width, int height, int channels, int sample_type) {
    return ImagePtr(image_create(width, height, channels, sample_type, 1));
}

inline ImagePtr make_image_uncleared(int width, int height, int channels, int sample_type) {
    return ImagePtr(image_create_uncleared(width, height, channels, sample_type));
}

// The rows of an image with samples of type T. The caller knows the sample type.
template <class T>
T* image_row(K7Image* image, int y) {
    return reinterpret_cast<T*>(static_cast<std::byte*>(image->pixels) + std::size_t(y) * image->row_bytes);
}
template <class T>
const T* image_row(const K7Image* image, int y) {
    return reinterpret_cast<const T*>(static_cast<const std::byte*>(image->pixels) + std::size_t(y) * image->row_bytes);
}

// ---- Attributes -----------------------------------------------------------------------------------------------

bool image_set_physical_size(K7Image* image, float width, float height, int units);
bool image_set_pixel_size(K7Image* image, float width, float height, int units);
bool image_set_origin(K7Image* image, float x, float y);
bool image_set_unit_scale(K7Image* image, float scale);
bool image_copy_attributes(const K7Image* source, K7Image* destination);

// ---- Copies and fills -----------------------------------------------------------------------------------------

K7Image* image_clone_layout(const K7Image* image);
K7Image* image_duplicate(const K7Image* image);
bool image_copy(const K7Image* source, K7Image* destination);
// Mask 0: true at once, whatever the images. Mask -1: image_copy. Else channel i where bit i is set.
bool image_copy_channels(const K7Image* source, K7Image* destination, int mask);
// Entry i: the source channel (from 1) for destination channel i; 0 and below leave it alone. Short lists repeat
// their last entry; entries past the channel count mean the last channel.
bool image_copy_mapped(const K7Image* source, K7Image* destination, const int* map, int count);
// Entry i above 0: channel `entry` of a; below 0: channel `-entry` of b; 0: left alone. Lists as above.
bool image_merge_mapped(const K7Image* a, const K7Image* b, K7Image* destination, const int* map, int count);
bool image_clear(K7Image* image);
bool image_fill(K7Image* image, float value);        // in sample units
bool image_fill_level(K7Image* image, float level);  // 0 to 1 of the full value
bool image_fill_channel(K7Image* image, float value, int channel);
bool image_fill_channels(K7Image* image, const float* values, int count);

// ---- Samples and ranges ---------------------------------------------------------------------------------------

float image_get_sample(const K7Image* image, int x, int y, int channel);  // 0 outside the image
bool image_compute_minmax(K7Image* image);
bool image_normalize_range(K7Image* image, float low, float high);

// ---- Conversions ----------------------------------------------------------------------------------------------

// Equal sizes. `normalise` maps full value to full value; floats are truncated into integers. Destination channels
// that the source lacks: mode 1 a copy of its last channel, mode 3 the full value, any other mode 0.
bool image_convert(const K7Image* source, K7Image* destination, bool normalise, int extra_channel_mode);
// To any layout: converts, and scales with the resampling kernel `scale_filter` where sizes differ.
bool image_to_layout(const K7Image* source, K7Image* destination, bool normalise = true, int scale_filter = 4,
                     int extra_mode = 0);

// Sums frames of one layout (float only; built on any other sample type it holds nothing).
class ImageAccumulator {
  public:
    explicit ImageAccumulator(const K7Image* layout);
    virtual ~ImageAccumulator();
    bool add(const K7Image* frame);  // false for another layout
    bool mean(K7Image* destination) const;
    const K7Image* sum() const { return m_sum.get(); }
    int count() const { return m_count; }

  private:
    ImagePtr m_sum;
    int m_count = 0;
};
