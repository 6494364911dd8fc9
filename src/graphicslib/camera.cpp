#include "graphicslib/camera.h"

#include <algorithm>
#include <cstdio>
#include <numbers>

#include "k7pi_baselib/portable_math.h"

namespace {

Matrix4 perspective(float x_scale, float y_scale, float near_depth, float far_depth) {
    const float depth = near_depth - far_depth;
    return {{{x_scale, 0, 0, 0},
             {0, y_scale, 0, 0},
             {0, 0, (far_depth + near_depth) / depth, -1},
             {0, 0, 2 * far_depth * near_depth / depth, 0}}};
}

}  // namespace

bool Camera::update_camera() {
    const bool usable = field_of_view > 0 && field_of_view < std::numbers::pi_v<float> && near_depth > 0 &&
                        far_depth > near_depth && width > 0 && height > 0 && pixel_aspect > 0;
    if (!usable) return false;
    if (auto_matrix) {
        rotation_matrix =
            Matrix4::rotation(0, rotation[0]) * Matrix4::rotation(1, rotation[1]) * Matrix4::rotation(2, rotation[2]);
        translation_matrix = Matrix4::translation(-position[0], -position[1], -position[2]);
    }
    Camera next = *this;
    next.m_half_width = width / 2;
    next.m_half_height = height / 2;
    next.m_inverse_aspect = 1 / (pixel_aspect * width / height);
    next.m_inverse_tangent = static_cast<float>(1 / k7_tan(double(field_of_view) / 2));
    next.m_view_matrix = translation_matrix * rotation_matrix;
    next.m_projection_matrix =
        perspective(next.m_inverse_tangent * next.m_inverse_aspect, next.m_inverse_tangent, near_depth, far_depth);
    next.m_pixel_mapping = Matrix4::scaling(next.m_half_width, next.m_half_height, 1) *
                           Matrix4::translation(next.m_half_width, next.m_half_height, 0);
    if (!invert(next.m_view_matrix, next.m_view_inverse) ||
        !invert(next.m_projection_matrix, next.m_projection_inverse) ||
        !invert(next.m_pixel_mapping, next.m_pixel_inverse))
        return false;
    next.m_combined = next.m_view_matrix * next.m_projection_matrix * next.m_pixel_mapping;
    // Directions take no translation along: the camera's turn alone leads back into the world.
    Matrix4 turn = next.m_view_inverse;
    for (int j = 0; j < 3; ++j) turn.m[3][j] = 0;
    next.m_ray_directions = next.m_pixel_inverse * next.m_projection_inverse * turn;
    *this = next;
    return true;
}

bool Camera::world_to_screen(const float point[3], float screen[3]) const {
    float result[4];
    transform_homogeneous(m_combined, point, result);
    const float depth = result[3];
    if (!(depth >= near_depth && depth <= far_depth)) return false;
    screen[0] = result[0] / depth;
    screen[1] = result[1] / depth;
    screen[2] = depth;
    return screen[0] >= 0 && screen[0] < width && screen[1] >= 0 && screen[1] < height;
}

void Camera::pixel_to_ray(float x, float y, float ray[3]) const {
    const float pixel[3] = {x, y, 1};
    float result[4];
    transform_homogeneous(m_ray_directions, pixel, result);
    std::copy_n(result, 3, ray);
}

void Camera::frustum_corners(float corners[8][3]) const {
    for (int i = 0; i < 8; ++i) {
        const float depth = i < 4 ? near_depth : far_depth;
        const float up = depth / m_inverse_tangent, right = up / m_inverse_aspect;
        const int k = i % 4;
        const float corner[3] = {k == 1 || k == 2 ? right : -right, k >= 2 ? up : -up, -depth};
        float placed[4];
        transform_homogeneous(m_view_inverse, corner, placed);
        std::copy_n(placed, 3, corners[i]);
        if (!debug) continue;
        if (k == 0) std::printf(i == 0 ? "\nWSF Corners Near: \n" : "\nWSF Corners Far: \n");
        std::printf("[%f,%f,%f] ", double(placed[0]), double(placed[1]), double(placed[2]));
    }
}

void Camera::frustum_planes(Plane planes[6]) const {
    float corners[8][3], centre[3] = {};
    frustum_corners(corners);
    for (const auto& corner : corners)
        for (int i = 0; i < 3; ++i) centre[i] += corner[i] / 8;
    static constexpr int FACES[6][3] = {{0, 1, 2}, {4, 5, 6}, {0, 3, 7}, {1, 2, 6}, {0, 1, 5}, {3, 2, 6}};
    for (int face = 0; face < 6; ++face) {
        const auto& [a, b, c] = FACES[face];
        Plane& plane = planes[face];
        plane_through(corners[a], corners[b], corners[c], plane);
        if (plane.distance(centre) >= 0) continue;
        for (float& value : plane.normal) value = -value;
        plane.offset = -plane.offset;
    }
}

void Camera::frustum_bounds(float low[3], float high[3]) const {
    float corners[8][3];
    frustum_corners(corners);
    for (int i = 0; i < 3; ++i) {
        low[i] = high[i] = corners[0][i];
        for (const auto& corner : corners) {
            low[i] = std::min(low[i], corner[i]);
            high[i] = std::max(high[i], corner[i]);
        }
    }
}
