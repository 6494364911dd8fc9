// A picture on its way through a television system, and what happens to it there.
//
// Lines count from the bottom, row 0, as everywhere; columns from the left. Luminance y is 0 for black and 1 for white;
// u and v are the colour differences of ITU-R BT.601, 0.492 (B - Y) and 0.877 (R - Y). Alpha goes along unchanged by
// faults, moved with the lines.
//
// All faults are hashes of a place, a frame and a seed, so that any frame can be made alone, by any number of threads.
#pragma once

#include <cstdint>
#include <vector>

#include "imagelib/imagelib.h"
#include "noiselib/place_hash.h"

struct VideoFrame {
    VideoFrame(int frame_columns, int frame_lines);
    explicit VideoFrame(const K7Image& rgba);  // four channels of floats

    int columns, lines;
    std::vector<float> y, u, v, alpha;

    float* row(std::vector<float>& plane, int line) { return plane.data() + std::size_t(line) * std::size_t(columns); }
    const float* row(const std::vector<float>& plane, int line) const {
        return plane.data() + std::size_t(line) * std::size_t(columns);
    }
    ImagePtr image() const;  // four channels of floats, values below 0 as 0
};

// Which of the random numbers are meant: they differ with each field.
struct VideoMoment {
    std::uint32_t seed = 0;
    int frame = 0;       // of the faults; it stands still where they shall
    double seconds = 0;  // of what moves steadily
};

// The stream of one kind of fault at a moment.
inline std::uint32_t video_stream(const VideoMoment& moment, std::uint32_t kind) {
    return place_hash(place_hash(moment.seed, kind), static_cast<std::uint32_t>(moment.frame));
}

// ---- Tape -----------------------------------------------------------------------------------------------------

struct TapeFaults {
    int generations = 0;     // copies; 0 leaves the detail as it is
    float jitter = 0;        // columns that a line is early or late at most
    float skew = 0;          // columns that the highest line is bent by
    float head_switch = 0;   // lines at the bottom, torn
    float tracking = 0;      // 0 to 1
    float drop_outs = 0;     // dashes a frame
    float chroma_delay = 0;  // columns, to the right
    bool any() const {
        return generations > 0 || jitter > 0 || skew > 0 || head_switch > 0 || tracking > 0 || drop_outs > 0 ||
               chroma_delay != 0;
    }
};
void play_tape(VideoFrame& video, const TapeFaults& faults, const VideoMoment& moment);

// ---- Reception ------------------------------------------------------------------------------------------------

void add_snow(VideoFrame& video, float share, const VideoMoment& moment);  // 0 to 1
void add_ghost(VideoFrame& video, float strength, float delay);            // delay in columns to the right

// Rounds the cosine transform of blocks of 8 x 8, luminance at full and colour at half resolution, to the steps of
// ITU-T T.81, annex K, times `coarseness`; 0 leaves the picture as it is.
void compress_blocks(VideoFrame& video, float coarseness);
// Rows of blocks of 16 x 16 of which that share goes astray from some block to the right end.
void misplace_blocks(VideoFrame& video, float share, const VideoMoment& moment);
