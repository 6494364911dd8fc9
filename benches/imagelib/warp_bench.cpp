// Warps through a map of positions, bilinear: the pyramid (which also finds each pixel's footprint) against a plain
// remap without one.
#include <cmath>

#include "benches/support/bench.h"
#include "imagelib/imagelib_pyramid.h"

#ifdef QUILLON_RIVAL_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

// Ripples of a few pixels around a slight magnification: the footprint stays within a pixel, as in most warps. Above a
// zoom of 1 the source is shown several times, mirrored.
double folded(double v, double size) {
    const double turn = std::fabs(std::remainder(v, 2 * size));
    return 4 + turn * (size - 8) / size;
}

SharedImage ripple_map(double zoom) {
    SharedImage map = blank_frame(2);
    for (int y = 0; y < FRAME_HEIGHT; ++y) {
        float* row = image_row<float>(map.get(), y);
        for (int x = 0; x < FRAME_WIDTH; ++x) {
            row[2 * x] = float(folded(960 + (x - 960) * zoom + 4 * std::sin(y * 0.05 + x * 0.01), 1920));
            row[2 * x + 1] = float(folded(540 + (y - 540) * zoom + 4 * std::cos(x * 0.04), 1080));
        }
    }
    return map;
}

Bench::Factory warp(int kernel_type, double zoom) {
    return [=](int) -> Bench::Work {
        auto source = test_frame(), result = blank_frame(), map = ripple_map(zoom);
        auto pyramid = std::make_shared<ImagelibPyramid>(source.get(), 4, 0, true, true);
        pyramid->set_kernel(kernel_type, 0);
        return [=] { image_pyramid_warp(pyramid.get(), map.get(), result.get()); };
    };
}

const Bench bilinear("pyramid warp, bilinear", QUILLON, 2.5, warp(1, 0.9));
const Bench bilinear_reducing("pyramid warp, bilinear, 3x down", QUILLON, 0, warp(1, 3.0));
const Bench spline("pyramid warp, B-spline", QUILLON, 2.5, warp(4, 0.9));
const Bench spline_reducing("pyramid warp, B-spline, 3x down", QUILLON, 0, warp(4, 3.0));

const Bench build("pyramid, all levels", QUILLON, 0, [](int) {
    auto source = test_frame();
    return [=] { ImagelibPyramid(source.get(), 4, 1, true, true); };
});

#ifdef QUILLON_RIVAL_OPENCV
Bench::Factory remap_like(int interpolation, double zoom) {
    return [=](int) -> Bench::Work {
        auto source = test_frame(), result = blank_frame(), map = ripple_map(zoom);
        return [=] {
            const cv::Mat from(FRAME_HEIGHT, FRAME_WIDTH, CV_32FC4, source->pixels);
            const cv::Mat places(FRAME_HEIGHT, FRAME_WIDTH, CV_32FC2, map->pixels);
            cv::Mat to(FRAME_HEIGHT, FRAME_WIDTH, CV_32FC4, result->pixels);
            cv::remap(from, to, places, cv::Mat(), interpolation, cv::BORDER_REPLICATE);
        };
    };
}

const Bench remap_bilinear("pyramid warp, bilinear", "OpenCV remap", 2.5, remap_like(cv::INTER_LINEAR, 0.9));
const Bench remap_cubic("pyramid warp, B-spline", "OpenCV remap, cubic", 2.5, remap_like(cv::INTER_CUBIC, 0.9));
#endif

}  // namespace
