#include "host/cli/render_plan.h"

#include <algorithm>
#include <filesystem>

#include "host/cli/failure.h"
#include "host/cli/frame_list.h"
#include "host/cli/param_text.h"
#include "host/cli/text.h"
#include "ofx/ofx_names.h"

namespace quillon {

namespace fs = std::filesystem;

namespace {

constexpr PixelSize DefaultSize = {1920, 1080};
constexpr int MaxSide = 32768;

std::string chooseContext(const std::vector<std::string>& contexts, const RenderOptions& options) {
    if (!options.context.empty()) return contextText(options.context);
    const auto has = [&](const char* context) {
        return std::find(contexts.begin(), contexts.end(), context) != contexts.end();
    };
    if (options.inputs.empty() && has(ofx::context::Generator)) return ofx::context::Generator;
    for (const char* context : {ofx::context::General, ofx::context::Filter})
        if (has(context)) return context;
    throw UsageError("the effect has none of the contexts general, filter and generator");
}

std::vector<std::string> inputClips(const ofxhost::EffectDescriptor& descriptor) {
    std::vector<std::string> names;
    for (const auto& clip : descriptor.clips())
        if (clip->name() != ofx::clip::Output) names.push_back(clip->name());
    return names;
}

void assignInputs(const RenderOptions& options, RenderPlan& plan) {
    const std::vector<std::string> clips = inputClips(*plan.descriptor);
    std::vector<std::string> unnamed;
    for (const std::string& text : options.inputs) {
        const InputText input = parseInput(text, clips);
        if (input.clip.empty())
            unnamed.push_back(input.file);
        else if (!plan.inputs.emplace(input.clip, std::make_shared<InputSource>(input.file)).second)
            throw UsageError("the clip " + input.clip + " is given twice");
    }
    auto clip = clips.begin();
    for (const std::string& file : unnamed) {
        while (clip != clips.end() && plan.inputs.contains(*clip)) ++clip;
        if (clip == clips.end())
            throw UsageError("there is no clip left for the input " + file + ": the effect has " +
                             std::to_string(clips.size()) + (clips.size() == 1 ? " input clip" : " input clips"));
        plan.inputs.emplace(*clip, std::make_shared<InputSource>(file));
    }
    for (const auto& described : plan.descriptor->clips())
        if (described->name() != ofx::clip::Output && !described->optional() &&
            !plan.inputs.contains(described->name()))
            throw UsageError("the effect needs a picture for its clip " + described->name() + ": -i " +
                             described->name() + "=FILE");
}

// The first of the effect's clips that has an input; null when none has.
const InputSource* primaryInput(const RenderPlan& plan) {
    for (const std::string& clip : inputClips(*plan.descriptor))
        if (const auto input = plan.inputs.find(clip); input != plan.inputs.end()) return input->second.get();
    return nullptr;
}

void chooseFrames(const RenderOptions& options, RenderPlan& plan) {
    const InputSource* input = primaryInput(plan);
    if (!options.frames.empty())
        plan.frames = parseFrames(options.frames);
    else if (input && input->isSequence() && plan.output.numbered())
        plan.frames = input->frames();
    else
        plan.frames = {input && input->isSequence() ? input->frames().front() : 0};
    if (plan.frames.size() > 1 && !plan.output.numbered())
        throw UsageError("several frames need a frame number in the output's name, such as out.%04d.exr");
}

void checkOutput(const RenderOptions& options, const RenderPlan& plan) {
    requireWritableFormat(options.output);
    std::error_code error;
    const fs::path folder = fs::path(options.output).parent_path();
    if (!folder.empty() && !fs::is_directory(folder, error))
        throw RunError("cannot write " + options.output + ": there is no folder " + folder.string());
    // Inputs are read again and again while frames are rendered.
    for (const int frame : plan.frames)
        for (const auto& [clip, input] : plan.inputs)
            if (fs::weakly_canonical(plan.output.path(frame), error) ==
                fs::weakly_canonical(input->fileAt(frame), error))
                throw UsageError("the output " + plan.output.path(frame).string() +
                                 " would replace the input of clip " + clip);
}

void setUpProject(const RenderOptions& options, RenderPlan& plan) {
    PixelSize size = DefaultSize;
    const InputSource* input = primaryInput(plan);
    if (!options.size.empty()) {
        size = parseSize(options.size);
    } else if (input) {
        const PictureSize picture = input->size(plan.frames.front());
        size = {picture.width, picture.height};
    }
    plan.project.width = size.width;
    plan.project.height = size.height;
    plan.project.pixelAspect = options.pixelAspect;
    plan.project.frameRate = options.frameRate;
    plan.project.renderScale = {options.renderScale, options.renderScale};
    const auto [first, last] = std::minmax_element(plan.frames.begin(), plan.frames.end());
    plan.project.firstFrame = std::min(0, *first);
    plan.project.lastFrame = *last;
    if (input && input->isSequence()) {
        const OfxRangeD range = plan.frameRange(*input);
        plan.project.firstFrame = range.min;
        plan.project.lastFrame = range.max;
    }
}

}  // namespace

OfxRangeD RenderPlan::frameRange(const InputSource& input) const {
    if (input.isSequence())
        return {static_cast<double>(input.frames().front()), static_cast<double>(input.frames().back())};
    const auto [first, last] = std::minmax_element(frames.begin(), frames.end());
    return {static_cast<double>(std::min(0, *first)), static_cast<double>(*last)};
}

InputText parseInput(const std::string& text, const std::vector<std::string>& clips) {
    const auto equals = text.find('=');
    if (equals == std::string::npos) return {{}, text};
    const std::string name = text.substr(0, equals);
    for (const std::string& clip : clips)
        if (equalIgnoringCase(clip, name)) return {clip, text.substr(equals + 1)};
    std::error_code error;
    if (fs::exists(text, error) || name.find_first_of("/.") != std::string::npos) return {{}, text};
    throw UsageError("there is no clip \"" + name + "\"" + suggestion(name, clips));
}

PixelSize parseSize(const std::string& text) {
    const auto cross = text.find_first_of("xX");
    const auto side = [&](const std::string& digits) {
        const auto number = parseInteger(digits);
        if (!number || *number < 1 || *number > MaxSide)
            throw UsageError("\"" + text + "\" is not a size; write WIDTHxHEIGHT, each from 1 to " +
                             std::to_string(MaxSide));
        return static_cast<int>(*number);
    };
    if (cross == std::string::npos) side("");
    return {side(text.substr(0, cross)), side(text.substr(cross + 1))};
}

RenderPlan makePlan(Session& session, const RenderOptions& options) {
    // What is wrong with the command line alone is said before any file is opened.
    if (!options.frames.empty()) parseFrames(options.frames);
    if (!options.size.empty()) parseSize(options.size);
    for (const std::string& param : options.params) parseAssignment(param);

    RenderPlan plan;
    plan.output = FilePattern(options.output);
    ofxhost::Plugin& plugin = session.effect(options.effect);
    const auto contexts = session.describe(plugin)->supportedContexts();
    plan.descriptor = session.describeInContext(plugin, chooseContext(contexts, options));
    plan.form = {static_cast<ofxhost::Depth>(options.depth), options.pixelAspect, options.renderScale};
    if (!plan.descriptor->supports(plan.form.depth))
        throw UsageError(plugin.name() + " does not work at depth " + std::to_string(options.depth));
    assignInputs(options, plan);
    chooseFrames(options, plan);
    checkOutput(options, plan);
    setUpProject(options, plan);
    for (const auto& [clip, input] : plan.inputs) input->setForm(plan.form);
    return plan;
}

}  // namespace quillon
