// SpinBlur at several angles against un-wrapping, box and wrapping of OpenCV.
#include "effects/blur/SpinBlur.h"

#include <cmath>

#include "benches/support/bench.h"
#include "effects/blur/CrashZoom.h"

#ifdef QUILLON_RIVAL_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

template <class EffectClass>
std::shared_ptr<EffectClass> on_a_frame() {
    auto effect = std::make_shared<EffectClass>();
    effect->input.image.reset(image_duplicate(test_frame().get()));
    effect->output.image.reset(image_duplicate(test_frame().get()));
    return effect;
}

Bench::Factory spin(double degrees, int style = SpinBlur::Overall) {
    return [=](int) -> Bench::Work {
        auto effect = on_a_frame<SpinBlur>();
        effect->Speed.value = degrees;
        effect->BStyle.value = style;
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench spin_5("spin blur, 5 degrees", QUILLON, 2, spin(5));
const Bench spin_30("spin blur, 30 degrees", QUILLON, 2, spin(30));
const Bench spin_350("spin blur, 350 degrees", QUILLON, 2, spin(350));
const Bench spin_fade("spin blur, fade", QUILLON, 2, spin(30, SpinBlur::Fade));
const Bench spin_twirl("spin blur, twirl", QUILLON, 2, spin(30, SpinBlur::TwirlIn));
const Bench zoom("zoom blur, default", QUILLON, 2, [](int) -> Bench::Work {
    auto effect = on_a_frame<CrashZoom>();
    return [=] { effect->ProcessFrame(); };
});

#ifdef QUILLON_RIVAL_OPENCV
const Bench opencv_30("spin blur, 30 degrees", "OpenCV", 2, [](int threads) -> Bench::Work {
    cv::setNumThreads(threads);
    auto source = test_frame(), result = blank_frame();
    return [=] {
        const cv::Mat from(FRAME_HEIGHT, FRAME_WIDTH, CV_32FC4, source->pixels);
        cv::Mat to(FRAME_HEIGHT, FRAME_WIDTH, CV_32FC4, result->pixels);
        const cv::Point2f centre(0.5f * FRAME_WIDTH, 0.5f * FRAME_HEIGHT);
        const double far = 0.5 * std::hypot(FRAME_WIDTH, FRAME_HEIGHT);
        cv::Mat polar, blurred;
        cv::warpPolar(from, polar, cv::Size(int(far), int(6.2831853 * far)), centre, far, cv::INTER_LINEAR);
        cv::blur(polar, blurred, cv::Size(1, polar.rows / 12));
        cv::warpPolar(blurred, to, to.size(), centre, far, cv::INTER_LINEAR | cv::WARP_INVERSE_MAP);
    };
});
#endif

}  // namespace
