#include "effects/pixels/FlowField.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/portable_math.h"
#include "k7pi_baselib/rows.h"

namespace {

constexpr float PI = 3.14159265F;
constexpr float NOISE_GAIN = 1.5F;    // makes the curl of the noise a speed of about 1
constexpr float OCTAVE = 2.17F;       // as far apart as those of SolidNoise, so that their lattices never coincide
constexpr float FIRST_PHASE = 0.37F;  // off the lattice, where all noise is 0
constexpr float WALL = 0.12F;         // how far the walls are felt, in widths
constexpr float LUMA_GAIN = 8.0F;     // an edge of 0.3 makes a speed of about 1
constexpr double SLICE = 0.25;        // phases from slice to slice: what lies between is mixed
constexpr double MOST_SLICES = 128;   // of a flow; beyond it they lie further apart
constexpr float MOST_STRAIN = 1.2F;   // of a step: how far it may draw two cells apart that were one apart
constexpr float LINE_STEP = 1.5F;     // cells
constexpr float STANDSTILL = 0.06F;   // speed below which lines fade
constexpr double MOST_STEPS = 4000;

std::uint32_t scrambled(std::uint32_t word) {  // the finaliser of MurmurHash3 (A. Appleby)
    word = (word ^ (word >> 16)) * 0x85ebca6bU;
    word = (word ^ (word >> 13)) * 0xc2b2ae35U;
    return word ^ (word >> 16);
}

// Of a cell of the whirlpools' lattice, 0 to 1.
class CellChances {
  public:
    CellChances(std::uint32_t seed, int column, int row)
        : m_word(scrambled(seed + 0x9e3779b9U * static_cast<std::uint32_t>(column)) ^
                 (0x7feb352dU * static_cast<std::uint32_t>(row))) {}
    float next() {
        m_word = scrambled(m_word + 0x9e3779b9U);
        return static_cast<float>(m_word >> 8) * 0x1p-24F;
    }

  private:
    std::uint32_t m_word;
};

// Values at the nodes of the grid and of one more around it: of a potential, whose curl is a flow without sources.
struct Potential {
    Potential(int width, int height) : stride(std::size_t(width) + 2), values(stride * (std::size_t(height) + 2)) {}
    float* row(int j) { return values.data() + std::size_t(j + 1) * stride + 1; }
    const float* row(int j) const { return values.data() + std::size_t(j + 1) * stride + 1; }

    std::size_t stride;
    std::vector<float> values;
};

// 0 on the wall, 1 from WALL on, without a kink at either (Bridson 2007).
std::vector<float> ramp(int cells, float cell, bool walls) {
    std::vector<float> out(std::size_t(cells) + 2, 1.0F);
    for (int i = -1; walls && i <= cells; ++i) {
        const float distance = cell * static_cast<float>(std::min(i, cells - 1 - i));
        const float r = std::clamp(distance / WALL, 0.0F, 1.0F), q = r * r;
        out[std::size_t(i + 1)] = r * (1.875F - q * (1.25F - 0.375F * q));
    }
    return out;
}

// The largest difference of neighbours, for each unit of flow.
float strain(const FlowVelocity& field) {
    float most = 0;
    for (int j = 0; j < field.height; ++j)
        for (const float* values : {field.u, field.v}) {
            const float* row = values + std::size_t(j) * std::size_t(field.width);
            for (int i = 0; i + 1 < field.width; ++i) most = std::max(most, std::fabs(row[i + 1] - row[i]));
            for (int i = 0; j + 1 < field.height && i < field.width; ++i)
                most = std::max(most, std::fabs(row[i + field.width] - row[i]));
        }
    return most;
}

bool carry(const FlowVelocity& velocity, float step, int steps, const StopRequested& stop, FlowField::Paths& paths) {
    constexpr int AT_ONCE = 8;  // steps between questions for an end
    for (int done = 0; done < steps; done += AT_ONCE) {
        if (wants_end(stop)) return false;
        for_rows_float(velocity.height, [&](int first, int last) {
            if (first > last) return;
            const std::size_t begin = std::size_t(first) * std::size_t(velocity.width);
            carry_places()(velocity, step, std::min(AT_ONCE, steps - done), (last - first + 1) * velocity.width,
                           paths.x.data() + begin, paths.y.data() + begin);
        });
    }
    return true;
}

}  // namespace

