// Q_Aurora: northern lights, curtains in folds with rays, over a night sky.
//
// What an artist uses it for: an aurora behind a landscape, a title or a whole night sky, from a still arc at the
// horizon to a corona overhead; its light in a plate that was shot without one.
//
// A curtain is a line in a plane, that of its lower border at about 100 km, from which light hangs up along the lines
// of the earth's field. The line goes through points that the user sets in the picture; slow waves, folds and ripples
// carry it, curls wind it up, and points of suction draw it towards them (AuroraCurtains.h). The point where verticals
// meet in the picture says how the camera looks at that plane, and so where the horizon lies (AuroraCamera.h). Light by
// height follows published emission profiles: oxygen's green above the lower border, its red from 200 km on, nitrogen's
// violet at the border. All lines of sight of one azimuth share a sum of such profiles, so that a picture costs little
// more than its folds (AuroraMap.h): Baranoski and others, "Simulating the Aurora Borealis", 2000, draw the same
// light from samples of electron beams.
//
// What steers it: Sky is what the light is laid over, as a print of two exposures. Matte holds the light to where it is
// bright, the sky, and lets it fall on the rest as on snow; without it the light is everywhere above the horizon.
//
// What moves: waves, ripples, rays and flickering each at a speed of their own, all as functions of the frame's number,
// so that any frame can be rendered by itself. With all speeds at 0 the aurora stands still. Shutter blurs what
// moves while it is open.
#pragma once

#include <array>
#include <vector>

#include "Library2/PluginK7.h"
#include "effects/sky/AuroraMap.h"

