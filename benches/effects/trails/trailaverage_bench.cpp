// A step of TrailAverage's sums for each style, without the host's frames, and the same on single precision by the
// library's whole-image operations one after the other.
#include "effects/trails/TrailAverage.h"

#include "benches/support/bench.h"
#include "imagelib/imagelib_arithmetic.h"
#include "imagelib/imagelib_colour.h"

namespace {

constexpr TrailLengths LENGTHS{10, 30, 50};

Bench::Factory step(TrailKind kind, bool boosts = false) {
    return [=](int) -> Bench::Work {
        auto sums = std::make_shared<TrailSums>();
        auto oldest = test_frame(), newest = test_frame(), result = blank_frame(), a = blank_frame(), b = blank_frame();
        sums->begin(*result, kind);
        sums->add(*newest, LENGTHS);
        return [=] {
            const K7Image *out = oldest.get(), *in = newest.get();
            if (boosts) {
                image_rgb_to_yuv_curve(out, a.get(), 50);
                image_rgb_to_yuv_curve(in, b.get(), 50);
                out = a.get(), in = b.get();
            }
            sums->step({out, out, out}, *in, LENGTHS, *result);
            if (boosts) image_yuv_curve_to_rgb(result.get(), result.get(), 50);
        };
    };
}

// Sums of doubles are read and written: two frames each way, or three apart.
const Bench straight("trail step, straight", QUILLON, 7, step(TrailKind::Together));
const Bench plain("trail step, straight", "whole-image operations", 12, [](int) -> Bench::Work {
    auto sum = test_frame(), oldest = test_frame(), newest = test_frame(), result = blank_frame();
    return [=] {
        image_subtract_image(sum.get(), oldest.get());
        image_add_image(sum.get(), newest.get());
        image_copy(sum.get(), result.get());
        image_divide_constant(result.get(), 10);
    };
});
const Bench stagger("trail step, stagger", QUILLON, 9, step(TrailKind::Apart));
const Bench boost("trail step, boost bright", QUILLON, 13, step(TrailKind::Together, true));

}  // namespace
