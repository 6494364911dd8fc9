// Q_RemGrain: grain is blurred away where the picture is flat, and detail is kept.
//
// Each colour is blurred, and where an edge map of the picture is strong the source comes back. See Luminance shows
// what becomes of one colour, as a grey picture. A box limits the work to a part of the picture.
#pragma once

#include "Library2/PluginK7.h"

struct RemGrainInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "RemGrain",
        .menu = "Sundries",
        .overlay = true,
        .description = " Simple but effective grain removal. This effect is in Box Number 30",
        .purpose = "Grain and noise are blurred away where the picture is flat; edges and detail are kept.",
        .usage =
            "Connect the shot as Input. Raise Red, Green and Blue Blur until flat parts are quiet; blue usually needs "
            "most.\n"
            "Sharp brings the source back along edges. A little is enough: it brings the grain of the edges back too.\n"
            "See Luminance shows one cleaned colour in grey: the fastest way to find its Blur and Sharp.\n"
            "ROI box cleans only between two positions: put it half over a flat area to compare.\n"
            "Blurs count fortieths of a pixel at full size, so 100 is 2.5 pixels. A proxy has hardly any grain left; "
            "set it at full size.\n"
            "The switches of the colours leave a colour out of the result: all on is the picture.\n"
            "Put it first, before keys and tracking, and lay fresh grain over the finished comp.\n"};

    ClipRecord input{this, {.name = "Input", .label = "Input", .required = true}};

    Page page{this, "RemGrain"};
    CheckboxControlK7 Mode{this, {"Mode", "See Luminance"}, "Shows what becomes of one colour, as a grey picture."};
    CheckboxControlK7 RonMx{this, {"RonMx", "Red", true}, "Shows red, cleaned; switched off, the result has no red."};
    CheckboxControlK7 GonMx{
        this, {"GonMx", "Green", true}, "Shows green, cleaned; switched off, the result has no green."};
    CheckboxControlK7 BonMx{
        this, {"BonMx", "Blue", true}, "Shows blue, cleaned; switched off, the result has no blue."};
    ListControlK7 RGBEx{this,
                        {"RGBEx", "Luminance", 0, {"Red", "Green", "Blue"}},
                        "The colour that See Luminance shows, cleaned by its own Blur and Sharp."};
    FloatControlK7 RBlur{
        this,
        {"RBlur", "Red Blur", 5.0, 0.0, 100.0},
        "Radius of the blur of red, in fortieths of a pixel at full size: 100 is 2.5 pixels, 0 leaves red as it is."};
    FloatControlK7 RSharpStr{this,
                             {"RSharpStr", "Red Sharp", 1.0, 0.0, 100.0},
                             "How much of the source comes back to red at the edges of the picture, in percent of "
                             "their strength; 0 leaves red blurred."};
    FloatControlK7 GBlur{this,
                         {"GBlur", "Green Blur", 5.0, 0.0, 100.0},
                         "Radius of the blur of green, in fortieths of a pixel at full size: 100 is 2.5 pixels, 0 "
                         "leaves green as it is."};
    FloatControlK7 GSharpStr{this,
                             {"GSharpStr", "Green Sharp", 1.0, 0.0, 100.0},
                             "How much of the source comes back to green at the edges of the picture, in percent of "
                             "their strength; 0 leaves green blurred."};
    FloatControlK7 BBlur{
        this,
        {"BBlur", "Blue Blur", 5.0, 0.0, 100.0},
        "Radius of the blur of blue, in fortieths of a pixel at full size: 100 is 2.5 pixels, 0 leaves blue as it is."};
    FloatControlK7 BSharpStr{this,
                             {"BSharpStr", "Blue Sharp", 1.0, 0.0, 100.0},
                             "How much of the source comes back to blue at the edges of the picture, in percent of "
                             "their strength; 0 leaves blue blurred."};
    CheckboxControlK7 ROI{this,
                          {"ROI", "ROI box"},
                          "Cleans only the box between the two positions and leaves the picture around it as it is."};
    PositionControlK7 Point1{this,
                             {"Point1", "Position 1", 0.4, 0.4},
                             "One corner of the box, as fractions of the width and height of the picture."};
    PositionControlK7 Point2{this,
                             {"Point2", "Position 2", 0.6, 0.6},
                             "The corner opposite to Position 1, as fractions of the width and height of the picture."};

    CrosshairOverlayK7 point1Widget{this, Point1};
    CrosshairOverlayK7 point2Widget{this, Point2};

    struct Channel {
        CheckboxControlK7& on;
        FloatControlK7& blur;
        FloatControlK7& sharp;
    };
    Channel colours[3] = {{RonMx, RBlur, RSharpStr}, {GonMx, GBlur, GSharpStr}, {BonMx, BBlur, BSharpStr}};

    RemGrainInfo();
};

class RemGrain final : public Effect<RemGrainInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;
    void DrawMore(const OverlayPen& pen) override;

  private:
    struct Box {
        int left, bottom, width, height;
    };
    Box box(const K7Image& picture) const;
    void clean(const K7Image& source, K7Image& picture) const;
    int shownColours() const;  // a bit for each
    void blurColours(K7Image& picture, int colours) const;
};
