// Private to ClipMotion: small things that jump by more than their own size from frame to frame, such as a lamp that is
// swung. A search from coarse to fine loses them, as they vanish on its coarse levels.
#pragma once

#include "imagelib/imagelib.h"

// What has appeared in `now` and what has gone from `before` (one float each) is taken apart into connected regions.
// Two of them that are each other's likeliest partners, alike in size and brightness, are one thing: where its jump
// explains its pixels better than the flow back from `now` does, it becomes their flow.
void follow_small_things(const K7Image& now, const K7Image& before, K7Image& back);
