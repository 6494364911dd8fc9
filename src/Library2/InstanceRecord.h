// What a host's effect instance points at: the effect object and the host's handles that its controls and clips use.
#pragma once

#include <atomic>
#include <deque>
#include <memory>

#include "Library2/MultiProcess.h"
#include "Library2/PluginK7.h"

struct ClipBlock {
    std::atomic<OfxImageClipHandle> handle{nullptr};  // null: not connected
};

struct ParameterBlock {
    OfxParamHandle handle = nullptr;
    // Of choices that steer other controls
    std::atomic<bool> skipFirstChange{false};  // some hosts send a notification that is no change
    std::atomic<int> lastValue{0};             // from 0, as at the host
};

struct InstanceRecord {
    const EffectDefinition* definition = nullptr;
    std::unique_ptr<PluginK7> effect;
    std::unique_ptr<K7PTMultiProcess> ownThreads;
    ClipBlock outputClip;
    std::deque<ClipBlock> inputs;           // in the order of the declared clips
    std::deque<ParameterBlock> parameters;  // in the order of the declared controls
    OfxParamHandle helpButton = nullptr;
    std::atomic<bool> toldRefusal{false};  // why a render could not be done is told once
};

// The record of an effect instance; null when it has none (yet, or any more).
InstanceRecord* instanceRecord(OfxImageEffectHandle instance);

// What the host makes of an instance, in its context.
const HostQuirks& instanceQuirks(OfxImageEffectHandle instance);
// Whether a picture is connected to the clip. A host that doesn't say is believed to have one.
bool isConnected(OfxImageClipHandle clip);

// Wires the controls and clips of a record of the same declaration to the instance's handles.
void wireControls(EffectInfo& info, InstanceRecord& record);
void wireClips(EffectInfo& info, InstanceRecord& record);
