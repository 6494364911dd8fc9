#include "effects/fluids/FlowControls.h"

namespace {

const char* const AGAIN = "the flow begins anew";

std::string lettered(const char* text, const std::string& letter) { return text + letter; }

}  // namespace

// ---- The fluid --------------------------------------------------------------------------------------------------

FlowFluidControls::FlowFluidControls(EffectInfo* owner)
    : NetForce(owner, {"NetForce", "Remove Net Force"},
               "Takes the mean of all forces away, so that the picture stirs but does not drift as a whole."),
      Viscosity(owner, {"Viscosity", "Viscosity", 1.0, 1e-6, 100.0, {.displayMax = 20.0}},
                "How thick the fluid is: low runs like water, high like honey."),
      VCFS(owner, {"VCFS", "Swirl", 0.0, 0.0, 1.0}, "How strongly small swirls are kept alive: 0 flows smoothly.") {}

EdgeEscapeControl::EdgeEscapeControl(EffectInfo* owner)
    : CheckboxControlK7(owner, {"EdgeEscape", "Hold Edges", true},
                        "Holds the edges of the picture where they are. Otherwise they flow too, and what comes in "
                        "behind them repeats the last row or column.") {}

HiResControl::HiResControl(EffectInfo* owner)
    : CheckboxControlK7(owner, {"HiRes", "Fine Grid"},
                        "Computes the flow on 256 by 256 cells instead of 128 by 128: finer swirls, and slower. A "
                        "change begins anew.") {}

// ---- Forces -----------------------------------------------------------------------------------------------------

FlowForceControls::FlowForceControls(EffectInfo* owner, bool forceClip)
    : BuoyMode(owner,
               {"BuoyMode", "Buoyancy Mode", 1,
                forceClip ? std::vector<const char*>{"No Buoyancy", "Input Buoyancy", "Force Buoyancy",
                                                     "Input Pressure", "Force Pressure"}
                          : std::vector<const char*>{"No Buoyancy", "Input Buoyancy", "Input Pressure"}},
               forceClip ? "What moves the fluid by itself: bright parts of the flowing clip or of the force clip, by "
                           "their weight (buoyancy) or away from where it is bright (pressure)."
                         : "What moves the fluid by itself: bright parts of From, by their weight (buoyancy) or away "
                           "from where it is bright (pressure)."),
      RiseFall(owner, {"RiseFall", "Rise or Fall", 1.0, -20.0, 20.0},
               "How hard brightness acts as buoyancy: above 0 bright parts sink, below 0 they rise."),
      PressureForce(owner, {"PressureForce", "Pressure", 0.0, 0.0, 1.0},
                    "How hard the fluid is pushed from bright to dark parts."),
      RandomMode(owner, {"RandomMode", "Random Mode", 1, {"Random", "Turbulent"}},
                 "How the fluid is stirred: each cell by itself, or by eddies that drift and change."),
      EachRandom(owner, {"EachRandom", "Random Amount", 0.0, 0.0, 1.0},
                 "How hard the fluid is stirred in each frame; 0 is not at all."),
      KInertial(
          owner, {"KInertial", "Eddies", 8.0, 2.0, 30.0},
          "How many of the largest turbulent eddies stand side by side in the picture: more are smaller. A change "
          "shows after Restart."),
      m_force_clip(forceClip) {
    const auto rule = [this] {
        int mode = 1;
        BuoyMode.GetValue(-1.0, &mode);
        const int pressureFrom = m_force_clip ? 4 : 3;
        RiseFall.SetGhosted(mode < 2 || mode >= pressureFrom);
        PressureForce.SetGhosted(mode < pressureFrom);
    };
    owner->rule(BuoyMode, rule,
                "Rise or Fall is enabled for the two kinds of buoyancy, Pressure for the two kinds of pressure.");
    owner->ghost({&KInertial}, RandomMode, is(1));
}

FlowBuoyancy FlowForceControls::buoyancy() const {
    const int mode = BuoyMode.value - 1;
    if (m_force_clip) return static_cast<FlowBuoyancy>(mode);
    return mode == 2 ? FlowBuoyancy::InputPressure : static_cast<FlowBuoyancy>(mode);
}

FlowGravityControls::FlowGravityControls(EffectInfo* owner)
    : UseGravity(owner, {"UseGravity", "Use Gravity"}, "Lets gravity pull at what is dense: at bright parts."),
      GravForce(owner, {"GravForce", "Gravity", 0.2, 0.0, 1.0}, "How hard gravity pulls; 0 is not at all."),
      GravAngle(owner, {"GravAngle", "Gravity Angle", 270.0, -360.0, 360.0},
                "Where gravity pulls, in degrees anticlockwise: 0 is to the right, 270 down.") {
    owner->ghost({&GravForce, &GravAngle}, UseGravity, isOff);
}

