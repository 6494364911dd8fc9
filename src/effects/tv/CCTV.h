// Q_CCTV: the picture of a surveillance system.
//
// What an artist uses it for: a shot that is cut into a film as the tape of a guard's room, a screen in a control room,
// a corridor at night that nobody was meant to see. What makes such pictures is not one filter but a chain, and the
// effect follows it in the order of the wires. Everything up to the monitor happens on a raster of a few hundred lines,
// as many as Lines says, so a proxy shows the same picture as the full size.
//
//   camera     each clip is one. It is scaled to the raster; a wide lens bends it; the chip smears bright lamps down
//              their columns and blooms, an automatic gain lifts the dark and brings noise up with it; edges are
//              sharpened with halos. With Infrared a lamp at the camera lights a spot of a grey picture.
//   switcher   one camera, four at once, or one after the other with a jolt of the picture at each cut. A camera that
//   is
//              not connected shows "VIDEO LOSS"; the switcher leaves it out.
//   caption    name of the camera, running date and time, a blinking mark, in a bitmap font on the raster.
//   recorder   a tape: lines start too early or too late, the top bends, heads switch in the lowest lines, a band
//              wanders where tracking is off, colour is coarse and late, specks where the coating is gone, all of it
//              worse with each generation. Or a disk: blocks of eight by eight after a cosine transform whose
//              coefficients are rounded (with the steps of ITU-T T.81, annex K), and macroblocks that go astray.
//   monitor    scan lines, hum bar, rolling picture, curved glass, vignette, tint.
//
// Noise is a hash of place, frame and seed (the finaliser of A. Appleby's MurmurHash3, 2008): any frame can be rendered
// alone. It changes with each frame while Animate is on; all else moves only where its sentence says so.
#pragma once

#include "Library2/PluginK7.h"

