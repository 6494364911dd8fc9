// From the words of a render command to what is to be rendered: which clips get which files, which frames, which
// project. All questions that can be answered before the plug-in makes a picture are answered here.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/cli/input_source.h"
#include "host/cli/sequence.h"
#include "host/cli/session.h"
#include "host/core/effect.h"

namespace quillon {

struct RenderOptions {
    SessionOptions session;
    std::string effect, output, frames, size, context, preset;
    std::vector<std::string> inputs, params;
    int depth = 32;
    double pixelAspect = 1.0, renderScale = 1.0, frameRate = 25.0;
};

struct RenderPlan {
    std::unique_ptr<ofxhost::EffectDescriptor> descriptor;
    std::map<std::string, std::shared_ptr<InputSource>> inputs;  // by clip
    std::vector<int> frames;                                     // host times, in the order of rendering
    FilePattern output{""};
    PictureForm form;
    ofxhost::ProjectSettings project;

    // Of a clip with this input: the sequence's own frames; a still is there from frame 0 (or the first frame asked
    // for, if that is earlier) to the last frame asked for, so that frame 20 is the same whether it is rendered alone
    // or not.
    OfxRangeD frameRange(const InputSource& input) const;
};

// Throws UsageError and RunError.
RenderPlan makePlan(Session& session, const RenderOptions& options);

// "CLIP=FILE" or "FILE". A text with an equals sign is the first unless such a file exists and no such clip does.
struct InputText {
    std::string clip, file;  // clip empty: the next free one
};
InputText parseInput(const std::string& text, const std::vector<std::string>& clips);

struct PixelSize {
    int width, height;
};
PixelSize parseSize(const std::string& text);  // "1920x1080"

}  // namespace quillon
