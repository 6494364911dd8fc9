#include "effects/engines/flight/Departures.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "k7pi_baselib/portable_math.h"
#include "noiselib/place_hash.h"

namespace {

constexpr double DEGREE = 3.14159265358979 / 180;
constexpr float CLUMP = 0.06F;       // widths: of the clumps that a ragged order leaves in
constexpr float CLUMP_GAIN = 0.9F;   // noise of a lattice seldom exceeds 0.6
constexpr double FARTHEST = 1000.0;  // widths

}  // namespace

Departures::Departures(const Settings& settings) : m_set(settings), m_noise(settings.seed) {
    const float half = 0.5F * m_set.tallness;
    if (m_set.order == Wipe) {
        m_range = std::fabs(m_set.direction_x) + 2 * half * std::fabs(m_set.direction_y);
        m_low = -0.5F * m_range;
    } else {
        const float x = std::fabs(m_set.centre_x) + 0.5F, y = std::fabs(m_set.centre_y) + half;
        m_range = std::sqrt(x * x + y * y);
    }
}

float Departures::turn(float x, float y, std::uint32_t word, float matte) const {
    const float chance = unit_of(place_hash(word, 101));
    if (m_set.matte_use == OnlyBright && !(matte > 0.5F + SOFT_MATTE * (chance - 0.5F))) return -1;
    float turn = m_set.order == Random ? unit_of(place_hash(word, 102)) : order(x, y);
    if (m_set.matte_use == BrightFirst || m_set.matte_use == DarkFirst) {
        const float light = std::clamp(matte, 0.0F, 1.0F);
        turn += m_set.matte_mix * ((m_set.matte_use == BrightFirst ? 1 - light : light) - turn);
    }
    if (m_set.ragged > 0) {
        turn += m_set.ragged * (0.5F * (chance + clump(x, y)) - turn);
    }
    return std::clamp(turn, 0.0F, 1.0F);
}

float Departures::order(float x, float y) const {
    if (m_set.order == Random) return 0;
    if (m_set.order == Wipe) return (x * m_set.direction_x + y * m_set.direction_y - m_low) / m_range;
    const float dx = x - m_set.centre_x, dy = y - m_set.centre_y;
    const float away = std::sqrt(dx * dx + dy * dy) / m_range;
    return m_set.order == ToCentre ? 1 - away : away;
}

float Departures::clump(float x, float y) const {
    return 0.5F + CLUMP_GAIN * m_noise.noise(x / CLUMP, y / CLUMP, 0.37F);
}

void Departures::heading(float x, float y, float& to_x, float& to_y) const {
    to_x = m_set.direction_x, to_y = m_set.direction_y;
    if (m_set.order != FromCentre && m_set.order != ToCentre) return;
    const float dx = x - m_set.centre_x, dy = y - m_set.centre_y, length = std::sqrt(dx * dx + dy * dy);
    if (!(length > 1e-6F)) return;
    const float sense = m_set.order == FromCentre ? 1.0F / length : -1.0F / length;
    to_x = sense * dx, to_y = sense * dy;
}

DepartureControls::DepartureControls(EffectInfo* owner, const Given& given)
    : Mode(owner, {"Mode", "Mode", 0, {"Fly Away", "Assemble"}},
           (std::string("The ") + given.pieces + " leave the picture, or come back and make it up.").c_str()),
      Timing(owner, {"Timing", "Timing", 0, {"By Frames", "By Progress"}, {.animates = false, .keptByPresets = true}},
             "What runs the flights: the frames from Start At on, or Progress, for keys."),
      StartAt(owner, {"StartAt", "Start At", -12, -100000, 100000, {.animates = false, .keptByPresets = true}},
              (std::string("Frame at which the first ") + given.piece +
               " leaves or appears, counted from the first frame of the clip.")
                  .c_str()),
      Progress(
          owner, {"Progress", "Progress", 40.0, 0.0, 100.0, {.keptByPresets = true}},
          "How much of it all has happened, in percent: at 0 nothing has begun, at 100 the last flight has ended."),
      Duration(owner, {"Duration", "Duration", given.duration, 0.0, 10000.0, {.animates = false, .displayMax = 250.0}},
               (std::string("Frames from the first ") + given.piece + " that leaves to the last.").c_str()),
      FlightTime(owner, {"FlightTime", "Flight Time", 60.0, 1.0, 10000.0, {.animates = false, .displayMax = 250.0}},
                 (std::string("Frames that a ") + given.piece + " flies before it is gone.").c_str()),
      Order(owner, {"Order", "Order", 0, {"Wipe", "Random", "From Centre", "To Centre"}},
            (std::string("In which order the ") + given.pieces + " leave.").c_str()),
      WipeAngle(owner, {"WipeAngle", "Wipe Angle", 180.0, -3600.0, 3600.0},
                "The direction in which the wipe runs, in degrees: 0 is to the right, 90 upwards."),
      Centre(owner, {"Centre", "Centre", 0.5, 0.5},
             "Where the order begins or ends, what bursts bursts from, and what swirls swirls around."),
      Ragged(owner, {"Ragged", "Ragged", 25.0, 0.0, 100.0},
             "How much chance, single and in clumps, takes part in the order, in percent."),
      MatteUse(
          owner, {"MatteUse", "Matte Use", 0, {"Bright Leave First", "Dark Leave First", "Only Bright Fly"}},
          (std::string("What the luminance of the ") + given.matte + " clip decides, where there is one.").c_str()),
      MatteMix(owner, {"MatteMix", "Matte Mix", 100.0, 0.0, 100.0},
               "How much the matte decides the order, in percent; the rest is Order's.") {
    owner->ghost({&StartAt}, Timing, is(ByProgress));
    owner->ghost({&Progress}, Timing, is(ByFrames));
    owner->ghost({&WipeAngle}, Order, above(Departures::Random));
    owner->ghost({&MatteMix}, MatteUse, is(Departures::OnlyBright));
}

Departures DepartureControls::departures(double frame, float tallness, bool matte, std::uint32_t seed) const {
    const K7SineCosine wipe = k7_sine_cosine(WipeAngle.value * DEGREE);
    Departures::Settings set;
    set.arrive = Mode.value == Assemble;
    set.duration = Duration.limited();
    set.flight_time = FlightTime.limited();
    set.now = Timing.value == ByProgress ? Progress.limited() / 100.0 * (set.duration + set.flight_time)
                                         : frame - StartAt.value;
    set.order = Order.value;
    set.direction_x = static_cast<float>(wipe.cosine), set.direction_y = static_cast<float>(wipe.sine);
    const auto near = [](float place) { return std::clamp(place, float(-FARTHEST), float(FARTHEST)); };
    set.centre_x = near(centre_x()), set.centre_y = near(centre_y(tallness));
    set.ragged = Ragged.percent();
    set.matte_use = matte ? MatteUse.value : 0;
    set.matte_mix = MatteMix.percent();
    set.tallness = tallness;
    set.seed = seed;
    return Departures(set);
}
