// Private: one entry of a random vector field's spectrum.
#pragma once

struct Wave {
    double real[3], imag[3];  // of its three random numbers, or of the components u, v, w
};

// The weight of the tensor at a squared wave number: spectral energy over the surface of its sphere and its square.
double wave_weight(int k_squared, double energy);

// Turns the random numbers of a wave vector into its entry, which is free of divergence. False when the tensor has no
// pivot; the entry is then zero.
bool make_wave(int x, int y, int z, double weight, Wave& wave);
