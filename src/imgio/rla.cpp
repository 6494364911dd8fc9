// RLA (Wavefront): colour or grey with an optional matte, 8 and 16 bits of integers, in runs, bottom line first. A
// picture is as large as its window; what lies outside of the active window is 0. Fields, floats and auxiliary channels
// are not read. Source: J. D. Murray and W. vanRyper, Encyclopedia of Graphics File Formats, O'Reilly 1996 ("Wavefront
// RLA").
#include "imgio/pictures.h"

namespace imgio {

namespace {

constexpr std::size_t HEADER = 740;
constexpr int REVISION = 0xfffe;
enum Storage { BYTES = 0, WORDS = 1 };

struct Window {
    int left = 0, right = 0, bottom = 0, top = 0;  // inclusive
    int width() const { return right - left + 1; }
    int height() const { return top - bottom + 1; }
    bool holds(const Window& other) const {
        return left <= other.left && right >= other.right && bottom <= other.bottom && top >= other.top;
    }
};

int take_signed(ByteReader& bytes) { return static_cast<std::int16_t>(bytes.be16()); }

Window take_window(ByteReader& bytes) {
    Window window;
    for (int* side : {&window.left, &window.right, &window.bottom, &window.top}) *side = take_signed(bytes);
    return window;
}

// A count from 0 repeats the next byte once more than it says; one below 0 is followed by as many bytes. Samples of 16
// bits come as two series, high bytes first. `out` takes a byte every `step`.
bool expand(ByteReader& bytes, int count, auto&& put) {
    for (int i = 0; i < count;) {
        const int number = static_cast<std::int8_t>(bytes.u8()), length = number < 0 ? -number : number + 1;
        if (!bytes.ok() || length > count - i) return false;
        std::uint8_t value = number < 0 ? 0 : bytes.u8();
        for (const int end = i + length; i < end; ++i) {
            if (number < 0) value = bytes.u8();
            put(i, value);
        }
    }
    return bytes.ok();
}

class RlaReader final : public MemoryReader {
  public:
    bool read(int line, void* samples) override {
        return m_bits <= 8 ? read_line(line, static_cast<std::uint8_t*>(samples))
                           : read_line(line, static_cast<std::uint16_t*>(samples));
    }

  private:
    bool parse(ImgioFile& file) override;
    template <class T>
    bool read_line(int line, T* out) const;

