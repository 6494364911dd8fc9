// What a host sends an instance for each frame.
#pragma once

#include <functional>

#include "host/core/effect.h"
#include "ofx/ofx_names.h"

namespace quillon {

inline bool answered(OfxStatus status) { return status == ofx::status::OK || status == ofx::status::ReplyDefault; }

// Looks at what happened so far and at the plug-in's last answer; throws when the frame is spoilt.
using FrameCheck = std::function<void(OfxStatus status)>;

// Throws what the check throws, and RunError when the effect made no picture.
ofxhost::ImagePtr renderFrame(ofxhost::EffectInstance& instance, const ofxhost::RenderRequest& request,
                              const ofxhost::ImageLayout& layout, const FrameCheck& check);

}  // namespace quillon
