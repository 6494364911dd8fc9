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

// Where on its way a particle hits the solid, in frames; `most` where it does not before.
float Obstacles::untilSolid(const float position[2], const float velocity[2], float most) const {
    const float x = position[0], y = position[1] * m_aspect, vx = velocity[0], vy = velocity[1] * m_aspect;
    const float per_pixel = 1 / std::max(std::sqrt(vx * vx + vy * vy), 1e-6f);
    float t = 0;
    for (int look = 0; look < MOST_LOOKS && t < most; ++look) {
        const float px = x + vx * t, py = y + vy * t, here = distance(px, py);
        if (here <= TOUCH) {
            float n[2];
            normal(px, py, n);
            if (velocity[0] * n[0] + velocity[1] * n[1] < 0) return t;
        }
        t += std::max(here - 0.5f * TOUCH, TOUCH) * per_pixel;
    }
    return most;
}

// Where it hits a wall, which it leaves on its inside. Who is beyond a wall has flown in from there, and is let in.
float Obstacles::untilWall(const float position[2], const float velocity[2], Walls walls, float out[2],
                           float most) const {
    const float size[2] = {m_width, m_height / m_aspect};
    for (int axis = 0; axis < 2; ++axis)
        for (const bool upper : {false, true}) {
            if (walls == NONE || (walls == FLOOR && (axis == 0 || upper))) continue;
            const float inside = upper ? size[axis] - position[axis] : position[axis];
            const float towards = upper ? velocity[axis] : -velocity[axis];
            if (!(inside >= 0 && towards * most > inside)) continue;
            most = inside / towards;
            out[axis] = upper ? -1.0f : 1.0f, out[1 - axis] = 0;
        }
    return most;
}

// Out of the solid that it was born in, or that has moved over it.
void Obstacles::pushOut(float position[2], float velocity[2], const Surface& surface) const {
    const float here = distance(position[0], position[1] * m_aspect);
    if (here >= 0) return;
    float n[2];
    normal(position[0], position[1] * m_aspect, n);
    reflect(velocity, n, surface);
    const float out = std::min(TOUCH - here, PUSH);
    for (int i = 0; i < 2; ++i) position[i] += out * n[i];
}

void Obstacles::bounce(float position[2], float velocity[2], const Surface& surface) const {
    constexpr float FAR = 1e6f, MARGIN = 64;  // pixels
    constexpr int MOST_HITS = 4;              // in a frame; then it stays where it is
    for (int i = 0; i < 2; ++i)
        if (!(std::fabs(position[i]) < FAR && std::fabs(velocity[i]) < FAR)) return;
    const float size[2] = {m_width, m_height / m_aspect};
    const auto near = [&](int i) { return position[i] > -MARGIN && position[i] < size[i] + MARGIN; };
    const bool solid = m_distance && near(0) && near(1);
    if (solid) pushOut(position, velocity, surface);
    float left = 1;
    for (int hit = 0; hit < MOST_HITS; ++hit) {
        float n[2] = {};
        const float wall = untilWall(position, velocity, surface.walls, n, left);
        const float t = solid ? untilSolid(position, velocity, wall) : wall;
        if (!(t < left)) {
            if (hit == 0) return;
            break;
        }
        for (int i = 0; i < 2; ++i) position[i] += velocity[i] * t;
        if (t < wall)
            normal(position[0], position[1] * m_aspect, n);
        else
            for (int i = 0; i < 2; ++i)
                if (n[i] != 0) position[i] = n[i] > 0 ? 0 : size[i];
        reflect(velocity, n, surface);
        left = hit + 1 < MOST_HITS ? left - t : 0;
    }
    for (int i = 0; i < 2; ++i) position[i] += velocity[i] * left - velocity[i];
}

}  // namespace particles
