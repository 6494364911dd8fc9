// Q_Water: the picture below rippling water.
//
// A plane of heights follows a wave equation from frame to frame: the new height is twice the blurred present one less
// the one before. Drops of rain or a clip of drips push it, a clip of walls throws it back, and the picture is seen
// through it.
#pragma once

#include "effects/engines/replay/ClockedEffect.h"
#include "effects/water/SurfaceControls.h"

struct WaterInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Water",
        .menu = "Natural Phenomena",
        .overlay = true,
        .otherFrames = true,
        .history = FrameHistory::Inputs,
        .description = "Simulates ripples on water. This effect is in Box Number 1",
        .purpose =
            "Ripples that run, meet and are thrown back as on real water, pushed by rain or by anything that moves in "
            "a second clip: a wading actor, a title, a boat.",
        .usage =
            "Connect the shot as Background clip, and raise Refractive Index above 1: at 1 the picture is left as it "
            "is. 1.1 is calm water, 1.4 bends strongly.\n"
            "Rain falls by itself. Rain Frequency, Rain Power and Rain Size say how hard; few large drops make rings, "
            "many small ones a tremble.\n"
            "With Use Drips Input on, what is bright in the Drip shape clip pushes the water instead: white shapes on "
            "black that move leave a wake.\n"
            "With Use Walls Input on, ripples live where the Walls clip is bright and are thrown back where it is "
            "black. Wall Clip Min and Max cut it.\n"
            "Ripple Wavelength is also the speed: long ripples run fast. Ripple Damping says how soon they are gone.\n"
            "PreRoll lets it have rained before the first frame. Every frame before is simulated once, so that a jump "
            "far ahead takes a while.\n"
            "Lighting makes ripples seen over flat colours. Light Softness takes the grain from small ones.\n"
            "Sizes in pixels are those of the full size; a proxy ripples alike, but not to the drop.\n"};
    enum Output { FullRender = 1, RippleMap };

    ClipRecord input{this, {.name = "Back", .label = "Background clip", .required = true}};
    ClipRecord drips{this, {.name = "Drips", .label = "Drip shape", .temporal = true}};
    ClipRecord walls{this, {.name = "Walls", .label = "Walls", .temporal = true}};

    Page page{this, "Water"};
    ListControlK7 OutType{this,
                          {"OutType", "Output Type", 0, {"Full Render", "Ripple Map"}},
                          "Shows the picture below the water, or the heights of the water: 0 is still, and they go "
                          "below it."};
    IntegerControlK7 PreRoll{
        this, {"PreRoll", "PreRoll", 0, 0, 99}, "How many frames the water has rippled before the first frame."};
    FloatControlK7 RippleWavelength{this,
                                    {"RippleWavelength", "Ripple Wavelength", 12.0, 2.0, 100.0},
                                    "Length of the ripples, about, in pixels at full size; long ones run faster."};
    FloatControlK7 RippleDamping{this,
                                 {"RippleDamping", "Ripple Damping", 0.01, 0.0, 1.0},
                                 "Share of their height that ripples lose in a frame; 0 lets them run for ever."};
    CheckboxControlK7 UseDrips{
        this, {"UseDrips", "Use Drips Input"}, "Lets the luminance of the drip clip push the water instead of rain."};
    FloatControlK7 RainSeed{
        this, {"RainSeed", "Rain Seed", 0.4, 0.0, 1.0}, "Seed of the rain: each number makes other drops."};
    FloatControlK7 RainFreq{this,
                            {"RainFreq", "Rain Frequency", 50.0, 0.0, 100.0},
                            "Chance of a drop in each strip of 16 rows in a frame, in percent; 0 is no rain."};
    FloatControlK7 RainPower{
        this, {"RainPower", "Rain Power", 0.8, 0.0, 1.0}, "Height that the middle of a drop adds to the water."};
    FloatControlK7 RainSize{
        this, {"RainSize", "Rain Size", 20.0, 0.0, 100.0}, "Radius of a drop, in tenths of a pixel at full size."};
    FloatControlK7 RefractiveIndex{this,
                                   {"RefractiveIndex", "Refractive Index", 1.0, 0.5, 1.5},
                                   "How strongly the water bends the light: 1 leaves the picture as it is, above it "
                                   "bends as water does. Below it light is thrown back at slopes and tears the "
                                   "picture."};

    Page lightPage{this, "Light"};
    SurfaceControls surface{this, {.heightLabel = "Light Z"}};
    FloatControlK7 LightSoftness{this,
                                 {"LightSoftness", "Light Softness", 10.0, 0.0, 100.0},
                                 "Radius of the blur of the highlights, in pixels at full size."};

    Page wallsPage{this, "Walls"};
    CheckboxControlK7 UseWalls{this,
                               {"UseWalls", "Use Walls Input"},
                               "Takes the wall clip for the shores: white is open water, black throws ripples back."};
    FloatControlK7 WallMin{
        this, {"WallMin", "Wall Clip Min", 0.0, 0.0, 1.0}, "Luminance of the wall clip up to which there is no water."};
    FloatControlK7 WallMax{
        this, {"WallMax", "Wall Clip Max", 1.0, 0.0, 1.0}, "Luminance of the wall clip from which the water is open."};

    CrosshairOverlayK7 lightWidget{this, surface.Light, true};

    WaterInfo() {
        ghost({&RainSeed, &RainFreq, &RainPower, &RainSize}, UseDrips, isOn);
        ghost({&RefractiveIndex, &surface.ChromaticAb}, OutType, is(RippleMap));
        ghost({&LightSoftness}, surface.DoLight, isOff);
        ghost({&WallMin, &WallMax}, UseWalls, isOff);
        scene.inputs = {"seeding-small.png"};
        scene.settings = {{"RefractiveIndex", "1.4"}, {"PreRoll", "30"},     {"RainFreq", "12"}, {"RainSize", "40"},
                          {"RippleWavelength", "6"},  {"DoLight", "1"},      {"Gloss", "20"},    {"LightZ", "1.5"},
                          {"LightBright", "40"},      {"LightSoftness", "1"}};
        scene.look = {{"RefractiveIndex", "1.4"}, {"PreRoll", "60"},     {"RainFreq", "2.5"}, {"RainSize", "100"},
                      {"RippleWavelength", "12"}, {"DoLight", "1"},      {"Gloss", "20"},     {"LightZ", "1.5"},
                      {"LightBright", "40"},      {"LightSoftness", "2"}};
        scene.frame = 20;
    }
};

class Water final : public ClockedEffect<WaterInfo> {
  protected:
    SimulationTiming timing() const override;
    std::uint64_t readControls() override;
    bool readInputs(int frame_number, std::uint64_t* sum) override;
    void begin() override;
    bool advance() override;
    void state(StateWalk& walk) override;
    void finish(K7Image& result) override;
    void FramePrepare(WaterInfo& plan, const FrameSpan& frames) const override;
    void PrepareOverlay() override { lightWidget.visible = !surface.Light.ghosted(); }

  private:
    // What steers steps; lengths in pixels.
    struct Ripples {
        float blur, damping;
        std::int32_t pre_roll;
        std::int32_t use_drips, use_walls;
        float seed, rate, power, radius;
        float wall_min, wall_max;
    };

    ImagePtr luminance(ClipRecord& clip, int frame_number);
    void rain();
    void splash(float x, float y);
    void addDrips();
    void ripple();

    Ripples m_ripples{};
    ImagePtr m_heights, m_before;  // one channel: the present and the one before
    ImagePtr m_blurred;
    ImagePtr m_drips, m_walls;  // of the step; null where they are not used
};
