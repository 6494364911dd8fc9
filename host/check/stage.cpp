#include "host/check/stage.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <mutex>
#include <set>
#include <string_view>

#include "host/check/child_process.h"

namespace bundlecheck {

namespace action = ofx::action;
using ofxhost::Guard;
using ofxhost::Image;
using ofxhost::ImageLayout;
using ofxhost::ImagePtr;
using ofxhost::Severity;

std::vector<std::string> inOrderOfUse(std::vector<std::string> contexts) {
    const auto rank = [](const std::string& context) {
        return context == ofx::context::Filter      ? 0
               : context == ofx::context::General   ? 1
               : context == ofx::context::Generator ? 2
                                                    : 3;
    };
    std::stable_sort(contexts.begin(), contexts.end(), [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
    return contexts;
}

StageSettings::StageSettings() {
    host.threads = 4;
    host.checkSources = true;
    project.width = 64, project.height = 48;
    project.firstFrame = 0.0, project.lastFrame = 49.0;
}

std::string Rendering::differenceFrom(const Rendering& other) const {
    const ofxhost::ImageLayout& layout = image->layout();
    const std::vector<float> a = image->toFloats(), b = other.image->toFloats();
    if (a.size() != b.size()) return "the sizes differ";
    std::size_t count = 0, first = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i] == b[i] || (std::isnan(a[i]) && std::isnan(b[i]))) continue;
        if (count++ == 0) first = i;
    }
    if (count == 0) return "the samples differ in sign or kind only";
    const auto components = static_cast<std::size_t>(layout.components),
               width = static_cast<std::size_t>(layout.width());
    const auto text = [](float value) { return ofxhost::toText(ofxhost::PropertyValue(static_cast<double>(value))); };
    return std::to_string(count) + " of " + std::to_string(a.size()) + " samples differ, first channel " +
           std::to_string(first % components) + " at " + std::to_string(first / components % width) + ", " +
           std::to_string(first / components / width) + ": " + text(a[first]) + " and " + text(b[first]);
}

// ---- Actor ------------------------------------------------------------------------------------------------------

namespace {

// A picture between guard pages is read-only, and known to the fault handler by its name.
ImagePtr watched(ImagePtr image, const std::string& name, bool readOnly) {
    if (image->layout().guard == Guard::Pattern) return image;
    if (readOnly) image->makeReadOnly();
    const void* start = image->firstByte();
    watchMemory(start, image->pixelMemory(), name.c_str());
    return {image.get(), [image, start](Image*) mutable {
                forgetMemory(start);
                image.reset();
            }};
}

}  // namespace

Actor::Actor(Stage& stage) : m_stage(stage) {
    stage.trial().step("create an instance");
    m_instance = std::make_unique<ofxhost::EffectInstance>(stage.descriptor(), stage.settings().project);
    const OfxStatus status = m_instance->create();
    m_created = status == ofx::status::OK || status == ofx::status::ReplyDefault;
    if (stage.settings().judgement == Judgement::Strict)
        stage.trial().require(m_created, Interface, "an instance is refused with status " + std::to_string(status));
}

Actor::~Actor() {
    m_stage.trial().step("destroy the instance");
    m_instance.reset();
}

ImageLayout Actor::completed(ImageLayout layout) const {
    const ofxhost::ProjectSettings& project = m_instance->project();
    if (layout.width() == 0 && layout.height() == 0) {
        layout.bounds.x2 = layout.bounds.x1 + std::max(1, static_cast<int>(project.width * project.renderScale.x));
        layout.bounds.y2 = layout.bounds.y1 + std::max(1, static_cast<int>(project.height * project.renderScale.y));
    }
    layout.pixelAspect = project.pixelAspect;
    layout.renderScale = project.renderScale;
    using ofxhost::Depth;
    const ofxhost::EffectDescriptor& effect = m_stage.descriptor();
    for (const Depth depth : {Depth::Float, Depth::Short, Depth::Byte})
        if (!effect.supports(layout.depth) && effect.supports(depth)) layout.depth = depth;
    return layout;
}

void Actor::connect(const ImageLayout& layout, Content content, bool optionalOnes) {
    m_input = layout;
    m_ordinary = ordinary(content);
    for (ofxhost::Clip* clip : m_instance->inputs()) {
        if (optionalOnes || !clip->optional()) connectAlone(*clip, layout, content);
    }
}

