// Pairs of pictures whose motion is known at every pixel. A texture is a function of the plane, so that a picture of it
// that was moved is as sharp as the other one: the first picture shows it at the place that a pixel moves to.
#pragma once

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "imagelib/imagelib.h"

struct MovingPair {
    std::string name;
    ImagePtr first, second;
    ImagePtr flow;  // true flow; x is NaN where the pixel has no counterpart
};

namespace moving {

struct Point {
    double x, y;
};
using Motion = std::function<Point(Point)>;

inline double lattice(int x, int y, unsigned seed) {
    unsigned h = unsigned(x) * 0x9E3779B1U ^ unsigned(y) * 0x85EBCA77U ^ seed * 0xC2B2AE3DU;
    h = (h ^ (h >> 15)) * 0x2C1B3C6DU;
    h = (h ^ (h >> 12)) * 0x297A2D39U;
    return double((h ^ (h >> 15)) >> 8) * 0x1p-24;
}

// Lattice noise joined by quintic curves.
inline double noise(double x, double y, unsigned seed) {
    const int ix = int(std::floor(x)), iy = int(std::floor(y));
    const auto eased = [](double t) { return t * t * t * (t * (t * 6 - 15) + 10); };
    const double fx = eased(x - ix), fy = eased(y - iy);
    const auto line = [&](int row) {
        const double a = lattice(ix, row, seed), b = lattice(ix + 1, row, seed);
        return a + (b - a) * fx;
    };
    const double a = line(iy), b = line(iy + 1);
    return a + (b - a) * fy;
}

// 0 to 1, detail from 48 down to 4 pixels.
inline double texture(Point p, unsigned seed) {
    double sum = 0, weights = 0, weight = 1;
    unsigned octave = 0;
    for (double size = 48; size > 3; size /= 2, weight *= 0.7, ++octave) {
        sum += weight * noise(p.x / size + 100, p.y / size + 100, seed + octave);
        weights += weight;
    }
    const double v = 0.5 + 1.8 * (sum / weights - 0.5);
    return v < 0 ? 0 : (v > 1 ? 1 : v);
}

inline ImagePtr grey_picture(int width, int height, const std::function<double(Point)>& value) {
    ImagePtr image = make_image(width, height, 1, SAMPLE_U8);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image_row<std::uint8_t>(image.get(), y)[x] = std::uint8_t(value({double(x), double(y)}) * 255 + 0.5);
    return image;
}

// Marks what leaves the picture as having no counterpart.
inline ImagePtr flow_of(int width, int height, const Motion& motion, const std::function<bool(Point)>& covered = {}) {
    ImagePtr flow = make_image(width, height, 2, SAMPLE_F32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const Point from = {double(x), double(y)}, to = motion(from);
            const bool gone =
                to.x < 0 || to.y < 0 || to.x > width - 1 || to.y > height - 1 || (covered && covered(from));
            float* out = image_row<float>(flow.get(), y) + 2 * x;
            out[0] = gone ? NAN : float(to.x - from.x);
            out[1] = float(to.y - from.y);
        }
    return flow;
}

inline MovingPair textured_pair(const std::string& name, int width, int height, const Motion& motion) {
    return {name, grey_picture(width, height, [&](Point p) { return texture(motion(p), 1); }),
            grey_picture(width, height, [&](Point p) { return texture(p, 1); }), flow_of(width, height, motion)};
}

inline Motion turned(int width, int height, double degrees, double zoom) {
    const double angle = degrees * 3.14159265358979 / 180, c = zoom * std::cos(angle), s = zoom * std::sin(angle);
    const Point centre = {(width - 1) / 2.0, (height - 1) / 2.0};
    return [=](Point p) {
        const double x = p.x - centre.x, y = p.y - centre.y;
        return Point{centre.x + c * x - s * y, centre.y + s * x + c * y};
    };
}

// A disc moves over a background that moves the other way.
struct DiscScene {
    Point behind = {-3.4, 1.3}, disc = {9.3, -4.6};  // pixels from the first picture to the second
    Point centre;
    double radius;
    DiscScene(int width, int height) : centre{width * 0.45, height * 0.52}, radius(height * 0.22) {}

