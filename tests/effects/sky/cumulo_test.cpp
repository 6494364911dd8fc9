// Cumulo: puffs against their definition, where puffs go, and the same cloud in every order of frames.
#include "effects/sky/Cumulo.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/effect_shot.h"
#include "support/recording_host.h"
#include "support/same_bits.h"

namespace {

double ramp(double v, double contrast, double brightness) {
    const double w = 2 - contrast;
    return std::clamp((v - (brightness - w)) / (2 * w), 0.0, 1.0);
}

// Shape and light to the letter, pixel by pixel. The texture is read at every pixel here, on a grid there.
TEST(CumuloPuff, IsTheDefinition) {
    const SolidNoise noise(77);
    const float shadow[3] = {0.1f, 0.2f, 0.4f}, lit[3] = {1.0f, 0.9f, 0.7f};
    const struct {
        double fluff, magnitude, squash, radius, contrast, brightness;
        std::vector<float> repeats;
        double tolerance;
    } cases[] = {{2, 0, 1, 30, 1, 0, {}, 1e-3},     {0.5, 0, 1.5, 21, 0.2, 0.4, {}, 4e-3},
                 {1.4, 0, 1, 2, 1, 0, {}, 2e-3},    {2, 0, 1, 25, -1, -0.8, {0.1f, 0.05f}, 1e-3},
                 {1.2, 0.4, 1, 60, 1, 0, {}, 0.02}, {2, 0.1, 0.7, 9, 1, 0, {}, 0.02}};
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::Message() << test.fluff << " " << test.magnitude << " " << test.radius);
        const double light[3] = {-0.6, 0.5, std::sqrt(1 - 0.36 - 0.25)};
        PuffLook look;
        look.set_fluff(float(test.fluff));
        look.set_light(-1.2f, 1.0f, float(2 * light[2]), float(test.contrast), float(test.brightness));
        look.set_colours(shadow, lit);
        look.set_texture(float(test.magnitude), 3, 4);
        look.set_repeats(test.repeats);
        const Puff puff{
            .x = 70.3f, .y = 64.6f, .radius = float(test.radius), .amount = 0.7f, .depth = 2.4f, .once = false};
        const ImagePtr found = same_bits_everywhere([&] {
            ImagePtr image = flat(128, 128, 0.3f);
            int first = 0, last = 0;
            EXPECT_TRUE(puff.rows(float(test.squash), 128, &first, &last));
            paint_puff(puff, look, noise, float(test.squash), image.get(), first, last);
            return image;
        });
        const auto density = [&](double u, double v) {
            const double inside = std::max(1 - std::hypot(u, v), 0.0);
            return std::pow(std::sin(inside * M_PI / 2), test.fluff);
        };
        for (int y = 0; y < 128; ++y)
            for (int x = 0; x < 128; ++x) {
                double u = (x - double(puff.x)) / test.radius, v = (y - double(puff.y)) / (test.radius * test.squash);
                double d = 0.7 * density(u, v);
                if (test.magnitude > 0) {
                    const float nu = float((u + 1) / 2 * 3), nv = float((v + 1) / 2 * 4);
                    u += 2 * test.magnitude * noise.noise(nu, nv, 2.4f);
                    v += 2 * test.magnitude * noise.noise(nu + 3.14f, nv + 3.14f, 2.4f + 3.14f);
                    d *= density(u, v);
                }
                double through = 1 - d;
                for (const float weight : test.repeats) through *= 1 - double(weight) * d;
                const double n = std::sqrt(std::max(1 - u * u - v * v, 0.0));
                const double shade = ramp(u * light[0] + v * light[1] + n * light[2], test.contrast, test.brightness);
                for (int c = 0; c < 4; ++c) {
                    const double colour = c == 3 ? 1 : shadow[c] + shade * double(lit[c] - shadow[c]);
                    ASSERT_NEAR(at(*found, x, y, c), through * 0.3f + (1 - through) * colour, test.tolerance)
                        << x << ' ' << y << ' ' << c;
                }
            }
    }
}

