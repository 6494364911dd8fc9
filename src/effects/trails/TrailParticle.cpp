#include "effects/trails/TrailParticle.h"

#include <algorithm>
#include <cmath>

#include "effects/engines/replay/FrameClock.h"
#include "effects/engines/replay/FrameShape.h"
#include "imagelib/imagelib_guided.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr double DEGREE = 0.017453292519943295;

int frame_number(double frame) { return static_cast<int>(std::floor(frame + 0.5)); }

}  // namespace

// ---- Declaration ----------------------------------------------------------------------------------------------

TrailParticleInfo::TrailParticleInfo() {
    declarePresets();
    scene.inputs = {"@flight"};
    scene.settings = {{"Rate", "150"}};
    scene.frame = 24;
}

// ---- Frames ---------------------------------------------------------------------------------------------------

int TrailParticle::present() const { return frame_number(currentFrame); }

// The frame itself first, then backwards from the one after it: hosts are told of the range between the two ends. The
// motion of the first frame is that of the one after it.
void TrailParticle::FramePrepare(TrailParticleInfo& plan, const FrameSpan& frames) const {
    const int frame = frame_number(frames.current), last = static_cast<int>(frames.last);
    plan.input.addFrame(frame);
    const int ahead = frame == 0 ? 2 : frame + 1;
    for (int n = ahead; n >= std::max(frame - plan.Lifetime.value, 0); --n)
        if (n != frame && n <= last) plan.input.addFrame(n);
    for (int n = frame; n > frame - plan.Lifetime.value && n >= 0; --n) plan.matte.addFrame(n);
}

const K7Image* TrailParticle::pictureOf(int frame) {
    const K7Image& now = *input.image;
    if (frame == present()) return &now;
    if (!m_fetched) m_fetched = made(make_image_uncleared(now.width, now.height, 4, SAMPLE_F32));
    return frame >= 0 && input.GetFrame(frame, m_fetched.get()) ? m_fetched.get() : nullptr;
}

const FrameMotion* TrailParticle::motionOf(int frame) {
    return m_motion.at(
        frame, [this](int one) { return pictureOf(one); }, stopRequested());
}

// ---- Steps ----------------------------------------------------------------------------------------------------

TrailSettings TrailParticle::settings() const {
    const FrameShape frame(*input.image);
    const float unit = frame.width / 1000.0F;
    const auto number = [](const FloatControlK7& control) { return static_cast<float>(control.limited()); };
    TrailSettings s;
    s.width = frame.width, s.height = frame.height, s.aspect = frame.aspect();
    s.seed = static_cast<std::uint32_t>(Seed.value) * 2654435761U;
    s.follows_camera = FollowCamera.value;
    s.lead_in = LeadIn.value;
    s.speed_low = SpeedLow.percent();
    s.speed_high = std::max(SpeedHigh.percent(), s.speed_low + 1e-4F);
    s.bright_low = BrightLow.percent();
    s.bright_high = BrightHigh.value > 0.0 ? std::max(BrightHigh.percent(), s.bright_low + 1e-4F) : 0.0F;
    s.source = BornOn.value;
    s.rate = number(Rate);
    s.rate_by_speed = RateBySpeed.percent();
    s.life = std::max(Lifetime.value, 1);
    s.life_var = LifeVar.percent();
    s.scatter = Scatter.percent() * frame.width;
    s.own_colours = OwnColours.value;
    s.inherit = Inherit.percent();
    s.speed = number(Speed) * unit;
    s.speed_var = SpeedVar.percent();
    s.along = Aim.value == AlongTheMotion;
    s.angle = static_cast<float>(Angle.limited() * DEGREE);
    s.spread = static_cast<float>(Spread.limited() * DEGREE);
    s.air_var = AirVar.percent();
    s.forces = particles::read_forces(frame, forces, vortex);
    return s;
}

// Forgets what no longer holds: of another clip, or of other controls.
void TrailParticle::begin() {
    const int frame = present();
    bool stays = m_motion.begin(*input.image, frame);
    const bool masked = matte.image && matte.isConnected();
    if (!(masked ? m_mattes.begin(*matte.image, frame, m_motion.shrink()) : m_mattes.begin_without())) stays = false;
    if (!stays) {
        m_steps.clear();
        m_flight.forget();
    }
    const TrailSettings now = settings();
    const auto known = m_steps.find(frame);
    const bool other =
        known != m_steps.end() &&
        fingerprint(&now, sizeof now) != fingerprint(&known->second.step.settings, sizeof known->second.step.settings);
    if (m_recheck.exchange(false) || other)
        for (auto& [number, step] : m_steps) step.checked = false;
    std::erase_if(m_steps, [&](const auto& step) { return std::abs(step.first - frame) > 2 * Lifetime.value + 8; });
}

const TrailStep* TrailParticle::stepOf(int frame) {
    Known& known = m_steps[frame];
    if (known.checked && known.complete) return &known.step;
    const int read = std::max(frame, 0);
    if (read != present() || m_moved) {
        fetchParametersAt(read);
        m_moved = read != present();
    }
    const TrailSettings then = settings();
    const std::uint64_t print = fingerprint(&then, sizeof then);
    known.checked = true;
    if (known.complete && fingerprint(&known.step.settings, sizeof then) == print) return &known.step;
    known.step.settings = then;
    known.complete = makeStep(frame, known.step);
    if (abortRequested()) {
        known.complete = false;
        return nullptr;
    }
    known.step.print = fingerprint(known.step.births.data(), known.step.births.size() * sizeof(TrailPoint),
                                   fingerprint(known.step.camera, sizeof known.step.camera, print));
    return &known.step;
}

