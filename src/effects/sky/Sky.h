// Q_Sky: a sky with clouds that drift and change, a sun with its glow and flare, and haze towards the horizon.
//
// Each pixel's line of sight is followed to a spherical shell of clouds. How dense they are there, and how they bulge,
// tell two maps that repeat (CloudMap.h). Sun, glow, light on the clouds, haze and the blue of the air are added up and
// exposed as on film. A frame depends on its number and parameters alone.
#pragma once

#include "Library2/PluginK7.h"

struct CloudMap;
struct SkyView;

struct SkyInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Sky",
        .menu = "Natural Phenomena",
        .generator = true,
        .description =
            "Q_Sky generates realistically evolving sky backgrounds. Use the presets to get started. This effect is in "
            "Box Number 1",
        .purpose =
            "A sky to put behind a plate: clouds that drift, grow and fade over a hundred frames or ten thousand, with "
            "a sun, its flare, haze and any light from dawn to moonlight.",
        .usage =
            "Begin with a Type, then turn the camera to where the plate looks: Camera Rotate X lifts it, Rotate Y "
            "pans, "
            "Field of View is that of the plate, over its height.\n"
            "Sun Direction and Sun Elevation say where the light comes from; match the shadows of the plate. The "
            "flare goes out by itself when a cloud passes in front of the sun.\n"
            "Cloud Size and Cloud Count make the weather, Edge Detail the wisps, Cloud Density how solid they are. "
            "Tile Scale makes everything smaller without new clouds; the pattern repeats and shows it above 20.\n"
            "Cloud Speed moves all clouds, Speed Variance each bit of them by itself, so that they change their "
            "shape. Small values of both for a slow sky, large ones for time lapse.\n"
            "Bump Scale and Under Lighting shape the clouds; Light Edges gives the rim of clouds in front of the "
            "sun.\n"
            "Haze Distance and Haze Fall-Off hide the horizon. Below it is nothing but haze: put the plate's ground "
            "over it.\n"
            "Exposure is the last step and works as on film: nothing clips, bright parts are compressed.\n"
            "With Sky Only off the sky lies over the Background Clip by its alpha: sun, clouds and haze cover it, the "
            "blue of the air is added.\n"
            "A frame depends on its number alone: frames render in any order.\n"
            "Sizes follow the width of the picture: a proxy shows the same clouds, a little softer.\n"};

    ClipRecord input{this, {.name = "Input", .label = "Background Clip", .shortLabel = "BG"}};

    Page page{this, "Sky"};
    PresetChoiceK7 Demos{this,
                         {"Demos", "Type"},
                         "Kind of sky: sets all controls of the sky, the sun, the clouds and the air, and the camera."};
    FloatControlK7 redShift{this,
                            {"redShift", "Red Shift", 1.0, 0.0, 5.0},
                            "How much green and blue the air takes from the light of sun, clouds and haze: 0 none, 1 a "
                            "low sun, 4 a red dawn. It also widens the glow of the sun."};
    CheckboxControlK7 OnBlack{
        this, {"OnBlack", "Sky Only", true}, "Shows the sky alone; off lays it over the background by its alpha."};
    FloatControlK7 cameraFOV{this,
                             {"cameraFOV", "Field of View", 53.0, 5.0, 90.0},
                             "Angle that the camera sees over the height of the picture, in degrees."};
    FloatControlK7 cameraRotX{this,
                              {"cameraRotX", "Camera Rotate X", 25.0, -360.0, 350.0},
                              "How far the camera looks up, in degrees: 0 is level, 90 the zenith."};
    FloatControlK7 cameraRotY{this,
                              {"cameraRotY", "Camera Rotate Y", 0.0, -360.0, 350.0},
                              "Pans the camera, in degrees; above 0 to the left."};
    FloatControlK7 cameraRotZ{
        this, {"cameraRotZ", "Camera Rotate Z", 0.0, -360.0, 350.0}, "Rolls the camera, in degrees."};
    FloatControlK7 exposure{this,
                            {"exposure", "Exposure", 1.0, 0.0, 5.0},
                            "Exposure of the film: 0 is black, 2 is twice the light. Bright parts are compressed."};

    Page sunPage{this, "Sun"};
    ColourControlK7 sunColour{this, {"sunColour", "Sun Colour", 1.0f, 1.0f, 1.0f}, "Colour of the light of the sun."};
    FloatControlK7 sunBrightness{this,
                                 {"sunBrightness", "Sun Brightness", 30.0, 0.0, 30.0},
                                 "Brightness of the sun's disc and of its light on the clouds."};
    FloatControlK7 sunAzimuth{
        this,
        {"sunAzimuth", "Sun Direction", 290.0, -360.0, 360.0},
        "Compass direction of the sun, in degrees: 270 is straight ahead of a camera that has not "
        "been panned, more moves it to the left."};
    FloatControlK7 sunElevation{this,
                                {"sunElevation", "Sun Elevation", 15.0, -360.0, 360.0},
                                "Height of the sun over the horizon, in degrees."};
    FloatControlK7 sunStretch{
        this,
        {"sunStretch", "Sun Fall-Off", 400.0, 0.1, 1000.0},
        "How quickly the sun's brightness falls off around its middle: more makes a smaller sun."};
    FloatControlK7 coronaBrightness{
        this, {"coronaBrightness", "Corona Brightness", 1.0, 0.0, 2.0}, "Brightness of the wide glow around the sun."};
    FloatControlK7 coronaStretch{this,
                                 {"coronaStretch", "Corona Fall-Off", 5.0, 0.0, 50.0},
                                 "How quickly the glow falls off: 5 fills half the sky, 50 is a halo. Haze and thin "
                                 "air narrow it, clouds widen it."};
    CheckboxControlK7 hazeCorona{
        this, {"hazeCorona", "Haze Corona", true}, "Lets the glow shine through the haze and between the clouds."};
    IntegerControlK7 flareSpokes{
        this, {"flareSpokes", "Spokes", 6, 2, 25}, "Number of spokes of the flare around the sun."};
    FloatControlK7 flareBrightness{this,
                                   {"flareBrightness", "Flare Brightness", 0.75, 0.0, 5.0},
                                   "Brightness of the flare. It is only there while the sun is in the picture, and as "
                                   "far as no cloud hides it."};
    FloatControlK7 flareStretch{this,
                                {"flareStretch", "Flare Fall-Off", 300.0, 0.0, 500.0},
                                "How quickly the flare falls off from the sun: more makes it smaller."};
    FloatControlK7 flareRotation{this,
                                 {"flareRotation", "Flare Rotation", 20.0, -360.0, 360.0},
                                 "Turns the spokes, in radians: animate it slowly."};
    FloatControlK7 flareSharpness{
        this, {"flareSharpness", "Flare Sharpness", 0.1, 0.0, 5.0}, "How narrow the spokes are: 0 is a round glow."};

    Page cloudPage{this, "Clouds"};
    FloatControlK7 scaledDotBlur{this,
                                 {"scaledDotBlur", "Cloud Size", 90.0, 0.0, 200.0},
                                 "Size of the largest clouds, in pixels of the cloud map of a picture 720 wide."};
    IntegerControlK7 baseDotCount{this,
                                  {"baseDotCount", "Cloud Count", 7, 1, 20},
                                  "Number of the largest clouds; finer parts follow it up to 10."};
    IntegerControlK7 iterations{
        this,
        {"iterations", "Edge Detail", 7, 1, 10},
        "Number of sizes that clouds are made of, each half of the one before: more gives wisps "
        "and ragged edges."};
    ColourControlK7 cloudColour{this,
                                {"cloudColour", "Cloud Colour", 0.0f, 0.0f, 0.0f},
                                "Colour that clouds have by themselves, without the light of the sun."};
    FloatControlK7 cloudBrightness{
        this, {"cloudBrightness", "Cloud Brightness", 1.0, 0.0, 2.0}, "Brightness of the Cloud Colour."};
    FloatControlK7 Contrast{this,
                            {"Contrast", "Cloud Sharpness", 0.0, 0.0, 0.5},
                            "Density that is taken off all clouds: leaves only their cores, with harder edges."};
    FloatControlK7 cloudDensity{this,
                                {"cloudDensity", "Cloud Density", 6.6, 0.0, 50.0},
                                "How solid clouds are: 0 is a clear sky, 20 and more are thick."};
    FloatControlK7 cloudDirection{
        this,
        {"cloudDirection", "Cloud Direction", 90.0, -360.0, 360.0},
        "Direction in which the clouds drift, in degrees: 0 to the left, 90 towards a camera that "
        "has not been panned."};
    FloatControlK7 cloudSpeed{this,
                              {"cloudSpeed", "Cloud Speed", 5.0, -10.0, 10.0},
                              "How far all clouds drift in a frame, in pixels of the cloud map of a picture 720 wide."};
    FloatControlK7 cloudVariance{this,
                                 {"cloudVariance", "Speed Variance", 1.0, -50.0, 50.0},
                                 "How much the parts of the clouds differ in their speed, in the same unit: this is "
                                 "what makes them change their shape."};
    FloatControlK7 bumpScale{
        this,
        {"bumpScale", "Bump Scale", 13.8, 0.0, 100.0},
        "How strongly the clouds bulge in the light of the sun; at 0 the sun does not light them."};
    FloatControlK7 gradientSoftness{
        this,
        {"gradientSoftness", "Bump Softness", 15.0, 0.0, 20.0},
        "How soft the bulges are: a radius in pixels of the cloud map of a picture 720 wide."};
    FloatControlK7 underLighting{this,
                                 {"underLighting", "Under Lighting", 0.3, 0.0, 1.0},
                                 "How much light reaches the sides that are turned away from the sun."};
    CheckboxControlK7 lightEdges{
        this, {"lightEdges", "Light Edges"}, "Lights thin edges of clouds from behind, as against a low sun."};
    FloatControlK7 cloudHeight{this,
                               {"cloudHeight", "Cloud Height", 30.0, 0.0, 200.0},
                               "Height of the clouds over the ground: low ones are near and rush past, high ones lie "
                               "flat. In thousandths of the earth's radius."};
    FloatControlK7 tileScale{this,
                             {"tileScale", "Tile Scale", 10.0, 1.0, 50.0},
                             "How often the cloud map repeats over the sky: more makes all clouds smaller."};
    CheckboxControlK7 Invert{
        this, {"Invert", "Streaky"}, "Shows the slopes of the clouds instead of the clouds: streaks and veils."};
    IntegerControlK7 seed{this, {"seed", "Seed", 1, 1, 9999}, "Each number makes other clouds."};

    Page airPage{this, "Air"};
    FloatControlK7 ambientBrightness{
        this, {"ambientBrightness", "Ambient Brightness", 1.0, 0.0, 2.0}, "Brightness of the clear sky."};
    ColourControlK7 zenithColour{
        this, {"zenithColour", "Zenith Colour", 0.489998f, 0.479988f, 0.999985f}, "Colour of the clear sky overhead."};
    ColourControlK7 horizonColour{
        this, {"horizonColour", "Horizon Colour", 1.0f, 1.0f, 1.0f}, "Colour of the clear sky at the horizon."};
    FloatControlK7 hazeBrightness{
        this, {"hazeBrightness", "Haze Brightness", 1.0, 0.0, 2.0}, "Brightness of the haze."};
    FloatControlK7 hazeCutoff{this,
                              {"hazeCutoff", "Haze Distance", 200.0, 0.0, 1000.0},
                              "Distance from which haze hides everything, in thousandths of the earth's radius."};
    FloatControlK7 haze{this,
                        {"haze", "Haze Fall-Off", 10.0, 0.0, 100.0},
                        "How quickly haze thins out nearer than that: 0 fills the sky, 100 has a hard edge."};
    ColourControlK7 hazeColour{this, {"hazeColour", "Haze Colour", 1.0f, 1.0f, 1.0f}, "Colour of the haze."};
    FrameRateControlK7 FramesPerSecond{this};

    SkyInfo() {
        declarePresets();
        scene.settings = {{"Demos", "Kids"}};
        scene.frame = 480;  // the clouds leave the moon of its preset free
    }

  private:
    void declarePresets();
};

class Sky final : public Effect<SkyInfo> {
  public:
    void ProcessFrame() override;

  private:
    bool makeClouds(CloudMap& map) const;
    SkyView viewOf(const K7Image& picture, const CloudMap& map) const;
    void lookThroughCamera(const K7Image& picture, SkyView& sky) const;
    void colourView(SkyView& sky) const;
    void placeFlare(SkyView& sky) const;
};
