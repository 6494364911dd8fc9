#include "host/cli/frame.h"

#include "host/cli/failure.h"
#include "host/cli/param_edit.h"
#include "host/core/host.h"
#include "ofx/ofx_names.h"

namespace quillon {

using ofxhost::Clip;
using ofxhost::EffectInstance;
using ofxhost::ImagePtr;

namespace {

void connectInputs(EffectInstance& instance, const RenderPlan& plan) {
    const double unit =
        instance.host().config().units == ofxhost::ProjectUnits::SquarePixels ? plan.form.pixelAspect : 1.0;
    for (const auto& [name, input] : plan.inputs) {
        const OfxRangeD range = plan.frameRange(*input);
        const PictureInfo info = input->infoAt(plan.frames.front());
        Clip& clip = *instance.findClip(name);
        clip.connect([input = input](double time) { return input->imageAt(time); },
                     {.depth = plan.form.depth,
                      .pixelAspect = plan.form.pixelAspect,
                      .frameRate = plan.project.frameRate,
                      .firstFrame = range.min,
                      .lastFrame = range.max,
                      .premultiplication = premultiplicationText(info.alpha)});
        clip.setRegionOfDefinition(OfxRectD{0.0, 0.0, info.width * unit, static_cast<double>(info.height)});
    }
    instance.output().setFormat({.depth = plan.form.depth,
                                 .pixelAspect = plan.form.pixelAspect,
                                 .frameRate = plan.project.frameRate,
                                 .firstFrame = plan.project.firstFrame,
                                 .lastFrame = plan.project.lastFrame});
}

ImagePtr identityPicture(EffectInstance& instance, const std::string& name, double time, const FrameCheck& check) {
    const Clip* clip = instance.findClip(name);
    std::string error;
    const ImagePtr image = clip ? clip->fetch(time, &error) : nullptr;
    check(ofx::status::OK);
    if (!image) throw RunError("the effect passes on a clip that has no picture: " + name);
    return image;
}

}  // namespace

std::unique_ptr<EffectInstance> makeInstance(const RenderPlan& plan, const RenderOptions& options) {
    auto instance = std::make_unique<EffectInstance>(*plan.descriptor, plan.project);
    connectInputs(*instance, plan);
    instance->setCurrentTime(plan.frames.front());
    if (const OfxStatus status = instance->create(); !answered(status))
        throw RunError("the effect refuses to make an instance (status " + std::to_string(status) + ")");
    if (!options.preset.empty()) applyPreset(*instance, options.preset);
    for (const std::string& assignment : options.params) applyAssignment(*instance, assignment);
    return instance;
}

Alpha outputAlpha(EffectInstance& instance) {
    ofxhost::ClipPreferences preferences;
    instance.clipPreferences(preferences);
    return preferences.premultiplication == ofx::premultiplication::Premultiplied ? Alpha::Premultiplied
                                                                                  : Alpha::Straight;
}

ofxhost::ImageLayout outputLayout(const RenderPlan& plan, Alpha alpha) {
    ofxhost::ImageLayout layout;
    layout.bounds = {0, 0, scaledSize(plan.project.width, plan.form.renderScale),
                     scaledSize(plan.project.height, plan.form.renderScale)};
    layout.depth = plan.form.depth;
    layout.pixelAspect = plan.form.pixelAspect;
    layout.renderScale = plan.project.renderScale;
    layout.premultiplication = premultiplicationText(alpha);
    return layout;
}

// The answers that tell what the effect would like to get are not needed: whole pictures are at hand for every frame.
ImagePtr renderFrame(EffectInstance& instance, const ofxhost::RenderRequest& request,
                     const ofxhost::ImageLayout& layout, const FrameCheck& check) {
    check(ofx::status::OK);
    instance.setCurrentTime(request.time);
    OfxRectD region;
    instance.regionOfDefinition(request.time, request.renderScale, region);
    std::string clip;
    double identityTime = request.time;
    if (instance.isIdentity(request, layout.bounds, clip, identityTime) == ofx::status::OK)
        return identityPicture(instance, clip, identityTime, check);
    const OfxRectD wanted = instance.output().regionOfDefinition(request.time);
    std::map<std::string, OfxRectD> regions;
    instance.regionsOfInterest(request.time, request.renderScale, wanted, regions);
    std::map<std::string, ofxhost::FrameRanges> frames;
    instance.framesNeeded(request.time, frames);

    const auto image = std::make_shared<ofxhost::Image>(layout);
    const int fetchesBefore = instance.output().fetches();
    check(instance.render(request, image));
    // Effects answer OK even when they could not render; then they have not asked for the picture to fill.
    if (instance.output().fetches() == fetchesBefore) throw RunError("the effect made no picture");
    return image;
}

}  // namespace quillon
