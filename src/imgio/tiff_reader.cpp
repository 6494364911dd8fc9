// What is read: grey, colour, palette and CMYK of 1 to 32 bits a sample or floats, in strips or tiles, planes apart or
// together, with every compression that is linked in. Source: TIFF revision 6.0, Aldus 1992.
#include "imgio/tiff_reader.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "k7pi_baselib/k7pi_baselib.h"

namespace imgio {

namespace {

int short_tag(TIFF* tiff, std::uint32_t tag) {
    std::uint16_t value = 0;
    TIFFGetFieldDefaulted(tiff, tag, &value);
    return value;
}

bool has_short_tag(TIFF* tiff, std::uint32_t tag) {
    std::uint16_t value = 0;
    return TIFFGetField(tiff, tag, &value) == 1;
}

int guessed_photometric(int samples) {
    const bool colour = samples >= 3;
    Trace(TRACE_WARN, "TIFF: No \"PhotometricInterpretation\" tag, assuming %s.\n", colour ? "rgb" : "min-is-black");
    return colour ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
}

std::uint16_t from_float(float value) {
    if (!(value > 0.0f)) return 0;
    return value >= 1.0f ? 65535 : static_cast<std::uint16_t>(value * 65535.0f);
}

template <class T>
T load(const std::uint8_t* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

}  // namespace

bool TiffReader::open(const char* path, ImgioFile& file) {
    if (!m_input.open(path)) return false;
    m_tiff.reset(open_tiff(m_input, path));
    if (!m_tiff || !read_tags() || !understood()) return false;
    const bool alpha = m_extra > 0 && m_photometric != PHOTOMETRIC_SEPARATED && m_photometric != PHOTOMETRIC_PALETTE;
    const bool grey = m_photometric == PHOTOMETRIC_MINISBLACK || m_photometric == PHOTOMETRIC_MINISWHITE;
    const std::int64_t shown_width = on_its_side() ? m_height : m_width,
                       shown_height = on_its_side() ? m_width : m_height;
    if (!set_layout(file, shown_width, shown_height, (grey ? 1 : 3) + (alpha ? 1 : 0), m_bits <= 8 ? 8 : 16))
        return false;
    m_file = &file;
    return fits_file() && measure_bands();
}

bool TiffReader::read_tags() {
    TIFF* tiff = m_tiff.get();
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &m_width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &m_height);
    m_bits = short_tag(tiff, TIFFTAG_BITSPERSAMPLE);
    m_samples = short_tag(tiff, TIFFTAG_SAMPLESPERPIXEL);
    m_planar = short_tag(tiff, TIFFTAG_PLANARCONFIG);
    m_orientation = short_tag(tiff, TIFFTAG_ORIENTATION);
    m_sample_format = short_tag(tiff, TIFFTAG_SAMPLEFORMAT);
    if (!has_short_tag(tiff, TIFFTAG_COMPRESSION))
        Trace(TRACE_WARN, "TIFF: Warning: Compression tag is missing. Assuming uncompressed.\n");
    m_compression = short_tag(tiff, TIFFTAG_COMPRESSION);
    m_photometric = has_short_tag(tiff, TIFFTAG_PHOTOMETRIC) ? short_tag(tiff, TIFFTAG_PHOTOMETRIC)
                                                             : guessed_photometric(m_samples);
    if (m_photometric == PHOTOMETRIC_YCBCR && m_compression == COMPRESSION_JPEG) {
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        m_photometric = PHOTOMETRIC_RGB;
    }
    m_tiled = TIFFIsTiled(tiff) != 0;
    std::uint32_t rows = 0;
    if (!m_tiled && TIFFGetField(tiff, TIFFTAG_ROWSPERSTRIP, &rows) != 1)
        Trace(TRACE_WARN, "TIFF: Warning: RowsPerStrip tag is missing. Trying to fix...\n");
    if (m_photometric != PHOTOMETRIC_PALETTE) return true;
    std::uint16_t* map[3] = {};
    if (TIFFGetField(tiff, TIFFTAG_COLORMAP, &map[0], &map[1], &map[2]) != 1)
        return error("TIFF: The colour map is missing.\n");
    std::copy(map, map + 3, m_map);
    return true;
}

bool TiffReader::understood() {
    const bool integer = m_sample_format == SAMPLEFORMAT_UINT || m_sample_format == SAMPLEFORMAT_VOID;
    const bool depth = m_bits == 1 || m_bits == 2 || m_bits == 4 || m_bits == 8 || m_bits == 16 || m_bits == 32;
    if (!(integer && depth) && !(m_sample_format == SAMPLEFORMAT_IEEEFP && m_bits == 32))
        return error("TIFF: Samples of %d bits in format %d are not supported.\n", m_bits, m_sample_format);
    switch (m_photometric) {
        case PHOTOMETRIC_MINISBLACK:
        case PHOTOMETRIC_MINISWHITE:
            m_colours = 1;
            break;
        case PHOTOMETRIC_PALETTE:
            m_colours = 1;
            if (m_bits > 8 || !integer) return error("TIFF: A palette of %d bits is not supported.\n", m_bits);
            break;
        case PHOTOMETRIC_RGB:
            m_colours = 3;
            break;
        case PHOTOMETRIC_SEPARATED:
            m_colours = 4;
            if (m_samples < 4)
                return error("TIFF: Samples per pixel of %d is incompatible with CMYK photometric.\n", m_samples);
            break;
        default:
            return error("TIFF: Photometric interpretation %d is not supported.\n", m_photometric);
    }
    m_extra = m_samples - m_colours;
    if (m_extra < 0 || m_samples > 64) return error("TIFF: %d samples per pixel are not supported.\n", m_samples);
    return true;
}

// Pixels that are not compressed must all be there.
bool TiffReader::fits_file() const {
    const std::int64_t packed = (std::int64_t{m_width} * m_samples * m_bits + 7) / 8 * m_height;
    if (m_compression == COMPRESSION_NONE && packed > m_input.size()) return error("TIFF: The file is too short.\n");
    return true;
}

bool TiffReader::measure_bands() {
    TIFF* tiff = m_tiff.get();
    if (m_tiled) {
        std::uint32_t tile_width = 0, tile_height = 0;
        TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &tile_width);
        TIFFGetField(tiff, TIFFTAG_TILELENGTH, &tile_height);
        m_tile_row_bytes = static_cast<std::int64_t>(TIFFTileRowSize64(tiff));
        m_tile_bytes = static_cast<std::int64_t>(TIFFTileSize64(tiff));
        if (tile_width < 1 || tile_height < 1 || tile_width > 1u << 16 || tile_height > 1u << 16 || m_tile_bytes < 1 ||
            m_tile_bytes > MAX_BYTES || m_tile_row_bytes * tile_height > m_tile_bytes)
            return error("TIFF: Bad tile size.\n");
        m_tiles_across = (m_width + tile_width - 1) / tile_width;
        m_rows_per_band = tile_height;
        m_bytes_per_row = m_tiles_across * m_tile_row_bytes;
    } else {
        std::uint32_t rows = m_height;
        TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &rows);
        m_rows_per_band = std::clamp(rows, 1u, m_height);
        m_bytes_per_row = static_cast<std::int64_t>(TIFFScanlineSize64(tiff));
    }
    m_band_bytes = m_rows_per_band * m_bytes_per_row;
    const int together = m_planar == PLANARCONFIG_SEPARATE ? 1 : m_samples;
    if (m_band_bytes < 1 || m_band_bytes > MAX_BYTES ||
        m_bytes_per_row < (std::int64_t{m_width} * together * m_bits + 7) / 8)
        return error("TIFF: Bad strip size.\n");
    return true;
}

