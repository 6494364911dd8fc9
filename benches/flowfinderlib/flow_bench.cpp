// Optical flow of pairs of 640x360 with known motion. How far each contender is from the truth, in pixels on the mean,
// is told on the standard error stream before it is timed.
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>

#include "benches/support/bench.h"
#include "flowfinderlib/flowfinderlib.h"
#include "flowfinderlib/moving_pairs.h"

#ifdef QUILLON_RIVAL_OPENCV_VIDEO
#include <opencv2/video/tracking.hpp>
#endif

namespace {

const std::vector<MovingPair>& pairs() {
    static const std::vector<MovingPair> made = moving::moving_pairs();
    return made;
}

void tell_error(const std::string& contender, const MovingPair& pair, const K7Image& flow) {
    static std::set<std::string> told;
    const std::string name = contender + ", " + pair.name;
    if (told.insert(name).second)
        std::fprintf(stderr, "%s: %.4f pixels\n", name.c_str(), endpoint_error(flow, *pair.flow));
}

using Solver = std::function<ImagePtr(const MovingPair&)>;

// Registered once for each pair and contender.
std::vector<std::unique_ptr<Bench>> contenders(const std::string& name, const Solver& solver) {
    std::vector<std::unique_ptr<Bench>> benches;
    const char* const subjects[] = {"translation", "rotation by 5 degrees", "zoom by 1.06", "waves of 6 pixels",
                                    "disc"};
    for (std::size_t n = 0; n < 5; ++n)
        benches.push_back(
            std::make_unique<Bench>(std::string("flow, ") + subjects[n], name, 0, [=](int) -> Bench::Work {
                const MovingPair& pair = pairs()[n];
                tell_error(name, pair, *solver(pair));
                return [&pair, solver] { solver(pair); };
            }));
    return benches;
}

const auto ours = contenders(QUILLON, [](const MovingPair& pair) {
    static FlowFinder finder;  // keeps its memory, as it does for a clip
    finder.set_pair(pair.first.get(), pair.second.get(), {});
    return finder.find();
});

#ifdef QUILLON_RIVAL_OPENCV_VIDEO
ImagePtr from_mat(const cv::Mat& flow) {
    ImagePtr image = make_image(flow.cols, flow.rows, 2, SAMPLE_F32);
    std::memcpy(image->pixels, flow.data, std::size_t(image->row_bytes) * image->height);
    return image;
}
cv::Mat to_mat(const K7Image& image) { return cv::Mat(image.height, image.width, CV_8U, image.pixels); }

const auto dis = contenders("OpenCV DIS, medium", [](const MovingPair& pair) {
    static const auto search = cv::DISOpticalFlow::create(cv::DISOpticalFlow::PRESET_MEDIUM);
    cv::Mat flow;
    search->calc(to_mat(*pair.first), to_mat(*pair.second), flow);
    return from_mat(flow);
});
const auto farneback = contenders("OpenCV Farneback", [](const MovingPair& pair) {
    cv::Mat flow;
    cv::calcOpticalFlowFarneback(to_mat(*pair.first), to_mat(*pair.second), flow, 0.5, 5, 15, 5, 7, 1.5, 0);
    return from_mat(flow);
});
#endif

const Bench between("in-between of 1920x1080", QUILLON, 3, [](int) -> Bench::Work {
    auto first = test_frame(), second = test_frame(), result = blank_frame();
    FlowFields fields;
    find_flow(first.get(), second.get(), {}, true, fields);
    auto maker = std::make_shared<FlowBetween>();
    maker->set_pair(first.get(), second.get(), fields, {});
    return [=] { maker->at(0.5F, 0.5F, result.get()); };
});

}  // namespace
