#include "graphicslib/bit_text.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "imagelib/imagelib_resample.h"

namespace {

constexpr std::uint8_t GLYPH_ROWS[BitText::GLYPHS][BitText::CELL_HEIGHT] = {
#include "graphicslib/bit_text_glyphs.inc"
};

constexpr int LONGEST = 65535 / BitText::CELL_WIDTH;  // cells that fit an image

bool set_colour(std::array<float, BitText::CHANNELS>& colour, const float* values, int count) {
    if (!values || count < 1 || count > BitText::CHANNELS) return false;
    for (int i = 0; i < count; ++i) colour[std::size_t(i)] = values[i] > 0 ? std::min(values[i], 1.0F) : 0;
    return true;
}

// In sample units, and pre-multiplied, as edges mix with what is cleared when the cells are scaled.
std::array<float, BitText::CHANNELS> sample_values(const std::array<float, BitText::CHANNELS>& colour,
                                                   const K7Image* image) {
    std::array<float, BitText::CHANNELS> values;
    const float full = image_full_value(image->sample_type), alpha = image->channels >= 4 ? colour[3] : 1;
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = full * (i == 3 ? 1 : colour[i]) * alpha;
    return values;
}

}  // namespace

BitText::BitText() {
    m_text.fill(1);
    m_background.fill(0);
}

bool BitText::set_text_colour(const float* values, int count) { return set_colour(m_text, values, count); }

bool BitText::set_background_colour(const float* values, int count) { return set_colour(m_background, values, count); }

const std::uint8_t* BitText::glyph(unsigned char character) {
    const int index = character - FIRST_GLYPH;
    return index < 0 || index >= GLYPHS ? nullptr : GLYPH_ROWS[index];
}

void BitText::draw_cells(const char* string, int length, K7Image* cells) const {
    const auto ink = sample_values(m_text, cells), paper = sample_values(m_background, cells);
    for (int cell = 0; cell < length; ++cell) {
        const std::uint8_t* rows = glyph(static_cast<unsigned char>(string[cell]));
        for (int y = 0; y < CELL_HEIGHT && rows; ++y)
            for (int x = 0; x < 8; ++x) {
                const bool set = (rows[y] >> (7 - x) & 1) != 0;
                if (set || !m_transparent)
                    image_put_pixel(cells, cell * CELL_WIDTH + 1 + x, y, set ? ink.data() : paper.data());
            }
    }
}

float BitText::draw(const char* string, K7Image* destination, float x, float y, float size, TextAnchor anchor) const {
    if (!string || !destination || destination->channels > CHANNELS) return 0;
    const auto length = static_cast<int>(std::min<std::size_t>(std::strlen(string), LONGEST));
    const float width = std::round(static_cast<float>(length * CELL_WIDTH) * size / CELL_HEIGHT);
    const float height = std::round(size);
    if (!(width >= 1 && width <= 65535 && height >= 1 && height <= 65535) || !std::isfinite(x) || !std::isfinite(y))
        return 0;
    const ImagePtr cells =
        make_image(length * CELL_WIDTH, CELL_HEIGHT, destination->channels, destination->sample_type);
    const ImagePtr scaled =
        make_image(static_cast<int>(width), static_cast<int>(height), destination->channels, destination->sample_type);
    if (!cells || !scaled) return 0;
    draw_cells(string, length, cells.get());
    // On whole pixels, where glyphs stay sharp.
    const float from_x = std::round(anchor == TextAnchor::left ? x : x - width / 2),
                from_y = std::round(y - height / 2);
    if (!image_scale(cells.get(), scaled.get(), KERNEL_TRIANGLE, true) ||
        !image_composite_at(scaled.get(), destination, from_x + width / 2, from_y + height / 2, KERNEL_TRIANGLE, true))
        return 0;
    return width;
}
