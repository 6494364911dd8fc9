// Q_FireBall: a ball of fire with a tail.
//
// What an artist uses it for: meteors and burning shots across the sky, torches, the breath of dragons, spells, suns;
// anything that burns and moves.
//
// Gas leaves the ball at every moment, keeps some of its speed, and is carried by wind and by its own heat. So what is
// seen now is where the ball has been: its way is read from the curve of its handle at earlier frames, or is an arc
// from a start to a finish. A place in the picture belongs to the youngest gas that covers it. That gas's age and its
// direction from its middle put it on a round rod whose cap is the ball (FireTrail.h); flames are gradient noise on
// this rod (K. Perlin, "An Image Synthesizer", 1985), each octave displacing the next, so that they curl, and they
// travel with the gas. Eddies of the air, noise again, carry the gas about the more the older it is. Heat above a
// threshold that rises with age shines; a film's shoulder turns bright red light into orange, yellow and white.
// What has burnt out is smoke. Embers are thrown from the ball, each on a path of its own.
//
// What steers it: the Background lies under the fire and is lit by it; without one the fire is drawn over nothing. The
// Matte says where fire is: it hides all of it, or only what burns, behind things that the glow still falls over.
//
// What moves: the ball by its curve, and its flames by the frame's number; nothing is kept from frame to frame.
#pragma once

#include <array>

#include "Library2/PluginK7.h"
#include "effects/natural/FireTrail.h"
#include "noiselib/solidnoise.h"

