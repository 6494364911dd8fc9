#include "effects/night/NightVisionGrain.h"

#include <algorithm>
#include <vector>

#include "effects/night/NightLook.h"
#include "noiselib/mtrandom.h"

namespace {

constexpr int AMPLITUDES = 32768, STARTS = 2048;

// A row takes consecutive amplitudes, from a start of its own.
struct GrainTables {
    std::vector<float> amplitudes;  // repeated so that a row can begin anywhere
    std::vector<int> starts;
};

GrainTables draw_tables(const NightGrain& grain, int width) {
    GrainTables tables;
    tables.amplitudes.reserve(std::size_t(AMPLITUDES) + std::size_t(width));
    MTRandom random(grain.seed);
    double sum = 0;
    int dropped = 0;
    for (int i = 0; i < AMPLITUDES; ++i) {
        const float amplitude = (2.0f * random.next_float() - 1.0f) * grain.amount;
        const bool skipped = random.next_uint32() & 1;
        tables.amplitudes.push_back(skipped ? 0.0f : amplitude);
        if (!skipped) sum += double(amplitude), ++dropped;
    }
    // A picture uses each amplitude many times over: a mean other than 0 would make the whole tube flicker.
    const float mean = dropped > 0 ? float(sum / dropped) : 0.0f;
    for (float& amplitude : tables.amplitudes)
        if (amplitude != 0.0f) amplitude -= mean;
    for (int i = 0; i < width; ++i) tables.amplitudes.push_back(tables.amplitudes[std::size_t(i)]);
    for (int i = 0; i < STARTS; ++i)
        tables.starts.push_back(static_cast<int>(random.next_float() * float(AMPLITUDES - 1)));
    return tables;
}

// The amounts that the pixels of a few neighbouring rows add, each row with zeros around it.
class AmountRows {
  public:
    AmountRows(const NightGrain& grain, const GrainTables& tables, int width)
        : m_grain(grain),
          m_tables(tables),
          m_width(width),
          m_pitch(std::size_t(width + 2 * grain.size)),
          m_amounts(m_pitch * std::size_t(grain.size)) {}
    float* row(int y) { return &m_amounts[m_pitch * std::size_t(y % m_grain.size) + std::size_t(m_grain.size)]; }
    void fill(int y) {
        const float* amplitudes = &m_tables.amplitudes[std::size_t(m_tables.starts[std::size_t(y % STARTS)])];
        const float* picture = m_grain.picture ? image_row<float>(m_grain.picture, y) : nullptr;
        night_look_rows().grain_amounts(amplitudes, picture, row(y), m_width);
    }

  private:
    const NightGrain& m_grain;
    const GrainTables& m_tables;
    int m_width;
    std::size_t m_pitch;
    std::vector<float> m_amounts;
};

}  // namespace

// Sums are limited with every square that lands on them, so they depend on the order: rows upwards, and in a row from
// left to right. A pixel gathers in that order what lands on it, which lets threads share the rows.
ImagePtr night_grain(const PluginK7& effect, const NightGrain& grain, int width, int height) {
    ImagePtr image = made(make_image_uncleared(width, height, 1, SAMPLE_F32));
    const GrainTables tables = draw_tables(grain, width);
    const int half = grain.size / 2, before = grain.size - 1 - half;  // squares reach `half` down and to the left
    for_rows_float(height, [&](int first, int last) {
        if (first > last) return;
        AmountRows amounts(grain, tables, width);
        const NightLookRows& rows = night_look_rows();
        int filled = std::max(first - before, 0);
        for (int y = first; y <= last && !effect.abortRequested(); ++y) {
            for (; filled <= std::min(y + half, height - 1); ++filled) amounts.fill(filled);
            float* sums = image_row<float>(image.get(), y);
            std::fill_n(sums, width, 0.5f);
            for (int from = std::max(y - before, 0); from <= std::min(y + half, height - 1); ++from)
                for (int dx = -before; dx <= half; ++dx) rows.grain_sums(amounts.row(from) + dx, sums, width);
        }
    });
    return image;
}
