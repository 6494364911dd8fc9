// SGI image files: 8 and 16 bits, one to four channels in planes, bottom line first, plain or in runs. Written in runs.
// Source: P. Haeberli, "The SGI Image File Format", version 1.00.
#include "imgio/pictures.h"

namespace imgio {

namespace {

constexpr int MAGIC = 474;
constexpr std::size_t HEADER = 512;

// A run is a number with the count in its low seven bits: with the eighth, that many samples follow; without it, one
// that is repeated; a count of 0 ends the line. Samples of 16 bits have numbers of 16 bits.
template <class T>
T take_sample(ByteReader& bytes) {
    if constexpr (sizeof(T) == 1)
        return bytes.u8();
    else
        return bytes.be16();
}

template <class T>
bool rle_expand(ByteReader bytes, T* out, int width, int step) {
    int x = 0;
    for (;;) {
        const int number = take_sample<T>(bytes), count = number & 127;
        if (!bytes.ok() || count > width - x) return false;
        if (count == 0) return x == width;
        const bool copy = (number & 128) != 0;
        T sample = copy ? T(0) : take_sample<T>(bytes);
        for (const int end = x + count; x < end; ++x) {
            if (copy) sample = take_sample<T>(bytes);
            out[x * step] = sample;
        }
        if (!bytes.ok()) return false;
        if (x == width && bytes.left() == 0) return true;  // some writers leave the end out
    }
}

template <class T>
void put_sample(ByteWriter& out, int sample) {
    if constexpr (sizeof(T) == 1)
        out.u8(sample);
    else
        out.be16(sample);
}

template <class T>
void rle_compact(ByteWriter& out, const T* in, int width, int step) {
    const auto at = [&](int x) { return in[x * step]; };
    for (int x = 0; x < width;) {
        int end = x;
        const int limit = std::min(width, x + 126);
        while (end < limit && !(end + 2 < width && at(end) == at(end + 1) && at(end) == at(end + 2))) ++end;
        if (end > x) {
            put_sample<T>(out, 128 | (end - x));
            for (; x < end; ++x) put_sample<T>(out, at(x));
            continue;
        }
        while (end < limit && at(end) == at(x)) ++end;
        put_sample<T>(out, end - x);
        put_sample<T>(out, at(x));
        x = end;
    }
    put_sample<T>(out, 0);
}

class SgiReader final : public MemoryReader {
  public:
    bool read(int line, void* samples) override {
        return m_bytes_per_sample == 1 ? read_planes(line, static_cast<std::uint8_t*>(samples))
                                       : read_planes(line, static_cast<std::uint16_t*>(samples));
    }

  private:
    bool parse(ImgioFile& file) override;
    template <class T>
    bool read_planes(int line, T* out) const;

    bool m_packed = false;
    int m_bytes_per_sample = 1, m_planes = 1;
};

bool SgiReader::parse(ImgioFile& file) {
    ByteReader bytes = reader();
    const int magic = bytes.be16();
    if (magic != MAGIC) return error("iopen: bad magic in image file %x\n", static_cast<unsigned>(magic));
    const int storage = bytes.u8();
    m_bytes_per_sample = bytes.u8();
    const int dimension = bytes.be16();
    const int width = bytes.be16(), height = bytes.be16(), planes = bytes.be16();
    bytes.seek(104);
    const std::uint32_t colour_map = bytes.be32();
    if (!bytes.ok() || bytes_from(0) < HEADER || storage > 1 || m_bytes_per_sample < 1 || m_bytes_per_sample > 2 ||
        dimension < 1 || dimension > 3 || colour_map != 0)
        return error("SGI: Storage %d, %d bytes, dimension %d, map %u are not supported.\n", storage,
                     m_bytes_per_sample, dimension, colour_map);
    m_packed = storage == 1;
    m_planes = dimension < 3 ? 1 : planes;
    const std::int64_t lines = std::int64_t{dimension < 2 ? 1 : height} * m_planes;
    const std::int64_t least = m_packed ? lines * 8 : lines * width * m_bytes_per_sample;
    if (m_planes < 1 || static_cast<std::int64_t>(bytes_from(HEADER)) < least)
        return error("SGI: The file is too short.\n");
    return set_layout(file, width, dimension < 2 ? 1 : height, std::min(m_planes, 4), 8 * m_bytes_per_sample);
}

template <class T>
bool SgiReader::read_planes(int line, T* out) const {
    const auto row = static_cast<std::size_t>(height() - 1 - line);
    const auto lines = static_cast<std::size_t>(height()) * static_cast<std::size_t>(m_planes);
    for (int c = 0; c < channels(); ++c) {
        const std::size_t index = row + static_cast<std::size_t>(c) * static_cast<std::size_t>(height());
        if (m_packed) {
            const std::size_t start = reader(HEADER + 4 * index).be32();
            const std::size_t length = reader(HEADER + 4 * (lines + index)).be32();
            ByteReader bytes = reader(start);
            const auto packed = bytes.take(length);
            if (!bytes.ok() || !rle_expand<T>(ByteReader(packed), out + c, width(), channels())) return false;
        } else {
            ByteReader bytes = reader(HEADER + index * static_cast<std::size_t>(width()) * sizeof(T));
            for (int x = 0; x < width(); ++x) out[x * channels() + c] = take_sample<T>(bytes);
            if (!bytes.ok()) return false;
        }
    }
    return true;
}

class SgiWriter final : public PictureWriter {
    int stored_channels(int given) const override { return given; }
    bool encode(ByteWriter& out) override;
    template <class T>
    void put_planes(ByteWriter& out);
};

bool SgiWriter::encode(ByteWriter& out) {
    out.be16(MAGIC);
    out.u8(1);
    out.u8(bits() / 8);
    out.be16(channels() == 1 ? 2 : 3);
    out.be16(width());
    out.be16(height());
    out.be16(channels());
    out.be32(0);
    out.be32(bits() == 8 ? 255 : 65535);
    out.fill(HEADER - out.size());
    bits() == 8 ? put_planes<std::uint8_t>(out) : put_planes<std::uint16_t>(out);
    return out.size() <= static_cast<std::size_t>(MAX_BYTES);
}

// The tables of starts and sizes are filled in while the lines behind them are packed.
template <class T>
void SgiWriter::put_planes(ByteWriter& out) {
    const auto lines = static_cast<std::size_t>(height()) * static_cast<std::size_t>(channels());
    out.fill(lines * 8);
    for (std::size_t index = 0; index < lines; ++index) {
        const int plane = static_cast<int>(index) / height(), row = static_cast<int>(index) % height();
        const std::size_t start = out.size();
        rle_compact<T>(out, line<T>(height() - 1 - row) + plane, width(), channels());
        out.set_be32(HEADER + 4 * index, static_cast<std::uint32_t>(start));
        out.set_be32(HEADER + 4 * (lines + index), static_cast<std::uint32_t>(out.size() - start));
    }
}

}  // namespace

ImgioFormat sgi_format(ImgioFormat names) {
    return writes<SgiWriter>(reads<SgiReader>(names, Depth::Bits8And16), Depth::Bits8And16);
}

}  // namespace imgio
