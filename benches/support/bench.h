// One measurement = one subject done by one contender, on one and on two threads.
//
//     const Bench quillon_5x5("minimum 5x5", QUILLON, 2, [](int) {
//         auto source = test_frame(), result = blank_frame();
//         return [=] { image_window_extreme(source.get(), result.get(), false, window); };
//     });
//
// The factory runs once before each measurement and gives back the work that is timed. Contenders of the same subject
// are compared with QUILLON in the table; `streams` says how many frames (1920x1080 float RGBA) the work must at
// least read or write, so that its time can be held against a two-thread memcpy (two streams) of the same run.
// 0 streams: no such comparison.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "imagelib/imagelib.h"

inline constexpr char QUILLON[] = "quillon";

class Bench {
  public:
    using Work = std::function<void()>;
    using Factory = std::function<Work(int threads)>;
    Bench(std::string subject, std::string contender, double streams, Factory factory);
};

// ---- Frames ---------------------------------------------------------------------------------------------------

inline constexpr int FRAME_WIDTH = 1920, FRAME_HEIGHT = 1080;

using SharedImage = std::shared_ptr<K7Image>;

// Pages touched, so that the first timed run does not pay for them.
SharedImage blank_frame(int channels = 4, int sample_type = SAMPLE_F32, int width = FRAME_WIDTH,
                        int height = FRAME_HEIGHT);
// Gradients under grain, all samples from 0 to the full value, the same in every run.
SharedImage test_frame(int channels = 4, int sample_type = SAMPLE_F32, int width = FRAME_WIDTH,
                       int height = FRAME_HEIGHT);
