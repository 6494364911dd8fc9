// A fluid that goes on from render to render: each render takes one step, whichever frame it shows. A frame before the
// last one begins anew, as do another size, a button and whatever else the effect says. Nothing is replayed.
//
// A render of an effect goes this way:
//     m_run.arrive(frame, *output.image, {counters and settings whose change begins anew});
//     if (m_run.begins()) { m_run.create(...); fields, first loads }
//     m_run.restart();
//     ... a step of m_run.flow() ...
//     m_run.begun();
// The mark to begin anew stays until begun(), also when a render ends before that. So a fluid that an exception leaves
// halfway is not gone on with.
#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "fluidlib/fluidlib.h"
#include "imagelib/imagelib.h"

class FluidRun {
  public:
    void askRestart() { m_asked = true; }  // at any time, from any thread: the next render takes it

    // At a render's start. Takes the frame and the picture's size; remembers that the run begins anew where the frame
    // is before the last one, or the size or one of the numbers is another.
    void arrive(int frame, const K7Image& picture, std::vector<double> numbers);
    bool begins() const { return m_begins; }
    void restart() {
        m_begins = true;
        m_made = false;
    }
    void begun();

    // A new bounded solver, with closed walls, whose rows run on the threads of the image library. A density width of
    // 0: its fields have the velocity's grid.
    FluidFlow& create(int width, int height, int densityWidth = 0, int densityHeight = 0);
    FluidFlow* flow() const { return m_flow.get(); }  // null before create()
    // Whether there is a fluid of the picture's size that a run has begun with.
    bool fits(const K7Image& picture) const {
        return m_flow && m_made && m_made_width == picture.width && m_made_height == picture.height;
    }

    void traceTimes() const;  // of the last step

  private:
    std::atomic<bool> m_asked = false;
    bool m_begins = true;
    int m_frame = 0;  // of the last render
    int m_width = 0, m_height = 0;
    bool m_made = false;  // a run has begun with this fluid, for a picture of this size
    int m_made_width = 0, m_made_height = 0;
    std::vector<double> m_numbers;
    std::unique_ptr<FluidFlow> m_flow;
};
