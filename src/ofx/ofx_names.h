// The texts of the OpenFX Image Effect API: suites, actions, properties and enumerated values.
//
// A name here is the standard's text without its prefix, in the namespace of its kind:
// "OfxImageEffectActionRender" is ofx::action::Render, "OfxPropLabel" is ofx::prop::Label. Every text that the bundle
// or the command-line host hands over the interface is one of these constants.
#pragma once

namespace ofx {

inline constexpr char ImageEffectPluginApi[] = "OfxImageEffectPluginAPI";
inline constexpr int ImageEffectPluginApiVersion = 1;

// ---- Suites, all at version 1 ---------------------------------------------------------------------------------
namespace suite {
inline constexpr char ImageEffect[] = "OfxImageEffectSuite";
inline constexpr char Property[] = "OfxPropertySuite";
inline constexpr char Parameter[] = "OfxParameterSuite";
inline constexpr char Memory[] = "OfxMemorySuite";
inline constexpr char MultiThread[] = "OfxMultiThreadSuite";
inline constexpr char Message[] = "OfxMessageSuite";
inline constexpr char Interact[] = "OfxInteractSuite";
inline constexpr char OpenGLRender[] = "OfxImageEffectOpenGLRenderSuite";
}  // namespace suite

// ---- Actions --------------------------------------------------------------------------------------------------
namespace action {
inline constexpr char Load[] = "OfxActionLoad";
inline constexpr char Unload[] = "OfxActionUnload";
inline constexpr char Describe[] = "OfxActionDescribe";
inline constexpr char CreateInstance[] = "OfxActionCreateInstance";
inline constexpr char DestroyInstance[] = "OfxActionDestroyInstance";
inline constexpr char BeginInstanceChanged[] = "OfxActionBeginInstanceChanged";
inline constexpr char InstanceChanged[] = "OfxActionInstanceChanged";
inline constexpr char EndInstanceChanged[] = "OfxActionEndInstanceChanged";
inline constexpr char BeginInstanceEdit[] = "OfxActionBeginInstanceEdit";
inline constexpr char EndInstanceEdit[] = "OfxActionEndInstanceEdit";
inline constexpr char PurgeCaches[] = "OfxActionPurgeCaches";
inline constexpr char SyncPrivateData[] = "OfxActionSyncPrivateData";
inline constexpr char DescribeInContext[] = "OfxImageEffectActionDescribeInContext";
inline constexpr char Render[] = "OfxImageEffectActionRender";
inline constexpr char BeginSequenceRender[] = "OfxImageEffectActionBeginSequenceRender";
inline constexpr char EndSequenceRender[] = "OfxImageEffectActionEndSequenceRender";
inline constexpr char IsIdentity[] = "OfxImageEffectActionIsIdentity";
inline constexpr char GetRegionOfDefinition[] = "OfxImageEffectActionGetRegionOfDefinition";
inline constexpr char GetRegionsOfInterest[] = "OfxImageEffectActionGetRegionsOfInterest";
inline constexpr char GetFramesNeeded[] = "OfxImageEffectActionGetFramesNeeded";
inline constexpr char GetClipPreferences[] = "OfxImageEffectActionGetClipPreferences";
inline constexpr char GetTimeDomain[] = "OfxImageEffectActionGetTimeDomain";
inline constexpr char InteractDraw[] = "OfxInteractActionDraw";
inline constexpr char InteractPenMotion[] = "OfxInteractActionPenMotion";
inline constexpr char InteractPenDown[] = "OfxInteractActionPenDown";
inline constexpr char InteractPenUp[] = "OfxInteractActionPenUp";
inline constexpr char InteractKeyDown[] = "OfxInteractActionKeyDown";
inline constexpr char InteractKeyUp[] = "OfxInteractActionKeyUp";
inline constexpr char InteractKeyRepeat[] = "OfxInteractActionKeyRepeat";
inline constexpr char InteractGainFocus[] = "OfxInteractActionGainFocus";
inline constexpr char InteractLoseFocus[] = "OfxInteractActionLoseFocus";
}  // namespace action

// ---- Properties -----------------------------------------------------------------------------------------------
namespace prop {
// Of any object
inline constexpr char Type[] = "OfxPropType";
inline constexpr char Name[] = "OfxPropName";
inline constexpr char Label[] = "OfxPropLabel";
inline constexpr char ShortLabel[] = "OfxPropShortLabel";
inline constexpr char LongLabel[] = "OfxPropLongLabel";
inline constexpr char Icon[] = "OfxPropIcon";
inline constexpr char Version[] = "OfxPropVersion";
inline constexpr char VersionLabel[] = "OfxPropVersionLabel";
inline constexpr char ApiVersion[] = "OfxPropAPIVersion";
inline constexpr char PluginDescription[] = "OfxPropPluginDescription";
inline constexpr char Time[] = "OfxPropTime";
inline constexpr char IsInteractive[] = "OfxPropIsInteractive";
inline constexpr char InstanceData[] = "OfxPropInstanceData";
inline constexpr char EffectInstance[] = "OfxPropEffectInstance";
inline constexpr char ChangeReason[] = "OfxPropChangeReason";
inline constexpr char HostOSHandle[] = "OfxPropHostOSHandle";

// Host
inline constexpr char HostIsBackground[] = "OfxImageEffectHostPropIsBackground";
inline constexpr char HostNativeOrigin[] = "OfxImageEffectHostPropNativeOrigin";
inline constexpr char SupportsOverlays[] = "OfxImageEffectPropSupportsOverlays";
inline constexpr char SupportsMultiResolution[] = "OfxImageEffectPropSupportsMultiResolution";
inline constexpr char SetableFrameRate[] = "OfxImageEffectPropSetableFrameRate";
inline constexpr char SetableFielding[] = "OfxImageEffectPropSetableFielding";
inline constexpr char ParamHostSupportsCustomInteract[] = "OfxParamHostPropSupportsCustomInteract";
inline constexpr char ParamHostSupportsStringAnimation[] = "OfxParamHostPropSupportsStringAnimation";
inline constexpr char ParamHostSupportsChoiceAnimation[] = "OfxParamHostPropSupportsChoiceAnimation";
inline constexpr char ParamHostSupportsBooleanAnimation[] = "OfxParamHostPropSupportsBooleanAnimation";
inline constexpr char ParamHostSupportsCustomAnimation[] = "OfxParamHostPropSupportsCustomAnimation";
inline constexpr char ParamHostMaxParameters[] = "OfxParamHostPropMaxParameters";
inline constexpr char ParamHostMaxPages[] = "OfxParamHostPropMaxPages";
inline constexpr char ParamHostPageRowColumnCount[] = "OfxParamHostPropPageRowColumnCount";

// Effect
inline constexpr char Context[] = "OfxImageEffectPropContext";
inline constexpr char PluginHandle[] = "OfxImageEffectPropPluginHandle";
inline constexpr char SupportedContexts[] = "OfxImageEffectPropSupportedContexts";
inline constexpr char PluginGrouping[] = "OfxImageEffectPluginPropGrouping";
inline constexpr char PluginSingleInstance[] = "OfxImageEffectPluginPropSingleInstance";
inline constexpr char PluginRenderThreadSafety[] = "OfxImageEffectPluginRenderThreadSafety";
inline constexpr char PluginHostFrameThreading[] = "OfxImageEffectPluginPropHostFrameThreading";
inline constexpr char PluginOverlayInteractV1[] = "OfxImageEffectPluginPropOverlayInteractV1";
inline constexpr char PluginFieldRenderTwiceAlways[] = "OfxImageEffectPluginPropFieldRenderTwiceAlways";
inline constexpr char PluginFilePath[] = "OfxPluginPropFilePath";
inline constexpr char ClipPreferencesSlaveParam[] = "OfxImageEffectPropClipPreferencesSlaveParam";
inline constexpr char MultipleClipDepths[] = "OfxImageEffectPropMultipleClipDepths";
inline constexpr char SupportsMultipleClipPARs[] = "OfxImageEffectPropSupportsMultipleClipPARs";
inline constexpr char SupportsTiles[] = "OfxImageEffectPropSupportsTiles";
inline constexpr char TemporalClipAccess[] = "OfxImageEffectPropTemporalClipAccess";
inline constexpr char SupportedPixelDepths[] = "OfxImageEffectPropSupportedPixelDepths";
inline constexpr char SupportedComponents[] = "OfxImageEffectPropSupportedComponents";
inline constexpr char InstanceSequentialRender[] = "OfxImageEffectInstancePropSequentialRender";
inline constexpr char InstanceEffectDuration[] = "OfxImageEffectInstancePropEffectDuration";
inline constexpr char ProjectSize[] = "OfxImageEffectPropProjectSize";
inline constexpr char ProjectOffset[] = "OfxImageEffectPropProjectOffset";
inline constexpr char ProjectExtent[] = "OfxImageEffectPropProjectExtent";
inline constexpr char ProjectPixelAspectRatio[] = "OfxImageEffectPropPixelAspectRatio";

// Action arguments
inline constexpr char RenderScale[] = "OfxImageEffectPropRenderScale";
inline constexpr char RenderWindow[] = "OfxImageEffectPropRenderWindow";
inline constexpr char FieldToRender[] = "OfxImageEffectPropFieldToRender";
inline constexpr char RegionOfInterest[] = "OfxImageEffectPropRegionOfInterest";
inline constexpr char RegionOfDefinition[] = "OfxImageEffectPropRegionOfDefinition";
inline constexpr char SequentialRenderStatus[] = "OfxImageEffectPropSequentialRenderStatus";
inline constexpr char InteractiveRenderStatus[] = "OfxImageEffectPropInteractiveRenderStatus";
inline constexpr char CudaRenderSupported[] = "OfxImageEffectPropCudaRenderSupported";  // "true" or "false"
inline constexpr char CudaStreamSupported[] = "OfxImageEffectPropCudaStreamSupported";  // the same
inline constexpr char CudaEnabled[] = "OfxImageEffectPropCudaEnabled";
inline constexpr char CudaStream[] = "OfxImageEffectPropCudaStream";
inline constexpr char OpenGLRenderSupported[] = "OfxImageEffectPropOpenGLRenderSupported";  // "true" or "false"
inline constexpr char OpenGLEnabled[] = "OfxImageEffectPropOpenGLEnabled";
inline constexpr char OpenGLPixelDepth[] = "OfxOpenGLPropPixelDepth";
inline constexpr char OpenGLTextureIndex[] = "OfxImageEffectPropOpenGLTextureIndex";
inline constexpr char OpenGLTextureTarget[] = "OfxImageEffectPropOpenGLTextureTarget";
inline constexpr char RenderQualityDraft[] = "OfxImageEffectPropRenderQualityDraft";
inline constexpr char FrameVarying[] = "OfxImageEffectFrameVarying";
inline constexpr char FrameRate[] = "OfxImageEffectPropFrameRate";
inline constexpr char FrameRange[] = "OfxImageEffectPropFrameRange";
inline constexpr char FrameStep[] = "OfxImageEffectPropFrameStep";
// Composed with a clip's name behind them
inline constexpr char ClipRoIPrefix[] = "OfxImageClipPropRoI_";
inline constexpr char ClipRoISource[] = "OfxImageClipPropRoI_Source";
inline constexpr char ClipFrameRangePrefix[] = "OfxImageClipPropFrameRange_";
inline constexpr char ClipComponentsPrefix[] = "OfxImageClipPropComponents_";
inline constexpr char ClipDepthPrefix[] = "OfxImageClipPropDepth_";
inline constexpr char ClipPARPrefix[] = "OfxImageClipPropPAR_";

// Clips and images
inline constexpr char ClipOptional[] = "OfxImageClipPropOptional";
inline constexpr char ClipIsMask[] = "OfxImageClipPropIsMask";
inline constexpr char ClipFieldExtraction[] = "OfxImageClipPropFieldExtraction";
inline constexpr char ClipFieldOrder[] = "OfxImageClipPropFieldOrder";
inline constexpr char ClipConnected[] = "OfxImageClipPropConnected";
inline constexpr char ClipContinuousSamples[] = "OfxImageClipPropContinuousSamples";
inline constexpr char ClipUnmappedPixelDepth[] = "OfxImageClipPropUnmappedPixelDepth";
inline constexpr char ClipUnmappedComponents[] = "OfxImageClipPropUnmappedComponents";
inline constexpr char UnmappedFrameRange[] = "OfxImageEffectPropUnmappedFrameRange";
inline constexpr char UnmappedFrameRate[] = "OfxImageEffectPropUnmappedFrameRate";
inline constexpr char PreMultiplication[] = "OfxImageEffectPropPreMultiplication";
inline constexpr char PixelDepth[] = "OfxImageEffectPropPixelDepth";
inline constexpr char Components[] = "OfxImageEffectPropComponents";
inline constexpr char ImagePixelAspectRatio[] = "OfxImagePropPixelAspectRatio";
inline constexpr char ImageData[] = "OfxImagePropData";
inline constexpr char ImageBounds[] = "OfxImagePropBounds";
inline constexpr char ImageRegionOfDefinition[] = "OfxImagePropRegionOfDefinition";
inline constexpr char ImageRowBytes[] = "OfxImagePropRowBytes";
inline constexpr char ImageField[] = "OfxImagePropField";
inline constexpr char ImageUniqueIdentifier[] = "OfxImagePropUniqueIdentifier";

// Parameters
inline constexpr char ParamType[] = "OfxParamPropType";
inline constexpr char ParamSecret[] = "OfxParamPropSecret";
inline constexpr char ParamHint[] = "OfxParamPropHint";
inline constexpr char ParamScriptName[] = "OfxParamPropScriptName";
inline constexpr char ParamParent[] = "OfxParamPropParent";
inline constexpr char ParamEnabled[] = "OfxParamPropEnabled";
inline constexpr char ParamDataPtr[] = "OfxParamPropDataPtr";
inline constexpr char ParamDefault[] = "OfxParamPropDefault";
inline constexpr char ParamAnimates[] = "OfxParamPropAnimates";
inline constexpr char ParamIsAnimating[] = "OfxParamPropIsAnimating";
inline constexpr char ParamIsAutoKeying[] = "OfxParamPropIsAutoKeying";
inline constexpr char ParamPersistent[] = "OfxParamPropPersistant";  // the standard's spelling
inline constexpr char ParamEvaluateOnChange[] = "OfxParamPropEvaluateOnChange";
inline constexpr char ParamPluginMayWrite[] = "OfxParamPropPluginMayWrite";
inline constexpr char ParamCacheInvalidation[] = "OfxParamPropCacheInvalidation";
inline constexpr char ParamCanUndo[] = "OfxParamPropCanUndo";
inline constexpr char ParamMin[] = "OfxParamPropMin";
inline constexpr char ParamMax[] = "OfxParamPropMax";
inline constexpr char ParamDisplayMin[] = "OfxParamPropDisplayMin";
inline constexpr char ParamDisplayMax[] = "OfxParamPropDisplayMax";
inline constexpr char ParamIncrement[] = "OfxParamPropIncrement";
inline constexpr char ParamDigits[] = "OfxParamPropDigits";
inline constexpr char ParamDoubleType[] = "OfxParamPropDoubleType";
inline constexpr char ParamDefaultCoordinateSystem[] = "OfxParamPropDefaultCoordinateSystem";
inline constexpr char ParamShowTimeMarker[] = "OfxParamPropShowTimeMarker";
inline constexpr char ParamDimensionLabel[] = "OfxParamPropDimensionLabel";
inline constexpr char ParamChoiceOption[] = "OfxParamPropChoiceOption";
inline constexpr char ParamStringMode[] = "OfxParamPropStringMode";
inline constexpr char ParamStringFilePathExists[] = "OfxParamPropStringFilePathExists";
inline constexpr char ParamGroupOpen[] = "OfxParamPropGroupOpen";
inline constexpr char ParamPageChild[] = "OfxParamPropPageChild";
inline constexpr char ParamPageOrder[] = "OfxPluginPropParamPageOrder";
inline constexpr char ParamSetNeedsSyncing[] = "OfxPropParamSetNeedsSyncing";
inline constexpr char ParamInteractV1[] = "OfxParamPropInteractV1";
inline constexpr char ParamInteractSize[] = "OfxParamPropInteractSize";
inline constexpr char ParamInteractSizeAspect[] = "OfxParamPropInteractSizeAspect";
inline constexpr char ParamInteractMinimumSize[] = "OfxParamPropInteractMinimumSize";
inline constexpr char ParamInteractPreferredSize[] = "OfxParamPropInteractPreferedSize";  // the standard's spelling
inline constexpr char ParamHasHostOverlayHandle[] = "OfxParamPropHasHostOverlayHandle";
inline constexpr char ParamUseHostOverlayHandle[] = "kOfxParamPropUseHostOverlayHandle";

// Interacts
inline constexpr char InteractPixelScale[] = "OfxInteractPropPixelScale";
inline constexpr char InteractBackgroundColour[] = "OfxInteractPropBackgroundColour";
inline constexpr char InteractSuggestedColour[] = "OfxInteractPropSuggestedColour";
inline constexpr char InteractPenPosition[] = "OfxInteractPropPenPosition";
inline constexpr char InteractPenViewportPosition[] = "OfxInteractPropPenViewportPosition";
inline constexpr char InteractPenPressure[] = "OfxInteractPropPenPressure";
inline constexpr char InteractSlaveToParam[] = "OfxInteractPropSlaveToParam";
inline constexpr char InteractHasAlpha[] = "OfxInteractPropHasAlpha";
inline constexpr char InteractBitDepth[] = "OfxInteractPropBitDepth";
inline constexpr char InteractViewport[] = "OfxInteractPropViewport";
}  // namespace prop

// ---- Values of properties -------------------------------------------------------------------------------------
namespace type {
inline constexpr char ImageEffectHost[] = "OfxTypeImageEffectHost";
inline constexpr char ImageEffect[] = "OfxTypeImageEffect";
inline constexpr char ImageEffectInstance[] = "OfxTypeImageEffectInstance";
inline constexpr char Clip[] = "OfxTypeClip";
inline constexpr char Image[] = "OfxTypeImage";
inline constexpr char Parameter[] = "OfxTypeParameter";
inline constexpr char ParameterInstance[] = "OfxTypeParameterInstance";
}  // namespace type

namespace context {
inline constexpr char General[] = "OfxImageEffectContextGeneral";
inline constexpr char Filter[] = "OfxImageEffectContextFilter";
inline constexpr char Generator[] = "OfxImageEffectContextGenerator";
}  // namespace context

namespace clip {
inline constexpr char Output[] = "Output";
inline constexpr char Source[] = "Source";
}  // namespace clip

namespace depth {
inline constexpr char None[] = "OfxBitDepthNone";
inline constexpr char Byte[] = "OfxBitDepthByte";
inline constexpr char Short[] = "OfxBitDepthShort";
inline constexpr char Half[] = "OfxBitDepthHalf";
inline constexpr char Float[] = "OfxBitDepthFloat";
}  // namespace depth

namespace component {
inline constexpr char None[] = "OfxImageComponentNone";
inline constexpr char RGBA[] = "OfxImageComponentRGBA";
inline constexpr char RGB[] = "OfxImageComponentRGB";
inline constexpr char Alpha[] = "OfxImageComponentAlpha";
}  // namespace component

namespace thread_safety {
inline constexpr char Unsafe[] = "OfxImageEffectRenderUnsafe";
inline constexpr char InstanceSafe[] = "OfxImageEffectRenderInstanceSafe";
inline constexpr char FullySafe[] = "OfxImageEffectRenderFullySafe";
}  // namespace thread_safety

namespace premultiplication {
inline constexpr char Opaque[] = "OfxImageOpaque";
inline constexpr char Premultiplied[] = "OfxImageAlphaPremultiplied";
inline constexpr char UnPremultiplied[] = "OfxImageAlphaUnPremultiplied";
}  // namespace premultiplication

namespace field {
inline constexpr char None[] = "OfxFieldNone";
inline constexpr char Lower[] = "OfxFieldLower";
inline constexpr char Upper[] = "OfxFieldUpper";
inline constexpr char Both[] = "OfxFieldBoth";
inline constexpr char Single[] = "OfxFieldSingle";
inline constexpr char Doubled[] = "OfxFieldDoubled";
}  // namespace field

namespace change {
inline constexpr char UserEdited[] = "OfxChangeUserEdited";
inline constexpr char PluginEdited[] = "OfxChangePluginEdited";
inline constexpr char Time[] = "OfxChangeTime";
}  // namespace change

namespace param_type {
inline constexpr char Integer[] = "OfxParamTypeInteger";
inline constexpr char Double[] = "OfxParamTypeDouble";
inline constexpr char Boolean[] = "OfxParamTypeBoolean";
inline constexpr char Choice[] = "OfxParamTypeChoice";
inline constexpr char RGBA[] = "OfxParamTypeRGBA";
inline constexpr char RGB[] = "OfxParamTypeRGB";
inline constexpr char Double2D[] = "OfxParamTypeDouble2D";
inline constexpr char Integer2D[] = "OfxParamTypeInteger2D";
inline constexpr char Double3D[] = "OfxParamTypeDouble3D";
inline constexpr char Integer3D[] = "OfxParamTypeInteger3D";
inline constexpr char String[] = "OfxParamTypeString";
inline constexpr char Custom[] = "OfxParamTypeCustom";
inline constexpr char Group[] = "OfxParamTypeGroup";
inline constexpr char Page[] = "OfxParamTypePage";
inline constexpr char PushButton[] = "OfxParamTypePushButton";
}  // namespace param_type

namespace double_type {
inline constexpr char Plain[] = "OfxParamDoubleTypePlain";
inline constexpr char Scale[] = "OfxParamDoubleTypeScale";
inline constexpr char Angle[] = "OfxParamDoubleTypeAngle";
inline constexpr char NormalisedXYAbsolute[] = "OfxParamDoubleTypeNormalisedXYAbsolute";
}  // namespace double_type

namespace coordinates {
inline constexpr char Canonical[] = "OfxParamCoordinatesCanonical";
inline constexpr char Normalised[] = "OfxParamCoordinatesNormalised";
}  // namespace coordinates

namespace string_mode {
inline constexpr char SingleLine[] = "OfxParamStringIsSingleLine";
inline constexpr char MultiLine[] = "OfxParamStringIsMultiLine";
inline constexpr char FilePath[] = "OfxParamStringIsFilePath";
inline constexpr char DirectoryPath[] = "OfxParamStringIsDirectoryPath";
inline constexpr char Label[] = "OfxParamStringIsLabel";
}  // namespace string_mode

namespace page {
inline constexpr char SkipRow[] = "OfxParamPageSkipRow";
inline constexpr char SkipColumn[] = "OfxParamPageSkipColumn";
}  // namespace page

namespace cache_invalidation {
inline constexpr char ValueChange[] = "OfxParamInvalidateValueChange";
inline constexpr char ValueChangeToEnd[] = "OfxParamInvalidateValueChangeToEnd";
inline constexpr char All[] = "OfxParamInvalidateAll";
}  // namespace cache_invalidation

}  // namespace ofx
