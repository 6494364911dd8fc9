// A host that has its pictures in OpenGL textures, which are those of a FakeRuntime.
#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>

#include "Library2/Actions.h"
#include "Library2/BundleState.h"
#include "gpulib/fake_runtime.h"
#include "host/core/handles.h"
#include "ofx/ofx_names.h"
#include "support/recording_host.h"

namespace support {

// One at a time, with a fresh framework. Effects of the test program render in textures while `in_textures`.
class OpenGlHost : public RecordingHost {
  public:
    OpenGlHost(FakeRuntime& device, const std::vector<OfxPlugin*>& plugins, bool cuda_too = false)
        : RecordingHost(withSources(), plugins), m_device(device) {
        s_host = this;
        bundleState() = {};
        say(ofx::prop::OpenGLRenderSupported, "true");
        say(ofx::prop::CudaRenderSupported, cuda_too ? "true" : "false");
        m_fetchSuite = host().record()->fetchSuite;
        host().record()->fetchSuite = fetchSuite;
    }
    ~OpenGlHost() { s_host = nullptr; }

    bool in_textures = true;
    int loaded = 0, freed = 0;
    std::function<OfxStatus(ofxhost::Clip&)> refuse;             // answers instead of loading, where it is not 0
    std::function<void(FakeRuntime::Texture&)> spoil;            // what was loaded
    std::function<void(ofxhost::PropertySet& texture)> mislead;  // about it

    // Effects as a bundle has them.
    template <class EffectClass>
    static OfxPlugin* plugin() {
        static const std::string identifier = effectIdentifier(EffectClass::traits);
        static OfxPlugin record{ofx::ImageEffectPluginApi,
                                ofx::ImageEffectPluginApiVersion,
                                identifier.c_str(),
                                1,
                                0,
                                [](OfxHost* host) { bundleState().host = host; },
                                mainEntry<EffectClass>};
        return &record;
    }

  private:
    struct Loaded {
        unsigned name;
        bool output;
        std::byte* pixels;
        std::ptrdiff_t stride;
        std::size_t row_bytes, rows;
        FakeRuntime::Texture as_given;
    };
    static constexpr int MARGIN = 3;  // textures may be larger than the picture

    static ofxhost::HostConfig withSources() {
        ofxhost::HostConfig config = ofxhost::hostConfig("generic");
        config.threads = 2;
        config.checkSources = true;
        return config;
    }
    void say(const char* rendering, const char* supported) {
        ofxhost::PropertySet& set = host().properties();
        if (!set.has(rendering)) set.define(rendering, ofxhost::PropertyType::String, 1, false);
        set.setString(rendering, supported);
    }
    static ofxhost::PropertySet& propertySet(const void* handle) {
        return *static_cast<ofxhost::PropertySet*>(findHandle(handle, ofxhost::HandleKind::PropertySet).object);
    }

    template <class EffectClass>
    static OfxStatus mainEntry(const char* action, const void* handle, OfxPropertySetHandle in,
                               OfxPropertySetHandle out) {
        static constexpr EffectDefinition definition = defineEffect<EffectClass>();
        if (std::string_view(action) == ofx::action::Render)
            propertySet(in).setInt(ofx::prop::OpenGLEnabled, s_host->in_textures);
        return effectMain({&definition, nullptr}, action, handle, in, out);
    }

    static const void* fetchSuite(OfxPropertySetHandle host, const char* name, int version) {
        static constexpr OfxImageEffectOpenGLRenderSuiteV1 suite = {load, free, [] { return ofx::status::OK; }};
        return std::string_view(name) == ofx::suite::OpenGLRender ? &suite : s_host->m_fetchSuite(host, name, version);
    }