// Puffs that are all born in frame 0, in one place and of one size, on black: numbers of controls by name on top.
// Where their middle is in a later frame, in pixels from that of the picture.
using Numbers = std::vector<std::pair<const char*, ofxhost::ParamValue>>;
std::pair<double, double> middle_of_burst(int frame, const Numbers& numbers) {
    static support::RecordingHost host;
    constexpr int WIDTH = 320, HEIGHT = 180;
    host.project.width = WIDTH, host.project.height = HEIGHT;
    support::TestEffect& effect = host.effect("Q_Cumulo", ofx::context::Generator);
    for (const char* off : {"UseFading", "GrowShrink", "UseTextured", "UseSwirling", "UseWind", "UseFriction",
                            "PreRoll", "BirthRadius", "CloudSizeVar"})
        effect.set(off, 0.0);
    effect.set("Continuity", 100.0), effect.set("Lifetime", 1000.0), effect.set("CloudSize", 12.0);
    effect.set("WithAnimation", 1.0), effect.set("Birth", {0.5, 0.5});
    effect.setKeys("Quantity", {{0.0, 9.0}, {0.5, 0.0}});
    for (const auto& [name, value] : numbers) effect.set(name, value);
    const std::vector<float> picture = effect.render(frame);
    double sum = 0, x = 0, y = 0;
    for (int j = 0; j < HEIGHT; ++j)
        for (int i = 0; i < WIDTH; ++i) {
            const double alpha = picture[std::size_t(4 * (j * WIDTH + i) + 3)];
            sum += alpha, x += alpha * (i + 0.5), y += alpha * (j + 0.5);
        }
    EXPECT_GT(sum, 1);
    return {x / sum - 0.5 * WIDTH, y / sum - 0.5 * HEIGHT};
}

TEST(Cumulo, PuffsGoWhereForcesDriveThem) {
    const double wind = 2.0 / 720 * 320, fall = 20 * 21 / 2 * 100 / 100000.0;
    double held = 0, velocity = wind;
    for (int i = 0; i < 20; ++i) velocity *= 0.9, held += velocity + wind;
    const Numbers blow = {{"UseWind", 1.0}, {"WindSpeed", 2.0}, {"WindSource", {0.1, 0.4}}, {"WindTarget", {0.9, 0.4}}};
    const Numbers against = {{"WindSource", {0.9, 0.4}}, {"WindTarget", {0.1, 0.4}}};
    const auto pull = [](double degrees) {
        return Numbers{{"UseGravity", 1.0}, {"Gravity", 100.0}, {"GravityAngle", degrees}};
    };
    const auto both = [](Numbers first, const Numbers& then) {
        first.insert(first.end(), then.begin(), then.end());
        return first;
    };
    const struct {
        const char* what;
        Numbers numbers;
        double x, y;
    } cases[] = {
        {"rest", {}, 0, 0},
        {"wind acts twice", blow, 20 * 2 * wind, 0},
        {"friction", both(blow, {{"UseFriction", 1.0}, {"Friction", 10.0}}), held, 0},
        {"gravity", pull(270), 0, -fall * 180},
        {"gravity to the left", pull(180), -fall * 320, 0},
        {"gravity upwards across the wind", both(both(pull(0), against), {{"Gravity90toWind", 1.0}}), 0, fall * 180},
        // At depth 0 the scale is 100 / 400, about the vanishing point.
        {"perspective", {{"Perspective", 1.0}, {"CameraDistance", 400.0}, {"VanishP", {0.75, 0.5}}}, 0.75 * 80, 0},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        const auto [x, y] = middle_of_burst(20, test.numbers);
        EXPECT_NEAR(x, test.x, 0.1);
        EXPECT_NEAR(y, test.y, 0.1);
    }
}

// The cone holds puffs that gravity drives out of it.
TEST(Cumulo, ConstraintsHoldPuffsAlongTheWind) {
    const auto height = [](double held) {
        return middle_of_burst(25, {{"UseWind", 1.0},
                                    {"WindSpeed", 4.0},
                                    {"WindSource", {0.1, 0.5}},
                                    {"WindTarget", {0.9, 0.5}},
                                    {"UseGravity", 1.0},
                                    {"Gravity", 100.0},
                                    {"BirthRadius", 0.1},
                                    {"UseConstraints", held},
                                    {"ContraintAngle", 5.0}})
            .second;
    };
    EXPECT_GT(height(0.0), 40);
    EXPECT_LT(height(1), 30);
    EXPECT_GT(height(1), 5);
}

