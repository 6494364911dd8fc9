// Q_Flock: what its members wish for.
#include <algorithm>
#include <cmath>

#include "effects/sundries/Flock.h"
#include "effects/sundries/FlockCrowd_simd.h"
#include "noiselib/place_hash.h"

namespace {

constexpr std::uint32_t IN_A_CELL = 20;  // neighbours looked at
constexpr float BLIND = -0.75F;          // cosine of the angle behind which neighbours are not seen

float length_of(float x, float y) { return std::sqrt(x * x + y * y); }

}  // namespace

// ---- Wishes ---------------------------------------------------------------------------------------------------

// Whom each member of a formation follows: in a V the one in front on its own arm.
void Flock::beforeForces(FlockMember* members, int count) {
    const FlockMotion& m = motion();
    m_front.assign(static_cast<std::size_t>(count), -1);
    m_rank.assign(static_cast<std::size_t>(count), 0);
    if (m.formation != Vee && m.formation != Line) return;
    const std::size_t groups = static_cast<std::size_t>(m.members / m.group) + 2;
    std::vector<std::array<std::int32_t, 2>> latest(groups, {-1, -1});  // of each group: the last two
    std::vector<std::int32_t> ranks(groups, 0);
    for (int i = 0; i < count; ++i) {
        const std::size_t group = std::min(static_cast<std::size_t>(members[i].serial / m.group), groups - 1);
        const std::int32_t rank = ranks[group]++;
        auto& [before, last] = latest[group];
        m_rank[static_cast<std::size_t>(i)] = rank;
        m_front[static_cast<std::size_t>(i)] = m.formation == Line || rank == 1 ? last : rank == 0 ? -1 : before;
        before = last, last = i;
    }
}

void Flock::applyForces(FlockMember* members, int count) const {
    for (int i = 0; i < count; ++i) {
        FlockMember& p = members[i];
        std::fill_n(p.wish, 3, 0.0F);
        p.hurry = 1;
        setPace(p);
        wishWander(p);
        wishGoal(p);
        wishPredator(p);
        wishWalls(p);
        if (motion().formation == Trail) wishTrail(p);
    }
}

// The lazy dawdle and those on foot rest at times.
void Flock::setPace(FlockMember& p) const {
    const FlockMotion& m = motion();
    float wanted = 1;
    const auto time = static_cast<float>(stepFrame());
    const float mood = noise().noise(unit_of(p.word) * 250, 7.5F, time / 45);
    if (walks()) wanted = mood > 0.28F ? 0.0F : 1 + 0.5F * mood;
    if (m.attitude == Lazy) {
        const float rest = walks() ? 0.0F : 0.72F;
        wanted = std::min(wanted, 1 + m.temper * ((mood > -0.1F ? rest : 0.9F) - 1));
    }
    if (m.attitude == Angry) wanted *= 1 + 0.35F * m.temper;
    p.pace += 0.12F * (std::max(wanted, 0.0F) - p.pace);
}

// Slow noise: a part of its own, and one that all members of a place share.
void Flock::wishWander(FlockMember& p) const {
    const FlockMotion& m = motion();
    if (!(m.wander > 0)) return;
    const auto time = static_cast<float>(stepFrame());
    const float own = unit_of(place_hash(p.word, 21)) * 250;
    const bool hovers = m.character == Bees, flutters = m.character == Bats;
    const float quick = time / (hovers ? 9.0F : flutters ? 14.0F : 28.0F);
    const float strength = m.wander * (m.attitude == Angry ? 1 + 0.5F * m.temper : 1) *
                           (hovers     ? 2.2F
                            : flutters ? 1.6F
                                       : 1.0F);
    const float x = p.position[0] / 420, y = p.position[1] / 420, slow = time / 70;
    p.wish[0] += strength * (1.3F * noise().noise(own, 0.5F, quick) + 0.9F * noise().noise(x, y, slow));
    p.wish[1] += strength * (1.3F * noise().noise(own, 40.5F, quick) + 0.9F * noise().noise(x, y + 60, slow));
    if (m.depth > 0) p.wish[2] += strength * 0.5F * noise().noise(own, 80.5F, time / 50);
    p.wish[0] += m.course_hold * m.course[0];
    p.wish[1] += m.course_hold * m.course[1];
}

