// Private: one entry of a random vector field's spectrum.
#pragma once

// The random numbers of an entry: three Gaussian amplitudes and three phases in radians.
struct WaveDraws {
    double amplitude[3], phase[3];
};

struct Wave {
    double real[3], imag[3];  // of the components u, v, w
};

// The weight of the tensor at a squared wave number: spectral energy over the surface of its sphere and its square.
double wave_weight(int k_squared, double energy);

// The entry at a wave vector, free of divergence. False when the tensor has no pivot; the entry is then zero.
bool make_wave(int x, int y, int z, double weight, const WaveDraws& draws, Wave& wave);
