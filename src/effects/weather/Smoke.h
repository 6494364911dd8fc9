// Q_Smoke: particles that rise against gravity and drift with turbulence and wind, drawn as a fog of fine points, as
// streaks or as soft puffs.
//
// Points are drawn into a picture of their own, which is softened as a whole and laid over the background.
#pragma once

#include "effects/engines/controls/ParticleControls.h"
#include "effects/weather/WeatherEffect.h"

struct SmokeInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Smoke",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .history = FrameHistory::Inputs,
        .skipsSmallPreview = true,
        .description = "Particle system simulating Smoke. This effect is in Box Number 1",
        .purpose =
            "Smoke, steam, mist and fog: particles that rise or creep from a line or a matte, drift with wind and "
            "eddies, and are drawn as a fog of fine points, as streaks or as soft puffs.",
        .usage =
            "Connect the shot as Background Clip. Without one the smoke is on black; Smoke Only leaves a connected "
            "shot out.\n"
            "Put Left and Right on the mouth of the source: a chimney, a cup, the whole width of a field. Or connect a "
            "matte as Birth Clip and switch on Use Birth Matte: smoke is born where its red is not black.\n"
            "Pre Roll lets it burn before the first frame; as many frames as Lifetime give a plume that has come to "
            "rest.\n"
            "Points make thin, photographic smoke: many of them at low Opacity, with Point Blur of 1 to 3. Puffs make "
            "thick smoke with few particles: large, and fainter still.\n"
            "If the source burns out to white, lower Opacity or Initial Intensity or raise Position Variance before "
            "you lower Density.\n"
            "Initial Heat and Gravity lift it, Swirl Magnitude breaks it up, Wind bends it. Swirl Time to Max keeps "
            "the column smooth at its foot.\n"
            "Velocities, sizes and blur count pixels of the full size. In a proxy points are fainter, so that the "
            "smoke stays about as dense; its texture is coarser.\n"
            "Put it after the grade, behind foreground that is laid over it, and before grain.\n"};
    enum Look { Point = 1, Streak = 2, Puff = 3 };

    ClipRecord input{this, {.name = "Input", .label = "Background Clip", .shortLabel = "BG"}};
    ClipRecord birth{this, {.name = "Input2", .label = "Birth Clip", .shortLabel = "Birth"}};

    Page pageSmoke{this, "Smoke"};
    PresetChoiceK7 Demos{
        this, {"Demos", "Type"}, "Kind of smoke: sets the births, the look, the forces and the colour."};
    CheckboxControlK7 BlackBG{this,
                              {"BlackBG", "Smoke Only", false, {.keptByPresets = true}},
                              "Shows the smoke over black instead of over the background."};
    StartControls start{this};
    EmitterControls emitter{this,
                            {.left = {0.49, 0.5},
                             .right = {0.51, 0.5},
                             .density = 800.0,
                             .densest = 5000.0,
                             .lifetime = 400.0,
                             .longest = 800.0,
                             .births = EmitterControls::Births::Gusty}};
    FloatControlK7 Extinction{
        this,
        {"Extinction", "Extinction", 80.0, 1.0, 1000.0, {.displayMax = 20.0}},
        "Frames in which smoke thickens after its birth and vanishes before its death, 10 percent more or less."};
    CheckboxControlK7 UseBirthMatte{this,
                                    {"UseBirthMatte", "Use Birth Matte"},
                                    "Keeps births to where the red channel of the birth clip is not black."};
    FloatControlK7 InitialHeat{this,
                               {"InitialHeat", "Initial Heat", 0.0, -200.0, 200.0},
                               "Least velocity at birth against the direction of gravity, in hundredths of a pixel a "
                               "frame at full size; below 0 along it."};
    FloatControlK7 VelocityVar{this,
                               {"VelocityVar", "Velocity Variance", 100.0, 0.0, 100.0},
                               "How much the velocities of smoke at birth differ, in percent."};
    Page pageLook{this, "Look"};
    ListControlK7 LookMode{this,
                           {"LookMode", "Look", 0, {"Point", "Streak", "Puff"}},
                           "How smoke is drawn: as a fog of points, as lines along their way, or as soft puffs."};
    FloatControlK7 PointBlur{this,
                             {"PointBlur", "Point Blur", 1.0, 0.0, 5.0},
                             "Radius of the blur over all points, in pixels at full size; 0 is none."};
    FloatControlK7 PuffSize{
        this, {"PuffSize", "Puff Size", 2.0, 1.0, 20.0}, "Radius of the puffs, in pixels at full size."};
    FloatControlK7 PuffSizeVar{this,
                               {"PuffSizeVar", "Puff Size Variance", 100.0, 0.0, 100.0},
                               "How far puffs differ from Puff Size, in percent of it."};
    Page pageForces{this, "Forces"};
    GravityControls gravity{this, {.on = false, .strength = 0.001, .turnsMore = true}};
    FrictionControls friction{this, 0.05};
    TurbulenceControls turbulence{this, {.density = 22.0, .magnitude = 3.02, .latest = 500.0}};
    WindControls wind{this, {.spread = 33.0, .speed = 16.0}};
    Page pageColour{this, "Colour"};
    FloatControlK7 InitIntensity{this,
                                 {"InitIntensity", "Initial Intensity", 50.0, 0.0, 100.0},
                                 "Opacity of smoke that has thickened, in percent."};
    FloatControlK7 Condensation{this,
                                {"Condensation", "Condensation", 50.0, 0.0, 100.0},
                                "How far smoke has thickened at its birth, in percent: 0 is still invisible."};
    TintControls tint{this, "Smoke"};
    FloatControlK7 Opacity{
        this, {"Opacity", "Opacity", 100.0, 0.0, 100.0}, "Opacity of the smoke as a whole, in percent."};
    FrameRateControlK7 FramesPerSecond{this};

    LineOverlayK7 sourceWidget{this, emitter.left, emitter.right};
    LineOverlayK7 windWidget{this, wind.source, wind.target, true};

    SmokeInfo() {
        scene.look = {{"Demos", "Billow"}};
        Demos.followedByOverlay = wind.on.followedByOverlay = true;
        declarePresets();
        ghost({&PointBlur}, LookMode, isNot(Point));
        ghost({&PuffSize, &PuffSizeVar}, LookMode, isNot(Puff));
        scene.inputs = {"street-small.png"};
        scene.settings = {{"PreRoll", "200"},   {"Left", "0.46,0.1"}, {"Right", "0.54,0.1"}, {"PositionVar", "0.01"},
                          {"Density", "40"},    {"Lifetime", "200"},  {"Extinction", "90"},  {"InitialHeat", "-60"},
                          {"LookMode", "Puff"}, {"PuffSize", "12"},   {"DoGravity", "on"},   {"Gravity", "0.04"},
                          {"GravAngle", "90"},  {"Friction", "0.03"}, {"SwirlDens", "14"},   {"SwirlAmp", "0.35"},
                          {"Opacity", "5"}};
        scene.frame = 60;  // Default begins with an empty frame
    }

  private:
    void declarePresets();
};

struct SmokeMotion : weather::WeatherMotion {
    float extinction;  // frames
    float size, size_var;
    float intensity;
    std::int32_t look;  // LookMode
    std::int32_t birth_matte;
    particles::Wind wind;
};

struct SmokeLook {
    float opacity, shutter, condensation;
    float blur;  // of points, pixels
    std::int32_t points;
};

struct SmokeParticle : FadingParticle {
    float size = 0;
    std::int32_t look = 0;
};

class Smoke final : public weather::WeatherEffect<SmokeInfo, SmokeParticle, SmokeMotion, SmokeLook> {
  protected:
    void readOwn(SmokeMotion& motion, SmokeLook& look) override;
    void births() override;
    bool fillNewborn(SmokeParticle& particle) override;
    void applyForces(SmokeParticle* particles, int count) const override;
    void show(SmokeParticle& particle) override;
    std::uint64_t steeringPictures() const override;
    void background() override;
    void paint(K7Image& result) override;
    void PrepareOverlay() override { windWidget.visible = !wind.source.ghosted(); }

  private:
    SpriteTables m_sprites{weather::LOOK_SEED};
};
