#include "effects/engines/replay/FrameClock.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr int SPACING = 4;       // frames between states kept on the way
constexpr int MOST_STATES = 48;  // so that thinning out stays cheap

}  // namespace

// Eight bytes at a time through the mixing step of splitmix64 (Steele, Lea, Flood, "Fast splittable pseudorandom number
// generators", 2014).
std::uint64_t fingerprint(const void* data, std::size_t bytes, std::uint64_t before) {
    const auto* at = static_cast<const std::byte*>(data);
    std::uint64_t sum = before ^ (bytes * 0xD6E8FEB86659FD93ULL);
    while (bytes > 0) {
        std::uint64_t word = 0;
        const std::size_t part = std::min(bytes, sizeof word);
        std::memcpy(&word, at, part);
        sum = (sum ^ word) + FINGERPRINT_SEED;
        sum = (sum ^ (sum >> 30)) * 0xBF58476D1CE4E5B9ULL;
        sum = (sum ^ (sum >> 27)) * 0x94D049BB133111EBULL;
        sum ^= sum >> 31;
        at += part;
        bytes -= part;
    }
    return sum;
}

std::size_t FrameClock::kept_bytes() const {
    std::size_t sum = 0;
    for (const Kept& kept : m_kept) sum += kept.bytes;
    return sum;
}

// ---- A run ----------------------------------------------------------------------------------------------------

bool FrameClock::run(ClockedSimulation& simulation, const Request& request) {
    takeRequests(request);
    const std::uint64_t parameters = simulation.readParameters(request.target);
    if (!readTargetInputs(simulation)) return false;
    if (continues(simulation, parameters)) {
        if (!request.animated) m_pure = m_pure && m_base == fingerprint(request.inputs, parameters);
    } else {
        m_trusted = true;
        m_drawn = false;
        if (!readHistory(simulation, parameters)) return false;
        if (!goBack(simulation)) return false;
        m_base = fingerprint(request.inputs, parameters);
        m_parameters = parameters;
        if (!stepSilently(simulation)) return false;
    }
    return drawTarget(simulation);
}

void FrameClock::takeRequests(const Request& request) {
    const unsigned asked = m_requests.exchange(0);
    if ((asked & REFETCH) != 0) m_inputs.clear();
    if ((asked & (RECHECK | REFETCH)) != 0) m_trusted = false;
    if ((asked & RESTART) != 0 || request.shape != m_request.shape || request.start != m_request.start ||
        request.animated != m_request.animated || request.moving_inputs != m_request.moving_inputs)
        forgetStates();
    m_request = request;
    m_holds_inputs = false;
    m_too_far = false;
    m_steps = 0;
}

void FrameClock::forgetStates() {
    m_live = false;
    m_kept.clear();
    m_spare.reset();
    m_spare_bytes = 0;
    m_inputs.clear();
}

// Whether the current state is the wanted frame's, with no parameter changed since it was made.
bool FrameClock::continues(ClockedSimulation& simulation, std::uint64_t parameters) const {
    if (!m_trusted || !m_live || !m_drawn || m_request.shown != m_shown + 1 || m_next != m_request.target ||
        m_request.target == m_request.start)
        return false;
    if (!m_request.animated && parameters == m_parameters) return true;
    return simulation.readParameters(m_request.target - 1) == m_parameters;
}

bool FrameClock::drawTarget(ClockedSimulation& simulation) {
    const std::uint64_t parameters = simulation.readParameters(m_request.target);
    if (!readInputsOf(simulation, m_request.target)) return false;
    if (m_pure) keep(simulation);
    if (simulation.wantsAbort()) return false;

    m_live = m_drawn = false;  // should the step throw
    m_live = m_drawn = simulation.step(m_request.target, false);
    ++m_steps;
    m_next = m_request.target + 1;
    m_shown = m_request.shown;
    m_parameters = parameters;
    m_history = historyAfter(m_request.target, parameters, m_history);
    return m_live;
}

