// Enlarging and reducing by 2 against the resamplers of OpenCV and zimg.
#include <string>
#include "benches/support/bench.h"
#include "imagelib/imagelib_resample.h"

#ifdef QUILLON_RIVAL_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

struct Size {
    int width, height;
};
constexpr Size DOUBLE{2 * FRAME_WIDTH, 2 * FRAME_HEIGHT}, HALF{FRAME_WIDTH / 2, FRAME_HEIGHT / 2};

Bench::Factory ours(Size size, int kernel) {
    return [=](int) -> Bench::Work {
        auto source = test_frame(), result = blank_frame(4, SAMPLE_F32, size.width, size.height);
        return [=] { image_scale(source.get(), result.get(), kernel, false); };
    };
}
const Bench up_cubic("scale up 2x, cubic", QUILLON, 5, ours(DOUBLE, KERNEL_CUBIC));
const Bench up_lanczos("scale up 2x, Lanczos", QUILLON, 5, ours(DOUBLE, KERNEL_LANCZOS));
const Bench down_cubic("scale down 2x, cubic", QUILLON, 1.25, ours(HALF, KERNEL_CUBIC));
const Bench down_lanczos("scale down 2x, Lanczos", QUILLON, 1.25, ours(HALF, KERNEL_LANCZOS));

#ifdef QUILLON_RIVAL_OPENCV
Bench::Factory opencv(Size size, int method) {
    return [=](int) -> Bench::Work {
        auto source = test_frame(), result = blank_frame(4, SAMPLE_F32, size.width, size.height);
        return [=] {
            const cv::Mat in(source->height, source->width, CV_32FC4, source->pixels);
            cv::Mat out(size.height, size.width, CV_32FC4, result->pixels);
            cv::resize(in, out, out.size(), 0, 0, method);
        };
    };
}
const Bench cv_up_cubic("scale up 2x, cubic", "OpenCV", 5, opencv(DOUBLE, cv::INTER_CUBIC));
const Bench cv_up_lanczos("scale up 2x, Lanczos", "OpenCV", 5, opencv(DOUBLE, cv::INTER_LANCZOS4));
const Bench cv_down_cubic("scale down 2x, cubic", "OpenCV", 1.25, opencv(HALF, cv::INTER_CUBIC));
const Bench cv_down_lanczos("scale down 2x, Lanczos", "OpenCV", 1.25, opencv(HALF, cv::INTER_LANCZOS4));
#endif

}  // namespace
