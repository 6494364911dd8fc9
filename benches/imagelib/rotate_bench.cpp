// Rotation by 13 degrees against OpenCV's bilinear one.
#include <string>
#include "benches/support/bench.h"
#include "imagelib/imagelib_resample.h"

#ifdef QUILLON_RIVAL_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr float DEGREES = 13;

const Bench turn("rotate 13 degrees", QUILLON, 2.5, [](int) {
    auto source = test_frame();
    return [=] { image_destroy(image_rotate(source.get(), DEGREES, KERNEL_BSPLINE, EDGE_BLACK)); };
});

#ifdef QUILLON_RIVAL_OPENCV
const Bench opencv("rotate 13 degrees", "OpenCV", 2.5, [](int) {
    auto source = test_frame();
    const ImagePtr ours(image_rotate(source.get(), DEGREES, KERNEL_BSPLINE, EDGE_BLACK));
    auto result = blank_frame(4, SAMPLE_F32, ours->width, ours->height);
    return [=] {
        const cv::Mat in(source->height, source->width, CV_32FC4, source->pixels);
        cv::Mat out(result->height, result->width, CV_32FC4, result->pixels);
        cv::Mat matrix = cv::getRotationMatrix2D({FRAME_WIDTH / 2.0f, FRAME_HEIGHT / 2.0f}, DEGREES, 1);
        matrix.at<double>(0, 2) += (result->width - FRAME_WIDTH) / 2.0;
        matrix.at<double>(1, 2) += (result->height - FRAME_HEIGHT) / 2.0;
        cv::warpAffine(in, out, matrix, out.size(), cv::INTER_LINEAR, cv::BORDER_CONSTANT);
    };
});
#endif

}  // namespace