bool FrameClock::stepSilently(ClockedSimulation& simulation) {
    if (!m_request.animated) simulation.readParameters(m_request.target);
    for (; m_next < m_request.target; ++m_next) {
        if (worthKeeping(m_next)) keep(simulation);
        if (simulation.wantsAbort()) return false;
        if (m_request.animated) m_parameters = simulation.readParameters(m_next);
        if (!readInputsOf(simulation, m_next)) return false;
        m_live = false;  // should the step throw
        m_live = simulation.step(m_next, true);
        ++m_steps;
        if (!m_live) return false;
        m_history = historyAfter(m_next, m_parameters, m_history);
    }
    return true;
}

// ---- Moving pictures ------------------------------------------------------------------------------------------

// Fetches the inputs of a frame unless the simulation has them already.
bool FrameClock::readInputsOf(ClockedSimulation& simulation, int frame) {
    if (!m_request.moving_inputs || (m_holds_inputs && m_inputs_read == frame)) return true;
    m_holds_inputs = false;
    std::uint64_t sum = 0;
    if (!simulation.readInputs(frame, &sum)) return false;
    m_inputs[hostFrame(frame)] = sum;
    m_inputs_read = frame;
    m_holds_inputs = true;
    return true;
}

// The drawn frame's pictures come with the render. If they are not what they were, none can be relied on.
bool FrameClock::readTargetInputs(ClockedSimulation& simulation) {
    const auto known = m_inputs.find(hostFrame(m_request.target));
    if (!m_request.moving_inputs || known == m_inputs.end()) return readInputsOf(simulation, m_request.target);
    const std::uint64_t before = known->second;
    if (!readInputsOf(simulation, m_request.target)) return false;
    const std::uint64_t now = m_inputs[hostFrame(m_request.target)];
    if (now == before) return true;
    m_inputs = {{hostFrame(m_request.target), now}};
    m_trusted = false;
    return true;
}

// ---- History --------------------------------------------------------------------------------------------------

std::uint64_t FrameClock::historyAfter(int frame, std::uint64_t parameters, std::uint64_t before) const {
    std::uint64_t history = before;
    if (m_request.animated) history = fingerprint(fingerprint(m_request.inputs, parameters), history);
    if (m_request.moving_inputs) history = fingerprint(m_inputs.at(hostFrame(frame)), history);
    return history;
}

// The fingerprints that states need to have to be of use, up to the first frame whose pictures are not known.
bool FrameClock::readHistory(ClockedSimulation& simulation, std::uint64_t parameters) {
    const Request& r = m_request;
    m_histories.assign(1, r.animated ? FINGERPRINT_SEED : fingerprint(r.inputs, parameters));
    if (!historyGrows()) return true;
    for (int frame = r.start; frame < r.target; ++frame) {
        if (simulation.wantsAbort()) return false;
        if (r.moving_inputs && !m_inputs.contains(hostFrame(frame))) break;
        const std::uint64_t then = r.animated ? simulation.readParameters(frame) : parameters;
        m_histories.push_back(historyAfter(frame, then, m_histories.back()));
    }
    return true;
}

// Whether a state of a frame, with that history, is the one that stepping from the beginning gives.
bool FrameClock::fits(int frame, std::uint64_t history) const {
    const auto index = historyGrows() ? static_cast<std::size_t>(frame - m_request.start) : 0;
    return index < m_histories.size() && m_histories[index] == history;
}

// Whether the request allows no way to the target: neither from the beginning nor from the frame whose state there is.
bool FrameClock::isTooFar(std::optional<int> from) const {
    const Request& r = m_request;
    return r.shown > r.start && r.shown > r.longest_replay && !(from && r.target - *from <= r.longest_replay);
}

