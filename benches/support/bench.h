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

// What the fastest repetition of a subject may take at most on two threads. A run in which a gate is missed ends with
// exit code 1. Beside other work the clock shows that too: measure again on a quiet machine before believing a miss.
//
//     const BenchGate gate = BenchGate::milliseconds("fluid, velocity 128", 4.0);
struct BenchGate {
    enum class Unit { Milliseconds, Memcpys, Rival };
    std::string subject;
    double most;
    Unit unit;
    std::string rival;

    static BenchGate milliseconds(std::string subject, double most);
    // Times of a two-thread memcpy of one frame in the same run.
    static BenchGate memcpys(std::string subject, double most);
    // No slower than a rival in the same run; passes where it is not installed.
    static BenchGate rivals(std::string subject, std::string rival);

  private:
    BenchGate(std::string of, double limit, Unit in, std::string other = "");
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
