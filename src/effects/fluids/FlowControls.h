// Controls of the effects that let a picture flow: ClipFlow, ImageFlow and TransFlow. Positions are fractions of the
// picture, speeds and lengths of the fluid widths along x and heights along y.
#pragma once

#include <optional>

#include "effects/engines/controls/FluidControls.h"
#include "effects/engines/controls/PressCounter.h"

struct FlowFluidControls {
    explicit FlowFluidControls(EffectInfo* owner);

    CheckboxControlK7 NetForce;
    FloatControlK7 Viscosity;
    FloatControlK7 VCFS;
};

struct EdgeEscapeControl : CheckboxControlK7 {
    explicit EdgeEscapeControl(EffectInfo* owner);
};
struct HiResControl : CheckboxControlK7 {
    explicit HiResControl(EffectInfo* owner);
};

// What bright and dark parts of a picture do to the fluid.
enum class FlowBuoyancy { None, Input, Force, InputPressure, ForcePressure };

struct FlowForceControls {
    // `forceClip`: a second clip can move the fluid too.
    FlowForceControls(EffectInfo* owner, bool forceClip);
    FlowBuoyancy buoyancy() const;
    bool turbulent() const { return RandomMode.value == 2; }

    ListControlK7 BuoyMode;
    FloatControlK7 RiseFall;
    FloatControlK7 PressureForce;
    ListControlK7 RandomMode;
    FloatControlK7 EachRandom;
    FloatControlK7 KInertial;

  private:
    bool m_force_clip;
};

enum FlowOutput : int { FlowResult = 1, FlowOverBack, FlowMatte, FlowGridRes, FlowBarriers };

struct FlowOutputControls {
    FlowOutputControls(EffectInfo* owner, bool barriers);

    ListControlK7 OutputMode;
    CheckboxControlK7 PreMultiplyForeground;
    CheckboxControlK7 RestartP;
};

struct UseBarriersControl : CheckboxControlK7 {
    explicit UseBarriersControl(EffectInfo* owner);
};
struct BoundaryLayerControl : ListControlK7 {
    BoundaryLayerControl(EffectInfo* owner, CheckboxControlK7& barriers);
};

struct FlowGravityControls {
    explicit FlowGravityControls(EffectInfo* owner);

    CheckboxControlK7 UseGravity;
    FloatControlK7 GravForce;
    AngleControlK7 GravAngle;
};

// A box in which the fluid streams in one direction.
struct VelocityBoxControls {
    struct Given {
        std::string letter;
        double speed;
        Place centre;
        double angle;
        CheckboxControlK7* barriers =
            nullptr;  // the choice of the fluid's boundary layer stands amid the box's controls
    };
    VelocityBoxControls(EffectInfo* owner, const Given& given);
    void showHandles();

    CheckboxControlK7 on;
    FloatControlK7 speed;
    std::optional<BoundaryLayerControl> boundaryLayer;
    PositionControlK7 centre;
    SizeControlK7 width, height;
    AngleControlK7 angle;
    RectangleOverlayK7 box;
    CrosshairOverlayK7 cross;
    AngleOverlayK7 arm;
};

// The last pages: winds and vortices, and the button on the first one.
struct FlowStirringControls {
    explicit FlowStirringControls(EffectInfo* owner);
    void showHandles();

    Page pageWinds;
    PressCounterK7 RestartBSecret;
    FluidWindControls windA, windB, windC;
    Page pageVortices;
    PressCounterK7 RestartCSecret;
    VortexControls vortexA, vortexB, vortexC;
    FirstPageAgain firstPage;
    ButtonControlK7 restart;
};

// What a step of the fluid reads, wherever an effect has it among its own controls.
struct FlowControls {
    FlowFluidControls& fluid;
    HiResControl& hiRes;
    FlowForceControls& forces;
    FlowOutputControls& output;
    FlowGravityControls& gravity;
    VelocityBoxControls &boxA, &boxB;
    FlowStirringControls& stirring;
};

// The values of all parameters, in order.
std::vector<double> parameterValues(const EffectInfo& info);
