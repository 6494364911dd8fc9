// Q_Clean: specks and grain go, edges stay.
//
// Every sample becomes the median of a window around it. The samples between the channel's smallest and largest value
// fall into 4096 bins, and the answer is the mean of those of the window that lie in the median's bin: an exact sample
// wherever the bin holds one value. Windows shrink at the edges of the picture.
#pragma once

#include "Library2/PluginK7.h"
#include "imagelib/imagelib_median.h"

struct CleanInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Clean",
        .menu = "Adjust",
        .onDevice = true,
        .description = " Cleans up the image using median filtering. This effect is in Box Number 4",
        .purpose =
            "Specks, dust, dead pixels and grain go while edges stay: a median filter with a window for each channel "
            "if need be.",
        .usage =
            "Connect the shot as Clip to Clean. Radius 1 or 2 takes out dead pixels and fine dust, 4 smooths skin, 10 "
            "and more make flat shapes.\n"
            "Lock Radius keeps the window square; unlock it for scratches: a wide, low window removes upright lines.\n"
            "Split RGB gives each channel a window of its own. Blue is the noisiest channel of most cameras and bears "
            "twice the radius of green.\n"
            "Fine lines and glints thinner than half the window go as well. Hold them with a matte from an edge "
            "detector, and mix in the comp.\n"
            "Radii count pixels of the picture that is rendered, also in a proxy: halve them for a proxy of half the "
            "size to see the same.\n"
            "Large radii are slower than small ones, but by far not by the square.\n"
            "Put it first, before keys, tracking and grades, and lay fresh grain over the end.\n"};

    ClipRecord input{this, {.name = "Input", .label = "Clip to Clean", .shortLabel = "Input", .required = true}};

    Page page{this, "Clean"};
    CheckboxControlK7 DoSync{this,
                             {"DoSync", "Lock Radius", true},
                             "Makes every window as high as it is wide: the Y radii follow their X radii."};
    IntegerControlK7 XRad{
        this,
        {"XRad", "Radius X", 2, 1, 80},
        "How far the window whose median is taken reaches to the left and right, in pixels: 2 spans five columns."};
    IntegerControlK7 YRad{
        this, {"YRad", "Radius Y", 2, 1, 80}, "How far the window reaches up and down, in pixels: 2 spans five rows."};
    CheckboxControlK7 DoRGB{
        this, {"DoRGB", "Split RGB"}, "Gives each channel a window of its own instead of one for all."};
    IntegerControlK7 XRadR{this,
                           {"XRadR", "Red Radius X", 2, 1, 80},
                           "How far the window of red reaches to the left and right, in pixels."};
    IntegerControlK7 YRadR{
        this, {"YRadR", "Red Radius Y", 2, 1, 80}, "How far the window of red reaches up and down, in pixels."};
    IntegerControlK7 XRadG{this,
                           {"XRadG", "Green Radius X", 2, 1, 80},
                           "How far the window of green reaches to the left and right, in pixels."};
    IntegerControlK7 YRadG{
        this, {"YRadG", "Green Radius Y", 2, 1, 80}, "How far the window of green reaches up and down, in pixels."};
    IntegerControlK7 XRadB{this,
                           {"XRadB", "Blue Radius X", 2, 1, 80},
                           "How far the window of blue reaches to the left and right, in pixels."};
    IntegerControlK7 YRadB{
        this, {"YRadB", "Blue Radius Y", 2, 1, 80}, "How far the window of blue reaches up and down, in pixels."};
    IntegerControlK7 XRadA{this,
                           {"XRadA", "Alpha Radius X", 2, 1, 80},
                           "How far the window of alpha reaches to the left and right, in pixels."};
    IntegerControlK7 YRadA{
        this, {"YRadA", "Alpha Radius Y", 2, 1, 80}, "How far the window of alpha reaches up and down, in pixels."};

    // Each X radius with the Y radius that follows it while they are locked: the main pair, then R, G, B and A.
    struct Radii {
        IntegerControlK7& x;
        IntegerControlK7& y;
    };
    Radii pairs[5] = {{XRad, YRad}, {XRadR, YRadR}, {XRadG, YRadG}, {XRadB, YRadB}, {XRadA, YRadA}};

    CleanInfo();
    static void lockRadius(const Radii& pair);
};

class Clean final : public Effect<CleanInfo> {
  public:
    void ProcessFrame() override;
    void ControlChanged(ControlK7& control) override;
    bool staysOnDevice() const override { return channelsShareRadii(); }

  private:
    MedianRadii radiiOf(int channel) const;
    bool channelsShareRadii() const;
};
