// quillon render: an effect on picture files, frame by frame, by one instance.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <memory>

#include "host/cli/command.h"
#include "host/cli/failure.h"
#include "host/cli/interrupt.h"
#include "host/cli/param_edit.h"
#include "host/cli/picture_file.h"
#include "host/cli/render_plan.h"
#include "ofx/ofx_names.h"

namespace quillon {

namespace {

using ofxhost::Clip;
using ofxhost::EffectInstance;
using ofxhost::ImagePtr;

bool answered(OfxStatus status) { return status == ofx::status::OK || status == ofx::status::ReplyDefault; }

void connectInputs(EffectInstance& instance, const RenderPlan& plan) {
    const double unit =
        instance.host().config().units == ofxhost::ProjectUnits::SquarePixels ? plan.form.pixelAspect : 1.0;
    for (const auto& [name, input] : plan.inputs) {
        const OfxRangeD range = plan.frameRange(*input);
        Clip& clip = *instance.findClip(name);
        clip.connect([input = input](double time) { return input->imageAt(time); },
                     {.depth = plan.form.depth,
                      .pixelAspect = plan.form.pixelAspect,
                      .frameRate = plan.project.frameRate,
                      .firstFrame = range.min,
                      .lastFrame = range.max});
        const PictureSize size = input->size(plan.frames.front());
        clip.setRegionOfDefinition(OfxRectD{0.0, 0.0, size.width * unit, static_cast<double>(size.height)});
    }
    instance.output().setFormat({.depth = plan.form.depth,
                                 .pixelAspect = plan.form.pixelAspect,
                                 .frameRate = plan.project.frameRate,
                                 .firstFrame = plan.project.firstFrame,
                                 .lastFrame = plan.project.lastFrame});
}

// One instance at work on the frames of a plan.
class FrameRenderer {
  public:
    FrameRenderer(Session& session, EffectInstance& instance, const RenderPlan& plan)
        : m_session(session), m_instance(instance), m_plan(plan) {
        m_layout.bounds = {0, 0, scaledSize(plan.project.width, plan.form.renderScale),
                           scaledSize(plan.project.height, plan.form.renderScale)};
        m_layout.depth = plan.form.depth;
        m_layout.pixelAspect = plan.form.pixelAspect;
        m_layout.renderScale = plan.project.renderScale;
    }

    // Throws RunError when any frame fails; those before it have been written.
    void renderAll() {
        const auto [first, last] = std::minmax_element(m_plan.frames.begin(), m_plan.frames.end());
        const OfxRangeD range = {static_cast<double>(*first), static_cast<double>(*last)};
        const ofxhost::RenderRequest request = requestFor(*first);
        if (!answered(m_instance.beginSequence(request, range, 1.0)))
            throw RunError("the effect refuses to begin the render");
        Console& console = m_session.console();
        console.beginFrames(static_cast<int>(m_plan.frames.size()));
        int done = 0;
        for (const int frame : m_plan.frames) {
            try {
                renderFrame(frame);
            } catch (const std::exception& failure) {
                console.endFrames();
                m_instance.endSequence(request, range, 1.0);
                console.log("frame " + std::to_string(frame) + " failed: " + failure.what());
                throw RunError("frame " + std::to_string(frame) + ": " + failure.what() + " (" + std::to_string(done) +
                               " of " + std::to_string(m_plan.frames.size()) + " frames rendered)");
            }
            ++done;
        }
        console.endFrames();
        m_instance.endSequence(request, range, 1.0);
    }

  private:
    ofxhost::RenderRequest requestFor(int frame) const {
        ofxhost::RenderRequest request;
        request.time = frame;
        request.renderScale = m_plan.project.renderScale;
        return request;
    }

    void renderFrame(int frame) {
        const auto start = std::chrono::steady_clock::now();
        const ofxhost::RenderRequest request = requestFor(frame);
        const ImagePtr image = pictureAt(request);
        const std::filesystem::path path = m_plan.output.path(frame);
        writePicture(path, fromHostImage(*image), {static_cast<int>(m_plan.form.depth), m_plan.form.pixelAspect});
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
        m_session.console().frameDone(frame, path.string(), seconds.count());
    }

    // The actions that a host sends for a frame. The answers that tell what the effect would like to get are not
    // needed: whole pictures are at hand for every frame.
    ImagePtr pictureAt(const ofxhost::RenderRequest& request) {
        requireGood(ofx::status::OK);
        m_instance.setCurrentTime(request.time);
        OfxRectD region;
        m_instance.regionOfDefinition(request.time, request.renderScale, region);
        std::string clip;
        double identityTime = request.time;
        if (m_instance.isIdentity(request, m_layout.bounds, clip, identityTime) == ofx::status::OK)
            return identityPicture(clip, identityTime);
        const OfxRectD wanted = m_instance.output().regionOfDefinition(request.time);
        std::map<std::string, OfxRectD> regions;
        m_instance.regionsOfInterest(request.time, request.renderScale, wanted, regions);
        std::map<std::string, ofxhost::FrameRanges> frames;
        m_instance.framesNeeded(request.time, frames);

        const auto image = std::make_shared<ofxhost::Image>(m_layout);
        const int fetchesBefore = m_instance.output().fetches();
        requireGood(m_instance.render(request, image));
        // Effects answer OK even when they could not render; then they have not asked for the picture to fill.
        if (m_instance.output().fetches() == fetchesBefore) throw RunError("the effect made no picture");
        return image;
    }