struct FireBallInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "FireBall",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .description = "A ball of fire with a tail. This effect is in Box Number 1",
        .purpose =
            "A ball of fire that flies or stands, with a tail of flames, smoke and embers: meteors, comets, burning "
            "shots, torches, a dragon's breath, spells and suns.",
        .usage =
            "Connect the shot as Background Clip, or nothing for the fire alone. Begin with a preset.\n"
            "With Motion on Arc the ball flies from Start to Finish and on, without any keys. With Handle it is where "
            "Centre is: set keys, and the tail follows where it has been.\n"
            "A ball that stands has a tail where Wind or Rise carry its gas; with Wind it is a jet.\n"
            "A matte of what is in front goes into Matte, white where fire may be seen. On Occlude the glow still "
            "falls over what hides the ball.\n"
            "Any frame can be rendered by itself. Wind, Rise and the like can't have keys, since they have carried all "
            "gas that is seen.\n"
            "Without a background the output is light over nothing with its opacity: composite it as premultiplied.\n"
            "Sizes are parts of the picture's width, so a proxy shows the same fire.\n"};
    enum Motions { Arc = 1, Handle = 2 };
    enum MatteModes { Hide = 1, Occlude = 2 };

    ClipRecord input{this, {.name = "Input", .label = "Background Clip"}};
    ClipRecord matte{this, {.name = "Matte", .label = "Matte"}};

    Page page{this, "FireBall"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "A kind of fire: sets all controls but places and times."};
    ListControlK7 Motion{this,
                         {"Motion", "Motion", 0, {"Arc", "Handle"}},
                         "Whether the ball flies from Start to Finish, or is where Centre is."};
    PositionControlK7 Start{this, {"Start", "Start", 0.32, 0.7}, "Where the ball is at the frame of Start At."};
    PositionControlK7 Finish{this, {"Finish", "Finish", 0.86, 0.42}, "Where it is after Duration."};
    FloatControlK7 ArcHeight{this,
                             {"ArcHeight", "Arc Height", 3.0, -100.0, 100.0},
                             "How high the arc rises above the straight line, in "
                             "percent of the picture's width."};
    IntegerControlK7 StartAt{this,
                             {"StartAt", "Start At", 0, -100000, 100000, {.animates = false, .keptByPresets = true}},
                             "Frame at which the ball is at Start, counted from the first one; before and after it is "
                             "further along the same arc."};
    IntegerControlK7 Duration{this,
                              {"Duration", "Duration", 60, 1, 100000, {.animates = false, .keptByPresets = true}},
                              "Frames from Start to Finish."};
    PositionControlK7 Centre{
        this, {"Centre", "Centre", 0.5, 0.5}, "Centre of the ball; its keys are the way that the tail follows."};
    SizeControlK7 Radius{this, {"Radius", "Radius", 0.075, 0.002, 1.0}, "Of the ball, in half widths of the picture."};
    FloatControlK7 Shutter{this,
                           {"Shutter", "Shutter", 50.0, 0.0, 100.0, {.keptByPresets = true}},
                           "How long the shutter is open, in percent of a frame: what moves is blurred."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 1908, 1, 9999, {.animates = false, .keptByPresets = true}},
                          "Another number gives other flames."};

    Page tailPage{this, "Tail"};
    FloatControlK7 TailTime{this,
                            {"TailTime", "Tail Time", 36.0, 1.0, 400.0, {.animates = false, .displayMax = 100.0}},
                            "How long gas burns, in frames."};
    FloatControlK7 EndWidth{this,
                            {"EndWidth", "End Width", 130.0, 0.0, 1000.0, {.animates = false, .displayMax = 400.0}},
                            "Width of the tail where it has burnt, in percent of the ball's."};
    FloatControlK7 Momentum{this,
                            {"Momentum", "Momentum", 25.0, 0.0, 100.0, {.animates = false}},
                            "How much of the ball's speed gas keeps at first, in percent."};
    FloatControlK7 Rise{this,
                        {"Rise", "Rise", 0.1, -10.0, 10.0, {.animates = false}},
                        "How fast hot gas rises, in percent of the picture's width a frame."};
    FloatControlK7 Wind{this,
                        {"Wind", "Wind", 0.0, 0.0, 20.0, {.animates = false}},
                        "How fast gas is carried off, in percent of the picture's width a frame."};
    AngleControlK7 WindAngle{this,
                             {"WindAngle", "Wind Angle", 0.0, -3600.0, 3600.0, {.animates = false}},
                             "Where to, in degrees: 0 is to the right, 90 upwards."};
    FloatControlK7 Stir{this,
                        {"Stir", "Stir", 60.0, 0.0, 400.0, {.displayMax = 200.0}},
                        "How far eddies of the air carry the gas, in percent of the ball's radius."};
    FloatControlK7 StirSize{this,
                            {"StirSize", "Stir Size", 150.0, 10.0, 1000.0, {.displayMax = 400.0}},
                            "Of these eddies, in percent of the ball's radius."};
    FloatControlK7 BreakUp{
        this, {"BreakUp", "Break Up", 60.0, 0.0, 200.0}, "How much the tail falls apart into tongues, in percent."};
    FloatControlK7 Cooling{
        this, {"Cooling", "Cooling", 40.0, 0.0, 100.0}, "How much the gas cools while it burns, in percent."};

    Page flamesPage{this, "Flames"};
    FloatControlK7 Turbulence{
        this, {"Turbulence", "Turbulence", 100.0, 0.0, 200.0}, "How wild the flames are, in percent."};
    FloatControlK7 Size{this,
                        {"Size", "Size", 100.0, 5.0, 500.0, {.displayMax = 200.0}},
                        "Of the flames, in percent of the ball's radius."};
    FloatControlK7 Stretch{this, {"Stretch", "Stretch", 2.0, 0.1, 20.0}, "How many times as long as wide flames are."};
    FloatControlK7 Detail{
        this, {"Detail", "Detail", 60.0, 0.0, 100.0}, "How much there is of fine flames, in percent."};
    FloatControlK7 Curl{this, {"Curl", "Curl", 60.0, 0.0, 200.0}, "How much flames roll up, in percent."};
    FloatControlK7 Filaments{this,
                             {"Filaments", "Filaments", 75.0, 0.0, 100.0},
                             "Whether fire is lumps (0) or bright threads and sheets (100)."};
    FloatControlK7 Churn{this,
                         {"Churn", "Churn", 100.0, 0.0, 1000.0, {.animates = false, .displayMax = 300.0}},
                         "How fast flames and eddies change, in percent."};
    FloatControlK7 Softness{
        this, {"Softness", "Softness", 10.0, 0.0, 100.0}, "How much the fire thins out towards its edges, in percent."};

    Page lightPage{this, "Light"};
    FloatControlK7 Brightness{
        this, {"Brightness", "Brightness", 100.0, 0.0, 1000.0, {.displayMax = 300.0}}, "Of the fire, in percent."};
    FloatControlK7 Contrast{this, {"Contrast", "Contrast", 80.0, 0.0, 100.0}, "Of bright and dim flames, in percent."};
    FloatControlK7 Opacity{
        this, {"Opacity", "Opacity", 50.0, 0.0, 200.0}, "How much fire hides what is behind it, in percent."};
    FloatControlK7 Core{this, {"Core", "Core", 60.0, 0.0, 300.0}, "Heat in the middle of the ball, in percent."};
    FloatControlK7 CoreSize{this, {"CoreSize", "Core Size", 90.0, 5.0, 300.0}, "Of this core, in percent of the ball."};
    ColourControlK7 FlameColour{
        this, {"FlameColour", "Flame Colour", 1.0F, 0.36F, 0.07F}, "Colour of flames; bright ones turn lighter."};
    ColourControlK7 EdgeColour{
        this, {"EdgeColour", "Edge Colour", 1.0F, 0.15F, 0.03F}, "Colour of the coolest flames."};
    FloatControlK7 Glow{
        this, {"Glow", "Glow", 50.0, 0.0, 500.0, {.displayMax = 200.0}}, "Light around the fire, in percent."};
    FloatControlK7 GlowReach{
        this, {"GlowReach", "Glow Reach", 5.0, 0.2, 50.0}, "How far it reaches, in percent of the picture's width."};
    FloatControlK7 Light{this,
                         {"Light", "Light", 100.0, 0.0, 1000.0, {.displayMax = 300.0}},
                         "How much the glow brightens the background that it lies over, in percent."};
    ListControlK7 MatteMode{this,
                            {"MatteMode", "Matte Mode", 0, {"Hide", "Occlude"}, {.keptByPresets = true}},
                            "Where the matte is black there is nothing of the fire, or its glow alone."};

    Page smokePage{this, "Smoke and Embers"};
    FloatControlK7 Smoke{this, {"Smoke", "Smoke", 60.0, 0.0, 100.0}, "Opacity of smoke, in percent."};
    FloatControlK7 SmokeTime{this,
                             {"SmokeTime", "Smoke Time", 1.5, 0.1, 10.0, {.animates = false}},
                             "How long smoke is seen after the fire, in Tail Times."};
    FloatControlK7 SmokeWidth{this,
                              {"SmokeWidth", "Smoke Width", 80.0, 0.0, 500.0, {.animates = false}},
                              "How much wider it grows in a Tail Time, in percent of the ball's width."};
    ColourControlK7 SmokeColour{
        this, {"SmokeColour", "Smoke Colour", 0.1F, 0.095F, 0.09F}, "Colour of smoke in the light."};
    FloatControlK7 Embers{this,
                          {"Embers", "Embers", 8.0, 0.0, 100.0, {.animates = false, .displayMax = 30.0}},
                          "How many are thrown in a frame."};
    FloatControlK7 EmberLife{this,
                             {"EmberLife", "Ember Life", 40.0, 1.0, 1000.0, {.animates = false, .displayMax = 200.0}},
                             "How long they glow, in frames."};
    FloatControlK7 EmberSize{
        this, {"EmberSize", "Ember Size", 0.2, 0.01, 5.0, {.displayMax = 1.0}}, "In percent of the picture's width."};
    FloatControlK7 EmberSpeed{this,
                              {"EmberSpeed", "Ember Speed", 0.4, 0.0, 20.0, {.animates = false, .displayMax = 5.0}},
                              "With which they are thrown, in percent of the picture's width a frame."};
    FloatControlK7 EmberFall{this,
                             {"EmberFall", "Ember Fall", 0.01, -1.0, 1.0, {.animates = false}},
                             "How much faster they fall with each frame, in percent of the picture's width."};
    FrameRateControlK7 FramesPerSecond{this};

    LineOverlayK7 arcWidget{this, Start, Finish, true};
    CrosshairOverlayK7 centreWidget{this, Centre};
    CircleOverlayK7 startRadiusWidget{this, Start, Radius};
    CircleOverlayK7 radiusWidget{this, Centre, Radius};

    FireBallInfo();

  private:
    void declarePresets();
};

