// What a host's effect instance points at: the effect object and the host's handles that its controls and clips use.
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "Library2/MultiProcess.h"
#include "Library2/PluginK7.h"

struct ClipBlock {
    OfxImageClipHandle handle = nullptr;
    std::array<double, 4> frameRange{};  // answer buffer of frames needed: two pairs first, last
};

struct ParameterBlock {
    OfxParamHandle handle = nullptr;
    // Of choices that steer other controls
    bool skipFirstChange = false;  // some hosts send a notification that is no change
    int lastValue = 0;             // from 0, as at the host
};

struct InstanceRecord {
    std::unique_ptr<PluginK7> effect;
    std::unique_ptr<K7PTMultiProcess> ownThreads;
    OfxImageClipHandle outputClip = nullptr;
    std::vector<ClipBlock> inputs;           // in the order of the declared clips
    std::vector<ParameterBlock> parameters;  // in the order of the declared controls
    OfxParamHandle helpButton = nullptr;
};

// The record of an effect instance; null when it has none (yet, or any more).
InstanceRecord* instanceRecord(OfxImageEffectHandle instance);

// Gets the clip's handle from the host and wires the clip record, or leaves it unconnected.
void wireClip(OfxImageEffectHandle instance, InstanceRecord& record, std::size_t index);