// One frame of births over the middle of a wide picture, alone.
struct Births : EffectShot<Cumulo> {
    Births() : EffectShot(flat(320, 180, 0.0f)) {
        Cumulo& e = effect;
        e.start.preRoll.value = 0, e.Continuity.value = 100, e.Birth.x = e.Birth.y = 0.5;
        e.UseFading.value = e.GrowShrink.value = e.UseTextured.value = false;
    }
};

TEST(Cumulo, IsBornWhereTheMatteAllows) {
    const auto side = [](bool matte, bool inverted, double radius) {
        Births shot;
        Cumulo& e = shot.effect;
        e.UseBirthMatte.value = matte, e.InvertBirthMatte.value = inverted, e.BirthRadius.value = radius;
        e.birth.image = picture(320, 180, [](int x, int, int c) { return c == 0 && x >= 160 ? 0.06f : 0.04f; });
        const ImagePtr image = shot.copy();
        double light = 0;
        for (int x = 0; x < 320; ++x)
            for (int y = 0; y < 180; ++y) light += (x < 160 ? -1 : 1) * double(at(*image, x, y, 3));
        return std::pair(light, e.liveParticles());
    };
    EXPECT_GT(side(true, false, 0.5).first, 100);
    EXPECT_EQ(side(true, true, 0.5).second, side(false, false, 0.5).second) << "0.96 and 0.94 are both bright";
    Births shot;
    shot.effect.UseBirthMatte.value = true;
    shot.effect.birth.image = flat(320, 180, 0.05f);
    for (int frame = 0; frame < 10; ++frame) EXPECT_TRUE(shot.shows_source(frame));
    EXPECT_EQ(shot.effect.liveParticles(), 0);
}

TEST(Cumulo, SizesKeepToTheirRange) {
    const auto reach = [](double size, double variance) {
        Births shot;
        shot.effect.BirthRadius.value = 0, shot.effect.CloudSize.value = size,
        shot.effect.CloudSizeVar.value = variance;
        shot.effect.Fluffiness.value = 1, shot.effect.Density.value = 100;
        shot.render();
        int columns = 0;
        for (int x = 0; x < 320; ++x) columns += at(*shot.effect.output.image, x, 90, 3) > 0;
        return columns;
    };
    EXPECT_NEAR(reach(40, 0), 64, 2);
    EXPECT_LE(reach(40, 100), 65);
    EXPECT_NEAR(reach(0.25, 100), 4, 1);
}

// Every preset, and what presets leave out.
struct Small : EffectShot<Cumulo> {
    explicit Small(int preset) : EffectShot(noise(96, 54, 3, 0.1f, 0.5f)) {
        choose_preset(preset);
        Cumulo& e = effect;
        e.start.preRoll.value = std::min(e.start.preRoll.value, 70);
        e.Quantity.value = std::min(e.Quantity.value, 3.0);
        if (preset % 2 == 0) return;
        e.Perspective.value = e.UseConstraints.value = e.UseBirthMatte.value = true;
        e.ZSpeed.value = 30, e.start.shutter.value = 60, e.UseLight.value = preset == 3;
    }
};

TEST(Cumulo, EveryPresetIsTheSameInEveryOrderAndEverywhere) {
    for (int preset = 0; preset < Small::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        const auto alone = [&](int frame) { return Small(preset).copy(frame); };
        const ImagePtr ninth = same_bits_everywhere([&] { return alone(9); });
        Small sequence(preset);
        for (int frame = 0; frame < 9; ++frame) sequence.render(frame);
        EXPECT_TRUE(same_pixels(&sequence.render(9), ninth.get()));
        EXPECT_FALSE(sequence.shows_source(9));
        EXPECT_TRUE(same_pixels(&sequence.render(9), ninth.get())) << "once more";
        EXPECT_TRUE(same_pixels(&sequence.render(4), alone(4).get())) << "back";
        EXPECT_TRUE(same_pixels(&sequence.render(40), alone(40).get())) << "far on";
    }
}

}  // namespace
