// The symmetry of the spectrum does most of the work here. An entry at z = n + 1 to 2n - 1 is the conjugate of the one
// at 2n - z, so that the transform along z has real results, and entries at x and 2n - x are equal, as at y and 2n - y,
// so that the others keep them real and even: a quarter of the points is enough, and a complex transform carries two
// components at once, one as its real and one as its imaginary part.
#include "noiselib/krvf_synthesis.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "k7pi_baselib/rows.h"
#include "noiselib/krvf_spectrum.h"
#include "noiselib/krvf_transform.h"

namespace {

constexpr std::size_t SLAB_ENTRIES = 65536;  // whose random numbers are drawn before their waves are made
constexpr std::size_t DRAWS = 6;             // of a wave
constexpr double PHASE_RANGE = 2 * 3.14159265;

class Synthesis {
  public:
    explicit Synthesis(const KrvfSettings& chosen)
        : settings(chosen),
          edge(static_cast<std::size_t>(chosen.n) + 1),
          grid(2 * static_cast<std::size_t>(chosen.n)) {}

    bool allocate();
    void make_spectrum();
    void transform_z();
    void transform_planes(KrvfVector* field);

    uint32_t degenerates() const { return degenerate_count; }
    bool has_failed() const { return failed; }

  private:
    std::size_t plane_size() const { return edge * edge; }
    bool is_silent(std::size_t x, std::size_t y, std::size_t z) const;
    void draw(std::size_t first_z, std::size_t last_z, MTRandom* generators);
    void make_row(std::size_t y, std::size_t z, double* row);
    void store(std::size_t x, std::size_t y, std::size_t z, const Wave& wave);

    struct Scratch {
        KrvfBlock<double> memory;
        double *real, *imag, *turned_real, *turned_imag;
    };
    Scratch new_scratch();
    void transform_plane(const double* real, const double* imag, const Scratch& scratch) const;

