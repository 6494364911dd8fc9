#include <string>
#include <vector>

#include "benches/support/bench.h"
#include "imagelib/imagelib_morphology.h"

#ifdef QUILLON_RIVAL_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

std::vector<Bench> minima() {
    std::vector<Bench> list;
    for (int size : {5, 11, 59}) {
        const std::string subject = "minimum " + std::to_string(size) + "x" + std::to_string(size);
        list.emplace_back(subject, QUILLON, 2, [size](int) {
            auto source = test_frame(), result = blank_frame();
            const WindowSize window{size, size, size / 2};
            return [=] {
                const WindowSize windows[4] = {window, window, window, window};
                image_window_extreme(source.get(), result.get(), false, windows);
            };
        });
#ifdef QUILLON_RIVAL_OPENCV
        list.emplace_back(subject, "OpenCV erode", 0, [size](int) {
            auto source = test_frame(), result = blank_frame();
            const cv::Mat element = cv::getStructuringElement(cv::MORPH_RECT, {size, size});
            return [=] {
                const cv::Mat in(FRAME_HEIGHT, FRAME_WIDTH, CV_32FC4, source->pixels);
                cv::Mat out(FRAME_HEIGHT, FRAME_WIDTH, CV_32FC4, result->pixels);
                cv::erode(in, out, element);
            };
        });
#endif
    }
    list.emplace_back("maximum 5, 11, 21, 59 by channel", QUILLON, 2, [](int) {
        auto source = test_frame(), result = blank_frame();
        return [=] {
            const WindowSize windows[4] = {{5, 5, 2}, {11, 11, 5}, {21, 21, 10}, {59, 59, 29}};
            image_window_extreme(source.get(), result.get(), true, windows);
        };
    });
    return list;
}

const std::vector<Bench> s_minima = minima();

}  // namespace
