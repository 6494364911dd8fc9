#include "effects/engines/particles/Obstacles.h"

#include <algorithm>
#include <cmath>

#include "Library2/Made.h"
#include "effects/engines/particles/Mattes.h"
#include "imagelib/imagelib_distance.h"
#include "k7pi_baselib/rows.h"

namespace particles {

namespace {

constexpr int STEP = 2;         // pixels to one of the distances
constexpr float TOUCH = 0.5f;   // pixels from the edge at which a particle has hit it
constexpr float PUSH = 4.0f;    // pixels a frame that one inside is moved towards the edge
constexpr int MOST_LOOKS = 48;  // on the way of one frame

// Turns a velocity at a surface.
void reflect(float velocity[2], const float normal[2], const Obstacles::Surface& surface) {
    const float against = velocity[0] * normal[0] + velocity[1] * normal[1];
    if (against >= 0) return;
    float back = -against * surface.restitution;
    if (back < surface.rest) back = 0;
    for (int i = 0; i < 2; ++i)
        velocity[i] = (velocity[i] - against * normal[i]) * (1 - surface.friction) + back * normal[i];
}

}  // namespace

void Obstacles::begin(const K7Image& frame) {
    m_width = frame.width;
    m_height = frame.height;
    m_aspect = frame.pixel_aspect > 0 ? frame.pixel_aspect : 1;
    m_fingerprint = 0;
}

void Obstacles::add(const K7Image& picture) {
    const int width = std::max(picture.width / STEP, 1), height = std::max(picture.height / STEP, 1);
    const ImagePtr mask = made(make_image_uncleared(width, height, 1, SAMPLE_F32));
    for_rows_float(height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* below = image_row<float>(&picture, y * STEP);
            const float* above = image_row<float>(&picture, std::min(y * STEP + 1, picture.height - 1));
            float* row = image_row<float>(mask.get(), y);
            for (int x = 0; x < width; ++x) {
                const long left = 4L * x * STEP, right = 4L * std::min(x * STEP + 1, picture.width - 1);
                const auto four = [&](int c) {
                    return below[left + c] + below[right + c] + above[left + c] + above[right + c];
                };
                row[x] = 0.25f * (0.3f * four(0) + 0.5f * four(1) + 0.2f * four(2)) >= 0.5f ? 1.0f : 0.0f;
            }
        }
    });
    m_fingerprint = matte_fingerprint(mask.get());
    m_distance = made(make_image_uncleared(width, height, 1, SAMPLE_F32));
    made(image_signed_distance(mask.get(), 0, 0.5f, m_distance.get()));
}

float Obstacles::distance(float x, float y) const {
    const float u = std::clamp(x / STEP - 0.5f, 0.0f, static_cast<float>(m_distance->width - 1));
    const float v = std::clamp(y / STEP - 0.5f, 0.0f, static_cast<float>(m_distance->height - 1));
    const int column = static_cast<int>(u), row = static_cast<int>(v);
    const int right = std::min(column + 1, m_distance->width - 1), above = std::min(row + 1, m_distance->height - 1);
    const float tx = u - static_cast<float>(column), ty = v - static_cast<float>(row);
    const float *a = image_row<float>(m_distance.get(), row), *b = image_row<float>(m_distance.get(), above);
    return STEP * ((1 - ty) * ((1 - tx) * a[column] + tx * a[right]) + ty * ((1 - tx) * b[column] + tx * b[right]));
}

// Out of the solid, in pixel widths, of length 1, or 0 where there is no way out.
void Obstacles::normal(float x, float y, float out[2]) const {
    out[0] = distance(x + STEP, y) - distance(x - STEP, y);
    out[1] = (distance(x, y + STEP) - distance(x, y - STEP)) * m_aspect;
    const float length = std::sqrt(out[0] * out[0] + out[1] * out[1]);
    for (int i = 0; i < 2; ++i) out[i] = length > 1e-6f ? out[i] / length : 0;
}

void Obstacles::offSolid(float position[2], float velocity[2], const Surface& surface) const {
    const float x = position[0], y = position[1] * m_aspect, vx = velocity[0], vy = velocity[1] * m_aspect;
    const float way = std::sqrt(vx * vx + vy * vy);
    float here = distance(x, y), n[2];
    if (here < 0) {  // it was born inside, or the matte has moved over it
        normal(x, y, n);
        reflect(velocity, n, surface);
        const float out = std::min(TOUCH - here, PUSH);
        for (int i = 0; i < 2; ++i) position[i] += out * n[i];
        return;
    }
    float t = 0;
    for (int look = 0; look < MOST_LOOKS && here > TOUCH; ++look) {
        t += std::max(here - 0.5f * TOUCH, TOUCH) / std::max(way, 1e-6f);
        if (t >= 1) return;
        here = distance(x + vx * t, y + vy * t);
    }
    normal(x + vx * t, y + vy * t, n);
    if (velocity[0] * n[0] + velocity[1] * n[1] >= 0) return;
    const float hit[2] = {position[0] + velocity[0] * t, position[1] + velocity[1] * t};
    reflect(velocity, n, surface);
    const float left = 1 - t;
    const bool free = distance((hit[0] + velocity[0] * left), (hit[1] + velocity[1] * left) * m_aspect) >= 0;
    for (int i = 0; i < 2; ++i) position[i] = hit[i] + (free ? velocity[i] * left : 0) - velocity[i];
}

// Who is beyond a wall has flown in from there, and is let in.
void Obstacles::offWalls(float position[2], float velocity[2], const Surface& surface) const {
    const float size[2] = {m_width, m_height / m_aspect};
    for (int axis = 0; axis < 2; ++axis)
        for (const bool upper : {false, true}) {
            if (surface.walls == FLOOR && (axis == 0 || upper)) continue;
            const float inside = upper ? size[axis] - position[axis] : position[axis];
            const float towards = upper ? velocity[axis] : -velocity[axis];
            if (!(inside >= 0 && towards > inside)) continue;
            const float t = inside / towards;
            float n[2] = {};
            n[axis] = upper ? -1.0f : 1.0f;
            const float hit[2] = {position[0] + velocity[0] * t, position[1] + velocity[1] * t};
            reflect(velocity, n, surface);
            for (int i = 0; i < 2; ++i) position[i] = hit[i] + velocity[i] * (1 - t) - velocity[i];
        }
}

void Obstacles::bounce(float position[2], float velocity[2], const Surface& surface) const {
    constexpr float FAR = 1e6f;
    for (int i = 0; i < 2; ++i)
        if (!(std::fabs(position[i]) < FAR && std::fabs(velocity[i]) < FAR)) return;
    const bool above_frame = position[0] > -64 && position[0] < m_width + 64 && position[1] * m_aspect > -64 &&
                             position[1] * m_aspect < m_height + 64;
    if (m_distance && above_frame) offSolid(position, velocity, surface);
    if (surface.walls != NONE) offWalls(position, velocity, surface);
}

}  // namespace particles
