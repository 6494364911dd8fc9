// The fake host of the effect tests: a strict OFX host that records every call.
//
//   RecordingHost host("nuke");
//   TestEffect& darken = host.effect("Q_Darken");
//   darken.connect("Input", gradientImage(layoutOf(64, 48, Depth::Byte)));
//   darken.set("Width", 5.0);
//   std::vector<float> picture = darken.render(3.0);
//   EXPECT_EQ(host.faults(), "");
//
// A bundle learns its host once, at its first describe, so every RecordingHost loads a copy of the library of its own:
// several identities live in one test process without knowing of each other.
#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/core/ofxhost.h"
#include "support/bundle_copy.h"
#include "support/test_images.h"

namespace support {

using ofxhost::EffectDescriptor;
using ofxhost::EffectInstance;
using ofxhost::HostConfig;
using ofxhost::HostHooks;
using ofxhost::ParamValue;
using ofxhost::ProjectSettings;
using ofxhost::Severity;

// One instance of an effect, created, with what a test does to it. Names that the effect does not have throw.
class TestEffect {
  public:
    TestEffect(std::unique_ptr<EffectDescriptor> descriptor, const ProjectSettings& project);

    EffectDescriptor& descriptor() { return *m_descriptor; }
    EffectInstance& instance() { return *m_instance; }
    OfxStatus createStatus() const { return m_createStatus; }
    void destroyInstance();  // instance() is gone then

    ofxhost::Param& param(std::string_view name);
    ofxhost::Clip& clip(std::string_view name);
    ofxhost::Clip& primaryClip();  // the first input, whatever the host makes the effect call it

    // As a user: with the change actions. Text of an option chooses it in a choice parameter.
    OfxStatus set(std::string_view name, const ParamValue& value);
    OfxStatus choose(std::string_view name, std::string_view option);
    OfxStatus press(std::string_view name);
    // Without telling the plug-in.
    void setSilently(std::string_view name, const ParamValue& value);
    void setKeys(std::string_view name, std::initializer_list<std::pair<double, ParamValue>> keys);

    // A still at all times, or a picture for each time.
    void connect(std::string_view clip, ImagePtr still);
    void connect(std::string_view clip, std::function<ImagePtr(double time)> source, double first, double last,
                 Depth depth = Depth::Float);

    // The layout of output images; by default the project's size at the depth of the primary clip, at render scale.
    void setOutputLayout(const ImageLayout& layout);
    // Renders one frame and gives its samples, rows bottom to top; fails the test when the plug-in answers anything
    // but 0. The output is filled with `background` before, and kept as lastImage().
    std::vector<float> render(double time = 0.0);
    OfxStatus renderStatus(double time = 0.0);  // the same without judging
    const ImagePtr& lastImage() const { return m_lastImage; }
    ImagePtr newOutput();
    float background = 0.0f;

    int heldImages() const { return m_instance->heldImages(); }
    bool imagesBalanced() const;  // every fetched image was released by the plug-in

  private:
    std::unique_ptr<EffectDescriptor> m_descriptor;
    std::unique_ptr<EffectInstance> m_instance;
    OfxStatus m_createStatus = ofx::status::OK;
    std::optional<ImageLayout> m_outputLayout;
    ImagePtr m_lastImage;
};

class RecordingHost {
  public:
    // The Quillon bundle in a host known by its word, or of that name, with two threads.
    explicit RecordingHost(std::string_view hostWord = "generic");
    explicit RecordingHost(const HostConfig& config);
    // Plug-ins of the test program itself.
    RecordingHost(const HostConfig& config, const std::vector<OfxPlugin*>& plugins);
    ~RecordingHost();

    static bool bundleAvailable();  // false where the bundle is not part of the build

    ofxhost::Host& host() { return *m_host; }
    ofxhost::Bundle& bundle() { return *m_bundle; }
    ProjectSettings project;  // of the effects made from now on; 64 x 48 at first

    // Null when describing is refused; throws when there is no such plug-in.
    std::unique_ptr<EffectDescriptor> describe(std::string_view name, const char* context = ofx::context::Filter);
    // Describes and creates an instance, owned by this host and destroyed with it.
    TestEffect& effect(std::string_view name, const char* context = ofx::context::Filter);

    // Hooks. Each replaces all hooks; counts begin with the call.
    void setHooks(const HostHooks& hooks) { m_host->setHooks(hooks); }
    void clearHooks() { m_host->setHooks({}); }
    void failCall(std::string name, int nth, OfxStatus status);  // the nth call of that suite function
    void abortAt(int poll);

    // The record: all suite calls and actions since the last clearRecord().
    std::vector<ofxhost::RecordedCall> calls() const { return m_host->recordedCalls(); }
    int count(std::string_view name) const { return m_host->countCalls(name); }
    std::vector<std::string> callTexts(std::string_view name) const;  // arguments of the calls of that name
    std::vector<std::string> actions() const;                         // texts of the actions, in order
    void clearRecord() { m_host->clearRecord(); }

    // Everything at or above a severity, one line each; empty when there is none.
    std::string faults(Severity least = Severity::Probe) const;  // our own bundle asks for nothing in vain

  private:
    void loadPrivateCopy();

    std::unique_ptr<ofxhost::Host> m_host;
    std::unique_ptr<BundleCopy> m_copy;
    std::unique_ptr<ofxhost::Bundle> m_bundle;
    std::vector<std::unique_ptr<TestEffect>> m_effects;
};

}  // namespace support