struct AuroraInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Aurora",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .description = "The Aurora Borealis visited with swirling streaks. This effect is in Box Number 1",
        .purpose =
            "Northern lights: folded curtains with rays in perspective, green below and red above, that wave, ripple "
            "and curl; from a quiet arc to a storm or a corona overhead.",
        .usage =
            "Connect the night plate as Sky. Without one the aurora is on transparent black; Aurora Only leaves a "
            "connected one out.\n"
            "Begin with a preset: it sets the line and the camera too. Then drag the points of the base line, along "
            "which the lower border runs, and the vanishing point, where all rays lead.\n"
            "The horizon follows from the vanishing point and the field of view; the thin line in the viewer shows "
            "it. Put it on the horizon of the plate: points near it are far away.\n"
            "Connect a matte of the sky as Matte, and the aurora is behind hills and trees; Ground Light then lays "
            "its colour on them.\n"
            "Dim Sky makes a plate darker that is too bright for an aurora.\n"
            "A point of suction draws the curtains towards it within its circle, and winds them up by its twist: one "
            "that is animated leads the lights across the sky.\n"
            "For a photograph taken over seconds set Shutter to 50 frames or more; for a film in real time to 0.5.\n"
            "Any frame can be rendered by itself. Sizes are parts of the picture's width, so a proxy shows the same.\n"
            "Put it after the grade, before grain; a touch of Glow goes with a soft lens.\n"};
    static constexpr int MOST_CURTAINS = 6, MOST_POINTS = 5, SUCTIONS = 3;

    ClipRecord sky{this, {.name = "Input1", .label = "Sky"}};
    ClipRecord matte{this, {.name = "Input2", .label = "Matte"}};

    Page page{this, "Aurora"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "A whole look: sets all other controls, the points too."};
    CheckboxControlK7 AuroraOnly{this,
                                 {"AuroraOnly", "Aurora Only", false, {.keptByPresets = true}},
                                 "Shows the aurora alone, on transparent black."};
    FloatControlK7 Brightness{this,
                              {"Brightness", "Brightness", 100.0, 0.0, 1000.0, {.displayMax = 300.0}},
                              "Light of the curtains, in percent: strong light turns paler, as on film."};
    IntegerControlK7 Curtains{
        this, {"Curtains", "Curtains", 3, 1, MOST_CURTAINS}, "How many curtains hang one behind another."};
    FloatControlK7 Spacing{this,
                           {"Spacing", "Spacing", 22.0, 0.0, 200.0},
                           "How much farther away each further curtain is, in percent of the first one's distance."};
    FloatControlK7 FallOff{this,
                           {"FallOff", "Fall Off", 70.0, 0.0, 200.0},
                           "Brightness of each further curtain, in percent of the one before it."};
    FloatControlK7 Height{this,
                          {"Height", "Height", 100.0, 10.0, 400.0},
                          "How far up the light reaches, in percent of what is measured in nature."};
    FloatControlK7 Thickness{this,
                             {"Thickness", "Thickness", 0.35, 0.0, 20.0, {.displayMax = 5.0}},
                             "Of the curtains, in percent of the picture's width: thick ones have soft folds."};
    FloatControlK7 Rays{this,
                        {"Rays", "Rays", 60.0, 0.0, 150.0},
                        "Contrast of the rays in the curtains, in percent; 0 is an even band."};
    FloatControlK7 RaySize{
        this, {"RaySize", "Ray Size", 1.1, 0.1, 20.0}, "Width of the rays, in percent of the picture's width."};
    FloatControlK7 TallRays{this,
                            {"TallRays", "Tall Rays", 60.0, 0.0, 200.0},
                            "How much light the rays have above the bright lower part, in percent."};
    FloatControlK7 Patches{this,
                           {"Patches", "Patches", 60.0, 0.0, 200.0},
                           "How much the brightness varies along the curtains, in percent."};

    Page swirlPage{this, "Swirling"};
    FloatControlK7 Folds{this,
                         {"Folds", "Folds", 80.0, 0.0, 300.0},
                         "Depth of the folds, in percent of their size; above 60 they "
                         "hang over each other."};
    FloatControlK7 FoldSize{
        this, {"FoldSize", "Fold Size", 16.0, 1.0, 200.0}, "Of a fold, in percent of the picture's width."};
    FloatControlK7 Ripples{this,
                           {"Ripples", "Ripples", 25.0, 0.0, 300.0},
                           "Depth of the small waves that run along the curtains, in percent of their size."};
    FloatControlK7 RippleSize{
        this, {"RippleSize", "Ripple Size", 3.5, 0.3, 50.0}, "Of a ripple, in percent of the picture's width."};
    FloatControlK7 Curls{
        this, {"Curls", "Curls", 0.0, 0.0, 300.0}, "How far the curtains are wound up in curls, in percent of a turn."};
    FloatControlK7 CurlSize{
        this, {"CurlSize", "Curl Size", 5.0, 0.5, 50.0}, "Radius of a curl, in percent of the picture's width."};
    FloatControlK7 WaveSpeed{this,
                             {"WaveSpeed", "Wave Speed", 100.0, 0.0, 2000.0, {.animates = false, .displayMax = 400.0}},
                             "Of waves, folds and curls, in percent: 100 changes a fold in about 10 seconds."};
    FloatControlK7 RippleSpeed{
        this,
        {"RippleSpeed", "Ripple Speed", 100.0, -2000.0, 2000.0, {.animates = false, .displayMax = 400.0}},
        "Of ripples along the curtains, in percent: 100 is a ripple in 2 seconds; below 0 to the other side."};
    FloatControlK7 RaySpeed{
        this,
        {"RaySpeed", "Ray Speed", 100.0, -2000.0, 2000.0, {.animates = false, .displayMax = 400.0}},
        "How fast rays drift and change along the curtains, in percent: 100 is a ray's width in a second."};
    FloatControlK7 Flicker{this,
                           {"Flicker", "Flicker", 100.0, 0.0, 2000.0, {.animates = false, .displayMax = 400.0}},
                           "How fast rays and patches light up and go out, in percent."};
    FloatControlK7 Shutter{this,
                           {"Shutter", "Shutter", 0.5, 0.0, 1000.0, {.displayMax = 100.0}},
                           "How long the shutter is open, in frames: what moves meanwhile is blurred."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 271, 1, 9999, {.animates = false, .keptByPresets = true}},
                          "Another number gives another aurora."};

    Page lightPage{this, "Lighting"};
    ColourControlK7 MainColour{this,
                               {"MainColour", "Main Colour", 0.13f, 1.0f, 0.40f},
                               "Of the bright lower part: oxygen's green, as photographs have it."};
    ColourControlK7 UpperColour{
        this, {"UpperColour", "Upper Colour", 0.95f, 0.08f, 0.36f}, "Of the light above it: oxygen's red."};
    FloatControlK7 Upper{this,
                         {"Upper", "Upper Light", 40.0, 0.0, 1000.0, {.displayMax = 300.0}},
                         "Strength of the light above, in percent."};
    ColourControlK7 FringeColour{
        this, {"FringeColour", "Fringe Colour", 0.95f, 0.15f, 0.75f}, "Of the lower border: nitrogen's violet."};
    FloatControlK7 Fringe{this,
                          {"Fringe", "Fringe", 40.0, 0.0, 1000.0, {.displayMax = 300.0}},
                          "Strength of the border where curtains are bright, in percent."};
    FloatControlK7 Glow{
        this, {"Glow", "Glow", 30.0, 0.0, 300.0}, "Light spread closely around the curtains, in percent."};
    FloatControlK7 Veil{
        this, {"Veil", "Veil", 45.0, 0.0, 300.0}, "Faint light spread widely between the curtains, in percent."};
    FloatControlK7 HorizonHaze{this,
                               {"HorizonHaze", "Horizon Haze", 30.0, 0.0, 300.0},
                               "How much light the air takes away towards the horizon, in percent."};
    FloatControlK7 DimSky{
        this, {"DimSky", "Dim Sky", 0.0, 0.0, 100.0}, "How much darker the sky behind the aurora becomes, in percent."};
    FloatControlK7 GroundLight{this,
                               {"GroundLight", "Ground Light", 50.0, 0.0, 1000.0, {.displayMax = 300.0}},
                               "Light that falls on what the Matte leaves out, in percent."};
    CheckboxControlK7 InvertMatte{this,
                                  {"InvertMatte", "Invert Matte", false, {.keptByPresets = true}},
                                  "The aurora shows where the Matte is dark."};

    Page pointsPage{this, "Points"};
    PositionControlK7 VanishPoint{this,
                                  {"VanishPoint", "Vanishing Point", 0.5, 3.2},
                                  "Where the rays lead: verticals meet there. Above the picture the camera looks at a "
                                  "horizon, in the picture upwards."};
    FloatControlK7 FieldOfView{
        this, {"FieldOfView", "Field of View", 80.0, 10.0, 150.0}, "Of the picture's width, in degrees."};
    ListControlK7 PointCount{
        this, {"PointCount", "Points", 3, {"2", "3", "4", "5"}}, "How many points the base line goes through."};
    CheckboxControlK7 Loop{this, {"Loop", "Loop"}, "Closes the line from the last point to the first one."};
    FloatControlK7 Ends{this,
                        {"Ends", "Ends", 15.0, 0.0, 50.0},
                        "Part of the line over which the light comes in at each end, in percent."};
    PositionControlK7 Point1{this, {"Point1", "Point 1", -0.25, 0.44}, "Where the base line begins."};
    PositionControlK7 Point2{this, {"Point2", "Point 2", 0.2, 0.30}, "The next one, as far as Points counts them."};
    PositionControlK7 Point3{this, {"Point3", "Point 3", 0.5, 0.36}, "The next one."};
    PositionControlK7 Point4{this, {"Point4", "Point 4", 0.85, 0.58}, "The next one."};
    PositionControlK7 Point5{this, {"Point5", "Point 5", 1.3, 0.62}, "The last one."};
    FrameRateControlK7 FramesPerSecond{this};

    Page suctionPage{this, "Suction"};
    PositionControlK7 Suction1{this, {"Suction1", "Suction 1", 0.3, 0.45}, "A point that draws curtains to it."};
    FloatControlK7 Strength1{this,
                             {"Strength1", "Strength 1", 0.0, -200.0, 100.0},
                             "How far curtains come towards it, in percent of their distance; below 0 they go away."};
    SizeControlK7 Radius1{
        this, {"Radius1", "Radius 1", 0.3, 0.0, 4.0}, "Where it has a quarter of its strength, in half widths."};
    AngleControlK7 Twist1{
        this, {"Twist1", "Twist 1", 0.0, -3600.0, 3600.0}, "How far curtains are wound up around it, in degrees."};
    PositionControlK7 Suction2{this, {"Suction2", "Suction 2", 0.7, 0.5}, "The second one."};
    FloatControlK7 Strength2{this, {"Strength2", "Strength 2", 0.0, -200.0, 100.0}, "Of the second one, in percent."};
    SizeControlK7 Radius2{this, {"Radius2", "Radius 2", 0.3, 0.0, 4.0}, "Of the second one, in half widths."};
    AngleControlK7 Twist2{this, {"Twist2", "Twist 2", 0.0, -3600.0, 3600.0}, "Of the second one, in degrees."};
    PositionControlK7 Suction3{this, {"Suction3", "Suction 3", 0.5, 0.7}, "The third one."};
    FloatControlK7 Strength3{this, {"Strength3", "Strength 3", 0.0, -200.0, 100.0}, "Of the third one, in percent."};
    SizeControlK7 Radius3{this, {"Radius3", "Radius 3", 0.3, 0.0, 4.0}, "Of the third one, in half widths."};
    AngleControlK7 Twist3{this, {"Twist3", "Twist 3", 0.0, -3600.0, 3600.0}, "Of the third one, in degrees."};

    CrosshairOverlayK7 pointWidgets[MOST_POINTS]{
        {this, Point1}, {this, Point2}, {this, Point3}, {this, Point4}, {this, Point5}};
    CrosshairOverlayK7 vanishWidget{this, VanishPoint, true};
    CircleOverlayK7 suctionWidgets[SUCTIONS]{
        {this, Suction1, Radius1}, {this, Suction2, Radius2}, {this, Suction3, Radius3}};

    AuroraInfo();

  protected:
    std::array<PositionControlK7*, MOST_POINTS> linePoints() { return {&Point1, &Point2, &Point3, &Point4, &Point5}; }
    struct SuctionControls {
        PositionControlK7& place;
        FloatControlK7& strength;
        SizeControlK7& radius;
        AngleControlK7& twist;
    };
    std::array<SuctionControls, SUCTIONS> suctionControls() {
        return {{{Suction1, Strength1, Radius1, Twist1},
                 {Suction2, Strength2, Radius2, Twist2},
                 {Suction3, Strength3, Radius3, Twist3}}};
    }

  private:
    void declarePresets();
};

class Aurora final : public Effect<AuroraInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;
    void DrawMore(const OverlayPen& pen) override;

  private:
    AuroraPoint fromMiddle(const PositionControlK7& control) const;
    AuroraCamera camera() const;
    AuroraShine shine() const;
    AuroraFolding foldingAt(double frame) const;
    AuroraAir air(const AuroraCurtains& curtains, int moments) const;
    std::vector<AuroraPoint> line();
    std::vector<AuroraSuction> suctions();
    bool hangCurtains(const AuroraCurtains& curtains, int moments, std::vector<AuroraStrand>& strands) const;
    void paint(const AuroraMap& map);

    float m_tallness = 0.5625F;  // of the picture in this render, in widths
};
