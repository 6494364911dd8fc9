// Flares as a device computes them, held against those of the processor.
#include "effects/light/Flare_cuda.h"

#include <gtest/gtest.h>

#include <cmath>

#include "effects/light/Flare.h"
#include "fftlib/fake_cufft.h"
#include "gpulib/fake_runtime.h"
#include "gpulib/gpulib.h"
#include "imagelib/imagelib_cuda.h"
#include "k7pi_baselib/temporary_home.h"
#include "support/effect_shot.h"

namespace {

class FlareCuda : public TemporaryHome {
  protected:
    FlareCuda() { OpenLog("run", false); }
};

ImagePtr plane(int width, int height, unsigned seed, float high) {
    return noise_image(width, height, 1, SAMPLE_F32, seed, -0.25f, high);
}

ImagePtr toned_by_processor(const ImagePtr (&planes)[3], const FlareTone& tone, const ImagePtr& under) {
    ImagePtr picture(image_duplicate(under.get()));
    for (int y = 0; y < picture->height; ++y) {
        const auto row = [&](int c) { return image_row<float>(planes[c].get(), y); };
        flare_kernels().tone(tone, row(0), row(1), row(2), image_row<float>(picture.get(), y), picture->width);
    }
    return picture;
}

void expect_the_same_tones() {
    for (const auto& [width, height] : {std::pair{1, 1}, {17, 13}, {97, 61}})
        for (const float power : {1.0f, 0.5f, 1.7f})
            for (const bool screen : {false, true}) {
                const FlareTone tone{0.9f, power, 11.5f, screen};
                const ImagePtr planes[] = {plane(width, height, 1, 1.0f), plane(width, height, 2, 300.0f),
                                           plane(width, height, 3, 1e-9f)};
                const ImagePtr under = noise(width, height, 4, -1.0f, 5.0f), result = flat(width, height, 7.0f);
                at(*planes[1], width / 2, height / 2) = at(*under, 0, height - 1, 3) = NAN;
                at(*planes[2], width - 1, 0) = INFINITY;
                DeviceImage colours[] = {{host_picture(planes[0].get()), nullptr},
                                         {host_picture(planes[1].get()), nullptr},
                                         {host_picture(planes[2].get()), nullptr}};
                DeviceImage below(host_picture(under.get()), nullptr), picture(host_picture(result.get()), nullptr);
                ASSERT_EQ(cuda_flare_tone(colours[0], colours[1], colours[2], tone, below, picture, nullptr), GPU_DONE);
                ASSERT_EQ(gpu_fetch(picture), GPU_DONE);
                EXPECT_TRUE(same_pixels(result.get(), toned_by_processor(planes, tone, under).get()))
                    << width << ", " << power << ", " << screen;
            }
}

TEST_F(FlareCuda, TonesWithTheSameBits) {
    FakeRuntime runtime;
    expect_the_same_tones();
}

TEST_F(FlareCuda, TonesWithTheSameBitsOnARealDevice) {
    if (!cuda_available()) GTEST_SKIP() << "no CUDA device can be used here";
    expect_the_same_tones();
}

// A picture that flares all over, rendered as the framework does it.
struct FlaringPicture {
    EffectShot<Flare> shot;
    Flare& effect = shot.effect;
    FlaringPicture(int width, int height) : shot(noise(width, height, 5, 0.0f, 1.2f)) {
        effect.XScale.value = effect.YScale.value = 2, effect.LoLight.value = 0.9;
        effect.StreakLen.value = 60, effect.Brightness.value = 5;
    }
    ImagePtr render(bool on_device) {
        const ScopedEnvironment disable{"CUDA_DISABLE", on_device ? nullptr : "yes"}, always{"CUDA_ALWAYS", "yes"};
        FakeRuntime runtime;
        shot.render();
        return left(runtime);
    }
    ImagePtr left(const FakeRuntime&) {
        effect.leaveDevice();
        effect.dropDevice();
        return std::move(effect.output.image);
    }
};

TEST_F(FlareCuda, MakesTheProcessorsPicture) {
    FakeCufft cufft;
    FlaringPicture flaring(97, 61);
    Flare& e = flaring.effect;
    for (const double contrast : {100.0, 150.0, 70.0})
        for (const int composite : {Flare::Adds, Flare::Screens}) {
            e.Contrast.value = contrast, e.CompType.value = composite;
            const ImagePtr expected = flaring.render(false);
            EXPECT_GT(difference(*expected, *flaring.shot.source), 0.1);
            cufft.transforms = 0;
            EXPECT_LE(difference(*flaring.render(true), *expected), 1e-4) << contrast << ", " << composite;
            EXPECT_EQ(cufft.transforms, contrast < 100 ? 0 : 6);
        }
    // Small lights in a corner.
    e.Center.x = 0.9, e.Center.y = 0.1, e.XScale.value = e.YScale.value = 0.1, e.Contrast.value = 100;
    EXPECT_LE(difference(*flaring.render(true), *flaring.render(false)), 1e-4);
}

TEST_F(FlareCuda, WhereAnyCallFailsThePictureIsWholeAndNothingLeaks) {
    const ScopedEnvironment disable{"CUDA_DISABLE", nullptr}, always{"CUDA_ALWAYS", "yes"};
    FakeCufft cufft;
    FlaringPicture flaring(17, 13);
    flaring.effect.StreakLen.value = 6;
    const ImagePtr expected = flaring.render(true);
    int failures = 0;
    bool failed = true;
    for (int n = 1; failed; ++n) {
        FakeRuntime runtime;
        ASSERT_TRUE(cuda_available());
        runtime.fail_call(n, n % 2 == 0);
        flaring.shot.render();
        const ImagePtr left = flaring.left(runtime);
        failed = runtime.has_failed();
        const bool untouched = same_pixels(left.get(), flaring.shot.source.get());
        failures += untouched;
        EXPECT_TRUE(untouched || difference(*left, *expected) <= 1e-4) << n;
    }
    EXPECT_GE(failures, 30);
}

}  // namespace
