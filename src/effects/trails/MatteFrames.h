// A matte that an effect reads at the frames of the past: each of them, and whether what was seen of it has changed.
#pragma once

#include <cstdint>
#include <map>

#include "Library2/PluginK7.h"

class MatteFrames {
  public:
    // The matte of a frame; `given` says whether the host gave it. Where it refuses, and at the present frame, that of
    // the render.
    static ImagePtr at(ClipRecord& matte, int frame, bool present, bool& given);
    // At the start of a render: false where the matte of this frame, shrunk by a whole factor, is another one than the
    // one that was seen at it before. All others are forgotten then.
    bool begin(const K7Image& matte, int frame, int shrink);
    // Without a matte: false where there was one.
    bool begin_without();

  private:
    std::map<int, std::uint64_t> m_prints;  // of the frames that were rendered
};
