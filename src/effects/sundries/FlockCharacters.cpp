#include "effects/sundries/FlockCharacters.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/portable_math.h"

namespace flock {

namespace {

using Points = std::vector<Point>;

constexpr float SMALL = 16;  // pixels: below it a few parts stand for all

Part ellipsoid(Point centre, Point radii, Shade shade, Paint paint = Paint::Own) {
    Part part{.form = Form::Ellipsoid, .joint = Joint::Body, .paint = paint, .points = {centre, radii}};
    part.from = part.to = shade;
    return part;
}

Part outline(Joint joint, Points points, Shade from, Shade to, Point axis_from, Point axis_to) {
    return {.form = Form::Outline,
            .joint = joint,
            .paint = Paint::Own,
            .points = std::move(points),
            .from = from,
            .to = to,
            .axis_from = axis_from,
            .axis_to = axis_to};
}

Part limb(Joint joint, Points line, float root, float end, Shade shade, Paint paint = Paint::Own) {
    Part part{.form = Form::Limb, .joint = joint, .paint = paint, .points = std::move(line)};
    part.from = part.to = shade;
    part.thickness = root, part.thin = end;
    return part;
}

Part both(Part part) {
    part.pair = true;
    return part;
}
// Of both flanks, each seen from its own side.
Part on_flanks(Part part) {
    part.pair = part.on_skin = true;
    part.bias = 0.3F;
    return part;
}
Part from_size(float pixels, Part part) {
    part.smallest = pixels;
    return part;
}
Part nearer(float bias, Part part) {
    part.bias = bias;
    return part;
}

Part below_size(float pixels, Part part) {
    part.largest = pixels;
    return part;
}

// Three pairs of legs, each from its hip over the knee to the foot.
void add_legs(Character& character, const Point (&joints)[3][3], float root, float end, Shade shade) {
    for (int i = 0; i < 3; ++i) {
        Part leg = both(limb(Joint::Leg, {joints[i][0], joints[i][1], joints[i][2]}, root, end, shade));
        leg.leg = i;
        leg.bias = -0.3F;
        character.parts.push_back(leg);
    }
}

// ---- Birds ----------------------------------------------------------------------------------------------------

Character starling() {
    Character bird;
    bird.gait = {.beats = 0.36F,
                 .beat = 0.72F,
                 .middle = 0.12F,
                 .hand = 0.5F,
                 .lag = 1.1F,
                 .fold = 0.35F,
                 .shoulder = 0.035F,
                 .wrist = 0.17F,
                 .spread = 0.1F,
                 .bob = 0.02F};
    bird.parts = {
        below_size(SMALL, ellipsoid({-0.025F, 0, 0}, {0.255F, 0.055F, 0.056F}, {0.3F, 1})),
        from_size(SMALL, nearer(-0.02F, outline(Joint::Body,
                                                {{-0.09F, 0.035F, 0},
                                                 {-0.2F, 0.045F, 0},
                                                 {-0.3F, 0.06F, 0, true},
                                                 {-0.285F, 0, 0, true},
                                                 {-0.3F, -0.06F, 0, true},
                                                 {-0.2F, -0.045F, 0},
                                                 {-0.09F, -0.035F, 0}},
                                                {0.1F, 1}, {0, 0.8F}, {-0.1F, 0, 0}, {-0.3F, 0, 0}))),
        from_size(SMALL, ellipsoid({0.03F, 0, 0}, {0.165F, 0.062F, 0.064F}, {0.35F, 1})),
        from_size(SMALL, ellipsoid({0.175F, 0, 0.02F}, {0.062F, 0.045F, 0.046F}, {0.1F, 0.95F})),
        from_size(20,
                  limb(Joint::Body, {{0.215F, 0, 0.02F}, {0.285F, 0, 0.005F}}, 0.032F, 0.004F, {1, 1}, Paint::Horn)),
        from_size(70, on_flanks(ellipsoid({0.197F, 0.036F, 0.034F}, {0.011F, 0.008F, 0.011F}, {0, 1}, Paint::Black))),
        both(outline(Joint::Wing,
                     {{0.1F, 0.02F, 0.025F},
                      {0.135F, 0.11F, 0.025F},
                      {0.13F, 0.19F, 0.025F},
                      {0.07F, 0.32F, 0.02F},
                      {-0.05F, 0.5F, 0.015F, true},
                      {-0.07F, 0.41F, 0.015F},
                      {-0.075F, 0.3F, 0.02F},
                      {-0.1F, 0.19F, 0.02F},
                      {-0.11F, 0.09F, 0.02F},
                      {-0.085F, 0.02F, 0.02F}},
                     {0.45F, 1.05F}, {0, 0.8F}, {0.1F, 0.1F, 0}, {-0.09F, 0.34F, 0})),
        from_size(60, nearer(0.01F, both(outline(Joint::Wing,
                                                 {{0.07F, 0.03F, 0.027F},
                                                  {0.1F, 0.12F, 0.027F},
                                                  {0.085F, 0.22F, 0.027F},
                                                  {0.02F, 0.24F, 0.025F},
                                                  {0.0F, 0.13F, 0.025F},
                                                  {0.01F, 0.03F, 0.025F}},
                                                 {0.7F, 1.1F}, {0.3F, 0.95F}, {0.1F, 0.1F, 0}, {0, 0.1F, 0})))),
    };
    // Feathers of the hand, seen when it is large.
    for (int i = 0; i < 5; ++i) {
        const float along = 0.24F + 0.05F * static_cast<float>(i);
        bird.parts.push_back(
            from_size(90, nearer(0.012F, both(limb(Joint::Wing,
                                                   {{0.08F - 0.25F * (along - 0.24F), along - 0.03F, 0.026F},
                                                    {-0.068F, along + 0.055F, 0.02F}},
                                                   0.005F, 0.003F, {0, 0.55F})))));
    }
    return bird;
}

Character goose() {
    Character bird;
    bird.gait = {.beats = 0.15F,
                 .beat = 0.5F,
                 .middle = 0.1F,
                 .hand = 0.42F,
                 .lag = 1.0F,
                 .fold = 0.22F,
                 .shoulder = 0.05F,
                 .wrist = 0.2F,
                 .spread = 0.12F,
                 .bob = 0.025F};
    bird.parts = {
        nearer(-0.02F, outline(Joint::Body,
                               {{-0.13F, 0.045F, 0},
                                {-0.21F, 0.055F, 0},
                                {-0.265F, 0.035F, 0},
                                {-0.275F, 0, 0},
                                {-0.265F, -0.035F, 0},
                                {-0.21F, -0.055F, 0},
                                {-0.13F, -0.045F, 0}},
                               {1, 1.25F}, {1, 0.35F}, {-0.15F, 0, 0}, {-0.235F, 0, 0})),
        ellipsoid({-0.01F, 0, 0}, {0.17F, 0.07F, 0.076F}, {0.25F, 1}),
        nearer(0.01F, ellipsoid({-0.06F, 0, -0.018F}, {0.11F, 0.056F, 0.058F}, {0.9F, 1.1F})),
        limb(Joint::Body, {{0.1F, 0, 0.015F}, {0.19F, 0, 0.035F}, {0.29F, 0, 0.045F}}, 0.075F, 0.036F, {0, 0.45F}),
        ellipsoid({0.305F, 0, 0.047F}, {0.038F, 0.023F, 0.026F}, {0, 0.4F}),
        from_size(60, on_flanks(ellipsoid({0.296F, 0.014F, 0.04F}, {0.016F, 0.011F, 0.017F}, {1, 0.9F}, Paint::White))),
        from_size(20,
                  limb(Joint::Body, {{0.33F, 0, 0.044F}, {0.378F, 0, 0.036F}}, 0.026F, 0.01F, {0, 0.8F}, Paint::Black)),
        both(outline(Joint::Wing,
                     {{0.085F, 0.03F, 0.03F},
                      {0.12F, 0.13F, 0.03F},
                      {0.115F, 0.22F, 0.03F},
                      {0.075F, 0.34F, 0.03F},
                      {0.005F, 0.5F, 0.02F},
                      {-0.045F, 0.485F, 0.02F},
                      {-0.09F, 0.38F, 0.02F},
                      {-0.095F, 0.27F, 0.02F},
                      {-0.115F, 0.15F, 0.02F},
                      {-0.08F, 0.03F, 0.02F}},
                     {0.55F, 1.05F}, {0, 0.55F}, {0.1F, 0.14F, 0}, {-0.08F, 0.36F, 0})),
        from_size(40, nearer(0.01F, both(outline(Joint::Wing,
                                                 {{0.07F, 0.04F, 0.032F},
                                                  {0.1F, 0.13F, 0.032F},
                                                  {0.09F, 0.24F, 0.032F},
                                                  {0.03F, 0.26F, 0.03F},
                                                  {-0.01F, 0.15F, 0.03F},
                                                  {0.0F, 0.04F, 0.03F}},
                                                 {0.75F, 1.1F}, {0.45F, 0.95F}, {0.1F, 0.1F, 0}, {0, 0.1F, 0})))),
    };
    for (int i = 0; i < 7; ++i) {
        const float along = 0.2F + 0.042F * static_cast<float>(i);
        bird.parts.push_back(
            from_size(80, nearer(0.012F, both(limb(Joint::Wing,
                                                   {{0.05F - 0.18F * (along - 0.2F), along - 0.015F, 0.03F},
                                                    {-0.08F, along + 0.035F, 0.022F}},
                                                   0.005F, 0.003F, {0, 0.4F})))));
    }
    return bird;
}

Character bat() {
    Character bat;
    bat.gait = {.beats = 0.3F,
                .beat = 0.85F,
                .middle = 0.2F,
                .hand = 0.75F,
                .lag = 0.9F,
                .fold = 0.45F,
                .shoulder = 0.03F,
                .wrist = 0.2F,
                .spread = 0.25F,
                .bob = 0.035F};
    bat.parts = {
        from_size(SMALL, nearer(-0.03F, outline(Joint::Body,
                                                {{-0.06F, 0.05F, 0},
                                                 {-0.17F, 0.06F, 0, true},
                                                 {-0.135F, 0.02F, 0},
                                                 {-0.18F, 0, 0, true},
                                                 {-0.135F, -0.02F, 0},
                                                 {-0.17F, -0.06F, 0, true},
                                                 {-0.06F, -0.05F, 0}},
                                                {0.2F, 0.9F}, {0, 0.75F}, {-0.05F, 0, 0}, {-0.18F, 0, 0}))),
        ellipsoid({0.015F, 0, 0}, {0.115F, 0.052F, 0.055F}, {0.7F, 1}),
        ellipsoid({0.13F, 0, 0.02F}, {0.05F, 0.042F, 0.042F}, {0.6F, 1}),
        from_size(
            SMALL,
            both(outline(Joint::Body,
                         {{0.115F, 0.012F, 0.04F, true}, {0.12F, 0.04F, 0.125F, true}, {0.14F, 0.045F, 0.03F, true}},
                         {0.3F, 0.9F}, {0.6F, 0.9F}, {0.12F, 0.02F, 0.1F}, {0.13F, 0.03F, 0.03F}))),
        from_size(80, both(ellipsoid({0.163F, 0.02F, 0.032F}, {0.009F, 0.008F, 0.009F}, {0, 1}, Paint::Black))),
        both(outline(Joint::Wing,
                     {{0.06F, 0.02F, 0.015F, true},
                      {0.085F, 0.12F, 0.015F},
                      {0.135F, 0.215F, 0.015F, true},
                      {0.11F, 0.33F, 0.01F},
                      {0.01F, 0.5F, 0, true},
                      {-0.04F, 0.4F, 0.01F},
                      {-0.15F, 0.345F, 0.005F, true},
                      {-0.095F, 0.26F, 0.01F},
                      {-0.185F, 0.185F, 0.005F, true},
                      {-0.105F, 0.12F, 0.01F},
                      {-0.165F, 0.05F, 0.01F, true},
                      {-0.07F, 0.02F, 0.01F, true}},
                     {0.25F, 1}, {0, 0.72F}, {0.05F, 0.05F, 0}, {-0.1F, 0.33F, 0})),
    };
    const Point wrist{0.13F, 0.212F, 0.018F};
    const Point ends[] = {{0.01F, 0.495F, 0.005F}, {-0.148F, 0.343F, 0.01F}, {-0.183F, 0.185F, 0.01F}};
    for (const Point& end : ends)
        bat.parts.push_back(
            from_size(36, nearer(0.012F, both(limb(Joint::Wing, {wrist, end}, 0.012F, 0.004F, {0.5F, 0.62F})))));
    bat.parts.push_back(
        from_size(36, nearer(0.012F, both(limb(Joint::Wing, {{0.06F, 0.03F, 0.018F}, {0.09F, 0.12F, 0.018F}, wrist},
                                               0.02F, 0.012F, {0.6F, 0.75F})))));
    return bat;
}

// ---- Fish -----------------------------------------------------------------------------------------------------

Character fish() {
    Character fish;
    fish.gait = {.beats = 0.13F, .sway = 0.085F, .wave = 4.2F, .with_speed = true};
    const Shade back{1, 0.8F}, belly{0, 1.15F};
    const Point up{0, 0, 0.13F}, down{0, 0, -0.11F};
    fish.parts = {
        outline(Joint::Sway,
                {{-0.31F, 0, 0.045F},
                 {-0.4F, 0, 0.1F},
                 {-0.49F, 0, 0.165F, true},
                 {-0.44F, 0, 0},
                 {-0.48F, 0, -0.165F, true},
                 {-0.4F, 0, -0.1F},
                 {-0.31F, 0, -0.045F}},
                {0.9F, 0.95F}, {0.35F, 1.0F}, {-0.33F, 0, 0}, {-0.47F, 0, 0}),
        outline(Joint::Sway,
                {{0.15F, 0, 0.13F},
                 {0.05F, 0, 0.22F, true},
                 {-0.08F, 0, 0.185F},
                 {-0.18F, 0, 0.165F, true},
                 {-0.17F, 0, 0.09F}},
                {1, 0.75F}, {0.6F, 1}, {0, 0, 0.13F}, {0, 0, 0.22F}),
        outline(Joint::Sway, {{-0.05F, 0, -0.12F}, {-0.13F, 0, -0.2F, true}, {-0.2F, 0, -0.155F}, {-0.21F, 0, -0.08F}},
                {0.2F, 1}, {0.6F, 0.9F}, {0, 0, -0.1F}, {0, 0, -0.2F}),
        // Its girth, for when it turns towards the eye; and its side.
        ellipsoid({0.13F, 0, -0.002F}, {0.31F, 0.068F, 0.135F}, {0.45F, 0.95F}),
        nearer(0.01F, outline(Joint::Sway,
                              {{0.47F, 0, -0.012F},
                               {0.4F, 0, 0.07F},
                               {0.25F, 0, 0.135F},
                               {0.06F, 0, 0.152F},
                               {-0.14F, 0, 0.11F},
                               {-0.28F, 0, 0.055F},
                               {-0.36F, 0, 0.048F},
                               {-0.36F, 0, -0.048F},
                               {-0.28F, 0, -0.052F},
                               {-0.14F, 0, -0.1F},
                               {0.06F, 0, -0.15F},
                               {0.25F, 0, -0.135F},
                               {0.4F, 0, -0.08F},
                               {0.46F, 0, -0.035F}},
                              back, belly, up, down)),
        from_size(26, on_flanks(outline(Joint::Sway,
                                        {{0.24F, 0.045F, 0.035F},
                                         {0.0F, 0.062F, 0.04F},
                                         {-0.2F, 0.03F, 0.018F},
                                         {-0.36F, 0.008F, 0.012F, true},
                                         {-0.2F, 0.03F, -0.004F},
                                         {0.0F, 0.062F, 0.005F},
                                         {0.24F, 0.045F, 0.012F}},
                                        {1, 0.55F}, {1, 0.75F}, {0.2F, 0, 0}, {-0.36F, 0, 0}))),
        from_size(
            40, on_flanks(limb(Joint::Sway, {{0.27F, 0.05F, 0.085F}, {0.235F, 0.062F, 0.01F}, {0.27F, 0.05F, -0.075F}},
                               0.008F, 0.006F, {0.8F, 0.55F}))),
        from_size(
            30,
            on_flanks(outline(
                Joint::Sway,
                {{0.2F, 0.06F, -0.02F}, {0.09F, 0.13F, -0.065F, true}, {0.1F, 0.085F, -0.09F}, {0.18F, 0.06F, -0.05F}},
                {0.6F, 0.95F}, {0.2F, 1.05F}, {0.2F, 0.06F, -0.03F}, {0.09F, 0.12F, -0.08F}))),
        from_size(18, on_flanks(ellipsoid({0.35F, 0.046F, 0.03F}, {0.026F, 0.01F, 0.026F}, {0, 0.9F}, Paint::White))),
        from_size(14, on_flanks(ellipsoid({0.352F, 0.05F, 0.03F}, {0.018F, 0.008F, 0.018F}, {0, 1}, Paint::Black))),
        from_size(60, on_flanks(limb(Joint::Sway, {{0.462F, 0.005F, -0.03F}, {0.405F, 0.03F, -0.038F}}, 0.008F, 0.004F,
                                     {1, 0.45F}))),
    };
    return fish;
}

// ---- Insects --------------------------------------------------------------------------------------------------

void add_feelers(Character& character, Point root, Point elbow, Point tip, float thickness, float pixels) {
    character.parts.push_back(
        from_size(pixels, both(limb(Joint::Body, {root, elbow, tip}, thickness, 0.6F * thickness, {1, 0.6F}))));
}

Part wing_of_glass(Points points) {
    Part wing = outline(Joint::Wing, std::move(points), {0, 1}, {0, 0.85F}, {0.1F, 0.05F, 0}, {-0.2F, 0.45F, 0});
    wing.paint = Paint::Glass;
    wing.opacity = 0.42F;
    wing.pair = true;
    wing.bias = 0.25F;
    return wing;
}

Character bee() {
    Character bee;
    bee.gait = {.beats = 1.0F,
                .beat = 0.85F,
                .middle = 0.45F,
                .hand = 0,
                .shoulder = 0.07F,
                .wrist = 0.6F,
                .spread = 0.4F,
                .blurred = true};
    bee.parts = {ellipsoid({-0.21F, 0, -0.025F}, {0.27F, 0.15F, 0.145F}, {0, 1.05F})};
    for (const float x : {-0.07F, -0.2F, -0.325F, -0.44F}) {
        const float away = (x + 0.21F) / 0.27F, girth = 1.03F * std::sqrt(1 - away * away);
        bee.parts.push_back(
            nearer(0.15F, ellipsoid({x, 0, -0.025F}, {0.035F, 0.15F * girth, 0.145F * girth}, {1, 0.8F})));
    }
    const Part rest[] = {
        nearer(0.16F, ellipsoid({0.12F, 0, 0.02F}, {0.15F, 0.14F, 0.14F}, {0.55F, 0.8F})),
        ellipsoid({0.31F, 0, -0.01F}, {0.09F, 0.115F, 0.1F}, {1, 1}),
        both(ellipsoid({0.335F, 0.085F, 0.015F}, {0.045F, 0.036F, 0.06F}, {0, 1}, Paint::Black)),
        wing_of_glass({{0.17F, 0.06F, 0.11F},
                       {0.16F, 0.24F, 0.12F},
                       {0.05F, 0.46F, 0.12F},
                       {-0.09F, 0.54F, 0.12F},
                       {-0.14F, 0.44F, 0.12F},
                       {-0.06F, 0.24F, 0.12F},
                       {0.06F, 0.07F, 0.11F}}),
        wing_of_glass({{0.06F, 0.06F, 0.1F},
                       {-0.04F, 0.22F, 0.1F},
                       {-0.18F, 0.36F, 0.1F},
                       {-0.26F, 0.33F, 0.1F},
                       {-0.2F, 0.18F, 0.1F},
                       {0.0F, 0.06F, 0.1F}}),
    };
    bee.parts.insert(bee.parts.end(), std::begin(rest), std::end(rest));
    for (const float x : {0.2F, 0.1F, -0.02F})
        bee.parts.push_back(from_size(
            24, both(limb(Joint::Body, {{x, 0.08F, -0.08F}, {x + 0.03F, 0.15F, -0.14F}, {x - 0.07F, 0.13F, -0.25F}},
                          0.03F, 0.014F, {1, 0.8F}))));
    add_feelers(bee, {0.38F, 0.04F, 0.05F}, {0.44F, 0.08F, 0.1F}, {0.53F, 0.11F, 0.06F}, 0.02F, 24);
    return bee;
}

Character beetle() {
    Character beetle;
    beetle.gait = {.beats = 0.1F, .step = 0.1F, .with_speed = true, .walks = true};
    const Point legs[3][3] = {{{0.24F, 0.13F, 0}, {0.34F, 0.3F, 0.06F}, {0.47F, 0.36F, 0}},
                              {{0.08F, 0.2F, 0}, {0.1F, 0.39F, 0.07F}, {0.03F, 0.5F, 0}},
                              {{-0.12F, 0.2F, 0}, {-0.24F, 0.38F, 0.07F}, {-0.4F, 0.45F, 0}}};
    add_legs(beetle, legs, 0.045F, 0.02F, {1, 0.7F});
    const Part rest[] = {
        nearer(0.02F, ellipsoid({0.41F, 0, 0.03F}, {0.09F, 0.115F, 0.075F}, {1, 0.7F})),
        nearer(0.03F, ellipsoid({0.275F, 0, 0.04F}, {0.125F, 0.2F, 0.12F}, {0.6F, 0.75F})),
        nearer(0.04F, ellipsoid({-0.11F, 0, 0.05F}, {0.37F, 0.26F, 0.19F}, {0, 1})),
        nearer(0.3F,
               limb(Joint::Body, {{0.22F, 0, 0.14F}, {-0.1F, 0, 0.24F}, {-0.46F, 0, 0.1F}}, 0.018F, 0.012F, {1, 0.4F})),
    };
    beetle.parts.insert(beetle.parts.end(), std::begin(rest), std::end(rest));
    for (const float y : {0.09F, 0.165F})
        beetle.parts.push_back(from_size(
            40, nearer(0.3F,
                       both(limb(Joint::Body, {{0.17F, y, 0.19F}, {-0.1F, 1.05F * y, 0.2F}, {-0.38F, 0.7F * y, 0.13F}},
                                 0.01F, 0.008F, {0.6F, 0.6F})))));
    Part shine =
        from_size(18, nearer(0.4F, ellipsoid({-0.02F, 0.1F, 0.2F}, {0.13F, 0.04F, 0.02F}, {0, 1}, Paint::Gloss)));
    shine.opacity = 0.45F;
    beetle.parts.push_back(shine);
    add_feelers(beetle, {0.47F, 0.06F, 0.04F}, {0.55F, 0.13F, 0.08F}, {0.62F, 0.12F, 0.04F}, 0.022F, 18);
    beetle.parts.push_back(
        from_size(30, both(limb(Joint::Body, {{0.47F, 0.03F, 0.02F}, {0.53F, 0.045F, 0.01F}, {0.545F, 0.01F, 0.01F}},
                                0.04F, 0.015F, {1, 0.5F}))));
    return beetle;
}

Character ant() {
    Character ant;
    ant.gait = {.beats = 0.17F, .step = 0.11F, .with_speed = true, .walks = true};
    const Point legs[3][3] = {{{0.17F, 0.04F, 0}, {0.27F, 0.2F, 0.07F}, {0.42F, 0.3F, 0}},
                              {{0.09F, 0.04F, 0}, {0.08F, 0.25F, 0.07F}, {0.02F, 0.39F, 0}},
                              {{0.02F, 0.04F, 0}, {-0.14F, 0.21F, 0.07F}, {-0.36F, 0.32F, 0}}};
    add_legs(ant, legs, 0.03F, 0.014F, {1, 0.85F});
    const Part rest[] = {
        ellipsoid({-0.31F, 0, 0.03F}, {0.19F, 0.125F, 0.115F}, {0.35F, 0.95F}),
        ellipsoid({-0.1F, 0, 0.02F}, {0.045F, 0.032F, 0.045F}, {0, 0.9F}),
        ellipsoid({0.08F, 0, 0.03F}, {0.15F, 0.062F, 0.065F}, {0, 1}),
        ellipsoid({0.31F, 0, 0.035F}, {0.115F, 0.1F, 0.08F}, {0.15F, 1}),
        from_size(40,
                  nearer(0.02F, both(ellipsoid({0.33F, 0.08F, 0.05F}, {0.02F, 0.014F, 0.02F}, {0, 1}, Paint::Black)))),
        from_size(20, both(limb(Joint::Body, {{0.4F, 0.04F, 0.02F}, {0.455F, 0.045F, 0.01F}, {0.47F, 0.008F, 0.01F}},
                                0.03F, 0.012F, {0.6F, 0.8F}))),
    };
    ant.parts.insert(ant.parts.end(), std::begin(rest), std::end(rest));
    for (const float x : {-0.24F, -0.33F, -0.42F})
        ant.parts.push_back(from_size(
            50, nearer(0.15F, limb(Joint::Body, {{x, 0.1F, 0.07F}, {x - 0.015F, 0, 0.145F}, {x, -0.1F, 0.07F}}, 0.008F,
                                   0.008F, {1, 0.6F}))));
    add_feelers(ant, {0.4F, 0.05F, 0.06F}, {0.44F, 0.17F, 0.1F}, {0.57F, 0.21F, 0.03F}, 0.022F, 12);
    return ant;
}

// ---- Paper ----------------------------------------------------------------------------------------------------

Character paper_plane() {
    Character plane;
    plane.gait = {};
    const auto facet = [](Point a, Point b, Point c, Shade shade) {
        a.corner = b.corner = c.corner = true;
        return both(
            outline(Joint::Body, {a, b, c}, shade, {shade.marks, 0.93F * shade.tone}, {0.5F, 0, 0}, {-0.5F, 0, 0}));
    };
    const Point nose{0.5F, 0.004F, 0.03F}, tip{-0.48F, 0.36F, 0.085F}, crease{-0.5F, 0.17F, 0.05F},
        fold{-0.5F, 0.03F, 0.045F};
    plane.parts = {
        nearer(0.05F, facet(nose, tip, crease, {0, 1})),
        nearer(0.05F, facet(nose, crease, fold, {0, 0.97F})),
        facet(nose, fold, {-0.5F, 0.0F, -0.17F}, {0.25F, 0.92F}),
        from_size(50, nearer(0.2F, both(limb(Joint::Body, {{0.49F, 0.004F, 0.032F}, {-0.49F, 0.17F, 0.053F}}, 0.003F,
                                             0.004F, {1, 0.9F})))),
    };
    return plane;
}

Character modelled(Kind kind) {
    switch (kind) {
        case Kind::Goose:
            return goose();
        case Kind::Bat:
            return bat();
        case Kind::Fish:
            return fish();
        case Kind::Bee:
            return bee();
        case Kind::PaperPlane:
            return paper_plane();
        case Kind::Beetle:
            return beetle();
        case Kind::Ant:
            return ant();
        default:
            return starling();
    }
}

}  // namespace

Character make_character(Kind kind) {
    Character character = modelled(kind);
    for (Part& part : character.parts)
        for (Point& p : part.points) {
            const float lag = character.gait.wave * (0.5F - p.x);
            p.lag_cosine = k7_cos(lag), p.lag_sine = k7_sin(lag);
        }
    return character;
}

}  // namespace flock
