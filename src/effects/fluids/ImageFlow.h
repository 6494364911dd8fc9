// Q_ImageFlow: a picture flows like coloured liquid.
//
// As Q_ClipFlow; besides, what has flowed can spread, settle again, well up fresh from sources and drain into sinks.
#pragma once

#include "effects/fluids/FlowEffect.h"

struct ImageFlowInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "ImageFlow",
        .menu = "Fluidz",
        .overlay = true,
        .otherFrames = true,
        .history = FrameHistory::Frames,
        .description =
            "Treats a single image as though it were made of coloured liquid or gas and outputs a result "
            "clip showing that fluid flowing over time. The fluid flow is simulated by physically based two "
            "dimensional fluid flow calculations resulting in natural flow effects. This effect is in Box "
            "Number 5"};

    ClipRecord input{this,
                     {.name = "Input", .label = "Flow Clip", .shortLabel = "In", .required = true, .temporal = true}};
    ClipRecord background{this, {.name = "BackG", .label = "BackGround", .shortLabel = "BG"}};
    ClipRecord force{this, {.name = "Aux", .label = "Force Clip", .shortLabel = "Force"}};
    ClipRecord sources{this, {.name = "Sources", .label = "Sources Clip", .shortLabel = "Srcs"}};
    ClipRecord sinks{this, {.name = "Sinks", .label = "Sinks Clip", .shortLabel = "Sinks"}};
    ClipRecord barrier{this, {.name = "Barrier", .label = "Barrier Clip", .shortLabel = "Bar"}};

    enum Source : int { NoSource = 1, SelfSource, SourceClip };

    Page pageFlow{this, "ImageFlow"};
    PressCounterK7 RestartASecret{this, "RestartASecret", "the flow begins anew"};
    FlowFluidControls fluid{this};
    CheckboxControlK7 UseDiff{this, {"UseDiff", "Use Diffusion"}, "Smooths what has flowed, as ink spreads in water."};
    FloatControlK7 Diff{this,
                        {"Diff", "Diffusion", 2.0, 0.0, 20.0},
                        "How far displacements spread in a frame, in hundredths of the picture."};
    CheckboxControlK7 UseDiss{
        this, {"UseDiss", "Use Dissipation"}, "Lets the picture find back to itself while it flows."};
    IntegerControlK7 DissFrames{this,
                                {"DissFrames", "Dissipation Frames", 25, 1, 1000},
                                "Frames after which Dissipation Percent of a displacement is left."};
    FloatControlK7 DissPercent{this,
                               {"DissPercent", "Dissipation Percent", 50.0, 0.0, 100.0},
                               "What is left of a displacement after Dissipation Frames, in percent: 100 keeps all."};
    EdgeEscapeControl EdgeEscape{this};
    HiResControl HiRes{this};
    FlowForceControls forces{this, true};
    ListControlK7 SourceMode{this,
                             {"SourceMode", "Source Mode", 0, {"No Source", "Self Source", "Source Clip"}},
                             "Where the picture wells up afresh: nowhere, where it is bright itself, or where the "
                             "sources clip is."};
    FloatControlK7 SourceStrength{this,
                                  {"SourceStrength", "Source Strength", 1.0, 0.0, 10.0},
                                  "How fast it wells up: where white, tenths of a displacement taken back in a frame."};
    ListControlK7 SinkMode{this,
                           {"SinkMode", "Sink Mode", 0, {"No Sink", "Self Sink", "Sink Clip"}},
                           "Where the picture drains away: nowhere, where it is bright itself, or where the sinks clip "
                           "is."};
    FloatControlK7 SinkStrength{this,
                                {"SinkStrength", "Sink Strength", 1.0, 0.0, 10.0},
                                "How fast it streams towards the bright parts of sinks; 0 is not at all."};
    FlowOutputControls outputs{this, true};

    Page pageStreams{this, "Barriers and Streams"};
    PressCounterK7 RestartDSecret{this, "RestartDSecret", "the flow begins anew"};
    PressCounterK7 RestartESecret{this, "RestartESecret", "the flow begins anew"};
    UseBarriersControl UseBarriers{this};
    BoundaryLayerControl BoundaryLayer{this, UseBarriers};
    FlowGravityControls gravity{this};
    VelocityBoxControls boxA{this, {.letter = "A", .speed = 0.1, .centre = {0.2, 0.5}, .angle = 0.0}};
    VelocityBoxControls boxB{this, {.letter = "B", .speed = 0.15, .centre = {0.62, 0.2}, .angle = 270.0}};

    FlowStirringControls stirring{this};
    ButtonControlK7& Restart = stirring.restart;
    FlowControls flow{fluid, HiRes, forces, outputs, gravity, boxA, boxB, stirring};

    ImageFlowInfo() {
        ghost({&Diff}, UseDiff, isOff);
        ghost({&DissFrames, &DissPercent}, UseDiss, isOff);
        ghost({&SourceStrength}, SourceMode, is(NoSource));
        ghost({&SinkStrength}, SinkMode, is(NoSource));
        scene.inputs = {"portrait-small.png"};
        scene.settings = {{"WindOnA", "1"}, {"EachRandom", "0.3"}};
        scene.lead = 30;
        scene.frame = 30;
    }
};

class ImageFlow final : public FlowEffect<ImageFlowInfo> {
  public:
    void ProcessFrame() override;

  private:
    bool changeMaps(FluidFlow& fluidFlow);
};
