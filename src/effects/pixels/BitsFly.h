// Q_BitsFly: a picture breaks into tiles that twirl away, or comes together from them.
//
// What an artist uses it for: shots and titles that are blown away, shattered, toppled like dominoes, sucked up by a
// tornado, or that fall as bricks; the same backwards as an entrance; transitions to what is behind.
//
// The picture is cut into squares, bricks, triangles, hexagons, shards (cells of a Voronoi diagram) or the cracks of
// hit glass (Tiling.h). Each tile leaves at a time of its own (engines/flight/Departures.h), and its flight is a
// function of the frames since then (engines/flight/Flight.h): a burst, gravity and a wind with drag in closed form,
// with gusts and a whirl laid over them. It turns around an axis of its own (rotations by O. Rodrigues' formula), or
// tips over its edge first, as a domino. Tiles are seen in perspective, as thick as wanted, lit by Lambert's law with a
// glint (J. Blinn 1977), sorted by depth and blurred by their motion over the shutter (TilePainter.h). What has height
// throws a soft shadow on the picture.
//
// What steers it: Disintegrate is the picture that is cut, with its alpha. Background is what tiles leave free; without
// it there is nothing. The luminance of the 2D Matte sets the order, or says which tiles fly; without it Order alone
// does. That of the 3D Matte sets how far behind the picture's plane a tile stands, black the farthest: a near one
// moves more, and passes in front; without it all tiles are in the plane.
//
// What stays still: a tile that has not left is the picture itself, to the bit. What moves: the tiles between leaving
// and the end of their Flight Time, with the moving picture on them. Each frame follows from itself.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/engines/flight/Departures.h"
#include "effects/engines/flight/Flight.h"
#include "effects/pixels/TilePainter.h"
#include "effects/pixels/Tiling.h"

