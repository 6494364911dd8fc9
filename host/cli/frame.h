// An instance as a plan asks for it.
#pragma once

#include <memory>

#include "host/cli/render_frame.h"
#include "host/cli/render_plan.h"
#include "host/core/effect.h"

namespace quillon {

// Created, with its inputs connected and its preset and parameters set. The plan must outlive it. Throws RunError and
// UsageError.
std::unique_ptr<ofxhost::EffectInstance> makeInstance(const RenderPlan& plan, const RenderOptions& options);

// `alpha` as outputAlpha() says.
ofxhost::ImageLayout outputLayout(const RenderPlan& plan, Alpha alpha);
// What the effect, with its values of now, says of its output.
Alpha outputAlpha(ofxhost::EffectInstance& instance);

}  // namespace quillon
