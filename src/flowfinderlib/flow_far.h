// Private to the flow finder: things that jump by more than their own size. Steps downhill do not reach them. Their
// patches fit nowhere near, and where they are now, no patch has come from.
#pragma once

#include "flowfinderlib/flow_finder.h"
#include "flowfinderlib/flow_search_simd.h"

// After the search of a level, in colour: lost patches look among the places that no other patch has found, and
// work.far marks what they find.
void flow_look_far(FlowSearch& search, FlowWork& work, const StopRequested& stop);
// The marks of a level begin as those of the coarser one.
void flow_keep_far(const FlowWork* coarser, FlowWork& work);

// The refinement sees brightness only, and smooths away what it can't see. Marked pixels are held where they were.
class FlowFarStart {
  public:
    explicit FlowFarStart(const FlowWork& work);
    // Not farther than so many pixels from where they were, along either side.
    void hold(FlowWork& work, float drift) const;

  private:
    std::vector<float> m_u, m_v;  // of marked pixels, row by row
};
