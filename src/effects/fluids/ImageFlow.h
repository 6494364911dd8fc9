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
            "Number 5",
        .purpose =
            "A still picture becomes coloured liquid that flows on by itself, spreads, settles again, wells up from "
            "sources and drains into sinks.",
        .usage =
            "Connect a still as Flow Clip. By default its bright parts sink; Rise or Fall below 0 lets them rise. Tick "
            "Remove Net Force to keep the picture as a whole in its place.\n"
            "Render frames in order: each render is a step, and what an earlier frame shows depends on where the "
            "sequence began. A frame before the last one, another size, and Restart begin the flow anew.\n"
            "Use Dissipation lets the picture find back to itself: what is left of a displacement after so many "
            "frames. Use Diffusion smooths what has flowed.\n"
            "With a Sources clip fresh picture wells up where it is bright, so that a face or a title stays readable "
            "while all around it flows. Towards bright parts of a Sinks clip the picture drains away.\n"
            "For marbled paper choose No Buoyancy, and give Random Amount 0.3 with 2 to 4 Eddies.\n"
            "Streams, winds and vortices push where their handles are; a Barrier clip keeps the fluid out.\n"
            "The flow is worked out on the same grid at any size, so a proxy shows the same flow. Fine Grid makes "
            "smaller swirls.\n"};

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
        scene.inputs = {"street-small.png"};
        scene.settings = {{"NetForce", "on"}, {"EachRandom", "0.4"}, {"KInertial", "3"}};
        scene.lead = 14;
        scene.frame = 14;
    }
};

class ImageFlow final : public FlowEffect<ImageFlowInfo> {
  public:
    void ProcessFrame() override;

  private:
    void changeMaps(FluidFlow& fluidFlow);
};
