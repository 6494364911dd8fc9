// A plane seen in perspective: projective maps between it and the picture.
#pragma once

#include <array>

// (x, y, 1) to (x', y', w), row by row; identity by default.
struct PlaneMap {
    std::array<float, 9> rows = {1, 0, 0, 0, 1, 0, 0, 0, 1};

    // Divided by w unless that is about 0; z is divided too.
    struct Place {
        float x, y, z, w;
    };
    Place at(float x, float y, float z = 0.0f) const {
        constexpr float SMALLEST = 1e-10f;
        const float w = rows[6] * x + rows[7] * y + rows[8];
        const float scale = (w < 0 ? -w : w) > SMALLEST ? 1.0f / w : 1.0f;
        return {(rows[0] * x + rows[1] * y + rows[2]) * scale, (rows[3] * x + rows[4] * y + rows[5]) * scale, z * scale,
                w};
    }
};

// Both ways between the rectangle (0, 0) to (1, height) and a quad of the picture: lower left, upper left, upper right,
// lower right corner as x, y pairs. Behind the horizon w is below 0. A quad without an area gets the nearest map
// in the sense of least squares; one that is not finite, identities.
struct PlaneView {
    PlaneMap to_picture, to_plane;

    PlaneView() = default;
    PlaneView(const std::array<float, 8>& quad, float height);
};
