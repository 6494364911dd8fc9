// Q_Typo: a picture set in type.
//
// What an artist uses it for: newsprint and terminal looks, title backgrounds, a portrait made of a letter's own words,
// tickers and credits, and letters as windows onto the clip (the clip as a texture of the text).
//
// The message repeats over the whole picture: as one text that runs on from line to line, or each of its lines along a
// line of its own. Each letter measures the clip's mean over its cell and takes as much ink as that asks for: by the
// width of its pen, by its size or by the strength of its ink, as halftoning does with dots (R. Ulichney, "Digital
// Halftoning", 1987). How much of the paper a pen covers is counted over the letters of the message, so that the tone
// runs evenly from the lightest pen to the boldest. With Detail the pen follows the picture within a letter as well.
//
// Glyphs are fields of the distance to their strokes (C. Green, "Improved Alpha-Tested Magnification for Vector
// Textures and Special Effects", 2007): one small field a glyph serves every weight, size, angle and fraction of a
// pixel.
//
// The one clip gives tones and colours. Text lies still unless Scroll or Climb move it, along a steady path from frame
// 0; means over cells keep it from boiling. Unevenness is a hash of the letter's number in its line, so it moves along.
#pragma once

#include "Library2/PluginK7.h"

struct TypoInfo;

// The origin of the text, and an arrow along its first line, as long as ten capitals are high.
class BaselineOverlayK7 final : public OverlayControlK7 {  // 1: the origin, 2: the arrow's end
  public:
    BaselineOverlayK7(EffectInfo* owner, PositionControlK7& origin, SizeControlK7& size, FloatControlK7& angle)
        : OverlayControlK7(owner, {&origin, &size, &angle}), m_origin(origin), m_size(size), m_angle(angle) {}
    const char* kind() const override { return "baseline"; }
    int parts() const override { return 2; }
    Point partPlace(int part, Point towards) const override;

  protected:
    std::vector<ControlK7*> partControls(int part) const override;
    void moveTo(int part, Point pen) override;
    void draw(const OverlayPen& pen) const override;

  private:
    static constexpr float CAPITALS = 10;
    PositionControlK7& m_origin;
    SizeControlK7& m_size;
    FloatControlK7& m_angle;
};