void Actor::connectAlone(ofxhost::Clip& clip, const ImageLayout& layout, Content content) {
    const ofxhost::ProjectSettings& project = m_instance->project();
    m_ordinary = m_ordinary && ordinary(content);
    // Pictures of the frames asked for lately, so that the same one is not made anew for each of several clips.
    struct Made {
        std::mutex mutex;
        std::map<double, ImagePtr> pictures;
    };
    const auto made = std::make_shared<Made>();
    const ImageLayout whole = completed(layout);
    const std::string name = clip.name();
    // The first clip's picture is the same whatever it is called, since that depends on host and context.
    const std::uint64_t seed = hashOf(&clip == m_instance->inputs().front() ? ofx::clip::Source : name);
    const auto source = [=](double time) -> ImagePtr {
        if (!std::isfinite(time)) return nullptr;
        const std::lock_guard lock(made->mutex);
        ImagePtr& picture = made->pictures[time];
        if (!picture) picture = watched(makePicture(whole, content, time, seed), name, true);
        return picture;
    };
    clip.connect(source, {.depth = whole.depth,
                          .components = whole.components,
                          .pixelAspect = project.pixelAspect,
                          .frameRate = project.frameRate,
                          .firstFrame = project.firstFrame,
                          .lastFrame = project.lastFrame});
}

Rendering Actor::render(double time, float background) {
    Trial& trial = m_stage.trial();
    const ImageLayout layout = m_output ? completed(*m_output) : completed(ImageLayout{.depth = m_input.depth});
    Rendering rendering;
    rendering.image = watched(std::make_shared<Image>(layout), ofx::clip::Output, false);
    if (background != 0.0f)
        rendering.image->fromFloats(std::vector<float>(rendering.image->toFloats().size(), background));
    ofxhost::RenderRequest request;
    request.time = time;
    request.renderScale = m_instance->project().renderScale;
    request.onDevice = m_onDevice;
    const auto stopAt = trial.beginRender("frame " + ofxhost::toText(ofxhost::PropertyValue(time)));
    request.stopAt = stopAt;
    rendering.status = m_instance->render(request, rendering.image);
    trial.endRender(stopAt, m_instance->toldToStop());
    if (m_stage.settings().judgement == Judgement::Lenient) return rendering;
    trial.require(rendering.status == ofx::status::OK, Interface,
                  "a render answers status " + std::to_string(rendering.status));
    if (m_ordinary && background == 0.0f)
        trial.require(allFinite(*rendering.image), Robustness, "a rendered sample is no finite number");
    return rendering;
}

// ---- Stage ------------------------------------------------------------------------------------------------------

Stage::Stage(Trial& trial, StageSettings settings) : m_trial(trial), m_settings(std::move(settings)) {
    m_host = std::make_unique<ofxhost::Host>(m_settings.host);
    arm(m_settings.hooks);
    trial.step("load the library");
    m_bundle = std::make_unique<ofxhost::Bundle>(*m_host, trial.setup().bundle);
    m_plugin = m_bundle->find(trial.id().effect);
    if (!m_plugin) throw ofxhost::Error("the bundle has no effect " + trial.id().effect);
    std::string context = m_settings.context;
    if (context.empty() && !trial.facts().contexts.empty()) context = trial.facts().contexts.front();
    trial.step("describe in " + context);
    OfxStatus status = ofx::status::OK;
    m_descriptor = m_plugin->describeInContext(context, &status);
    if (m_settings.judgement == Judgement::Strict)
        trial.require(ready(), Interface, "describing is refused with status " + std::to_string(status));
}

Stage::~Stage() {
    m_trial.step("unload");
    m_descriptor.reset();
    m_bundle.reset();
    m_host->reportLeaks();
    reportDiagnostics();
}

std::filesystem::path Stage::library() const { return ofxhost::Bundle::libraryOf(m_trial.setup().bundle); }

std::unique_ptr<Actor> Stage::bareActor() { return std::make_unique<Actor>(*this); }

std::unique_ptr<Actor> Stage::actor() {
    auto made = bareActor();
    made->connect({});
    return made;
}

namespace {

// What no disturbance excuses: images, memory and locks kept, memory written that is not its own, exceptions let out.
bool neverExcused(const ofxhost::Diagnostic& diagnostic) {
    static const std::set<std::string_view> calls = {"clipReleaseImage", "memoryFree", "imageMemoryFree",
                                                     "mutexDestroy", "mutexUnLock"};
    if (calls.contains(diagnostic.call)) return true;
    const bool ofAction = diagnostic.call.starts_with("Ofx");
    return ofAction && diagnostic.call != action::Describe && diagnostic.call != action::DescribeInContext;
}

}  // namespace

void Stage::reportDiagnostics() {
    std::set<std::string> told;  // each text once
    for (const ofxhost::Diagnostic& diagnostic : m_host->diagnostics().atLeast(Severity::Probe)) {
        if (diagnostic.severity == Severity::Probe) {
            const std::string text = diagnostic.call + "(" + diagnostic.subject + "): a property that hosts may lack";
            if (told.insert(text).second) m_trial.note(text);
            continue;
        }
        const bool error = diagnostic.severity == Severity::Error;
        if (m_settings.judgement == Judgement::Lenient && !(error && neverExcused(diagnostic))) continue;
        const std::string text = ofxhost::toText(diagnostic);
        if (told.insert(text).second) m_trial.finding(error ? Interface : Robustness, text);
    }
}

}  // namespace bundlecheck
