// Q_TrailAverage: what moves leaves a trail.
//
// Each frame shows the average of the last frames of a run; before the run's first frame that frame itself counts.
// Running sums are kept from render to render, so that the next frame costs one frame fetched from the host (three in
// StaggerRGB), however long the trail is. A run begins anew at a frame before the last one rendered, at another size
// and with the button Restart. When a setting that the sums depend on has changed they are summed up again.
#pragma once

#include <atomic>

#include "Library2/PluginK7.h"
#include "effects/engines/controls/PressCounter.h"
#include "effects/trails/TrailSums.h"

struct TrailAverageInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "TrailAverage",
        .menu = "Trailz",
        .otherFrames = true,
        .history = FrameHistory::Frames,
        .description = "Trail generation using an average accumulation. This effect is in Box Number 7",
        .purpose =
            "What moves leaves a trail: each frame shows the average of the last frames, straight, with red, green and "
            "blue of different lengths, or with the bright parts dominant.",
        .usage =
            "Connect the shot as Input Clip and render its frames in order: the trail goes on from the frame before. "
            "Restart, or an earlier frame, begins it anew.\n"
            "Endurance is the number of frames averaged: 3 to 5 is a long shutter, 20 and more turns people into "
            "ghosts and empties streets.\n"
            "StaggerRGB gives each colour a length of its own: still parts stay grey and moving ones trail in "
            "colours.\n"
            "BoostBright lets bright frames outweigh dark ones: lamps and fireworks draw lines. Raise Bright Emphasis "
            "until they hold.\n"
            "The Matte clip counts with Use Matte Clip or Matte PreMultiply on. Hosts may insist on a picture there; "
            "any will do while both are off.\n"
            "Composite lays the trail over Background, or over the shot itself where none is connected.\n"
            "The first frame of a run counts for those before it. Start some frames before the cut so that the trail "
            "is full there.\n"
            "Every length costs the same time. The blur follows a proxy; the average does not depend on the size.\n"
            "Put it before grain, which averaging would remove.\n"};

    ClipRecord input{
        this, {.name = "Input", .label = "Input Clip", .shortLabel = "Trail", .required = true, .temporal = true}};
    ClipRecord background{this, {.name = "Bck", .label = "Background", .shortLabel = "BG"}};
    ClipRecord matte{this, {.name = "Matte", .label = "Matte", .required = true, .mayStayEmpty = true}};

    enum Style : int { Straight = 1, StaggerRGB, BoostBright };

    Page page{this, "TrailAverage"};
    PressCounterK7 ReStartSecret{this, "ReStartSecret", "the trail begins anew"};
    CheckboxControlK7 MatteShuffle{this,
                                   {"MatteShuffle", "Use Matte Clip"},
                                   "Takes the alpha of every frame from the red channel of the matte clip."};
    CheckboxControlK7 MattePreMultiply{this,
                                       {"MattePreMultiply", "Matte PreMultiply"},
                                       "Takes the alpha from the matte clip as well, and multiplies the colours of "
                                       "every frame by it before they are averaged."};
    ListControlK7 DoStyle{this,
                          {"DoStyle", "Style", 0, {"Straight", "StaggerRGB", "BoostBright"}},
                          "How frames are averaged: as they are, red, green and blue over different numbers of frames, "
                          "or bright ones above all."};
    IntegerControlK7 Endurance{this, {"Endurance", "Endurance", 10, 2, 100}, "How many frames are averaged."};
    IntegerControlK7 EnduranceR{
        this, {"EnduranceR", "EnduranceRed", 10, 2, 100}, "How many frames of red StaggerRGB averages."};
    IntegerControlK7 EnduranceG{
        this, {"EnduranceG", "EnduranceGreen", 30, 2, 100}, "How many frames of green StaggerRGB averages."};
    IntegerControlK7 EnduranceB{
        this, {"EnduranceB", "EnduranceBlue", 50, 2, 100}, "How many frames of blue StaggerRGB averages."};
    FloatControlK7 LumBoost{this,
                            {"LumBoost", "Bright Emphasis", 50.0, 1.0, 100.0},
                            "How far bright frames outweigh dark ones in BoostBright; 1 weighs them alike."};
    CheckboxControlK7 DoBlur{this, {"DoBlur", "Do Blur"}, "Blurs the trail."};
    FloatControlK7 Blur{this,
                        {"Blur", "Blurring", 1.0, 0.0, 10.0},
                        "Radius of the blur of the trail, in pixels at full size; 0 is none."};
    CheckboxControlK7 DoComp{
        this,
        {"DoComp", "Composite"},
        "Lays the trail over the background clip, or over the input where no background is connected."};
    CheckboxControlK7 PreMultiply{
        this,
        {"PreMultiply", "Pre Multiplied"},
        "Says that the colours of the trail are already multiplied by its alpha when it is laid over the background."};
    ButtonControlK7 Restart{
        this, {"Restart", "Restart"}, "Begins the trail anew with the next frame that is rendered."};

    TrailAverageInfo() {
        ghost({&Endurance}, DoStyle, is(StaggerRGB));
        ghost({&EnduranceR, &EnduranceG, &EnduranceB}, DoStyle, isNot(StaggerRGB));
        ghost({&LumBoost}, DoStyle, isNot(BoostBright));
        ghost({&Blur}, DoBlur, isOff);
        ghost({&PreMultiply}, DoComp, isOff);
        scene.inputs = {"@flight"};
        scene.settings = {{"DoStyle", "StaggerRGB"}, {"EnduranceR", "12"}, {"EnduranceG", "22"}, {"EnduranceB", "34"}};
        scene.lead = 34;
        scene.frame = 44;
    }
};

class TrailAverage final : public Effect<TrailAverageInfo> {
  public:
    void ProcessFrame() override;
    void ButtonPressed(ButtonControlK7& button) override;
    void MarkRestart() override { m_restart_asked = true; }  // at any time: the next render takes it

  protected:
    void FramePrepare(TrailAverageInfo& plan, const FrameSpan& frames) const override;

  private:
    // What the sums depend on besides the frames.
    struct Settings {
        int style = 0;
        TrailLengths lengths{};
        double boost = 0.0;
        bool usesMatte = false, premultiplies = false;
        bool operator==(const Settings&) const = default;
    };
    struct Run {
        int first = 0, last = 0;
        int width = 0, height = 0;
        double secret = 0.0;
        Settings settings;
    };

    static Settings settings(const TrailAverageInfo& from);
    bool mustRestart(int frame, const K7Image& source) const;

    // Each leaves the sums with the newest frame in them and gives the picture. False: a frame is missing.
    void beginRun(const K7Image& newest, const Settings& now, K7Image& result);
    bool continueRun(const K7Image& newest, int frame, K7Image& result);
    bool sumAgain(const K7Image& newest, int frame, const Settings& now, K7Image& result);

    ImagePtr prepared(const K7Image& frame, const K7Image& matteImage, const Settings& now) const;
    ImagePtr pastFrame(int frame, const K7Image& layout, const Settings& now);
    void finish(K7Image& result);

    std::atomic<bool> m_restart_asked = false;
    std::atomic<int> m_first_of_run = 0;  // for FramePrepare, which can be asked while a render runs
    bool m_begun = false;                 // there is a run to go on with
    Run m_run;
    TrailSums m_sums;
    ImagePtr m_newest;  // as the last render put it into the sums
};