struct TypoInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Typo",
        .menu = "Abstract",
        .overlay = true,
        .description =
            "Generates an output image from the characters of a text message, repeated as required to fill the output "
            "image. This effect is in Box Number 13",
        .purpose =
            "Sets the picture in type: a message that repeats over the whole frame, whose letters are bold where the "
            "picture is dark, light where it is bright, or windows onto the clip.",
        .usage =
            "Connect the shot as Text Texture Clip, choose a preset, and type the message; while it is empty, Wording "
            "fills in a text.\n"
            "The handle's middle is where the message begins, its arrow is ten letters long: drag the end for size and "
            "angle. Below 12 pixels a letter is hardly read, above a twentieth of the height the picture is hardly "
            "seen.\n"
            "Tone says how letters carry the picture; Detail lets the pen follow the picture within each letter. Raise "
            "Contrast for flat shots and let a little of the Picture through where faces shall be known.\n"
            "Alpha is that of the clip. With Transparent there is no paper and alpha is that of the letters.\n"
            "Sizes are parts of the picture's width, so a proxy shows the same text.\n"};
    enum Layouts { Running = 1, LineByLine = 2 };
    enum Fonts { Plain = 1, Sans, Roman, RomanBold, Italic, Script, Blackletter, Bitmap, DotMatrix };
    enum Tones { ByWeight = 1, BySize = 2, ByInk = 3, NoTone = 4 };
    enum Sources { OneInk = 1, ClipByLetter = 2, ClipByPixel = 3 };

    ClipRecord input{this, {.name = "Input", .label = "Text Texture Clip", .required = true}};

    Page page{this, "Typo"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "A whole look; the message and its place stay."};
    TextControlK7 Message{this,
                          {"Message", "Message", "", ofx::string_mode::MultiLine, {.keptByPresets = true}},
                          "The text, in one line or several; \\n is a line break as well. Accents are dropped. While "
                          "it is empty, Wording "
                          "is set."};
    ListControlK7 Wording{this,
                          {"Wording",
                           "Wording",
                           0,
                           {"News", "Listing", "Letter", "Film Set", "Ticker", "Love Letter", "Chronicle", "Specimen"}},
                          "The built-in text that is set while there is no message."};
    ListControlK7 Layout{
        this,
        {"Layout", "Layout", 0, {"Running", "Line by Line"}},
        "The message as one text that runs on from line to line, or each of its lines repeated along a "
        "line of its own."};
    PositionControlK7 Origin{
        this, {"Origin", "Origin", 0.03, 0.95}, "The upper left corner of the message's first letter."};
    SizeControlK7 Size{this,
                       {"Size", "Size", 0.016, 0.004, 1.0, {.displayMax = 0.2}},
                       "Height of a capital, in half widths of the picture."};
    AngleControlK7 Angle{this,
                         {"Angle", "Angle", 0.0, -NO_LIMIT, NO_LIMIT},
                         "Direction of the lines, in degrees counter-clockwise from level."};
    FloatControlK7 Stagger{this,
                           {"Stagger", "Stagger", 0.0, 0.0, 100.0},
                           "How far each line of Line by Line lies behind the one above, in percent of its text's "
                           "length."};
    FloatControlK7 Reveal{this,
                          {"Reveal", "Reveal", 100.0, 0.0, 100.0, {.keptByPresets = true}},
                          "How much of the page has been typed, from its top left, in percent. Moved by key it types."};

    Page letterPage{this, "Letters"};
    ListControlK7 Font{
        this,
        {"Font",
         "Font",
         0,
         {"Plain", "Sans", "Roman", "Roman Bold", "Italic", "Script", "Blackletter", "Bitmap", "Dot Matrix"}},
        "The letters: strokes drawn with a round pen, or a bitmap of squares or of dots."};
    CheckboxControlK7 Capitals{this, {"Capitals", "Capitals"}, "Sets small letters as capitals, which fill more."};
    CheckboxControlK7 FixedPitch{this,
                                 {"FixedPitch", "Fixed Pitch"},
                                 "All letters are equally wide, as a typewriter's. The bitmap's letters always are."};
    FloatControlK7 LineSpacing{this,
                               {"LineSpacing", "Line Spacing", 150.0, 70.0, 500.0},
                               "From base line to base line, in percent of a capital's height."};
    FloatControlK7 Tracking{
        this, {"Tracking", "Tracking", 0.0, -25.0, 200.0}, "Room between letters, in percent of a capital's height."};
    AngleControlK7 Slant{
        this, {"Slant", "Slant", 0.0, -45.0, 45.0}, "How far the letters lean to the right, in degrees."};
    ListControlK7 Tone{
        this,
        {"Tone", "Tone", 0, {"Weight", "Size", "Ink", "None"}},
        "What in a letter carries the picture's tone: the width of its strokes, its size, the strength of "
        "its ink, or nothing."};
    FloatControlK7 Weight{
        this,
        {"Weight", "Weight", 26.0, 1.0, 60.0},
        "Width of the strokes, in percent of a capital's height; with tone by weight, of the boldest."};
    FloatControlK7 Lightest{
        this, {"Lightest", "Lightest", 5.0, 0.0, 60.0}, "Width of the lightest strokes with tone by weight."};
    FloatControlK7 Detail{
        this,
        {"Detail", "Detail", 0.0, 0.0, 100.0},
        "How far the strokes follow the picture within a letter, in percent; at 0 each letter has one "
        "weight."};
    FloatControlK7 Smallest{this,
                            {"Smallest", "Smallest", 30.0, 10.0, 100.0},
                            "The smallest letter with tone by size, in percent of the largest."};

    Page inkPage{this, "Ink"};
    ListControlK7 InkFrom{
        this,
        {"InkFrom", "Ink From", 0, {"One Ink", "Clip by Letter", "Clip by Pixel"}},
        "One colour for all letters, the clip's mean over each, or the clip itself seen through them."};
    ColourControlK7 Ink{this, {"Ink", "Ink", 0.05F, 0.05F, 0.06F}, "Colour of the letters."};
    FloatControlK7 InkGain{this,
                           {"InkGain", "Ink Gain", 100.0, 0.0, 400.0},
                           "Strength of colours taken from the clip, in percent: how far they are from the paper's, or "
                           "how bright with Clip by Pixel."};
    ColourControlK7 Paper{this,
                          {"Paper", "Paper", 0.93F, 0.91F, 0.86F},
                          "Colour of the paper. On dark paper letters are bold where the picture is bright."};
    CheckboxControlK7 Transparent{
        this, {"Transparent", "Transparent"}, "Leaves the paper out: alpha is that of the letters."};
    FloatControlK7 Picture{this,
                           {"Picture", "Picture", 0.0, 0.0, 100.0},
                           "How much of the clip is seen on the paper, in percent: as a wash of the one ink, or in its "
                           "own colours."};
    FloatControlK7 Contrast{
        this, {"Contrast", "Contrast", 100.0, 0.0, 400.0}, "Of the tones that letters follow, in percent."};
    FloatControlK7 Brightness{this,
                              {"Brightness", "Brightness", 0.0, -100.0, 100.0},
                              "Added to the tones that letters follow, in percent of white."};
    FloatControlK7 Fade{this,
                        {"Fade", "Fade", 60.0, 0.0, 100.0},
                        "How far letters fade into the paper where even the lightest is too strong, in percent."};
    FloatControlK7 Roughness{
        this, {"Roughness", "Roughness", 0.0, 0.0, 100.0}, "How ragged the edges of the strokes are, in percent."};
    FloatControlK7 PaperGrain{
        this, {"PaperGrain", "Paper Grain", 0.0, 0.0, 100.0}, "How uneven the paper is, in percent."};
    FloatControlK7 Glow{
        this, {"Glow", "Glow", 0.0, 0.0, 200.0}, "Light that the letters throw around them, in percent."};

    Page motionPage{this, "Motion"};
    FloatControlK7 Scroll{this,
                          {"Scroll", "Scroll", 0.0, -10.0, 10.0},
                          "How far the lines run to the left each frame, in percent of the picture's width."};
    FloatControlK7 Climb{this,
                         {"Climb", "Climb", 0.0, -10.0, 10.0},
                         "How far the lines climb each frame, in percent of the picture's height."};
    CheckboxControlK7 Alternate{this, {"Alternate", "Alternate"}, "Each second line scrolls the other way."};
    FloatControlK7 SpeedSpread{
        this, {"SpeedSpread", "Speed Spread", 0.0, 0.0, 100.0}, "How differently fast the lines scroll, in percent."};
    FloatControlK7 Jitter{
        this, {"Jitter", "Jitter", 0.0, 0.0, 100.0}, "How far letters are out of place and out of line, in percent."};
    FloatControlK7 Uneven{
        this, {"Uneven", "Uneven Ink", 0.0, 0.0, 100.0}, "How unevenly strong the letters are struck, in percent."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 318, 1, 9999, {.animates = false, .keptByPresets = true}},
                          "Another number makes other unevenness and other speeds."};

    BaselineOverlayK7 baseline{this, Origin, Size, Angle};

    TypoInfo();

  private:
    void declarePresets();
};

class Typo final : public Effect<TypoInfo> {
  public:
    void ProcessFrame() override;

  private:
    // Onto the picture, which begins as the clip. False when the host wants an end.
    bool setType(const K7Image& clip, K7Image& picture);
};
