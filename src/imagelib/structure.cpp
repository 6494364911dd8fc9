// The structure tensor: products of gradients row by row, two box blurs at most, then directions in place.
#include <algorithm>
#include <atomic>
#include <cmath>

#include "imagelib/aligned_block.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_structure.h"
#include "imagelib/samples.h"
#include "imagelib/structure_simd.h"

namespace {

constexpr float WIDE_WEIGHT = 0.05f;  // of the far tensor: it counts where the near one has a twentieth of its energy

// Three rows of samples that move up the picture.
class GradientRows {
  public:
    GradientRows(const K7Image& source, const K7Image& field, bool halved)
        : m_source(source), m_width(field.width), m_height(field.height), m_halved(halved) {
        m_pitch = std::size_t(m_width + 2) * 4 + STRUCTURE_SLACK;
        m_room = make_aligned_block<float, false>(3 * m_pitch + m_pitch);
        if (!m_room) return;
        std::fill_n(m_room.get(), 4 * m_pitch, 0.0f);
        for (int i = 0; i < 3; ++i) m_rows[i] = m_room.get() + std::size_t(i) * m_pitch + 4;
    }
    explicit operator bool() const { return m_room != nullptr; }

    void products(K7Image& field, int first, int last) {
        const float step = m_halved ? 2.0f : 1.0f;  // pixels of the source for each of the field
        const float x_unit = 1.0f / (32.0f * step), y_unit = x_unit * m_source.pixel_aspect;
        read(first - 1, 0), read(first, 1);
        float* const tensor = m_room.get() + 3 * m_pitch;
        for (int y = first; y <= last; ++y) {
            read(y + 1, 2);
            m_kernels.products(m_rows, tensor, m_width, x_unit, y_unit);
            std::copy_n(tensor, std::size_t(m_width) * 4, image_row<float>(&field, y));
            std::rotate(m_rows, m_rows + 1, m_rows + 3);
        }
    }

  private:
    void read(int y, int slot) {
        const int row = std::clamp(y, 0, m_height - 1);
        auto* const to = const_cast<float*>(m_rows[slot]);
        if (!m_halved) return m_kernels.whole(image_row<float>(&m_source, row), to, m_width);
        const int high = std::min(2 * row + 1, m_source.height - 1);
        m_kernels.halved(image_row<float>(&m_source, 2 * row), image_row<float>(&m_source, high), m_source.width, to,
                         m_width);
    }

    const StructureKernels& m_kernels = structure_kernels();
    const K7Image& m_source;
    int m_width, m_height;
    bool m_halved;
    std::size_t m_pitch;
    AlignedBlock<float, false> m_room;
    const float* m_rows[3]{};
};

// Three boxes of half-width r have a variance of r (r + 1).
float box_radius(float sigma) { return 0.5f * (std::sqrt(1.0f + 4.0f * sigma * sigma) - 1.0f); }

bool smooth(K7Image* tensor, float sigma, float step, float aspect) {
    if (!(sigma > 0)) return true;
    const float pixels = std::min(sigma, 65535.0f) / step;
    return image_gaussian_blur(tensor, box_radius(pixels), box_radius(pixels * aspect), 7);
}

}  // namespace

ImagePtr image_structure(const K7Image* source, const StructureShape& shape, const StopRequested& stop) {
    if (!is_float_rgba(source)) return nullptr;
    const int step = shape.half_size ? 2 : 1;
    ImagePtr field =
        make_image_uncleared((source->width + step - 1) / step, (source->height + step - 1) / step, 4, SAMPLE_F32);
    if (!field) return nullptr;
    std::atomic<bool> complete{true};
    for_rows_float(field->height, [&](int first, int last) {
        if (first > last) return;
        GradientRows rows(*source, *field, shape.half_size);
        if (rows)
            rows.products(*field, first, last);
        else
            complete = false;
    });
    if (!complete || wants_end(stop)) return nullptr;

    const auto pixel = static_cast<float>(step);
    if (!smooth(field.get(), shape.sigma, pixel, source->pixel_aspect)) return nullptr;
    ImagePtr wide;
    if (shape.wide_sigma > std::max(shape.sigma, 0.0f)) {
        const float rest = std::sqrt(shape.wide_sigma * shape.wide_sigma - shape.sigma * shape.sigma);
        wide.reset(image_duplicate(field.get()));
        if (!wide || !smooth(wide.get(), rest, pixel, source->pixel_aspect)) return nullptr;
    }
    const StructureKernels& kernels = structure_kernels();
    const bool done = each_row_float(
        field->height, [&] { return wants_end(stop); },
        [&](int y) {
            kernels.directions(image_row<float>(field.get(), y), wide ? image_row<float>(wide.get(), y) : nullptr,
                               WIDE_WEIGHT, field->width);
        });
    return done ? std::move(field) : nullptr;
}