// Goes to the latest state at or before the target: the current one, a kept one, or the beginning. False, and nothing
// has changed: that is too far.
bool FrameClock::goBack(ClockedSimulation& simulation) {
    const int target = m_request.target;
    std::erase_if(m_kept, [&](const Kept& kept) { return kept.frame <= target && !fits(kept.frame, kept.history); });
    const auto later =
        std::find_if(m_kept.begin(), m_kept.end(), [&](const Kept& kept) { return kept.frame > target; });
    const Kept* kept = later == m_kept.begin() ? nullptr : &*(later - 1);
    const bool ahead = m_live && m_pure && m_next <= target && fits(m_next, m_history);
    const bool stays = ahead && (!kept || m_next >= kept->frame);
    m_too_far = isTooFar(stays ? std::optional(m_next) : kept ? std::optional(kept->frame) : std::nullopt);
    if (m_too_far || stays) return !m_too_far;

    m_live = false;
    if (kept) {
        StateWalk walk = StateWalk::restoring(kept->state.get());
        simulation.walkState(walk);
        m_next = kept->frame;
        m_history = kept->history;
    } else {
        simulation.readParameters(m_request.animated ? m_request.start : target);  // a seed, say
        simulation.restart();
        m_next = m_request.start;
        m_history = m_histories.front();
    }
    m_pure = m_live = true;
    return true;
}

// ---- Kept states ----------------------------------------------------------------------------------------------

// Copies are not free: on a long way only those frames are kept that thinning out would leave.
bool FrameClock::worthKeeping(int frame) const {
    int spacing = SPACING;
    while (m_request.target - frame > 8 * spacing) spacing *= 2;
    return frame > m_request.start && frame % spacing == 0;
}

void FrameClock::keep(ClockedSimulation& simulation) {
    const auto at = std::find_if(m_kept.begin(), m_kept.end(), [&](const Kept& kept) { return kept.frame >= m_next; });
    if (at != m_kept.end() && at->frame == m_next && at->history == m_history) return;
    if (at != m_kept.end() && at->frame == m_next) m_kept.erase(at);
    StateWalk measure = StateWalk::measuring();
    simulation.walkState(measure);
    const std::size_t bytes = measure.size();
    if (m_next == m_request.start || bytes > m_budget) return;
    thinOut(bytes);

    Kept kept{m_next, m_history, bytes, m_spare_bytes, std::move(m_spare)};
    m_spare_bytes = 0;
    if (kept.capacity < bytes || kept.capacity > 2 * bytes) {
        kept.capacity = bytes + bytes / 8;
        kept.state.reset(new (std::nothrow) std::byte[kept.capacity]);
        if (!kept.state) return;
    }
    StateWalk save = StateWalk::saving(kept.state.get());
    simulation.walkState(save);
    m_kept.insert(std::find_if(m_kept.begin(), m_kept.end(), [&](const Kept& k) { return k.frame > m_next; }),
                  std::move(kept));
}

// Makes room: drops the state whose absence widens a gap least, measured against its distance from the
// present. What stays is spaced about geometrically.
void FrameClock::thinOut(std::size_t bytes) {
    const int target = m_request.target;
    while (!m_kept.empty() && (m_kept.size() >= MOST_STATES || kept_bytes() + bytes > m_budget)) {
        std::size_t least = 0;
        double least_loss = 0;
        for (std::size_t i = 0; i < m_kept.size(); ++i) {
            const int before = i == 0 ? m_request.start : m_kept[i - 1].frame;
            const int after = i + 1 < m_kept.size() ? m_kept[i + 1].frame : std::max(target, m_kept[i].frame);
            const double gap = static_cast<double>(after) - before;
            const double loss = gap / (std::abs(static_cast<double>(target) - m_kept[i].frame) + SPACING);
            if (i == 0 || loss < least_loss) least = i, least_loss = loss;
        }
        m_spare = std::move(m_kept[least].state);
        m_spare_bytes = m_kept[least].capacity;
        m_kept.erase(m_kept.begin() + static_cast<std::ptrdiff_t>(least));
    }
}
