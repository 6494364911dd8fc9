// Small looks, forces and obstacles of particles.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "effects/engines/particles/ForceField.h"
#include "effects/engines/particles/LightPlaces.h"
#include "effects/engines/particles/Obstacles.h"
#include "effects/engines/sprites/LookSprites.h"
#include "effects/engines/sprites/SpriteGlow.h"
#include "noiselib/mtrandom.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

using particles::ForceField;
using particles::Obstacles;

double light(const K7Image& image, int channel = 3) {
    double sum = 0;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) sum += at(image, x, y, channel);
    return sum;
}

ImagePtr drawn(const LookSprites::Kind& kind, const std::vector<LookSprite>& sprites, float aspect = 1) {
    ImagePtr image = flat(80, 60, 0);
    image->pixel_aspect = aspect;
    LookSprites batch;
    batch.begin(*image, kind);
    for (const LookSprite& s : sprites) batch.add(s);
    batch.draw(image.get());
    return image;
}

LookSprite one(float x, float y, float radius, float way_x = 0, float way_y = 0) {
    LookSprite s;
    s.x = x, s.y = y, s.radius = radius, s.way_x = way_x, s.way_y = way_y, s.opacity = 1;
    return s;
}

TEST(LookSprites, LightDoesNotDependOnWhereBetweenPixelsItLies) {
    for (const SpriteLook look : {SpriteLook::point, SpriteLook::blob, SpriteLook::star, SpriteLook::ring})
        for (const float radius : {0.3f, 1.0f, 2.5f, 6.0f}) {
            const double centred = light(*drawn({look}, {one(30.5f, 30.5f, radius)}));
            ASSERT_GT(centred, 0);
            for (const float off : {0.2f, 0.5f, 0.8f})
                EXPECT_NEAR(light(*drawn({look}, {one(30.5f + off, 30.5f + 0.6f * off, radius)})) / centred, 1, 0.16)
                    << int(look) << ' ' << radius << ' ' << off;
        }
    // A point of radius r covers its disc, and what is swept has the light of what stands still.
    EXPECT_NEAR(light(*drawn({SpriteLook::point, DrawBlend::add, 0.2f}, {one(40, 30, 5)})), 3.14159 * 25, 3);
    EXPECT_NEAR(light(*drawn({SpriteLook::point, DrawBlend::add, 0.2f}, {one(40, 30, 3, 15, 8)})), 3.14159 * 9, 3);
    // Round on the screen: as many rows high as columns wide, times the aspect.
    EXPECT_NEAR(light(*drawn({SpriteLook::point, DrawBlend::over, 0.2f}, {one(40, 15, 6)}, 2.0f)) / 2, 3.14159 * 36, 4);
}

TEST(LookSprites, EveryLookIsTheSameEverywhere) {
    MTRandom random(3);
    std::vector<LookSprite> sprites;
    for (int i = 0; i < 300; ++i) {
        LookSprite s = one(random.next_float_in(-20, 100), random.next_float_in(-20, 80), random.next_float_in(0.1f, 9),
                           random.next_float_in(-12, 12), random.next_float_in(-12, 12));
        const float angle = random.next_float() * 6;
        s.cosine = std::cos(angle), s.sine = std::sin(angle), s.squash = random.next_float_in(-1, 1);
        s.opacity = random.next_float(), s.depth = random.next_uint32() >> 30;
        s.colour[1] = random.next_float();
        sprites.push_back(s);
    }
    const float bad = std::numeric_limits<float>::quiet_NaN();
    for (int i = 0; i < 3; ++i) {
        LookSprite s = one(i == 0 ? bad : 1e30f, 10, i == 1 ? 1e30f : 3);
        s.opacity = i == 2 ? bad : 1;
        sprites.push_back(s);
    }
    ImagePtr before;
    for (int look = 0; look < SPRITE_LOOKS; ++look)
        for (const DrawBlend blend : {DrawBlend::over, DrawBlend::add, DrawBlend::screen}) {
            const ImagePtr image = same_bits_everywhere([&] {
                ImagePtr result = drawn({static_cast<SpriteLook>(look), blend, 0.6f}, sprites);
                SpriteGlow().draw(result.get(), sprites.data(), sprites.size(), {4, 6, 0.5f});
                return result;
            });
            for (int y = 0; y < image->height; ++y)
                for (int i = 0; i < 4 * image->width; ++i)
                    ASSERT_TRUE(std::isfinite(image_row<float>(image.get(), y)[i])) << look;
            EXPECT_FALSE(before && same_pixels(before.get(), image.get())) << look;
            before.reset(image_duplicate(image.get()));
        }
    // Higher ones lie over lower ones, whatever the order of collection.
    LookSprite red = one(30, 30, 6), blue = red;
    red.colour[1] = red.colour[2] = 0, red.depth = 2;
    blue.colour[0] = blue.colour[1] = 0, blue.depth = 1;
    for (const auto& pair : {std::vector{red, blue}, std::vector{blue, red}})
        EXPECT_FLOAT_EQ(at(*drawn({SpriteLook::point, DrawBlend::over, 0}, pair), 30, 30, 0), 1);
}

