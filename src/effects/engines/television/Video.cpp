#include "effects/engines/television/Video.h"

#include <algorithm>
#include <cmath>

#include "Library2/Made.h"
#include "k7pi_baselib/rows.h"

namespace {

constexpr float RED = 0.299F, GREEN = 0.587F, BLUE = 0.114F;  // ITU-R BT.601
constexpr float U_SCALE = 0.492F, V_SCALE = 0.877F;

enum Fault : std::uint32_t { JITTER = 11, WANDER, BEND, HEADS, BAND, BAND_NOISE, DASHES, HISS, SNOW, ASTRAY, FLUTTER };

constexpr float FLUTTER_STEP = 0.23F;  // waves that pass in a frame
constexpr float BEND_FRAMES = 4.0F;    // in which the bend at the top goes from one width to another

std::size_t whole(int n) { return static_cast<std::size_t>(n); }

// Hashes at whole numbers, straight between them.
float wander(std::uint32_t stream, float place) {
    const float below = std::floor(place), part = place - below;
    const auto at = static_cast<std::uint32_t>(static_cast<std::int32_t>(below));
    const float a = signed_of(place_hash(stream, at)), b = signed_of(place_hash(stream, at + 1));
    return a + part * (b - a);
}

// out[x] = in[x - delay], black beyond the ends.
void shift_line(const float* in, float* out, int columns, float delay) {
    const float whole_delay = std::floor(delay), part = delay - whole_delay;
    const int first = static_cast<int>(std::clamp(whole_delay, -1e6F, 1e6F));
    for (int x = 0; x < columns; ++x) {
        const int near = x - first, far = near - 1;
        const float a = near >= 0 && near < columns ? in[near] : 0.0F;
        const float b = far >= 0 && far < columns ? in[far] : 0.0F;
        out[x] = a + part * (b - a);
    }
}

// The mean of 2 radius + 1 samples, ends repeated.
void blur_line(float* line, float* scratch, int columns, int radius) {
    if (radius <= 0) return;
    const auto at = [&](int x) { return line[std::clamp(x, 0, columns - 1)]; };
    float sum = 0;
    for (int x = -radius; x <= radius; ++x) sum += at(x);
    const float share = 1.0F / static_cast<float>(2 * radius + 1);
    for (int x = 0; x < columns; ++x) {
        scratch[x] = sum * share;
        sum += at(x + radius + 1) - at(x - radius);
    }
    std::copy_n(scratch, columns, line);
}

// One copy of the luminance: a quarter of each neighbour.
void soften_line(float* line, int columns) {
    float before = line[0];
    for (int x = 0; x < columns; ++x) {
        const float here = line[x], after = line[std::min(x + 1, columns - 1)];
        line[x] = 0.25F * before + 0.5F * here + 0.25F * after;
        before = here;
    }
}

class Tape {
  public:
    Tape(const TapeFaults& faults, const VideoMoment& moment, int columns, int lines)
        : m_faults(faults), m_moment(moment), m_columns(columns), m_lines(lines) {
        const double periods = moment.seconds / 4.0 + 0.3;
        const auto period = static_cast<float>(periods - std::floor(periods));
        m_band = (1.3F * period - 0.15F) * static_cast<float>(lines);
    }