    ImagePtr identityPicture(const std::string& name, double time) {
        const Clip* clip = m_instance.findClip(name);
        std::string error;
        const ImagePtr image = clip ? clip->fetch(time, &error) : nullptr;
        requireGood(ofx::status::OK);
        if (!image) throw RunError("the effect passes on a clip that has no picture: " + name);
        return image;
    }

    // Throws RunError for all that spoils a frame.
    void requireGood(OfxStatus status) {
        for (const auto& [clip, input] : m_plan.inputs)
            if (const std::string failure = input->takeFailure(); !failure.empty()) throw RunError(failure);
        if (interrupted()) throw RunError("interrupted");
        if (status != ofx::status::OK) throw RunError("the effect failed (status " + std::to_string(status) + ")");
        m_session.console().requireClean();
    }

    Session& m_session;
    EffectInstance& m_instance;
    const RenderPlan& m_plan;
    ofxhost::ImageLayout m_layout;
};

void render(const RenderOptions& options) {
    Session session(options.session);
    {
        const RenderPlan plan = makePlan(session, options);
        EffectInstance instance(*plan.descriptor, plan.project);
        connectInputs(instance, plan);
        instance.setCurrentTime(plan.frames.front());
        if (const OfxStatus status = instance.create(); !answered(status))
            throw RunError("the effect refuses to make an instance (status " + std::to_string(status) + ")");
        ofxhost::ClipPreferences preferences;
        instance.clipPreferences(preferences);
        if (!options.preset.empty()) applyPreset(instance, options.preset);
        for (const std::string& assignment : options.params) applyAssignment(instance, assignment);
        const AbortOnInterrupt abort(session.host());
        FrameRenderer(session, instance, plan).renderAll();
    }
    session.finish();
}

void addOptions(CLI::App& app, RenderOptions& options) {
    app.add_option("EFFECT", options.effect, "Q_Darken, Darken, darken or the full identifier")->required();
    app.add_option("-i,--input", options.inputs,
                   "A picture, or a sequence such as plate.%04d.exr or plate.####.exr; without CLIP= the inputs fill "
                   "the effect's clips in order")
        ->type_name("[CLIP=]FILE")
        ->allow_extra_args(false);
    app.add_option("-o,--output", options.output, "The picture or sequence to write")->type_name("FILE")->required();
    app.add_option("-f,--frames", options.frames,
                   "A, A-B, A-BxS or a comma list of these: times, rendered in this order by one instance (default: "
                   "those of the first input)")
        ->type_name("FRAMES");
    app.add_option("-p,--param", options.params,
                   "Set a parameter: a number, numbers joined by commas, a choice by index or text, on or off, a text, "
                   "press for a button, or keys @0:1,@24:5 (of several components: @0:1/2/3,@24:5/6/7)")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    app.add_option("--preset", options.preset, "Choose a preset by text or index, before -p")->type_name("TEXT");
    app.add_option("--depth", options.depth, "Bits of a sample that the effect gets and gives: 8, 16 or 32 (float)")
        ->check(CLI::IsMember({8, 16, 32}))
        ->capture_default_str();
    app.add_option("--size", options.size, "Size of the project (default: that of the first input, else 1920x1080)")
        ->type_name("WxH");
    app.add_option("--pixel-aspect", options.pixelAspect, "Width of a pixel, its height being 1")
        ->check(CLI::Range(0.01, 100.0))
        ->capture_default_str();
    app.add_option("--render-scale", options.renderScale, "Render at this part of the size")
        ->check(CLI::Range(0.001, 1.0))
        ->capture_default_str();
    app.add_option("--fps", options.frameRate, "Frames in a second of the project")
        ->check(CLI::Range(0.001, 100000.0))
        ->capture_default_str();
    app.add_option("--threads", options.session.threads, "Threads for the effect (default: as many as there are)")
        ->check(CLI::Range(1u, 1024u))
        ->type_name("N");
    app.add_option("--context", options.context, "general, filter or generator")
        ->check(CLI::IsMember({"general", "filter", "generator"}));
    app.add_flag("-q,--quiet", options.session.quiet, "Print nothing but errors");
    options.session.addTo(app);
}

std::function<void()> declare(CLI::App& app) {
    const auto options = std::make_shared<RenderOptions>();
    addOptions(app, *options);
    return [options] { render(*options); };
}

}  // namespace

const Command renderCommand{"render", "Render frames of an effect into picture files", declare};

}  // namespace quillon
