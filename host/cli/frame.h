// One instance's way to a frame: made as a plan asks for it, and sent the actions that a host sends for each frame.
#pragma once

#include <functional>
#include <memory>

#include "host/cli/render_plan.h"
#include "host/core/effect.h"

namespace quillon {

inline bool answered(OfxStatus status) { return status == ofx::status::OK || status == ofx::status::ReplyDefault; }

// Created, with its inputs connected and its preset and parameters set. The plan must outlive it. Throws RunError and
// UsageError.
std::unique_ptr<ofxhost::EffectInstance> makeInstance(const RenderPlan& plan, const RenderOptions& options);

// `alpha` as outputAlpha() says.
ofxhost::ImageLayout outputLayout(const RenderPlan& plan, Alpha alpha);
// What the effect, with its values of now, says of its output.
Alpha outputAlpha(ofxhost::EffectInstance& instance);

// Looks at what happened so far and at the plug-in's last answer; throws when the frame is spoilt.
using FrameCheck = std::function<void(OfxStatus status)>;

// Throws what the check throws, and RunError when the effect made no picture.
ofxhost::ImagePtr renderFrame(ofxhost::EffectInstance& instance, const ofxhost::RenderRequest& request,
                              const ofxhost::ImageLayout& layout, const FrameCheck& check);

}  // namespace quillon
