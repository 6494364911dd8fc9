// flowfinderlib: where the pixels of one picture lie in another one, and the pictures in between.
//
// Rules common to all functions:
// - A flow field is an image of two floats, (u, v) in pixels: pixel (x, y) of the one picture lies at (x + u, y + v) of
//   the other. Rows count as in the image record: v is positive towards larger row indices.
// - Pictures are of any sample type and number of channels, both of one layout. Colour may be premultiplied or not for
//   the search; what is mixed (in-betweens, motion blur) should be premultiplied, as mixes of straight colours show the
//   colours of transparent pixels. Samples that are not finite count as 0.
// - Nothing throws. False (or null): a picture is missing, layouts differ, a number is out of its range, there is no
//   memory, or `stop` has asked for an end.
// - Results do not depend on threads, processor or what was asked before.
//
// The method: a dense inverse search from coarse to fine (Kroeger and others 2016) gives each level a start, a
// variational refinement (Brox and others 2004) makes it smooth and exact, down to the full size. With proc_chan 0 the
// search reads the first three channels of pictures that have them, the refinement their luminance.
#pragma once

#include <memory>

#include "imagelib/imagelib.h"

// ---- Settings -----------------------------------------------------------------------------------------------------

enum FlowChannel : int { FLOW_LUMINANCE = 0 };  // channels count from 1
enum FlowPyramidFilter : int { FLOW_BOX = 0, FLOW_BINOMIAL = 1, FLOW_WIDE_BINOMIAL = 2 };

struct FlowSettings {
    float lambda1 = 1.0F;      // weight of equal brightness, 0 to 1000
    float lambda2 = 0.5F;      // weight of equal gradients, 0 to 1000; both 0: the search alone
    float smoothness = 1.0F;   // weight of a smooth flow, above 0 to 1000
    float sigma1_init = 0.5F;  // residual of the data in grey levels of 255 above which a pixel counts as an outlier,
    float sigma1_end = 0.2F;   // at the coarsest and at the finest level; above 0
    float sigma2_init = 0.3F;  // change of the flow from pixel to pixel above which there is an edge, in pixels,
    float sigma2_end = 0.01F;  // likewise
    float max_disp = 0.0F;     // longest flow in pixels; 0: no limit
    int pyr_filter = FLOW_BINOMIAL;
    int num_stages = 0;       // levels, each half as large as the one before; 0: as many as there are
    int num_iterations = 10;  // sweeps of the solver for each of its linear systems, 1 to 1000
    int oflow_res = 0;        // the finest level: 0 the full size, 1 half of it, to 8
    int proc_chan = FLOW_LUMINANCE;
    bool dc_fix = false;  // local differences of brightness between the pictures do not count
    int pf_filtrad = 1;   // pixels: how far the median that cleans the flow between its steps reaches, 0 to 8
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

// ---- Pictures in between ------------------------------------------------------------------------------------------

struct BetweenSettings {
    float cover_thresh = 1.0F;     // pixels by which flow there and back may miss where a pixel counts as seen in both
    float velocity_thresh = 0.0F;  // shorter flow, in pixels, counts as none
    float fill_r_blur = 96.0F;     // pixels around a covered one in which it looks for its flow, 1 to 1000
    float fill_r_error = 0.1F;     // difference of colour up to which they count as the same thing, above 0
    bool fill_covered = true;      // without it covered pixels keep the flow that was found for them
    int warp_mode = 1;             // pictures are read: 0 bilinear, 1 cubic
    bool operator==(const BetweenSettings&) const = default;
};
bool between_settings_are_valid(const BetweenSettings& settings);

// 0 where a pixel is seen in the other picture, 1 where it is covered there or outside, by the flow from it and the
// flow back: an image of one float. Null where the images are no flow fields of one size.
ImagePtr flow_covered(const K7Image* flow, const K7Image* back, float threshold);

// Pictures between the two of a pair. What is seen in one of them only is taken from that one alone.
class FlowBetween {
  public:
    FlowBetween();
    ~FlowBetween();
    FlowBetween(const FlowBetween&) = delete;
    FlowBetween& operator=(const FlowBetween&) = delete;

    // The pictures have up to 4 channels. Without a backward field nothing is known of what is covered. Everything is
    // read here and not kept.
    bool set_pair(const K7Image* first, const K7Image* second, const FlowFields& fields,
                  const BetweenSettings& settings);
    // `scale`: how far the motion has gone, from 0 (as in the first picture) to 1. `mix`: how much of the second
    // picture is mixed in where both show a thing, 0 to 1; both are the time for a plain in-between. The result has the
    // pictures' layout. At 0, 0 and 1, 1 it equals them.
    bool at(float scale, float mix, K7Image* result, const StopRequested& stop = {}) const;

  private:
    struct State;
    std::unique_ptr<State> m_state;
};

// ---- Fields of interlaced pictures --------------------------------------------------------------------------------

// Rows 0, 2, 4, ... or rows 1, 3, 5, ...: null for a picture of a single row.
ImagePtr flow_take_field(const K7Image* picture, bool odd);
bool flow_put_field(const K7Image* field, bool odd, K7Image* picture);