// False: the host did not give all that it is made of, and it is made anew next time.
bool TrailParticle::makeStep(int frame, TrailStep& step) {
    step.births.clear();
    step.camera[0] = step.camera[1] = 0;
    const int looked = std::max(frame, 1);  // before the first frame there is no motion
    const FrameMotion* motion = motionOf(looked);
    if (!motion) return false;
    const TrailSettings& s = step.settings;
    const auto cell = static_cast<float>(m_motion.shrink());
    if (s.follows_camera) {
        step.camera[0] = -motion->camera_u * cell;
        step.camera[1] = -motion->camera_v * cell * s.aspect;
    }
    bool given = true;
    const ImagePtr mask =
        matte.image && matte.isConnected() ? MatteFrames::at(matte, looked, looked == present(), given) : nullptr;
    m_places.births(s, {motion, m_motion.shrink(), mask.get()}, frame, looked - frame, step.births);
    return given && motion->whole;
}

// ---- The picture ----------------------------------------------------------------------------------------------

void TrailParticle::draw(const std::vector<TrailPoint>& points) {
    K7Image& result = *output.image;
    particles::ParticleLook how;
    particles::read_look(FrameShape(result), shape, ageing, Shutter.percent(), how);
    m_picture = MipPicture();
    if (shape.look.value == LookControls::Picture && picture.isConnected())
        m_picture = particles::particle_picture(*picture.image, shape.size.limited() / 1000.0 * picture.image->width,
                                                PreMultiplied.value);
    m_batch.begin(result, how, &m_picture);
    const bool own = OwnColours.value;
    m_batch.collect(how, static_cast<int>(points.size()), [&](int i) -> particles::Seen {
        const TrailPoint& p = points[static_cast<std::size_t>(i)];
        return {.key = p.key,
                .family = p.key,
                .age = p.age,
                .life = p.life,
                .x = p.place[0],
                .y = p.place[1],
                .way_x = p.before[0] - p.place[0],
                .way_y = p.before[1] - p.place[1],
                .vx = p.velocity[0],
                .vy = p.velocity[1],
                .colour = own ? p.colour : nullptr,
                .size = 1,
                .opacity = 1};
    });
    m_batch.draw(result, how, static_cast<float>(result.width));
}

// Puts back what was there where particles lie behind something.
void TrailParticle::hide(const K7Image& before) {
    K7Image& result = *output.image;
    const K7Image* mask = obscure.image && obscure.isConnected() ? obscure.image.get() : nullptr;
    const float front = InFront.percent();
    const FrameMotion* motion = front > 0.0F ? motionOf(std::max(present(), 1)) : nullptr;
    if (motion) {
        m_places.find(settings(), {motion, m_motion.shrink(), nullptr});
        m_places.close();
    }
    const float per = 1.0F / static_cast<float>(m_motion.shrink());
    const int width = motion ? m_places.width() : 0, height = motion ? m_places.height() : 0;
    const auto between = [per](int at, int count, int& low, int& high) {
        const float cell =
            std::clamp((static_cast<float>(at) + 0.5F) * per - 0.5F, 0.0F, static_cast<float>(count - 1));
        low = static_cast<int>(cell);
        high = std::min(low + 1, count - 1);
        return cell - static_cast<float>(low);
    };
    for_rows_float(result.height, [&](int from, int to) {
        for (int y = from; y <= to && !abortRequested(); ++y) {
            float* out = image_row<float>(&result, y);
            const float* was = image_row<float>(&before, y);
            const float* hides = mask ? image_row<float>(mask, y) : nullptr;
            int low = 0, high = 0;
            const float up = motion ? between(y, height, low, high) : 0.0F;
            for (int x = 0; x < result.width; ++x, out += 4, was += 4) {
                float seen = hides ? 1.0F - std::clamp(hides[4L * x], 0.0F, 1.0F) : 1.0F;
                if (motion) {
                    int left = 0, right = 0;
                    const float along = between(x, width, left, right);
                    const float *a = m_places.row(low), *b = m_places.row(high);
                    const float p = a[left] + along * (a[right] - a[left]), q = b[left] + along * (b[right] - b[left]);
                    seen *= 1.0F - front * (p + up * (q - p));
                }
                for (int c = 0; c < 4; ++c) out[c] = was[c] + (out[c] - was[c]) * seen;
            }
        }
    });
}

void TrailParticle::ProcessFrame() {
    const StageTimer timer("TrailParticle (CPU)");
    begin();
    m_moved = false;
    const int frame = present();
    const auto* points = m_flight.at(
        frame, std::max(Lifetime.value, 1), 1 - LeadIn.value, [this](int one) { return stepOf(one); }, stopRequested());
    if (m_moved) fetchParametersAt(currentFrame);
    K7Image& result = *output.image;
    if (points) {
        m_live = static_cast<int>(points->size());
        if (background.image && background.isConnected()) made(image_copy(background.image.get(), &result));
        if (ParticlesOnly.value) image_clear(&result);
        const bool hides = (obscure.image && obscure.isConnected()) || InFront.value > 0.0;
        const ImagePtr before = hides ? made(ImagePtr(image_duplicate(&result))) : nullptr;
        draw(*points);
        if (before) hide(*before);
    }
    m_fetched.reset();
}

void TrailParticle::PrepareOverlay() {
    forces.prepare();
    vortex.prepare();
}
