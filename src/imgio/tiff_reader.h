// Private to imgio: TIFF as libtiff decodes it, a strip or a row of tiles at a time.
#pragma once

#include <memory>
#include <vector>

#include "imgio/format.h"
#include "imgio/tiff_library.h"

namespace imgio {

struct TiffCloser {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using TiffPtr = std::unique_ptr<TIFF, TiffCloser>;

class TiffReader final : public Reader {
  public:
    bool open(const char* path, ImgioFile& file) override;
    bool read(int line, void* samples) override;

  private:
    // Rows of one plane that were decoded last: a strip, or all tiles of a row of tiles side by side.
    struct Band {
        std::int64_t index = -1;
        std::int64_t rows = 0;  // that were decoded, from the first
        std::vector<std::uint8_t> bytes;
    };

    bool read_tags();
    bool understood();
    bool fits_file() const;
    bool measure_bands();
    bool stored_as_asked() const;
    bool on_its_side() const;  // rows of the file are columns of the picture
    bool turn_upright();
    bool read_row(int row, void* samples);  // of the file
    const std::uint8_t* row_of_plane(int plane, int row);
    bool decode_strip(Band& band, int plane, std::int64_t index);
    bool decode_tiles(Band& band, int plane, std::int64_t index);
    void unpack(const std::uint8_t* packed, int count, int stride, std::uint16_t* samples) const;
    template <class T>
    void finish_line(T* out) const;

    InputFile m_input;
    TiffPtr m_tiff;
    std::uint32_t m_width = 0, m_height = 0;
    int m_bits = 1, m_samples = 1, m_photometric = 0, m_planar = 0, m_compression = 0, m_orientation = 1;
    int m_sample_format = 0, m_extra = 0;
    int m_colours = 1;                  // samples before the extra ones
    const ImgioFile* m_file = nullptr;  // the record, which outlives its reader
    bool m_tiled = false;
    std::int64_t m_rows_per_band = 0, m_bytes_per_row = 0, m_band_bytes = 0;
    std::int64_t m_tile_row_bytes = 0, m_tile_bytes = 0, m_tiles_across = 0;
    std::vector<Band> m_bands;  // one for each plane
    std::vector<std::uint8_t> m_tile;
    std::vector<std::uint16_t> m_line;    // samples of a row, side by side, at the depth of the answer
    std::vector<std::uint8_t> m_upright;  // all lines of a picture that lies on its side, once one was asked for
    const std::uint16_t* m_map[3] = {};
};

}  // namespace imgio
