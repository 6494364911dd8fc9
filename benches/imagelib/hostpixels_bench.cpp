// The host pixel conversions: bound by memory, so held against memcpy.
#include <string>
#include <vector>

#include "benches/support/bench.h"
#include "imagelib/imagelib_hostpixels.h"

#ifdef QUILLON_RIVAL_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

constexpr HostRect FRAME{0, 0, FRAME_WIDTH, FRAME_HEIGHT};

// The image library's own dispatcher, which the benchmark has set.
const RowRunner ROWS{nullptr,
                     [](void*, RowWorker worker, int rows, void* job) { image_dispatch_rows(worker, rows, job); }};

struct Depth {
    int bits, sample_type;
    double streams;  // a float frame and a frame of this depth
};
constexpr Depth DEPTHS[] = {{8, SAMPLE_U8, 1.25}, {16, SAMPLE_U16, 1.5}, {32, SAMPLE_F32, 2.0}};

std::vector<Bench> conversions() {
    std::vector<Bench> list;
    for (const Depth& depth : DEPTHS) {
        const std::string bits = std::to_string(depth.bits) + " bits";
        list.emplace_back("host " + bits + " to float", QUILLON, depth.streams, [depth](int) {
            auto source = test_frame(4, depth.sample_type), result = blank_frame();
            return [=] {
                const HostPixels host{source->pixels, FRAME, true, depth.bits, std::ptrdiff_t(source->row_bytes)};
                make_float_image(host, result.get(), FRAME_WIDTH, FRAME_HEIGHT, 1.0, true, 1.0, ROWS);
            };
        });
        list.emplace_back("float to host " + bits, QUILLON, depth.streams, [depth](int) {
            auto source = test_frame(), result = blank_frame(4, depth.sample_type);
            return [=] {
                const HostTarget host{result->pixels, FRAME, depth.bits, std::ptrdiff_t(result->row_bytes)};
                store_float_image(source.get(), host, FRAME, ROWS);
            };
        });
    }
#ifdef QUILLON_RIVAL_OPENCV
    list.emplace_back("host 8 bits to float", "OpenCV convertTo", 0, [](int) {
        auto source = test_frame(4, SAMPLE_U8), result = blank_frame();
        return [=] {
            const cv::Mat in(FRAME_HEIGHT, FRAME_WIDTH, CV_8UC4, source->pixels);
            cv::Mat out(FRAME_HEIGHT, FRAME_WIDTH, CV_32FC4, result->pixels);
            in.convertTo(out, CV_32F, 1.0 / 255.0);
        };
    });
#endif
    return list;
}

const std::vector<Bench> s_conversions = conversions();

}  // namespace