FlowField::FlowField(int width, int height, float extent_x, float extent_y, const FlowPattern& pattern,
                     const FlowSteering& steering, const std::vector<float>& luminance)
    : m_width(width),
      m_height(height),
      m_cell_x(extent_x / static_cast<float>(width - 1)),
      m_cell_y(extent_y / static_cast<float>(height - 1)),
      m_pattern(pattern),
      m_along_x(steering.direction_x),
      m_along_y(steering.direction_y),
      m_noise(pattern.seed),
      m_ramp_x(ramp(width, m_cell_x, steering.walls)),
      m_ramp_y(ramp(height, m_cell_y, steering.walls)) {
    steer(steering, luminance);
}

void FlowField::steer(const FlowSteering& steering, const std::vector<float>& luminance) {
    const std::size_t cells = std::size_t(m_width) * std::size_t(m_height);
    m_base.u.resize(cells), m_base.v.resize(cells);
    if (steering.slow_dark > 0) m_weight.resize(cells);
    const float along = LUMA_GAIN * steering.luma_reach * steering.luma_along;
    const float across = LUMA_GAIN * steering.luma_reach * steering.luma_across;
    const float half_x = 0.5F / m_cell_x, half_y = 0.5F / m_cell_y;
    const auto light = [&](int i, int j) {
        i = std::clamp(i, 0, m_width - 1), j = std::clamp(j, 0, m_height - 1);
        return luminance[std::size_t(j) * std::size_t(m_width) + std::size_t(i)];
    };
    // Both have walls of their own: a potential that is 0 there, and a slope that is.
    const auto turned = [&](int i, int j) {
        const float fade = m_ramp_x[std::size_t(i + 1)] * m_ramp_y[std::size_t(j + 1)];
        const float drift = steering.drift * (m_along_x * y_of(j) - m_along_y * x_of(i));
        return fade * (across * (light(i, j) - 0.5F) + drift);
    };
    for_rows_float(m_height, [&](int first, int last) {
        for (int j = first; j <= last; ++j)
            for (int i = 0; i < m_width; ++i) {
                const std::size_t at = std::size_t(j) * std::size_t(m_width) + std::size_t(i);
                const float fade = along * m_ramp_x[std::size_t(i + 1)] * m_ramp_y[std::size_t(j + 1)];
                float slow = 1;
                if (!m_weight.empty()) {
                    slow = 1.0F + steering.slow_dark * (std::min(light(i, j), 1.0F) - 1.0F);
                    m_weight[at] = slow;
                }
                const float u = slow * half_y * (turned(i, j + 1) - turned(i, j - 1)) -
                                fade * half_x * (light(i + 1, j) - light(i - 1, j));
                const float v = -slow * half_x * (turned(i + 1, j) - turned(i - 1, j)) -
                                fade * half_y * (light(i, j + 1) - light(i, j - 1));
                m_base.u[at] = u / m_cell_x, m_base.v[at] = v / m_cell_y;
            }
    });
}

// ---- Patterns -------------------------------------------------------------------------------------------------

