#include <algorithm>
#include <cstring>
#include <exception>
#include <string_view>

#include "Library2/Actions.h"
#include "gpulib/gpulib.h"
#include "k7pi_baselib/k7pi_baselib.h"

std::string effectLabel(const EffectTraits& traits) { return std::string("Q_") + traits.name; }

std::string effectIdentifier(const EffectTraits& traits) {
    std::string group = traits.menu;
    std::replace(group.begin(), group.end(), ' ', '_');
    return "com.brindlemoor.quillon." + group + "." + effectLabel(traits);
}

namespace {

OfxImageEffectHandle effectHandle(const void* handle) {
    return static_cast<OfxImageEffectHandle>(const_cast<void*>(handle));
}

OfxStatus dispatch(const EffectEntry& entry, std::string_view action, OfxImageEffectHandle effect,
                   const PropertySet& inArgs, const PropertySet& outArgs) {
    namespace act = ofx::action;
    if (action == act::Load) return actionLoad();
    if (action == act::Unload) return actionUnload();
    if (action == act::Describe) return actionDescribe(entry, effect);
    if (action == act::DescribeInContext) return actionDescribeInContext(entry, effect, inArgs);
    if (action == act::CreateInstance) return actionCreateInstance(entry, effect);
    if (action == act::DestroyInstance) return actionDestroyInstance(effect);
    if (action == act::PurgeCaches) return actionPurgeCaches();
    if (action == act::BeginInstanceChanged) return ofx::status::OK;
    if (action == act::InstanceChanged) return actionInstanceChanged(effect, inArgs);
    if (action == act::EndInstanceChanged) return actionEndInstanceChanged(effect);
    if (action == act::Render) return actionRender(effect, inArgs);
    if (action == act::IsIdentity) return ofx::status::ReplyDefault;  // no effect ever claims to change nothing
    if (action == act::GetRegionOfDefinition) return actionRegionOfDefinition(effect, inArgs, outArgs);
    if (action == act::GetRegionsOfInterest) return actionRegionsOfInterest(inArgs, outArgs);
    if (action == act::GetClipPreferences) return actionClipPreferences(effect, outArgs);
    if (action == act::GetFramesNeeded && entry.definition->traits->otherFrames)
        return actionFramesNeeded(effect, inArgs, outArgs);
    return ofx::status::ReplyDefault;
}

}  // namespace

OfxStatus effectMain(const EffectEntry& entry, const char* action, const void* handle, OfxPropertySetHandle inArgs,
                     OfxPropertySetHandle outArgs) noexcept {
    if (!action) return ofx::status::ReplyDefault;
    const KeepsSelection keeps;
    try {
        return dispatch(entry, action, effectHandle(handle), PropertySet(inArgs), PropertySet(outArgs));
    } catch (const std::bad_alloc&) {
        reportError("out of memory");
        return std::strcmp(action, ofx::action::Render) == 0 ? ofx::status::OK : ofx::status::ErrMemory;
    } catch (const std::exception& error) {
        reportError(error.what());
    } catch (...) {
        reportError("unknown exception");
    }
    return std::strcmp(action, ofx::action::Render) == 0 ? ofx::status::OK : ofx::status::Failed;
}
