// Refraction through a surface, pixel by pixel in doubles, for any function of heights.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "effects/engines/refraction/Refraction.h"
#include "imagelib/imagelib_pyramid.h"
#include "imagelib/imagelib_resample.h"
#include "support/effect_shot.h"

struct SightLines {
    int width, height;
    double index;
    bool axial;
    std::function<double(int, int)> surface;  // heights at pixels of the picture

    double at_edge(int x, int y) const { return surface(std::clamp(x, 0, width - 1), std::clamp(y, 0, height - 1)); }

    std::array<double, 3> normal(int x, int y) const {
        const double dx = 1.0 / (width - 1), dy = 1.0 / (height - 1);
        const double a = at_edge(x + 1, y + 1) - at_edge(x - 1, y - 1);
        const double b = at_edge(x - 1, y + 1) - at_edge(x + 1, y - 1);
        std::array<double, 3> n = {(b - a) * dy, -(a + b) * dx, 2 * dx * dy};
        if (axial) {
            n[0] -= (at_edge(x + 1, y) - at_edge(x - 1, y)) * dy;
            n[1] -= (at_edge(x, y + 1) - at_edge(x, y - 1)) * dx;
            n[2] += dx * dy;
        }
        const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        for (double& component : n) component /= length;
        return n;
    }
    // Where the line of sight arrives from `raised` above the surface, the row one less.
    std::array<double, 2> place(int x, int y, double raised) const {
        const auto n = normal(x, y);
        const double k = n[2] * n[2] + index * index - 1, m = k >= 0 ? n[2] - std::sqrt(k) : 1;
        const double tz = (n[2] * m - 1) / index, g = surface(x, y) + raised;
        return {(g * (n[0] * m / index) / tz + x / (width - 1.0)) * (width - 1),
                (g * (n[1] * m / index) / tz + y / (height - 1.0)) * (height - 1) - 1};
    }
    // What is seen there of a picture.
    std::array<float, 4> seen(const ImagelibPyramid& pyramid, int x, int y, double raised = 0) const {
        const auto p = [&](int i, int j) { return place(i, j, raised); };
        const auto u = std::minmax({p(x, y)[0], p(x - 1, y)[0], p(x, y + 1)[0], p(x - 1, y + 1)[0]});
        const auto v = std::minmax({p(x, y)[1], p(x + 1, y)[1], p(x, y + 1)[1], p(x + 1, y + 1)[1]});
        std::array<float, 4> out;
        pyramid.sample_pixel(float((u.first + u.second) / 2 + 0.5), float((v.first + v.second) / 2 + 0.5),
                             float((u.second - u.first) * (v.second - v.first)), out.data(), 4);
        return out;
    }
    // Blinn's highlight of a light over the whole picture.
    double highlight(int x, int y, double light_x, double light_y, double light_z, double gloss) const {
        const auto n = normal(x, y);
        double l[3] = {light_x - 0.5, light_y - 0.5, light_z};
        const double far = std::sqrt(l[0] * l[0] + l[1] * l[1] + l[2] * l[2]);
        for (double& component : l) component /= far;
        const double h[3] = {x / (width - 1.0) - 0.5 + l[0], y / (height - 1.0) - 0.5 + l[1], l[2] + 1};
        const double length = std::sqrt(h[0] * h[0] + h[1] * h[1] + h[2] * h[2]);
        return std::pow(std::max((h[0] * n[0] + h[1] * n[1] + h[2] * n[2]) / length, 0.0), gloss);
    }
};

inline std::unique_ptr<ImagelibPyramid> pyramid_of(const K7Image& picture, int edge = EDGE_CLAMP) {
    auto pyramid = std::make_unique<ImagelibPyramid>(&picture, KERNEL_BSPLINE, edge, true, true);
    pyramid->set_kernel(KERNEL_TRIANGLE, edge);
    return pyramid;
}

inline ImagePtr smooth_picture(int width = 96, int height = 70) {
    return picture(width, height, [](int x, int y, int c) {
        return 0.5f + 0.4f * float(std::sin(0.21 * x + 0.5 * c) * std::cos(0.17 * y - c));
    });
}