TEST(ForceField, MovesAsItsFormulaSays) {
    const SolidNoise noise(5);
    ForceField field;
    field.gravity[1] = -0.5f, field.wind[0] = 3, field.grip = 0.25f;
    field.vortex[0] = 100, field.vortex[1] = 50, field.vortex_radius = 40, field.vortex_speed = 6;
    field.attractor[0] = 20, field.attractor_radius = 30, field.attractor_strength = 2;
    MTRandom random(1);
    std::vector<float> x(100), y(100), vx(100), vy(100), lightness(100);
    for (std::size_t i = 0; i < 100; ++i) {
        x[i] = random.next_float_in(0, 200), y[i] = random.next_float_in(0, 100);
        vx[i] = random.next_float_in(-5, 5), vy[i] = random.next_float_in(-5, 5);
        lightness[i] = random.next_float_in(0, 2);
    }
    const auto fly = [&](int block) {
        auto u = vx, v = vy;
        const auto now = field.at(3, noise);
        for (int i = 0; i < 100; i += block)
            field.apply(now, noise, nullptr,
                        {x.data() + i, y.data() + i, u.data() + i, v.data() + i, lightness.data() + i,
                         std::min(block, 100 - i)});
        u.insert(u.end(), v.begin(), v.end());
        return u;
    };
    const std::vector<float> got = fly(100);
    for (std::size_t i = 0; i < 100; ++i) {
        const double dx = x[i] - 100.0, dy = y[i] - 50.0, r = std::hypot(dx, dy);
        const double angle = 2 * std::atan(6 / 40.0 / (1 + r * r / 1600));
        const double air[2] = {3 + std::cos(angle) * dx - std::sin(angle) * dy - dx,
                               std::sin(angle) * dx + std::cos(angle) * dy - dy};
        const double ax = 20.0 - x[i], ay = -double(y[i]), pull = 2 * 2 / 30.0 / (1 + (ax * ax + ay * ay) / 900);
        const double grip = std::min(0.25 * lightness[i], 1.0);
        EXPECT_NEAR(got[i], vx[i] + (air[0] - vx[i]) * grip + pull * ax, 1e-4);
        EXPECT_NEAR(got[100 + i], vy[i] + (air[1] - vy[i]) * grip + pull * ay - 0.5, 1e-4);
    }
    // Swirls too do not depend on blocks and processors.
    field.swirl_speed = 4, field.swirl_cells = 0.02f, field.gusts = 0.5f;
    const std::vector<float> expected = fly(100);
    at_every_level([&] { EXPECT_EQ(fly(7), expected); });
    // The swirl has no sources: what flows out of a square is about nothing, though it flows fast.
    double out = 0, speed = 0;
    for (int i = 0; i < 400; ++i) {
        const int side = i / 100;
        const float t = float(i % 100) * 2 + 1;
        const float px = side == 0 ? 0 : side == 1 ? 200 : t, py = side == 2 ? 0 : side == 3 ? 200 : t;
        float u, v;
        field.swirl(field.at(3, noise), noise, &px, &py, &u, &v, 1);
        out += side == 0 ? -u : side == 1 ? u : side == 2 ? -v : v;
        speed += std::hypot(u, v);
    }
    EXPECT_LT(std::fabs(out), 0.03 * speed);
    EXPECT_NEAR(speed / 400, 4, 2.5);
}

TEST(Obstacles, ThrowBackAndLetNothingThrough) {
    const ImagePtr frame = flat(200, 100, 0);
    const ImagePtr wall = picture(200, 100, [](int x, int, int) { return x >= 100 && x < 108 ? 1.0f : 0.0f; });
    Obstacles solid;
    solid.begin(*frame);
    solid.add(*wall);
    // Off a wall at 100: half of the speed against it comes back, three quarters of that along it stay.
    float position[2] = {90, 40}, velocity[2] = {20, 4};
    solid.bounce(position, velocity, {.restitution = 0.5f, .friction = 0.25f});
    EXPECT_NEAR(velocity[0], -10, 0.3);
    EXPECT_NEAR(velocity[1], 3, 0.1);
    EXPECT_NEAR(position[0] + velocity[0], 95, 1.5);
    // Whatever the speed, nothing that flies in on the left gets out on the right.
    MTRandom random(2);
    for (int i = 0; i < 500; ++i) {
        float p[2] = {random.next_float_in(5, 99), random.next_float_in(5, 95)};
        float v[2] = {random.next_float_in(-150, 150), random.next_float_in(-5, 5)};
        for (int step = 0; step < 20; ++step) {
            solid.bounce(p, v, {.restitution = 0.9f, .walls = Obstacles::ALL});
            for (int a = 0; a < 2; ++a) p[a] += v[a];
            ASSERT_TRUE(p[0] > -1 && p[0] < 103 && p[1] > -1 && p[1] < 101) << i << ' ' << step << ' ' << p[0];
        }
    }
}

TEST(LightPlaces, AreAsFrequentAsTheyAreBright) {
    const ImagePtr two = picture(64, 32, [](int x, int, int) { return x < 32 ? 0.25f : x < 48 ? 0.75f : 0.0f; });
    particles::LightPlaces places;
    places.make(*two);
    MTRandom random(4);
    int bright = 0, high = 0;
    for (int i = 0; i < 4000; ++i) {
        float place[2];
        ASSERT_TRUE(places.draw(random, place));
        ASSERT_LT(place[0], 48);
        bright += place[0] >= 32;
        high += place[1] >= 16;
    }
    EXPECT_NEAR(bright / 4000.0, 0.6, 0.03);  // 16 columns of 0.75 beside 32 of 0.25
    EXPECT_NEAR(high / 4000.0, 0.5, 0.03);
    places.make(*flat(8, 8, 0));
    float place[2];
    EXPECT_FALSE(places.draw(random, place));
}

}  // namespace
