#include "effects/PassThrough.h"

PassThroughInfo::PassThroughInfo(const PassThroughRow& row) : m_page(this, row.traits.name) {
    for (const ClipParam& clip : row.clips)
        if (clip.name) m_clips.push_back(std::make_unique<ClipRecord>(this, clip));
}