void Flock::wishGoal(FlockMember& p) const {
    const FlockMotion& m = motion();
    if (m.goal_use == NoGoal || m.formation == Trail) return;
    float goal[2] = {m.goal[0], m.goal[1]}, radius = std::max(m.goal_radius, 0.5F * m.size), pull = m.goal_pull;
    const auto time = static_cast<float>(stepFrame());
    if (m.goal_use == Roam) {
        goal[0] += 1.3F * radius * noise().noise(3.5F, time / 110, 0.5F);
        goal[1] += 0.8F * radius * noise().noise(9.5F, time / 85, 0.5F);
        radius *= 0.45F;
    }
    // The curious take turns to look at the goal itself.
    if (m.attitude == Curious) {
        const auto turn = static_cast<std::uint32_t>(
            static_cast<std::int32_t>(std::floor(time / 90 + unit_of(place_hash(p.word, 31)))));
        if (unit_of(place_hash(p.word, turn)) < 0.3F * m.temper) {
            goal[0] = m.goal[0], goal[1] = m.goal[1];
            radius = 1.5F * m.size, pull = 2 + pull;
            p.hurry = 0.75F;
        }
    }
    // What is level and far away looks low.
    const float low = std::max(std::fabs(m.up[1]), 0.4F);
    const float dx = goal[0] - p.position[0], dy = (goal[1] - p.position[1]) / low;
    const float away = length_of(dx, dy);
    if (!(away > 1e-3F)) return;
    const bool shy = m.attitude == Shy;
    const float ux = dx / away, uy = dy / away;
    if (m.goal_use == Circle) {
        const float own = radius * (0.75F + 0.5F * unit_of(place_hash(p.word, 33)));
        const float inwards = std::clamp((away - own) / std::max(own, 1.0F) * 1.6F, -1.0F, 1.0F);
        p.wish[0] += pull * (uy * (1 - std::fabs(inwards)) + ux * inwards);
        p.wish[1] += pull * (-ux * (1 - std::fabs(inwards)) + uy * inwards) * low;
    } else {
        const float beyond = std::clamp((away - radius) / std::max(radius, 1.0F), 0.0F, 1.0F);
        p.wish[0] += pull * beyond * ux;
        p.wish[1] += pull * beyond * uy;
    }
    if (shy && away < 0.6F * radius) {
        const float push = 1.5F * m.temper * (1 - away / (0.6F * radius));
        p.wish[0] -= push * ux, p.wish[1] -= push * uy;
    }
}

void Flock::wishPredator(FlockMember& p) const {
    const FlockMotion& m = motion();
    if (!(m.reach > 0)) return;
    const float dx = p.position[0] - m.predator[0], dy = p.position[1] - m.predator[1];
    const float away = std::max(length_of(dx, dy), 1e-3F), ux = dx / away, uy = dy / away;
    float reach = m.reach;
    if (m.attitude == Shy) reach *= 1 + 0.7F * m.temper;
    if (m.attitude == Curious || m.attitude == Lazy) reach *= std::max(1 - 0.35F * m.temper, 0.1F);
    const bool mobs = m.attitude == Angry && m.temper > 0.25F;
    if (mobs) {
        if (away > 3 * reach) return;
        // Past it as near as they dare, round it, and back.
        const float inwards = std::clamp((away - 0.35F * reach) / reach * 2, -1.0F, 1.0F);
        const float side = (p.word & 1) != 0 ? 1.0F : -1.0F;
        p.wish[0] += 1.6F * m.temper * (-ux * inwards + side * -uy * (1 - std::fabs(inwards)));
        p.wish[1] += 1.6F * m.temper * (-uy * inwards + side * ux * (1 - std::fabs(inwards)));
        p.hurry = 1.2F;
        return;
    }
    if (away > reach) return;
    const float fear = 1 - away / reach;
    p.wish[0] += 6 * fear * ux, p.wish[1] += 6 * fear * uy;
    p.hurry = 1 + fear;
}

