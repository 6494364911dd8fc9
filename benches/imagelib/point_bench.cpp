// Point operations and compositing: bound by memory.
#include <functional>
#include <string>
#include <vector>

#include "benches/support/bench.h"
#include "imagelib/imagelib_arithmetic.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_composite.h"

#ifdef QUILLON_RIVAL_OIIO
#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>
#endif

namespace {

struct PointOperation {
    const char* subject;
    double streams;
    std::function<void(K7Image* image, const K7Image* other)> run;
};

// The factors are such that no sample grows or shrinks out of range in thousands of runs.
const PointOperation OPERATIONS[] = {
    {"add a constant", 2, [](K7Image* image, const K7Image*) { image_add_constant(image, 1e-6f); }},
    {"multiply two channels", 2,
     [](K7Image* image, const K7Image*) { image_multiply_constant_masked(image, 1.0f, 10); }},
    {"multiply by an image", 3, [](K7Image* image, const K7Image* other) { image_multiply_image(image, other); }},
    {"cross dissolve", 3, [](K7Image* image, const K7Image* other) { image_cross_dissolve(image, other, 0.25f); }},
    {"fade", 2, [](K7Image* image, const K7Image*) { image_unary(image, UNARY_DARKEN, 1.0f, -1, -1, -1, -1); }},
    {"luminance", 2, [](K7Image* image, const K7Image*) { image_luminance_in_place(image, false); }},
    {"gamma", 2, [](K7Image* image, const K7Image* other) { image_apply_gamma(other, image, 2.2f); }},
    {"to yuv with a curve", 2,
     [](K7Image* image, const K7Image* other) { image_rgb_to_yuv_curve(other, image, 20.0f); }},
    {"over, straight alpha", 3,
     [](K7Image* image, const K7Image* other) {
         image_composite(image, image, COMPOSITE_OVER, other, false, -1, -1, -1, -1);
     }},
    {"over, pre-multiplied", 3,
     [](K7Image* image, const K7Image* other) {
         image_composite(image, other, COMPOSITE_OVER, image, true, -1, -1, -1, -1);
     }},
};

std::vector<Bench> point_operations() {
    std::vector<Bench> list;
    for (const PointOperation& operation : OPERATIONS) {
        list.emplace_back(operation.subject, QUILLON, operation.streams, [run = operation.run](int) {
            auto image = test_frame(), other = test_frame();
            return [=] { run(image.get(), other.get()); };
        });
    }
#ifdef QUILLON_RIVAL_OIIO
    list.emplace_back("over, pre-multiplied", "OpenImageIO over", 0, [](int threads) {
        auto a = test_frame(), b = test_frame(), result = blank_frame();
        return [=] {
            const OIIO::ImageSpec header(FRAME_WIDTH, FRAME_HEIGHT, 4, OIIO::TypeDesc::FLOAT);
            const OIIO::ImageBuf in_a(header, a->pixels), in_b(header, b->pixels);
            OIIO::ImageBuf out(header, result->pixels);
            OIIO::ImageBufAlgo::over(out, in_a, in_b, OIIO::ROI(), threads);
        };
    });
#endif
    return list;
}

const std::vector<Bench> s_point_operations = point_operations();

}  // namespace
