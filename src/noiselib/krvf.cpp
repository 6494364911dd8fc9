#include "noiselib/krvf.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/rows.h"
#include "noiselib/krvf_synthesis.h"

namespace {

constexpr int MAX_GRID = 512;
constexpr double MAX_FRACTION = 0.99999;

double lerp(double t, double a, double b) { return a + t * (b - a); }

// Extremes and sums over some points, each counted as often as the whole grid has it.
struct Tally {
    KrvfVector low{INFINITY, INFINITY, INFINITY}, high{-INFINITY, -INFINITY, -INFINITY}, sum{0, 0, 0};
    double min_length = INFINITY, max_length = -INFINITY, length_sum = 0;

    void add(const KrvfVector& p, double times) {
        const double length = std::sqrt(p.u * p.u + p.v * p.v + p.w * p.w);
        for (const auto part : {&KrvfVector::u, &KrvfVector::v, &KrvfVector::w}) {
            low.*part = std::min(low.*part, p.*part);
            high.*part = std::max(high.*part, p.*part);
            sum.*part += times * p.*part;
        }
        min_length = std::min(min_length, length);
        max_length = std::max(max_length, length);
        length_sum += times * length;
    }
    void add(const Tally& other) {
        for (const auto part : {&KrvfVector::u, &KrvfVector::v, &KrvfVector::w}) {
            low.*part = std::min(low.*part, other.low.*part);
            high.*part = std::max(high.*part, other.high.*part);
            sum.*part += other.sum.*part;
        }
        min_length = std::min(min_length, other.min_length);
        max_length = std::max(max_length, other.max_length);
        length_sum += other.length_sum;
    }
};

// Where a coordinate lies on the grid of an axis: between two neighbours.
struct GridPlace {
    std::size_t lower, upper;
    double fraction;

    GridPlace(double c, int grid) {
        double position = c - std::floor(c);
        if (!(position >= 0)) position = 0;  // infinities and NaN
        position = std::min(position, MAX_FRACTION) * grid;
        lower = static_cast<std::size_t>(position);
        upper = lower + 1 == static_cast<std::size_t>(grid) ? 0 : lower + 1;
        fraction = position - static_cast<double>(lower);
    }
    // On an axis along which the upper half mirrors the lower one.
    static GridPlace mirrored(double c, int grid) {
        GridPlace place(c, grid);
        const auto fold = [&](std::size_t i) { return std::min(i, static_cast<std::size_t>(grid) - i); };
        place.lower = fold(place.lower);
        place.upper = fold(place.upper);
        return place;
    }
};

bool give(const KrvfVector& value, double* u, double* v, double* w, bool result) {
    *u = value.u;
    *v = value.v;
    *w = value.w;
    return result;
}

}  // namespace

void FreeKrvfBlock::operator()(void* block) const { k7_aligned_free(block, true); }

bool KRVF::generate(int32_t new_seed, int n, double new_k_min, double new_energy) {
    if (n < 2 || n > MAX_GRID / 2 || !std::has_single_bit(static_cast<unsigned>(n)) || !(new_k_min >= 1.0))
        return false;
    seed = new_seed;
    k_min = new_k_min;
    energy = new_energy;
    degenerate_count = 0;
    figures = {};
    half_grid = n;
    grid = 2 * n;
    field.reset();
    field = new_krvf_block<KrvfVector>(stored_edge() * stored_edge() * static_cast<std::size_t>(grid));
    if (!field || !synthesise_field({seed, n, k_min, energy}, field.get(), degenerate_count)) {
        field.reset();
        half_grid = 0;
        grid = 0;
        return false;
    }
    collect_statistics();
    return true;
}

bool KRVF::copy_from(const KRVF& other) {
    const std::size_t points = other.field ? other.stored_edge() * other.stored_edge() * std::size_t(other.grid) : 0;
    if (points == 0 || half_grid != other.half_grid) field.reset();
    if (points > 0 && !field) field = new_krvf_block<KrvfVector>(points);
    const bool done = points == 0 || field != nullptr;
    if (points > 0 && done) std::copy_n(other.field.get(), points, field.get());
    k_min = other.k_min, energy = other.energy, seed = other.seed;
    degenerate_count = other.degenerate_count, figures = other.figures;
    half_grid = done ? other.half_grid : 0;
    grid = done ? other.grid : 0;
    return done;
}

void KRVF::collect_statistics() {
    const std::size_t edge = stored_edge();
    const auto times = [&](std::size_t i) { return i == 0 || i + 1 == edge ? 1.0 : 2.0; };
    Tally planes[MAX_GRID];
    for_rows_float(grid, [&](int first, int last) {
        for (int z = first; z <= last; ++z) {
            const KrvfVector* point = field.get() + static_cast<std::size_t>(z) * edge * edge;
            for (std::size_t x = 0; x < edge; ++x)
                for (std::size_t y = 0; y < edge; ++y) planes[z].add(*point++, times(x) * times(y));
        }
    });
    Tally all;
    for (int z = 0; z < grid; ++z) all.add(planes[z]);
    const double count = static_cast<double>(grid) * grid * grid;
    figures = {all.low.u,         all.high.u,        all.low.v,
               all.high.v,        all.low.w,         all.high.w,
               all.min_length,    all.max_length,    all.length_sum / count,
               all.sum.u / count, all.sum.v / count, all.sum.w / count};
}

bool KRVF::sample(double x, double y, double z, double* u, double* v, double* w) const {
    if (!field) return give({0, 0, 0}, u, v, w, false);
    const GridPlace across = GridPlace::mirrored(x, grid);
    const GridPlace up = GridPlace::mirrored(y, grid);
    const GridPlace deep(z, grid);
    const std::size_t edge = stored_edge();
    const auto along_x = [&](std::size_t row, std::size_t layer) {
        const KrvfVector& a = field[(layer * edge + across.lower) * edge + row];
        const KrvfVector& b = field[(layer * edge + across.upper) * edge + row];
        const double t = across.fraction;
        return KrvfVector{lerp(t, a.u, b.u), lerp(t, a.v, b.v), lerp(t, a.w, b.w)};
    };
    const auto plane = [&](std::size_t layer) {
        const KrvfVector a = along_x(up.lower, layer);
        const KrvfVector b = along_x(up.upper, layer);
        const double t = up.fraction;
        return KrvfVector{lerp(t, a.u, b.u), lerp(t, a.v, b.v), lerp(t, a.w, b.w)};
    };
    const KrvfVector a = plane(deep.lower);
    const KrvfVector b = plane(deep.upper);
    const double t = deep.fraction;
    return give({lerp(t, a.u, b.u), lerp(t, a.v, b.v), lerp(t, a.w, b.w)}, u, v, w, true);
}