VelocityBoxControls::VelocityBoxControls(EffectInfo* owner, const Given& given)
    : on(owner, {lettered("UseVelocity", given.letter).c_str(), lettered("Use Stream ", given.letter).c_str()},
         "Lets the fluid stream in one direction within a box."),
      speed(owner,
            {lettered("VelAdd", given.letter).c_str(), lettered("Stream Speed ", given.letter).c_str(), given.speed,
             0.0, 1.0},
            "How fast it streams, in tenths of the picture a frame; 0 holds it still."),
      boundaryLayer(given.barriers ? std::optional<BoundaryLayerControl>(std::in_place, owner, *given.barriers)
                                   : std::nullopt),
      centre(owner,
             {lettered("Center", given.letter).c_str(), lettered("Stream Center ", given.letter).c_str(),
              given.centre.x, given.centre.y},
             "Centre of the box, as fractions of the width and height of the picture."),
      width(
          owner,
          {lettered("XScale", given.letter).c_str(), lettered("Stream Width ", given.letter).c_str(), 0.08, 0.01, 2.0},
          "Width of the box, as a fraction of that of the picture."),
      height(
          owner,
          {lettered("YScale", given.letter).c_str(), lettered("Stream Height ", given.letter).c_str(), 0.08, 0.01, 2.0},
          "Height of the box, as a fraction of that of the picture."),
      angle(owner,
            {lettered("VelAngle", given.letter).c_str(), lettered("Stream Angle ", given.letter).c_str(), given.angle,
             -360.0, 360.0},
            "Where it streams to, in degrees anticlockwise: 0 is to the right, 90 up."),
      box(owner, centre, width, height),
      cross(owner, centre),
      arm(owner, centre, angle) {
    on.followedByOverlay = true;
    box.heightInHeights = true;
    owner->ghost({&speed, &centre, &width, &height, &angle}, on, isOff);
}

void VelocityBoxControls::showHandles() { box.visible = cross.visible = arm.visible = !centre.ghosted(); }

FlowStirringControls::FlowStirringControls(EffectInfo* owner)
    : pageWinds(owner, "Winds"),
      RestartBSecret(owner, "RestartBSecret", AGAIN),
      windA(owner, {.letter = "A", .start = {0.1, 0.1}}),
      windB(owner, {.letter = "B", .start = {0.6, 1.0}, .end = {0.4, 0.5}}),
      windC(owner, {.letter = "C", .start = {1.0, 0.0}}),
      pageVortices(owner, "Vortices"),
      RestartCSecret(owner, "RestartCSecret", AGAIN),
      vortexA(owner, {.letter = "A", .centre = {0.333, 0.333}, .largest = 2.0}),
      vortexB(owner, {.letter = "B", .centre = {0.5, 0.666}}),
      vortexC(owner, {.letter = "C", .centre = {0.666, 0.333}}),
      firstPage(owner),
      restart(owner, {"Restart", "Restart"}, "Begins the flow anew with the next frame that is rendered.") {}

void FlowStirringControls::showHandles() {
    for (FluidWindControls* wind : {&windA, &windB, &windC}) wind->showHandle();
    for (VortexControls* vortex : {&vortexA, &vortexB, &vortexC}) vortex->showHandle();
}

// ---- Barriers and output ------------------------------------------------------------------------------------------

UseBarriersControl::UseBarriersControl(EffectInfo* owner)
    : CheckboxControlK7(
          owner, {"UseBarriers", "Use Barriers"},
          "Keeps the fluid out of what is brighter than 0.01 in the barrier clip. Where none is connected "
          "the flowing clip itself serves, and hardly anything is left to flow in. A change begins "
          "anew.") {}

BoundaryLayerControl::BoundaryLayerControl(EffectInfo* owner, CheckboxControlK7& barriers)
    : ListControlK7(owner, {"BoundaryLayer", "Boundary Layer", 0, {"Slippery", "Rough", "Sticky"}},
                    "How the fluid passes barriers: freely along them, slowed down, or held fast.") {
    owner->ghost({this}, barriers, isOff);
}

FlowOutputControls::FlowOutputControls(EffectInfo* owner, bool barriers)
    : OutputMode(
          owner,
          {"OutputMode", "Output Mode", 0,
           barriers ? std::vector<const char*>{"Result", "Result Over Back", "Matte", "Flowed At Grid Res", "Barriers"}
                    : std::vector<const char*>{"Result", "Result Over Back", "Matte", "Flowed At Grid Res"}},
          barriers ? "What is shown: the picture as it has flowed, that over the background clip, its alpha in all "
                     "channels, how coarse the fluid's grid is, or the barrier clip while barriers are in use."
                   : "What is shown: the transition, that over the clip To, its alpha in all channels, or how "
                     "coarse the fluid's grid is."),
      PreMultiplyForeground(owner, {"PreMultiplyForeground", "PreMultiplied Foreground"},
                            "Says that the colours of the flowing clip are multiplied by its alpha already when it is "
                            "laid over the background."),
      RestartP(owner, {"RestartP", "Restart On Change"},
               "Begins the flow anew at each frame for which a parameter has changed.") {
    owner->ghost({&PreMultiplyForeground}, OutputMode, isNot(FlowOverBack));
}

std::vector<double> parameterValues(const EffectInfo& info) {
    std::vector<double> values;
    for (const ControlK7* control : info.controls()) {
        if (const auto* number = dynamic_cast<const FloatControlK7*>(control)) values.push_back(number->value);
        if (const auto* whole = dynamic_cast<const IntegerControlK7*>(control)) values.push_back(whole->value);
        if (const auto* box = dynamic_cast<const CheckboxControlK7*>(control)) values.push_back(box->value);
        if (const auto* list = dynamic_cast<const ListControlK7*>(control)) values.push_back(list->value);
        if (const auto* point = dynamic_cast<const PositionControlK7*>(control))
            values.insert(values.end(), {point->x, point->y});
    }
    return values;
}
