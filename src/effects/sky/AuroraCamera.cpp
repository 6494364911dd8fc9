#include "effects/sky/AuroraCamera.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr float LEAST_RISE = 0.03F;  // of a line of sight that meets the plane: as far as 33 heights

float dot(const float (&a)[3], const float (&b)[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
void scale_to_unit(float (&v)[3]) {
    const float length = std::sqrt(dot(v, v));
    for (float& part : v) part /= length;
}

}  // namespace

AuroraCamera::AuroraCamera(AuroraPoint vanishing, float focal) : m_focal(focal), m_up{vanishing.x, vanishing.y, focal} {
    scale_to_unit(m_up);
    // Ahead is towards the middle of the picture; where that is the zenith, towards its lower edge.
    const float middle[3] = {0, 0, 1}, below[3] = {0, -1, 0};
    const float* towards = m_up[2] < 0.999F ? middle : below;
    const float rise = m_up[0] * towards[0] + m_up[1] * towards[1] + m_up[2] * towards[2];
    for (int i = 0; i < 3; ++i) m_ahead[i] = towards[i] - rise * m_up[i];
    scale_to_unit(m_ahead);
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3, k = (i + 2) % 3;
        m_side[i] = m_up[j] * m_ahead[k] - m_up[k] * m_ahead[j];
    }
}

AuroraCamera::Sight AuroraCamera::sight(AuroraPoint in_picture) const {
    const float line[3] = {in_picture.x, in_picture.y, m_focal};
    return {dot(line, m_up), dot(line, m_ahead), dot(line, m_side)};
}

AuroraPoint AuroraCamera::to_plan(AuroraPoint in_picture) const {
    const Sight line = sight(in_picture);
    const float level = std::sqrt(line.ahead * line.ahead + line.side * line.side);
    const float rise = std::max(line.up, LEAST_RISE * std::max(level, 0.05F));
    return {line.ahead / rise, line.side / rise};
}

bool AuroraCamera::to_picture(AuroraPoint in_plan, AuroraPoint& in_picture) const {
    float line[3];
    for (int i = 0; i < 3; ++i) line[i] = in_plan.x * m_ahead[i] + in_plan.y * m_side[i] + m_up[i];
    if (!(line[2] > 0.05F)) return false;
    in_picture = {m_focal * line[0] / line[2], m_focal * line[1] / line[2]};
    return true;
}
