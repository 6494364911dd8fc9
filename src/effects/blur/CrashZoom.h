// Q_CrashZoom: the picture streaks towards a centre, as through a zoom that is pulled while the shutter is open.
//
// Every pixel becomes the average of the picture along the line to the centre; the line's length grows with the
// distance from a clear shape around the centre: a circle, a polygon, or the bright parts of an object picture.
#pragma once

#include "Library2/PluginK7.h"

struct CrashZoomInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "CrashZoom",
        .menu = "Blurs",
        .overlay = true,
        .onDevice = true,
        .description = "Convergence blurring. This effect is in Box Number 8",
        .purpose =
            "The zoom is pulled while the shutter is open: everything streaks towards a centre, and a circle, a "
            "polygon or the bright parts of a second clip stay clear.",
        .usage =
            "Connect the shot as Clip to Zoom and drag Centre to the eye, the face or the title that stays still.\n"
            "Speed is the length of the streaks. 10 to 35 looks like a lens, 100 reaches the clear shape; below 0 the "
            "streaks run outwards.\n"
            "Clear Radius keeps the middle sharp, Soft Radius says how gently the blur begins. A Soft Radius of 3 "
            "pixels shows an edge; raise it to hide the shape.\n"
            "With the shape Object Image connect a matte as Objects Clip: where it is brighter than Object Threshold "
            "streaks are short, where it is darker they are long.\n"
            "Sample is quality: 1 for setting up, 16 where long streaks show steps.\n"
            "Animate Speed from 0 up and down over 6 to 10 frames for a crash zoom on a cut.\n"
            "Soft Radius counts pixels of the full size, all else parts of the picture. A proxy shows the same "
            "streaks.\n"
            "Put it after the comp is together and before grain, since grain does not streak.\n"};
    enum Shape { Circle = 1, ObjectImage = 2, ThreeSides = 3 };  // above that the number of sides

    ClipRecord input{this, {.name = "Input", .label = "Clip to Zoom", .shortLabel = "Input", .required = true}};
    ClipRecord object{this, {.name = "Object", .label = "Objects Clip"}};

    Page page{this, "CrashZoom"};
    FloatControlK7 Speed{this,
                         {"Speed", "Speed", 10.0, -200.0, 100.0},
                         "Length of the streaks, in percent of the distance from the clear shape: 0 leaves the picture "
                         "as it is, below 0 they run outwards."};
    PositionControlK7 Centre{
        this,
        {"Centre", "Centre", 0.5, 0.5},
        "Point that the streaks run towards, as fractions of the width and height of the picture."};
    ListControlK7 UseObject{
        this,
        {"UseObject",
         "Shape",
         0,
         {"Circle", "Object Image", "3 sides", "4 sides", "5 sides", "6 sides", "7 sides", "8 sides", "9 sides",
          "10 sides"}},
        "What stays clear around the centre: a circle, a polygon, or the bright parts of the object clip."};
    SizeControlK7 Radius{this,
                         {"Radius", "Clear Radius", 0.2, 0.0, 3.0},
                         "Radius of the clear shape, in half widths of the picture; 0 streaks right up to the centre."};
    AngleControlK7 Rotation{this,
                            {"Rotation", "Rotate Shape", 0.0, -360.0, 360.0},
                            "How far the polygon is turned clockwise about the centre, in degrees."};
    FloatControlK7 SoftRadius{this,
                              {"SoftRadius", "Soft Radius", 3.0, 0.0, 20.0},
                              "Distance from the clear shape over which the blur comes to full strength, in pixels at "
                              "full size; less than 1 counts as 1."};
    FloatControlK7 Threshold{this,
                             {"Threshold", "Object Threshold", 0.5, 0.0, 1.0},
                             "Luminance of the object clip above which it shortens the streaks and below which it "
                             "lengthens them; 1 is white."};
    CheckboxControlK7 InvertMask{this,
                                 {"InvertMask", "Invert Image"},
                                 "Inverts the colours of the object clip, so that its dark parts stay clear."};
    ListControlK7 Samp{this,
                       {"Samp", "Sample", 0, {"1 Sample", "4 Samples", "16 Samples", "64 Samples"}},
                       "How finely streaks are sampled, from one step for each pixel of their length to four: finer is "
                       "smoother and slower."};

    CrosshairOverlayK7 centreWidget{this, Centre};
    CircleOverlayK7 radiusWidget{this, Centre, Radius};

    CrashZoomInfo() {
        radiusWidget.colour = OVERLAY_YELLOW;
        UseObject.followedByOverlay = Rotation.followedByOverlay = true;
        ghost({&Radius}, UseObject, is(ObjectImage));
        ghost({&Threshold}, UseObject, isNot(ObjectImage));
        ghost({&Rotation}, UseObject, below(ThreeSides));
        ghost({&InvertMask}, UseObject, isNot(ObjectImage));
        scene.inputs = {"coffee-small.png"};
        scene.settings = {{"Speed", "35"}, {"Centre", "0.49,0.7"}, {"Radius", "0.35"}, {"Samp", "2"}};
        scene.plates = {"launch.jpg"};
        scene.look = {{"Speed", "45"}, {"Centre", "0.5,0.62"}, {"Radius", "0.25"}, {"SoftRadius", "20"}, {"Samp", "2"}};
    }
};

class CrashZoom final : public Effect<CrashZoomInfo> {
  public:
    void ProcessFrame() override;
    bool staysOnDevice() const override { return UseObject.value != ObjectImage || !InvertMask.value; }

  protected:
    void PrepareOverlay() override;
    void DrawMore(const OverlayPen& pen) override;
};