// Edges of the picture, near and far, and the matte.
void Flock::wishWalls(FlockMember& p) const {
    const FlockMotion& m = motion();
    const float scale = scaleAt(p.position[2]);
    const auto inwards = [](float inside, float margin) { return std::clamp(1 - inside / margin, 0.0F, 3.0F); };
    if (m.walls == TurnBack) {
        const float edge = std::min(m.margin, 0.0F), soft = std::max(std::fabs(m.margin), 2 * m.size);
        const float x = p.position[0], y = p.position[1];
        p.wish[0] += 2.5F * (inwards(x - edge, soft) - inwards(flock::WIDTH - edge - x, soft));
        p.wish[1] += 2.5F * (inwards(y - edge, soft) - inwards(m.height - edge - y, soft));
    }
    p.wish[2] += 3 * (inwards(p.position[2], 0.15F) - inwards(1 - p.position[2], 0.15F));
    if (!m_keep_out.any()) return;
    // Where it would be soon.
    const float soft = std::max(m.avoid, 0.5F * m.size) * scale + 8;
    const float speed = std::max(length_of(p.velocity[0], p.velocity[1]), 1e-4F),
                ahead = std::min(2 * soft / speed, 25.0F);
    for (const float time : {0.0F, ahead}) {
        float away[2];
        const float distance =
            m_keep_out.distance(p.position[0] + time * p.velocity[0], p.position[1] + time * p.velocity[1], away);
        const float push = 4 * inwards(distance, soft);
        p.wish[0] += push * away[0], p.wish[1] += push * away[1];
    }
}

// To and fro between the flight point and the goal, on a line that meanders.
void Flock::wishTrail(FlockMember& p) const {
    const FlockMotion& m = motion();
    const float dx = m.goal[0] - m.flight[0], dy = m.goal[1] - m.flight[1];
    const float squared = std::max(dx * dx + dy * dy, 1.0F), reach = std::sqrt(squared);
    const float along = ((p.position[0] - m.flight[0]) * dx + (p.position[1] - m.flight[1]) * dy) / squared;
    const float turns = 0.04F * signed_of(place_hash(p.word, 41));
    if (along > 1 + turns) p.outbound = -1;
    if (along < turns) p.outbound = 1;
    const float at =
        std::clamp(along + static_cast<float>(p.outbound) * std::min(2.2F * m.size / reach, 0.2F), -0.05F, 1.05F);
    const float bow =
        0.22F * reach * noise().noise(2.2F * at, 0.37F, 0.5F) + 0.06F * reach * noise().noise(7 * at, 5.4F, 0.5F);
    const float lane = 0.9F * m.spacing * (signed_of(place_hash(p.word, 42)) + 0.6F * static_cast<float>(p.outbound));
    const float x = m.flight[0] + at * dx - (bow + lane) * dy / reach - p.position[0];
    const float y = m.flight[1] + at * dy + (bow + lane) * dx / reach - p.position[1];
    const float away = std::max(length_of(x, y), 1e-3F);
    p.wish[0] += 2.4F * x / away, p.wish[1] += 2.4F * y / away;
}

// ---- Company --------------------------------------------------------------------------------------------------

void Flock::beforeLooking(const FlockMember* members, int count, NeighbourGrid& grid) {
    constexpr std::size_t BEHIND = 8;  // that the loop may read
    grid.spread(IN_A_CELL);
    const std::vector<std::int32_t>& listed = grid.byCell();
    const std::size_t all = static_cast<std::size_t>(count);
    m_listed.assign(all + BEHIND, -1);
    std::copy_n(listed.begin(), std::min(all, listed.size()), m_listed.begin());
    for (std::vector<float>& list : m_crowd) list.assign(all + BEHIND, 0.0F);
    const auto known = [](float value) { return std::isfinite(value) ? value : 0.0F; };
    for (std::size_t i = 0; i < all; ++i) {
        const FlockMember& p = members[m_listed[i]];
        for (std::size_t k = 0; k < 3; ++k) {
            m_crowd[k][i] = known(p.position[k]);
            m_crowd[3 + k][i] = known(p.velocity[k]);
        }
    }
}

