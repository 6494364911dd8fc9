// Q_TransFlow: one clip dissolves into another while both flow.
//
// A fluid moved by the first clip carries both; what of the second one is displaced settles as it comes in. Before the
// transition begins and after it ends a clip is itself. Each render takes one step, see FluidRun.h.
#pragma once

#include <algorithm>

#include "effects/fluids/FlowEffect.h"

struct TransFlowInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "TransFlow",
        .menu = "Fluidz",
        .overlay = true,
        .otherFrames = true,
        .history = FrameHistory::Frames,
        .description =
            "Two dimensional fluid flow effect that works with moving image sequences. This effect is in "
            "Box Number 5",
        .purpose = "A transition: one clip melts and flows away while the next one dissolves in and settles.",
        .usage =
            "Connect the two clips as From and To, and set Transition Start and Length. Before it From shows "
            "untouched, "
            "after it To.\n"
            "Render the transition in order from its first frame: each render is a step of the fluid. A frame before "
            "the last one begins it anew, at that frame.\n"
            "From decides how it flows: by its brightness, or with No Buoyancy by streams, winds, vortices and Random "
            "Amount. More Viscosity moves in larger shapes.\n"
            "Ease Length softens the beginning and the end of the dissolve.\n"
            "Use Slip where the clips have handles: From then runs ahead as it leaves, and To catches up as it comes "
            "in.\n"
            "The flow is worked out on the same grid at any size, so a proxy shows the same flow. Fine Grid makes "
            "smaller swirls.\n"};

    ClipRecord from{this, {.name = "Input", .label = "From", .required = true, .temporal = true}};
    ClipRecord to{this, {.name = "BackG", .label = "To", .required = true}};

    Page pageTransition{this, "TransFlow"};
    PressCounterK7 RestartASecret{this, "RestartASecret", "the flow begins anew"};
    IntegerControlK7 TransStart{this,
                                {"TransStart", "Transition Start", 0, 0, 100000},
                                "Frame at which the transition begins, counted from the first one of the clip."};
    IntegerControlK7 TransLength{
        this, {"TransLength", "Transition Length", 50, 1, 1000}, "Frames that the transition takes."};
    CheckboxControlK7 UseSlip{this,
                              {"UseSlip", "Use Slip"},
                              "Lets From run ahead or fall behind as it leaves, and To catch up as it comes in."};
    IntegerControlK7 SlipStart{this,
                               {"SlipStart", "Slip Of From", 10, -500, 500},
                               "Frames that From is ahead at the end of the transition; below 0 it falls behind."};
    IntegerControlK7 SlipEnd{this,
                             {"SlipEnd", "Slip Of To", -10, -500, 500},
                             "Frames that To is ahead at the beginning of the transition; below 0 it is behind."};
    FlowFluidControls fluid{this};
    CheckboxControlK7 UseDiss{
        this, {"UseDiss", "Ease Fade", true}, "Eases the dissolve in and out; otherwise it runs evenly."};
    IntegerControlK7 FadeLength{this,
                                {"FadeLength", "Ease Length", 15, 0, 500},
                                "Frames over which the dissolve is eased at either end, at most half of it."};
    HiResControl HiRes{this};
    FlowForceControls forces{this, false};
    FlowOutputControls outputs{this, false};

    Page pageStreams{this, "Gravity and Streams"};
    PressCounterK7 RestartDSecret{this, "RestartDSecret", "the flow begins anew"};
    FlowGravityControls gravity{this};
    VelocityBoxControls boxA{this, {.letter = "A", .speed = 0.1, .centre = {0.2, 0.5}, .angle = 0.0}};
    VelocityBoxControls boxB{this, {.letter = "B", .speed = 0.15, .centre = {0.62, 0.2}, .angle = 270.0}};

    FlowStirringControls stirring{this};
    ButtonControlK7& Restart = stirring.restart;
    FlowControls flow{fluid, HiRes, forces, outputs, gravity, boxA, boxB, stirring};

    TransFlowInfo() {
        ghost({&SlipStart, &SlipEnd}, UseSlip, isOff);
        ghost({&FadeLength}, UseDiss, isOff);
        scene.inputs = {"street-small.png", "road-small.png"};
        scene.settings = {{"NetForce", "on"}, {"RiseFall", "3"}};
        scene.lead = 18;
        scene.frame = 18;
    }
};

// How far To has come in after n of `length` frames, 0 to 1: evenly, or eased over `fade` frames at either end.
double transition_mix(double n, double length, double fade);

class TransFlow final : public FlowEffect<TransFlowInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void FramePrepare(TransFlowInfo& plan, const FrameSpan& frames) const override;

  private:
    struct Moment {
        double n, length;  // frames since the beginning, and of the whole
        double part() const { return std::clamp(n / length, 0.0, 1.0); }
    };
    static Moment moment(const TransFlowInfo& plan, double frame);
    // Frames of the two clips.
    struct Slipped {
        int from, to;
    };
    static Slipped slipped(const TransFlowInfo& plan, double frame);
    void mix(FluidFlow& fluidFlow, const Moment& now, const K7Image& leaving, const K7Image& coming);
};
