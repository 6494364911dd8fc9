// Q_Burn: the film sticks in the gate and burns through, and the look of the stock before that.
//
// From a frame on a hole eats its way in from a corner of the picture until nothing is left but the lamp, or darkness.
// Ahead of its ragged rim the emulsion warms, sags towards the heat and chars. The whole clip is graded first: gain,
// lift and balance of colour, black and white, or tinted stock.
#pragma once

#include "Library2/PluginK7.h"

struct BurnInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Burn",
        .menu = "Film Kit",
        .description = "Add a movie style 'Burn' to the clip. This effect is in Box Number 2",
        .purpose =
            "The film sticks in the gate and burns through: a hole with a charred, glowing rim eats the picture from a "
            "corner. The same effect grades the clip as old stock.",
        .usage =
            "Connect the clip as Input. Burn Starts is the frame at which the hole opens, Burn Duration how many "
            "frames it takes until nothing is left.\n"
            "10 to 20 frames look like a projector; longer ones become a transition.\n"
            "To White shows the lamp where the film is gone, To Black darkness. For a transition put the next shot "
            "behind: key the black or the white.\n"
            "Film Look works on the whole clip also without the burn: switch Burn off and choose tinted or black and "
            "white stock.\n"
            "The film stops when it burns: freeze the shot at Burn Starts, and shake it a little before.\n"
            "The rim is as wide as a tenth of the picture at every resolution; a proxy shows the same burn.\n"
            "Put it last, after grain and gate weave: it is the film that burns, with all that is on it.\n"};
    enum Corner { BottomLeft = 1, BottomRight, TopRight, TopLeft };
    enum Remains { Black = 1, White = 2 };
    enum Film { InColour = 1, BlackAndWhite = 2, Tinted = 3 };

    ClipRecord input{this, {.name = "Input", .label = "Input Clip", .shortLabel = "Film", .required = true}};

    Page page{this, "Burn"};
    CheckboxControlK7 Burn{
        this, {"Burn", "Burn", true}, "Lets the film burn; switched off, only the film look is applied."};
    IntegerControlK7 Starts{this, {"Starts", "Burn Starts", 10, 2, 2000}, "Frame at which the hole begins to open."};
    IntegerControlK7 Duration{this,
                              {"Duration", "Burn Duration", 10, 1, 200},
                              "How long the burn takes until nothing of the picture is left, in frames."};
    ListControlK7 Direction{this,
                            {"Direction", "Direction", 0, {"Bottom Left", "Bottom Right", "Top Right", "Top Left"}},
                            "Corner of the picture where the burn starts."};
    ListControlK7 BurnTo{this,
                         {"BurnTo", "Burn", 1, {"To Black", "To White"}},
                         "What shows where the film is gone: darkness, or the white light of the lamp."};

    Page look{this, "Film Look"};
    FloatControlK7 Contrast{
        this,
        {"Contrast", "Lift", 0.0, -100.0, 100.0},
        "Added to the channels after Brightness, in percent of white: below 0 darkens, 0 changes nothing."};
    FloatControlK7 Brightness{this,
                              {"Brightness", "Brightness", 100.0, 0.0, 500.0},
                              "Gain of the channels, in percent: 100 changes nothing, 0 is black."};
    ListControlK7 FilmType{
        this,
        {"FilmType", "Film", 0, {"Colour", "Black+White", "Tinted"}},
        "Stock that the clip is graded as: colour, black and white made from the red channel, or tinted grey."};
    FloatControlK7 Red{
        this, {"Red", "Red", 100.0, 0.0, 200.0}, "Strength of red on colour film, in percent: 100 changes nothing."};
    FloatControlK7 Green{this,
                         {"Green", "Green", 100.0, 0.0, 200.0},
                         "Strength of green on colour film, in percent: 100 changes nothing."};
    FloatControlK7 Blue{
        this, {"Blue", "Blue", 100.0, 0.0, 200.0}, "Strength of blue on colour film, in percent: 100 changes nothing."};
    FloatControlK7 Colour{this,
                          {"Colour", "Saturation", 100.0, 0.0, 200.0},
                          "Saturation of colour film, in percent: 0 is grey, 100 changes nothing."};
    FloatControlK7 Tred{this,
                        {"Tred", "Tint Red", 115.0, 0.0, 200.0},
                        "Strength of red in the tint of tinted film, in percent of the grey picture."};
    FloatControlK7 Tgreen{this,
                          {"Tgreen", "Tint Green", 105.0, 0.0, 200.0},
                          "Strength of green in the tint of tinted film, in percent of the grey picture."};
    FloatControlK7 Tblue{this,
                         {"Tblue", "Tint Blue", 100.0, 0.0, 200.0},
                         "Strength of blue in the tint of tinted film, in percent of the grey picture."};

    BurnInfo() {
        ghost({&Starts, &Duration, &Direction, &BurnTo}, Burn, isOff);
        ghost({&Red, &Green, &Blue, &Colour}, FilmType, isNot(InColour));
        ghost({&Tred, &Tgreen, &Tblue}, FilmType, isNot(Tinted));
        scene.inputs = {"seeding-small.png"};
        scene.settings = {{"Direction", "Top Right"}, {"Duration", "20"}};
        scene.frame = 22;
        scene.plates = {"portrait.jpg"};
    }
};

class Burn final : public Effect<BurnInfo> {
  public:
    void ProcessFrame() override;

  private:
    void grade(K7Image& picture);
    void burnHole(K7Image& picture, double progress);
    void drawFront(const K7Image& picture, double progress);

    ImagePtr m_front;  // how far the burn has come, at a fraction of the picture's size; kept from frame to frame
};
