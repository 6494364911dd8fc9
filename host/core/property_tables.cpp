#include "host/core/property_tables.h"

#include <cfloat>
#include <climits>
#include <string>

#include "ofx/ofx_names.h"

namespace ofxhost {
namespace {

namespace prop = ofx::prop;

constexpr auto Int = PropertyType::Int;
constexpr auto Double = PropertyType::Double;
constexpr auto String = PropertyType::String;
constexpr auto Pointer = PropertyType::Pointer;
constexpr auto ro = Access::ReadOnly;
constexpr auto rw = Access::ReadWrite;
constexpr int any = 0;  // number of values

constexpr PropertyRow flag(const char* name, Access access, const char* initial = "0") {
    return {name, Int, 1, access, initial, true};
}

constexpr PropertyRow hostRows[] = {
    {prop::ApiVersion, Int, any, ro, "1,4"},
    {prop::Type, String, 1, ro, ofx::type::ImageEffectHost},
    {prop::Name, String, 1, ro},
    {prop::Label, String, 1, ro},
    {prop::Version, Int, any, ro},
    {prop::VersionLabel, String, 1, ro},
    flag(prop::HostIsBackground, ro),
    flag(prop::SupportsOverlays, ro),
    flag(prop::SupportsMultiResolution, ro),
    flag(prop::SupportsTiles, ro),
    flag(prop::TemporalClipAccess, ro),
    {prop::SupportedComponents, String, any, ro},
    {prop::SupportedPixelDepths, String, any, ro},
    {prop::SupportedContexts, String, any, ro},
    flag(prop::MultipleClipDepths, ro),
    flag(prop::SupportsMultipleClipPARs, ro),
    flag(prop::SetableFrameRate, ro),
    flag(prop::SetableFielding, ro),
    {prop::InstanceSequentialRender, Int, 1, ro, "1"},
    flag(prop::ParamHostSupportsCustomInteract, ro),
    flag(prop::ParamHostSupportsStringAnimation, ro),
    flag(prop::ParamHostSupportsChoiceAnimation, ro, "1"),
    flag(prop::ParamHostSupportsBooleanAnimation, ro, "1"),
    flag(prop::ParamHostSupportsCustomAnimation, ro),
    flag("OfxParamHostPropSupportsParametricAnimation", ro),
    {prop::ParamHostMaxParameters, Int, 1, ro, "-1"},
    {prop::ParamHostMaxPages, Int, 1, ro},
    {prop::ParamHostPageRowColumnCount, Int, 2, ro},
    {prop::HostOSHandle, Pointer, 1, ro},
    {prop::HostNativeOrigin, String, 1, ro, "kOfxImageEffectHostPropNativeOriginBottomLeft"},
    flag(prop::RenderQualityDraft, ro),
    {"OfxImageEffectPropOpenGLRenderSupported", String, 1, ro, "false"},
    {prop::CudaRenderSupported, String, 1, ro, "false"},
    {prop::CudaStreamSupported, String, 1, ro, "false"},
};

constexpr PropertyRow effectDescriptorRows[] = {
    {prop::Type, String, 1, ro, ofx::type::ImageEffect},
    {prop::Label, String, 1, rw},
    {prop::ShortLabel, String, 1, rw},
    {prop::LongLabel, String, 1, rw},
    {prop::Version, Int, any, rw, "0"},
    {prop::VersionLabel, String, 1, rw},
    {prop::PluginDescription, String, 1, rw},
    {prop::SupportedContexts, String, any, rw},
    {prop::PluginGrouping, String, 1, rw},
    flag("OfxImageEffectPluginPropObsolete", rw),
    flag(prop::PluginSingleInstance, rw),
    {prop::PluginRenderThreadSafety, String, 1, rw, ofx::thread_safety::InstanceSafe},
    flag(prop::PluginHostFrameThreading, rw, "1"),
    {prop::PluginOverlayInteractV1, Pointer, 1, rw},
    {"OfxImageEffectPluginPropOverlayInteractV2", Pointer, 1, rw},
    flag(prop::SupportsMultiResolution, rw, "1"),
    flag(prop::SupportsTiles, rw, "1"),
    flag(prop::TemporalClipAccess, rw),
    {prop::SupportedPixelDepths, String, any, rw},
    flag(prop::PluginFieldRenderTwiceAlways, rw, "1"),
    flag(prop::MultipleClipDepths, rw),
    flag(prop::SupportsMultipleClipPARs, rw),
    {prop::ClipPreferencesSlaveParam, String, any, rw},
    {prop::InstanceSequentialRender, Int, 1, rw},
    {prop::PluginFilePath, String, 1, ro},
    {"OfxImageEffectPropOpenGLRenderSupported", String, 1, rw, "false"},
    {"OfxOpenGLPropPixelDepth", String, any, rw},
    {"OfxImageEffectPropCPURenderSupported", String, 1, rw, "true"},
    {prop::CudaRenderSupported, String, 1, rw, "false"},
    {prop::CudaStreamSupported, String, 1, rw, "false"},
    {"OfxImageEffectPropMetalRenderSupported", String, 1, rw, "false"},
    {"OfxImageEffectPropOpenCLRenderSupported", String, 1, rw, "false"},
    {"OfxImageEffectPropOpenCLSupported", String, 1, rw, "false"},
    {"OfxImageEffectPropNoSpatialAwareness", String, 1, rw, "false"},
    {"OfxImageEffectPropColourManagementStyle", String, 1, rw, "OfxImageEffectColourManagementNone"},
    {"OfxImageEffectPropColourManagementAvailableConfigs", String, any, rw},
};

constexpr PropertyRow effectInstanceRows[] = {
    {prop::Type, String, 1, ro, ofx::type::ImageEffectInstance},
    {prop::Context, String, 1, ro},
    {prop::InstanceData, Pointer, 1, rw},
    {prop::PluginHandle, Pointer, 1, ro},
    {prop::ProjectSize, Double, 2, ro},
    {prop::ProjectOffset, Double, 2, ro},
    {prop::ProjectExtent, Double, 2, ro},
    {prop::ProjectPixelAspectRatio, Double, 1, ro, "1"},
    {prop::InstanceEffectDuration, Double, 1, ro},
    {prop::InstanceSequentialRender, Int, 1, rw},
    flag(prop::SupportsTiles, rw, "1"),
    {"OfxImageEffectPropOpenGLRenderSupported", String, 1, rw, "false"},
    {prop::FrameRate, Double, 1, ro},
    flag(prop::IsInteractive, ro),
};

constexpr PropertyRow clipDescriptorRows[] = {
    {prop::Type, String, 1, ro, ofx::type::Clip},
    {prop::Name, String, 1, ro},
    {prop::Label, String, 1, rw},
    {prop::ShortLabel, String, 1, rw},
    {prop::LongLabel, String, 1, rw},
    {prop::SupportedComponents, String, any, rw},
    flag(prop::TemporalClipAccess, rw),
    flag(prop::ClipOptional, rw),
    {prop::ClipFieldExtraction, String, 1, rw, ofx::field::Doubled},
    flag(prop::ClipIsMask, rw),
    flag(prop::SupportsTiles, rw, "1"),
};

constexpr PropertyRow clipInstanceRows[] = {
    {prop::Type, String, 1, ro, ofx::type::Clip},
    {prop::Name, String, 1, ro},
    {prop::Label, String, 1, ro},
    {prop::ShortLabel, String, 1, ro},
    {prop::LongLabel, String, 1, ro},
    {prop::SupportedComponents, String, any, ro},
    flag(prop::TemporalClipAccess, ro),
    flag(prop::ClipOptional, ro),
    {prop::ClipFieldExtraction, String, 1, ro, ofx::field::Doubled},
    flag(prop::ClipIsMask, ro),
    flag(prop::SupportsTiles, ro, "1"),
    {prop::PixelDepth, String, 1, ro, ofx::depth::None},
    {prop::Components, String, 1, ro, ofx::component::None},
    {prop::ClipUnmappedPixelDepth, String, 1, ro, ofx::depth::None},
    {prop::ClipUnmappedComponents, String, 1, ro, ofx::component::None},
    {prop::PreMultiplication, String, 1, ro, ofx::premultiplication::UnPremultiplied},
    {prop::ImagePixelAspectRatio, Double, 1, ro, "1"},
    {prop::FrameRate, Double, 1, ro},
    {prop::FrameRange, Double, 2, ro},
    {prop::ClipFieldOrder, String, 1, ro, ofx::field::None},
    flag(prop::ClipConnected, ro),
    {prop::UnmappedFrameRange, Double, 2, ro},
    {prop::UnmappedFrameRate, Double, 1, ro},
    flag(prop::ClipContinuousSamples, ro),
};

constexpr PropertyRow imageRows[] = {
    {prop::Type, String, 1, ro, ofx::type::Image},
    {prop::PixelDepth, String, 1, ro},
    {prop::Components, String, 1, ro},
    {prop::PreMultiplication, String, 1, ro},
    {prop::RenderScale, Double, 2, ro, "1,1"},
    {prop::ImagePixelAspectRatio, Double, 1, ro, "1"},
    {prop::ImageData, Pointer, 1, ro},
    {prop::ImageBounds, Int, 4, ro},
    {prop::ImageRegionOfDefinition, Int, 4, ro},
    {prop::ImageRowBytes, Int, 1, ro},
    {prop::ImageField, String, 1, ro, ofx::field::None},
    {prop::ImageUniqueIdentifier, String, 1, ro},
};

constexpr PropertyRow paramSetRows[] = {
    {prop::ParamPageOrder, String, any, rw},
    flag(prop::ParamSetNeedsSyncing, rw),
};

constexpr PropertyRow interactDescriptorRows[] = {
    flag(prop::InteractHasAlpha, ro),
    {prop::InteractBitDepth, Int, 1, ro},
};

constexpr PropertyRow interactInstanceRows[] = {
    {prop::EffectInstance, Pointer, 1, ro},
    {prop::InstanceData, Pointer, 1, rw},
    {prop::InteractPixelScale, Double, 2, ro, "1,1"},
    {prop::InteractBackgroundColour, Double, 3, ro},
    flag(prop::InteractHasAlpha, ro),
    {prop::InteractBitDepth, Int, 1, ro},
    {prop::InteractSlaveToParam, String, any, rw},
    {prop::InteractSuggestedColour, Double, 3, ro, "1,1,1"},
    {prop::InteractViewport, Double, 2, ro},
};

// ---- Parameters: groups of rows, each with the types that have them -------------------------------------------

struct ParamRow {
    const char* name;
    PropertyType type;
    int dimension;
    Access descriptor, instance;
    const char* initial = nullptr;
    bool isFlag = false;
};

constexpr ParamRow everyParamRows[] = {
    {prop::Type, String, 1, ro, ro},          {prop::Name, String, 1, rw, ro},
    {prop::Label, String, 1, rw, rw},         {prop::ShortLabel, String, 1, rw, rw},
    {prop::LongLabel, String, 1, rw, rw},     {prop::Icon, String, 2, rw, ro},
    {prop::ParamType, String, 1, ro, ro},     {prop::ParamSecret, Int, 1, rw, rw, "0", true},
    {prop::ParamHint, String, 1, rw, rw},     {prop::ParamScriptName, String, 1, rw, ro},
    {prop::ParamParent, String, 1, rw, ro},   {prop::ParamEnabled, Int, 1, rw, rw, "1", true},
    {prop::ParamDataPtr, Pointer, 1, rw, rw},
};

constexpr ParamRow interactRows[] = {
    {prop::ParamInteractV1, Pointer, 1, rw, ro},
    {prop::ParamInteractSize, Double, 2, ro, ro},
    {prop::ParamInteractSizeAspect, Double, 1, rw, ro, "1"},
    {prop::ParamInteractMinimumSize, Double, 2, rw, ro, "10,10"},
    {prop::ParamInteractPreferredSize, Int, 2, rw, ro, "10,10"},
    {prop::ParamHasHostOverlayHandle, Int, 1, ro, ro, "0", true},
    {prop::ParamUseHostOverlayHandle, Int, 1, rw, ro, "0", true},
};

constexpr ParamRow valueRows[] = {
    {prop::ParamAnimates, Int, 1, rw, ro, "1", true},
    {prop::ParamIsAnimating, Int, 1, ro, ro, "0", true},
    {prop::ParamIsAutoKeying, Int, 1, ro, ro, "0", true},
    {prop::ParamPersistent, Int, 1, rw, ro, "1", true},
    {prop::ParamEvaluateOnChange, Int, 1, rw, rw, "1", true},
    {prop::ParamPluginMayWrite, Int, 1, rw, ro, "0", true},
    {prop::ParamCacheInvalidation, String, 1, rw, ro, ofx::cache_invalidation::ValueChange},
    {prop::ParamCanUndo, Int, 1, rw, ro, "1", true},
};

constexpr ParamRow floatRows[] = {
    {prop::ParamIncrement, Double, 1, rw, rw, "1"},
    {prop::ParamDigits, Int, 1, rw, rw, "2"},
};
constexpr ParamRow doubleRows[] = {
    {prop::ParamDoubleType, String, 1, rw, ro, ofx::double_type::Plain},
    {prop::ParamDefaultCoordinateSystem, String, 1, rw, ro, ofx::coordinates::Canonical},
};
constexpr ParamRow double1DRows[] = {{prop::ParamShowTimeMarker, Int, 1, rw, rw, "0", true}};
constexpr ParamRow interpolationRows[] = {{"OfxParamInterpType", String, 1, rw, ro, "OfxParamInterpTypeLinear"}};
constexpr ParamRow choiceRows[] = {
    {prop::ParamChoiceOption, String, any, rw, rw},
    {"OfxParamPropChoiceOrder", Int, any, rw, rw},
};
constexpr ParamRow stringRows[] = {
    {prop::ParamStringMode, String, 1, rw, ro, ofx::string_mode::SingleLine},
    {prop::ParamStringFilePathExists, Int, 1, rw, ro, "1", true},
};
constexpr ParamRow customRows[] = {{"OfxParamPropCustomCallbackV1", Pointer, 1, rw, ro}};
constexpr ParamRow groupRows[] = {{prop::ParamGroupOpen, Int, 1, rw, ro, "1", true}};
constexpr ParamRow pageRows[] = {{prop::ParamPageChild, String, any, rw, ro}};

struct ParamRowGroup {
    std::span<const ParamRow> rows;
    bool (*appliesTo)(const ParamTypeInfo& type);
};

constexpr ParamRowGroup paramGroups[] = {
    {everyParamRows, [](const ParamTypeInfo&) { return true; }},
    {interactRows, [](const ParamTypeInfo& t) { return t.type != ParamType::Group && t.type != ParamType::Page; }},
    {valueRows, [](const ParamTypeInfo& t) { return t.hasValue(); }},
    {floatRows, [](const ParamTypeInfo& t) { return t.storage == ParamStorage::Double; }},
    {doubleRows, [](const ParamTypeInfo& t) { return t.storage == ParamStorage::Double && !t.colour; }},
    {double1DRows, [](const ParamTypeInfo& t) { return t.type == ParamType::Double; }},
    {interpolationRows,
     [](const ParamTypeInfo& t) { return t.type == ParamType::Double || t.type == ParamType::Integer; }},
    {choiceRows, [](const ParamTypeInfo& t) { return t.type == ParamType::Choice; }},
    {stringRows, [](const ParamTypeInfo& t) { return t.type == ParamType::String; }},
    {customRows, [](const ParamTypeInfo& t) { return t.type == ParamType::Custom; }},
    {groupRows, [](const ParamTypeInfo& t) { return t.type == ParamType::Group; }},
    {pageRows, [](const ParamTypeInfo& t) { return t.type == ParamType::Page; }},
};

// Default and range: of the type and dimension of the parameter's value.
void addValueProperties(PropertySet& set, bool instance, const ParamTypeInfo& type) {
    const PropertyType valueType = type.storage == ParamStorage::Int      ? Int
                                   : type.storage == ParamStorage::Double ? Double
                                                                          : String;
    set.define(prop::ParamDefault, valueType, type.dimension, !instance);
    if (!type.numeric()) return;
    struct Limit {
        const char* name;
        int whole;
        double real;
    };
    const Limit limits[] = {{prop::ParamMin, INT_MIN, -DBL_MAX},
                            {prop::ParamMax, INT_MAX, DBL_MAX},
                            {prop::ParamDisplayMin, INT_MIN, type.colour ? 0.0 : -DBL_MAX},
                            {prop::ParamDisplayMax, INT_MAX, type.colour ? 1.0 : DBL_MAX}};
    for (const Limit& limit : limits) {
        set.define(limit.name, valueType, type.dimension, true);
        for (int i = 0; i < type.dimension; ++i) {
            if (valueType == Int) {
                set.setInt(limit.name, limit.whole, i);
            } else {
                set.setDouble(limit.name, limit.real, i);
            }
        }
    }
}

void addDimensionLabels(PropertySet& set, bool instance, const ParamTypeInfo& type) {
    constexpr const char* axes[] = {"x", "y", "z"};
    constexpr const char* colours[] = {"r", "g", "b", "a"};
    if (!type.numeric() || type.dimension < 2) return;
    set.define(prop::ParamDimensionLabel, String, type.dimension, !instance);
    for (int i = 0; i < type.dimension; ++i)
        set.setString(prop::ParamDimensionLabel, (type.colour ? colours : axes)[i], i);
}

// ---- Allowed values -------------------------------------------------------------------------------------------

constexpr const char* contexts[] = {"OfxImageEffectContextGenerator",
                                    "OfxImageEffectContextFilter",
                                    "OfxImageEffectContextTransition",
                                    "OfxImageEffectContextPaint",
                                    "OfxImageEffectContextGeneral",
                                    "OfxImageEffectContextRetimer",
                                    nullptr};
constexpr const char* depths[] = {ofx::depth::None, ofx::depth::Byte,  ofx::depth::Short,
                                  ofx::depth::Half, ofx::depth::Float, nullptr};
constexpr const char* components[] = {ofx::component::None, ofx::component::RGBA, ofx::component::RGB,
                                      ofx::component::Alpha, nullptr};
constexpr const char* safeties[] = {ofx::thread_safety::Unsafe, ofx::thread_safety::InstanceSafe,
                                    ofx::thread_safety::FullySafe, nullptr};
// With the normalised types that the standard has dropped since but that older bundles still declare.
constexpr const char* doubleTypes[] = {"OfxParamDoubleTypePlain",
                                       "OfxParamDoubleTypeScale",
                                       "OfxParamDoubleTypeAngle",
                                       "OfxParamDoubleTypeTime",
                                       "OfxParamDoubleTypeAbsoluteTime",
                                       "OfxParamDoubleTypeX",
                                       "OfxParamDoubleTypeY",
                                       "OfxParamDoubleTypeXAbsolute",
                                       "OfxParamDoubleTypeYAbsolute",
                                       "OfxParamDoubleTypeXY",
                                       "OfxParamDoubleTypeXYAbsolute",
                                       "OfxParamDoubleTypeNormalisedX",
                                       "OfxParamDoubleTypeNormalisedY",
                                       "OfxParamDoubleTypeNormalisedXAbsolute",
                                       "OfxParamDoubleTypeNormalisedYAbsolute",
                                       "OfxParamDoubleTypeNormalisedXY",
                                       "OfxParamDoubleTypeNormalisedXYAbsolute",
                                       nullptr};
constexpr const char* coordinateSystems[] = {ofx::coordinates::Canonical, ofx::coordinates::Normalised, nullptr};
constexpr const char* stringModes[] = {ofx::string_mode::SingleLine,
                                       ofx::string_mode::MultiLine,
                                       ofx::string_mode::FilePath,
                                       ofx::string_mode::DirectoryPath,
                                       ofx::string_mode::Label,
                                       "OfxParamStringIsRichTextFormat",
                                       nullptr};
constexpr const char* invalidations[] = {ofx::cache_invalidation::ValueChange,
                                         ofx::cache_invalidation::ValueChangeToEnd, ofx::cache_invalidation::All,
                                         nullptr};
constexpr const char* interpolations[] = {"OfxParamInterpTypeConstantStep", "OfxParamInterpTypeLinear",
                                          "OfxParamInterpTypeSmooth", nullptr};
constexpr const char* extractions[] = {ofx::field::Both, ofx::field::Single, ofx::field::Doubled, nullptr};
constexpr const char* premultiplications[] = {ofx::premultiplication::Opaque, ofx::premultiplication::Premultiplied,
                                              ofx::premultiplication::UnPremultiplied, nullptr};
constexpr const char* fieldOrders[] = {ofx::field::None, ofx::field::Lower, ofx::field::Upper, nullptr};

struct AllowedRow {
    const char* property;
    const char* const* values;
};
constexpr AllowedRow allowedRows[] = {
    {prop::SupportedContexts, contexts},           {prop::SupportedPixelDepths, depths},
    {prop::SupportedComponents, components},       {prop::PluginRenderThreadSafety, safeties},
    {prop::ParamDoubleType, doubleTypes},          {prop::ParamDefaultCoordinateSystem, coordinateSystems},
    {prop::ParamStringMode, stringModes},          {prop::ParamCacheInvalidation, invalidations},
    {"OfxParamInterpType", interpolations},        {prop::ClipFieldExtraction, extractions},
    {prop::PreMultiplication, premultiplications}, {prop::ClipFieldOrder, fieldOrders},
};

constexpr Follower followerRows[] = {
    {prop::Label, prop::ShortLabel},
    {prop::Label, prop::LongLabel},
    {prop::ParamMin, prop::ParamDisplayMin},
    {prop::ParamMax, prop::ParamDisplayMax},
};

// ---- Tolerance ------------------------------------------------------------------------------------------------

struct ToleranceRow {
    ObjectKind kind;
    std::string_view property;  // one that ends in '_' stands for all that begin so
    const char* reason;
};

constexpr const char* noRangeReason = "ranges belong to numeric parameters";
constexpr const char* clipNameReason = "the effect has no clip of that name here";

constexpr const char* argumentReason = "an argument of the action, not of the interact";

constexpr ToleranceRow tolerances[] = {
    {ObjectKind::EffectInstance, prop::MultipleClipDepths, "a property of the descriptor, written to an instance"},
    {ObjectKind::EffectInstance, prop::PluginHostFrameThreading,
     "a property of the descriptor, written to an instance"},
    {ObjectKind::ParamDescriptor, prop::ParamIncrement, "increments belong to double and colour parameters"},
    {ObjectKind::ParamDescriptor, prop::ParamMin, noRangeReason},
    {ObjectKind::ParamDescriptor, prop::ParamMax, noRangeReason},
    {ObjectKind::ParamDescriptor, prop::ParamDisplayMin, noRangeReason},
    {ObjectKind::ParamDescriptor, prop::ParamDisplayMax, noRangeReason},
    {ObjectKind::ParamDescriptor, prop::ParamAnimates, "the parameter has no value"},
    {ObjectKind::InteractInstance, prop::RenderScale, argumentReason},
    {ObjectKind::InteractInstance, prop::Time, argumentReason},
    {ObjectKind::InteractInstance, prop::InteractPenPosition, argumentReason},
    {ObjectKind::OutArgs, prop::ClipRoIPrefix, clipNameReason},
    {ObjectKind::OutArgs, prop::ClipFrameRangePrefix, clipNameReason},
};

}  // namespace

std::span<const PropertyRow> standardProperties(ObjectKind kind) {
    switch (kind) {
        case ObjectKind::Host:
            return hostRows;
        case ObjectKind::EffectDescriptor:
            return effectDescriptorRows;
        case ObjectKind::EffectInstance:
            return effectInstanceRows;
        case ObjectKind::ClipDescriptor:
            return clipDescriptorRows;
        case ObjectKind::ClipInstance:
            return clipInstanceRows;
        case ObjectKind::Image:
            return imageRows;
        case ObjectKind::ParamSet:
            return paramSetRows;
        case ObjectKind::InteractDescriptor:
            return interactDescriptorRows;
        case ObjectKind::InteractInstance:
            return interactInstanceRows;
        case ObjectKind::ParamDescriptor:
        case ObjectKind::ParamInstance:
        case ObjectKind::InArgs:
        case ObjectKind::OutArgs:
            break;
    }
    return {};
}

void addStandardProperties(PropertySet& set, ObjectKind kind) {
    const auto rows = standardProperties(kind);
    set.addTable(rows.data(), rows.size());
}

void addParamProperties(PropertySet& set, bool instance, const ParamTypeInfo& type) {
    for (const ParamRowGroup& group : paramGroups) {
        if (!group.appliesTo(type)) continue;
        for (const ParamRow& row : group.rows) {
            const PropertyRow plain{row.name,    row.type,  row.dimension, instance ? row.instance : row.descriptor,
                                    row.initial, row.isFlag};
            set.addTable(&plain, 1);
        }
    }
    set.setString(prop::Type, instance ? ofx::type::ParameterInstance : ofx::type::Parameter);
    set.setString(prop::ParamType, type.text);
    if (!type.hasValue()) return;
    addValueProperties(set, instance, type);
    addDimensionLabels(set, instance, type);
    if (!type.interpolates) set.setInt(prop::ParamAnimates, 0);
}

const char* const* allowedTexts(std::string_view property) {
    for (const AllowedRow& row : allowedRows) {
        if (property == row.property) return row.values;
    }
    return nullptr;
}

std::span<const Follower> followers() { return followerRows; }

const char* toleranceOf(ObjectKind kind, std::string_view property) {
    for (const ToleranceRow& row : tolerances) {
        if (row.kind != kind) continue;
        if (row.property.ends_with('_') ? property.starts_with(row.property) : property == row.property) {
            return row.reason;
        }
    }
    return nullptr;
}

}  // namespace ofxhost