    static OfxStatus load(OfxImageClipHandle handle, OfxTime time, const char* format, const OfxRectD* region,
                          OfxPropertySetHandle* result) {
        EXPECT_TRUE(s_host->in_textures && !format && !region);
        auto& clip = *static_cast<ofxhost::Clip*>(findHandle(handle, ofxhost::HandleKind::Clip).object);
        const OfxStatus refused = s_host->refuse ? s_host->refuse(clip) : ofx::status::OK;
        const OfxStatus status = refused ? refused : clip.effect().getImage(clip, time, result);
        if (status == ofx::status::OK) s_host->makeTexture(*result, clip.isOutput());
        return status;
    }

    void makeTexture(OfxPropertySetHandle handle, bool output) {
        using namespace ofx::prop;
        ofxhost::PropertySet& set = propertySet(handle);
        const int width = set.getInt(ImageBounds, 2) - set.getInt(ImageBounds, 0),
                  height = set.getInt(ImageBounds, 3) - set.getInt(ImageBounds, 1);
        const std::string depth = set.getString(PixelDepth);
        const int bits = depth == ofx::depth::Byte ? 8 : depth == ofx::depth::Short ? 16 : 32;
        const auto bytes = [bits](int pixels) { return static_cast<std::size_t>(pixels * bits / 2); };
        FakeRuntime::Texture texture;
        texture.layout = {width + MARGIN, height + MARGIN, bits, bits == 32};
        texture.texels.resize(bytes((width + MARGIN) * (height + MARGIN)), 0x5a);
        Loaded loaded_now{++m_name,
                          output,
                          static_cast<std::byte*>(set.getPointer(ImageData)),
                          set.getInt(ImageRowBytes),
                          bytes(width),
                          static_cast<std::size_t>(height),
                          {}};
        eachRow(loaded_now, texture,
                [&](std::byte* pixels, unsigned char* texels) { std::memcpy(texels, pixels, loaded_now.row_bytes); });
        loaded_now.as_given = texture;
        set.remove(ImageData);
        set.remove(ImageRowBytes);
        for (const auto& [property, value] : {std::pair{OpenGLTextureIndex, m_name}, {OpenGLTextureTarget, 0x0de1u}}) {
            set.define(property, ofxhost::PropertyType::Int, 1, false);
            set.setInt(property, static_cast<int>(value));
        }
        if (spoil) spoil(texture);
        if (mislead) mislead(set);
        m_device.textures[m_name] = texture;
        m_loaded.emplace(handle, loaded_now);
        ++loaded;
    }

    static OfxStatus free(OfxPropertySetHandle handle) {
        OpenGlHost& host = *s_host;
        const auto found = host.m_loaded.find(handle);
        if (found == host.m_loaded.end()) return ofx::status::ErrBadHandle;
        const Loaded& of = found->second;
        EXPECT_FALSE(host.m_device.holds_texture(of.name)) << "it is freed before CUDA has given it back";
        FakeRuntime::Texture& texture = host.m_device.textures[of.name];
        if (of.output) {
            eachRow(of, texture,
                    [&](std::byte* pixels, const unsigned char* texels) { std::memcpy(pixels, texels, of.row_bytes); });
        } else if (!host.spoil) {
            EXPECT_EQ(texture.texels, of.as_given.texels) << "a source was written";
        }
        host.m_device.textures.erase(of.name);
        host.m_loaded.erase(found);
        ++host.freed;
        return ofxhost::EffectInstance::holderOf(propertySet(handle))->releaseImage(handle);
    }

    template <class Body>
    static void eachRow(const Loaded& of, FakeRuntime::Texture& texture, Body&& body) {
        for (std::size_t y = 0; y < of.rows; ++y)
            body(of.pixels + static_cast<std::ptrdiff_t>(y) * of.stride,
                 texture.texels.data() + y * texture.row_bytes());
    }

    static inline OpenGlHost* s_host = nullptr;
    FakeRuntime& m_device;
    const void* (*m_fetchSuite)(OfxPropertySetHandle, const char*, int) = nullptr;
    std::map<OfxPropertySetHandle, Loaded> m_loaded;
    unsigned m_name = 0;
};

}  // namespace support
