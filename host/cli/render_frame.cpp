#include "host/cli/render_frame.h"

#include <map>

#include "host/cli/failure.h"

namespace quillon {

using ofxhost::Clip;
using ofxhost::EffectInstance;
using ofxhost::ImagePtr;

namespace {

ImagePtr identityPicture(EffectInstance& instance, const std::string& name, double time, const FrameCheck& check) {
    const Clip* clip = instance.findClip(name);
    std::string error;
    const ImagePtr image = clip ? clip->fetch(time, &error) : nullptr;
    check(ofx::status::OK);
    if (!image) throw RunError("the effect passes on a clip that has no picture: " + name);
    return image;
}

}  // namespace

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
