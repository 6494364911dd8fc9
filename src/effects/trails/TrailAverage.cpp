#include "effects/trails/TrailAverage.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_composite.h"
#include "imagelib/imagelib_range.h"

namespace {

void premultiply(K7Image& image) {
    for_rows_float(image.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* pixel = image_row<float>(&image, y);
            for (int x = 0; x < image.width; ++x, pixel += 4)
                for (int c = 0; c < 3; ++c) pixel[c] *= pixel[3];
        }
    });
}

// The frame that leaves a window of `length` frames when this one enters it.
int oldest_frame(int frame, int length, int first) { return std::max(frame - length, first); }

// How often a frame of the run is in the window that ends with the newest one.
int times_in_window(int frame, int newest, int length, int first) {
    if (frame > first) return newest - frame < length;
    return std::max(length - (newest - first), 0);
}

}  // namespace

// ---- Frames ---------------------------------------------------------------------------------------------------

TrailAverage::Settings TrailAverage::settings(const TrailAverageInfo& from) {
    Settings now;
    now.style = from.DoStyle.value;
    if (now.style == StaggerRGB)
        now.lengths = {from.EnduranceR.value, from.EnduranceG.value, from.EnduranceB.value};
    else
        now.lengths = {from.Endurance.value, from.Endurance.value, from.Endurance.value};
    if (now.style == BoostBright) now.boost = from.LumBoost.value;
    now.usesMatte = from.MatteShuffle.value || from.MattePreMultiply.value;
    now.premultiplies = from.MattePreMultiply.value;
    return now;
}

// The frame itself, then those that leave the sums, the oldest last: hosts are told of the range between the two ends.
void TrailAverage::FramePrepare(TrailAverageInfo& plan, const FrameSpan& frames) const {
    const int frame = static_cast<int>(frames.current), begins = m_first_of_run;
    const TrailLengths lengths = settings(plan).lengths;
    int oldest[] = {oldest_frame(frame, lengths.red, begins), oldest_frame(frame, lengths.green, begins),
                    oldest_frame(frame, lengths.blue, begins)};
    std::sort(std::begin(oldest), std::end(oldest), std::greater<>());
    for (ClipRecord* clip : {&plan.input, &plan.matte}) {
        clip->addFrame(frame);
        int before = frame;
        for (const int wanted : oldest) {
            if (wanted < before) clip->addFrame(wanted);
            before = std::min(wanted, before);
        }
    }
}

// A frame as the sums take it: with the matte as its alpha, and in brightness and colour for BoostBright. Null where
// that is the frame as it is.
ImagePtr TrailAverage::prepared(const K7Image& frame, const K7Image& matteImage, const Settings& now) const {
    if (!now.usesMatte && now.style != BoostBright) return {};
    ImagePtr image(made(image_duplicate(&frame)));
    if (now.usesMatte) {
        constexpr int ALPHA_FROM_FIRST[] = {-1, -1, -1, 1};
        made(image_copy_mapped(&matteImage, image.get(), ALPHA_FROM_FIRST, 4));
        if (now.premultiplies) premultiply(*image);
    }
    if (now.style == BoostBright) image_rgb_to_yuv_curve(image.get(), image.get(), static_cast<float>(now.boost));
    return image;
}

// A frame of the run, prepared; null where the host does not give it. Where the host gives no other frame of the matte
// its present one serves; without a matte the frame is its own, as everywhere.
ImagePtr TrailAverage::pastFrame(int frame, const K7Image& layout, const Settings& now) {
    const auto blank = [&] { return made(make_image_uncleared(layout.width, layout.height, 4, SAMPLE_F32)); };
    ImagePtr image = blank();
    if (!input.GetFrame(frame, image.get())) return {};
    ImagePtr pastMatte;
    const K7Image* matteImage = image.get();
    if (now.usesMatte && clipProperties(matte.handle()).intOr(ofx::prop::ClipConnected, 0)) {
        pastMatte = blank();
        matteImage = matte.GetFrame(frame, pastMatte.get()) ? pastMatte.get() : matte.image.get();
    }
    ImagePtr result = prepared(*image, *matteImage, now);
    return result ? std::move(result) : std::move(image);
}

// ---- The run --------------------------------------------------------------------------------------------------

bool TrailAverage::mustRestart(int frame, const K7Image& source) const {
    return !m_begun || frame < m_run.last || frame == m_run.first || source.width != m_run.width ||
           source.height != m_run.height || ReStartSecret.value != m_run.secret;
}

