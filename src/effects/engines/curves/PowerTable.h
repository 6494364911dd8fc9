// Powers of the numbers from 0 to 1, kept from render to render until the exponent changes.
#pragma once

#include <cstddef>
#include <vector>

class PowerTable {
  public:
    // Entry i is (i / steps)^exponent.
    void prepare(int entries, double steps, double exponent);
    const float* entries() const { return m_entries.data(); }
    // Of any number, from 0 to 1e30: an undefined power counts as 0.
    static float power(double base, double exponent);

  private:
    std::vector<float> m_entries;
    double m_steps = 0.0, m_exponent = 0.0;
};
