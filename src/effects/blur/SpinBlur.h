// Q_SpinBlur: the picture rotates about a centre while the shutter is open.
//
// Every pixel becomes the average of the picture along an arc around the centre. The arc's length may change with the
// distance (a ring that fades, a twirl inwards or outwards) and with a matte. The picture is un-wrapped into circles
// once and summed along them, so that an arc of any length costs the same few reads.
#pragma once

#include "Library2/PluginK7.h"
#include "imagelib/imagelib_arcs.h"

struct SpinBlurInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "SpinBlur",
        .menu = "Blurs",
        .overlay = true,
        .onDevice = true,
        .description = "Apply a circular blurring effect. This effect is in Box Number 8",
        .purpose =
            "The picture turns about a centre while the shutter is open: wheels, vertigo, a spinning camera, a twirl.",
        .usage =
            "Connect the shot as Input and drag Centre onto the hub.\n"
            "Speed is the angle turned through while the shutter is open. A wheel at 24 frames and half a shutter "
            "turns through 180 degrees times its turns in a frame.\n"
            "Overall turns all of it, Fade only a ring between the inner and the outer radius with soft edges: the "
            "style for a wheel. Twirl In and Out change the angle with the distance.\n"
            "A matte with Use Matte on scales the angle by its luminance: black stays clear. It keeps the fork before "
            "the wheel sharp.\n"
            "Mix with Source brings back some of the sharp picture, as a flash with a long exposure does.\n"
            "Long arcs cost no more than short ones.\n"
            "Radii are parts of the picture, so a proxy shows the same blur.\n"
            "Put it before grain. Near the borders it repeats the outermost pixels; overscan the shot where that "
            "shows.\n"};
    enum Style { Overall = 1, Fade = 2, TwirlIn = 3, TwirlOut = 4 };

    ClipRecord input{this, {.name = "Input1", .label = "Input", .required = true}};
    ClipRecord matte{this, {.name = "Input2", .label = "Matte"}};

    Page page{this, "SpinBlur"};
    PositionControlK7 Centre{this,
                             {"Centre", "Centre", 0.5, 0.5},
                             "Centre that the picture turns about, as fractions of its width and height."};
    AngleControlK7 Speed{this,
                         {"Speed", "Speed", 10.0, -360.0, 360.0},
                         "Angle that the picture turns through while the shutter is open, in degrees from -270 to 359: "
                         "above 0 it smears anticlockwise."};
    ListControlK7 BStyle{this,
                         {"BStyle", "Blur Style", 0, {"Overall", "Fade", "Twirl In", "Twirl Out"}},
                         "Where the picture turns: all of it alike, a ring, more with the distance from the centre "
                         "(Twirl In) or less with it (Twirl Out)."};
    SizeControlK7 IRadius{
        this, {"IRadius", "Inner Radius", 0.1, 0.0, 10.0}, "Inner radius of the ring, in half widths of the picture."};
    SizeControlK7 ORadius{
        this, {"ORadius", "Outer Radius", 0.4, 0.0, 10.0}, "Outer radius of the ring, in half widths of the picture."};
    SizeControlK7 SRadius{this,
                          {"SRadius", "Soft Radius", 0.1, 0.0, 0.5},
                          "Breadth of the soft edges of the ring, as a fraction of the breadth of the ring: at 0.5 "
                          "they meet in its middle."};
    FloatControlK7 Twirl{this,
                         {"Twirl", "Twirl", 2.0, 0.0, 100.0},
                         "How steeply the blur changes with the distance from the centre, as the exponent of a power; "
                         "0 is the same everywhere."};
    FloatControlK7 Blend{this,
                         {"Blend", "Mix with Source", 0.0, 0.0, 100.0},
                         "How much of the source is mixed back in, in percent: 100 shows the source alone."};
    CheckboxControlK7 DoMatte{this,
                              {"DoMatte", "Use Matte"},
                              "Scales the angle by the luminance of the matte: black stays clear, white turns fully."};
    CheckboxControlK7 InvertMatte{
        this,
        {"InvertMatte", "Invert Matte"},
        "Takes the matte the other way round, so that white stays clear and black turns fully."};

    CrosshairOverlayK7 centreWidget{this, Centre};
    CircleOverlayK7 innerWidget{this, Centre, IRadius};
    CircleOverlayK7 outerWidget{this, Centre, ORadius};
    AngleOverlayK7 angleWidget{this, Centre, Speed};

    SpinBlurInfo() {
        BStyle.followedByOverlay = SRadius.followedByOverlay = true;
        ghost({&IRadius, &ORadius, &SRadius}, BStyle, isNot(Fade));
        ghost({&Twirl}, BStyle, below(TwirlIn));
        ghost({&InvertMatte}, DoMatte, isOff);
        scene.inputs = {"seeding-small.png"};
        scene.settings = {{"BStyle", "Fade"},  {"Speed", "70"},     {"Centre", "0.304,0.66"},
                          {"IRadius", "0.02"}, {"ORadius", "0.37"}, {"SRadius", "0.2"}};
    }
};

class SpinBlur final : public Effect<SpinBlurInfo> {
  public:
    SpinBlur() { made(m_turn.valid()); }
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;
    void DrawMore(const OverlayPen& pen) override;

  private:
    float mix() const;  // how much of the source is mixed back in, 0 to 1
    bool blur(const K7Image& source, K7Image& result);
    void blurOnDevice(DeviceFrame& device, const ArcGeometry& geometry, const ArcLengths& arcs);
    bool unwrap(const K7Image& source, const ArcLengths& arcs, ImagelibCircles& circles) const;

    TurnTable m_turn;
};
