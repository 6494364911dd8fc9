#include "host/cli/render_plan.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "host/cli/declarations.h"
#include "host/cli/failure.h"
#include "host/cli/frame_list.h"
#include "host/cli/param_text.h"
#include "host/cli/text.h"
#include "host/core/bundle.h"
#include "ofx/ofx_names.h"

namespace quillon {

namespace fs = std::filesystem;

namespace {

constexpr PixelSize DefaultSize = {1920, 1080};
constexpr int MaxSide = 32768;

std::string chooseContext(const std::vector<std::string>& contexts, const RenderOptions& options, bool onlySource) {
    if (!options.context.empty()) return contextText(options.context);
    const auto has = [&](const char* context) {
        return std::find(contexts.begin(), contexts.end(), context) != contexts.end();
    };
    if (onlySource && has(ofx::context::Filter)) return ofx::context::Filter;
    if (options.inputs.empty() && has(ofx::context::Generator)) return ofx::context::Generator;
    for (const char* context : {ofx::context::General, ofx::context::Filter})
        if (has(context)) return context;
    throw UsageError("the effect has none of the contexts general, filter and generator");
}

ofxhost::Depth chooseDepth(const ofxhost::EffectDescriptor& descriptor, int wanted) {
    using ofxhost::Depth;
    for (const Depth depth : {Depth::Float, Depth::Short, Depth::Byte})
        if ((wanted == 0 || static_cast<Depth>(wanted) == depth) && descriptor.supports(depth)) return depth;
    throw UsageError(descriptor.plugin().name() + " does not work at " +
                     (wanted == 0 ? "8, 16 or 32 bits" : "depth " + std::to_string(wanted)));
}

std::vector<std::string> inputClips(const ofxhost::EffectDescriptor& descriptor) {
    std::vector<std::string> names;
    for (const auto& clip : descriptor.clips())
        if (clip->name() != ofx::clip::Output) names.push_back(clip->name());
    return names;
}

bool mayStayEmpty(const ofxhost::EffectDescriptor& descriptor, const std::string& clip) {
    const ofxhost::Plugin& plugin = descriptor.plugin();
    const auto effect = declaredEffect(plugin.bundlePath(), plugin.identifier());
    const DeclaredClip* declared = effect.findClip(clip);
    return declared && declared->mayStayEmpty;
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
    // A host connects something to each required clip; what goes into one that the effect may do without is told.
    const auto first = clips.empty() ? plan.inputs.end() : plan.inputs.find(clips.front());
    for (const auto& described : plan.descriptor->clips()) {
        const std::string& name = described->name();
        if (name == ofx::clip::Output || described->optional() || plan.inputs.contains(name)) continue;
        if (first == plan.inputs.end() || !mayStayEmpty(*plan.descriptor, name))
            throw UsageError("the effect needs a picture for its clip " + name + ": -i " + name + "=FILE");
        plan.inputs.emplace(name, first->second);
        plan.filled.push_back(name);
    }
}

// Of the first of the effect's clips that has an input; null when none has.
std::shared_ptr<InputSource> primaryInput(const RenderPlan& plan) {
    for (const std::string& clip : inputClips(*plan.descriptor))
        if (const auto input = plan.inputs.find(clip); input != plan.inputs.end()) return input->second;
    return nullptr;
}

std::string rangeText(int first, int last) {
    return std::to_string(first) + (last == first ? "" : "-" + std::to_string(last));
}

// "3, 7-9, 12 and 5 more"
std::string framesText(const std::vector<int>& frames) {
    constexpr int MostRanges = 8;
    std::string text;
    int ranges = 0;
    for (std::size_t i = 0, end; i < frames.size(); i = end) {
        for (end = i + 1; end < frames.size() && frames[end] == frames[end - 1] + 1;) ++end;
        if (++ranges > MostRanges) return text + " and " + std::to_string(frames.size() - i) + " more";
        text += (text.empty() ? "" : ", ") + rangeText(frames[i], frames[end - 1]);
    }
    return text;
}

void chooseFrames(const RenderOptions& options, RenderPlan& plan) {
    const InputSource* input = plan.primary.get();
    if (!options.frames.empty()) {
        plan.frames = parseFrames(options.frames);
    } else if (input && input->isSequence() && !options.missing.empty()) {
        plan.frames = parseFrames(rangeText(input->frames().front(), input->frames().back()));
    } else if (input && input->isSequence()) {
        plan.frames = input->frames();
    } else {
        plan.frames = {0};
    }
    if (plan.frames.size() > 1 && !plan.output.numbered())
        throw UsageError(std::to_string(plan.frames.size()) +
                         " frames need a frame number in the output's name, such as out.%04d.exr");
    std::vector<int> sorted = plan.frames;
    std::sort(sorted.begin(), sorted.end());
    const auto twice = std::adjacent_find(sorted.begin(), sorted.end());
    if (twice != sorted.end())
        throw UsageError("frame " + std::to_string(*twice) + " is asked for twice, and there is one file for it");
}

// Gaps inside a sequence are told when their turn comes, so that what is there is rendered.
void requireFramesOfInputs(const RenderOptions& options, const RenderPlan& plan) {
    if (!options.missing.empty()) return;
    for (const auto& [clip, input] : plan.inputs) {
        if (!input->isSequence()) continue;
        const int first = input->frames().front(), last = input->frames().back();
        for (const int frame : plan.frames)
            if (frame < first || frame > last)
                throw UsageError("frame " + std::to_string(frame) + " lies outside " + input->text() +
                                 ", which has the frames " + rangeText(first, last) +
                                 "; --missing hold or --missing black puts a picture there");
    }
}

void checkOutput(const RenderOptions& options, const RenderPlan& plan) {
    requireWritableFormat(options.output, plan.files);
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

// A render takes several pictures of the project's size; where not even two of them fit, nothing is begun.
void requireMemory(int width, int height) {
    const double picture = 16.0 * width * height;
    const double memory = static_cast<double>(::sysconf(_SC_PHYS_PAGES)) * static_cast<double>(::sysconf(_SC_PAGESIZE));
    if (2.0 * picture <= memory) return;
    char text[200];
    constexpr double Gibi = 1024.0 * 1024.0 * 1024.0;
    std::snprintf(text, sizeof text,
                  "there is not enough memory: a picture of %dx%d takes %.1f GiB, a render several of them, and this "
                  "machine has %.1f GiB",
                  width, height, picture / Gibi, memory / Gibi);
    throw RunError(text);
}

void setUpProject(const RenderOptions& options, RenderPlan& plan) {
    const InputSource* input = plan.primary.get();
    PictureInfo info;
    if (input) info = plan.primary->infoAt(plan.frames.front());
    PixelSize size = input ? PixelSize{info.width, info.height} : DefaultSize;
    if (!options.size.empty()) size = parseSize(options.size);
    requireMemory(size.width, size.height);
    plan.project.width = size.width;
    plan.project.height = size.height;
    plan.project.pixelAspect = options.pixelAspect > 0.0 ? options.pixelAspect : info.pixelAspect;
    plan.project.frameRate = options.frameRate > 0.0 ? options.frameRate : info.frameRate > 0.0 ? info.frameRate : 25.0;
    plan.project.renderScale = {options.renderScale, options.renderScale};
    plan.form.pixelAspect = plan.project.pixelAspect;
    const auto [first, last] = std::minmax_element(plan.frames.begin(), plan.frames.end());
    plan.project.firstFrame = std::min(0, *first);
    plan.project.lastFrame = *last;
    if (input && input->isSequence()) {
        const OfxRangeD range = plan.frameRange(*input);
        plan.project.firstFrame = range.min;
        plan.project.lastFrame = range.max;
    }
    // The rate is only told to the file where somebody has told it here.
    plan.files.frameRate = options.frameRate > 0.0 ? options.frameRate : info.frameRate;
    plan.files.pixelAspect = plan.project.pixelAspect;
    plan.files.colour = !options.colourIn.empty() ? *parseColour(options.colourIn) : input ? info.colour : Colour::Srgb;
    if (!options.colourOut.empty()) plan.files.fileColour = parseColour(options.colourOut);
    if (!plan.files.store && info.half && fileStoreOf(options.output, plan.files) == Store::Float &&
        fs::path(options.output).extension() == ".exr")
        plan.files.store = Store::Half;
}

const char* alphaText(Alpha alpha) {
    return alpha == Alpha::None ? "no alpha" : alpha == Alpha::Straight ? "straight alpha" : "premultiplied alpha";
}

std::string storeText(Store store) {
    constexpr const char* texts[] = {"8 bits", "16 bits", "half floats", "floats"};
    return texts[static_cast<int>(store)];
}

}  // namespace

OfxRangeD RenderPlan::frameRange(const InputSource& input) const {
    if (input.isSequence())
        return {static_cast<double>(input.frames().front()), static_cast<double>(input.frames().back())};
    const auto [first, last] = std::minmax_element(frames.begin(), frames.end());
    return {static_cast<double>(std::min(0, *first)), static_cast<double>(*last)};
}

WriteOptions RenderPlan::writeOptions(int frame, Alpha alpha) const {
    WriteOptions options = files;
    options.alpha = alpha;
    // A still has one timecode, and a hundred frames made of it do not.
    if (primary && (primary->isSequence() || frames.size() == 1)) options.tags = primary->infoAt(frame).tags;
    return options;
}

std::vector<std::string> RenderPlan::summary(Alpha alpha) const {
    std::vector<std::string> lines;
    const auto size = [](int width, int height) { return std::to_string(width) + "x" + std::to_string(height) + ", "; };
    for (const auto& [clip, input] : inputs) {
        const PictureInfo info = input->infoAt(frames.front());
        const std::string bits = std::to_string(info.bits) + (info.half ? " bits (half), " : " bits, ");
        const bool renamed = input == primary && files.colour != info.colour;
        lines.push_back("reads " + input->text() + " as " + clip + ": " + size(info.width, info.height) + bits +
                        (renamed ? std::string(colourWord(files.colour)) + " (its file says " + info.colourName + ")"
                                 : info.colourName) +
                        ", " + alphaText(info.alpha));
    }
    const std::string name = output.path(frames.front()).filename().string();
    const Alpha written = fileAlphaOf(name);
    lines.push_back("writes " + output.text() + ": " +
                    size(scaledSize(project.width, form.renderScale), scaledSize(project.height, form.renderScale)) +
                    storeText(fileStoreOf(name, files)) + ", " + colourWord(fileColourOf(name, files)) + ", " +
                    alphaText(written == Alpha::None ? written
                              : alpha == Alpha::None ? alpha
                                                     : written));
    return lines;
}

std::vector<std::string> RenderPlan::warnings() const {
    std::vector<std::string> lines;
    for (const std::string& clip : filled)
        lines.push_back("the clip " + clip + " has no input and gets " + inputs.at(clip)->text() + " (-i " + clip +
                        "=FILE names another)");
    for (const auto& [clip, input] : inputs) {
        if (std::find(filled.begin(), filled.end(), clip) != filled.end()) continue;
        if (const std::vector<int> gaps = input->gaps(); !gaps.empty())
            lines.push_back(input->text() + " has no files for the frames " + framesText(gaps));
        const PictureInfo info = input->infoAt(frames.front());
        std::string others;
        for (const std::string& other : info.others) others += (others.empty() ? "" : ", ") + other;
        if (!others.empty())
            lines.push_back(input->text() + ": " +
                            (info.layer.empty() ? "the plain channels are" : info.layer + " is") +
                            " read; not read: " + others + " (FILE:LAYER chooses one)");
        if (input == primary && files.colour == Colour::Other)
            lines.push_back(input->text() + " says that its colours are " + info.colourName +
                            ", which is not known here: its numbers pass as they are (--colour-in names them)");
    }
    return lines;
}

InputText parseInput(const std::string& text, const std::vector<std::string>& clips) {
    const auto equals = text.find('=');
    if (equals == std::string::npos) return {{}, text};
    const std::string name = text.substr(0, equals);
    for (const std::string& clip : clips)
        if (equalIgnoringCase(clip, name)) return {clip, text.substr(equals + 1)};
    std::error_code error;
    if (fs::exists(text, error) || name.find_first_of("/.") != std::string::npos) return {{}, text};
    std::string known;
    for (const std::string& clip : clips) known += (known.empty() ? "" : ", ") + clip;
    throw UsageError("there is no clip \"" + name + "\"" + suggestion(name, clips) +
                     (known.empty() ? "; the effect has no input clips" : "; the effect has the clips " + known));
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

    for (const double number : {options.pixelAspect, options.renderScale, options.frameRate})
        if (!std::isfinite(number)) throw UsageError("aspect, scale and rate are finite numbers");

    RenderPlan plan;
    plan.output = FilePattern(options.output);
    ofxhost::Plugin& plugin = session.effect(options.effect);
    const auto contexts = session.describe(plugin)->supportedContexts();
    plan.descriptor =
        session.describeInContext(plugin, chooseContext(contexts, options, session.host().config().onlySource));
    plan.form = {chooseDepth(*plan.descriptor, options.depth), options.pixelAspect, options.renderScale};
    assignInputs(options, plan);
    plan.primary = primaryInput(plan);
    chooseFrames(options, plan);
    requireFramesOfInputs(options, plan);
    plan.files.depth = static_cast<int>(plan.form.depth);
    plan.files.store = parseStore(options.fileDepth);
    plan.files.compression = options.compression;
    plan.files.quality = options.quality;
    checkOutput(options, plan);
    for (const auto& [clip, input] : plan.inputs)
        input->setMissing(options.missing == "hold"    ? Missing::Hold
                          : options.missing == "black" ? Missing::Black
                                                       : Missing::Error);
    setUpProject(options, plan);
    for (const auto& [clip, input] : plan.inputs) input->setForm(plan.form);
    return plan;
}

}  // namespace quillon
