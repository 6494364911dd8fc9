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
        .description = " Simple but effective grain removal. This effect is in Box Number 30"};

    ClipRecord input{this, {.name = "Input", .label = "Input", .required = true}};

    Page page{this, "RemGrain"};
    CheckboxControlK7 Mode{this, {"Mode", "See Luminance"}};
    CheckboxControlK7 RonMx{this, {"RonMx", "Red", true}};
    CheckboxControlK7 GonMx{this, {"GonMx", "Green", true}};
    CheckboxControlK7 BonMx{this, {"BonMx", "Blue", true}};
    ListControlK7 RGBEx{this, {"RGBEx", "Luminance", 0, {"Red", "Green", "Blue"}}};
    FloatControlK7 RBlur{this, {"RBlur", "Red Blur", 5.0, 0.0, 100.0}};
    FloatControlK7 RSharpStr{this, {"RSharpStr", "Red Sharp", 1.0, 0.0, 100.0}};
    FloatControlK7 GBlur{this, {"GBlur", "Green Blur", 5.0, 0.0, 100.0}};
    FloatControlK7 GSharpStr{this, {"GSharpStr", "Green Sharp", 1.0, 0.0, 100.0}};
    FloatControlK7 BBlur{this, {"BBlur", "Blue Blur", 5.0, 0.0, 100.0}};
    FloatControlK7 BSharpStr{this, {"BSharpStr", "Blue Sharp", 1.0, 0.0, 100.0}};
    CheckboxControlK7 ROI{this, {"ROI", "ROI box"}};
    PositionControlK7 Point1{this, {"Point1", "Position 1", 0.4, 0.4}};
    PositionControlK7 Point2{this, {"Point2", "Position 2", 0.6, 0.6}};

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
    bool clean(const K7Image& source, K7Image& picture) const;
    int shownColours() const;  // a bit for each
    bool blurColours(K7Image& picture, int colours) const;
};
