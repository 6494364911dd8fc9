#include "effects/trails/TrailFlight.h"

#include <algorithm>

#include "k7pi_baselib/rows.h"
#include "noiselib/place_hash.h"

namespace {

constexpr int SPACING = 4;  // frames between kept states
constexpr std::size_t MOST_BYTES = std::size_t(64) << 20;
constexpr int ABREAST = particles::ForceField::ABREAST;

// One frame of flight: forces first, then the way. The camera carries all along.
void fly(const TrailStep& now, const particles::ForceField::Moment& moment, const SolidNoise& noise, TrailPoint* points,
         int count) {
    float x[ABREAST], y[ABREAST], vx[ABREAST], vy[ABREAST], lightness[ABREAST];
    for (int i = 0; i < count; ++i) {
        const TrailPoint& p = points[i];
        x[i] = p.place[0], y[i] = p.place[1];
        vx[i] = p.velocity[0], vy[i] = p.velocity[1];
        lightness[i] = 1.0F + now.settings.air_var * signed_of(place_hash(p.key, 77));
    }
    now.settings.forces.apply(moment, noise, nullptr, {x, y, vx, vy, lightness, count});
    for (int i = 0; i < count; ++i) {
        TrailPoint& p = points[i];
        p.velocity[0] = vx[i], p.velocity[1] = vy[i];
        p.age += 1.0F;
        for (int axis = 0; axis < 2; ++axis) {
            p.before[axis] = p.place[axis] + now.camera[axis];
            p.place[axis] = p.before[axis] + p.velocity[axis];
        }
    }
}

}  // namespace

void TrailFlight::step(int frame, const TrailStep& now, State& state) {
    if (!m_noise || m_noise_seed != now.settings.seed) {
        m_noise = std::make_unique<SolidNoise>(now.settings.seed);
        m_noise_seed = now.settings.seed;
    }
    const auto moment = now.settings.forces.at(static_cast<float>(frame), *m_noise);
    const int count = static_cast<int>(state.points.size());
    each_row_float((count + ABREAST - 1) / ABREAST, [&](int block) {
        const int first = block * ABREAST;
        fly(now, moment, *m_noise, state.points.data() + first, std::min(ABREAST, count - first));
    });
    std::erase_if(state.points, [](const TrailPoint& p) { return !(p.age < p.life); });
    state.points.insert(state.points.end(), now.births.begin(), now.births.end());
    state.prints.push_back(now.print);
}

// Whether a state of a frame is what the steps from `first` to that frame leave.
bool TrailFlight::holds(const State& state, int frame, int first, const std::vector<const TrailStep*>& steps) const {
    const auto count = static_cast<std::size_t>(frame - first + 1);
    if (state.from > first || state.prints.size() < count) return false;
    const auto* latest = state.prints.data() + (state.prints.size() - count);
    for (std::size_t i = 0; i < count; ++i)
        if (latest[i] != steps[i]->print) return false;
    return true;
}

const std::vector<TrailPoint>* TrailFlight::at(int frame, int life, int earliest, const StepOf& step_of,
                                               const StopRequested& stop) {
    const int first = std::min(std::max(frame - life + 1, earliest), frame);
    std::vector<const TrailStep*> steps;
    for (int n = first; n <= frame; ++n) {
        steps.push_back(wants_end(stop) ? nullptr : step_of(n));
        if (!steps.back()) return nullptr;
    }
    State state{first, {}, {}};
    int next = first;
    for (auto kept = m_states.upper_bound(frame); kept != m_states.begin();) {
        --kept;
        if (kept->first < first) break;
        if (!holds(kept->second, kept->first, first, steps)) continue;
        state = kept->second;
        next = kept->first + 1;
        break;
    }
    for (; next <= frame; ++next) {
        if (wants_end(stop)) return nullptr;
        step(next, *steps[static_cast<std::size_t>(next - first)], state);
        if (next % SPACING == 0 && next < frame) keep(next, life, state);
    }
    keep(frame, life, state);
    thinOut(frame);
    return &m_states.at(frame).points;
}

void TrailFlight::keep(int frame, int life, const State& state) {
    State& kept = m_states[frame] = state;
    if (const auto wanted = static_cast<std::size_t>(life); kept.prints.size() > wanted)
        kept.prints.erase(kept.prints.begin(), kept.prints.end() - static_cast<std::ptrdiff_t>(wanted));
}

// What is kept near the present stays.
void TrailFlight::thinOut(int frame) {
    std::erase_if(m_states, [frame](const auto& kept) { return kept.first != frame && kept.first % SPACING != 0; });
    const auto bytes = [&] {
        std::size_t sum = 0;
        for (const auto& kept : m_states) sum += kept.second.points.size() * sizeof(TrailPoint);
        return sum;
    };
    while (m_states.size() > 1 && (m_states.size() > 64 || bytes() > MOST_BYTES)) {
        const auto low = m_states.begin(), high = std::prev(m_states.end());
        const bool drops_low = high->first == frame || frame - low->first >= high->first - frame;
        m_states.erase(drops_low && low->first != frame ? low : high);
    }
}
