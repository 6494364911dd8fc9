// The fluid under a flowing picture: makes it, and takes one step a render. It carries no density but two coordinate
// maps, through which FluidFlow::flow_image() shows a picture.
#pragma once

#include "effects/fluids/FlowControls.h"
#include "effects/fluids/FluidRun.h"

// What moves the fluid and stands in its way, all of one size.
struct FlowPictures {
    const K7Image* input;
    const K7Image* force;    // the input where there is no other
    const K7Image* barrier;  // null: no barriers
    int boundaryLayer;       // FluidBoundaryLayer
};

class FlowSolver {
  public:
    // A new fluid at rest.
    void begin(FluidRun& run, const FlowControls& controls, bool barriers, double frame);
    // One step at a frame.
    void step(FluidFlow& flow, const FlowControls& controls, const FlowPictures& pictures, double frame) const;

  private:
    void push(FluidFlow& flow, const FlowControls& controls, const FlowPictures& pictures) const;
    void loadLuminance(FluidFlow& flow, const K7Image& picture) const;

    int m_density = -1, m_temperature = -1, m_barrier = -1;  // slots
};