bool TiffReader::decode_strip(Band& band, int plane, std::int64_t index) {
    const std::int64_t strips = (m_height + m_rows_per_band - 1) / m_rows_per_band;
    const std::int64_t rows = std::min(m_rows_per_band, m_height - index * m_rows_per_band);
    const tmsize_t decoded = TIFFReadEncodedStrip(m_tiff.get(), static_cast<std::uint32_t>(index + plane * strips),
                                                  band.bytes.data(), rows * m_bytes_per_row);
    band.rows = decoded < 0 ? 0 : decoded / m_bytes_per_row;
    return decoded >= 0;
}

bool TiffReader::decode_tiles(Band& band, int plane, std::int64_t index) {
    m_tile.resize(static_cast<std::size_t>(m_tile_bytes));
    const std::int64_t down = (m_height + m_rows_per_band - 1) / m_rows_per_band;
    for (std::int64_t across = 0; across < m_tiles_across; ++across) {
        const std::int64_t tile = (plane * down + index) * m_tiles_across + across;
        if (TIFFReadEncodedTile(m_tiff.get(), static_cast<std::uint32_t>(tile), m_tile.data(), m_tile_bytes) !=
            m_tile_bytes)
            return false;
        for (std::int64_t row = 0; row < m_rows_per_band; ++row)
            std::memcpy(band.bytes.data() + row * m_bytes_per_row + across * m_tile_row_bytes,
                        m_tile.data() + row * m_tile_row_bytes, static_cast<std::size_t>(m_tile_row_bytes));
    }
    band.rows = m_rows_per_band;
    return true;
}

