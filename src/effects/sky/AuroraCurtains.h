// The curtains of Q_Aurora in the plan: where they hang at a moment, and how brightly each part of them shines.
//
// All follows from the time in closed form: waves and folds are patterns of noise through which the line is carried,
// each bending what the one before it left, so that folds overlap and hang over; curls wind the line up around points
// that are born and die along it.
#pragma once

#include <vector>

#include "effects/sky/AuroraCamera.h"
#include "noiselib/solidnoise.h"

// A point that draws curtains towards it. Places and lengths in widths of the picture, from its middle.
struct AuroraSuction {
    AuroraPoint place;
    float radius;
    float pull;   // part of the way to it, at its middle
    float twist;  // radians, at its middle
};

struct AuroraFolding {
    float folds, fold_size;      // depth of folds over their size; sizes in widths of the picture
    float ripples, ripple_size;  // likewise
    float curls, curl_size;      // turns at the middle; radius
    // Moments: of slow waves, ripples and rays, each in its own time
    double waves, rippling, drifting, flickering;
};

struct AuroraShine {
    float rays, ray_size;  // contrast of rays, their width
    float tall;            // how far rays reach up, 0 to 1
    float patches;         // how much the brightness varies along the curtains
    float ends;            // part of the line over which it fades in and out
    float fall_off;        // brightness of each further curtain
    float spacing;         // distance between curtains, over their own
    std::uint32_t seed;
};

// A place of a curtain, with the light of what hangs up to the next one.
struct AuroraStrand {
    float azimuth;       // radians, -pi to pi
    float distance;      // from the camera, in heights of the lower border, in the plan
    float log_distance;  // natural
    float length;        // to the next strand
    float lift;          // logarithm of what heights are multiplied by
    float light[4];      // of the even part, of tall rays, of the upper slow light, of the lower fringe
};

class AuroraCurtains {
  public:
    // Through two or more points of the picture. `tallness`: height of the picture in widths.
    AuroraCurtains(const AuroraCamera& camera, const std::vector<AuroraPoint>& points, bool closed,
                   const AuroraShine& shine, std::vector<AuroraSuction> suctions);

    static constexpr int STRANDS = 6144;  // of a curtain
    static constexpr int BLOCK = 256;

    struct Curl {
        AuroraPoint place;
        float along;  // where on the line
        float turn;   // radians, at the middle
    };
    std::vector<Curl> curls_at(const AuroraFolding& folding, int curtain) const;
    // Strands [first, first + BLOCK] of which the last one shines not, to out; safe on several threads.
    void hang(const AuroraFolding& folding, const std::vector<Curl>& curls, int curtain, int first,
              AuroraStrand* out) const;
    float width_there() const { return m_width; }  // width of the picture at the line's middle, in the plan

  private:
    struct Bend;
    struct Block;
    void begin(int curtain, Block& block) const;
    void bend(const Bend& bend, Block& block) const;
    void carry(const AuroraFolding& folding, int curtain, Block& block) const;
    void draw_in(Block& block) const;
    void light(const AuroraFolding& folding, int curtain, const Block& block, AuroraStrand* out) const;
    // amplitude * noise at (along / size, y, z), less where strands are farther apart than half of `size`.
    void add_along(const Block& block, float size, double y, double z, float amplitude, float* sum) const;

    AuroraCamera m_camera;
    AuroraShine m_shine;
    std::vector<AuroraSuction> m_suctions;
    SolidNoise m_noise;
    float m_width = 1.0F;
    // Of the line: places in widths of the picture at its middle, lengths from its beginning, steps, brightness.
    std::vector<float> m_x, m_y, m_along, m_step, m_fade;
};