    // Columns that a line is late.
    float delay_of(int line) const {
        const float from_top = static_cast<float>(m_lines - 1 - line), height = static_cast<float>(m_lines);
        // The drum's speed flutters: waves that travel through the picture. The rest is another one in each frame.
        const float waves =
            static_cast<float>(line) / 9.0F + FLUTTER_STEP * static_cast<float>(m_moment.frame % 100000);
        float delay = m_faults.jitter * (0.5F * wander(lasting_stream(FLUTTER), waves) +
                                         0.3F * wander(stream(WANDER), static_cast<float>(line) / 7.0F) +
                                         0.2F * signed_of(place_hash(stream(JITTER), std::uint32_t(line))));
        const float top = std::max(1.0F - from_top / (0.09F * height), 0.0F);
        delay += m_faults.skew * top * top * (0.85F + 0.15F * wander(lasting_stream(BEND), bend_place()));
        if (static_cast<float>(line) < m_faults.head_switch) {
            const float depth = 1.0F - static_cast<float>(line) / m_faults.head_switch;
            delay += 0.06F * static_cast<float>(m_columns) * (0.4F + depth) +
                     0.015F * static_cast<float>(m_columns) * signed_of(place_hash(stream(HEADS), std::uint32_t(line)));
        }
        const float band = in_band(line);
        return delay +
               band * 0.05F * static_cast<float>(m_columns) * wander(stream(BAND), static_cast<float>(line) / 3.0F);
    }

    // What lies over the luminance of a line: the hiss of the copies, torn streaks where heads switch or tracking is
    // off.
    void scratch_line(int line, float* y, float* u, float* v) const {
        const std::uint32_t hiss = place_hash(stream(HISS), std::uint32_t(line));
        const float loud = 0.012F * static_cast<float>(m_faults.generations);
        const float torn =
            std::max(0.7F * in_band(line), static_cast<float>(line) < m_faults.head_switch ? 0.5F : 0.0F);
        if (loud == 0.0F && torn == 0.0F) return;
        const std::uint32_t noise = place_hash(stream(BAND_NOISE), std::uint32_t(line));
        for (int x = 0; x < m_columns; ++x) {
            y[x] += loud * signed_of(place_hash(hiss, std::uint32_t(x)));
            if (torn == 0.0F) continue;
            const float dash = unit_of(place_hash(noise, std::uint32_t(x) / 6));
            const float white = std::max(dash - (1.0F - 0.45F * torn), 0.0F) / (0.45F * torn);
            y[x] += white * (1.0F - y[x]);
            u[x] *= 1.0F - torn, v[x] *= 1.0F - torn;
        }
    }

    void add_dashes(VideoFrame& video) const {
        const std::uint32_t dashes = stream(DASHES);
        const float wanted = m_faults.drop_outs;
        const int count = static_cast<int>(wanted + unit_of(dashes));
        for (int i = 0; i < count; ++i) {
            const std::uint32_t dash = place_hash(dashes, std::uint32_t(i));
            const auto pick = [&](std::uint32_t n) { return unit_of(place_hash(dash, n)); };
            const int line = static_cast<int>(pick(1) * static_cast<float>(m_lines));
            const int begin = static_cast<int>(pick(2) * static_cast<float>(m_columns));
            const float squared = pick(3) * pick(3);
            const int length = 3 + static_cast<int>(squared * 0.12F * static_cast<float>(m_columns));
            const float level = pick(4) < 0.75F ? 1.0F : 0.0F;
            float* y = video.row(video.y, line);
            for (int x = begin; x < std::min(begin + length, m_columns); ++x) {
                const float gone = 1.0F - static_cast<float>(x - begin) / static_cast<float>(length);
                y[x] += std::min(1.5F * gone, 1.0F) * (level - y[x]);
            }
        }
    }

  private:
    std::uint32_t stream(Fault kind) const { return video_stream(m_moment, kind); }
    std::uint32_t lasting_stream(Fault kind) const { return place_hash(m_moment.seed, kind); }
    float bend_place() const { return static_cast<float>(m_moment.frame % 100000) / BEND_FRAMES; }
    // 1 in the middle of the band where tracking is off, 0 outside.
    float in_band(int line) const {
        if (!(m_faults.tracking > 0)) return 0.0F;
        const float reach = (0.03F + 0.09F * m_faults.tracking) * static_cast<float>(m_lines);
        const float distance = std::fabs(static_cast<float>(line) - m_band) / reach;
        return distance < 1.0F ? m_faults.tracking * (1.0F - distance * distance) : 0.0F;
    }

