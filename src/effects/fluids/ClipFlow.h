// Q_ClipFlow: a clip flows like coloured liquid.
//
// Its brightness, streams, winds and vortices move a fluid, which carries two maps that say for each place where its
// pixel came from. Each frame of the clip is shown through them. Each render takes one step, see FluidRun.h.
#pragma once

#include "effects/fluids/FlowEffect.h"

struct ClipFlowInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "ClipFlow",
        .menu = "Fluidz",
        .overlay = true,
        .otherFrames = true,
        .history = FrameHistory::Frames,
        .description =
            "Treats a the whole clip as though it were made of coloured liquid or gas and outputs a result "
            "clip showing that fluid flowing over time. The fluid flow is simulated by physically based two "
            "dimensional fluid flow calculations resulting in natural flow effects. This effect is in Box "
            "Number 5",
        .purpose =
            "A moving clip flows like coloured liquid: its bright parts sink or rise and take the picture with them, "
            "in "
            "swirls and strands like ink in water.",
        .usage =
            "Connect the clip to flow. By default its bright parts sink; Rise or Fall below 0 lets them rise. Tick "
            "Remove Net Force to keep the picture as a whole in its place.\n"
            "Render frames in order: each render is a step, and what an earlier frame shows depends on where the "
            "sequence began. A frame before the last one, another size, and Restart begin the flow anew.\n"
            "A force clip lets another picture move this one: set Buoyancy Mode to Force "
            "Buoyancy, or to Force Pressure, which drives the picture from bright to dark.\n"
            "For marbled paper choose No Buoyancy, and give Random Amount 0.3 with 2 to 4 Eddies.\n"
            "Streams, winds and vortices push where their handles are. A stream of speed 0 holds a place still.\n"
            "A Barrier clip, black where the picture may flow, keeps a title or a face as it is.\n"
            "The flow is worked out on the same grid at any size, so a proxy shows the same flow. Fine Grid makes "
            "smaller swirls.\n"};

    ClipRecord input{
        this, {.name = "Input", .label = "Flow Clip", .shortLabel = "Input", .required = true, .temporal = true}};
    ClipRecord background{this, {.name = "BackG", .label = "BackGround", .shortLabel = "BG"}};
    ClipRecord force{this, {.name = "Aux", .label = "Force Clip", .shortLabel = "Force"}};
    ClipRecord barrier{this, {.name = "Barrier", .label = "Barrier Clip", .shortLabel = "Bar"}};

    Page pageFlow{this, "ClipFlow"};
    PressCounterK7 RestartASecret{this, "RestartASecret", "the flow begins anew"};
    FlowFluidControls fluid{this};
    EdgeEscapeControl EdgeEscape{this};
    HiResControl HiRes{this};
    FlowForceControls forces{this, true};
    FlowOutputControls outputs{this, true};

    Page pageStreams{this, "Barriers and Streams"};
    PressCounterK7 RestartDSecret{this, "RestartDSecret", "the flow begins anew"};
    UseBarriersControl UseBarriers{this};
    FlowGravityControls gravity{this};
    VelocityBoxControls boxA{this, {.letter = "A", .speed = 0.1, .centre = {0.2, 0.5}, .angle = 0.0}};
    VelocityBoxControls boxB{
        this, {.letter = "B", .speed = 0.15, .centre = {0.62, 0.2}, .angle = 270.0, .barriers = &UseBarriers}};

    FlowStirringControls stirring{this};
    ButtonControlK7& Restart = stirring.restart;
    FlowControls flow{fluid, HiRes, forces, outputs, gravity, boxA, boxB, stirring};

    ClipFlowInfo() {
        scene.inputs = {"launch-small.png"};
        scene.settings = {{"NetForce", "on"}, {"RiseFall", "-4"}};
        scene.lead = 16;
        scene.frame = 16;
    }
};

class ClipFlow final : public FlowEffect<ClipFlowInfo> {
  public:
    void ProcessFrame() override;
};