    double cover(Point p, double time) const {
        const double d = radius - std::hypot(p.x - centre.x - time * disc.x, p.y - centre.y - time * disc.y) + 0.5;
        return d < 0 ? 0.0 : (d > 1 ? 1.0 : d);
    }
    double shown(Point p, double time) const {
        const double c = cover(p, time);
        return (1 - c) * texture({p.x - time * behind.x, p.y - time * behind.y}, 1) +
               c * texture({p.x - time * disc.x, p.y - time * disc.y}, 77);
    }
    bool on_disc(Point p) const { return cover(p, 0) > 0.5; }
    bool is_covered(Point p) const { return !on_disc(p) && cover({p.x + behind.x, p.y + behind.y}, 1) > 0; }
    Point moved(Point p) const {
        const Point step = on_disc(p) ? disc : behind;
        return {p.x + step.x, p.y + step.y};
    }
};

inline ImagePtr disc_picture(int width, int height, double time) {
    const DiscScene scene(width, height);
    return grey_picture(width, height, [&](Point p) { return scene.shown(p, time); });
}

inline MovingPair disc_pair(int width, int height) {
    const DiscScene scene(width, height);
    return {"disc", disc_picture(width, height, 0), disc_picture(width, height, 1),
            flow_of(
                width, height, [&](Point p) { return scene.moved(p); }, [&](Point p) { return scene.is_covered(p); })};
}

// A flat red disc jumps over leaves that stand still. On the mean it is as bright as they are, and it jumps by more
// than its own radius.
inline MovingPair jump_pair(int width, int height) {
    const Point jump = {width * 0.094, 0}, centre = {width * 0.47, height * 0.44};
    const double radius = height * 0.11;
    const auto cover = [=](Point p, double time) {
        const double d = radius - std::hypot(p.x - centre.x - time * jump.x, p.y - centre.y - time * jump.y) + 0.5;
        return d < 0 ? 0.0 : (d > 1 ? 1.0 : d);
    };
    const auto picture = [&](double time) {
        ImagePtr image = make_image(width, height, 3, SAMPLE_U8);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const Point p = {double(x), double(y)};
                const double c = cover(p, time), leaf = texture(p, 1), hue = texture({p.x * 1.3, p.y * 1.3}, 9);
                const double leaves[] = {180 * leaf * hue, 230 * leaf, 60 * leaf}, disc[] = {200, 40, 30};
                for (int n = 0; n < 3; ++n)
                    image_row<std::uint8_t>(image.get(), y)[3 * x + n] =
                        std::uint8_t(leaves[n] + c * (disc[n] - leaves[n]) + 0.5);
            }
        return image;
    };
    const auto moved = [&](Point p) { return cover(p, 0) > 0.5 ? Point{p.x + jump.x, p.y + jump.y} : p; };
    const auto covered = [&](Point p) { return !(cover(p, 0) > 0.5) && cover(p, 1) > 0; };
    return {"a disc that jumps", picture(0), picture(1), flow_of(width, height, moved, covered)};
}

inline std::vector<MovingPair> moving_pairs(int width = 640, int height = 360) {
    std::vector<MovingPair> pairs;
    pairs.push_back(textured_pair("translation", width, height, [](Point p) { return Point{p.x + 5.3, p.y - 2.7}; }));
    pairs.push_back(textured_pair("rotation by 5 degrees", width, height, turned(width, height, 5, 1)));
    pairs.push_back(textured_pair("zoom by 1.06", width, height, turned(width, height, 0, 1.06)));
    pairs.push_back(textured_pair("waves of 6 pixels", width, height, [](Point p) {
        return Point{p.x + 6 * std::sin(p.y * 0.06 + 0.4), p.y + 6 * std::sin(p.x * 0.05)};
    }));
    pairs.push_back(disc_pair(width, height));
    pairs.push_back(jump_pair(width, height));
    return pairs;
}

}  // namespace moving

// Mean distance in pixels from the true flow, where there is one.
inline double endpoint_error(const K7Image& flow, const K7Image& truth) {
    double sum = 0;
    long count = 0;
    for (int y = 0; y < truth.height; ++y)
        for (int x = 0; x < truth.width; ++x) {
            const float *found = image_row<float>(&flow, y) + 2 * x, *expected = image_row<float>(&truth, y) + 2 * x;
            if (std::isnan(expected[0])) continue;
            sum += std::hypot(double(found[0]) - expected[0], double(found[1]) - expected[1]);
            ++count;
        }
    return sum / double(count);
}
