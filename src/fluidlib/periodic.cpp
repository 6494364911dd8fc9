// The periodic kind: diffusion and projection in the frequency domain.
#include <bit>
#include <numbers>

#include "fluidlib/fluid_work.h"
#include "k7pi_baselib/portable_math.h"

namespace {

bool is_transformable(const FluidGrid& grid) {
    return grid.width == grid.height && std::has_single_bit(unsigned(grid.width)) && grid.width >= 2 &&
           grid.width <= FFT_MAX_SIZE;
}

// The spectrum of a square, wave numbers in cycles a domain.
struct Spectrum {
    int size;

    double frequency(int k) const { return k < size / 2 ? k : k - size; }
    bool is_middle(int k) const { return 2 * k == size; }
    // What is left of a wave number's amplitude along one axis; the product of both axes' is that of the wave.
    bool falloffs(double amount, FluidArray<double>& of) const {
        of = make_fluid_array<double>(std::size_t(size));
        for (int k = 0; of && k < size; ++k) {
            const double wave = 2 * std::numbers::pi * frequency(k);
            of[std::size_t(k)] = k7_exp(-wave * wave * amount);
        }
        return of != nullptr;
    }
};

FFTComplex mix(double a, FFTComplex x, double b, FFTComplex y) {
    return {static_cast<float>(a * static_cast<double>(x.real) + b * static_cast<double>(y.real)),
            static_cast<float>(a * static_cast<double>(x.imaginary) + b * static_cast<double>(y.imaginary))};
}

bool have_spectrum(FluidArray<FFTComplex>& spectrum, std::size_t count) {
    if (!spectrum) spectrum = make_fluid_array<FFTComplex>(count);
    return spectrum != nullptr;
}

// The engine, set up so that the way there and back leaves a plane as it was. Null without memory.
FFTConvolver* transforms_of(std::unique_ptr<FFTConvolver>& engine, int size) {
    if (!engine) engine.reset(new (std::nothrow) FFTConvolver(FFT_OWN_ENGINE));
    if (engine) engine->set_scale(1, 1 / (static_cast<float>(size) * static_cast<float>(size)));
    return engine.get();
}

}  // namespace

bool FluidFlowCore::diffuse_periodic(ScalarField& field, float amount) {
    if (!is_transformable(field) || !have_spectrum(m_work->spectrum, field.size())) return false;
    const Spectrum waves{field.width};
    const int size = field.width;
    FluidArray<double> left;
    FFTConvolver* transforms = transforms_of(m_work->transforms, size);
    if (!transforms) return false;
    FFTComplex* spectrum = m_work->spectrum.get();
    if (!waves.falloffs(static_cast<double>(dt) * static_cast<double>(amount), left) ||
        !transforms->forward_2d(field.data.get(), spectrum, size))
        return false;
    for (int l = 0; l < size; ++l)
        for (int k = 0; k < size; ++k) {
            FFTComplex& wave = spectrum[field.index(k, l)];
            wave = mix(left[std::size_t(k)] * left[std::size_t(l)], wave, 0, {});
        }
    return transforms->inverse_2d(spectrum, field.data.get(), size);
}

namespace {

// Damps each wave and takes its part along the wave vector away. Where one number is the middle of the spectrum, which
// stands for both signs, the mixed term is imaginary in the result, and falls away.
void project_spectrum(const FluidGrid& grid, const FluidArray<double>& left, FFTComplex* u, FFTComplex* v) {
    const Spectrum waves{grid.width};
    for (int l = 0; l < grid.height; ++l)
        for (int k = 0; k < grid.width; ++k) {
            const double x = waves.frequency(k), y = waves.frequency(l), square = x * x + y * y;
            if (square == 0) continue;
            const double kept = left[std::size_t(k)] * left[std::size_t(l)];
            const double mixed = waves.is_middle(k) != waves.is_middle(l) ? 0 : -kept * x * y / square;
            FFTComplex &wave_u = u[grid.index(k, l)], &wave_v = v[grid.index(k, l)];
            const FFTComplex turned = mix(kept * (1 - x * x / square), wave_u, mixed, wave_v);
            wave_v = mix(kept * (1 - y * y / square), wave_v, mixed, wave_u);
            wave_u = turned;
        }
}

}  // namespace

bool FluidFlowCore::periodic_step() {
    if (!is_transformable(velocity)) return false;
    const std::size_t count = velocity.size();
    if (!have_spectrum(m_work->spectrum_u, count) || !have_spectrum(m_work->spectrum_v, count)) return false;
    accelerate();
    apply_walls(velocity);
    if (!advect_velocity(velocity, m_work->velocity_temp)) return false;
    std::swap(velocity.u, m_work->velocity_temp.u);
    std::swap(velocity.v, m_work->velocity_temp.v);
    apply_walls(velocity);

    const int size = velocity.width;
    FFTConvolver* transforms = transforms_of(m_work->transforms, size);
    if (!transforms) return false;
    FFTComplex *u = m_work->spectrum_u.get(), *v = m_work->spectrum_v.get();
    FluidArray<double> left;
    if (!Spectrum{size}.falloffs(static_cast<double>(dt) * static_cast<double>(viscosity), left) ||
        !transforms->forward_2d(velocity.u.get(), u, size) || !transforms->forward_2d(velocity.v.get(), v, size))
        return false;
    project_spectrum(velocity, left, u, v);
    if (!transforms->inverse_2d(u, velocity.u.get(), size) || !transforms->inverse_2d(v, velocity.v.get(), size))
        return false;
    apply_walls(velocity);
    return true;
}