const std::uint8_t* TiffReader::row_of_plane(int plane, int row) {
    Band& band = m_bands[static_cast<std::size_t>(plane)];
    const std::int64_t index = row / m_rows_per_band, within = row % m_rows_per_band;
    if (band.index != index) {
        band.bytes.resize(static_cast<std::size_t>(m_band_bytes));
        band.index = -1;
        if (!(m_tiled ? decode_tiles(band, plane, index) : decode_strip(band, plane, index))) return nullptr;
        band.index = index;
    }
    return within < band.rows ? band.bytes.data() + within * m_bytes_per_row : nullptr;
}

// Samples of any packing to every `stride`-th place of the line. Those of 8 bits and fewer come as 8 bits, all others
// as 16; indices into a palette come as they are.
void TiffReader::unpack(const std::uint8_t* packed, int count, int stride, std::uint16_t* samples) const {
    const auto each = [&](auto sample) {
        for (std::int64_t i = 0; i < count; ++i) samples[i * stride] = static_cast<std::uint16_t>(sample(i));
    };
    if (m_bits == 8) return each([&](std::int64_t i) { return packed[i]; });
    if (m_bits == 16) return each([&](std::int64_t i) { return load<std::uint16_t>(packed + 2 * i); });
    if (m_bits == 32 && m_sample_format == SAMPLEFORMAT_IEEEFP)
        return each([&](std::int64_t i) { return from_float(load<float>(packed + 4 * i)); });
    if (m_bits == 32) return each([&](std::int64_t i) { return load<std::uint32_t>(packed + 4 * i) >> 16; });
    const int largest = (1 << m_bits) - 1, scale = m_photometric == PHOTOMETRIC_PALETTE ? 1 : 255 / largest;
    each([&](std::int64_t i) {
        const std::int64_t bit = i * m_bits;
        return (packed[bit / 8] >> (8 - m_bits - bit % 8) & largest) * scale;
    });
}

template <class T>
void TiffReader::finish_line(T* out) const {
    const std::uint16_t* in = m_line.data();
    const int channels = m_file->channels;
    const int width = static_cast<int>(m_width);
    for (int x = 0; x < width; ++x, in += m_samples, out += channels) {
        if (m_photometric == PHOTOMETRIC_PALETTE) {
            for (int c = 0; c < 3; ++c) out[c] = static_cast<T>(m_map[c][in[0]] >> 8);
        } else if (m_photometric == PHOTOMETRIC_SEPARATED) {
            for (int c = 0; c < 3; ++c)
                out[c] = static_cast<T>((full<T> - in[c]) * static_cast<std::int64_t>(full<T> - in[3]) / full<T>);
        } else {
            for (int c = 0; c < channels; ++c) out[c] = static_cast<T>(in[c]);
            if (m_photometric == PHOTOMETRIC_MINISWHITE) out[0] = static_cast<T>(full<T> - out[0]);
        }
    }
    if (m_orientation == ORIENTATION_TOPRIGHT || m_orientation == ORIENTATION_BOTRIGHT) {
        T* const line = out - static_cast<std::ptrdiff_t>(width) * channels;
        for (int a = 0, b = width - 1; a < b; ++a, --b)
            std::swap_ranges(line + a * channels, line + (a + 1) * channels, line + b * channels);
    }
}

