#include "effects/sky/CumuloPuff.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "k7pi_baselib/portable_math.h"

// ---- Look -----------------------------------------------------------------------------------------------------

void PuffLook::set_fluff(float fluff) {
    if (fluff == m_fluff) return;
    constexpr float QUARTER_TURN = 1.5707963267948966f;
    m_profile.resize(PUFF_STEPS + 1);
    for (int i = 0; i < PUFF_STEPS; ++i) {
        const float distance = std::sqrt((static_cast<float>(i) + 0.5f) / PUFF_STEPS);
        m_profile[static_cast<std::size_t>(i)] = k7_pow(k7_sin((1 - distance) * QUARTER_TURN), fluff);
    }
    m_profile[PUFF_STEPS] = 0;
    m_fluff = fluff;
    m_shading.profile = m_profile.data();
}

void PuffLook::set_light(float x, float y, float z, float contrast, float brightness) {
    const float length = std::sqrt(x * x + y * y + z * z);
    constexpr float SHORTEST = 1e-5f;
    const bool some = length >= SHORTEST;
    m_shading.light[0] = some ? x / length : 0;
    m_shading.light[1] = some ? y / length : 0;
    m_shading.light[2] = some ? z / length : 1;
    const float half_width = std::max(2 - contrast, 1e-6f);
    m_shading.dark = brightness - half_width;
    m_shading.slope = 1 / (2 * half_width);
    m_shading.even = 0;
}

void PuffLook::set_even_light() {
    m_shading.dark = m_shading.slope = 0;
    m_shading.even = 1;
}

void PuffLook::set_colours(const float shadow[3], const float lit[3]) {
    for (int c = 0; c < 3; ++c) {
        m_shading.shadow[c] = shadow[c];
        m_shading.lit[c] = lit[c] - shadow[c];
    }
    m_shading.shadow[3] = 1;
    m_shading.lit[3] = 0;
}

void PuffLook::set_texture(float magnitude, float cells_x, float cells_y) {
    m_magnitude = magnitude;
    m_cells[0] = cells_x;
    m_cells[1] = cells_y;
}

void PuffLook::set_repeats(std::vector<float> weights) {
    m_repeats = std::move(weights);
    m_shading.repeats = m_repeats.data();
    m_shading.repeat_count = static_cast<int>(m_repeats.size());
}

// ---- Painting -------------------------------------------------------------------------------------------------

bool Puff::rows(float squash, int height, int* first, int* last) const {
    constexpr float FAR = 1e6f;  // pixels
    if (!(std::fabs(x) < FAR && std::fabs(y) < FAR && radius < FAR && radius * squash < FAR)) return false;
    *first = std::max(static_cast<int>(std::ceil(y - radius * squash)), 0);
    *last = std::min(static_cast<int>(std::floor(y + radius * squash)), height - 1);
    return *first <= *last;
}

namespace {

constexpr int MOST_ROWS = 16;         // of a piece whose noise is worked out together
constexpr int GRID = PUFF_CHUNK + 2;  // places in a row of it, at most
constexpr int GRID_ROWS = MOST_ROWS + 2;
constexpr int ROOM = PUFF_CHUNK + 2 * PUFF_BEYOND;

// Pixels between the places where noise is read, as a power of two: six places a cell of the noise, or more.
int grid_shift(float diameter, float cells) {
    const float wanted = diameter / (6 * std::max(cells, 0.01f));
    int shift = 4;
    while (shift > 0 && static_cast<float>(1 << shift) > wanted) --shift;
    return shift;
}

// The texture in a piece of a puff: how far each pixel's place is moved, in radii. The grid begins at the puff's lower
// left corner, so that it does not depend on the piece.
class PuffTexture {
  public:
    PuffTexture(const Puff& puff, const PuffLook& look, const SolidNoise& noise, float squash)
        : m_puff(puff), m_look(look), m_noise(noise), m_kernels(puff_kernels()), m_squash(squash) {
        const float diameter = 2 * puff.radius;
        m_shift = grid_shift(diameter, look.cells()[0]);
        m_step[0] = 1 << m_shift;
        m_step[1] = 1 << grid_shift(diameter * squash, look.cells()[1]);
        m_corner[0] = static_cast<int>(std::floor(puff.x - puff.radius));
        m_corner[1] = static_cast<int>(std::floor(puff.y - puff.radius * squash));
    }
    // The column or row of the grid at or before a pixel of the puff.
    int at_or_before(int pixel, int axis) const { return pixel - (pixel - m_corner[axis]) % m_step[axis]; }