void Flock::lookAround(FlockMember* members, int first, int count, const Neighbours& around) const {
    constexpr int MOST_RUNS = 25;
    const FlockMotion& m = motion();
    const bool shy = m.attitude == Shy;
    const flock::CrowdLists crowd{m_crowd[0].data(), m_crowd[1].data(), m_crowd[2].data(), m_crowd[3].data(),
                                  m_crowd[4].data(), m_crowd[5].data(), m_listed.data()};
    const flock::CrowdKernels& kernels = flock::crowd_kernels();
    for (int i = 0; i < count; ++i) {
        FlockMember& p = members[i];
        const int self = first + i;
        const float scale = scaleAt(p.position[2]), sight = m.sight * scale, deep = deepAt(scale);
        flock::CrowdRun runs[MOST_RUNS];
        int found = 0;
        around.grid.sampledRuns(
            p.position, IN_A_CELL, p.word + static_cast<std::uint32_t>(stepFrame()),
            [&](std::uint32_t begin, std::uint32_t listed) {
                if (found < MOST_RUNS)
                    runs[found++] = {static_cast<std::int32_t>(begin), static_cast<std::int32_t>(listed)};
            });
        const flock::Company company = kernels.look(crowd, runs, found,
                                                    {.x = p.position[0],
                                                     .y = p.position[1],
                                                     .z = p.position[2],
                                                     .vx = p.velocity[0],
                                                     .vy = p.velocity[1],
                                                     .speed = length_of(p.velocity[0], p.velocity[1]),
                                                     .keep = m.spacing * scale,
                                                     .sight = std::max(sight, 1e-6F),
                                                     .deep = deep,
                                                     .blind = BLIND,
                                                     .index = self});
        const float own = std::max(ownSpeed(p), 1e-4F);
        for (int k = 0; k < 3; ++k) p.wish[k] += 2.2F * m.separation * company.apart[k];
        if (company.weights > 0) {
            const float together = m.cohesion * (shy ? 1 + 0.6F * m.temper : 1);
            for (int k = 0; k < 2; ++k) {
                p.wish[k] += m.alignment * 1.1F * (company.heading[k] / company.weights - p.velocity[k]) / own;
                p.wish[k] += together * 0.9F * company.middle[k] / company.weights / std::max(sight, 1.0F);
            }
            if (deep > 0) p.wish[2] += together * 0.9F * company.middle[2] / company.weights / std::max(sight, 1.0F);
        }
        const std::int32_t front = m_front[static_cast<std::size_t>(self)];
        if (front >= 0) follow(p, around.particles[front], m_rank[static_cast<std::size_t>(self)]);
    }
}

// To its place behind the one in front, faster where it lags behind.
void Flock::follow(FlockMember& p, const FlockMember& front, int rank) const {
    const FlockMotion& m = motion();
    const float speed = std::max(length_of(front.velocity[0], front.velocity[1]), 1e-4F);
    const float hx = front.velocity[0] / speed, hy = front.velocity[1] / speed;
    const float away = m.spacing * scaleAt(front.position[2]);
    const float back = m.formation == Vee ? 0.8F : 1.0F, side = m.formation == Vee ? (rank % 2 == 0 ? 0.6F : -0.6F) : 0;
    const float low = std::max(std::fabs(m.up[1]), 0.4F);
    float dx = front.position[0] - away * (back * hx + side * hy) - p.position[0];
    float dy = front.position[1] - away * (back * hy - side * hx * low) - p.position[1];
    if (m.walls == ComeRound) {  // those across the seam are as near as they look
        const float round_x = flock::WIDTH + 2 * beyond(), round_y = m.height + 2 * beyond();
        dx -= round_x * std::floor(dx / round_x + 0.5F), dy -= round_y * std::floor(dy / round_y + 0.5F);
    }
    const float own = std::max(ownSpeed(p), 1e-4F), gain = 3.0F / std::max(away, 1.0F);
    for (float& wish : p.wish) wish *= 0.25F;
    p.wish[0] += std::clamp(gain * dx, -3.0F, 3.0F) + 1.5F * (front.velocity[0] - p.velocity[0]) / own;
    p.wish[1] += std::clamp(gain * dy, -3.0F, 3.0F) + 1.5F * (front.velocity[1] - p.velocity[1]) / own;
    p.wish[2] += 4 * (front.position[2] - p.position[2]);
    p.hurry =
        std::clamp(1 + 0.5F * (dx * hx + dy * hy) / std::max(away, 1.0F), 0.7F, 1.5F) * speed / std::max(own, 1e-4F);
    p.hurry = std::clamp(p.hurry, 0.5F, 2.0F);
    p.pace = 1;
}
