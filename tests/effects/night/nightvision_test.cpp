// NightVision against a slow picture that takes one step after the other over whole images.
#include "effects/night/NightVision.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "imagelib/imagelib_blur.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "noiselib/mtrandom.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

using Tube = EffectShot<NightVision>;

float limited(float v) { return v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f; }

// ---- The reference --------------------------------------------------------------------------------------------

void for_all(K7Image& image, const std::function<void(int x, int y, float* pixel)>& work) {
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) work(x, y, image_row<float>(&image, y) + 4 * x);
}

float grey(const float* p) { return 0.3f * p[0] + 0.5f * p[1] + 0.2f * p[2]; }

void blur(K7Image& image, double radius) {
    image_gaussian_blur(&image, float(radius) / image.unit_scale, float(radius) / image.unit_scale, -1);
}

// Squares dropped one after the other.
std::vector<float> dropped_grain(const NightVision& e, K7Image& out) {
    MTRandom random(unsigned(int(e.currentFrame + 0.5)));
    std::vector<float> amplitude(32768);
    std::vector<unsigned> bits(32768);
    std::vector<int> start(2048);
    for (int i = 0; i < 32768; ++i) {
        amplitude[std::size_t(i)] = (2 * random.next_float() - 1) * float(e.Grain.value / 100);
        bits[std::size_t(i)] = random.next_uint32();
    }
    double total = 0, kept = 0;
    for (std::size_t i = 0; i < 32768; ++i)
        if (!(bits[i] & 1)) total += double(amplitude[i]), ++kept;
    for (float& a : amplitude) a -= float(total / kept);
    for (int& s : start) s = int(random.next_float() * 32767);
    const int width = out.width, height = out.height, size = e.GrainSize.value, half = size / 2;
    std::vector<float> grain(std::size_t(width * height), 0.5f);
    for_all(out, [&](int x, int y, float* pixel) {
        const auto entry = std::size_t((start[std::size_t(y & 2047)] + x) & 0x7FFF);
        if (bits[entry] & 1) return;
        const float dark = 1 - limited(grey(pixel));
        const float drop = e.LumBias.value ? amplitude[entry] * (dark * dark) : amplitude[entry];
        for (int gy = y - half; gy < y - half + size; ++gy)
            for (int gx = x - half; gx < x - half + size; ++gx) {
                if (gx < 0 || gx >= width || gy < 0 || gy >= height) continue;
                float& sum = grain[std::size_t(gy * width + gx)];
                sum = limited(sum + drop);
            }
    });
    return grain;
}

void add_grain(const NightVision& e, K7Image& out) {
    const std::vector<float> grain = dropped_grain(e, out);
    const ImagePtr image(image_clone_layout(&out));
    image_copy_attributes(&out, image.get());
    for_all(*image, [&](int x, int y, float* p) { std::fill_n(p, 4, grain[std::size_t(y * out.width + x)]); });
    if (e.DoBlurGrain.value) blur(*image, e.BlurGrain.value);
    for_all(out, [&](int x, int y, float* p) {
        for (int c = 0; c < 3; ++c) p[c] = limited(p[c] + (at(*image, x, y, 0) - 0.5f) * 2);
    });
}

ImagePtr modelled(const NightVision& e, const K7Image& source) {
    ImagePtr out(image_duplicate(&source));
    for_all(*out, [&](int, int, float* p) {
        const float light = grey(p), base = light >= 0 && light < 1 ? float(int(light * 65536)) / 65536 : light;
        const double power = std::pow(double(base), 1 / (e.Contrast.value * 0.01));
        const float v = float(power > 0 ? power : 0) * float(e.Brightness.value / 100) + float(e.Lift.value / 100);
        p[0] = p[1] = p[2] = v > 0 ? v : 0;
    });
    if (e.DoDefocus.value) blur(*out, e.Defocus.value);
    const float tint[] = {e.Tint.red, e.Tint.green, e.Tint.blue};
    for_all(*out, [&](int, int, float* p) {
        const float v = p[0];
        for (int c = 0; c < 3; ++c) p[c] = limited(tint[c] * v);
    });
    if (e.DoHi.value) {
        ImagePtr light(image_duplicate(out.get()));
        for_all(*light, [&](int x, int y, float* p) {
            const float l = grey(image_row<float>(&source, y) + 4 * x), lll[] = {l, l, l};
            if (!(grey(lll) > float(e.Range.value / 100))) std::fill_n(p, 4, 0.0f);
        });
        blur(*light, e.HiSoft.value);
        for_all(*out, [&](int x, int y, float* p) {
            for (int c = 0; c < 4; ++c)
                p[c] = limited(p[c] + limited(at(*light, x, y, c) * float(e.HiBoost.value / 100)));
        });
    }
    if (e.DoGrain.value && e.GrainSize.value) add_grain(e, *out);
    return out;
}

// ---- Comparisons ----------------------------------------------------------------------------------------------

ImagePtr expect_model(Tube& tube, double tolerance = 3e-6, double frame = 0) {
    ImagePtr result = same_bits_everywhere([&] { return tube.copy(frame); });
    EXPECT_LE(difference(*result, *modelled(tube.effect, *tube.source)), tolerance);
    return result;
}