    // Reads the noise for columns from `column`, which is one of the grid, to `end`, and rows first to last.
    void read(int column, int end, int first, int last) {
        m_first_row = at_or_before(first, 1);
        m_count = end - column + 1;
        m_places = (m_count + m_step[0] - 1) / m_step[0] + 1;
        const int rows = (last - m_first_row + m_step[1] - 1) / m_step[1] + 1;
        for (int row = 0; row < rows; ++row) {
            const float v = (static_cast<float>(m_first_row + row * m_step[1]) - m_puff.y) / (m_puff.radius * m_squash);
            read_row(row, column, (v + 1) * 0.5f * m_look.cells()[1]);
        }
    }
    // The pushes of a row's pixels.
    void row(int y, float* push_u, float* push_v) const {
        const int from = (y - m_first_row) / m_step[1], beyond = (y - m_first_row) % m_step[1];
        const float t = static_cast<float>(beyond) / static_cast<float>(m_step[1]);
        const int other = beyond > 0 ? from + 1 : from;
        float ends[GRID + PUFF_BEYOND] = {};
        m_kernels.between(m_u[from], m_u[other], t, ends, m_places);
        m_kernels.spread(ends, m_shift, push_u, m_count);
        m_kernels.between(m_v[from], m_v[other], t, ends, m_places);
        m_kernels.spread(ends, m_shift, push_v, m_count);
    }

  private:
    void read_row(int row, int column, float y) {
        constexpr float APART = 3.14f;  // of the noise for u and for v
        float px[GRID], py[GRID], pz[GRID];
        for (int i = 0; i < m_places; ++i) {
            const float u = (static_cast<float>(column + i * m_step[0]) - m_puff.x) / m_puff.radius;
            px[i] = (u + 1) * 0.5f * m_look.cells()[0];
        }
        std::fill_n(py, m_places, y);
        std::fill_n(pz, m_places, m_puff.depth);
        m_noise.noise_row(px, py, pz, m_u[row], m_places);
        for (int i = 0; i < m_places; ++i) px[i] += APART, py[i] += APART, pz[i] += APART;
        m_noise.noise_row(px, py, pz, m_v[row], m_places);
        const float radii = 2 * m_look.magnitude();
        for (int i = 0; i < m_places; ++i) m_u[row][i] *= radii, m_v[row][i] *= radii;
    }

    const Puff& m_puff;
    const PuffLook& m_look;
    const SolidNoise& m_noise;
    const PuffKernels& m_kernels;
    float m_squash;
    int m_shift, m_step[2], m_corner[2];
    int m_first_row = 0, m_count = 0, m_places = 0;
    float m_u[GRID_ROWS][GRID], m_v[GRID_ROWS][GRID];
};

// The columns of a row that a puff reaches, within the picture.
bool span(const Puff& puff, float up, int width, int* first, int* last) {
    const float reach = puff.radius * std::sqrt(std::max(1 - up * up, 0.0f));
    *first = std::max(static_cast<int>(std::ceil(puff.x - reach)), 0);
    *last = std::min(static_cast<int>(std::floor(puff.x + reach)), width - 1);
    return *first <= *last;
}

}  // namespace

void paint_puff(const Puff& puff, const PuffLook& look, const SolidNoise& noise, float squash, K7Image* image,
                int first, int last) {
    const PuffKernels& kernels = puff_kernels();
    PuffShading shading = look.shading();
    if (puff.once) shading.repeat_count = 0;
    int left = 0, right = 0;
    if (!span(puff, 0, image->width, &left, &right)) return;
    const bool textured = look.textured();
    PuffTexture texture(puff, look, noise, squash);
    alignas(64) float push_u[ROOM] = {}, push_v[ROOM] = {};
    for (int bottom = first; bottom <= last; bottom += MOST_ROWS) {
        const int top = std::min(bottom + MOST_ROWS - 1, last);
        for (int column = texture.at_or_before(left, 0); column <= right; column += PUFF_CHUNK) {
            const int end = std::min(column + PUFF_CHUNK - 1, right);
            if (textured) texture.read(column, end, bottom, top);
            for (int y = bottom; y <= top; ++y) {
                const float up = (static_cast<float>(y) - puff.y) / (puff.radius * squash);
                int from = 0, to = 0;
                if (!span(puff, up, image->width, &from, &to)) continue;
                from = std::max(from, column), to = std::min(to, end);
                if (from > to) continue;
                if (textured) texture.row(y, push_u, push_v);
                const PuffRow row{.first = static_cast<float>(from),
                                  .middle = puff.x,
                                  .step = 1 / puff.radius,
                                  .up = up,
                                  .push_u = textured ? push_u + (from - column) : nullptr,
                                  .push_v = push_v + (from - column),
                                  .amount = puff.amount,
                                  .count = to - from + 1};
                kernels.row(shading, row, image_row<float>(image, y) + 4L * from);
            }
        }
    }
}
