// Private to imgio: what the formats share that are kept in memory as a whole.
#pragma once

#include <cstring>
#include <vector>

#include "imgio/bytes.h"
#include "imgio/files.h"
#include "imgio/format.h"

namespace imgio {

// A file whose bytes are all in memory while it is open.
class MemoryReader : public Reader {
  public:
    bool open(const char* path, ImgioFile& file) final {
        m_file = &file;
        InputFile input;
        return input.open(path) && input.read_all(m_bytes) && parse(file);
    }

  protected:
    virtual bool parse(ImgioFile& file) = 0;  // the header: sets the layout

    ByteReader reader(std::size_t position = 0) const {
        ByteReader bytes(m_bytes);
        bytes.seek(position);
        return bytes;
    }
    std::size_t bytes_from(std::size_t position) const {
        return position < m_bytes.size() ? m_bytes.size() - position : 0;
    }
    int width() const { return m_file->width; }
    int height() const { return m_file->height; }
    int channels() const { return m_file->channels; }

  private:
    std::vector<std::uint8_t> m_bytes;
    const ImgioFile* m_file = nullptr;  // the record, which outlives its reader
};

// One whose pixels, of 8 bits, come in an order of their own: they are decoded when the first line is asked for.
class DecodedReader : public MemoryReader {
  public:
    bool read(int line, void* samples) final {
        const std::size_t row = row_bytes();
        if (!m_tried) {
            m_tried = true;
            if (too_short()) return false;
            m_pixels.resize(row * static_cast<std::size_t>(height()));
            m_decoded = decode();
        }
        if (m_decoded) std::memcpy(samples, pixel(0, line), row);
        return m_decoded;
    }

  protected:
    virtual bool too_short() const = 0;  // the file is smaller than this picture can be packed: asked before allocating
    virtual bool decode() = 0;           // all pixels are 0 before

    std::size_t row_bytes() const { return static_cast<std::size_t>(width()) * static_cast<std::size_t>(channels()); }
    std::uint8_t* pixel(int x, int y) {
        return m_pixels.data() + row_bytes() * static_cast<std::size_t>(y) +
               static_cast<std::size_t>(x) * static_cast<std::size_t>(channels());
    }

  private:
    std::vector<std::uint8_t> m_pixels;
    bool m_tried = false, m_decoded = false;
};

// Lines are kept, and the file is made of them at the end.
class PictureWriter : public Writer {
  public:
    bool create(const char* path, const ImgioFile& file) final {
        m_width = file.width;
        m_height = file.height;
        m_bits = file.bits;
        m_given = file.channels;
        m_channels = stored_channels(file.channels);
        const auto samples = std::int64_t{m_width} * m_height * m_channels;
        if (samples * (m_bits / 8) > MAX_BYTES) return false;
        m_samples.resize(static_cast<std::size_t>(m_bits == 8 ? (samples + 1) / 2 : samples));
        return prepare() && m_output.open(path);
    }
    bool write(const void* samples) final {
        if (m_bits == 8)
            convert_line<std::uint8_t>(samples, m_given, line<std::uint8_t>(m_row), m_channels, m_width);
        else
            convert_line<std::uint16_t>(samples, m_given, line<std::uint16_t>(m_row), m_channels, m_width);
        ++m_row;
        return true;
    }
    bool finish() final {
        ByteWriter out;
        return encode(out) && m_output.write(out.bytes().data(), out.size()) && m_output.commit();
    }

  protected:
    virtual int stored_channels(int given) const = 0;  // how many of them the format keeps
    virtual bool prepare() { return true; }            // reads variables
    virtual bool encode(ByteWriter& out) = 0;

    int width() const { return m_width; }
    int height() const { return m_height; }
    int channels() const { return m_channels; }
    int bits() const { return m_bits; }
    template <class T>
    T* line(int y) {
        const std::size_t row = static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_channels);
        return reinterpret_cast<T*>(m_samples.data()) + row * static_cast<std::size_t>(y);
    }

  private:
    OutputFile m_output;
    int m_width = 0, m_height = 0, m_channels = 0, m_given = 0, m_bits = 0, m_row = 0;
    std::vector<std::uint16_t> m_samples;  // at either depth
};

}  // namespace imgio
