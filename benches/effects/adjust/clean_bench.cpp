// Clean and RemGrain against medians of other libraries.
//
// The rivals for floats: OpenCV's 5x5 (its largest) and CImg's, both on one thread (CImg spreads its rows by OpenMP,
// which this program is built without). OpenCV's 8-bit median finds an 8-bit answer; it is a mark, not an equal.
#include "effects/adjust/Clean.h"

#include "benches/support/bench.h"
#include "effects/adjust/RemGrain.h"

#ifdef QUILLON_RIVAL_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

#if __has_include(<CImg.h>)
#define cimg_display 0  // no windows, and no X11 to link
#include <CImg.h>
#define QUILLON_RIVAL_CIMG
#endif

namespace {

Bench::Factory clean(int radius) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<Clean>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        effect->XRad.value = radius;
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench clean_1("median 3x3", QUILLON, 2, clean(1));
const Bench clean_2("median 5x5", QUILLON, 2, clean(2));
const Bench clean_3("median 7x7", QUILLON, 2, clean(3));
const Bench clean_4("median 9x9", QUILLON, 2, clean(4));
const Bench clean_5("median 11x11", QUILLON, 2, clean(5));
const Bench clean_10("median 21x21", QUILLON, 2, clean(10));
const Bench clean_40("median 81x81", QUILLON, 2, clean(40));
const Bench clean_80("median 161x161", QUILLON, 2, clean(80));

#ifdef QUILLON_RIVAL_OPENCV
template <int SAMPLE, int TYPE>
Bench::Factory opencv(int size) {
    return [=](int threads) -> Bench::Work {
        cv::setNumThreads(threads);
        auto source = test_frame(4, SAMPLE), result = blank_frame(4, SAMPLE);
        return [=] {
            const cv::Mat from(FRAME_HEIGHT, FRAME_WIDTH, TYPE, source->pixels);
            cv::Mat to(FRAME_HEIGHT, FRAME_WIDTH, TYPE, result->pixels);
            cv::medianBlur(from, to, size);
        };
    };
}
const Bench opencv_3("median 3x3", "OpenCV", 2, opencv<SAMPLE_F32, CV_32FC4>(3));
const Bench opencv_5("median 5x5", "OpenCV", 2, opencv<SAMPLE_F32, CV_32FC4>(5));
const Bench opencv_21("median 21x21", "OpenCV, 8 bits", 0, opencv<SAMPLE_U8, CV_8UC4>(21));
const Bench opencv_81("median 81x81", "OpenCV, 8 bits", 0, opencv<SAMPLE_U8, CV_8UC4>(81));
#endif

#ifdef QUILLON_RIVAL_CIMG
const Bench cimg_5("median 5x5", "CImg", 2, [](int) -> Bench::Work {
    auto source = std::make_shared<cimg_library::CImg<float>>(FRAME_WIDTH, FRAME_HEIGHT, 1, 4);
    const auto frame = test_frame();
    cimg_forXYC(*source, x, y, c) (*source)(x, y, 0, c) = image_row<float>(frame.get(), y)[4 * x + c];
    return [=] { source->get_blur_median(5); };
});
#endif

// ---- Grain ----------------------------------------------------------------------------------------------------

Bench::Factory remove_grain(double blur, double sharp) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<RemGrain>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        for (const auto& colour : effect->colours) colour.blur.value = blur, colour.sharp.value = sharp;
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench grain("grain removal, default values", QUILLON, 2, remove_grain(5, 1));
const Bench strong_grain("grain removal, radius 2", QUILLON, 2, remove_grain(80, 30));

}  // namespace