// Most files hold the very samples that are asked for.
bool TiffReader::stored_as_asked() const {
    return (m_bits == 8 || m_bits == 16) && m_samples == m_file->channels &&
           (m_photometric == PHOTOMETRIC_RGB || m_photometric == PHOTOMETRIC_MINISBLACK) &&
           m_orientation != ORIENTATION_TOPRIGHT && m_orientation != ORIENTATION_BOTRIGHT;
}

bool TiffReader::on_its_side() const {
    return m_orientation >= ORIENTATION_LEFTTOP && m_orientation <= ORIENTATION_LEFTBOT;
}

bool TiffReader::read(int line, void* samples) {
    if (on_its_side()) {
        if (m_upright.empty() && !turn_upright()) return false;
        const std::size_t bytes = m_upright.size() / m_width;
        std::memcpy(samples, m_upright.data() + static_cast<std::size_t>(line) * bytes, bytes);
        return true;
    }
    const bool bottom_up = m_orientation == ORIENTATION_BOTLEFT || m_orientation == ORIENTATION_BOTRIGHT;
    return read_row(bottom_up ? m_file->height - 1 - line : line, samples);
}

// A row of the file is a column of the picture. Rows are taken by the dozen and more, so that what is written lies
// together.
bool TiffReader::turn_upright() {
    constexpr std::size_t TOGETHER = 16;
    const bool from_right = m_orientation == ORIENTATION_RIGHTTOP || m_orientation == ORIENTATION_RIGHTBOT;
    const bool from_bottom = m_orientation == ORIENTATION_RIGHTBOT || m_orientation == ORIENTATION_LEFTBOT;
    const std::size_t rows = m_height, columns = m_width;
    const std::size_t pixel = static_cast<std::size_t>(m_file->channels) * (m_file->bits == 8 ? 1 : 2);
    std::vector<std::uint8_t> upright(rows * columns * pixel), taken(TOGETHER * columns * pixel);
    for (std::size_t first = 0; first < rows; first += TOGETHER) {
        const std::size_t count = std::min(TOGETHER, rows - first);
        for (std::size_t r = 0; r < count; ++r)
            if (!read_row(static_cast<int>(first + r), taken.data() + r * columns * pixel)) return false;
        for (std::size_t c = 0; c < columns; ++c) {
            std::uint8_t* line = upright.data() + (from_bottom ? columns - 1 - c : c) * rows * pixel;
            for (std::size_t r = 0; r < count; ++r)
                std::memcpy(line + (from_right ? rows - 1 - first - r : first + r) * pixel,
                            taken.data() + (r * columns + c) * pixel, pixel);
        }
    }
    m_upright.swap(upright);
    return true;
}

bool TiffReader::read_row(int row, void* samples) {
    const int width = static_cast<int>(m_width);
    const bool apart = m_planar == PLANARCONFIG_SEPARATE && m_samples > 1;
    if (stored_as_asked() && !apart) {
        m_bands.resize(1);
        const std::uint8_t* packed = row_of_plane(0, row);
        if (packed) std::memcpy(samples, packed, static_cast<std::size_t>(width * m_samples) * (m_bits == 8 ? 1 : 2));
        return packed != nullptr;
    }
    // Extra samples beyond the first are of no use; planes of theirs are not even decoded.
    const int planes = apart ? std::min(m_samples, m_colours + 1) : 1;
    m_bands.resize(static_cast<std::size_t>(planes));
    m_line.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(m_samples));
    for (int plane = 0; plane < planes; ++plane) {
        const std::uint8_t* packed = row_of_plane(plane, row);
        if (!packed) return false;
        const int together = apart ? 1 : m_samples;
        unpack(packed, width * together, apart ? m_samples : 1, m_line.data() + plane);
    }
    if (m_file->bits == 8)
        finish_line(static_cast<std::uint8_t*>(samples));
    else
        finish_line(static_cast<std::uint16_t*>(samples));
    return true;
}

}  // namespace imgio