    Window m_window, m_active;
    int m_bits = 8;
};

bool RlaReader::parse(ImgioFile& file) {
    ByteReader bytes = reader();
    m_window = take_window(bytes);
    m_active = take_window(bytes);
    bytes.skip(2);
    const int storage = take_signed(bytes), colours = take_signed(bytes), mattes = take_signed(bytes);
    bytes.skip(2);
    const int revision = bytes.be16();
    bytes.seek(658);
    m_bits = take_signed(bytes);
    if (m_bits == 0) m_bits = 8;  // as older writers leave it
    bytes.skip(2);
    const int matte_bits = take_signed(bytes);
    if (!bytes.ok() || revision != REVISION) return error("RLA: Bad revision in the header.\n");
    if (storage < 0 || storage > WORDS || (colours != 1 && colours != 3) || mattes < 0 || mattes > 3 || m_bits < 1 ||
        m_bits > 16 || (mattes > 0 && matte_bits != 0 && matte_bits != m_bits))
        return error("RLA: Storage %d with %d channels and %d mattes of %d bits is not supported.\n", storage, colours,
                     mattes, m_bits);
    if (m_active.width() < 1 || m_active.height() < 1) return error("RLA: The picture is empty.\n");
    if (!m_window.holds(m_active)) m_window = m_active;
    if (bytes_from(HEADER) / 4 < static_cast<std::size_t>(m_active.height()))
        return error("RLA: The file is too short.\n");
    return set_layout(file, m_window.width(), m_window.height(), colours + (mattes > 0 ? 1 : 0), m_bits <= 8 ? 8 : 16);
}

template <class T>
bool RlaReader::read_line(int line, T* out) const {
    std::fill_n(out, width() * channels(), T(0));
    const int y = m_window.top - line;
    if (y < m_active.bottom || y > m_active.top) return true;
    out += (m_active.left - m_window.left) * channels();
    const unsigned largest = (1u << m_bits) - 1;
    ByteReader bytes = reader(reader(HEADER + 4 * static_cast<std::size_t>(y - m_active.bottom)).be32());
    for (int c = 0; c < channels(); ++c) {
        ByteReader packed(bytes.take(bytes.be16()));
        if (!bytes.ok()) return false;
        const int width = m_active.width();
        for (std::size_t series = 0; series < sizeof(T); ++series) {
            const auto put = [&](int x, std::uint8_t byte) {
                T& sample = out[x * channels() + c];
                sample = static_cast<T>(sizeof(T) == 1 ? byte : sample << 8 | byte);
            };
            if (!expand(packed, width, put)) return false;
        }
        for (int x = 0; largest < full<T> && x < width; ++x) {
            T& sample = out[x * channels() + c];
            sample = static_cast<T>(std::min<unsigned>(sample, largest) * full<T> / largest);
        }
    }
    return true;
}

class RlaWriter final : public PictureWriter {
    int stored_channels(int given) const override { return given; }
    bool encode(ByteWriter& out) override;
    void put_header(ByteWriter& out) const;
    template <class T>
    bool put_lines(ByteWriter& out);
};

void RlaWriter::put_header(ByteWriter& out) const {
    for (int window = 0; window < 2; ++window)
        for (const int side : {0, width() - 1, 0, height() - 1}) out.be16(side);
    const int mattes = channels() % 2 == 0 ? 1 : 0;
    out.be16(1);  // frame
    out.be16(bits() == 8 ? BYTES : WORDS);
    out.be16(channels() - mattes);
    out.be16(mattes);
    out.be16(0);
    out.be16(REVISION);
    out.text("2.2", 16);
    for (const char* place : {"0.640 0.330", "0.300 0.600", "0.150 0.060", "0.313 0.329"}) out.text(place, 24);
    out.be32(0);
    out.text("", 128);
    out.text("Written by imgio", 128);
    out.text("imgio", 64);
    out.text("", 32);
    out.text(imgio_variable("IMGIO_USER", "daemon"), 32);
    out.text("", 20);
    out.text("", 24);
    out.text("", 8);
    out.text("rgb", 32);
    out.be16(0);
    out.text("", 12);
    out.text("", 32);
    out.be16(bits());
    out.be16(bits() == 8 ? BYTES : WORDS);
    out.be16(mattes ? bits() : 0);
    out.fill(HEADER - out.size());
}

// Packs one series of bytes.
void compact(ByteWriter& out, std::span<const std::uint8_t> in) {
    for (std::size_t i = 0; i < in.size();) {
        const std::size_t limit = std::min(in.size(), i + 128);
        std::size_t end = i + 1;
        while (end < limit && in[end] == in[i]) ++end;
        if (end - i > 2) {
            out.u8(static_cast<int>(end - i) - 1);
            out.u8(in[i]);
        } else {
            while (end < limit && !(end + 2 < in.size() && in[end] == in[end + 1] && in[end] == in[end + 2])) ++end;
            out.u8(-static_cast<int>(end - i));
            out.append(in.subspan(i, end - i));
        }
        i = end;
    }
}

template <class T>
bool RlaWriter::put_lines(ByteWriter& out) {
    out.fill(4 * static_cast<std::size_t>(height()));
    std::vector<std::uint8_t> series(static_cast<std::size_t>(width()));
    for (int row = 0; row < height(); ++row) {
        out.set_be32(HEADER + 4 * static_cast<std::size_t>(row), static_cast<std::uint32_t>(out.size()));
        const T* in = line<T>(height() - 1 - row);
        for (int c = 0; c < channels(); ++c) {
            ByteWriter packed;
            for (int shift = 8 * (static_cast<int>(sizeof(T)) - 1); shift >= 0; shift -= 8) {
                for (int x = 0; x < width(); ++x)
                    series[static_cast<std::size_t>(x)] = static_cast<std::uint8_t>(in[x * channels() + c] >> shift);
                compact(packed, series);
            }
            // The length of a packed channel has 16 bits.
            if (packed.size() > 65535) return error("RLA: Lines of %d pixels are too long.\n", width());
            out.be16(static_cast<int>(packed.size()));
            out.append(packed.bytes());
        }
    }
    return out.size() <= static_cast<std::size_t>(MAX_BYTES);
}

bool RlaWriter::encode(ByteWriter& out) {
    if (width() > 32767 || height() > 32767) return error("RLA: The picture is too large.\n");
    put_header(out);
    return bits() == 8 ? put_lines<std::uint8_t>(out) : put_lines<std::uint16_t>(out);
}

}  // namespace

ImgioFormat rla_format(ImgioFormat names) {
    return writes<RlaWriter>(reads<RlaReader>(names, Depth::Bits8And16), Depth::Bits8And16);
}

}  // namespace imgio
