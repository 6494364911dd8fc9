#include "effects/engines/curves/PowerTable.h"

#include <algorithm>

#include "k7pi_baselib/portable_math.h"
#include "k7pi_baselib/rows.h"

namespace {
constexpr float MOST = 1e30f;
constexpr int ROW = 256;  // entries that a thread takes at least
}  // namespace

float PowerTable::power(double base, double exponent) {
    const float value = k7_pow_float(base, exponent);
    return value > 0.0f ? std::min(value, MOST) : 0.0f;
}

void PowerTable::prepare(int entries, double steps, double exponent) {
    const auto count = static_cast<std::size_t>(entries);
    if (m_entries.size() == count && m_steps == steps && m_exponent == exponent) return;
    m_entries.resize(count);
    m_steps = steps, m_exponent = exponent;
    for_rows_float((entries + ROW - 1) / ROW, [&](int first, int last) {
        for (int i = first * ROW; i < std::min((last + 1) * ROW, entries); ++i)
            m_entries[static_cast<std::size_t>(i)] = power(i / steps, exponent);
    });
}
