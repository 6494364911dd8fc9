// Random vector fields in periodic space with the energy spectrum of turbulence, still and moving.
//
// Kolmogorov-type synthesis: Gaussian amplitudes for every wave vector of a grid, coloured by the spectrum, made free
// of divergence and transformed to space. After J. Stam, E. Fiume, "Turbulent Wind Fields for Gaseous Phenomena",
// SIGGRAPH 1993; the spectrum is this program's own. The waves are mirrored in x and in y, not conjugated, so that
// every field is even along both: u(-x, y, z) = u(x, y, z).
//
// Nothing here throws: exhausted memory shows in the result. Fields may be sampled from several threads at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "noiselib/mtrandom.h"

struct KrvfVector {
    double u, v, w;
};

// Returns memory to the pool that work images come from: fields are rebuilt often and are large.
struct FreeKrvfBlock {
    void operator()(void* block) const;
};
template <class T>
using KrvfBlock = std::unique_ptr<T[], FreeKrvfBlock>;

class KRVF {
  public:
    struct Statistics {
        double min_u, max_u, min_v, max_v, min_w, max_w;
        double min_length, max_length, mean_length;
        double mean_u, mean_v, mean_w;
    };

    KRVF() = default;
    virtual ~KRVF() = default;

    // A field on a grid of 2n points an axis, from the waves whose number exceeds k_min. False without any change when
    // n is no power of two from 2 to 256 or k_min is below 1, and with an empty field when memory fails. Rows are
    // shared between threads through the dispatcher of the image library.
    bool generate(int32_t new_seed, int n, double new_k_min, double new_energy);

    // The field at a point of the unit cube, which repeats in all directions; interpolated. Coordinates that are not
    // finite count as 0. An empty field answers zeros and false.
    bool sample(double x, double y, double z, double* u, double* v, double* w) const;

    // Makes this the same field as another. False, and empty, when memory fails.
    bool copy_from(const KRVF& other);

    int grid_edge() const { return grid; }  // 2n, 0 for an empty field
    const Statistics& statistics() const { return figures; }
    uint32_t degenerate_waves() const { return degenerate_count; }  // waves whose tensor had no pivot

  private:
    void collect_statistics();
    std::size_t stored_edge() const { return static_cast<std::size_t>(half_grid) + 1; }

    double k_min = 4.0;
    double energy = 1.0;
    int32_t seed = -1;
    uint32_t degenerate_count = 0;
    int grid = 0;
    int half_grid = 0;
    // The points x and y from 0 to n and z from 0 to 2n - 1, at ((n + 1) z + x) (n + 1) + y. The others mirror them.
    KrvfBlock<KrvfVector> field;
    Statistics figures = {};
};

// A field that moves: keyframes at whole times, blended in between. Time goes forward by one keyframe whatever the
// jump, so that repeatable results need a caller that advances it in order.
class KRVFT {
  public:
    KRVFT() = default;
    virtual ~KRVFT() = default;

    // Builds the keyframes at the time, truncated, and after it. 1, or 0 when that failed.
    int init(double time, int32_t new_seed, int n, double new_k_min, double new_energy);

    // 1, or 0 with zeros when memory failed or there is no field. A time that is not a number reads as the current one.
    int sample(double x, double y, double z, double time, double* u, double* v, double* w);

    // Makes this go on as another will. False without memory: it then has no field.
    bool copy_from(const KRVFT& other);

  private:
    bool generate_from_next_word(KRVF& keyframe);

    std::unique_ptr<KRVF> field_a, field_b;
    int32_t current_time = 0;
    int half_grid = 0;
    double k_min = 4.0;
    double energy = 1.0;
    int32_t seed = -1;
    MTRandom random{0};
};