void FlowField::fill_noise(float z, std::vector<float>& potential) const {
    const int count = m_width + 2;
    const float detail = m_pattern.detail, size = m_pattern.size;
    const int octaves = detail > 0 ? 3 : 1;
    const float gain =
        NOISE_GAIN * size * m_pattern.strength / std::sqrt(1.0F + detail * detail * (1.0F + detail * detail));
    for_rows_float(m_height + 2, [&](int first, int last) {
        if (first > last) return;
        std::vector<float> x(4 * std::size_t(count));
        float *y = x.data() + count, *depth = y + count, *noise = depth + count;
        for (int j = first; j <= last; ++j) {
            float* out = potential.data() + std::size_t(j) * std::size_t(count);
            std::fill_n(out, count, 0.0F);
            float frequency = 1.0F / size, share = gain;
            for (int octave = 0; octave < octaves; ++octave) {
                const float py = y_of(j - 1);
                const float level = FIRST_PHASE + z + 7.3F * static_cast<float>(octave);
                if (m_pattern.stretch == 1.0F) {
                    const NoiseLine line{double(x_of(-1)) * double(frequency), double(m_cell_x) * double(frequency),
                                         py * frequency, level};
                    m_noise.noise_row(line, 0, noise, count);
                } else {
                    const float along = frequency / m_pattern.stretch;
                    for (int i = 0; i < count; ++i) {
                        const float px = x_of(i - 1);
                        x[std::size_t(i)] = (px * m_along_x + py * m_along_y) * along;
                        y[i] = (py * m_along_x - px * m_along_y) * frequency;
                        depth[i] = level;
                    }
                    m_noise.noise_row(x.data(), y, depth, noise, count);
                }
                for (int i = 0; i < count; ++i) out[i] += share * noise[i];
                frequency *= OCTAVE, share *= detail / OCTAVE;
            }
        }
    });
}

// Bands along the drift's direction that flow to and fro, and wind a little.
void FlowField::fill_waves(float z, std::vector<float>& potential) const {
    const int count = m_width + 2;
    const float size = m_pattern.size, gain = size / PI * m_pattern.strength;
    const float winding = 0.25F + 1.5F * m_pattern.detail;
    const float frequency = 0.4F / size;
    for_rows_float(m_height + 2, [&](int first, int last) {
        if (first > last) return;
        std::vector<float> x(4 * std::size_t(count));
        float *y = x.data() + count, *depth = y + count, *noise = depth + count;
        for (int j = first; j <= last; ++j) {
            const float py = y_of(j - 1);
            float* out = potential.data() + std::size_t(j) * std::size_t(count);
            for (int i = 0; i < count; ++i) {
                const float px = x_of(i - 1);
                x[std::size_t(i)] = (px * m_along_x + py * m_along_y) * frequency / m_pattern.stretch;
                y[i] = out[i] = (py * m_along_x - px * m_along_y) * frequency;
                depth[i] = FIRST_PHASE + z;
            }
            m_noise.noise_row(x.data(), y, depth, noise, count);
            for (int i = 0; i < count; ++i)
                out[i] = gain * k7_sin(PI * (out[i] / (frequency * size) + winding * noise[i]));
        }
    });
}

