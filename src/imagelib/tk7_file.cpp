#include "imagelib/tk7_file.h"

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "imagelib/samples.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr std::uint32_t VERSION = 1;

struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

struct Header {
    char magic[4];
    std::uint32_t version, width, height, channels, sample_type;
    float attributes[9];
};
static_assert(sizeof(Header) == 60);

void to_little_endian(void* words, std::size_t count) {
    if constexpr (std::endian::native == std::endian::big) swap_bytes_32(words, count);
}

bool read_header(std::FILE* stream, std::int64_t bytes, Header& header) {
    if (std::fread(&header, sizeof header, 1, stream) != 1 || std::memcmp(header.magic, "TK7", 4) != 0) return false;
    to_little_endian(&header.version, sizeof header / 4 - 1);
    if (header.version != VERSION || header.sample_type > SAMPLE_F32) return false;
    if (header.width - 1 >= 65535 || header.height - 1 >= 65535 || header.channels - 1 >= 65535) return false;
    const int pixel = image_pixel_bytes(static_cast<int>(header.channels), static_cast<int>(header.sample_type));
    const std::int64_t rest = bytes - std::int64_t{sizeof header}, row = std::int64_t{header.width} * pixel;
    return row <= rest && rest == row * header.height;
}

// Attributes that no image could have had are left as those of a new image.
void take_attributes(const float* from, K7Image* image) {
    for (int i = 0; i < 9; ++i)
        if (!std::isfinite(from[i]) || (from[i] <= 0.0f && i != 6 && i != 7)) return;
    float* const fields[] = {&image->physical_width, &image->physical_height, &image->physical_aspect,
                             &image->pixel_width,    &image->pixel_height,    &image->pixel_aspect,
                             &image->origin_x,       &image->origin_y,        &image->unit_scale};
    for (int i = 0; i < 9; ++i) *fields[i] = from[i];
}

// Samples are stored with the low byte first.
void swap_samples([[maybe_unused]] void* samples, [[maybe_unused]] std::size_t bytes, [[maybe_unused]] int sample) {
    if constexpr (std::endian::native == std::endian::big) {
        if (sample == 2) swap_bytes_16(samples, bytes / 2);
        if (sample == 4) swap_bytes_32(samples, bytes / 4);
    }
}

bool write_all(std::FILE* stream, const K7Image* image) {
    Header header = {{'T', 'K', '7', 0},
                     VERSION,
                     image->width,
                     image->height,
                     image->channels,
                     image->sample_type,
                     {image->physical_width, image->physical_height, image->physical_aspect, image->pixel_width,
                      image->pixel_height, image->pixel_aspect, image->origin_x, image->origin_y, image->unit_scale}};
    to_little_endian(&header.version, sizeof header / 4 - 1);
    bool written = std::fwrite(&header, sizeof header, 1, stream) == 1;
    if constexpr (std::endian::native == std::endian::little)
        return written && std::fwrite(image->pixels, 1, buffer_bytes(image), stream) == buffer_bytes(image);
    const ImagePtr turned(image_duplicate(image));
    if (!turned) return false;
    swap_samples(turned->pixels, buffer_bytes(image), image->sample_bytes);
    return written && std::fwrite(turned->pixels, 1, buffer_bytes(image), stream) == buffer_bytes(image);
}

}  // namespace

bool tk7_info(const char* path, int* width, int* height, int* channels, int* depth) {
    const std::int64_t bytes = file_size(path);
    const Stream stream(bytes < 0 ? nullptr : std::fopen(path, "rb"));
    Header header;
    if (!stream || !read_header(stream.get(), bytes, header)) return false;
    *width = static_cast<int>(header.width);
    *height = static_cast<int>(header.height);
    *channels = static_cast<int>(header.channels);
    *depth = 8 * image_bytes_per_sample(static_cast<int>(header.sample_type));
    return true;
}

K7Image* tk7_read(const char* path) {
    const std::int64_t bytes = file_size(path);
    const Stream stream(bytes < 0 ? nullptr : std::fopen(path, "rb"));
    Header header;
    if (!stream || !read_header(stream.get(), bytes, header)) return nullptr;
    ImagePtr image = make_image_uncleared(static_cast<int>(header.width), static_cast<int>(header.height),
                                          static_cast<int>(header.channels), static_cast<int>(header.sample_type));
    if (!image || std::fread(image->pixels, 1, buffer_bytes(image.get()), stream.get()) != buffer_bytes(image.get()))
        return nullptr;
    swap_samples(image->pixels, buffer_bytes(image.get()), image->sample_bytes);
    take_attributes(header.attributes, image.get());
    return image.release();
}

bool tk7_write(const char* path, const K7Image* image) {
    std::FILE* const stream = std::fopen(path, "wb+");
    if (!stream) return false;
    const bool written = write_all(stream, image);
    const bool closed = std::fclose(stream) == 0;
    if (written && closed) return true;
    remove_file(path);
    return false;
}