    const TapeFaults& m_faults;
    const VideoMoment& m_moment;
    int m_columns, m_lines;
    float m_band;
};

}  // namespace

// ---- Frames ---------------------------------------------------------------------------------------------------

VideoFrame::VideoFrame(int frame_columns, int frame_lines) : columns(frame_columns), lines(frame_lines) {
    for (std::vector<float>* plane : {&y, &u, &v, &alpha}) plane->resize(whole(columns) * whole(lines));
}

VideoFrame::VideoFrame(const K7Image& rgba) : VideoFrame(rgba.width, rgba.height) {
    each_row_float(lines, [&](int line) {
        const float* in = image_row<float>(&rgba, line);
        float *to_y = row(y, line), *to_u = row(u, line), *to_v = row(v, line), *to_alpha = row(alpha, line);
        for (int x = 0; x < columns; ++x, in += 4) {
            const float light = RED * in[0] + GREEN * in[1] + BLUE * in[2];
            to_y[x] = light, to_u[x] = U_SCALE * (in[2] - light), to_v[x] = V_SCALE * (in[0] - light);
            to_alpha[x] = in[3];
        }
    });
}

ImagePtr VideoFrame::image() const {
    ImagePtr rgba = made(make_image_uncleared(columns, lines, 4, SAMPLE_F32));
    each_row_float(lines, [&](int line) {
        float* out = image_row<float>(rgba.get(), line);
        const float *from_y = row(y, line), *from_u = row(u, line), *from_v = row(v, line);
        const float* from_alpha = row(alpha, line);
        for (int x = 0; x < columns; ++x, out += 4) {
            const float red = from_y[x] + from_v[x] * (1.0F / V_SCALE), blue = from_y[x] + from_u[x] * (1.0F / U_SCALE);
            const float green = (from_y[x] - RED * red - BLUE * blue) * (1.0F / GREEN);
            out[0] = std::max(red, 0.0F), out[1] = std::max(green, 0.0F), out[2] = std::max(blue, 0.0F);
            out[3] = from_alpha[x];
        }
    });
    return rgba;
}

// ---- Tape -----------------------------------------------------------------------------------------------------

void play_tape(VideoFrame& video, const TapeFaults& faults, const VideoMoment& moment) {
    if (!faults.any()) return;
    const int columns = video.columns;
    const Tape tape(faults, moment, columns, video.lines);
    // The colour of a tape has a sixth of the detail of its luminance, and loses more with each copy.
    const int coarse = faults.generations > 0 ? std::max(columns * (2 + faults.generations) / 850, 1) : 0;
    const float faded = 1.0F - 0.05F * static_cast<float>(faults.generations);
    const auto playLine = [&](int line, std::vector<float>& before, std::vector<float>& scratch) {
        const float delay = tape.delay_of(line);
        float *y = video.row(video.y, line), *alpha = video.row(video.alpha, line);
        float* colours[] = {video.row(video.u, line), video.row(video.v, line)};
        for (int copy = 0; copy < faults.generations; ++copy) soften_line(y, columns);
        std::copy_n(y, columns, before.data());
        shift_line(before.data(), y, columns, delay);
        std::copy_n(alpha, columns, before.data());
        if (delay != 0.0F) {
            shift_line(before.data(), alpha, columns, delay);
            // Where a line has slid away the picture is black, not gone.
            const float edge = before[0], other = before[whole(columns) - 1];
            const int late = static_cast<int>(std::ceil(delay)), early = static_cast<int>(std::ceil(-delay));
            for (int x = 0; x < std::min(late, columns); ++x) alpha[x] = edge;
            for (int x = std::max(columns - early, 0); x < columns; ++x) alpha[x] = other;
        }
        for (float* colour : colours) {
            for (int pass = 0; pass < 2; ++pass) blur_line(colour, scratch.data(), columns, coarse);
            std::copy_n(colour, columns, before.data());
            shift_line(before.data(), colour, columns, delay + faults.chroma_delay);
            for (int x = 0; x < columns; ++x) colour[x] *= faded;
        }
        tape.scratch_line(line, y, colours[0], colours[1]);
    };
    for_rows_float(video.lines, [&](int first, int last) {
        if (first > last) return;
        std::vector<float> before(whole(columns)), scratch(whole(columns));
        for (int line = first; line <= last; ++line) playLine(line, before, scratch);
    });
    tape.add_dashes(video);
}

