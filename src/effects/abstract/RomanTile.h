// Q_RomanTile: the picture as a mosaic of stones, glass or ceramics.
//
// What an artist uses it for: titles and inserts of antiquity, church vaults, bath houses and pools, a park bench of
// broken tiles, floors and shop fronts; a picture that is laid stone by stone, or that time has worn.
//
// Method. Tesserae follow the picture: they are the cells of a centroidal Voronoi pattern whose metric is turned along
// its edges (A. Hausner, "Simulating decorative mosaics", 2001), the directions come from the structure tensor (H. Kang
// and others 2009), and edges push the middles of stones aside so that few stones lie across one. Other patterns are
// regular. Each stone is then a real shape with straight sides (Stones.h), or arcs for fish scales, and a pixel gets
// its distance to these sides: coverage, bevel, rounded corners and shadows in the grout all come from that, at any
// size. A stone has one colour, the mean of the picture within it, or the nearest one of a set of stones.
//
// The only clip is the picture. Its alpha goes along: a stone takes the mean within it.
//
// What moves. Stones start from a pattern that stands still in the frame, and take few steps from there, each a smooth
// function of averages over many pixels: grain moves none of them. On a moving picture those near its edges turn and
// shift with them, the others stay. The lamp may move: gold glints as it passes. No frame knows of another.
#pragma once

#include <vector>

#include "Library2/Overlay.h"
#include "Library2/PluginK7.h"
#include "effects/abstract/Stones.h"