// Radii are those of the full size.
TEST(NightVision, DevelopsTintsAndBloomsAsDefined) {
    for (const int width : {1, 16, 17, 50}) {
        SCOPED_TRACE(width);
        Tube tube(noise(width, 23, 11, -0.1f, 1.3f));
        NightVision& e = tube.effect;
        tube.source->unit_scale = width == 50 ? 2.0f : 1.0f;
        e.DoBorder.value = false;
        e.HiSoft.value = 3;
        expect_model(tube);
        e.Contrast.value = 170, e.Brightness.value = 40, e.Lift.value = -8;
        e.Range.value = 30, e.HiBoost.value = 60;
        e.DoDefocus.value = true, e.Defocus.value = 2;
        expect_model(tube, 2e-5);
        e.DoHi.value = false;
        expect_model(tube, 2e-5);
    }
}

TEST(NightVision, DropsGrainInTheSameOrderWithAnyNumberOfThreads) {
    for (const int size : {1, 2, 10}) {
        SCOPED_TRACE(size);
        Tube tube(noise(45, 31, 13));
        NightVision& e = tube.effect;
        e.DoBorder.value = e.DoHi.value = false;
        e.DoGrain.value = true;
        e.GrainSize.value = size;
        for (const double amount : {3.0, 60.0}) {  // the latter runs into the limits
            e.Grain.value = amount;
            e.LumBias.value = amount > 10;
            e.DoBlurGrain.value = size == 2;
            e.BlurGrain.value = 1.5;
            expect_model(tube, 3e-6, 17.4);
        }
        EXPECT_GT(difference(*tube.copy(17), *tube.copy(18)), 0.01) << "grain belongs to its frame";
        EXPECT_TRUE(same_pixels(tube.copy(17).get(), tube.copy(17.4).get()));
    }
}

TEST(NightVision, TheBorderIsOneCircleOrTheNearerOfTwo) {
    for (const float aspect : {1.0f, 2.0f}) {
        Tube tube(flat(64, 96, 0.5f));
        NightVision& e = tube.effect;
        tube.source->pixel_aspect = aspect;
        e.DoHi.value = false;
        e.ClearRad.value = 0.5, e.Separation.value = 0.6, e.Softness.value = 92;
        // A radius of 16 pixels of which the outer quarter fades; the circles' centres lie 9.6 beside the middle.
        for (const auto& [type, first, last] :
             {std::tuple{NightVision::Monocular, 16, 47}, {NightVision::Binocular, 6, 57}}) {
            e.BorderType.value = type;
            const K7Image& result = tube.render();
            const float open = at(result, 32, 48, 1);
            EXPECT_GT(open, 0.3f);
            for (const int x : {first, last}) EXPECT_TRUE(at(result, x, 48, 1) > 0 && at(result, x, 48, 1) < open);
            for (const int x : {first - 1, last + 1}) EXPECT_EQ(at(result, x, 48, 1), 0) << x;
            EXPECT_EQ(at(result, 32, 48 + int(16 * aspect), 1), 0);
            EXPECT_GT(at(result, 32, 48 + int(6 * aspect), 1), 0);
        }
    }
}

TEST(NightVision, TracesTheAspectThatTheBorderIsCorrectedFor) {
    const auto traced = [](bool border, int level) {
        Tube tube(noise(8, 6));
        tube.source->pixel_aspect = 1.5f;
        tube.effect.DoBorder.value = border;
        SetTraceLevel(level);
        testing::internal::CaptureStderr();
        tube.render();
        SetTraceLevel(TRACE_INFO);
        return testing::internal::GetCapturedStderr().find("image aspect 1.5") != std::string::npos;
    };
    EXPECT_TRUE(traced(true, TRACE_DEBUG));
    EXPECT_FALSE(traced(true, TRACE_INFO));
    EXPECT_FALSE(traced(false, TRACE_DEBUG));
}

TEST(NightVision, TheReticleLiesOverTheBorder) {
    Tube tube(noise(192, 108, 16));
    NightVision& e = tube.effect;
    const ImagePtr bare = tube.copy();
    e.RetType.value = 2;  // a cross, 0.2 pixels wide by default at this size
    e.UseDef.value = false;
    e.RetSize.value = 1;
    e.RetColour.red = 1, e.RetColour.green = 0, e.RetColour.alpha = 0.5f;
    const ImagePtr crossed = same_bits_everywhere([&] { return tube.copy(); });
    for (const int y : {53, 54}) {
        EXPECT_NEAR(at(*crossed, 2, y, 0), 0.5f, 1e-5);
        EXPECT_NEAR(at(*crossed, 150, y, 1), 0.5f * at(*bare, 150, y, 1), 1e-5);
    }
    for (const int y : {52, 55}) EXPECT_EQ(at(*crossed, 150, y, 1), at(*bare, 150, y, 1));
    e.RetColour.alpha = 0;
    EXPECT_TRUE(same_pixels(&tube.render(), bare.get()));
}

}  // namespace
