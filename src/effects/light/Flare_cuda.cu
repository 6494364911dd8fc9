#include "effects/light/Flare_cuda.h"

#include "fftlib/fftlib_cuda.h"
#include "simdlib/elementary.h"

GPU_AND_CPU float flare_toned(const FlareTone& tone, float light) {
    const float scaled = light * tone.scale;
    float v = scaled > 0.0f ? scaled : 0.0f;
    if (tone.power != 1.0f)
        v = static_cast<float>(
            elementary::pow<elementary::Precision::FLOAT>(static_cast<double>(v), static_cast<double>(tone.power)));
    return v * tone.gain;
}
GPU_AND_CPU float flare_screened(float v, float under) {
    const float screened = v + under - v * under, above = screened > under ? screened : under;
    return above > v ? above : v;
}

// Added, with the alpha of what is underneath.
GPU_AND_CPU void flareToneMapKernel(GpuPlace at, GpuPixel* picture, const GpuPixel* under, const float* red,
                                    const float* green, const float* blue, FlareTone tone, int count) {
    if (at.x >= count) return;
    const GpuPixel below = under[at.x];
    picture[at.x] = {flare_toned(tone, red[at.x]) + below.c[0], flare_toned(tone, green[at.x]) + below.c[1],
                     flare_toned(tone, blue[at.x]) + below.c[2], below.c[3]};
}
GPU_AND_CPU void flareToneMapKernelScreen(GpuPlace at, GpuPixel* picture, const GpuPixel* under, const float* red,
                                          const float* green, const float* blue, FlareTone tone, int count) {
    if (at.x >= count) return;
    const GpuPixel below = under[at.x];
    picture[at.x] = {flare_screened(flare_toned(tone, red[at.x]), below.c[0]),
                     flare_screened(flare_toned(tone, green[at.x]), below.c[1]),
                     flare_screened(flare_toned(tone, blue[at.x]), below.c[2]), below.c[3]};
}

int cuda_flare_tone(DeviceImage& red, DeviceImage& green, DeviceImage& blue, const FlareTone& tone, DeviceImage& under,
                    DeviceImage& picture, GpuStream stream) {
    GpuOperation operation(stream);
    const auto* const r = operation.read<float>(red);
    const auto* const g = operation.read<float>(green);
    const auto* const b = operation.read<float>(blue);
    const auto* const below = operation.read<GpuPixel>(under);
    auto* const out = operation.write<GpuPixel>(picture);
    const int count = picture.width() * picture.height();
    operation.launch(tone.screen ? gpu_kernel<flareToneMapKernelScreen>() : gpu_kernel<flareToneMapKernel>(),
                     gpu_shape_of_line(count), out, below, r, g, b, tone, count);
    return operation.finish();
}

int cuda_flare(const LightMap& map, const FlareKernel& kernel, const FlareTone& tone, DeviceImage& under,
               DeviceImage& picture, GpuStream stream) {
    const FFTGeometry geometry =
        cuda_fft_geometry(map.width(), map.height(), kernel.planes[0]->width, kernel.planes[0]->height,
                          {map.lit.x0, map.lit.y0, map.lit.x1, map.lit.y1});
    if (!geometry.fits()) return GPU_NOT_LAUNCHED;
    const auto lights = [&](int c) { return host_part(map.planes[c].get(), geometry.lit()); };
    const auto glare = [&](int c) { return host_part(kernel.planes[c].get(), geometry.kernel()); };
    const HostPicture nowhere{nullptr, map.width(), map.height(), sizeof(float), 0};
    DeviceImage lit[] = {{lights(0), stream}, {lights(1), stream}, {lights(2), stream}};
    DeviceImage glares[] = {{glare(0), stream}, {glare(1), stream}, {glare(2), stream}};
    DeviceImage flares[] = {{nowhere, stream}, {nowhere, stream}, {nowhere, stream}};
    FFTProduct products[3];
    for (int c = 0; c < 3; ++c) products[c] = {{&lit[c]}, {&glares[c]}, {&flares[c]}};
    if (const int step = cuda_convolve(geometry, products, stream)) return step;
    return cuda_flare_tone(flares[0], flares[1], flares[2], tone, under, picture, stream);
}
