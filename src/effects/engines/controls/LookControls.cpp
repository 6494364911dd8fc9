#include "effects/engines/controls/LookControls.h"

#include <algorithm>
#include <tuple>

LookControls::LookControls(EffectInfo* owner, const Given& given)
    : look(owner,
           {"Look",
            "Look",
            given.look - 1,
            {"Point", "Streak", "Blob", "Star", "Ring", "Flake", "Paper", "Leaf", given.pictureClip}},
           ("Shape of the particles: crisp points, streaks along their way, soft blobs, stars with four rays, rings, "
            "snow crystals, slips of paper, leaves, or the clip " +
            std::string(given.pictureClip) + ", without which they are blobs.")
               .c_str()),
      blend(owner, {"Blend", "Blend", given.blend - 1, {"Over", "Add", "Screen"}},
            "How particles are laid down: over what is there, added to it as light, or screened, which never burns "
            "out."),
      size(owner, {"Size", "Size", given.size, 0.05, 500.0, {.displayMax = 50.0}},
           "Width of a particle, in thousandths of the picture's width."),
      sizeVar(owner, {"SizeVar", "Size Variance", 50.0, 0.0, 100.0},
              "How much sizes differ, in percent: many are small and few large."),
      sizeBirth(owner, {"SizeBirth", "Size at Birth", 100.0, 0.0, 1000.0, {.displayMax = 300.0}},
                "Size of a new particle, in percent of Size."),
      sizeDeath(owner, {"SizeDeath", "Size at Death", 100.0, 0.0, 1000.0, {.displayMax = 300.0}},
                "Size that it has reached when it dies, in percent of Size."),
      softness(owner, {"Softness", "Softness", 100.0, 0.0, 100.0},
               "How soft blobs are: 0 is a disc with a crisp edge, 100 fades from the middle on."),
      length(owner, {"StreakLength", "Streak Length", 2.0, 0.0, 50.0, {.displayMax = 10.0}},
             "Length of streaks, in frames of their way."),
      turns(owner, {"Turning", "Turning", 0, {"Spinning", "Along the Way"}},
            "Shapes are turned at random and spin, or point where they fly."),
      spin(owner, {"Spin", "Spin", 3.0, 0.0, 180.0, {.displayMax = 30.0}},
           "How fast shapes spin, in degrees a frame: some this way, some that, some hardly at all."),
      tumble(owner, {"Tumble", "Tumble", 0.0, 0.0, 180.0, {.displayMax = 30.0}},
             "How fast flakes, papers, leaves and images turn over as they fly, in degrees a frame; 0 faces the "
             "viewer."),
      glow(owner, {"Glow", "Glow", 0.0, 0.0, 100.0}, "Strength of a halo of light around each particle, in percent.") {
    owner->ghost({&softness}, look, isNot(Blob));
    owner->ghost({&length}, look, isNot(Streak));
    owner->ghost({&turns, &spin, &tumble}, look, below(Star));
}

LifeControls::LifeControls(EffectInfo* owner, const Given& given)
    : birth(owner, {"ColourBirth", "Colour at Birth", given.birth.red, given.birth.green, given.birth.blue},
            "Colour of new particles."),
      middle(owner, {"ColourMiddle", "Middle Colour", given.middle.red, given.middle.green, given.middle.blue},
             "Colour half way through their life."),
      death(owner, {"ColourDeath", "Colour at Death", given.death.red, given.death.green, given.death.blue},
            "Colour when they die."),
      change(owner, {"ColourChange", "Colour Change", 100.0, 0.0, 100.0},
             "How far colours go from that at the birth to the other two, in percent; 0 keeps it for life."),
      hueVar(owner, {"HueVar", "Hue Variance", 0.0, 0.0, 100.0},
             "How much hues differ between particles, in percent: 100 is all around the colour circle."),
      lightVar(owner, {"LightVar", "Brightness Variance", 20.0, 0.0, 100.0},
               "How much their brightness differs, in percent."),
      gain(owner, {"Brightness", "Brightness", 100.0, 0.0, 1000.0, {.displayMax = 400.0}},
           "Brightness of the colours, in percent; light above 100 glows through where particles lie on each other."),
      opacity(owner, {"Opacity", "Opacity", 100.0, 0.0, 100.0}, "Opacity of the particles, in percent."),
      fadeIn(owner, {"FadeIn", "Fade In", given.fadeIn, 0.0, 100.0},
             "Part of the life in which a particle appears, in percent."),
      fadeOut(owner, {"FadeOut", "Fade Out", given.fadeOut, 0.0, 100.0},
              "Part of the life in which it vanishes, in percent."),
      twinkle(owner, {"Twinkle", "Twinkle", 0.0, 0.0, 100.0},
              "How much particles twinkle, in percent: at 100 they go out between flashes."),
      twinkleRate(owner, {"TwinkleRate", "Twinkle Rate", 12.0, 0.1, 100.0},
                  "Flashes of a particle in 100 frames; each has its own pace, half as fast to half again.") {}

namespace particles {

void read_look(const FrameShape& frame, const LookControls& look, const LifeControls& life, float shutter,
               ParticleLook& out) {
    constexpr float DEGREE = 0.017453292519943295f;
    const auto number = [](const FloatControlK7& control) { return static_cast<float>(control.limited()); };
    out.look = static_cast<SpriteLook>(look.look.value - 1);
    out.blend = static_cast<DrawBlend>(look.blend.value - 1);
    out.size = number(look.size) * 0.5f * frame.width / 1000;
    out.size_var = look.sizeVar.percent();
    out.size_birth = look.sizeBirth.percent();
    out.size_death = look.sizeDeath.percent();
    out.softness = look.softness.percent();
    out.length = number(look.length);
    out.shutter = std::max(shutter, 0.0f);
    out.along_way = look.turns.value == LookControls::AlongTheWay;
    out.spin = number(look.spin) * DEGREE;
    out.tumble = number(look.tumble) * DEGREE;
    out.glow = look.glow.percent();
    out.opacity = life.opacity.percent();
    out.fade_in = life.fadeIn.percent();
    out.fade_out = life.fadeOut.percent();
    out.twinkle = life.twinkle.percent();
    out.twinkle_rate = number(life.twinkleRate) / 100;
    out.change = life.change.percent();
    out.light_var = life.lightVar.percent();
    out.gain = life.gain.percent();
    const auto& [birth, middle, death] = std::tie(life.birth, life.middle, life.death);
    const float stages[ParticleLook::STAGES][3] = {{birth.red, birth.green, birth.blue},
                                                   {middle.red, middle.green, middle.blue},
                                                   {death.red, death.green, death.blue}};
    out.set_colours(stages, life.hueVar.percent());
}

}  // namespace particles
