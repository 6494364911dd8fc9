// NightVision against a slow picture that takes one step after the other over whole images.
#include "effects/night/NightVision.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <vector>

#include "imagelib/imagelib_blur.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "night_support.h"
#include "noiselib/mtrandom.h"

namespace {

struct Tube {
    NightVision effect;
    explicit Tube(ImagePtr picture) {
        effect.output.image.reset(image_clone_layout(picture.get()));
        image_copy_attributes(picture.get(), effect.output.image.get());
        effect.input.image = std::move(picture);
    }
    const K7Image& source() const { return *effect.input.image; }
    K7Image& result() { return *effect.output.image; }
    const K7Image& render() {
        effect.ProcessFrame();
        return result();
    }
    ImagePtr copy_at(double frame) {
        effect.currentFrame = frame;
        return ImagePtr(image_duplicate(&render()));
    }
};

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

void darken_border(const NightVision& e, K7Image& out) {
    const double w = out.width, r = e.ClearRad.value;
    for_all(out, [&](int x, int y, float* p) {
        const auto distance = [&](double centre) {
            return std::hypot(x + 0.5 - centre, (y + 0.5 - out.height / 2.0) / double(out.pixel_aspect));
        };
        const double apart = e.Separation.value * w / 4;
        const double d = e.BorderType.value == NightVision::Monocular
                             ? distance(w / 2)
                             : std::fmin(distance(w / 2 - apart), distance(w / 2 + apart));
        const double share = r > 0 ? std::fmin(d / (w * r * 0.5), 1) : 1;
        const double k = std::fmin((1 - share) * ((100 - e.Softness.value) * 0.5), 1);
        for (int c = 0; c < 3; ++c) p[c] = limited(float(p[c] * k));
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
    if (e.DoBorder.value) darken_border(e, *out);
    return out;
}

// ---- Comparisons ----------------------------------------------------------------------------------------------

void expect_model(Tube& tube, double tolerance = 3e-6) {
    expect_same_bits_everywhere(tube.result(), [&] { tube.render(); });
    EXPECT_LE(difference(tube.result(), *modelled(tube.effect, tube.source())), tolerance);
}

TEST(NightVision, DevelopsTintsAndBloomsAsDefined) {
    for (const int width : {1, 3, 16, 17, 50}) {
        SCOPED_TRACE(width);
        Tube tube(noise_image(width, 23, 4, SAMPLE_F32, 11, -0.1f, 1.3f));
        tube.effect.DoBorder.value = false;
        tube.effect.HiSoft.value = 3;
        expect_model(tube);
        tube.effect.Contrast.value = 170, tube.effect.Brightness.value = 40, tube.effect.Lift.value = -8;
        tube.effect.Range.value = 30, tube.effect.HiBoost.value = 60;
        tube.effect.DoDefocus.value = true, tube.effect.Defocus.value = 2;
        expect_model(tube, 2e-5);
        tube.effect.DoHi.value = false;
        expect_model(tube, 2e-5);
    }
}

TEST(NightVision, RadiiAreThoseOfTheFullSize) {
    Tube tube(noise_image(40, 30, 4, SAMPLE_F32, 12));
    tube.effect.input.image->unit_scale = tube.effect.output.image->unit_scale = 2;
    tube.effect.DoDefocus.value = true, tube.effect.Defocus.value = 4, tube.effect.HiSoft.value = 10;
    tube.effect.DoBorder.value = false, tube.effect.Range.value = 50;
    expect_model(tube, 1e-5);
}

TEST(NightVision, DropsGrainInTheSameOrderWithAnyNumberOfThreads) {
    for (const int size : {1, 2, 3, 10}) {
        SCOPED_TRACE(size);
        Tube tube(noise_image(45, 31, 4, SAMPLE_F32, 13));
        tube.effect.DoBorder.value = tube.effect.DoHi.value = false;
        tube.effect.DoGrain.value = true;
        tube.effect.GrainSize.value = size;
        tube.effect.currentFrame = 17.4;
        for (const double amount : {3.0, 60.0}) {  // the latter runs into the limits
            tube.effect.Grain.value = amount;
            tube.effect.LumBias.value = amount > 10;
            tube.effect.DoBlurGrain.value = size == 2;
            tube.effect.BlurGrain.value = 1.5;
            expect_model(tube);
        }
    }
}

TEST(NightVision, GrainBelongsToItsFrameAndDoesNotChangeTheMean) {
    Tube tube(noise_image(160, 120, 4, SAMPLE_F32, 14, 0.4f, 0.6f));
    tube.effect.DoBorder.value = tube.effect.DoHi.value = false;
    tube.effect.DoGrain.value = true;
    tube.effect.Grain.value = 10;
    const ImagePtr third = tube.copy_at(3), fourth = tube.copy_at(4);
    EXPECT_TRUE(same_pixels(third.get(), tube.copy_at(3).get()));
    EXPECT_TRUE(same_pixels(third.get(), tube.copy_at(2.6).get()));
    EXPECT_GT(difference(*third, *fourth), 0.1);
    std::vector<double> means;
    for (int frame = 0; frame < 8; ++frame) {
        const ImagePtr image = tube.copy_at(frame);
        double sum = 0;
        for_all(*image, [&](int, int, float* p) { sum += double(p[1]); });
        means.push_back(sum / (160 * 120));
    }
    const auto [least, most] = std::minmax_element(means.begin(), means.end());
    EXPECT_LT(*most - *least, 0.01);
}

TEST(NightVision, TheBorderIsOneCircleOrTheNearerOfTwo) {
    for (const int type : {NightVision::Monocular, NightVision::Binocular}) {
        for (const float aspect : {1.0f, 2.0f}) {
            Tube tube(noise_image(64, 48, 4, SAMPLE_F32, 15));
            image_fill(tube.effect.input.image.get(), 0.5f);
            tube.effect.input.image->pixel_aspect = tube.effect.output.image->pixel_aspect = aspect;
            tube.effect.DoHi.value = false;
            tube.effect.BorderType.value = type;
            tube.effect.ClearRad.value = 0.5, tube.effect.Separation.value = 0.6, tube.effect.Softness.value = 92;
            expect_model(tube);
            for (int y = 0; y < 48; ++y)
                for (int x = 0; x < 64; ++x) {
                    ASSERT_EQ(at(tube.result(), x, y, 1), at(tube.result(), 63 - x, y, 1));
                    ASSERT_EQ(at(tube.result(), x, y, 1), at(tube.result(), x, 47 - y, 1));
                }
            EXPECT_GT(at(tube.result(), type == NightVision::Monocular ? 32 : 22, 24, 1), 0.3f);
            EXPECT_EQ(at(tube.result(), 0, 0, 1), 0);
        }
    }
    Tube tube(noise_image(30, 20, 4, SAMPLE_F32));
    tube.effect.ClearRad.value = 0;
    for_all(const_cast<K7Image&>(tube.render()), [](int, int, float* p) { ASSERT_EQ(p[0] + p[1] + p[2], 0); });
}

TEST(NightVision, TracesTheAspectThatTheBorderIsCorrectedFor) {
    const auto traced = [](bool border, int level) {
        Tube tube(noise_image(8, 6, 4, SAMPLE_F32));
        tube.effect.output.image->pixel_aspect = 1.5f;
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
    Tube tube(noise_image(192, 108, 4, SAMPLE_F32, 16));
    const ImagePtr bare(image_duplicate(&tube.render()));
    tube.effect.RetType.value = 2;  // a cross, 0.2 pixels wide by default at this size
    tube.effect.UseDef.value = false;
    tube.effect.RetSize.value = 1;
    tube.effect.RetColour.red = 1, tube.effect.RetColour.green = 0, tube.effect.RetColour.alpha = 0.5f;
    expect_same_bits_everywhere(tube.result(), [&] { tube.render(); });
    for (const int y : {53, 54}) {
        EXPECT_NEAR(at(tube.result(), 2, y, 0), 0.5f, 1e-5);
        EXPECT_NEAR(at(tube.result(), 150, y, 1), 0.5f * at(*bare, 150, y, 1), 1e-5);
    }
    for (const int y : {52, 55}) EXPECT_EQ(at(tube.result(), 150, y, 1), at(*bare, 150, y, 1));
    tube.effect.RetColour.alpha = 0;
    EXPECT_TRUE(same_pixels(&tube.render(), bare.get()));
}

TEST(NightVision, HostileValuesAndSamplesGiveAPictureInRange) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    ImagePtr picture = noise_image(37, 9, 4, SAMPLE_F32, 17);
    const float samples[] = {nan, INFINITY, -INFINITY, 1e38f, -1e38f, 0.5f, nan, 1e30f};
    std::copy(std::begin(samples), std::end(samples), image_row<float>(picture.get(), 4));
    Tube tube(std::move(picture));
    NightVision& e = tube.effect;
    e.DoGrain.value = e.LumBias.value = e.DoBlurGrain.value = e.DoDefocus.value = true;
    for (const double value : {1e30, -1e30, -3.0, 0.0}) {
        for (ControlK7* control : e.controls()) {
            if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
            if (auto* point = dynamic_cast<PositionControlK7*>(control)) point->x = point->y = value;
        }
        e.currentFrame = value * 1e-21;
        e.Tint.red = e.RetColour.alpha = float(value);
        for (const int choice : {1, 2, 4, 6}) {
            SCOPED_TRACE(std::to_string(value) + " " + std::to_string(choice));
            e.RetType.value = e.BorderType.value = e.GrainSize.value = choice;
            for (const bool standard : {false, true}) {
                e.UseDef.value = standard;
                for_all(const_cast<K7Image&>(tube.render()), [](int x, int y, float* p) {
                    for (int c = 0; c < 3; ++c) ASSERT_TRUE(p[c] >= 0 && p[c] <= 1) << x << ", " << y << ": " << p[c];
                });
            }
        }
    }
}

}  // namespace
