// Noise of 4, 8 or 16 points abreast. Every lane does the operations of SolidNoise::noise in its order.
//
// Gathers are slow on many processors, so the gradients come in whole: one load brings both ends of a cell's edge along
// x, and four points' edges are transposed in registers. Where the points of a vector are in few cells (a line in small
// steps), the cells' gradients are laid out along the line first and a lane finds its own by one permutation.
#include "noiselib/solidnoise_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

// The edges of a cell along x: at the lower y and z, the upper y, the upper z, both upper.
constexpr int EDGES = 4;

// Places of the edges in NoiseTables::corners, for each lane.
struct EdgePlaces {
    alignas(64) unsigned place[EDGES][LANES];
};

struct Offsets {
    Floats x0, x1, y0, y1, z0, z1;  // from the lower and the upper corner of the cell
};

struct EdgeValues {
    Floats lower[EDGES], upper[EDGES];  // gradient times offset at the ends of the edges
};

static inline Floats floor_of(Floats v) {
#if defined(__AVX512F__)
    return (Floats)_mm512_roundscale_ps((__m512)v, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
#elif defined(__AVX2__)
    return (Floats)_mm256_floor_ps((__m256)v);
#else
    const Ints sign = (Ints)v & INT32_MIN;
    const Floats magnitude = absolute(v);
    const Ints is_small = magnitude < 8388608.0F;  // others have no fraction
    Floats whole = __builtin_convertvector(__builtin_convertvector(is_small ? v : Floats{}, Ints), Floats);
    whole -= whole > v ? all<Floats>(1.0F) : Floats{};
    whole = (Floats)((Ints)whole | sign);  // -0 stays -0
    return is_small ? whole : v;
#endif
}

// Rounded towards zero; values out of range give INT_MIN.
static inline Ints to_whole(Floats v) {
#if defined(__AVX512F__)
    return (Ints)_mm512_maskz_cvttps_epi32(0xffff, (__m512)v);
#elif defined(__AVX2__)
    return (Ints)_mm256_cvttps_epi32((__m256)v);
#else
    const Ints is_inside = absolute(v) < 2147483648.0F;
    return is_inside ? to_ints(is_inside ? v : Floats{}) : Ints{} + INT32_MIN;
#endif
}

// Looks the permutation up: of h in the low eight bits of a lane, of h + 1 in the next. What is above is undefined,
// also in the lanes given, of which the low eight bits count.
#if defined(__AVX512F__)
// The whole table is in eight registers, two hashes in a lane; gathers would cost six times the instructions.
struct PairTable {
    Ints words[8];

    explicit PairTable(const uint32_t* pairs) {
        for (int lane = 0; lane < 128; ++lane) {
            const uint32_t* two = pairs + 2 * lane;
            words[lane / LANES][lane % LANES] = int(two[0] | (two[1] >> 8) << 16);
        }
    }

    static Ints either(__mmask16 second, Ints a, Ints b) {
        return (Ints)_mm512_mask_blend_epi32(second, (__m512i)a, (__m512i)b);
    }
    Ints of_32(int first, Ints place) const {
        return (Ints)_mm512_permutex2var_epi32((__m512i)words[first], (__m512i)place, (__m512i)words[first + 1]);
    }
    Ints operator()(Ints h) const {
        const Ints place = (h & 255) >> 1;
        const __mmask16 bit_5 = _mm512_test_epi32_mask((__m512i)place, _mm512_set1_epi32(32));
        const __mmask16 bit_6 = _mm512_test_epi32_mask((__m512i)place, _mm512_set1_epi32(64));
        const Ints low = either(bit_5, of_32(0, place), of_32(2, place));
        const Ints high = either(bit_5, of_32(4, place), of_32(6, place));
        return either(bit_6, low, high) >> ((h & 1) << 3);
    }
};
#else
struct PairTable {
    const int* words;

    explicit PairTable(const uint32_t* pairs) : words((const int*)pairs) {}

    Ints operator()(Ints h) const { return gather(words, h & 255); }
};
#endif

// The low eight bits of whole numbers; 0 for those out of range, which are INT_MIN.
static inline Ints cells_of(Floats whole) { return to_whole(whole) & 255; }

static inline Floats ease(Floats t) { return (3.0F - 2.0F * t) * t * t; }
static inline Floats lerp(Floats t, Floats a, Floats b) { return a + t * (b - a); }

// The hashes of the edges of all cells with one y and one z, before x is added.
struct RowOfCells {
    int base[EDGES];

    RowOfCells(const NoiseTables& tables, int j, int k) {
        const uint32_t layers = tables.pairs[k];
        const uint32_t lower = tables.pairs[(layers + unsigned(j)) & 255U];
        const uint32_t upper = tables.pairs[((layers >> 8) + unsigned(j)) & 255U];
        base[0] = int(lower & 255U);
        base[1] = int(lower >> 8);
        base[2] = int(upper & 255U);
        base[3] = int(upper >> 8);
    }
};

static inline void place_edges(EdgePlaces& places, Ints i, const Ints (&base)[EDGES]) {
    for (int e = 0; e < EDGES; ++e) {
        const Ints place = ((base[e] + i) & 255) * NOISE_CORNER_FLOATS;
        store(places.place[e], place);
    }
    // Really in memory: a lane is read back by one load, where the compiler would take two or three instructions to
    // extract it.
    asm("" : "+m"(places));
}

// ---- Gradients by whole loads and transpositions -----------------------------------------------------------------
//
// A block is 16 bytes: one gradient of one point, or one component of four points.

#if defined(__AVX512F__)

// A row holds four blocks, a point's gradients at both ends of the edge at the lower y and of the one at the upper y.
static inline __m512 load_edges(const float* corners, const unsigned* lower_y, const unsigned* upper_y, int point) {
    const __m512d lower = _mm512_castpd256_pd512(_mm256_castps_pd(_mm256_loadu_ps(corners + lower_y[point])));
    const __m256d upper = _mm256_castps_pd(_mm256_loadu_ps(corners + upper_y[point]));
    return _mm512_castpd_ps(_mm512_insertf64x4(lower, upper, 1));
}

// Block FOUR of `a` and of `b`, twice each, in the order a, b, a, b or a, a, b, b.
template <int FOUR>
static inline Floats alternating(Floats a, Floats b) {
    constexpr int i = 4 * FOUR, j = 16 + i;
    return in_order<i, i + 1, i + 2, i + 3, j, j + 1, j + 2, j + 3, i, i + 1, i + 2, i + 3, j, j + 1, j + 2, j + 3>(a,
                                                                                                                    b);
}
template <int FOUR>
static inline Floats in_pairs(Floats a, Floats b) {
    constexpr int i = 4 * FOUR, j = 16 + i;
    return in_order<i, i + 1, i + 2, i + 3, i, i + 1, i + 2, i + 3, j, j + 1, j + 2, j + 3, j, j + 1, j + 2, j + 3>(a,
                                                                                                                    b);
}

// Gradient times offset of four points, both ends of the edges at the lower y and at the upper y.
template <int FOUR>
static inline __m512 four_dots(const float* corners, const unsigned* lower_y, const unsigned* upper_y,
                               const Offsets& at, Floats z) {
    const __m512 a = load_edges(corners, lower_y, upper_y, 4 * FOUR);
    const __m512 b = load_edges(corners, lower_y, upper_y, 4 * FOUR + 1);
    const __m512 c = load_edges(corners, lower_y, upper_y, 4 * FOUR + 2);
    const __m512 d = load_edges(corners, lower_y, upper_y, 4 * FOUR + 3);
    const __m512d ab_xy = _mm512_castps_pd(_mm512_unpacklo_ps(a, b)),
                  cd_xy = _mm512_castps_pd(_mm512_unpacklo_ps(c, d));
    const __m512d ab_z = _mm512_castps_pd(_mm512_unpackhi_ps(a, b)), cd_z = _mm512_castps_pd(_mm512_unpackhi_ps(c, d));
    const Floats gx = (Floats)_mm512_unpacklo_pd(ab_xy, cd_xy), gy = (Floats)_mm512_unpackhi_pd(ab_xy, cd_xy);
    const Floats gz = (Floats)_mm512_unpacklo_pd(ab_z, cd_z);
    return (__m512)(gx * alternating<FOUR>(at.x0, at.x1) + gy * in_pairs<FOUR>(at.y0, at.y1) +
                    gz * in_pairs<FOUR>(z, z));
}

static inline void edge_values(const float* corners, const EdgePlaces& places, const Offsets& at, EdgeValues& values) {
    for (int layer = 0; layer < 2; ++layer) {
        const unsigned* lower_y = places.place[2 * layer];
        const unsigned* upper_y = places.place[2 * layer + 1];
        const Floats z = layer ? at.z1 : at.z0;
        const __m512 dot[4] = {
            four_dots<0>(corners, lower_y, upper_y, at, z), four_dots<1>(corners, lower_y, upper_y, at, z),
            four_dots<2>(corners, lower_y, upper_y, at, z), four_dots<3>(corners, lower_y, upper_y, at, z)};
        const __m512 lower_01 = _mm512_shuffle_f32x4(dot[0], dot[1], 0x44);
        const __m512 lower_23 = _mm512_shuffle_f32x4(dot[2], dot[3], 0x44);
        const __m512 upper_01 = _mm512_shuffle_f32x4(dot[0], dot[1], 0xEE);
        const __m512 upper_23 = _mm512_shuffle_f32x4(dot[2], dot[3], 0xEE);
        values.lower[2 * layer] = (Floats)_mm512_shuffle_f32x4(lower_01, lower_23, 0x88);
        values.upper[2 * layer] = (Floats)_mm512_shuffle_f32x4(lower_01, lower_23, 0xDD);
        values.lower[2 * layer + 1] = (Floats)_mm512_shuffle_f32x4(upper_01, upper_23, 0x88);
        values.upper[2 * layer + 1] = (Floats)_mm512_shuffle_f32x4(upper_01, upper_23, 0xDD);
    }
}

#elif defined(__AVX2__)

// Four points of `v` and four of `w`: the lower four when half is 0, the upper when it is 1.
template <int half>
static inline Floats pair_halves(Floats v, Floats w) {
    return (Floats)_mm256_permute2f128_ps((__m256)v, (__m256)w, half ? 0x31 : 0x20);
}

// Both ends of an edge of four points, the lower ends in the lower half.
template <int half>
static inline Floats four_dots(const float* corners, const unsigned* places, Floats dx, Floats y, Floats z) {
    const __m256 a = _mm256_loadu_ps(corners + places[4 * half]);
    const __m256 b = _mm256_loadu_ps(corners + places[4 * half + 1]);
    const __m256 c = _mm256_loadu_ps(corners + places[4 * half + 2]);
    const __m256 d = _mm256_loadu_ps(corners + places[4 * half + 3]);
    const __m256d ab_xy = _mm256_castps_pd(_mm256_unpacklo_ps(a, b));
    const __m256d cd_xy = _mm256_castps_pd(_mm256_unpacklo_ps(c, d));
    const __m256d ab_z = _mm256_castps_pd(_mm256_unpackhi_ps(a, b));
    const __m256d cd_z = _mm256_castps_pd(_mm256_unpackhi_ps(c, d));
    const Floats gx = (Floats)_mm256_unpacklo_pd(ab_xy, cd_xy);
    const Floats gy = (Floats)_mm256_unpackhi_pd(ab_xy, cd_xy);
    const Floats gz = (Floats)_mm256_unpacklo_pd(ab_z, cd_z);
    return gx * dx + gy * pair_halves<half>(y, y) + gz * pair_halves<half>(z, z);
}

static inline void edge_values(const float* corners, const EdgePlaces& places, const Offsets& at, EdgeValues& values) {
    const Floats dx[2] = {pair_halves<0>(at.x0, at.x1), pair_halves<1>(at.x0, at.x1)};
    for (int e = 0; e < EDGES; ++e) {
        const Floats y = e & 1 ? at.y1 : at.y0;
        const Floats z = e & 2 ? at.z1 : at.z0;
        const Floats first = four_dots<0>(corners, places.place[e], dx[0], y, z);
        const Floats second = four_dots<1>(corners, places.place[e], dx[1], y, z);
        values.lower[e] = pair_halves<0>(first, second);
        values.upper[e] = pair_halves<1>(first, second);
    }
}

#else

static inline Floats four_dots(const float* corners, const unsigned* places, Floats x, Floats y, Floats z) {
    const Floats a = load(corners + places[0]), b = load(corners + places[1]);
    const Floats c = load(corners + places[2]), d = load(corners + places[3]);
    const Floats ab_xy = mixed_groups<0, 4, 1, 5>(a, b), cd_xy = mixed_groups<0, 4, 1, 5>(c, d);
    const Floats ab_z = mixed_groups<2, 6, 3, 7>(a, b), cd_z = mixed_groups<2, 6, 3, 7>(c, d);
    return mixed_groups<0, 1, 4, 5>(ab_xy, cd_xy) * x + mixed_groups<2, 3, 6, 7>(ab_xy, cd_xy) * y +
           mixed_groups<0, 1, 4, 5>(ab_z, cd_z) * z;
}

static inline void edge_values(const float* corners, const EdgePlaces& places, const Offsets& at, EdgeValues& values) {
    for (int e = 0; e < EDGES; ++e) {
        const Floats y = e & 1 ? at.y1 : at.y0;
        const Floats z = e & 2 ? at.z1 : at.z0;
        values.lower[e] = four_dots(corners, places.place[e], at.x0, y, z);
        values.upper[e] = four_dots(corners + NOISE_CORNER_FLOATS / 2, places.place[e], at.x1, y, z);
    }
}

#endif

static inline Floats blend(const EdgeValues& values, Floats u, Floats v, Floats w) {
    const Floats near = lerp(v, lerp(u, values.lower[0], values.upper[0]), lerp(u, values.lower[1], values.upper[1]));
    const Floats far = lerp(v, lerp(u, values.lower[2], values.upper[2]), lerp(u, values.lower[3], values.upper[3]));
    return lerp(w, near, far);
}

// ---- Any points --------------------------------------------------------------------------------------------------

static inline Floats points_vector(const NoiseTables& tables, const PairTable& permuted, Floats x, Floats y, Floats z) {
    const Floats floor_x = floor_of(x), floor_y = floor_of(y), floor_z = floor_of(z);
    const Ints i = cells_of(floor_x), j = cells_of(floor_y), k = cells_of(floor_z);

    EdgePlaces places;
    const int first_j = j[0], first_k = k[0];
    if (all_set(((j ^ first_j) | (k ^ first_k)) == 0)) {  // neighbours in a picture mostly are in one row of cells
        const RowOfCells row(tables, first_j, first_k);
        place_edges(places, i,
                    {Ints{} + row.base[0], Ints{} + row.base[1], Ints{} + row.base[2], Ints{} + row.base[3]});
    } else {
        const Ints layers = permuted(k);
        const Ints lower = permuted(layers + j);
        const Ints upper = permuted((layers >> 8) + j);
        place_edges(places, i, {lower, lower >> 8, upper, upper >> 8});
    }

    const Floats fx = x - floor_x, fy = y - floor_y, fz = z - floor_z;
    EdgeValues values;
    edge_values(tables.corners, places, {fx, fx - 1.0F, fy, fy - 1.0F, fz, fz - 1.0F}, values);
    const Floats noise = blend(values, ease(fx), ease(fy), ease(fz));
    const Ints is_finite = (x - x) + (y - y) + (z - z) == Floats{};
    return (Floats)((Ints)noise & is_finite);
}

// Adds to a row of sums, or fills it.
struct Octave {
    float f;
    bool adds;

    Floats scaled(Floats v) const { return adds ? all<Floats>(f) * v : v; }
    float scaled(float v) const { return adds ? f * v : v; }
    void put(float* out, Floats noise) const { store(out, adds ? load(out) + noise / all<Floats>(f) : noise); }
};

// The last, partial vector of a row: its points are copied to where whole vectors can be read and written.
struct Tail {
    alignas(64) float x[LANES] = {}, y[LANES] = {}, z[LANES] = {}, out[LANES] = {};
};

static inline void copy(float* to, const float* from, int count) {
    __builtin_memcpy(to, from, sizeof(float) * unsigned(count));
}

static inline void fill_points(const NoiseTables& tables, const float* x, const float* y, const float* z, float* out,
                               int count, Octave octave) {
    const PairTable permuted(tables.pairs);
    const auto vector = [&](const float* vx, const float* vy, const float* vz, float* to) {
        octave.put(to, points_vector(tables, permuted, octave.scaled(load(vx)), octave.scaled(load(vy)),
                                     octave.scaled(load(vz))));
    };
    int i = 0;
    for (; i + LANES <= count; i += LANES) vector(x + i, y + i, z + i, out + i);
    if (i >= count) return;
    Tail tail;
    copy(tail.x, x + i, count - i);
    copy(tail.y, y + i, count - i);
    copy(tail.z, z + i, count - i);
    copy(tail.out, out + i, count - i);
    vector(tail.x, tail.y, tail.z, tail.out);
    copy(out + i, tail.out, count - i);
}

static void points(const NoiseTables& tables, const float* x, const float* y, const float* z, float* out, int count) {
    fill_points(tables, x, y, z, out, count, {1.0F, false});
}

static void add_points(const NoiseTables& tables, const float* x, const float* y, const float* z, float f, float* sum,
                       int count) {
    fill_points(tables, x, y, z, sum, count, {f, true});
}

// ---- Points of a line --------------------------------------------------------------------------------------------

// What y and z are for all points of a line.
struct LineSetting {
    RowOfCells row;
    float y[2], z[2];  // offsets from the lower and the upper corner
    float v, w;
};

static inline float ease(float t) { return (3.0F - 2.0F * t) * t * t; }

static LineSetting set_line(const NoiseTables& tables, float y, float z) {
    const Floats floor_yz = floor_of(Floats{y, z});
    const Ints cell = cells_of(floor_yz);
    const float fy = y - floor_yz[0], fz = z - floor_yz[1];
    return {RowOfCells(tables, cell[0], cell[1]), {fy, fy - 1.0F}, {fz, fz - 1.0F}, ease(fy), ease(fz)};
}

// A line in large steps: hashed point by point, but along x only.
struct FarLine {
    const NoiseTables& tables;
    const LineSetting& line;

    Floats operator()(Floats x) const {
        const Floats floor_x = floor_of(x);
        EdgePlaces places;
        place_edges(places, cells_of(floor_x),
                    {Ints{} + line.row.base[0], Ints{} + line.row.base[1], Ints{} + line.row.base[2],
                     Ints{} + line.row.base[3]});
        const Floats fx = x - floor_x;
        EdgeValues values;
        edge_values(tables.corners, places,
                    {fx, fx - 1.0F, all<Floats>(line.y[0]), all<Floats>(line.y[1]), all<Floats>(line.z[0]),
                     all<Floats>(line.z[1])},
                    values);
        const Floats noise = blend(values, ease(fx), all<Floats>(line.v), all<Floats>(line.w));
        return (Floats)((Ints)noise & (x - x == Floats{}));
    }
};

template <class VectorOfLine>
static inline void fill_line(const VectorOfLine& line, const float* x, float* out, int count, Octave octave) {
    int i = 0;
    for (; i + LANES <= count; i += LANES) octave.put(out + i, line(octave.scaled(load(x + i))));
    if (i >= count) return;
    Tail tail;
    for (float& gap : tail.x) gap = x[count - 1];
    copy(tail.x, x + i, count - i);
    copy(tail.out, out + i, count - i);
    octave.put(tail.out, line(octave.scaled(load(tail.x))));
    copy(out + i, tail.out, count - i);
}

#if defined(__AVX2__)

// Steps of a cell's width up to which lining up the gradients first is faster.
constexpr double MAX_NEAR_STEP = 0.3;
// Beyond it the rounding of the positions could spread a vector's points over more cells than it has lanes.
constexpr float MAX_NEAR_POSITION = 1 << 20;
constexpr int MAX_LATTICE_POINTS = int(NOISE_CHUNK * MAX_NEAR_STEP) + 4;

static inline Floats permute(Floats v, Ints places) {
#if defined(__AVX512F__)
    return (Floats)_mm512_maskz_permutexvar_ps(0xffff, (__m512i)places, (__m512)v);
#else
    return (Floats)_mm256_permutevar8x32_ps((__m256)v, (__m256i)places);
#endif
}

// A line in small steps: the gradients of its lattice points lie in order, y and z already multiplied by their
// offsets.
struct NearLine {
    const LineSetting& line;
    int first_cell;
    bool is_rising;
    alignas(64) float x[EDGES][MAX_LATTICE_POINTS + LANES];
    alignas(64) float y[EDGES][MAX_LATTICE_POINTS + LANES];
    alignas(64) float z[EDGES][MAX_LATTICE_POINTS + LANES];

    NearLine(const NoiseTables& tables, const LineSetting& setting, int low, int high, bool rising)
        : line(setting), first_cell(low), is_rising(rising) {
        const int lattice_points = high - low + 2;
        for (int e = 0; e < EDGES; ++e) {
            for (int m = 0; m < lattice_points; ++m) {
                const float* g = tables.corners + ((setting.row.base[e] + low + m) & 255) * NOISE_CORNER_FLOATS;
                x[e][m] = g[0];
                y[e][m] = g[1] * setting.y[e & 1];
                z[e][m] = g[2] * setting.z[e >> 1];
            }
            for (int m = lattice_points; m < lattice_points + LANES; ++m) x[e][m] = y[e][m] = z[e][m] = 0;
        }
    }

    Floats operator()(Floats position) const {
        const Floats floor_x = floor_of(position);
        const Ints cells = to_whole(floor_x) - first_cell;
        const int base = is_rising ? cells[0] : cells[LANES - 1];
        const Ints places = cells - base;
        const Floats fx = position - floor_x;
        EdgeValues values;
        for (int e = 0; e < EDGES; ++e) {
            const auto dot = [&](int at, Floats dx) {
                return permute(load(x[e] + at), places) * dx + permute(load(y[e] + at), places) +
                       permute(load(z[e] + at), places);
            };
            values.lower[e] = dot(base, fx);
            values.upper[e] = dot(base + 1, fx - 1.0F);
        }
        return blend(values, ease(fx), all<Floats>(line.v), all<Floats>(line.w));
    }
};

static inline bool is_near(float first, float last, double step) {
    const auto magnitude = [](double v) { return v < 0 ? -v : v; };
    return magnitude(step) <= MAX_NEAR_STEP && magnitude(first) < MAX_NEAR_POSITION &&
           magnitude(last) < MAX_NEAR_POSITION;
}

#endif

static inline void fill_line(const NoiseTables& tables, const float* x, float y, float z, double step, float* out,
                             int count, Octave octave) {
    if (count < 1) return;
    y = octave.scaled(y);
    z = octave.scaled(z);
    if ((y - y) + (z - z) != 0) {
        for (int i = 0; i < count; ++i) out[i] = octave.adds ? out[i] + 0.0F : 0.0F;
        return;
    }
    const LineSetting setting = set_line(tables, y, z);
#if defined(__AVX2__)
    const float first = octave.scaled(x[0]), last = octave.scaled(x[count - 1]);
    if (is_near(first, last, octave.f * step)) {
        const int first_cell = floor_of(first), last_cell = floor_of(last);
        const int low = first_cell < last_cell ? first_cell : last_cell;
        fill_line(NearLine(tables, setting, low, first_cell + last_cell - low, first <= last), x, out, count, octave);
        return;
    }
#endif
    (void)step;
    fill_line(FarLine{tables, setting}, x, out, count, octave);
}

static void line(const NoiseTables& tables, const float* x, float y, float z, double step, float* out, int count) {
    fill_line(tables, x, y, z, step, out, count, {1.0F, false});
}

static void add_line(const NoiseTables& tables, const float* x, float y, float z, double step, float f, float* sum,
                     int count) {
    fill_line(tables, x, y, z, step, sum, count, {f, true});
}

static void positions(double start, double step, int first, float* x, int count) {
    for (int i = 0; i < count; ++i) x[i] = static_cast<float>(start + (first + i) * step);
}

}  // namespace

const SolidNoiseKernels solid_noise_kernels = {points, add_points, line, add_line, positions};

}  // namespace QUILLON_SIMD
