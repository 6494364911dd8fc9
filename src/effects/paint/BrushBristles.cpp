// The marks of four brushes: value noise that runs along the stroke, spread evenly over 0 to 1, with copies for narrow
// strokes.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>

#include "effects/paint/BrushStrokes.h"

namespace {

constexpr int SMALLEST = BRISTLE_COLUMNS >> (BRISTLE_COPIES - 1);
constexpr int KIND_WORDS = BRISTLE_ROWS * (2 * BRISTLE_COLUMNS - SMALLEST);

float number(std::uint32_t place) {
    place ^= place >> 16, place *= 0x7feb352dU;
    place ^= place >> 15, place *= 0x846ca68bU;
    return static_cast<float>((place ^ (place >> 16)) >> 8) * 0x1p-24f;
}

// Smooth noise with `columns` by `rows` values over the whole mark; it repeats along the stroke.
float value_noise(float across, float along, int columns, int rows, std::uint32_t seed) {
    const float x = across * static_cast<float>(columns), y = along * static_cast<float>(rows);
    const int i = static_cast<int>(x), j = static_cast<int>(y);
    const auto eased = [](float t) { return t * t * (3 - 2 * t); };
    const float fx = eased(x - static_cast<float>(i)), fy = eased(y - static_cast<float>(j));
    const auto value = [&](int column, int row) {
        return number((seed * 131U + static_cast<std::uint32_t>(column)) * 257U +
                      static_cast<std::uint32_t>(row % rows));
    };
    const float low = value(i, j) + (value(i + 1, j) - value(i, j)) * fx;
    const float high = value(i, j + 1) + (value(i + 1, j + 1) - value(i, j + 1)) * fx;
    return low + (high - low) * fy;
}

struct Marks {
    std::array<std::uint32_t, BRISTLE_KINDS * KIND_WORDS> words;

    Marks() {
        for (int kind = 0; kind < BRISTLE_KINDS; ++kind) make(kind, words.data() + kind * KIND_WORDS);
    }

  private:
    static void make(int kind, std::uint32_t* out) {
        constexpr int COUNT = BRISTLE_ROWS * BRISTLE_COLUMNS;
        std::array<std::pair<float, int>, COUNT> raw;
        std::array<float, COUNT> marks;
        const auto seed = static_cast<std::uint32_t>(kind) * 8U;
        for (int at = 0; at < COUNT; ++at) {
            const float across = (static_cast<float>(at % BRISTLE_COLUMNS) + 0.5f) / BRISTLE_COLUMNS;
            const float along = static_cast<float>(at / BRISTLE_COLUMNS) / BRISTLE_ROWS;
            const float value = 0.7f * value_noise(across, along, 9, 2, seed + 1) +
                                value_noise(across, along, 21 + 2 * kind, 3, seed + 2) +
                                0.6f * value_noise(across, along, 43, 5, seed + 3) +
                                0.12f * value_noise(across, along, 57, 32, seed + 4);
            raw[static_cast<std::size_t>(at)] = {value, at};
        }
        std::sort(raw.begin(), raw.end());
        for (int rank = 0; rank < COUNT; ++rank)
            marks[static_cast<std::size_t>(raw[static_cast<std::size_t>(rank)].second)] =
                (static_cast<float>(rank) + 0.5f) / COUNT;
        for (int columns = BRISTLE_COLUMNS;; columns /= 2) {
            pack(marks.data(), columns, out);
            if (columns == SMALLEST) return;
            out += BRISTLE_ROWS * columns;
            for (std::size_t i = 0; i < std::size_t(BRISTLE_ROWS * columns / 2); ++i)
                marks[i] = 0.5f * (marks[2 * i] + marks[2 * i + 1]);
        }
    }
    static void pack(const float* marks, int columns, std::uint32_t* out) {
        const auto byte = [&](int row, int column) {
            return static_cast<std::uint32_t>(
                255.0f * marks[row % BRISTLE_ROWS * columns + std::min(column, columns - 1)] + 0.5f);
        };
        for (int row = 0; row < BRISTLE_ROWS; ++row)
            for (int column = 0; column < columns; ++column)
                *out++ = byte(row, column) | byte(row, column + 1) << 8 | byte(row + 1, column) << 16 |
                         byte(row + 1, column + 1) << 24;
    }
};

}  // namespace

BristleMarks bristle_marks(int kind, float half_width) {
    static const Marks marks;
    const std::uint32_t* at = marks.words.data() + kind * KIND_WORDS;
    int columns = BRISTLE_COLUMNS;
    for (; columns > SMALLEST && static_cast<float>(columns) > 2.2f * half_width; columns /= 2)
        at += BRISTLE_ROWS * columns;
    return {at, columns};
}