// Vortices around the places of a jittered lattice, half of them the other way round. Each ends at its own radius.
void FlowField::fill_whirlpools(float z, std::vector<float>& potential) const {
    const int count = m_width + 2;
    const float size = m_pattern.size, stretch = m_pattern.stretch;
    constexpr float WIDEST = 0.85F, ORBIT = 0.15F, HEIGHT = 0.5F;
    const float half_diagonal = std::sqrt(x_of(0) * x_of(0) + y_of(0) * y_of(0));
    const int lines = std::min(static_cast<int>(half_diagonal / size) + 2, 512);
    const int columns = std::min(static_cast<int>(half_diagonal / (size * stretch)) + 2, 512);
    struct Vortex {
        float x, y, radius, height;  // in sizes, along the drift's direction and across it
    };
    std::vector<Vortex> vortices;
    for (int row = -lines; row <= lines; ++row)
        for (int column = -columns; column <= columns; ++column) {
            CellChances chance(m_pattern.seed, column, row);
            const float angle = 2 * PI * (chance.next() + 0.5F * z);
            const float radius = WIDEST * (0.55F + 0.45F * chance.next());
            const float sense = chance.next() < 0.5F ? -1.0F : 1.0F;
            const float x = static_cast<float>(column) + 0.5F * (chance.next() - 0.5F) + ORBIT * k7_cos(angle);
            const float y = static_cast<float>(row) + 0.5F * (chance.next() - 0.5F) + ORBIT * k7_sin(angle);
            vortices.push_back({x, y, radius, sense * HEIGHT * (0.6F + 0.4F * chance.next()) * radius});
        }
    const float gain = size * m_pattern.strength;
    // A row's vortices lie in a band: those whose circle meets it.
    for_rows_float(m_height + 2, [&](int first, int last) {
        for (int j = first; j <= last; ++j) {
            float* out = potential.data() + std::size_t(j) * std::size_t(count);
            std::fill_n(out, count, 0.0F);
            const float py = y_of(j - 1) / size;
            for (const Vortex& vortex : vortices) {
                // Where the row meets the ellipse of the vortex: q = a x^2 + 2 b x + c < 1 with x along the row.
                const float to_x = m_along_x / stretch, to_y = m_along_y / stretch, r = 1.0F / (vortex.radius);
                const float ex = py * to_y - vortex.x, ey = py * m_along_x - vortex.y;
                const float a = to_x * to_x + m_along_y * m_along_y;
                const float b = to_x * ex - m_along_y * ey, c = ex * ex + ey * ey - vortex.radius * vortex.radius;
                const float root = b * b - a * c;
                if (root <= 0) continue;
                const float reach = std::sqrt(root) / a, middle = -b / a;
                const float per_cell = size / m_cell_x, centre = (middle - x_of(-1) / size) * per_cell;
                const int begin =
                    static_cast<int>(std::clamp(std::ceil(centre - reach * per_cell), 0.0F, float(count)));
                const int end =
                    static_cast<int>(std::clamp(std::floor(centre + reach * per_cell), -1.0F, float(count - 1)));
                for (int i = begin; i <= end; ++i) {
                    const float px = x_of(i - 1) / size;
                    const float dx = px * to_x + ex, dy = ey - px * m_along_y;
                    const float left = std::max(1.0F - (dx * dx + dy * dy) * r * r, 0.0F);
                    out[i] += gain * vortex.height * left * left * left;
                }
            }
        }
    });
}

FlowField::Lines FlowField::make_slice(double phase) const {
    if (!(m_pattern.strength > 0)) return m_base;
    Potential potential(m_width, m_height);
    const auto z = static_cast<float>(phase);
    if (m_pattern.kind == FlowPattern::Whirlpools)
        fill_whirlpools(z, potential.values);
    else if (m_pattern.kind == FlowPattern::Waves)
        fill_waves(z, potential.values);
    else
        fill_noise(z, potential.values);
    Lines lines = m_base;
    const float to_u = 0.5F / (m_cell_x * m_cell_y);  // for v as well: each is divided by both sides of a cell
    for_rows_float(m_height, [&](int first, int last) {
        for (int j = first; j <= last; ++j) {
            const float *below = potential.row(j - 1), *here = potential.row(j), *above = potential.row(j + 1);
            const float* ramp_x = m_ramp_x.data() + 1;
            const float wall_below = m_ramp_y[std::size_t(j)], wall = m_ramp_y[std::size_t(j + 1)],
                        wall_above = m_ramp_y[std::size_t(j + 2)];
            const std::size_t row = std::size_t(j) * std::size_t(m_width);
            float *u = lines.u.data() + row, *v = lines.v.data() + row;
            for (int i = 0; i < m_width; ++i) {
                const float weight = m_weight.empty() ? to_u : to_u * m_weight[row + std::size_t(i)];
                u[i] += weight * ramp_x[i] * (wall_above * above[i] - wall_below * below[i]);
                v[i] -= weight * wall * (ramp_x[i + 1] * here[i + 1] - ramp_x[i - 1] * here[i - 1]);
            }
        }
    });
    return lines;
}

// ---- Paths ----------------------------------------------------------------------------------------------------

FlowField::Paths FlowField::at_rest() const {
    Paths paths;
    const std::size_t cells = std::size_t(m_width) * std::size_t(m_height);
    paths.x.resize(cells), paths.y.resize(cells);
    for (std::size_t n = 0; n < cells; ++n) {
        paths.x[n] = static_cast<float>(n % std::size_t(m_width));
        paths.y[n] = static_cast<float>(n / std::size_t(m_width));
    }
    return paths;
}

