#include "host/cli/scene.h"

#include <algorithm>

#include "host/cli/failure.h"
#include "host/cli/frame.h"
#include "host/cli/input_source.h"
#include "host/cli/interrupt.h"
#include "host/cli/param_edit.h"
#include "host/cli/picture_file.h"
#include "host/cli/test_inputs.h"
#include "ofx/ofx_names.h"

namespace quillon {

namespace fs = std::filesystem;
using ofxhost::Depth;
using ofxhost::EffectInstance;
using ofxhost::ImagePtr;

namespace {

// The middle of a picture in the shape of width : height.
Picture cutToShape(const Picture& source, int width, int height) {
    const auto scaled = [](int side, int part, int whole) {
        return std::max(1, static_cast<int>(static_cast<long long>(side) * part / whole));
    };
    const bool tooWide = static_cast<long long>(source.width) * height > static_cast<long long>(source.height) * width;
    const int w = tooWide ? scaled(source.height, width, height) : source.width;
    const int h = tooWide ? source.height : scaled(source.width, height, width);
    const int left = (source.width - w) / 2, bottom = (source.height - h) / 2;
    Picture cut(w, h);
    for (int y = 0; y < h; ++y) {
        const float* from = source.row(bottom + y) + static_cast<std::size_t>(left) * 4;
        std::copy(from, from + static_cast<std::size_t>(w) * 4, cut.row(y));
    }
    return cut;
}

// Each pixel is the mean of the source's whole pixels that it covers, at least one.
Picture reduced(const Picture& source, int width, int height) {
    Picture result(width, height);
    const auto edge = [](int i, int size, int from) {
        return static_cast<int>(static_cast<long long>(i) * from / size);
    };
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const int x0 = edge(x, width, source.width), x1 = std::max(edge(x + 1, width, source.width), x0 + 1);
            const int y0 = edge(y, height, source.height), y1 = std::max(edge(y + 1, height, source.height), y0 + 1);
            double sums[4] = {};
            for (int sy = y0; sy < y1; ++sy)
                for (int sx = x0; sx < x1; ++sx)
                    for (std::size_t c = 0; c < 4; ++c)
                        sums[c] += static_cast<double>(source.row(sy)[static_cast<std::size_t>(sx) * 4 + c]);
            for (std::size_t c = 0; c < 4; ++c)
                result.row(y)[static_cast<std::size_t>(x) * 4 + c] =
                    static_cast<float>(sums[c] / ((x1 - x0) * (y1 - y0)));
        }
    return result;
}

std::unique_ptr<ofxhost::EffectDescriptor> describeFor(ofxhost::Plugin& plugin, const DeclaredScene& scene) {
    const auto descriptor = plugin.describe();
    if (!descriptor) throw RunError(plugin.name() + " refuses to be described");
    const auto contexts = descriptor->supportedContexts();
    const bool generator =
        scene.inputs.empty() && std::find(contexts.begin(), contexts.end(), ofx::context::Generator) != contexts.end();
    auto inContext = plugin.describeInContext(generator ? ofx::context::Generator : ofx::context::General);
    if (!inContext) throw RunError(plugin.name() + " refuses to be described in a context");
    return inContext;
}

// A still at all times, or the frames of an input that moves.
void connectInput(ofxhost::Clip& clip, const DeclaredScene& scene, std::size_t index, const Picture& still, Depth depth,
                  const ofxhost::ProjectSettings& project) {
    const double scale = project.renderScale.x;
    const std::string& name = scene.inputs[index];
    if (!testInputMoves(name))
        return clip.connect(toHostImage(still, {.depth = depth, .renderScale = scale}), project.firstFrame,
                            project.lastFrame);
    const auto frameAt = [name, width = still.width, height = still.height, depth, scale](double time) {
        return toHostImage(testInput(name, width, height, static_cast<int>(time)),
                           {.depth = depth, .renderScale = scale});
    };
    clip.connect(frameAt, {.depth = depth, .firstFrame = project.firstFrame, .lastFrame = project.lastFrame});
}

}  // namespace

fs::path findExamples() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error).parent_path();
    for (const fs::path& folder : {fs::path("examples"), program / ".." / ".." / "examples"})
        if (fs::is_directory(folder, error)) return folder;
    throw RunError("there is no folder examples/ here; name the one with the example pictures with --examples");
}

std::vector<Picture> sceneInputs(const DeclaredScene& scene, const fs::path& examples) {
    std::vector<Picture> pictures;
    for (const std::string& name : scene.inputs) {
        if (name.starts_with('@')) {
            pictures.push_back(testInput(name, scene.width, scene.height));
            continue;
        }
        Picture picture = readPicture(examples / name);
        if (picture.width != scene.width || picture.height != scene.height)
            picture = reduced(cutToShape(picture, scene.width, scene.height), scene.width, scene.height);
        pictures.push_back(std::move(picture));
    }
    return pictures;
}

ImagePtr renderScene(ofxhost::Plugin& plugin, const DeclaredScene& scene, const std::vector<Picture>& inputs,
                     Depth depth, const std::string& preset, int proxy) {
    const double scale = 1.0 / proxy;
    const int first = scene.frame - scene.lead;
    ofxhost::ProjectSettings project;
    project.width = scene.width * proxy;
    project.height = scene.height * proxy;
    project.renderScale = {scale, scale};
    project.firstFrame = std::min(0, first);
    project.lastFrame = std::max(99, scene.frame);
    const auto descriptor = describeFor(plugin, scene);
    EffectInstance instance(*descriptor, project);
    instance.output().setFormat({.depth = depth, .firstFrame = project.firstFrame, .lastFrame = project.lastFrame});
    const std::vector<ofxhost::Clip*> clips = instance.inputs();
    if (inputs.size() > clips.size()) throw RunError(plugin.name() + " has fewer clips than its scene has inputs");
    for (std::size_t i = 0; i < inputs.size(); ++i) connectInput(*clips[i], scene, i, inputs[i], depth, project);
    instance.setCurrentTime(first);
    if (!answered(instance.create())) throw RunError(plugin.name() + " refuses to make an instance");
    for (const std::string& setting : scene.settings) applyAssignment(instance, setting);
    if (!preset.empty()) applyAssignment(instance, preset);

    const auto check = [&](OfxStatus status) {
        if (interrupted()) throw RunError("interrupted");
        if (status != ofx::status::OK)
            throw RunError(plugin.name() + " failed (status " + std::to_string(status) + ")");
    };
    ofxhost::ImageLayout layout;
    layout.bounds = {0, 0, scene.width, scene.height};
    layout.depth = depth;
    layout.renderScale = {scale, scale};
    ImagePtr image;
    for (int frame = first; frame <= scene.frame; ++frame)
        image =
            renderFrame(instance, {.time = static_cast<double>(frame), .renderScale = {scale, scale}}, layout, check);
    return image;
}

}  // namespace quillon