class FireBall final : public Effect<FireBallInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;

  private:
    // What is worked out once for a picture.
    struct Frame {
        double now;
        float width;     // pixels
        float aspect;    // of a pixel
        float tallness;  // of the picture, in widths
        float radius;    // of the ball now, in widths
        std::uint32_t seed;
        float change;  // of flames since frame 0
        float x_of(float column) const { return (column + 0.5F) / width; }
        float y_of(float row) const { return (row + 0.5F) / (width * aspect); }
    };
    // A part of the picture: light that is not limited, and opacity; of smoke colours multiplied by it.
    struct Layer {
        int left = 0, bottom = 0;  // its first pixel, in pixels of its own
        ImagePtr image;
    };
    struct Noise;  // flames on the rod
    Frame frame() const;
    FireSource sourceAt(int frame, double tallness) const;
    FirePath path(double tallness) const;
    FireWind wind() const;
    using Colour = std::array<float, 3>;
    static Colour colourOf(const ColourControlK7& control);
    FireLook look() const;
    static Layer layerOver(const Frame& f, const FireGrid& grid, const K7Image& picture, int coarseness, int channels);
    Layer burn(const Frame& f, const FireGrid& grid) const;
    void smear(const Frame& f, const FirePath& path, Layer& fire) const;
    ImagePtr glowOf(const Frame& f, const Layer& fire) const;
    Layer smokeOf(const Frame& f, const FireGrid& grid, const K7Image& glow) const;
    void addEmbers(const Frame& f, const FirePath& path, const FireWind& wind, const FireAir& air,
                   const SolidNoise& noise);
    void compose(K7Image& picture, const Layer* fire, const Layer* smoke, const K7Image* glow) const;
    void hideBy(const K7Image& without);
};
