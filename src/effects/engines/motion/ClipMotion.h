// The motion of a clip: optical flow between successive frames, kept from render to render.
//
// Effects that follow what moves share it. Flow is found on pictures shrunk by a whole factor to about 320 x 180
// pixels, from each frame to the one before it. The median of a field stands for the camera: what an effect follows
// beside a panning camera is the flow less that median. Small things that jump by more than their own size, which no
// flow finds, are matched as a whole, and background that has just been uncovered is not carried along.
//
// What is kept is keyed by the number of the frame. Each render begins with the picture of its own frame: where this is
// not the picture that was seen at that frame before, or has another size, the clip has changed and all is forgotten.
// forget() does the same when the host tells of a change. The frames farthest from the present go first when the
// memory is used up. Neither what was kept nor the number of threads changes a bit of the result.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>

#include "flowfinderlib/flowfinderlib.h"
#include "imagelib/imagelib.h"

// All in pixels of the shrunk picture, v towards larger rows.
struct FrameMotion {
    ImagePtr back;                        // two floats: where a pixel of the frame lay in the one before it
    const K7Image* picture = nullptr;     // the frame, shrunk: float RGBA
    float camera_u = 0.0F, camera_v = 0;  // the median of it, 0 below a twentieth of a pixel
    bool whole = false;                   // false: the frame after it was not to be had, and it is found anew next time
};

class ClipMotion {
  public:
    // Gives a frame of the clip as float RGBA of the size of the picture that the render began with; null: there is
    // none. It is read before the next one is asked for.
    using Fetch = std::function<const K7Image*(int frame)>;

    // At the start of a render. False: everything that was kept has been forgotten.
    bool begin(const K7Image& picture, int frame);
    void forget() { m_forget = true; }  // from any thread; the next render does

    // The motion of a frame; null where it or the frame before it can't be had, or an end was asked for. Pictures that
    // are not known yet are fetched, the one after the frame too, where there is one: it tells what was uncovered. What
    // is answered stays until the next call of begin().
    const FrameMotion* at(int frame, const Fetch& fetch, const StopRequested& stop);
    // A picture that was fetched for another reason, so that it need not be again.
    void take(int frame, const K7Image& picture);

    int shrink() const { return m_shrink; }  // pixels of the picture along the side of one of the shrunk picture
    int width() const { return m_width; }    // of the shrunk picture
    int height() const { return m_height; }
    std::size_t kept_bytes() const;
    void set_budget(std::size_t bytes) { m_budget = bytes; }

  private:
    struct Known {
        std::uint64_t print = 0;  // of the shrunk picture
        ImagePtr picture, grey;   // shrunk: its colours, and the luminance that the flow is found on
        FrameMotion motion;
        bool has_motion = false;
    };
    Known shrunk(const K7Image& picture) const;
    const Known* known(int frame, const Fetch& fetch, const StopRequested& stop);
    bool find(Known& known, const Known& before, const Known* after, const StopRequested& stop);
    void thinOut();
    std::size_t frameBytes() const;

    std::atomic<bool> m_forget = false;
    bool m_cleared = false;
    std::map<int, Known> m_known;
    int m_picture_width = 0, m_picture_height = 0, m_shrink = 1, m_width = 0, m_height = 0;
    int m_present = 0;
    std::size_t m_budget = std::size_t(128) << 20;
    FlowFinder m_finder;
};
