#include "effects/engines/particles/Forces.h"

void particles::Swirl::read(const SolidNoise& noise, const FrameShape& frame, int time, float* x, float* y,
                            int count) const {
    if (count <= 0) return;
    float u[ABREAST], v[ABREAST], w[ABREAST];
    const float z = density * static_cast<float>(time) / 25;
    for (int i = 0; i < count; ++i) {
        u[i] = density * x[i] / frame.width;
        v[i] = density * y[i] / frame.height;
        w[i] = z;
    }
    noise.noise_row(u, v, w, x, count);
    for (int i = 0; i < count; ++i) {
        u[i] += 3.14f;
        v[i] += 2.71f;
        w[i] += 4.35f;
    }
    noise.noise_row(u, v, w, y, count);
}
