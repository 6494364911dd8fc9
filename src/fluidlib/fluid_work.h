// Private to the fluid: memory, rows, and the scratch of a solver.
#pragma once

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>

#include "fftlib/fftlib.h"
#include "fluidlib/fluidlib.h"
#include "fluidlib/pressure.h"
#include "fluidlib/trace_simd.h"
#include "k7pi_baselib/k7pi_baselib.h"

// ---- Memory -------------------------------------------------------------------------------------------------------

struct FreeFluidMemory {
    void operator()(void* block) const { k7_aligned_free(block, true); }
};
template <class T>
using FluidArray = std::unique_ptr<T[], FreeFluidMemory>;

// Not cleared; null when there is no memory.
template <class T>
FluidArray<T> make_fluid_array(std::size_t count) {
    if (count > std::numeric_limits<int>::max() / sizeof(T)) return nullptr;
    return FluidArray<T>(static_cast<T*>(k7_aligned_malloc_uncleared(count * sizeof(T), 0, true)));
}

// A block made when it is first needed. False when there is no memory for it.
inline bool have_block(FluidBlock& block, std::size_t cells) {
    if (!block) block = make_fluid_block(cells);
    return block != nullptr;
}

// ---- Numbers ------------------------------------------------------------------------------------------------------

// What is not a number counts as 0.
inline float finite_within(float value, float limit) {
    if (!(value == value)) return 0;
    return std::clamp(value, -limit, limit);
}
// A setting: what is not a number counts as the lowest value.
inline float setting_within(float value, float low, float high) { return value > low ? std::min(value, high) : low; }

// ---- Grids ---------------------------------------------------------------------------------------------------------

// Where the cells of a grid stand in another's: cell i at offset + i * step.
struct FluidMapping {
    float offset, step;

    FluidMapping(int kind, int cells, int others) : step(static_cast<float>(others) / static_cast<float>(cells)) {
        offset = kind == FLUID_BOUNDED ? 1 - step : 0.5F * step - 0.5F;
    }
    float operator()(int cell) const { return offset + static_cast<float>(cell) * step; }
};

// ---- Ghost cells ---------------------------------------------------------------------------------------------------

// Of a bounded grid; nothing in a periodic one.
void set_scalar_boundary(const FluidGrid& grid, float* cells);
void set_corners(const FluidGrid& grid, float* cells);

// ---- Rows ---------------------------------------------------------------------------------------------------------

struct FluidRows {
    RowRunner runner;
    const StopRequested* stop;

    // Calls work(first, last) for bands of rows, from several threads where `parallel`. False when an end was asked
    // for.
    template <class Work>
    bool for_rows(std::size_t rows, bool parallel, Work&& work) const {
        std::atomic<bool> stopped{false};
        const auto bands = [&](int first, int last) {
            for (int band = first; band <= last; band += BAND) {
                if (wants_end(*stop)) stopped = true;
                if (stopped) return;
                work(band, std::min(band + BAND - 1, last));
            }
        };
        (parallel ? runner : RowRunner{})(static_cast<int>(rows), bands);
        return !stopped;
    }

    static constexpr int BAND = 16;
};

// ---- Scratch ------------------------------------------------------------------------------------------------------

struct FluidFlowCore::Work {
    explicit Work(const FluidFlowCore& flow)
        : velocity_temp(flow.velocity.kind, flow.velocity.width, flow.velocity.height) {}

    VectorField velocity_temp;
    FluidArray<float> tiles;                   // FluidTiles
    FluidBlock temp_a, temp_b;                 // cells of the velocity grid
    FluidBlock density_temp;                   // cells of the density grid
    FluidBlock carried[FLUID_MAX_FIELDS + 2];  // fields after advection: all are carried along the same paths
    FluidArray<unsigned char> solid;           // cells of the velocity grid; null without obstacles
    FluidPressure pressure;
    std::unique_ptr<FFTConvolver> transforms;  // of the periodic kind
    FluidArray<FFTComplex> spectrum_u, spectrum_v, spectrum;
};

// A field on its way through a step.
struct FluidFlowCore::Carried {
    ScalarField* field;
    const ScalarField* source;
    float diffusion, dissipation;
    FluidBlock* scratch;

    // Of what the carrying gives. What is diffused is divided after the blur.
    float divisor(float dt) const { return diffusion > 0 && !field->no_diffuse ? 1.0F : dt * dissipation + 1; }
};
