// Q_Jaws: a drawing in Encapsulated PostScript over the picture.
//
// The file is fitted into the frame, moved, scaled and turned, and handed as a PostScript program to a service outside
// of the host, `quillon jaws-service`, which draws it at the frame's own resolution. The small picture that many such
// files bring can stand in for it. What goes wrong is painted into the frame, in words.
#pragma once

#include "Library2/PluginK7.h"
#include "jawslib/jawslib_eps.h"

struct JawsInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Jaws",
        .menu = "Sundries",
        .generator = true,
        .overlay = true,
        .description =
            "Renders images described by Encapsulated PostScript Format (EPSF) files. This effect is in Box Number 30",
        .purpose =
            "Logos, maps, titles and line art in PostScript, drawn into the frame at its own resolution: sharp at "
            "every size, with alpha, and over the picture at once.",
        .usage =
            "Start the service once on this machine: quillon jaws-service. It needs Ghostscript. Without it each "
            "frame waits for Maximum Time and then shows grey with a blue cross.\n"
            "Choose an EPS file in Path to File. It is fitted into the frame as large as its box allows; nothing is "
            "painted where the file paints nothing.\n"
            "Use Transform turns on Center, the scales and Spin. Center is the place of the fitted drawing that comes "
            "to the middle of the frame, so moving it to the right moves the drawing to the left.\n"
            "The scales divide: 0.5 is twice as large. With EPS Boundary they multiply.\n"
            "Oversampling makes edges smooth: 3 (9) samples are fine for drafts, 5 (25) for the final render. The "
            "first "
            "choice asks for the service's own default, which is 25 samples.\n"
            "View Any Thumbnail shows the preview inside the file instead, quickly and without the service.\n"
            "Files of old Macintosh programs end their lines in their own way: try From Macintosh when a file is not "
            "recognised.\n"
            "Pictures are drawn at up to 4096 pixels a side.\n"
            "When the variable JAWS_DISABLE is yes, no frame waits for a service.\n"};

    ClipRecord input{this, {.name = "Input", .label = "Background"}};

    Page page{this, "Jaws"};
    FileControlK7 PathToFile{this,
                             {"PathToFile", "Path to File", "rhino.eps"},
                             "The PostScript file. Without a path, and for rhino.eps, the drawing that comes with "
                             "Quillon, whose path is then shown here."};
    CheckboxControlK7 ShowOriginal{this,
                                   {"ShowOriginal", "Use Transform"},
                                   "Moves, scales and turns the drawing as the controls below say. Off, it fills the "
                                   "frame."};
    CheckboxControlK7 InOut{this,
                            {"InOut", "EPS Boundary"},
                            "The scales enlarge the drawing. Off, they enlarge what is seen of it, so that it becomes "
                            "smaller."};
    PositionControlK7 Center{
        this, {"Center", "Center", 0.5, 0.5}, "The place of the fitted drawing that comes to the middle of the frame."};
    CheckboxControlK7 MatchZooms{this, {"MatchZooms", "Match XY Scale", true}, "Scale X is used for both directions."};
    SizeControlK7 ZoomWidth{
        this, {"ZoomWidth", "Scale X", 1.0, 0.01, 2.0}, "Scale of the drawing's width: 1 as it was fitted."};
    SizeControlK7 ZoomHeight{
        this, {"ZoomHeight", "Scale Y", 1.0, 0.01, 2.0}, "Scale of the drawing's height: 1 as it was fitted."};
    AngleControlK7 Spin{this,
                        {"Spin", "Spin", 0.0, -360.0, 360.0},
                        "Turns the drawing around the middle of the frame, in degrees counter-clockwise."};
    ListControlK7 Oversampling{
        this,
        {"Oversampling",
         "Oversampling",
         0,
         {"1 sample", "2 (4) samples", "3 (9) samples", "4 (16) samples", "5 (25) samples"}},
        "Samples along each side of a pixel, and in all of it: what edges are averaged from. The first one "
        "leaves it to the service."};
    FloatControlK7 Blend{this,
                         {"Blend", "Mix with Source", 0.0, 0.0, 1.0},
                         "How much of the background is mixed back in: 1 shows it alone."};
    CheckboxControlK7 ViewAnyThumbnail{this,
                                       {"ViewAnyThumbnail", "View Any Thumbnail"},
                                       "Shows the preview that the file brings instead of the drawing, without the "
                                       "service."};
    CheckboxControlK7 TryNonEPS{this,
                                {"TryNonEPS", "Try Non-EPS", true},
                                "Draws plain PostScript too; without a box it counts as 595 x 842 points."};
    CheckboxControlK7 FromMacintosh{
        this, {"FromMacintosh", "From Macintosh"}, "A carriage return alone ends a line of the file."};
    IntegerControlK7 TimeOut{
        this, {"TimeOut", "Maximum Time", 60, 60, 600}, "How long a frame waits for the service, in seconds."};
    FrameRateControlK7 FramesPerSecond{this};

    CrosshairOverlayK7 centreWidget{this, Center};
    AngleOverlayK7 spinWidget{this, Center, Spin};

    JawsInfo();
};

class Jaws final : public Effect<JawsInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;

  private:
    std::string givenPath();
    EpsPlacement placement() const;
    bool ripFile(const EpsFile& eps);
    ImagePtr exchange(const std::string& script);
    void layThumbnail(const EpsFile& eps);
    void paintFailure(int code);
};
