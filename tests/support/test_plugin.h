// What the effects that tests bring along share: the host's suites, definitions, parameters and pixels, seen from the
// plug-in's side. Each such effect is a bundle or a program of its own, so one set of suites is enough.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "ofx/ofx.h"
#include "ofx/ofx_names.h"

namespace testplugin {

inline OfxHost* theHost = nullptr;
inline const OfxPropertySuiteV1* props = nullptr;
inline const OfxImageEffectSuiteV1* effects = nullptr;
inline const OfxParameterSuiteV1* params = nullptr;
inline const OfxMultiThreadSuiteV1* threads = nullptr;

inline void setHost(OfxHost* host) { theHost = host; }

template <class Suite>
void fetch(const Suite*& suite, const char* name) {
    suite = static_cast<const Suite*>(theHost->fetchSuite(theHost->host, name, 1));
}

inline void fetchSuites() {
    fetch(props, ofx::suite::Property);
    fetch(effects, ofx::suite::ImageEffect);
    fetch(params, ofx::suite::Parameter);
    fetch(threads, ofx::suite::MultiThread);
}

inline bool is(const char* a, const char* b) { return std::strcmp(a, b) == 0; }

inline OfxPropertySetHandle propertiesOf(OfxImageEffectHandle effect) {
    OfxPropertySetHandle set = nullptr;
    effects->getPropertySet(effect, &set);
    return set;
}

// ---- Definitions ------------------------------------------------------------------------------------------------

// Any depth, whole pictures.
inline void describeEffect(OfxImageEffectHandle effect, const char* label,
                           std::initializer_list<const char*> contexts) {
    OfxPropertySetHandle set = propertiesOf(effect);
    props->propSetString(set, ofx::prop::Label, 0, label);
    props->propSetString(set, ofx::prop::PluginGrouping, 0, "Tests");
    props->propSetStringN(set, ofx::prop::SupportedContexts, static_cast<int>(contexts.size()), contexts.begin());
    const char* const depths[] = {ofx::depth::Byte, ofx::depth::Short, ofx::depth::Float};
    props->propSetStringN(set, ofx::prop::SupportedPixelDepths, 3, depths);
    props->propSetInt(set, ofx::prop::SupportsTiles, 0, 0);
}

inline void defineClip(OfxImageEffectHandle effect, const char* name, bool optional = false) {
    OfxPropertySetHandle set = nullptr;
    effects->clipDefine(effect, name, &set);
    props->propSetString(set, ofx::prop::SupportedComponents, 0, ofx::component::RGBA);
    if (optional) props->propSetInt(set, ofx::prop::ClipOptional, 0, 1);
}

inline OfxPropertySetHandle define(OfxImageEffectHandle effect, const char* kind, const char* name) {
    OfxParamSetHandle all = nullptr;
    OfxPropertySetHandle set = nullptr;
    effects->getParamSet(effect, &all);
    params->paramDefine(all, kind, name, &set);
    return set;
}

inline OfxPropertySetHandle defineDouble(OfxImageEffectHandle effect, const char* name, double initial, double least,
                                         double most) {
    OfxPropertySetHandle set = define(effect, ofx::param_type::Double, name);
    props->propSetDouble(set, ofx::prop::ParamDefault, 0, initial);
    props->propSetDouble(set, ofx::prop::ParamMin, 0, least);
    props->propSetDouble(set, ofx::prop::ParamMax, 0, most);
    return set;
}

inline OfxParamHandle param(OfxImageEffectHandle effect, const char* name) {
    OfxParamSetHandle all = nullptr;
    OfxParamHandle handle = nullptr;
    effects->getParamSet(effect, &all);
    params->paramGetHandle(all, name, &handle, nullptr);
    return handle;
}

// ---- Pixels -----------------------------------------------------------------------------------------------------

// An image of four channels at any depth, held while it lives. Without pixels where the host has none.
class HostImage {
  public:
    HostImage(OfxImageEffectHandle effect, const char* clipName, double time) {
        OfxImageClipHandle clip = nullptr;
        if (effects->clipGetHandle(effect, clipName, &clip, nullptr) != ofx::status::OK || !clip) return;
        if (effects->clipGetImage(clip, time, nullptr, &m_set) != ofx::status::OK) {
            m_set = nullptr;
            return;
        }
        void* pointer = nullptr;
        char* depth = nullptr;
        const bool told = props->propGetPointer(m_set, ofx::prop::ImageData, 0, &pointer) == ofx::status::OK &&
                          props->propGetIntN(m_set, ofx::prop::ImageBounds, 4, bounds) == ofx::status::OK &&
                          props->propGetInt(m_set, ofx::prop::ImageRowBytes, 0, &rowBytes) == ofx::status::OK &&
                          props->propGetString(m_set, ofx::prop::PixelDepth, 0, &depth) == ofx::status::OK;
        if (!told || !depth) return;
        bytes = is(depth, ofx::depth::Byte) ? 1 : is(depth, ofx::depth::Short) ? 2 : 4;
        data = static_cast<std::byte*>(pointer);
    }
    ~HostImage() {
        if (m_set) effects->clipReleaseImage(m_set);
    }
    HostImage(const HostImage&) = delete;
    HostImage& operator=(const HostImage&) = delete;

    void keep() { m_set = nullptr; }  // never to be released
    explicit operator bool() const { return m_set != nullptr; }
    int width() const { return bounds[2] - bounds[0]; }
    int height() const { return bounds[3] - bounds[1]; }
    bool holds(int x, int y) const {
        return data && x >= bounds[0] && x < bounds[2] && y >= bounds[1] && y < bounds[3];
    }
    std::byte* at(int x, int y) const {
        return data + std::ptrdiff_t(y - bounds[1]) * rowBytes + std::ptrdiff_t(x - bounds[0]) * 4 * bytes;
    }
    float get(int x, int y, int c) const {  // 0 outside
        if (!holds(x, y)) return 0.0f;
        const std::byte* sample = at(x, y) + c * bytes;
        if (bytes == 1) return static_cast<float>(*sample) / 255.0f;
        std::uint16_t level;
        float value;
        if (bytes == 2) return std::memcpy(&level, sample, 2), static_cast<float>(level) / 65535.0f;
        return std::memcpy(&value, sample, 4), value;
    }
    void set(int x, int y, int c, float value) const {  // whole levels to the nearest
        std::byte* sample = at(x, y) + c * bytes;
        const float limited = value > 0.0f ? std::min(value, 1.0f) : 0.0f;
        const auto level8 = static_cast<std::uint8_t>(limited * 255.0f + 0.5f);
        const auto level16 = static_cast<std::uint16_t>(limited * 65535.0f + 0.5f);
        if (bytes == 1) *sample = std::byte{level8};
        if (bytes == 2) std::memcpy(sample, &level16, 2);
        if (bytes == 4) std::memcpy(sample, &value, 4);
    }
    // Gives every sample of the rows [first, last) the value of `sample(x, y, c)`.
    template <class Sample>
    void fill(int first, int last, Sample sample) const {
        for (int y = first; y < last; ++y)
            for (int x = bounds[0]; x < bounds[2]; ++x)
                for (int c = 0; c < 4; ++c) set(x, y, c, sample(x, y, c));
    }

    std::byte* data = nullptr;
    int bounds[4] = {}, rowBytes = 0, bytes = 4;

  private:
    OfxPropertySetHandle m_set = nullptr;
};

}  // namespace testplugin