// The sums begin full of the first frame, so that a still picture stays as it is.
void TrailAverage::beginRun(const K7Image& newest, const Settings& now, K7Image& result) {
    m_sums.begin(result, now.style == StaggerRGB ? TrailKind::Apart : TrailKind::Together);
    m_sums.add(newest, now.lengths);
    if (now.style == BoostBright)
        m_sums.average(now.lengths, result);
    else
        image_copy(&newest, &result);
}

bool TrailAverage::continueRun(const K7Image& newest, int frame, K7Image& result) {
    const Settings& now = m_run.settings;
    const int lengths[] = {now.lengths.red, now.lengths.green, now.lengths.blue};
    ImagePtr fetched[3];
    const K7Image* oldest[3] = {};
    for (int c = 0; c < 3; ++c) {
        const auto leaving = [&](int channel) { return oldest_frame(frame, lengths[channel], m_run.first); };
        if (frame == m_run.last) {  // the same frame again: it replaces what was added for it
            oldest[c] = m_newest.get();
            continue;
        }
        for (int other = 0; other < c; ++other)
            if (leaving(other) == leaving(c)) oldest[c] = oldest[other];
        if (oldest[c]) continue;
        fetched[c] = pastFrame(leaving(c), newest, now);
        oldest[c] = fetched[c].get();
        if (!oldest[c]) return false;
    }
    if (!oldest[0]) return false;
    m_sums.step(oldest, newest, now.lengths, result);
    return true;
}

// The sums as they would be had the run been rendered with these settings from its first frame on.
bool TrailAverage::sumAgain(const K7Image& newest, int frame, const Settings& now, K7Image& result) {
    m_sums.begin(result, now.style == StaggerRGB ? TrailKind::Apart : TrailKind::Together);
    const int longest = std::max({now.lengths.red, now.lengths.green, now.lengths.blue});
    for (int past = std::max(frame - longest + 1, m_run.first); past <= frame; ++past) {
        if (abortRequested()) return false;
        const ImagePtr image = past < frame ? pastFrame(past, newest, now) : nullptr;
        if (past < frame && !image) return false;
        const auto times = [&](int length) { return times_in_window(past, frame, length, m_run.first); };
        m_sums.add(image ? *image : newest,
                   {times(now.lengths.red), times(now.lengths.green), times(now.lengths.blue)});
    }
    m_sums.average(now.lengths, result);
    return true;
}

void TrailAverage::ProcessFrame() {
    K7Image *source = input.image.get(), *result = output.image.get();
    const StageTimer timer("TrailAverage (CPU)");
    const int frame = static_cast<int>(currentFrame);
    const Settings now = settings(*this);
    ImagePtr changed = prepared(*source, *matte.image, now);
    const K7Image& newest = changed ? *changed : *source;

    if (m_restart_asked.exchange(false)) m_begun = false;
    bool restart = mustRestart(frame, *source);
    const bool begun = std::exchange(m_begun, false);  // what throws from here on ends the run
    if (!restart && now == m_run.settings) {
        restart = !continueRun(newest, frame, *result);
    } else if (!restart) {
        m_run.settings = {};  // until the sums are complete again
        restart = !sumAgain(newest, frame, now, *result);
    }
    if (restart) {
        if (abortRequested()) {  // which may be why a frame was missing: the run stays valid
            m_begun = begun;
            return;
        }
        beginRun(newest, now, *result);
        m_first_of_run = frame;
        m_run = {frame, frame, source->width, source->height, ReStartSecret.value, now};
    }
    m_run.last = frame;
    m_run.settings = now;
    if (now.style == BoostBright) image_yuv_curve_to_rgb(result, result, static_cast<float>(now.boost));
    finish(*result);
    // The frame is ours from here on.
    m_newest = changed ? std::move(changed) : std::move(input.image);
    m_begun = true;
}

void TrailAverage::finish(K7Image& result) {
    if (DoBlur.value && Blur.value > 0.0) {
        const float radius = static_cast<float>(Blur.value) / result.unit_scale;
        made(image_gaussian_blur(&result, radius, radius, 15));
    }
    if (DoComp.value)
        image_composite(&result, &result, COMPOSITE_OVER, background.image.get(), PreMultiply.value, -1, -1, -1, -1);
}

// ---- The button -----------------------------------------------------------------------------------------------

void TrailAverage::ButtonPressed(ButtonControlK7& button) {
    if (&button != &Restart) return;
    ReStartSecret.count();
    MarkRestart();
}
