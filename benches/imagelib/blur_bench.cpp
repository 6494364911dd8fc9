#include <cmath>
#include <string>
#include <vector>

#include "benches/support/bench.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_geometry.h"

#ifdef QUILLON_RIVAL_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

#ifdef QUILLON_RIVAL_OPENCV
cv::Mat as_matrix(const SharedImage& image) { return cv::Mat(image->height, image->width, CV_32FC4, image->pixels); }

void add_blur_rivals(std::vector<Bench>& list, const std::string& subject, double radius) {
    list.emplace_back(subject, "OpenCV 3 boxes", 0, [radius](int) {
        auto a = test_frame(), b = blank_frame();
        const int side = 2 * static_cast<int>(radius) + 1;
        return [=] {
            const cv::Mat even = as_matrix(a), odd = as_matrix(b);
            for (int pass = 0; pass < 3; ++pass)
                cv::boxFilter(pass % 2 ? odd : even, pass % 2 ? even : odd, -1, {side, side}, {-1, -1}, true,
                              cv::BORDER_REPLICATE);
        };
    });
    if (radius > 10) return;  // its cost grows with the radius
    list.emplace_back(subject, "OpenCV GaussianBlur", 0, [radius](int) {
        auto source = test_frame(), result = blank_frame();
        const double sigma = std::sqrt(radius * (radius + 1));
        return [=] {
            const cv::Mat in = as_matrix(source), out = as_matrix(result);
            cv::GaussianBlur(in, out, {0, 0}, sigma, sigma, cv::BORDER_REPLICATE);
        };
    });
}
#endif

std::vector<Bench> blurs() {
    std::vector<Bench> list;
    for (const float radius : {1.0f, 5.0f, 5.5f, 25.0f, 100.0f, 300.0f}) {
        std::string subject = "blur of radius " + std::to_string(radius);
        subject.erase(subject.size() - 5);
        list.emplace_back(subject, QUILLON, 4, [radius](int) {
            auto image = test_frame();
            return [=] { image_gaussian_blur(image.get(), radius, radius, 15); };
        });
#ifdef QUILLON_RIVAL_OPENCV
        if (radius == std::floor(radius)) add_blur_rivals(list, subject, radius);
#endif
    }
    list.emplace_back("blur of radius 5, colour only", QUILLON, 4, [](int) {
        auto image = test_frame();
        return [=] { image_gaussian_blur(image.get(), 5.0f, 5.0f, 7); };
    });
    list.emplace_back("blur of radius 5 of a matte", QUILLON, 1, [](int) {
        auto image = test_frame(1);
        return [=] { image_gaussian_blur(image.get(), 5.0f, 5.0f, 1); };
    });
    list.emplace_back("wrapped blur of radius 5", QUILLON, 4, [](int) {
        auto image = test_frame();
        return [=] { image_wrap_blur(image.get(), 5.0f, 5.0f, 15); };
    });
    return list;
}

std::vector<Bench> transpositions() {
    std::vector<Bench> list;
    list.emplace_back("transpose", QUILLON, 2, [](int) {
        auto source = test_frame(), result = blank_frame(4, SAMPLE_F32, FRAME_HEIGHT, FRAME_WIDTH);
        return [=] { image_transpose(source.get(), result.get()); };
    });
#ifdef QUILLON_RIVAL_OPENCV
    list.emplace_back("transpose", "OpenCV transpose", 0, [](int) {
        auto source = test_frame(), result = blank_frame(4, SAMPLE_F32, FRAME_HEIGHT, FRAME_WIDTH);
        return [=] {
            cv::Mat out = as_matrix(result);
            cv::transpose(as_matrix(source), out);
        };
    });
#endif
    return list;
}

const std::vector<Bench> s_blurs = blurs();
const std::vector<Bench> s_transpositions = transpositions();

}  // namespace