struct CCTVInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "CCTV",
        .menu = "TV Effects",
        .overlay = true,
        .description =
            "Make the input look like it was recorded and displayed on a CCTV (Closed Circuit Television ) "
            "system, of the type often used for security surveillance operations. This effect is in Box "
            "Number 11",
        .purpose =
            "Footage of a surveillance system: cheap cameras, a switcher or a quad picture with captions, a worn tape "
            "or a starved disk recorder, and an old monitor.",
        .usage =
            "Connect the shot as Clip 1, further cameras as Clip 2 to Clip 4. Locked-off, high and wide shots look "
            "right; a handheld one never does.\n"
            "Begin with a preset. View chooses one camera, all four or the switcher; a camera without a clip shows "
            "VIDEO LOSS.\n"
            "Lines is the resolution of the system: 240 for a tape of the eighties, 480 for broadcast equipment, 720 "
            "for a network camera.\n"
            "For night shots grade the plate down first, then turn Infrared on and drag the lamp's place and radius in "
            "the viewer.\n"
            "The # of Camera Name becomes the number of the camera. The clock starts at frame 0 with the date and time "
            "given and runs at Clock Frame Rate.\n"
            "To edit the tape back and forth in one shot animate Tracking and Head Switch; drop frames before the "
            "effect to get the jerks of a time-lapse recorder.\n"
            "For a monitor that stands in the set leave Curvature and Vignette at 0 and bend the picture when it is "
            "tracked in.\n"
            "The raster does not depend on the size of the picture, so a proxy shows the same, with softer scan "
            "lines.\n"};
    enum Views { OneCamera = 1, Quad = 2, Switcher = 3 };

    ClipRecord clip1{this, {.name = "Clip1", .label = "Clip 1", .shortLabel = "Clip1", .required = true}};
    ClipRecord clip2{this, {.name = "Clip2", .label = "Clip 2", .shortLabel = "Clip2"}};
    ClipRecord clip3{this, {.name = "Clip3", .label = "Clip 3", .shortLabel = "Clip3"}};
    ClipRecord clip4{this, {.name = "Clip4", .label = "Clip 4", .shortLabel = "Clip4"}};

    Page page{this, "CCTV"};
    PresetChoiceK7 Demos{
        this, {"Demos", "Presets"}, "A whole system: sets all controls but places, captions and dates."};
    ListControlK7 View{this,
                       {"View", "View", 0, {"One Camera", "Quad", "Switcher"}},
                       "One camera, all four at once, or the connected ones in turn."};
    IntegerControlK7 Camera{
        this, {"Camera", "Camera", 1, 1, 4, {.keptByPresets = true}}, "The camera that One Camera shows."};
    FloatControlK7 Dwell{this,
                         {"Dwell", "Dwell", 3.0, 0.1, 60.0, {.keptByPresets = true}},
                         "How long the switcher stays with a camera, in seconds of the clock."};
    FloatControlK7 CutGlitch{this,
                             {"CutGlitch", "Cut Glitch", 60.0, 0.0, 100.0},
                             "How far the picture jumps, tears and rolls in the five frames after the switcher's cut."};
    IntegerControlK7 Lines{this,
                           {"Lines", "Lines", 480, 120, 1080},
                           "Lines of the system from the top to the bottom of the picture, and as many columns as make "
                           "square pixels."};
    CheckboxControlK7 Animate{this,
                              {"Animate", "Animate", true, {.keptByPresets = true}},
                              "Noise, jitter and other faults change with every frame; off, they stand still."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 1984, 1, 9999, {.animates = false, .keptByPresets = true}},
                          "Another number gives other noise and other faults."};

    Page cameraPage{this, "Camera"};
    FloatControlK7 Colour{
        this, {"Colour", "Colour", 55.0, 0.0, 200.0}, "Saturation of the cameras, in percent; 0 is black and white."};
    FloatControlK7 Contrast{this,
                            {"Contrast", "Contrast", 115.0, 0.0, 300.0},
                            "Contrast about the middle grey, in percent; 100 changes nothing."};
    FloatControlK7 Gain{this,
                        {"Gain", "Gain", 110.0, 0.0, 800.0},
                        "Amplification of the cameras, in percent. Lifts dark shots, burns out lamps."};
    FloatControlK7 Noise{
        this, {"Noise", "Noise", 12.0, 0.0, 100.0}, "Noise of the cameras, strongest in the dark, in percent."};
    FloatControlK7 Sharpening{
        this, {"Sharpening", "Sharpening", 40.0, 0.0, 200.0}, "Dark and bright halos along upright edges, in percent."};
    FloatControlK7 Bloom{this, {"Bloom", "Bloom", 30.0, 0.0, 200.0}, "Glow around what is nearly white, in percent."};
    FloatControlK7 Smear{this,
                         {"Smear", "Smear", 15.0, 0.0, 200.0},
                         "Pale streaks that run from lamps over the whole height of the picture, in percent."};
    FloatControlK7 Distortion{this,
                              {"Distortion", "Lens Distortion", 12.0, -50.0, 100.0},
                              "How far the wide lens bends straight lines outwards, in percent; below 0 inwards."};
    PositionControlK7 Centre{this,
                             {"Centre", "Lens Centre", 0.5, 0.5},
                             "Middle of the lens and of the infrared lamp, as fractions of the width and height."};
    CheckboxControlK7 Infrared{this,
                               {"Infrared", "Infrared"},
                               "A grey picture by the light of a lamp at the camera: skin and leaves are pale, the "
                               "corners dark."};
    SizeControlK7 LampRadius{this,
                             {"LampRadius", "Lamp Radius", 0.6, 0.05, 4.0},
                             "Where the lamp has lost three quarters of its light, in half widths of the picture."};

    Page recorderPage{this, "Tape"};
    IntegerControlK7 Generations{this,
                                 {"Generations", "Generations", 1, 0, 6},
                                 "How often the tape has been copied: each copy loses detail and smears the colour; 0 "
                                 "is no tape."};
    FloatControlK7 Jitter{this,
                          {"Jitter", "Jitter", 4.0, 0.0, 100.0},
                          "How far lines start too early or too late; 100 is about a fiftieth of the width."};
    FloatControlK7 Skew{this,
                        {"Skew", "Skew", 10.0, 0.0, 100.0},
                        "How far the top of the picture bends sideways; 100 is about a tenth of the width."};
    FloatControlK7 HeadSwitch{
        this, {"HeadSwitch", "Head Switch", 6.0, 0.0, 60.0}, "Height of the torn strip at the bottom, in lines."};
    FloatControlK7 Tracking{this,
                            {"Tracking", "Tracking", 0.0, 0.0, 100.0},
                            "Strength of a band of torn, noisy lines that climbs through the picture in four seconds."};
    FloatControlK7 DropOuts{this,
                            {"DropOuts", "Drop-outs", 3.0, 0.0, 100.0},
                            "White and black dashes where the coating of the tape is gone, as many in each frame."};
    FloatControlK7 ChromaDelay{this,
                               {"ChromaDelay", "Chroma Delay", 2.0, -20.0, 20.0},
                               "How many columns the colour lies to the right of its shapes."};

    Page receptionPage{this, "Signal"};
    FloatControlK7 Snow{this, {"Snow", "Snow", 0.0, 0.0, 100.0}, "Share of white noise in the picture, in percent."};
    FloatControlK7 Ghost{this,
                         {"Ghost", "Ghost", 0.0, 0.0, 100.0},
                         "Strength of an echo of the picture to the right of it, in percent."};
    FloatControlK7 GhostDelay{
        this, {"GhostDelay", "Ghost Delay", 3.0, 0.0, 20.0}, "Distance of the echo, in percent of the width."};
    FloatControlK7 Compression{this,
                               {"Compression", "Compression", 0.0, 0.0, 100.0},
                               "Blocks of a disk recorder or a slow line: 20 is just seen, 100 leaves little but "
                               "blocks."};
    FloatControlK7 BlockErrors{this,
                               {"BlockErrors", "Block Errors", 0.0, 0.0, 100.0},
                               "Share of the rows of blocks that go astray from some block on, in percent. They stay "
                               "for a quarter of a second."};

    Page monitorPage{this, "Monitor"};
    FloatControlK7 ScanLines{
        this, {"ScanLines", "Scan Lines", 25.0, 0.0, 100.0}, "How dark it is between the lines, in percent."};
    FloatControlK7 HumBar{this,
                          {"HumBar", "Hum Bar", 6.0, 0.0, 100.0},
                          "Strength of a soft dark bar that climbs through the picture in eight seconds, in percent."};
    FloatControlK7 Roll{this,
                        {"Roll", "Roll", 0.0, -100.0, 100.0},
                        "Speed of a picture that does not hold, in percent of its height a second; 0 holds it."};
    FloatControlK7 Curvature{this,
                             {"Curvature", "Curvature", 0.0, 0.0, 100.0},
                             "How far the glass of the monitor bulges; beyond its edge is black."};
    FloatControlK7 Vignette{
        this, {"Vignette", "Vignette", 20.0, 0.0, 100.0}, "How much light the corners lose, in percent."};
    ColourControlK7 Tint{
        this, {"Tint", "Tint", 1.0F, 1.0F, 1.0F}, "Colour of the tube: what is white becomes this colour."};

    Page captionPage{this, "Caption"};
    CheckboxControlK7 ShowName{
        this, {"ShowName", "Show Name", true, {.keptByPresets = true}}, "Writes the name of each camera."};
    TextControlK7 CameraName{
        this,
        {"CameraName", "Camera Name", "CAM #", ofx::string_mode::SingleLine, {.keptByPresets = true}},
        "Name of a camera; # stands for its number."};
    CheckboxControlK7 ShowClock{
        this, {"ShowClock", "Show Clock", true, {.keptByPresets = true}}, "Writes date and time."};
    ListControlK7 DateStyle{this,
                            {"DateStyle",
                             "Date Style",
                             0,
                             {"DD-MM-YYYY", "MM-DD-YYYY", "YYYY-MM-DD", "Time Only"},
                             {.keptByPresets = true}},
                            "Order of day, month and year."};
    CheckboxControlK7 ShowRec{this,
                              {"ShowRec", "Show REC", true, {.keptByPresets = true}},
                              "Writes REC with a mark that blinks once a second."};
    PositionControlK7 CaptionPos{this,
                                 {"CaptionPos", "Caption Position", 0.05, 0.93},
                                 "Where the name begins, as fractions of the width and height. The clock stands on the "
                                 "other side of the middle line, the mark beside the name."};
    FloatControlK7 TextSize{this,
                            {"TextSize", "Text Size", 5.0, 1.0, 20.0, {.keptByPresets = true}},
                            "Height of the captions, in percent of the picture's height; rounded to whole multiples of "
                            "the font's 13 lines."};

    Page clockPage{this, "Clock"};
    IntegerControlK7 Year{
        this, {"Year", "Year", 2004, 1900, 2999, {.animates = false, .keptByPresets = true}}, "Year at frame 0."};
    IntegerControlK7 Month{
        this, {"Month", "Month", 10, 1, 12, {.animates = false, .keptByPresets = true}}, "Month at frame 0."};
    IntegerControlK7 Day{this,
                         {"Day", "Day", 23, 1, 31, {.animates = false, .keptByPresets = true}},
                         "Day at frame 0; days beyond the end of the month go on into the next."};
    IntegerControlK7 Hour{
        this, {"Hour", "Hour", 23, 0, 23, {.animates = false, .keptByPresets = true}}, "Hour at frame 0."};
    IntegerControlK7 Minute{
        this, {"Minute", "Minute", 47, 0, 59, {.animates = false, .keptByPresets = true}}, "Minute at frame 0."};
    IntegerControlK7 Second{
        this, {"Second", "Second", 12, 0, 59, {.animates = false, .keptByPresets = true}}, "Second at frame 0."};
    FloatControlK7 ClockRate{
        this,
        {"ClockRate", "Clock Frame Rate", 25.0, 1.0, 240.0, {.animates = false, .keptByPresets = true}},
        "Frames a second of the clock, the switcher and all that moves steadily."};

    CrosshairOverlayK7 centreWidget{this, Centre};
    CircleOverlayK7 lampWidget{this, Centre, LampRadius};
    CrosshairOverlayK7 captionWidget{this, CaptionPos};

    CCTVInfo();

  private:
    void declarePresets();
};

class CCTV final : public Effect<CCTVInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;

  private:
    struct Moment;
    Moment momentNow() const;
    ImagePtr shotOf(int camera, int columns, int lines, const Moment& moment) const;
    ImagePtr composed(int columns, int lines, const Moment& moment) const;
    void writeCaptions(int camera, K7Image& picture, const Moment& moment) const;
};
