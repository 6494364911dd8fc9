// flowfinderlib: where the pixels of one picture lie in another one, and the pictures in between.
//
// Rules common to all functions:
// - A flow field is an image of two floats, (u, v) in pixels: pixel (x, y) of the one picture lies at (x + u, y + v) of
//   the other. Rows count as in the image record: v is positive towards larger row indices.
// - Pictures are of any sample type and number of channels, both of one layout. Colour may be premultiplied or not for
//   the search; what is mixed (in-betweens, motion blur) should be premultiplied, as mixes of straight colours show the
//   colours of transparent pixels. Samples that are not finite count as 0.
// - Nothing throws: false (or null) where a picture is missing, layouts differ, a number is out of its range, there is no
//   memory, or `stop` has asked for an end.
// - Results do not depend on threads, processor or what was asked before.
//
// The method: a dense inverse search from coarse to fine (Kroeger and others 2016) gives each level a start, a
// variational refinement (Brox and others 2004) makes it smooth and exact, down to the full size.
#pragma once

#include <memory>

#include "imagelib/imagelib.h"

// ---- Settings -----------------------------------------------------------------------------------------------------

enum FlowChannel : int { FLOW_LUMINANCE = 0 };  // channels count from 1
enum FlowPyramidFilter : int { FLOW_BOX = 0, FLOW_BINOMIAL = 1, FLOW_WIDE_BINOMIAL = 2 };

struct FlowSettings {
    float lambda1 = 1.0F;      // weight of equal brightness, 0 to 1000
    float lambda2 = 1.0F;      // weight of equal gradients, 0 to 1000; both 0: the search alone
    float smoothness = 1.0F;   // weight of a smooth flow, above 0 to 1000
    float sigma1_init = 1.0F;  // residual of the data in grey levels of 255 above which a pixel counts as an outlier,
    float sigma1_end = 0.1F;   // at the coarsest and at the finest level; above 0
    float sigma2_init = 0.1F;  // change of the flow from pixel to pixel above which there is an edge, in pixels,
    float sigma2_end = 0.01F;  // likewise
    float max_disp = 0.0F;     // longest flow in pixels; 0: no limit
    int pyr_filter = FLOW_BINOMIAL;
    int num_stages = 0;      // levels, each half as large as the one before; 0: as many as there are
    int num_iterations = 5;  // sweeps of the solver for each of its linear systems, 1 to 1000
    int oflow_res = 0;       // the finest level: 0 the full size, 1 half of it, to 8
    int proc_chan = FLOW_LUMINANCE;
    bool dc_fix = false;     // local differences of brightness between the pictures do not count
    int pf_filtrad = 1;      // radius of the median that the flow is cleaned with between steps: 0 or 1
};

bool flow_settings_are_valid(const FlowSettings& settings);

// ---- Flow ---------------------------------------------------------------------------------------------------------

// Finds flow between the pictures of a pair, in either direction. Memory is kept from pair to pair of one size.
class FlowFinder {
  public:
    FlowFinder();
    ~FlowFinder();
    FlowFinder(const FlowFinder&) = delete;
    FlowFinder& operator=(const FlowFinder&) = delete;

    // Both pictures are read here and not kept. False leaves the finder without a pair.
    bool set_pair(const K7Image* first, const K7Image* second, const FlowSettings& settings);
    // From the first picture to the second, or back: a new image of the pair's size.
    ImagePtr find(bool backward = false, const StopRequested& stop = {});

  private:
    struct State;
    std::unique_ptr<State> m_state;
};

// The flow from the first picture to the second, and the one back where asked for.
struct FlowFields {
    ImagePtr forward, backward;
};
bool find_flow(const K7Image* first, const K7Image* second, const FlowSettings& settings, bool both_ways,
               FlowFields& fields, const StopRequested& stop = {});
