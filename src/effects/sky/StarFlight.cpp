#include "effects/sky/StarFlight.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/portable_math.h"

namespace {

constexpr double DEGREE = 3.141592653589793 / 180.0;

// Around a unit vector (O. Rodrigues, 1840), counter-clockwise when looking against it.
void turn_around(const double (&axis)[3], const K7SineCosine& turn, double (&v)[3]) {
    const double along = (axis[0] * v[0] + axis[1] * v[1] + axis[2] * v[2]) * (1.0 - turn.cosine);
    const double across[3] = {axis[1] * v[2] - axis[2] * v[1], axis[2] * v[0] - axis[0] * v[2],
                              axis[0] * v[1] - axis[1] * v[0]};
    for (int i = 0; i < 3; ++i) v[i] = v[i] * turn.cosine + across[i] * turn.sine + axis[i] * along;
}

}  // namespace

StarPose star_pose(double heading, double pitch, double roll) {
    const K7SineCosine h = k7_sine_cosine(heading * DEGREE), p = k7_sine_cosine(pitch * DEGREE),
                       r = k7_sine_cosine(roll * DEGREE);
    const double right[3] = {h.cosine, 0.0, h.sine};
    const double up[3] = {-h.sine * p.sine, p.cosine, h.cosine * p.sine};
    StarPose pose{{}, {}, {}, {h.sine * p.cosine, p.sine, -h.cosine * p.cosine}};
    for (int i = 0; i < 3; ++i) {
        pose.right[i] = right[i] * r.cosine - up[i] * r.sine;
        pose.up[i] = up[i] * r.cosine + right[i] * r.sine;
    }
    return pose;
}

StarFlight::StarFlight(Drive drive, double from, double to) : m_drive(std::move(drive)) {
    const auto frames = [](double time) {
        return static_cast<int>(std::clamp(std::ceil(time), 0.0, static_cast<double>(LONGEST)));
    };
    run(m_after, frames(to), 1);
    run(m_before, frames(-from), -1);
}

// From each frame to the next one with the mean of the speeds at both.
void StarFlight::run(std::vector<Motion>& legs, int frames, int direction) const {
    Motion now{};
    now.speed = speedAt(m_drive(0.0), now.way);
    legs.push_back(now);
    for (int i = 1; i <= frames; ++i) {
        Motion next{};
        const auto step = [&](const Way& speed) {
            for (int k = 0; k < 3; ++k) next.way.place[k] = now.way.place[k] + direction * speed.place[k];
            next.way.turn = now.way.turn + direction * speed.turn;
        };
        step(now.speed);
        Way mean = speedAt(m_drive(static_cast<double>(direction * i)), next.way);
        next.speed = mean;
        for (int k = 0; k < 3; ++k) mean.place[k] = 0.5 * (mean.place[k] + now.speed.place[k]);
        mean.turn = 0.5 * (mean.turn + now.speed.turn);
        step(mean);
        legs.push_back(next);
        now = next;
    }
}

StarFlight::Way StarFlight::wayAt(double frame) const {
    const std::vector<Motion>& legs = frame < 0.0 ? m_before : m_after;
    const double time = std::fabs(frame), last = static_cast<double>(legs.size() - 1);
    const double whole = std::min(std::floor(time), last), part = time - whole;
    const auto i = static_cast<std::size_t>(whole);
    Way way = legs[i].way;
    // Within a frame evenly, beyond the last one on with its speed.
    const bool beyond = i + 1 == legs.size();
    const double direction = frame < 0.0 ? -1.0 : 1.0;
    for (int k = 0; k < 3; ++k)
        way.place[k] += part * (beyond ? direction * legs[i].speed.place[k] : legs[i + 1].way.place[k] - way.place[k]);
    way.turn += part * (beyond ? direction * legs[i].speed.turn : legs[i + 1].way.turn - way.turn);
    return way;
}

// The sky turns, which to the stars is the camera turning the other way.
StarPose StarFlight::poseAt(const StarDrive& drive, const Way& way) const {
    StarPose pose = star_pose(drive.heading, drive.pitch, drive.roll);
    if (way.turn != 0.0) {
        const StarPose pole = star_pose(drive.pole_heading, drive.pole_pitch, 0.0);
        const K7SineCosine turn = k7_sine_cosine(way.turn * DEGREE);
        for (double(*v)[3] : {&pose.right, &pose.up, &pose.forward}) turn_around(pole.forward, turn, *v);
    }
    const double back = -drive.place[2];
    for (int k = 0; k < 3; ++k) pose.place[k] = way.place[k] + (k == 2 ? back : drive.place[k]);
    return pose;
}

StarFlight::Way StarFlight::speedAt(const StarDrive& drive, const Way& way) const {
    Way speed{{}, drive.turn};
    if (drive.speed[0] == 0.0 && drive.speed[1] == 0.0 && drive.speed[2] == 0.0) return speed;
    const StarPose pose = poseAt(drive, way);
    for (int k = 0; k < 3; ++k)
        speed.place[k] =
            drive.speed[0] * pose.right[k] + drive.speed[1] * pose.up[k] + drive.speed[2] * pose.forward[k];
    return speed;
}

StarPose StarFlight::at(double frame) const { return poseAt(m_drive(frame), wayAt(frame)); }
