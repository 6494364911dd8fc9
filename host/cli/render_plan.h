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
    int depth = 0;  // 0: the deepest that the effect works at
    double renderScale = 1.0;
    double pixelAspect = 0.0, frameRate = 0.0;  // 0: as the first input's file says, else 1 and 25
    std::string missing;                        // empty, "hold" or "black"
    std::string colourIn, colourOut;            // empty: as the files say
    std::string fileDepth, compression;         // empty: what suits
    int quality = 0;
};

struct RenderPlan {
    std::unique_ptr<ofxhost::EffectDescriptor> descriptor;
    std::map<std::string, std::shared_ptr<InputSource>> inputs;  // by clip
    std::vector<int> frames;                                     // host times, in the order of rendering
    std::vector<std::string> filled;       // clips that have the first clip's input for want of one of their own
    std::shared_ptr<InputSource> primary;  // of the first clip that has an input; null when none has
    FilePattern output{""};
    WriteOptions files;  // of all frames; what differs from frame to frame is in writeOptions()
    PictureForm form;
    ofxhost::ProjectSettings project;

    // Of a clip with this input: the sequence's own frames; a still is there from frame 0 (or the first frame asked
    // for, if that is earlier) to the last frame asked for, so that frame 20 is the same whether it is rendered alone
    // or not.
    OfxRangeD frameRange(const InputSource& input) const;
    // For the file of a frame of which the effect says what its alpha is. May read a file's header; throws RunError.
    WriteOptions writeOptions(int frame, Alpha alpha) const;
    // A line for each file that is read or written: what it holds and what it is taken for; and what is worth a
    // warning.
    std::vector<std::string> summary(Alpha alpha) const, warnings() const;
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
