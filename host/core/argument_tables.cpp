// What each action carries in and out, as tables.
#include <initializer_list>
#include <string_view>
#include <utility>

#include "host/core/property_tables.h"
#include "ofx/ofx_names.h"

namespace ofxhost {
namespace {

namespace prop = ofx::prop;

constexpr auto Int = PropertyType::Int;
constexpr auto Double = PropertyType::Double;
constexpr auto String = PropertyType::String;
constexpr auto Pointer = PropertyType::Pointer;
constexpr auto ro = Access::ReadOnly;

constexpr PropertyRow flag(const char* name) { return {name, Int, 1, ro, "0", true}; }

constexpr const char* metalEnabled = "OfxImageEffectPropMetalEnabled";
constexpr const char* openCLEnabled = "OfxImageEffectPropOpenCLEnabled";
constexpr const char* openGLEnabled = "OfxImageEffectPropOpenGLEnabled";

constexpr PropertyRow argumentRows[] = {
    {prop::Time, Double, 1, ro},
    {prop::Name, String, 1, ro},
    {prop::Type, String, 1, ro},
    {prop::ChangeReason, String, 1, ro},
    {prop::Context, String, 1, ro},
    {prop::RenderScale, Double, 2, ro, "1,1"},
    {prop::FieldToRender, String, 1, ro, ofx::field::None},
    {prop::RenderWindow, Int, 4, ro},
    {prop::RegionOfInterest, Double, 4, ro},
    {prop::RegionOfDefinition, Double, 4, ro},
    {prop::FrameRange, Double, 2, ro},
    {prop::FrameStep, Double, 1, ro, "1"},
    flag(prop::IsInteractive),
    flag(prop::SequentialRenderStatus),
    flag(prop::InteractiveRenderStatus),
    flag(prop::RenderQualityDraft),
    flag(prop::FrameVarying),
    {prop::FrameRate, Double, 1, ro},
    {prop::ClipFieldOrder, String, 1, ro, ofx::field::None},
    {prop::PreMultiplication, String, 1, ro, ofx::premultiplication::UnPremultiplied},
    flag(prop::ClipContinuousSamples),
    {prop::EffectInstance, Pointer, 1, ro},
    {prop::InteractPixelScale, Double, 2, ro, "1,1"},
    {prop::InteractBackgroundColour, Double, 3, ro},
    {prop::InteractPenPosition, Double, 2, ro},
    {prop::InteractPenViewportPosition, Int, 2, ro},
    {prop::InteractPenPressure, Double, 1, ro},
    {keySymbolProperty, Int, 1, ro},
    {keyStringProperty, String, 1, ro},
    flag(openGLEnabled),
    flag(prop::CudaEnabled),
    {prop::CudaStream, Pointer, 1, ro},
    flag(metalEnabled),
    flag(openCLEnabled),
};

struct ActionArguments {
    const char* action;
    std::initializer_list<const char*> in, out;
};

namespace action = ofx::action;

const ActionArguments actionArguments[] = {
    {action::DescribeInContext, {prop::Context}, {}},
    {action::BeginInstanceChanged, {prop::ChangeReason}, {}},
    {action::InstanceChanged, {prop::Type, prop::Name, prop::ChangeReason, prop::Time, prop::RenderScale}, {}},
    {action::EndInstanceChanged, {prop::ChangeReason}, {}},
    {action::GetRegionOfDefinition, {prop::Time, prop::RenderScale}, {prop::RegionOfDefinition}},
    {action::GetRegionsOfInterest, {prop::Time, prop::RenderScale, prop::RegionOfInterest}, {}},
    {action::GetTimeDomain, {}, {prop::FrameRange}},
    {action::GetFramesNeeded, {prop::Time}, {}},
    {action::GetClipPreferences,
     {},
     {prop::FrameRate, prop::ClipFieldOrder, prop::PreMultiplication, prop::ClipContinuousSamples, prop::FrameVarying}},
    {action::IsIdentity,
     {prop::Time, prop::FieldToRender, prop::RenderWindow, prop::RenderScale},
     {prop::Name, prop::Time}},
    {action::BeginSequenceRender,
     {prop::FrameRange, prop::FrameStep, prop::IsInteractive, prop::RenderScale, prop::SequentialRenderStatus,
      prop::InteractiveRenderStatus, openGLEnabled, prop::CudaEnabled, prop::CudaStream, metalEnabled, openCLEnabled},
     {}},
    {action::EndSequenceRender,
     {prop::FrameRange, prop::FrameStep, prop::IsInteractive, prop::RenderScale, prop::SequentialRenderStatus,
      prop::InteractiveRenderStatus, openGLEnabled, prop::CudaEnabled, prop::CudaStream, metalEnabled, openCLEnabled},
     {}},
    {action::Render,
     {prop::Time, prop::FieldToRender, prop::RenderWindow, prop::RenderScale, prop::SequentialRenderStatus,
      prop::InteractiveRenderStatus, prop::RenderQualityDraft, openGLEnabled, prop::CudaEnabled, prop::CudaStream,
      metalEnabled, openCLEnabled},
     {}},
    {action::InteractDraw,
     {prop::EffectInstance, prop::InteractPixelScale, prop::InteractBackgroundColour, prop::Time, prop::RenderScale},
     {}},
    {action::InteractPenMotion,
     {prop::EffectInstance, prop::InteractPixelScale, prop::InteractBackgroundColour, prop::Time, prop::RenderScale,
      prop::InteractPenPosition, prop::InteractPenViewportPosition, prop::InteractPenPressure},
     {}},
    {action::InteractKeyDown,
     {prop::EffectInstance, keySymbolProperty, keyStringProperty, prop::Time, prop::RenderScale},
     {}},
};

// Actions that carry what another one carries.
constexpr std::pair<const char*, const char*> actionAliases[] = {
    {action::InteractPenDown, action::InteractPenMotion}, {action::InteractPenUp, action::InteractPenMotion},
    {action::InteractKeyUp, action::InteractKeyDown},     {action::InteractKeyRepeat, action::InteractKeyDown},
    {action::InteractGainFocus, action::InteractDraw},    {action::InteractLoseFocus, action::InteractDraw},
};

}  // namespace

void addArgumentProperties(PropertySet& set, std::string_view actionText) {
    for (const auto& [alias, same] : actionAliases) {
        if (actionText == alias) actionText = same;
    }
    const bool in = set.kind() == ObjectKind::InArgs;
    for (const ActionArguments& entry : actionArguments) {
        if (actionText != entry.action) continue;
        for (const char* name : in ? entry.in : entry.out) {
            for (PropertyRow row : argumentRows) {
                if (std::string_view(row.name) != name) continue;
                row.access = in ? Access::ReadOnly : Access::ReadWrite;
                set.addTable(&row, 1);
            }
        }
    }
}

}  // namespace ofxhost
