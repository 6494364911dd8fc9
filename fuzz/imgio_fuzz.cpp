// Any bytes as a picture file of one format. What can be read is written and read again, and must be the same where the
// format loses nothing.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "imagelib/imagelib_fileio.h"
#include "imgio/imgio.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

// Larger pictures are only described: decoding them finds nothing that smaller ones do not.
constexpr std::int64_t MOST_BYTES = 1 << 22;

class MemoryFile {
  public:
    MemoryFile() : m_descriptor(memfd_create("fuzz", 0)), m_path("/proc/self/fd/" + std::to_string(m_descriptor)) {}
    const char* path() const { return m_path.c_str(); }
    void fill(const std::uint8_t* bytes, std::size_t count) const {
        if (ftruncate(m_descriptor, 0) != 0 || pwrite(m_descriptor, bytes, count, 0) != static_cast<ssize_t>(count))
            std::abort();
    }

  private:
    int m_descriptor;
    std::string m_path;
};

bool loses() {
    const std::string format = FORMAT;
    return format == "jpeg" || format == "gif" || format == "yuv" || format == "cin" || format == "tiff";
}

void round_trip(const K7Image* image) {
    static const MemoryFile file;
    static bool compress = false;
    compress = !compress;
    if (!image_write(file.path(), image, compress, FORMAT)) return;
    const ImagePtr again(image_read(file.path(), FORMAT));
    if (!again) std::abort();
    if (!loses() && image_same_layout(image, again.get()) &&
        std::memcmp(image->pixels, again->pixels, std::size_t(image->row_bytes) * image->height) != 0)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    static const MemoryFile file;
    SetTraceLevel(TRACE_OFF);
    file.fill(bytes, count);
    int width = 0, height = 0, channels = 0, bits = 0;
    if (!image_file_info(file.path(), &width, &height, &channels, &bits, FORMAT)) return 0;
    if (std::int64_t{width} * height * channels * (bits / 8) > MOST_BYTES) return 0;
    const ImagePtr image(image_read(file.path(), FORMAT));
    if (!image) return 0;
    if (image->width != width || image->height != height || image->channels != channels) std::abort();
    round_trip(image.get());
    return 0;
}
