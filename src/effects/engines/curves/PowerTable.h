// Powers of the numbers from 0 to 1, kept from render to render until the exponent changes.
#pragma once

#include <memory>

class PowerTable {
  public:
    // Entry i is (i / steps)^exponent. False when there is no memory; the table is empty then.
    bool prepare(int entries, double steps, double exponent);
    const float* entries() const { return m_entries.get(); }
    // Of any number, from 0 to 1e30: an undefined power counts as 0.
    static float power(double base, double exponent);

  private:
    std::unique_ptr<float[]> m_entries;
    int m_count = 0;
    double m_steps = 0.0, m_exponent = 0.0;
};
