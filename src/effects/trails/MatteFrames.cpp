#include "effects/trails/MatteFrames.h"

#include "effects/engines/replay/FrameClock.h"
#include "imagelib/imagelib_guided.h"
#include "k7pi_baselib/in_memory.h"

ImagePtr MatteFrames::at(ClipRecord& matte, int frame, bool present, bool& given) {
    const K7Image& now = *matte.image;
    ImagePtr then = made(make_image_uncleared(now.width, now.height, 4, SAMPLE_F32));
    given = present || matte.GetFrame(frame, then.get());
    if (present || !given) made(image_copy(&now, then.get()));
    return then;
}

bool MatteFrames::begin(const K7Image& matte, int frame, int shrink) {
    const ImagePtr small = made(image_shrunk(&matte, shrink));
    const std::uint64_t print = fingerprint(small->pixels, std::size_t(small->row_bytes) * std::size_t(small->height));
    if (m_prints.try_emplace(frame, print).first->second == print) return true;
    m_prints = {{frame, print}};
    return false;
}

bool MatteFrames::begin_without() {
    const bool same = m_prints.empty();
    m_prints.clear();
    return same;
}
