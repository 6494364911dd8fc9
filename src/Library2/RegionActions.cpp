#include <algorithm>
#include <cmath>
#include <string>

#include "Library2/Actions.h"
#include "Library2/InstanceRecord.h"

namespace {

OfxImageClipHandle primaryHandle(OfxImageEffectHandle instance) {
    const InstanceRecord* record = instanceRecord(instance);
    return record && !record->inputs.empty() ? record->inputs.front().handle.load() : nullptr;
}

bool isRegion(const OfxRectD& r) { return r.x2 > r.x1 && r.y2 > r.y1; }

}  // namespace

// The project's frame; where the host tells none, what the primary clip has.
OfxStatus actionRegionOfDefinition(OfxImageEffectHandle instance, const PropertySet& inArgs,
                                   const PropertySet& outArgs) {
    const PropertySet set = effectProperties(instance);
    OfxRectD region{0.0, 0.0, set.doubleOr(ofx::prop::ProjectSize, 0.0, 0),
                    set.doubleOr(ofx::prop::ProjectSize, 0.0, 1)};
    if (!isRegion(region)) {
        const OfxImageClipHandle clip = primaryHandle(instance);
        if (!clip || callSuite(bundleState().suites.effect, &OfxImageEffectSuiteV1::clipGetRegionOfDefinition, clip,
                               inArgs.doubleOr(ofx::prop::Time, 0.0), &region) != ofx::status::OK)
            return ofx::status::ReplyDefault;
        if (!isRegion(region)) return ofx::status::ReplyDefault;
    }
    const double corners[4] = {region.x1, region.y1, region.x2, region.y2};
    outArgs.setDoubles(ofx::prop::RegionOfDefinition, 4, corners);
    return ofx::status::OK;
}

OfxStatus actionRegionsOfInterest(const PropertySet& inArgs, const PropertySet& outArgs) {
    double region[4] = {};
    for (int i = 0; i < 4; ++i) region[i] = inArgs.doubleOr(ofx::prop::RegionOfInterest, 0.0, i);
    outArgs.setDoubles(ofx::prop::ClipRoISource, 4, region);
    return ofx::status::OK;
}

OfxStatus actionClipPreferences(OfxImageEffectHandle instance, const PropertySet& outArgs) {
    if (!outArgs) return ofx::status::ReplyDefault;
    outArgs.setInt(ofx::prop::FrameVarying, 1);
    outArgs.setDouble(ofx::prop::FrameRate, 30.0);
    // Over nothing, samples are drawn with their alpha. Hosts would otherwise take such a picture for opaque.
    const InstanceRecord* record = instanceRecord(instance);
    if (record && record->effect->effectTraits().generator && !isConnected(primaryHandle(instance)))
        outArgs.setString(ofx::prop::PreMultiplication, ofx::premultiplication::Premultiplied);
    return ofx::status::OK;
}

// ---- Frames ---------------------------------------------------------------------------------------------------

FrameSpan frameSpan(const PropertySet& clip, double time, double duration) {
    switch (bundleState().quirks->frameNumbers) {
        case FrameNumbers::ZeroToMany:
            break;
        case FrameNumbers::ZeroToDuration:
            return {0.0, duration, time};
        case FrameNumbers::FromClip: {
            double first = 0.0, last = 0.0;
            if (clip.getDouble(ofx::prop::FrameRange, &first, 0) && clip.getDouble(ofx::prop::FrameRange, &last, 1))
                return {first, last, time - first};
            break;
        }
    }
    return {0.0, 999999.0, time};
}

FrameSpan withinInteger(const FrameSpan& frames) {
    const auto sound = [](double frame) {
        constexpr double LAST = 1e9;
        return std::isfinite(frame) ? std::clamp(frame, -LAST, LAST) : 0.0;
    };
    return {sound(frames.first), sound(frames.last), sound(frames.current)};
}

double positionFactor(double aspect) {
    switch (bundleState().quirks->positionAspect) {
        case PositionAspect::Multiply:
            return aspect;
        case PositionAspect::Divide:
            return 1.0 / aspect;
        case PositionAspect::None:
            break;
    }
    return 1.0;
}

double projectAspect(const PropertySet& instance) {
    double aspect = instance.doubleOr(ofx::prop::ProjectPixelAspectRatio, 1.0);
    if (!(aspect > 0.0 && aspect < 1e6)) aspect = 1.0;
    return bundleState().quirks->reciprocalAspect ? 1.0 / aspect : aspect;
}

namespace {

// Two pairs of host times, the second ascending: the frame itself, and the frames around it.
std::array<double, 4> frameRangeOf(const ClipRecord& clip, double time) {
    if (clip.frameCount == 0) return {time, time, time, time};
    const double offset = clip.firstFrame();
    const double a = clip.frames[1] + offset;
    const double b = clip.frames[static_cast<std::size_t>(clip.frameCount)] + offset;
    return {time, time, std::min(a, b), std::max(a, b)};
}

}  // namespace

// A render of the instance may be running: the answer is worked out on a record of its own, wired to the same handles.
OfxStatus actionFramesNeeded(OfxImageEffectHandle instance, const PropertySet& inArgs, const PropertySet& outArgs) {
    InstanceRecord* record = instanceRecord(instance);
    if (!record) return ofx::status::ReplyDefault;
    const std::unique_ptr<EffectInfo> plan = record->definition->declare();
    wireControls(*plan, *record);
    wireClips(*plan, *record);
    const double time = inArgs.doubleOr(ofx::prop::Time, 0.0);
    plan->fetchAll({.time = time, .xFactor = positionFactor(projectAspect(effectProperties(instance)))});

    const bool fromClip = bundleState().quirks->frameNumbers == FrameNumbers::FromClip;
    const PropertySet clip = fromClip && plan->primary() ? clipProperties(plan->primary()->handle()) : PropertySet();
    const FrameSpan frames = fromClip ? frameSpan(clip, time, 0.0) : FrameSpan{0.0, 999999.0, time};
    record->effect->prepareFrames(*plan, withinInteger(frames));
    const HostQuirks& quirks = instanceQuirks(instance);
    for (const ClipRecord* input : plan->inputs()) {
        if (!input->param().temporal || !(quirks.furtherHandles || input == plan->primary())) continue;
        const char* name = quirks.furtherHandles ? input->param().name : quirks.primaryClipName(input->param().name);
        const std::string property = std::string(ofx::prop::ClipFrameRangePrefix) + name;
        outArgs.setDoubles(property.c_str(), 4, frameRangeOf(*input, time).data());
    }
    return ofx::status::OK;
}