struct BitsFlyInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "BitsFly",
        .menu = "Pixel Trip",
        .overlay = true,
        .description = "Twirls away tiles of the image. This effect is in Box Number 12",
        .purpose =
            "A picture breaks into tiles that twirl away in space: blown off by the wind, shattered, toppled, whirled "
            "up, or falling as bricks. Run backwards, it comes together from them.",
        .usage =
            "Connect the shot as Disintegrate and what is to appear behind it as Background; a title or a cut-out "
            "flies with its alpha. Without a Background the free places are transparent.\n"
            "Begin with a preset, then set Start At and Duration, or choose By Progress and set keys for Progress. Any "
            "frame can be rendered by itself.\n"
            "Assemble runs the same flights backwards: the picture is whole Flight Time and Duration after Start At.\n"
            "A gradient or a painted matte as 2D Matte sets the order in which tiles leave; with Only Bright Fly it "
            "picks a face, a window or a word. It should stand still, because it is read anew at each frame.\n"
            "A depth pass as 3D Matte, white near and black far, gives the flying picture depth. Depth sets how much.\n"
            "Centre is where a burst comes from, where a whirl turns, and where orders begin or end; drag its cross. "
            "The arm beside it is the direction of the wipe.\n"
            "Sizes and speeds are parts of the picture's width, so a proxy shows the same flight.\n"};
    enum Releases { FlyFreely = 1, TipOver = 2 };
    enum Backs { MirroredPicture = 1, PlainColour = 2 };

    ClipRecord picture{this, {.name = "Input1", .label = "Disintegrate", .shortLabel = "Fly", .required = true}};
    ClipRecord background{this, {.name = "Input2", .label = "Background", .shortLabel = "BG"}};
    ClipRecord matte2D{this, {.name = "Input3", .label = "2D Matte", .shortLabel = "2DMatte"}};
    ClipRecord matte3D{this, {.name = "Input4", .label = "3D Matte", .shortLabel = "3DMatte"}};

    Page page{this, "BitsFly"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "A whole look: sets all controls but when it begins."};
    ListControlK7 Shape{
        this,
        {"Shape", "Shape", 0, {"Squares", "Bricks", "Triangles", "Hexagons", "Shards", "Cracked Glass"}},
        "What the picture is cut into. The cracks of glass run out from Centre."};
    FloatControlK7 TileSize{
        this,
        {"TileSize", "Tile Size", 2.5, 0.4, 100.0, {.displayMax = 20.0}},
        "Width of a tile, in percent of the picture's width; of cracked glass, a quarter of the width from Centre."};
    FloatControlK7 Aspect{
        this, {"Aspect", "Aspect", 1.0, 0.1, 10.0, {.displayMax = 4.0}}, "How many times as wide as high a tile is."};
    FloatControlK7 Irregular{
        this, {"Irregular", "Irregular", 80.0, 0.0, 100.0}, "How irregular shards and cracks are, in percent."};
    FloatControlK7 Thickness{this,
                             {"Thickness", "Thickness", 0.0, 0.0, 400.0, {.displayMax = 100.0}},
                             "Of the tiles, in percent of Tile Size; 0 is paper."};
    ListControlK7 Back{this,
                       {"Back", "Back", 0, {"Mirrored Picture", "Colour"}},
                       "What is on a tile's back: the picture shining through, or one colour."};
    ColourControlK7 BackColour{this, {"BackColour", "Back Colour", 0.55F, 0.55F, 0.53F}, "The colour of the backs."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 518, 1, 9999, {.animates = false, .keptByPresets = true}},
                          "Another number gives other shards, turns and ways."};
    CheckboxControlK7 PreMultiplied{this,
                                    {"PreMultiplied", "Premultiplied", false, {.keptByPresets = true}},
                                    "Says that the colours of Disintegrate are multiplied by its alpha already."};

    Page timingPage{this, "Timing"};
    DepartureControls timing{this, {}};

    Page flightPage{this, "Flight"};
    FloatControlK7 Gravity{this,
                           {"Gravity", "Gravity", 4.0, -1000.0, 1000.0, {.increment = 0.1, .displayMax = 50.0}},
                           "How far a tile falls in its first ten frames, in percent of the picture's width."};
    FloatControlK7 Burst{
        this,
        {"Burst", "Burst", 0.0, -1000.0, 1000.0, {.increment = 0.1, .displayMax = 50.0}},
        "Speed away from Centre near to it, in percent of the width in ten frames; below 0 towards it."};
    FloatControlK7 Push{this,
                        {"Push", "Push", 3.0, -1000.0, 1000.0, {.increment = 0.1, .displayMax = 50.0}},
                        "Speed towards the viewer, in percent of the width in ten frames; below 0 away."};
    FloatControlK7 Spread{this,
                          {"Spread", "Spread", 3.0, 0.0, 1000.0, {.increment = 0.1, .displayMax = 50.0}},
                          "Speed into a direction of its own for each tile, in percent of the width in ten frames."};
    FloatControlK7 Lift{this,
                        {"Lift", "Lift", 0.0, -1000.0, 1000.0, {.increment = 0.1, .displayMax = 50.0}},
                        "Steady speed upwards, in percent of the width in ten frames."};
    FloatControlK7 Wind{this,
                        {"Wind", "Wind", 0.0, 0.0, 1000.0, {.increment = 0.1, .displayMax = 50.0}},
                        "Speed of the wind, in percent of the width in ten frames. Tiles take it on by Drag."};
    AngleControlK7 WindAngle{this,
                             {"WindAngle", "Wind Angle", 0.0, -3600.0, 3600.0},
                             "Where the wind blows to, in degrees: 0 is to the right, 90 upwards."};
    FloatControlK7 Drag{this,
                        {"Drag", "Drag", 3.0, 0.0, 100.0, {.displayMax = 25.0}},
                        "How much of its speed through the air a tile loses in a frame, in percent."};
    FloatControlK7 Gusts{
        this,
        {"Gusts", "Gusts", 5.0, 0.0, 1000.0, {.increment = 0.1, .displayMax = 50.0}},
        "Speed of eddies that carry neighbours along together, in percent of the width in ten frames."};
    FloatControlK7 GustSize{
        this, {"GustSize", "Gust Size", 20.0, 1.0, 200.0}, "Size of these eddies, in percent of the width."};
    FloatControlK7 Swirl{this,
                         {"Swirl", "Swirl", 0.0, -3600.0, 3600.0, {.displayMax = 180.0}},
                         "Degrees that tiles turn around Centre in ten frames, and are drawn in there."};
    ListControlK7 SwirlAxis{this,
                            {"SwirlAxis", "Swirl Axis", 0, {"Upright", "Towards the Viewer"}},
                            "A tornado that stands on Centre and widens upwards, or a whirlpool in the picture."};

    Page turningPage{this, "Turning"};
    ListControlK7 Release{this,
                          {"Release", "Release", 0, {"Fly Freely", "Tip Over"}},
                          "Tiles come off as they are, or tip over their edge in the direction of the order first."};
    FloatControlK7 Twirl{this,
                         {"Twirl", "Twirl", 120.0, 0.0, 3600.0, {.displayMax = 720.0}},
                         "Degrees that a tile turns in ten frames."};
    FloatControlK7 FadeOut{this,
                           {"FadeOut", "Fade Out", 35.0, 0.0, 100.0},
                           "The last part of its Flight Time in which a tile fades, in percent."};
    FloatControlK7 Shrink{
        this, {"Shrink", "Shrink", 0.0, 0.0, 100.0}, "How much a tile shrinks during its flight, in percent."};
    FloatControlK7 Lens{this,
                        {"Lens", "Perspective", 50.0, 5.0, 120.0},
                        "Field of view over the picture's width, in degrees: more makes what comes near larger."};
    FloatControlK7 Depth{this,
                         {"Depth", "Depth", 40.0, 0.0, 400.0, {.displayMax = 100.0}},
                         "How far behind white the black of the 3D Matte stands, in percent of the width."};
    FloatControlK7 Shading{this,
                           {"Shading", "Shading", 65.0, 0.0, 100.0},
                           "How much darker faces are that turn away from the light, in percent."};
    FloatControlK7 Shine{this,
                         {"Shine", "Shine", 20.0, 0.0, 400.0, {.displayMax = 100.0}},
                         "Brightness of glints, in percent of white."};
    AngleControlK7 LightAngle{this,
                              {"LightAngle", "Light Angle", 120.0, -3600.0, 3600.0},
                              "Where the light comes from, in degrees: 0 is from the right, 90 from above."};
    FloatControlK7 Shadow{this,
                          {"Shadow", "Shadow", 40.0, 0.0, 100.0},
                          "Darkness of the shadows that tiles throw on what is behind them, in percent."};
    FloatControlK7 Shutter{this,
                           {"Shutter", "Shutter", 50.0, 0.0, 200.0, {.displayMax = 100.0}},
                           "How long the shutter is open, in percent of a frame; 0 is sharp."};

    CrosshairOverlayK7 centreWidget{this, timing.Centre};
    AngleOverlayK7 wipeWidget{this, timing.Centre, timing.WipeAngle, 0.15F};

    BitsFlyInfo();

  private:
    void declarePresets();
};

class BitsFly final : public Effect<BitsFlyInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;

  private:
    struct Moment;
    struct Craft;
    struct Swarm;
    FlightForces forces(float tallness) const;
    TileLook look() const;
    TilingShape shape(float tallness) const;
    void launchAll(Swarm& swarm) const;
    bool launch(const Swarm& swarm, std::uint32_t index, Craft& craft) const;
    ImagePtr shadows(const Swarm& swarm) const;
    void compose(const K7Image& source, int y, const float* hole, const float* light);
    bool draw(const Swarm& swarm, const K7Image& source, const K7Image* shadow);
};
