#include "host/cli/scene.h"

#include <algorithm>
#include <cmath>

#include "host/cli/failure.h"
#include "host/cli/host_image.h"
#include "host/cli/interrupt.h"
#include "host/cli/param_edit.h"
#include "host/cli/render_frame.h"
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

// Between the middles of the source's pixels.
Picture enlarged(const Picture& source, int width, int height) {
    Picture result(width, height);
    const auto place = [](int i, int size, int from) {
        return std::clamp((static_cast<float>(i) + 0.5f) * static_cast<float>(from) / static_cast<float>(size) - 0.5f,
                          0.0f, static_cast<float>(from - 1));
    };
    for (int y = 0; y < height; ++y) {
        const float fy = place(y, height, source.height);
        const int y0 = static_cast<int>(fy), y1 = std::min(y0 + 1, source.height - 1);
        for (int x = 0; x < width; ++x) {
            const float fx = place(x, width, source.width);
            const int x0 = static_cast<int>(fx), x1 = std::min(x0 + 1, source.width - 1);
            for (int c = 0; c < 4; ++c) {
                const auto row = [&](int from) {
                    return std::lerp(source.row(from)[x0 * 4 + c], source.row(from)[x1 * 4 + c],
                                     fx - static_cast<float>(x0));
                };
                result.row(y)[x * 4 + c] = std::lerp(row(y0), row(y1), fy - static_cast<float>(y0));
            }
        }
    }
    return result;
}

// A still at all times, or the frames of an input that moves.
void connectInput(ofxhost::Clip& clip, const DeclaredScene& scene, std::size_t index, const Picture& still, Depth depth,
                  const ofxhost::ProjectSettings& project) {
    const std::string& name = scene.inputs[index];
    const double scale = project.renderScale.x;
    const PictureForm form{.depth = depth, .renderScale = scale};
    clip.setRegionOfDefinition(OfxRectD{0.0, 0.0, static_cast<double>(still.width), static_cast<double>(still.height)});
    if (!testInputMoves(name))
        return clip.connect(toHostImage(boxScaled(still, scale), form), project.firstFrame, project.lastFrame);
    const int width = scaledSize(still.width, scale), height = scaledSize(still.height, scale);
    const auto frameAt = [=](double time) {
        return toHostImage(testInput(name, width, height, static_cast<int>(time)), form);
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

std::vector<Picture> sceneInputs(const DeclaredScene& scene, const fs::path& examples, const ReadsPicture& read) {
    std::vector<Picture> pictures;
    for (const std::string& name : scene.inputs) {
        if (name.empty()) {
            pictures.emplace_back();
            continue;
        }
        if (name.starts_with('@')) {
            pictures.push_back(testInput(name, scene.width, scene.height));
            continue;
        }
        Picture picture = read(examples / name);
        if (picture.width != scene.width || picture.height != scene.height) {
            picture = cutToShape(picture, scene.width, scene.height);
            picture = (picture.width < scene.width ? enlarged : reduced)(picture, scene.width, scene.height);
        }
        pictures.push_back(std::move(picture));
    }
    return pictures;
}

SceneRender::SceneRender(ofxhost::Plugin& plugin, const DeclaredScene& scene, const std::vector<Picture>& inputs,
                         const SceneForm& form)
    : m_descriptor(describeFor(plugin, scene)), m_name(plugin.name()) {
    ofxhost::ProjectSettings project;
    project.width = scene.width;
    project.height = scene.height;
    project.firstFrame = std::min(0, scene.frame - scene.lead);
    project.lastFrame = std::max(99, scene.frame);
    project.renderScale = {form.scale, form.scale};
    m_instance = std::make_unique<EffectInstance>(*m_descriptor, project);
    m_instance->output().setFormat(
        {.depth = form.depth, .firstFrame = project.firstFrame, .lastFrame = project.lastFrame});
    const std::vector<ofxhost::Clip*> clips = m_instance->inputs();
    if (inputs.size() > clips.size()) throw RunError(m_name + " has fewer clips than its scene has inputs");
    for (std::size_t i = 0; i < inputs.size(); ++i)
        if (!scene.inputs[i].empty()) connectInput(*clips[i], scene, i, inputs[i], form.depth, project);
    m_instance->setCurrentTime(scene.frame - scene.lead);
    if (!answered(m_instance->create())) throw RunError(m_name + " refuses to make an instance");
    if (form.preset.empty())
        for (const std::string& setting : scene.settings) applyAssignment(*m_instance, setting);
    else
        applyAssignment(*m_instance, form.preset);
    m_layout.bounds = {0, 0, scaledSize(scene.width, form.scale), scaledSize(scene.height, form.scale)};
    m_layout.depth = form.depth;
    m_layout.renderScale = project.renderScale;
}

SceneRender::~SceneRender() = default;

ImagePtr SceneRender::frame(int frame) {
    return renderFrame(*m_instance, {.time = static_cast<double>(frame), .renderScale = m_layout.renderScale}, m_layout,
                       [this](OfxStatus status) {
                           if (interrupted()) throw RunError("interrupted");
                           if (status != ofx::status::OK)
                               throw RunError(m_name + " failed (status " + std::to_string(status) + ")");
                       });
}

ImagePtr renderScene(ofxhost::Plugin& plugin, const DeclaredScene& scene, const std::vector<Picture>& inputs,
                     const SceneForm& form) {
    SceneRender render(plugin, scene, inputs, form);
    ImagePtr image;
    for (int frame = scene.frame - scene.lead; frame <= scene.frame; ++frame) image = render.frame(frame);
    return image;
}

}  // namespace quillon