bool FlowField::trace_back(double amount, double length, const StopRequested& stop, Paths& paths) const {
    if (length == 0) return true;
    const double from = phase_at(amount), to = phase_at(amount - length), range = std::fabs(from - to);
    double apart = SLICE;
    while (range / apart > MOST_SLICES) apart *= 2;
    const bool changes = range > 0 && m_pattern.strength > 0;

    // Slices lie at whole multiples, so that a frame mixes the same ones as its neighbours.
    long number = static_cast<long>(std::floor(from / apart));
    Lines low = make_slice(changes ? static_cast<double>(number) * apart : from), high, mixed;
    const double speed = std::fabs(length) * double(strain(view(low))) / double(MOST_STRAIN);
    const int steps = static_cast<int>(std::clamp(std::ceil(std::max(speed, 2.0 * range / apart)), 1.0, MOST_STEPS));
    const auto step = static_cast<float>(-length / steps);
    if (!changes) return carry(view(low), step, steps, stop, paths);

    high = make_slice(static_cast<double>(number + 1) * apart);
    mixed = low;
    for (int n = 0; n < steps; ++n) {
        const double phase = (from + (to - from) * (n + 0.5) / steps) / apart;
        const auto wanted = static_cast<long>(std::floor(phase));
        if (wanted == number - 1) {
            std::swap(low, high);
            low = make_slice(static_cast<double>(wanted) * apart);
        } else if (wanted == number + 1) {
            std::swap(low, high);
            high = make_slice(static_cast<double>(wanted + 1) * apart);
        }
        number = wanted;
        const auto part = static_cast<float>(phase - static_cast<double>(wanted));
        for_rows_float(m_height, [&](int first, int last) {
            const std::size_t begin = std::size_t(first) * std::size_t(m_width);
            const std::size_t end = std::size_t(last + 1) * std::size_t(m_width);
            for (std::size_t i = begin; i < end; ++i) mixed.u[i] = low.u[i] + part * (high.u[i] - low.u[i]);
            for (std::size_t i = begin; i < end; ++i) mixed.v[i] = low.v[i] + part * (high.v[i] - low.v[i]);
        });
        if (!carry(view(mixed), step, 1, stop, paths)) return false;
    }
    return true;
}

FlowField::Lines FlowField::lines_at(double amount) const {
    Lines lines = make_slice(phase_at(amount));
    for_rows_float(m_height, [&](int first, int last) {
        const std::size_t end = std::size_t(last + 1) * std::size_t(m_width);
        for (std::size_t i = std::size_t(first) * std::size_t(m_width); i < end; ++i) {
            const float u = lines.u[i] * m_cell_x, v = lines.v[i] * m_cell_y;
            const float shorter = 1.0F / std::sqrt(u * u + v * v + STANDSTILL * STANDSTILL);
            lines.u[i] *= shorter, lines.v[i] *= shorter;
        }
    });
    return lines;
}

bool FlowField::follow_back(const Lines& lines, double length, const StopRequested& stop, Paths& paths) const {
    const double cells = std::fabs(length) / double(std::min(m_cell_x, m_cell_y));
    const int steps = static_cast<int>(std::clamp(std::ceil(cells / double(LINE_STEP)), 1.0, MOST_STEPS));
    return carry(view(lines), static_cast<float>(-length / steps), steps, stop, paths);
}

void FlowField::to_maps(const Paths& paths, ScalarField& x, ScalarField& y) const {
    const float across = 1.0F / static_cast<float>(m_width - 1), along = 1.0F / static_cast<float>(m_height - 1);
    for_rows_float(m_height, [&](int first, int last) {
        for (int j = first; j <= last; ++j) {
            const std::size_t row = std::size_t(j) * std::size_t(m_width), to = x.index(1, j + 1);
            for (std::size_t i = 0; i < std::size_t(m_width); ++i) {
                x.data[to + i] = paths.x[row + i] * across;
                y.data[to + i] = paths.y[row + i] * along;
            }
        }
    });
}
