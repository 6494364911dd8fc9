// The image effect suite.
#include <algorithm>
#include <cmath>

#include "host/core/effect.h"
#include "host/core/resources.h"
#include "host/core/suites.h"

namespace ofxhost {
namespace {

OfxStatus nullResult(Host& host, const char* call) {
    host.report(Severity::Error, call, "", "null result pointer");
    return ofx::status::ErrValue;
}

template <class Body>
OfxStatus onEffect(const char* call, OfxImageEffectHandle handle, const char* subject, Body&& body) {
    return callOn<Effect>(
        call, handle, HandleKind::Effect, subject, [=] { return subject ? quoted(subject) : std::string(); }, body);
}

template <class Body>
OfxStatus onClip(const char* call, OfxImageClipHandle handle, const std::string& rest, Body&& body) {
    const auto arguments = [&] {
        const auto* clip = static_cast<Clip*>(findHandle(handle, HandleKind::Clip).object);
        return (clip ? clip->name() : "bad handle") + rest;
    };
    return callOn<Clip>(call, handle, HandleKind::Clip, "", arguments, body);
}

OfxStatus getPropertySet(OfxImageEffectHandle handle, OfxPropertySetHandle* properties) {
    return onEffect("getPropertySet", handle, nullptr, [=](Effect& effect) {
        if (!properties) return nullResult(effect.host(), "getPropertySet");
        *properties = effect.properties().handle();
        return ofx::status::OK;
    });
}

OfxStatus getParamSet(OfxImageEffectHandle handle, OfxParamSetHandle* parameters) {
    return onEffect("getParamSet", handle, nullptr, [=](Effect& effect) {
        if (!parameters) return nullResult(effect.host(), "getParamSet");
        *parameters = effect.paramSetHandle();
        return ofx::status::OK;
    });
}

OfxStatus clipDefine(OfxImageEffectHandle handle, const char* name, OfxPropertySetHandle* properties) {
    return onEffect("clipDefine", handle, name, [=](Effect& effect) {
        EffectDescriptor* descriptor = effect.asDescriptor();
        if (!descriptor) {
            effect.host().report(Severity::Error, "clipDefine", name ? name : "", "clips are defined on descriptors");
            return ofx::status::ErrBadHandle;
        }
        OfxStatus status = ofx::status::OK;
        ClipDescriptor* clip = descriptor->defineClip(name, status);
        if (clip && properties) *properties = clip->properties().handle();
        return status;
    });
}

OfxStatus clipGetHandle(OfxImageEffectHandle handle, const char* name, OfxImageClipHandle* clip,
                        OfxPropertySetHandle* properties) {
    return onEffect("clipGetHandle", handle, name, [=](Effect& effect) {
        EffectInstance* instance = effect.asInstance();
        if (!instance) {
            effect.host().report(Severity::Error, "clipGetHandle", name ? name : "",
                                 "only instances have clips to get");
            return ofx::status::ErrBadHandle;
        }
        if (!clip) return nullResult(effect.host(), "clipGetHandle");
        Clip* found = name ? instance->findClip(name) : nullptr;
        if (!found) {
            effect.host().report(Severity::Error, "clipGetHandle", name ? name : "", "the effect has no such clip");
            return ofx::status::ErrBadHandle;
        }
        *clip = found->handle();
        if (properties) *properties = found->properties().handle();
        return ofx::status::OK;
    });
}

OfxStatus clipGetPropertySet(OfxImageClipHandle handle, OfxPropertySetHandle* properties) {
    return onClip("clipGetPropertySet", handle, "", [=](Clip& clip) {
        if (!properties) return nullResult(clip.effect().host(), "clipGetPropertySet");
        *properties = clip.properties().handle();
        return ofx::status::OK;
    });
}

OfxStatus clipGetImage(OfxImageClipHandle handle, OfxTime time, const OfxRectD*, OfxPropertySetHandle* image) {
    return onClip("clipGetImage", handle, afterComma(toText(PropertyValue(time))), [=](Clip& clip) {
        if (!image) return nullResult(clip.effect().host(), "clipGetImage");
        return clip.effect().getImage(clip, time, image);
    });
}

OfxStatus clipReleaseImage(OfxPropertySetHandle image) {
    const auto* known = static_cast<PropertySet*>(findHandle(image, HandleKind::PropertySet).object);
    std::string owner = known ? known->owner() : "bad handle";  // gone after the call
    const auto arguments = [&owner] { return owner; };
    return callOn<PropertySet>(
        "clipReleaseImage", image, HandleKind::PropertySet, "", arguments, [=](PropertySet& set) {
            EffectInstance* instance = EffectInstance::holderOf(set);
            if (!instance) {
                set.host().report(Severity::Error, "clipReleaseImage", "", set.owner() + " is no image");
                return ofx::status::ErrBadHandle;
            }
            return instance->releaseImage(image);
        });
}

OfxStatus clipGetRegionOfDefinition(OfxImageClipHandle handle, OfxTime time, OfxRectD* bounds) {
    return onClip("clipGetRegionOfDefinition", handle, afterComma(toText(PropertyValue(time))), [=](Clip& clip) {
        if (!bounds) return nullResult(clip.effect().host(), "clipGetRegionOfDefinition");
        *bounds = clip.regionOfDefinition(time);
        return ofx::status::OK;
    });
}

// Any answer but 0 means stop, a bad handle's status as well.
int abortRender(OfxImageEffectHandle handle) {
    int answer = 0;
    const OfxStatus status = onEffect("abort", handle, nullptr, [&answer](Effect& effect) {
        answer = effect.host().pollAbort();
        EffectInstance* const instance = effect.asInstance();
        if (instance && instance->pollStop()) answer = 1;
        return ofx::status::OK;
    });
    return status == ofx::status::OK ? answer : status;
}

// ---- Image memory ---------------------------------------------------------------------------------------------

OfxStatus imageMemoryAlloc(OfxImageEffectHandle handle, std::size_t bytes, OfxImageMemoryHandle* memory) {
    Host* host = handle ? hostOfHandle(handle) : nullptr;
    if (!host) host = Host::current();
    if (!host) return ofx::status::ErrBadHandle;
    return callHost(
        *host, {"imageMemoryAlloc", handle, ""}, [=] { return std::to_string(bytes); },
        [=]() -> OfxStatus {
            if (handle && !findHandle(handle, HandleKind::Effect).object) {
                host->report(Severity::Error, "imageMemoryAlloc", "", "the handle is stale or of another kind");
                return ofx::status::ErrBadHandle;
            }
            if (!memory) return nullResult(*host, "imageMemoryAlloc");
            if (host->hooks().failAllocations || bytes > largestBlock) return ofx::status::ErrMemory;
            auto block = std::make_shared<ImageMemory>(*host, bytes);
            *memory = block->handle();
            std::lock_guard lock(host->resources().mutex);
            host->resources().imageMemory.push_back(std::move(block));
            return ofx::status::OK;
        });
}

template <class Body>
OfxStatus onMemory(const char* call, OfxImageMemoryHandle handle, Body&& body) {
    Host* host = hostOfHandle(handle);
    return callOn<ImageMemory>(
        call, handle, HandleKind::Memory, "", [] { return std::string(); },
        [&](ImageMemory& memory) { return body(memory, *host); });
}

OfxStatus imageMemoryFree(OfxImageMemoryHandle handle) {
    return onMemory("imageMemoryFree", handle, [](ImageMemory& memory, Host& host) {
        if (memory.locks > 0) host.report(Severity::Error, "imageMemoryFree", "", "the memory is locked");
        std::lock_guard lock(host.resources().mutex);
        std::erase_if(host.resources().imageMemory, [&](const auto& entry) { return entry.get() == &memory; });
        return ofx::status::OK;
    });
}

OfxStatus imageMemoryLock(OfxImageMemoryHandle handle, void** data) {
    return onMemory("imageMemoryLock", handle, [=](ImageMemory& memory, Host& host) {
        if (!data) return nullResult(host, "imageMemoryLock");
        ++memory.locks;
        *data = memory.data();
        return ofx::status::OK;
    });
}

OfxStatus imageMemoryUnlock(OfxImageMemoryHandle handle) {
    return onMemory("imageMemoryUnlock", handle, [](ImageMemory& memory, Host& host) {
        if (memory.locks == 0) {
            host.report(Severity::Error, "imageMemoryUnlock", "", "the memory is not locked");
            return ofx::status::Failed;
        }
        --memory.locks;
        return ofx::status::OK;
    });
}

}  // namespace

const OfxImageEffectSuiteV1 imageEffectSuite = {
    .getPropertySet = getPropertySet,
    .getParamSet = getParamSet,
    .clipDefine = clipDefine,
    .clipGetHandle = clipGetHandle,
    .clipGetPropertySet = clipGetPropertySet,
    .clipGetImage = clipGetImage,
    .clipReleaseImage = clipReleaseImage,
    .clipGetRegionOfDefinition = clipGetRegionOfDefinition,
    .abort = abortRender,
    .imageMemoryAlloc = imageMemoryAlloc,
    .imageMemoryFree = imageMemoryFree,
    .imageMemoryLock = imageMemoryLock,
    .imageMemoryUnlock = imageMemoryUnlock,
};

}  // namespace ofxhost
