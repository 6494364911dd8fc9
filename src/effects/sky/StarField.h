// Q_StarField: stars in space, photographed by a camera that flies through them.
//
// What an artist uses it for: space behind a ship or a title, a jump to warp speed, a cluster that comes nearer, the
// Milky Way over a landscape, the trails of a night with the shutter open.
//
// Near stars stand in a box that repeats without end and travels with the camera, so that no flight leaves it. Their
// temperatures and luminosities follow the main sequence and the giants of the Hertzsprung-Russell diagram, and their
// light falls with the square of the distance, so that few are bright and many faint. Behind them are stars too far to
// move, whose numbers grow with magnitude as in star counts (log N = 0.5 m), a band of them like the Milky Way, and a
// globular cluster with the density of H. C. Plummer, "On the problem of distribution in globular star clusters",
// Monthly Notices 71 (1911). Haze is fractal noise over directions. Colours are those of black bodies (clk7).
//
// Everything is a function of the frame: the way flown is the sum of the speed along its curve, stars are hashes of
// their number (place_hash). No frame needs another one.
//
// An exposure is cut into 64 sub-frames, each with its own camera. A star is drawn as exact streaks from one of them to
// another, at most 10 pixels or a bend apart: a kernel (1 - r^2)^6, near to a Gaussian, and its integral along the
// streak, which is what infinitely many sub-frames would sum to. Haze is summed over as many sub-frames as its motion
// needs. Light is linear and is added; a film's shoulder brings it into the picture.
//
// The background shows through; Background dims it. Nothing boils: without speed, turn and twinkle it is still.
#pragma once

#include "Library2/PluginK7.h"