// ---- Reception ------------------------------------------------------------------------------------------------

void add_snow(VideoFrame& video, float share, const VideoMoment& moment) {
    if (!(share > 0)) return;
    const std::uint32_t stream = video_stream(moment, SNOW);
    each_row_float(video.lines, [&](int line) {
        const std::uint32_t words = place_hash(stream, std::uint32_t(line));
        float *y = video.row(video.y, line), *u = video.row(video.u, line), *v = video.row(video.v, line);
        for (int x = 0; x < video.columns; ++x) {
            const float grain = unit_of(place_hash(words, std::uint32_t(x)));
            y[x] += share * (1.15F * grain * grain - y[x]);
            u[x] *= 1.0F - share, v[x] *= 1.0F - share;
        }
    });
}

void add_ghost(VideoFrame& video, float strength, float delay) {
    if (!(strength > 0)) return;
    for_rows_float(video.lines, [&](int first, int last) {
        if (first > last) return;
        std::vector<float> echo(whole(video.columns));
        for (int line = first; line <= last; ++line)
            for (std::vector<float>* plane : {&video.y, &video.u, &video.v}) {
                float* values = video.row(*plane, line);
                shift_line(values, echo.data(), video.columns, delay);
                // A mean, so that white stays white.
                for (int x = 0; x < video.columns; ++x)
                    values[x] = (values[x] + strength * echo[whole(x)]) / (1.0F + strength);
            }
    });
}

void misplace_blocks(VideoFrame& video, float share, const VideoMoment& moment) {
    constexpr int SIDE = 16;
    if (!(share > 0) || video.columns < SIDE) return;
    const VideoFrame before = video;
    const std::uint32_t stream = video_stream(moment, ASTRAY);
    const int blocks = video.columns / SIDE;
    for (int top = video.lines, slice = 0; top > 0; top -= SIDE, ++slice) {
        const std::uint32_t words = place_hash(stream, std::uint32_t(slice));
        const auto pick = [&](std::uint32_t n) { return unit_of(place_hash(words, n)); };
        if (pick(1) >= share) continue;
        const int begin = SIDE * static_cast<int>(pick(2) * static_cast<float>(blocks));
        const int length = SIDE * (1 + static_cast<int>(pick(7) * pick(7) * static_cast<float>(blocks)));
        const int end = std::min(begin + length, video.columns);
        const int dx = SIDE * static_cast<int>((pick(3) - 0.5F) * 12.0F);
        const int dy = SIDE * static_cast<int>((pick(4) - 0.5F) * 6.0F);
        const bool flat = pick(5) < 0.35F;  // only the means have come through
        const float tinge = 0.12F * (pick(6) - 0.5F);
        for (int line = std::max(top - SIDE, 0); line < top; ++line)
            for (int x = begin; x < end; ++x) {
                const int from_x = flat ? x - x % SIDE + SIDE / 2 : x + dx;
                const int from_line = flat ? top - SIDE / 2 : line + dy;
                const std::size_t from = whole(std::clamp(from_line, 0, video.lines - 1)) * whole(video.columns) +
                                         whole(std::clamp(from_x, 0, video.columns - 1));
                const std::size_t to = whole(line) * whole(video.columns) + whole(x);
                video.y[to] = before.y[from];
                video.u[to] = before.u[from] + tinge, video.v[to] = before.v[from] - tinge;
            }
    }
}
