// A host with the bundle in it, one effect described, and instances of the effect with pictures on their clips.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/check/pictures.h"
#include "host/check/trial.h"
#include "host/core/bundle.h"
#include "host/core/host.h"

namespace bundlecheck {

// Contexts as cases prefer them: filter, general, generator, then others.
std::vector<std::string> inOrderOfUse(std::vector<std::string> contexts);

// Which of the host's diagnostics are findings.
enum class Judgement {
    Strict,   // errors, and warnings as Robustness
    Lenient,  // the case disturbs the bundle, which may well stumble: only what it must never do
};

struct StageSettings {
    ofxhost::HostConfig host;
    ofxhost::ProjectSettings project;
    std::string context;  // empty: the first of the facts'
    ofxhost::HostHooks hooks;
    Judgement judgement = Judgement::Strict;

    StageSettings();  // the generic host with four threads, and a small project
};

struct Rendering {
    OfxStatus status = ofx::status::Failed;
    ofxhost::ImagePtr image;

    bool sameAs(const Rendering& other) const { return image->checksum() == other.image->checksum(); }
    // "sample 2 at 31, 7 is 0.25 and not 0.5"
    std::string differenceFrom(const Rendering& other) const;
};

class Stage;

// An instance, created, with its pictures.
class Actor {
  public:
    explicit Actor(Stage& stage);
    ~Actor();
    Actor(const Actor&) = delete;
    Actor& operator=(const Actor&) = delete;

    bool created() const { return m_created; }
    Stage& stage() { return m_stage; }
    ofxhost::EffectInstance& instance() { return *m_instance; }

    // All inputs, or without those that may be missing. `layout` gives depth, rows and guards; empty bounds become the
    // project's at its render scale.
    void connect(const ofxhost::ImageLayout& layout, Content content = Content::Natural, bool optionalOnes = true);
    void connectAlone(ofxhost::Clip& clip, const ofxhost::ImageLayout& layout, Content content);
    void keepOffDevice() { m_onDevice = false; }  // renders in main memory, whatever host and effect can
    void setOutputLayout(const ofxhost::ImageLayout& layout) { m_output = layout; }
    // With the project's bounds and scale, and a depth that the effect works at.
    ofxhost::ImageLayout completed(ofxhost::ImageLayout layout) const;

    // Renders, counts it and checks what holds of any render: the status, released images, finite samples.
    // Throws GivenUp where it takes too long.
    Rendering render(double time, float background = 0.0f);

  private:
    Stage& m_stage;
    std::unique_ptr<ofxhost::EffectInstance> m_instance;
    bool m_created = false, m_ordinary = true, m_onDevice = true;
    std::optional<ofxhost::ImageLayout> m_output;
    ofxhost::ImageLayout m_input;
};

class Stage {
  public:
    // Loads and describes; ready() tells whether the effect let itself be described, which is a finding if not and the
    // case is strict.
    Stage(Trial& trial, StageSettings settings = {});
    ~Stage();  // unloads and judges
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    bool ready() const { return m_descriptor != nullptr; }
    Trial& trial() { return m_trial; }
    const StageSettings& settings() const { return m_settings; }
    ofxhost::Host& host() { return *m_host; }
    ofxhost::Bundle& bundle() { return *m_bundle; }
    ofxhost::Plugin& plugin() { return *m_plugin; }
    ofxhost::EffectDescriptor& descriptor() { return *m_descriptor; }
    std::filesystem::path library() const;
    void arm(const ofxhost::HostHooks& hooks) { m_trial.arm(*m_host, hooks); }
    void judge(Judgement judgement) { m_settings.judgement = judgement; }
    // Made, and created with natural pictures on all inputs in floats unless it is to be bare.
    std::unique_ptr<Actor> actor();
    std::unique_ptr<Actor> bareActor();

  private:
    void reportDiagnostics();

    Trial& m_trial;
    StageSettings m_settings;
    std::unique_ptr<ofxhost::Host> m_host;
    std::unique_ptr<ofxhost::Bundle> m_bundle;
    ofxhost::Plugin* m_plugin = nullptr;
    std::unique_ptr<ofxhost::EffectDescriptor> m_descriptor;
};

}  // namespace bundlecheck