struct RomanTileInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "RomanTile",
        .menu = "Abstract",
        .overlay = true,
        .description = "Makes a pattern of coloured tiles that represents the image. This effect is in Box Number 13",
        .purpose =
            "The picture as a mosaic: tesserae that follow its outlines, bathroom tiles, broken ceramics, hexagons or "
            "fish scales, with grout, bevels and glaze under a lamp.",
        .usage =
            "Connect the shot as Clip to RomanTile and begin with one of the Presets.\n"
            "Size is the side of a tile as a part of the width of the picture. Faces need tiles of a twentieth of "
            "their width or smaller; crop or grade the shot to simple shapes if they are to be large.\n"
            "Follow Edges lines tesserae up with outlines. At 0 they lie in straight rows.\n"
            "Drag the lamp: bevels face it, glaze and gold shine around it. A low lamp makes relief, a high one shows "
            "the colours. Animate it slowly to let the gold glint.\n"
            "Sets of stones stay the same through a shot. Few Colours takes them from each frame anew, which suits "
            "stills and shots whose colours do not change.\n"
            "Print shows the picture itself on the tiles: 100 percent is a printed bathroom wall.\n"
            "Laid builds the mosaic up, for write-ons; Damage tears patches out of it.\n"
            "Clear Grout leaves the gaps transparent, to lay the stones over a wall of your own.\n"
            "Sizes are parts of the picture, so a proxy shows the same tiles.\n"
            "Put it after the grade. Grain in the shot moves no tiles, but new grain belongs behind it.\n"};
    enum Orders { AtRandom = 1, FromLeft, FromBelow, FromTheMiddle };

    ClipRecord input{this, {.name = "Input", .label = "Clip to RomanTile", .required = true}};

    Page page{this, "RomanTile"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "A whole mosaic: sets all controls but the lamp's place."};
    ListControlK7 Layout{this,
                         {"Layout", "Layout", 0, {"Tesserae", "Irregular", "Square", "Brick", "Hexagon", "Fish Scale"}},
                         "How the tiles lie: small squares that follow the picture, broken pieces, straight or shifted "
                         "rows, hexagons, or overlapping arcs."};
    SizeControlK7 TileSize{this,
                           {"TileSize", "Size", 0.0105, 0.002, 0.25, {.displayMax = 0.05}},
                           "Side of a tile, or its distance from the next one, as a fraction of the width of the "
                           "picture."};
    AngleControlK7 Angle{this,
                         {"Angle", "Angle", 0.0, -180.0, 180.0},
                         "Turns the rows anticlockwise, in degrees; tesserae only where no edge is near."};
    FloatControlK7 FollowEdges{this,
                               {"FollowEdges", "Follow Edges", 100.0, 0.0, 100.0},
                               "How much tesserae turn along the outlines of the picture, and how much these and "
                               "irregular pieces make way for them, in percent."};
    FloatControlK7 EdgeReach{
        this, {"EdgeReach", "Edge Reach", 2.5, 0.5, 20.0}, "How far around them outlines turn the rows, in tiles."};
    FloatControlK7 Disorder{this,
                            {"Disorder", "Disorder", 25.0, 0.0, 100.0},
                            "How carelessly tiles are cut and laid, in percent; 0 is machine work."};
    FloatControlK7 GroutWidth{
        this, {"GroutWidth", "Grout Width", 11.0, 0.0, 60.0}, "Width of the gaps, in percent of Size."};
    ColourControlK7 GroutColour{this, {"GroutColour", "Grout Colour", 0.34F, 0.31F, 0.27F}, "Colour of the gaps."};
    FloatControlK7 GroutDepth{this,
                              {"GroutDepth", "Grout Depth", 45.0, 0.0, 100.0},
                              "How dark the gaps are beside tiles, most on the side away from the lamp, in percent."};
    CheckboxControlK7 ClearGrout{this,
                                 {"ClearGrout", "Clear Grout"},
                                 "Leaves the gaps and missing tiles transparent, to lay the tiles over "
                                 "something else."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 310, 1, 9999, {.animates = false, .keptByPresets = true}},
                          "Another number cuts, tilts and colours the tiles in another way."};

    Page facePage{this, "Surface"};
    FloatControlK7 Corners{
        this, {"Corners", "Corners", 22.0, 0.0, 100.0}, "How round corners are, in percent of half a tile."};
    FloatControlK7 Bevel{
        this, {"Bevel", "Bevel", 30.0, 0.0, 100.0}, "Width of the bevel, in percent of half a tile; 100 is a cushion."};
    FloatControlK7 Relief{this,
                          {"Relief", "Relief", 45.0, 0.0, 200.0},
                          "How steep the bevel is, in percent; 100 falls off by 45 degrees."};
    FloatControlK7 Tilt{this,
                        {"Tilt", "Tilt", 30.0, 0.0, 100.0},
                        "How far tiles lean, each its own way, in percent of 15 degrees: so some catch the light."};
    FloatControlK7 Roughness{
        this, {"Roughness", "Roughness", 12.0, 0.0, 100.0}, "Grain and chips of the surface, in percent; 0 is smooth."};
    FloatControlK7 Glaze{
        this, {"Glaze", "Glaze", 12.0, 0.0, 200.0}, "Brightness of the lamp's reflection, in percent; 0 is dry stone."};
    FloatControlK7 Gloss{this,
                         {"Gloss", "Gloss", 40.0, 1.0, 100.0},
                         "How polished the surface is: 1 is a wide sheen, 100 a small highlight."};

    Page colourPage{this, "Colours"};
    ListControlK7 StoneColours{this,
                               {"StoneColours",
                                "Stones",
                                0,
                                {"Picture's Colours", "Few Colours", "Roman Stones", "Byzantine Glass", "Blue Ceramics",
                                 "Bright Ceramics", "Field Stones", "Floor Tiles"}},
                               "What the tiles are made of: any colour, a few taken from the picture, or a given set."};
    IntegerControlK7 ColourCount{
        this, {"ColourCount", "Few Colours", 12, 2, 64}, "How many colours are taken from the picture."};
    FloatControlK7 Match{this,
                         {"Match", "Match", 100.0, 0.0, 100.0},
                         "How far colours go to those of the stones, in percent; 0 keeps the picture's."};
    FloatControlK7 ColourJitter{this,
                                {"ColourJitter", "Colour Jitter", 25.0, 0.0, 100.0},
                                "How much neighbouring tiles differ in colour, in percent: it blends sets of stones "
                                "into each other."};
    FloatControlK7 Contrast{this,
                            {"Contrast", "Contrast", 110.0, 0.0, 300.0},
                            "Contrast of the picture before stones are chosen, in percent."};
    FloatControlK7 Saturation{this,
                              {"Saturation", "Saturation", 110.0, 0.0, 300.0},
                              "Saturation of the picture before stones are chosen, in percent."};
    FloatControlK7 Gold{this,
                        {"Gold", "Gold", 0.0, 0.0, 100.0},
                        "How much of the range of levels becomes gold leaf, from white downwards, in percent; "
                        "warm tones, such as skin, are spared."};
    ColourControlK7 GoldColour{this, {"GoldColour", "Gold Colour", 0.86F, 0.64F, 0.22F}, "Colour of the gold leaf."};
    FloatControlK7 Print{this,
                         {"Print", "Print", 0.0, 0.0, 100.0},
                         "How much of the picture itself shows on the tiles instead of one colour each, in percent."};

    Page lampPage{this, "Lamp"};
    PositionControlK7 Light{this, {"Light", "Lamp", 0.2, 0.95}, "Where the lamp stands over the mosaic."};
    FloatControlK7 LightZ{this,
                          {"LightZ", "Lamp Height", 0.6, 0.05, 5.0},
                          "Height of the lamp above the mosaic, in widths of the picture: the lower, the more relief."};
    ColourControlK7 LightColour{this, {"LightColour", "Lamp Colour", 1.0F, 0.98F, 0.93F}, "Colour of the reflections."};

    Page layingPage{this, "Laying"};
    FloatControlK7 Laid{
        this, {"Laid", "Laid", 100.0, 0.0, 100.0}, "How many of the tiles lie in the mortar already, in percent."};
    ListControlK7 LayingOrder{this,
                              {"LayingOrder", "Order", 0, {"Random", "From the Left", "From Below", "From the Middle"}},
                              "Which tiles are laid first."};
    FloatControlK7 Damage{
        this, {"Damage", "Damage", 0.0, 0.0, 100.0}, "How much of the mosaic has come off in patches, in percent."};
    FloatControlK7 Mix{this,
                       {"Mix", "Mix", 100.0, 0.0, 100.0},
                       "How much of the mosaic is seen, in percent; the rest is the picture."};

    CrosshairOverlayK7 lampWidget{this, Light, true};

    RomanTileInfo() {
        ghost({&EdgeReach}, Layout, isNot(1));
        ghost({&FollowEdges}, Layout, above(2));
        ghost({&ColourCount}, StoneColours, isNot(2));
        ghost({&Match}, StoneColours, is(1));
        lampWidget.colour = OVERLAY_YELLOW;
        declarePresets();
        scene.inputs = {"portrait-small.png"};
        scene.settings = {{"TileSize", "0.025"}};
        scene.look = {{"TileSize", "0.0105"}};
    }

  private:
    void declarePresets();
};

// What a stone looks like before the lamp lights it.
struct StoneFace {
    float colour[3];
    float alpha;
    float metal;  // 0 to 1
    bool laid;
};

class RomanTile final : public Effect<RomanTileInfo> {
  public:
    void ProcessFrame() override;

  private:
    struct Texture;
    StoneShape shapeOf(const K7Image& picture) const;
    bool chooseColours(const K7Image& small, float scale, const StoneShape& shape, const std::vector<Stone>& stones,
                       std::vector<StoneFace>& faces);
    void matchStones(std::vector<StoneFace>& faces, const std::vector<Stone>& stones) const;
    void layInOrder(const StoneShape& shape, const std::vector<Stone>& stones, std::vector<StoneFace>& faces) const;
    StoneLook lookOf(const StoneShape& shape, const Stone& stone, const StoneFace& face) const;
    void draw(const StoneShape& shape, const std::vector<Stone>& stones, const std::vector<StoneFace>& faces);
};
