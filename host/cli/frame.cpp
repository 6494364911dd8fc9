#include "host/cli/frame.h"

#include "host/cli/failure.h"
#include "host/cli/param_edit.h"
#include "host/core/host.h"
#include "ofx/ofx_names.h"

namespace quillon {

using ofxhost::Clip;
using ofxhost::EffectInstance;

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

}  // namespace quillon
