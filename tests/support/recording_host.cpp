#include "support/recording_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include "ofx/ofx_names.h"
#include "support/program_folder.h"

namespace support {

namespace {

template <class Object>
Object& require(Object* object, std::string_view name) {
    if (!object) throw std::invalid_argument("the effect has no " + std::string(name));
    return *object;
}

HostConfig testConfig(std::string_view hostWord) {
    HostConfig config = ofxhost::hostConfig(hostWord);
    config.threads = 2;
    config.checkSources = true;
    return config;
}

}  // namespace

// ---- TestEffect -----------------------------------------------------------------------------------------------

TestEffect::TestEffect(std::unique_ptr<EffectDescriptor> descriptor, const ProjectSettings& project)
    : m_descriptor(std::move(descriptor)) {
    m_instance = std::make_unique<EffectInstance>(*m_descriptor, project);
    m_createStatus = m_instance->create();
}

void TestEffect::destroyInstance() { m_instance.reset(); }

ofxhost::Param& TestEffect::param(std::string_view name) { return require(m_instance->findParam(name), name); }
ofxhost::Clip& TestEffect::clip(std::string_view name) { return require(m_instance->findClip(name), name); }

ofxhost::Clip& TestEffect::primaryClip() {
    const auto inputs = m_instance->inputs();
    return require(inputs.empty() ? nullptr : inputs.front(), "input clip");
}

OfxStatus TestEffect::set(std::string_view name, const ParamValue& value) {
    return m_instance->setParam(param(name), value);
}

OfxStatus TestEffect::choose(std::string_view name, std::string_view option) {
    const std::vector<std::string> options = param(name).choiceOptions();
    const auto found = std::find(options.begin(), options.end(), option);
    if (found == options.end()) throw std::invalid_argument("no option " + std::string(option));
    return set(name, static_cast<double>(found - options.begin()));
}

OfxStatus TestEffect::press(std::string_view name) { return m_instance->pressButton(param(name)); }

void TestEffect::setSilently(std::string_view name, const ParamValue& value) { param(name).setValue(value); }

void TestEffect::setKeys(std::string_view name, std::initializer_list<std::pair<double, ParamValue>> keys) {
    for (const auto& [time, value] : keys) param(name).setKey(time, value);
}

void TestEffect::connect(std::string_view name, ImagePtr still) {
    const ProjectSettings& project = m_instance->project();
    clip(name).connect(std::move(still), project.firstFrame, project.lastFrame);
}

void TestEffect::connect(std::string_view name, std::function<ImagePtr(double)> source, double first, double last,
                         Depth depth) {
    clip(name).connect(std::move(source), {.depth = depth,
                                           .pixelAspect = m_instance->project().pixelAspect,
                                           .frameRate = m_instance->project().frameRate,
                                           .firstFrame = first,
                                           .lastFrame = last});
}

void TestEffect::setOutputLayout(const ImageLayout& layout) { m_outputLayout = layout; }

ImagePtr TestEffect::newOutput() {
    ImageLayout layout;
    if (m_outputLayout) {
        layout = *m_outputLayout;
    } else {
        const ProjectSettings& project = m_instance->project();
        layout.bounds = {0, 0, static_cast<int>(std::floor(project.width * project.renderScale.x)),
                         static_cast<int>(std::floor(project.height * project.renderScale.y))};
        layout.pixelAspect = project.pixelAspect;
        layout.renderScale = project.renderScale;
        const auto inputs = m_instance->inputs();
        const std::string depth = inputs.empty() ? "" : inputs.front()->properties().getString(ofx::prop::PixelDepth);
        for (const Depth candidate : {Depth::Byte, Depth::Short}) {
            if (depth == ofxhost::depthText(candidate)) layout.depth = candidate;
        }
    }
    auto image = std::make_shared<Image>(layout);
    if (background != 0.0f) image->fromFloats(std::vector<float>(image->toFloats().size(), background));
    return image;
}

OfxStatus TestEffect::renderStatus(double time) {
    m_lastImage = newOutput();
    ofxhost::RenderRequest request;
    request.time = time;
    request.renderScale = m_instance->project().renderScale;
    return m_instance->render(request, m_lastImage);
}

std::vector<float> TestEffect::render(double time) {
    EXPECT_EQ(renderStatus(time), ofx::status::OK) << "rendering frame " << time;
    return m_lastImage->toFloats();
}

bool TestEffect::imagesBalanced() const {
    return m_instance->heldImages() == 0 && m_instance->fetchedImages() == m_instance->releasedImages();
}

// ---- RecordingHost --------------------------------------------------------------------------------------------

RecordingHost::RecordingHost(std::string_view hostWord) : RecordingHost(testConfig(hostWord)) {}

RecordingHost::RecordingHost(const HostConfig& config) : m_host(std::make_unique<ofxhost::Host>(config)) {
    project.width = 64, project.height = 48;
    m_host->setRecording(true);
    ::setenv("JAWS_DISABLE", "yes", 0);  // Q_Jaws would wait a minute for its service
    loadPrivateCopy();
}

RecordingHost::RecordingHost(const HostConfig& config, const std::vector<OfxPlugin*>& plugins)
    : m_host(std::make_unique<ofxhost::Host>(config)) {
    project.width = 64, project.height = 48;
    m_host->setRecording(true);
    m_bundle = std::make_unique<ofxhost::Bundle>(*m_host, plugins);
}

RecordingHost::~RecordingHost() {
    m_effects.clear();
    m_bundle.reset();
}

#ifdef QUILLON_BUNDLE_PATH

bool RecordingHost::bundleAvailable() { return true; }

void RecordingHost::loadPrivateCopy() {
    m_copy = std::make_unique<BundleCopy>(beside_program(QUILLON_BUNDLE_PATH));
    m_bundle = std::make_unique<ofxhost::Bundle>(*m_host, m_copy->library());
}

#else

bool RecordingHost::bundleAvailable() { return false; }
void RecordingHost::loadPrivateCopy() { throw std::runtime_error("this build has no bundle"); }

#endif

std::unique_ptr<EffectDescriptor> RecordingHost::describe(std::string_view name, const char* context) {
    return require(m_bundle->find(name), name).describeInContext(context);
}

TestEffect& RecordingHost::effect(std::string_view name, const char* context) {
    auto descriptor = describe(name, context);
    if (!descriptor) throw std::runtime_error("the effect refuses to be described: " + std::string(name));
    m_effects.push_back(std::make_unique<TestEffect>(std::move(descriptor), project));
    return *m_effects.back();
}

void RecordingHost::failCall(std::string name, int nth, OfxStatus status) {
    HostHooks hooks;
    hooks.beforeCall = [name = std::move(name), nth, status,
                        calls = std::make_shared<std::atomic<int>>(0)](const ofxhost::SuiteCall& call) {
        const bool hit = call.name == name && ++*calls == nth;
        return hit ? std::optional<OfxStatus>(status) : std::nullopt;
    };
    setHooks(hooks);
}

void RecordingHost::abortAt(int poll) {
    HostHooks hooks;
    hooks.abortAtPoll = poll;
    setHooks(hooks);
}

std::vector<std::string> RecordingHost::callTexts(std::string_view name) const {
    std::vector<std::string> texts;
    for (const auto& call : calls()) {
        if (call.name == name) texts.push_back(call.arguments);
    }
    return texts;
}

std::vector<std::string> RecordingHost::actions() const {
    std::vector<std::string> texts;
    for (const std::string& text : callTexts("action")) texts.push_back(text.substr(0, text.find(',')));
    return texts;
}

std::string RecordingHost::faults(Severity least) const {
    std::string lines;
    for (const auto& entry : m_host->diagnostics().atLeast(least)) lines += ofxhost::toText(entry) + "\n";
    return lines;
}

}  // namespace support
