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

void FrameClock::mark_restart() {
    m_live = false;
    m_kept.clear();
    m_spare.reset();
    m_spare_bytes = 0;
}

std::size_t FrameClock::kept_bytes() const {
    std::size_t sum = 0;
    for (const Kept& kept : m_kept) sum += kept.bytes;
    return sum;
}

bool FrameClock::run(ClockedSimulation& simulation, const Request& request) {
    m_steps = 0;
    if (request.shape != m_last.shape || request.start != m_last.start || request.animated != m_last.animated)
        mark_restart();
    m_last = request;

    std::uint64_t parameters = simulation.readParameters(request.target);
    if (!continues(simulation, request, parameters)) {
        m_trusted = true;
        if (!readHistory(simulation, request, parameters)) return false;
        goBack(simulation, request);
        m_parameters = parameters;
        if (!stepSilently(simulation, request)) return false;
    } else if (!request.animated) {
        m_pure = m_pure && m_history == fingerprint(request.inputs, parameters);
    }
    parameters = simulation.readParameters(request.target);
    if (m_pure) keep(simulation, request.target);
    if (simulation.wantsAbort()) return false;

    m_live = simulation.step(request.target, false);
    ++m_steps;
    m_next = request.target + 1;
    m_parameters = parameters;
    if (request.animated) m_history = fingerprint(fingerprint(request.inputs, parameters), m_history);
    return m_live;
}

// Whether the state at hand is the wanted frame's, and nobody changed a parameter since it was made.
bool FrameClock::continues(ClockedSimulation& simulation, const Request& request, std::uint64_t parameters) const {
    if (!m_trusted || !m_live || m_next != request.target || request.target == request.start) return false;
    if (!request.animated && parameters == m_parameters) return true;
    return simulation.readParameters(request.target - 1) == m_parameters;
}

std::uint64_t FrameClock::historyAt(int frame) const {
    return m_last.animated ? m_histories[static_cast<std::size_t>(frame - m_last.start)] : m_histories.front();
}

// The fingerprints that states need to have to be of use.
bool FrameClock::readHistory(ClockedSimulation& simulation, const Request& request, std::uint64_t parameters) {
    if (!request.animated) {
        m_histories.assign(1, fingerprint(request.inputs, parameters));
        return true;
    }
    m_histories.assign(1, FINGERPRINT_SEED);
    for (int frame = request.start; frame < request.target; ++frame) {
        if (simulation.wantsAbort()) return false;
        m_histories.push_back(
            fingerprint(fingerprint(request.inputs, simulation.readParameters(frame)), m_histories.back()));
    }
    return true;
}

// To the latest state at or before the target: the one at hand, one that was kept, or the beginning.
void FrameClock::goBack(ClockedSimulation& simulation, const Request& request) {
    std::erase_if(m_kept, [&](const Kept& kept) {
        return kept.frame <= request.target && kept.history != historyAt(kept.frame);
    });
    const auto later =
        std::find_if(m_kept.begin(), m_kept.end(), [&](const Kept& kept) { return kept.frame > request.target; });
    const Kept* kept = later == m_kept.begin() ? nullptr : &*(later - 1);
    const bool ahead = m_live && m_pure && m_next <= request.target && m_history == historyAt(m_next);
    if (ahead && (!kept || m_next >= kept->frame)) return;

    m_live = false;
    if (kept && simulation.restoreState(kept->state.get())) {
        m_next = kept->frame;
    } else {
        if (request.animated) simulation.readParameters(request.start);
        simulation.restart();
        m_next = request.start;
    }
    m_history = historyAt(m_next);
    m_pure = m_live = true;
}

bool FrameClock::stepSilently(ClockedSimulation& simulation, const Request& request) {
    if (!request.animated) simulation.readParameters(request.target);
    for (; m_next < request.target; ++m_next) {
        if (worthKeeping(m_next, request.target)) keep(simulation, request.target);
        if (simulation.wantsAbort()) return false;
        if (request.animated) m_parameters = simulation.readParameters(m_next);
        m_live = simulation.step(m_next, true);
        ++m_steps;
        if (!m_live) return false;
        m_history = historyAt(std::min(m_next + 1, request.target));
    }
    return true;
}

// ---- Kept states ----------------------------------------------------------------------------------------------

// Copies are not free: on a long way only those frames are kept that thinning out would leave.
bool FrameClock::worthKeeping(int frame, int target) const {
    int spacing = SPACING;
    while (target - frame > 8 * spacing) spacing *= 2;
    return frame > m_last.start && frame % spacing == 0;
}

void FrameClock::keep(const ClockedSimulation& simulation, int target) {
    const auto at = std::find_if(m_kept.begin(), m_kept.end(), [&](const Kept& kept) { return kept.frame >= m_next; });
    if (at != m_kept.end() && at->frame == m_next && at->history == m_history) return;
    if (at != m_kept.end() && at->frame == m_next) m_kept.erase(at);
    const std::size_t bytes = simulation.stateBytes();
    if (m_next == m_last.start || bytes > m_budget) return;
    thinOut(bytes, target);

    Kept kept{m_next, m_history, bytes, m_spare_bytes, std::move(m_spare)};
    m_spare_bytes = 0;
    if (kept.capacity < bytes || kept.capacity > 2 * bytes) {
        kept.capacity = bytes + bytes / 8;
        kept.state.reset(new (std::nothrow) std::byte[kept.capacity]);
        if (!kept.state) return;
    }
    simulation.saveState(kept.state.get());
    m_kept.insert(std::find_if(m_kept.begin(), m_kept.end(), [&](const Kept& k) { return k.frame > m_next; }),
                  std::move(kept));
}

// Makes room: of all states the one goes whose absence widens a gap least, measured against its distance from the
// present. What stays is spaced about geometrically.
void FrameClock::thinOut(std::size_t bytes, int target) {
    while (!m_kept.empty() && (m_kept.size() >= MOST_STATES || kept_bytes() + bytes > m_budget)) {
        std::size_t least = 0;
        double least_loss = 0;
        for (std::size_t i = 0; i < m_kept.size(); ++i) {
            const int before = i == 0 ? m_last.start : m_kept[i - 1].frame;
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
