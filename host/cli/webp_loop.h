// Short moving pictures as files that browsers play without end.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/cli/picture.h"

namespace quillon {

// A frame of a loop: levels of 8 bits, red, green, blue and one unused byte, rows top to bottom.
struct LoopFrame {
    int width = 0, height = 0;
    std::vector<std::uint8_t> levels;
};
LoopFrame loopFrame(const Picture& picture);

// Whether a viewer would see the difference: more than a few levels, of one number in a thousand.
bool looksOther(const LoopFrame& frame, const LoopFrame& than);

// The first `count` frames; those beyond are laid over the first ones as they fade in, so that the end meets the
// beginning. All frames have one size.
std::vector<LoopFrame> closedLoop(std::vector<LoopFrame> frames, std::size_t count);

// An animated WebP. `quality` from 0 to 100. Throws RunError.
std::string encodeLoop(const std::vector<LoopFrame>& frames, double framesPerSecond, float quality);

}  // namespace quillon
