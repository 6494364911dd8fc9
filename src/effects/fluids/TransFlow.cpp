#include "effects/fluids/TransFlow.h"

#include <algorithm>
#include <cmath>

#include "Library2/Made.h"
#include "imagelib/imagelib_composite.h"

namespace {

// Of a clip at a frame. The present frame where that is it, or where the host gives no other.
class ShownFrame {
  public:
    ShownFrame(ClipRecord& clip, int frame, double now) : m_image(clip.image.get()) {
        if (frame == static_cast<int>(now)) return;
        m_other = made(make_image_uncleared(m_image->width, m_image->height, 4, SAMPLE_F32));
        if (clip.GetFrame(frame, m_other.get())) m_image = m_other.get();
    }
    const K7Image& operator*() const { return *m_image; }
    const K7Image* get() const { return m_image; }

  private:
    const K7Image* m_image;
    ImagePtr m_other;
};

}  // namespace

// The speed is eased by smooth_step over the first and last frames: x^3 - x^4 / 2 is its integral.
double transition_mix(double n, double length, double fade) {
    n = std::clamp(n, 0.0, length);
    fade = std::min(fade, length / 2.0);
    if (!(fade > 0.0)) return n / length;
    if (n > length / 2.0) return 1.0 - transition_mix(length - n, length, fade);
    if (n >= fade) return (n - fade / 2.0) / (length - fade);
    const double x = n / fade;
    return fade * (x * x * x - x * x * x * x / 2.0) / (length - fade);
}

TransFlow::Moment TransFlow::moment(const TransFlowInfo& plan, double frame) {
    return {frame - plan.TransStart.value, static_cast<double>(plan.TransLength.value)};
}

TransFlow::Slipped TransFlow::slipped(const TransFlowInfo& plan, double frame) {
    if (!plan.UseSlip.value) return {static_cast<int>(frame), static_cast<int>(frame)};
    const double part = moment(plan, frame).part();
    const auto rounded = [&](double ahead) { return static_cast<int>(std::floor(frame + ahead + 0.5)); };
    return {rounded(plan.SlipStart.value * part), rounded(plan.SlipEnd.value * (1.0 - part))};
}

void TransFlow::FramePrepare(TransFlowInfo& plan, const FrameSpan& frames) const {
    const Slipped wanted = slipped(plan, frames.current);
    plan.from.addFrame(wanted.from);
    plan.to.addFrame(wanted.to);
}

void TransFlow::mix(FluidFlow& fluidFlow, const Moment& now, const K7Image& leaving, const K7Image& coming) {
    const double fade = UseDiss.value ? FadeLength.value : 0.0;
    const auto amount = static_cast<float>(transition_mix(now.n, now.length, fade));
    const ImagePtr second = made(make_image_uncleared(coming.width, coming.height, 4, SAMPLE_F32));
    // What has come in has settled: with an eased dissolve it comes to rest as gently.
    const float unsettled = 1.0F - amount;
    // At the beginning and at the end a pixel is one of its clip's, so that nothing turns soft from one frame to the
    // next.
    const auto spread = static_cast<float>(std::min(1.0, now.n / std::max(fade, 1.0)));
    made(fluidFlow.flow_image(&leaving, output.image.get(), true, {1.0F, spread}));
    made(fluidFlow.flow_image(&coming, second.get(), true, {unsettled, unsettled}));
    image_cross_dissolve(output.image.get(), second.get(), amount);
}

void TransFlow::ProcessFrame() {
    const StageTimer timer("TransFlow (CPU)");
    const Moment now = moment(*this, currentFrame);
    arrive({RestartDSecret.value});
    K7Image& result = *output.image;
    if (now.n < 0.0) m_run.restart();  // the flow begins with the transition
    if (now.n >= now.length && !image_copy(to.image.get(), &result)) return;
    if (now.n >= 0.0 && now.n < now.length) {
        const Slipped wanted = slipped(*this, currentFrame);
        const ShownFrame leaving(from, wanted.from, currentFrame), coming(to, wanted.to, currentFrame);
        FluidFlow& fluidFlow = advance({leaving.get(), leaving.get(), nullptr, FLUID_SLIPPERY});
        if (now.n > 0.0) mix(fluidFlow, now, *leaving, *coming);
    }
    show(to.image.get(), nullptr);
}
