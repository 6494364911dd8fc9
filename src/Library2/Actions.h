// The action handlers that all effects share. Each answers an OFX status.
#pragma once

#include "Library2/PluginK7.h"

inline constexpr char PRODUCT_VERSION[] = "7.00";
inline constexpr char PRODUCT_VERSION_LONG[] = "v7.00 of 02-Feb-2012";

std::string effectLabel(const EffectTraits& traits);       // "Q_CrashZoom"
std::string effectIdentifier(const EffectTraits& traits);  // "com.brindlemoor.quillon.Blurs.Q_CrashZoom"

// One effect as the host sees it. The overlay entry is null where the effect has no overlay.
struct EffectEntry {
    const EffectDefinition* definition = nullptr;
    OfxPluginEntryPoint* overlayEntry = nullptr;
};

// The two entry points. Nothing thrown inside leaves them.
OfxStatus effectMain(const EffectEntry& entry, const char* action, const void* handle, OfxPropertySetHandle inArgs,
                     OfxPropertySetHandle outArgs) noexcept;
OfxStatus overlayMain(const char* action, const void* handle, OfxPropertySetHandle inArgs) noexcept;

// Describe
OfxStatus actionLoad();
OfxStatus actionUnload();
OfxStatus actionDescribe(const EffectEntry& entry, OfxImageEffectHandle descriptor);
OfxStatus actionDescribeInContext(const EffectEntry& entry, OfxImageEffectHandle descriptor, const PropertySet& inArgs);

// Instances
OfxStatus actionCreateInstance(const EffectEntry& entry, OfxImageEffectHandle instance);
OfxStatus actionDestroyInstance(OfxImageEffectHandle instance);
OfxStatus actionPurgeCaches();
OfxStatus actionInstanceChanged(OfxImageEffectHandle instance, const PropertySet& inArgs);
OfxStatus actionEndInstanceChanged(OfxImageEffectHandle instance);

// Regions, preferences, frames
OfxStatus actionRegionOfDefinition(OfxImageEffectHandle instance, const PropertySet& inArgs,
                                   const PropertySet& outArgs);
OfxStatus actionRegionsOfInterest(const PropertySet& inArgs, const PropertySet& outArgs);
OfxStatus actionClipPreferences(OfxImageEffectHandle instance, const PropertySet& outArgs);
OfxStatus actionFramesNeeded(OfxImageEffectHandle instance, const PropertySet& inArgs, const PropertySet& outArgs);

// Render
OfxStatus actionRender(OfxImageEffectHandle instance, const PropertySet& inArgs);

// The frame numbers of a clip at a host time, where the host's way of counting lets it be known.
FrameSpan frameSpan(const PropertySet& clip, double time, double duration);
// The same frames, finite and within a thousand million, whatever the host has told.
FrameSpan withinInteger(const FrameSpan& frames);
// The factor of horizontal values read for rendering.
double positionFactor(double projectAspect);
// The project's pixel aspect as the bundle counts it.
double projectAspect(const PropertySet& instance);

// Help
void showHelp(const EffectTraits& traits);