struct StarFieldInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "StarField",
        .menu = "Natural Phenomena",
        .generator = true,
        .description = "Make a 3D star field and take pictures of it. This effect is in Box Number 1",
        .purpose =
            "A field of stars in space around a camera that flies and turns: a starry backdrop, a flight to warp "
            "speed, a cluster, the Milky Way, or the star trails of a long exposure.",
        .usage =
            "Begin with a preset; connect a plate as Background and dim it by Background, or turn Stars Only on and "
            "comp the stars behind what stands before the sky.\n"
            "Speed, Sidewards and Upwards fly the camera, in light years a frame. They can be keyed: the way flown is "
            "summed along their curves, so a jump to warp is two keys on Speed.\n"
            "Heading, Pitch and Roll turn the camera by keys. Turn Speed turns the whole sky around its pole, as the "
            "night does; a pole in the middle of the picture rolls it.\n"
            "Shutter Time of half a frame is a film camera's; some frames make streaks, some hundred star trails. "
            "Streak Light says how much of their brightness stars keep when they are drawn out.\n"
            "Box Size against Stars says how dense space is. Stars fade in at half the box's size.\n"
            "The cluster stands at its distance from where the camera begins, and is flown to by Speed.\n"
            "For a sky over a town lower Brightness and leave Far Stars at a few hundred; twinkle is for skies seen "
            "through air, not for space.\n"
            "Sizes are parts of the picture's width, so a proxy shows the same.\n"};

    ClipRecord input{this, {.name = "Input", .label = "Background"}};

    Page page{this, "StarField"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "A whole sky with its camera: sets the other controls."};
    CheckboxControlK7 StarsOnly{this,
                                {"StarsOnly", "Stars Only", false, {.keptByPresets = true}},
                                "Shows the stars alone, on transparent black, instead of over the background."};
    FloatControlK7 Background{this,
                              {"Background", "Background", 30.0, 0.0, 100.0},
                              "How bright the background stays behind the stars, in percent."};
    IntegerControlK7 Stars{
        this, {"Stars", "Stars", 30000, 0, 200000, {.animates = false, .displayMax = 60000}}, "Near stars in the box."};
    FloatControlK7 BoxSize{this,
                           {"BoxSize", "Box Size", 200.0, 10.0, 2000.0},
                           "Edge of the box that near stars stand in, in light years. It repeats without end."};
    FloatControlK7 Clumping{
        this, {"Clumping", "Clumping", 15.0, 0.0, 100.0}, "How many of the near stars stand in groups, in percent."};
    IntegerControlK7 FarStars{this,
                              {"FarStars", "Far Stars", 40000, 0, 400000, {.displayMax = 100000}},
                              "Stars all around that are too far away to move when the camera flies."};
    FloatControlK7 Brightness{this,
                              {"Brightness", "Brightness", 100.0, 0.0, 10000.0, {.displayMax = 400.0}},
                              "Light of all stars, in percent."};
    FloatControlK7 MagnitudeRange{this,
                                  {"MagnitudeRange", "Magnitude Range", 100.0, 10.0, 200.0},
                                  "How different bright and faint stars are, in percent: 100 as in nature, less makes "
                                  "them more alike."};
    SizeControlK7 StarSize{this,
                           {"StarSize", "Star Size", 0.0011, 0.0005, 0.01},
                           "Width of a faint star, as a part of the picture's width. Bright ones grow with their "
                           "light."};
    FloatControlK7 Colour{this,
                          {"Colour", "Colour", 70.0, 0.0, 300.0},
                          "How colourful the stars are, in percent: 100 as hot bodies glow, 0 white."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 1911, 1, 9999, {.animates = false, .keptByPresets = true}},
                          "Another number, other stars."};

    Page cameraPage{this, "Camera"};
    FloatControlK7 Speed{this,
                         {"Speed", "Speed", 0.05, -1000.0, 1000.0, {.increment = 0.01, .displayMax = 5.0}},
                         "How fast the camera flies forwards, in light years a frame."};
    FloatControlK7 SpeedX{this,
                          {"SpeedX", "Sidewards", 0.0, -1000.0, 1000.0, {.increment = 0.01, .displayMax = 5.0}},
                          "How fast the camera flies to its right, in light years a frame."};
    FloatControlK7 SpeedY{this,
                          {"SpeedY", "Upwards", 0.0, -1000.0, 1000.0, {.increment = 0.01, .displayMax = 5.0}},
                          "How fast the camera flies upwards, in light years a frame."};
    FloatControlK7 CameraX{this,
                           {"CameraX", "Camera X", 0.0, -100000.0, 100000.0, {.displayMax = 200.0}},
                           "Place of the camera to the right, in light years; the way flown is added."};
    FloatControlK7 CameraY{this,
                           {"CameraY", "Camera Y", 0.0, -100000.0, 100000.0, {.displayMax = 200.0}},
                           "Place of the camera upwards, in light years; the way flown is added."};
    FloatControlK7 CameraZ{this,
                           {"CameraZ", "Camera Z", 0.0, -100000.0, 100000.0, {.displayMax = 200.0}},
                           "Place of the camera forwards, in light years; the way flown is added."};
    FloatControlK7 Heading{this,
                           {"Heading", "Heading", 0.0, -3600.0, 3600.0, {.displayMax = 180.0}},
                           "Direction of the camera, in degrees to the right."};
    FloatControlK7 Pitch{this, {"Pitch", "Pitch", 0.0, -90.0, 90.0}, "Direction of the camera, in degrees upwards."};
    FloatControlK7 Roll{this,
                        {"Roll", "Roll", 0.0, -3600.0, 3600.0, {.displayMax = 180.0}},
                        "Turn of the camera around its line of sight, in degrees clockwise."};
    FloatControlK7 FieldOfView{
        this, {"FieldOfView", "Field of View", 60.0, 1.0, 150.0}, "Angle that the picture's width shows, in degrees."};
    FloatControlK7 ShutterTime{this,
                               {"ShutterTime", "Shutter Time", 0.5, 0.0, 10000.0, {.displayMax = 10.0}},
                               "How long the shutter is open, in frames, half of it before the frame's time."};
    FloatControlK7 StreakLight{
        this,
        {"StreakLight", "Streak Light", 50.0, 0.0, 100.0},
        "Brightness of streaks, in percent: at 0 a star's light is spread over its streak, at 100 "
        "all of the streak is as bright as the star at rest."};

    Page lensPage{this, "Lens"};
    FloatControlK7 Glow{
        this, {"Glow", "Glow", 60.0, 0.0, 400.0}, "Light that the lens scatters around bright stars, in percent."};
    SizeControlK7 GlowSize{this,
                           {"GlowSize", "Glow Size", 0.05, 0.002, 0.3},
                           "How far the glow of the brightest stars reaches, as a part of the picture's width."};
    IntegerControlK7 Spikes{
        this, {"Spikes", "Spikes", 0, 0, 6, {.animates = false}}, "Lines of light through bright stars; 0 none."};
    SizeControlK7 SpikeLength{this,
                              {"SpikeLength", "Spike Length", 0.04, 0.0, 0.5},
                              "Length of the brightest star's rays, as a part of the picture's width."};
    FloatControlK7 SpikeStrength{
        this, {"SpikeStrength", "Spike Strength", 60.0, 0.0, 400.0}, "Brightness of the rays, in percent."};
    AngleControlK7 SpikeAngle{
        this, {"SpikeAngle", "Spike Angle", 0.0, -360.0, 360.0}, "Turns the rays, in degrees counter-clockwise."};
    FloatControlK7 Twinkle{this,
                           {"Twinkle", "Twinkle", 0.0, 0.0, 100.0},
                           "How much the brightness of stars flickers, in percent, as seen through air."};
    FloatControlK7 TwinkleSpeed{
        this, {"TwinkleSpeed", "Twinkle Speed", 0.25, 0.0, 1.0}, "How often a star flickers, in times a frame."};
    ColourControlK7 Tint{this, {"Tint", "Tint", 1.0F, 1.0F, 1.0F}, "Colours all of the light, as a filter does."};

    Page turnPage{this, "Sky"};
    FloatControlK7 TurnSpeed{this,
                             {"TurnSpeed", "Turn Speed", 0.0, -90.0, 90.0, {.increment = 0.01, .displayMax = 2.0}},
                             "How fast the sky turns around its pole, in degrees a frame, counter-clockwise."};
    FloatControlK7 PoleHeading{this,
                               {"PoleHeading", "Pole Heading", 0.0, -180.0, 180.0},
                               "Where the pole is that the sky turns around, in degrees to the right."};
    FloatControlK7 PolePitch{
        this, {"PolePitch", "Pole Pitch", 0.0, -90.0, 90.0}, "Where the pole is, in degrees upwards."};
    FloatControlK7 MilkyWay{this,
                            {"MilkyWay", "Milky Way", 0.0, 0.0, 400.0},
                            "Brightness of the band of haze, in percent; above 0 far stars crowd along it."};
    FloatControlK7 BandHeading{this,
                               {"BandHeading", "Band Heading", 0.0, -180.0, 180.0},
                               "Where the bright middle of the band is, in degrees to the right."};
    FloatControlK7 BandPitch{this,
                             {"BandPitch", "Band Pitch", 0.0, -90.0, 90.0},
                             "Where the bright middle of the band is, in degrees upwards."};
    FloatControlK7 BandTilt{this,
                            {"BandTilt", "Band Tilt", 35.0, -180.0, 180.0},
                            "How the band runs there, in degrees counter-clockwise from the horizontal."};
    FloatControlK7 BandWidth{
        this, {"BandWidth", "Band Width", 100.0, 10.0, 400.0}, "Width of the band, in percent of the Milky Way's."};
    FloatControlK7 Dust{
        this, {"Dust", "Dust", 70.0, 0.0, 100.0}, "How much dark clouds hide of the band and the nebula, in percent."};

    Page deepPage{this, "Deep Sky"};
    FloatControlK7 Nebula{
        this, {"Nebula", "Nebula", 0.0, 0.0, 400.0}, "Brightness of the glowing gas behind the stars, in percent."};
    FloatControlK7 NebulaScale{this,
                               {"NebulaScale", "Nebula Scale", 100.0, 10.0, 1000.0},
                               "Size of the gas clouds, in percent; at 100 some tens of degrees."};
    FloatControlK7 NebulaCover{
        this, {"NebulaCover", "Nebula Cover", 50.0, 0.0, 100.0}, "How much of the sky the gas covers, in percent."};
    ColourControlK7 NebulaColourA{
        this, {"NebulaColourA", "Nebula Colour A", 0.95F, 0.30F, 0.32F}, "Colour of hydrogen's clouds."};
    ColourControlK7 NebulaColourB{
        this, {"NebulaColourB", "Nebula Colour B", 0.25F, 0.50F, 0.95F}, "Colour of the clouds that mirror light."};
    IntegerControlK7 ClusterStars{
        this,
        {"ClusterStars", "Cluster Stars", 0, 0, 100000, {.animates = false, .displayMax = 20000}},
        "Stars of the globular cluster."};
    FloatControlK7 ClusterSize{this,
                               {"ClusterSize", "Cluster Size", 30.0, 0.1, 1000.0, {.displayMax = 100.0}},
                               "Diameter of the cluster's dense part, in light years."};
    FloatControlK7 ClusterDistance{
        this,
        {"ClusterDistance", "Cluster Distance", 300.0, 0.0, 100000.0, {.displayMax = 1000.0}},
        "Distance of the cluster from where the camera begins, in light years."};
    FloatControlK7 ClusterHeading{this,
                                  {"ClusterHeading", "Cluster Heading", 0.0, -180.0, 180.0},
                                  "Where the cluster is seen from there, in degrees to the right."};
    FloatControlK7 ClusterPitch{this,
                                {"ClusterPitch", "Cluster Pitch", 0.0, -90.0, 90.0},
                                "Where the cluster is seen from there, in degrees upwards."};
    FrameRateControlK7 FramesPerSecond{this};

    StarFieldInfo();

  private:
    void declarePresets();
};

class StarFlight;
struct StarScene;

class StarField final : public Effect<StarFieldInfo> {
  public:
    void ProcessFrame() override;

  private:
    StarScene sceneOf(const K7Image& frame) const;
    StarFlight flight() const;
};