    const KrvfSettings settings;
    const std::size_t edge, grid;
    KrvfBlock<double> real_uv, imag_uv, real_w, imag_w;  // planes of edge x edge for each z: u + i v, and w
    KrvfBlock<double> weights;                           // by squared wave number
    KrvfBlock<double> draws;  // for each row of a slab three amplitudes and three phases, each `edge` numbers
    std::size_t slab_depth = 0;
    std::atomic<uint32_t> degenerate_count{0};
    std::atomic<bool> failed{false};
};

bool Synthesis::allocate() {
    const std::size_t numbers = plane_size() * grid;
    const std::size_t n = edge - 1;
    slab_depth = std::clamp<std::size_t>(SLAB_ENTRIES / plane_size(), 1, edge);
    real_uv = new_krvf_block<double>(numbers);
    imag_uv = new_krvf_block<double>(numbers);
    real_w = new_krvf_block<double>(numbers);
    imag_w = new_krvf_block<double>(numbers);
    weights = new_krvf_block<double>(3 * n * n + 1);
    draws = new_krvf_block<double>(slab_depth * plane_size() * DRAWS);
    return real_uv && imag_uv && real_w && imag_w && weights && draws;
}

// ---- Spectrum ----------------------------------------------------------------------------------------------------

// Whether an entry is zero and takes no random numbers.
bool Synthesis::is_silent(std::size_t x, std::size_t y, std::size_t z) const {
    return weights[x * x + y * y + z * z] == 0;
}

void Synthesis::draw(std::size_t first_z, std::size_t last_z, MTRandom* generators) {
    double* row = draws.get();
    for (std::size_t z = first_z; z <= last_z; ++z)
        for (std::size_t y = 0; y < edge; ++y, row += DRAWS * edge)
            for (std::size_t x = 0; x < edge; ++x) {
                const bool is_drawn = !is_silent(x, y, z);
                for (std::size_t m = 0; m < 3; ++m) {
                    row[m * edge + x] = is_drawn ? generators[2 * m].next_gaussian() : 0;
                    row[(m + 3) * edge + x] = is_drawn ? PHASE_RANGE * generators[2 * m + 1].next_double() : 0;
                }
            }
}

void Synthesis::store(std::size_t x, std::size_t y, std::size_t z, const Wave& wave) {
    const std::size_t n = edge - 1;
    const bool is_real = x == 0 || x == n || y == 0 || y == n || z == 0 || z == n;
    const double u_imag = is_real ? 0 : wave.imag[0];
    const double v_imag = is_real ? 0 : wave.imag[1];
    const double w_imag = is_real ? 0 : wave.imag[2];
    const std::size_t place = y * edge + x;
    const std::size_t at = z * plane_size() + place;
    real_uv[at] = wave.real[0] - v_imag;
    imag_uv[at] = u_imag + wave.real[1];
    real_w[at] = wave.real[2];
    imag_w[at] = w_imag;
    if (z == 0 || z == n) return;
    const std::size_t mirrored = (grid - z) * plane_size() + place;
    real_uv[mirrored] = wave.real[0] + v_imag;
    imag_uv[mirrored] = -u_imag + wave.real[1];
    real_w[mirrored] = wave.real[2];
    imag_w[mirrored] = -w_imag;
}

void Synthesis::make_row(std::size_t y, std::size_t z, double* row) {
    double* const imag = row + 3 * edge;
    from_polar(row, imag, 3 * edge);
    for (std::size_t x = 0; x < edge; ++x) {
        Wave wave = {{row[x], row[edge + x], row[2 * edge + x]}, {imag[x], imag[edge + x], imag[2 * edge + x]}};
        if (!is_silent(x, y, z)) {
            const double weight = weights[x * x + y * y + z * z];
            if (!make_wave(static_cast<int>(x), static_cast<int>(y), static_cast<int>(z), weight, wave))
                degenerate_count.fetch_add(1, std::memory_order_relaxed);
        }
        store(x, y, z, wave);
    }
}

void Synthesis::make_spectrum() {
    const std::size_t n = edge - 1;
    for (std::size_t k_squared = 0; k_squared <= 3 * n * n; ++k_squared) {
        const double weight = wave_weight(static_cast<int>(k_squared), settings.energy);
        const bool is_heard = std::sqrt(static_cast<double>(k_squared)) > settings.k_min && weight > 0 &&
                              std::isfinite(weight * static_cast<double>(k_squared));
        weights[k_squared] = is_heard ? weight : 0;
    }
    MTRandom seeds(static_cast<uint32_t>(settings.seed));
    const auto next = [&] { return MTRandom(seeds.next_uint32() >> 1); };
    MTRandom generators[6] = {next(), next(), next(), next(), next(), next()};
    for (std::size_t z = 0; z < edge; z += slab_depth) {
        const std::size_t depth = std::min(slab_depth, edge - z);
        draw(z, z + depth - 1, generators);
        for_rows_float(static_cast<int>(depth * edge), [&](int first, int last) {
            for (int row = first; row <= last; ++row) {
                const auto r = static_cast<std::size_t>(row);
                make_row(r % edge, z + r / edge, draws.get() + r * edge * DRAWS);
            }
        });
    }
}

// ---- Transform ---------------------------------------------------------------------------------------------------

Synthesis::Scratch Synthesis::new_scratch() {
    const std::size_t numbers = grid * edge;
    auto memory = new_krvf_block<double>(4 * numbers);
    if (!memory) failed = true;
    double* const start = memory.get();
    return {std::move(memory), start, start + numbers, start + 2 * numbers, start + 3 * numbers};
}

// The lines of one y at a time: copied together they stay in the first caches.
void Synthesis::transform_z() {
    for_rows_float(static_cast<int>(edge), [&](int first, int last) {
        const Scratch scratch = new_scratch();
        if (!scratch.memory) return;
        const auto move = [&](double* array, double* part, std::size_t y, bool back) {
            for (std::size_t z = 0; z < grid; ++z) {
                double* const line = array + z * plane_size() + y * edge;
                if (back)
                    std::copy_n(part + z * edge, edge, line);
                else
                    std::copy_n(line, edge, part + z * edge);
            }
        };
        const auto transform = [&](double* real, double* imag, std::size_t y, bool keeps_imag) {
            move(real, scratch.real, y, false);
            move(imag, scratch.imag, y, false);
            fft_radix2(scratch.real, scratch.imag, grid * edge, grid, grid * edge, -1);
            move(real, scratch.real, y, true);
            if (keeps_imag) move(imag, scratch.imag, y, true);
        };
        for (int y = first; y <= last; ++y) {
            transform(real_uv.get(), imag_uv.get(), static_cast<std::size_t>(y), true);
            transform(real_w.get(), imag_w.get(), static_cast<std::size_t>(y), false);  // what is imaginary is 0
        }
    });
}

// From rows of y with columns of x to rows of x with columns of y in turned_real and turned_imag, of which the first
// `edge` count.
void Synthesis::transform_plane(const double* real, const double* imag, const Scratch& scratch) const {
    const auto mirror = [&](double* rows) {
        for (std::size_t row = 1; row + 1 < edge; ++row)
            std::copy_n(rows + row * edge, edge, rows + (grid - row) * edge);
    };
    const auto turn = [&](const double* rows, double* turned) {
        for (std::size_t y = 0; y < edge; ++y)
            for (std::size_t x = 0; x < edge; ++x) turned[x * edge + y] = rows[y * edge + x];
    };
    std::copy_n(real, plane_size(), scratch.real);
    std::copy_n(imag, plane_size(), scratch.imag);
    mirror(scratch.real);
    mirror(scratch.imag);
    fft_radix2(scratch.real, scratch.imag, grid * edge, grid, grid * edge, -1);
    turn(scratch.real, scratch.turned_real);
    turn(scratch.imag, scratch.turned_imag);
    mirror(scratch.turned_real);
    mirror(scratch.turned_imag);
    fft_radix2(scratch.turned_real, scratch.turned_imag, grid * edge, grid, grid * edge, -1);
}

void Synthesis::transform_planes(KrvfVector* field) {
    for_rows_float(static_cast<int>(edge - 1), [&](int first, int last) {
        const Scratch scratch = new_scratch();
        if (!scratch.memory) return;
        const auto put = [&](const double* values, double KrvfVector::*component, std::size_t plane) {
            KrvfVector* const to = field + plane * plane_size();
            for (std::size_t i = 0; i < plane_size(); ++i) to[i].*component = values[i];
        };
        for (int pair = first; pair <= last; ++pair) {
            const std::size_t z = 2 * static_cast<std::size_t>(pair);
            for (const std::size_t plane : {z, z + 1}) {
                const std::size_t at = plane * plane_size();
                transform_plane(real_uv.get() + at, imag_uv.get() + at, scratch);
                put(scratch.turned_real, &KrvfVector::u, plane);
                put(scratch.turned_imag, &KrvfVector::v, plane);
            }
            transform_plane(real_w.get() + z * plane_size(), real_w.get() + (z + 1) * plane_size(), scratch);
            put(scratch.turned_real, &KrvfVector::w, z);
            put(scratch.turned_imag, &KrvfVector::w, z + 1);
        }
    });
}

}  // namespace

bool synthesise_field(const KrvfSettings& settings, KrvfVector* field, uint32_t& degenerate_count) {
    Synthesis synthesis(settings);
    if (!synthesis.allocate()) return false;
    synthesis.make_spectrum();
    synthesis.transform_z();
    if (synthesis.has_failed()) return false;
    synthesis.transform_planes(field);
    degenerate_count = synthesis.degenerates();
    return !synthesis.has_failed();
}
