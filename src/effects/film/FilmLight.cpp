#include "effects/film/FilmLight.h"

#include "k7pi_baselib/cpu.h"

const FilmLightKernels& film_light_kernels() {
    return cpu_select(baseline::film_light_kernels, avx2::film_light_kernels, avx512::film_light_kernels);
}
