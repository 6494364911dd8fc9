// The pixels that raster graphics draw on, and the mapping of normalised coordinates onto them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <type_traits>

#include "imagelib/imagelib.h"

struct GraphicsColour {
    float r = 0, g = 0, b = 0, a = 0;
};

// -1 to 1 in each axis onto a device of width x height pixels.
class NDC_to_DC {
  public:
    NDC_to_DC() { derive(); }
    virtual ~NDC_to_DC() = default;

    // Modes 1 and 2 keep shapes: 1 fits the square into the device, 2 fills the device; 3 and 4 are the same two for a
    // device taller than wide, which 1 and 2 turn into by themselves. 5 stretches each axis to its own size.
    bool set_fit_mode(int mode);
    bool set_device(float width, float height, float device_aspect, float window_aspect = 1);
    int fit_mode() const { return m_mode; }
    float device_width() const { return m_width; }
    float device_height() const { return m_height; }

    void to_device(const float ndc[2], float device[2]) const {
        device[0] = ndc[0] * m_x_scale + m_x_centre;
        device[1] = ndc[1] * m_y_scale + m_y_centre;
    }
    void from_device(const float device[2], float ndc[2]) const {
        ndc[0] = (device[0] - m_x_centre) / m_x_scale;
        ndc[1] = (device[1] - m_y_centre) / m_y_scale;
    }

  private:
    void derive();

    float m_width = 100, m_height = 100;
    float m_device_pixel_aspect = 1, m_window_pixel_aspect = 1;
    int m_mode = 1;
    float m_x_scale = 50, m_y_scale = 50, m_x_centre = 50, m_y_centre = 50;
};

class ImageDev : public NDC_to_DC {
  public:
    enum Blend { REPLACE = 1, ADD = 2, OVER = 3 };
    static constexpr float FARTHEST = 3e38F;  // the depth of an empty picture

    // Sizes 2 to 65535, an aspect above 0 and up to 1000, a sample type as depth code; anything else is refused and
    // changes nothing. Images that fit are kept as they are. A device that does not own its target draws on the image
    // of set_target.
    bool prepare_device(int width, int height, float aspect, int depth_code, bool owns_target = true);
    bool set_target(K7Image* image);  // 4 channels, of the device's size and depth; false when the device owns its own
    bool device_ready() const { return m_ready; }
    bool device_used() const { return m_used; }

    void clear_device(const GraphicsColour& colour);

    K7Image* target() const { return m_owns_target ? m_own_target.get() : m_other_target; }

    void set_device_colour(const GraphicsColour& colour) {
        m_previous = m_current;
        m_current = colour;
    }
    bool set_blend(int mode);
    // Bands and rows run through this, or on the calling thread.
    void set_multiprocess(void* context, RowDispatcher launcher) { m_runner = {context, launcher}; }

    // The colour between the previous (coverage 0) and the current one (1), its alpha times t, by the blend that is
    // set.
    virtual void pixel(int x, int y, float coverage, float t);
    virtual void pixel_colour(int x, int y, const GraphicsColour& colour, int blend);

  protected:
    // A level 0 to 1 in the units of the target, limited to what it holds.
    static double to_units(float level, int depth_code);
    // Samples of `levels` over a divisor. `stream`: past the caches.
    static void store(void* out, int count, const float* levels, float divisor, int depth_code, bool stream = false);
    // Pixels of four samples, laid over what is there: level + (1 - its alpha) * there.
    static void store_over(void* out, int pixels, const float* levels, float divisor, int depth_code);
    static void clear_bytes(std::byte* out, std::size_t count, bool stream);
    static bool streams(const K7Image* image);  // it is too large for the caches
    static void finish_streams();               // before another thread reads what was stored past the caches

    RowRunner m_runner;  // of bands and rows
    bool m_used = false;
    float m_device_pen[3] = {0, 0, 0};
    bool m_swap_axes = false;
    GraphicsColour m_current, m_previous;

  private:
    bool m_ready = false;
    int m_blend_mode = OVER;
    bool m_owns_target = true;
    int m_target_depth = SAMPLE_F32;
    ImagePtr m_own_target;
    K7Image* m_other_target = nullptr;
};
