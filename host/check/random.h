// Numbers that follow from a seed alone, on every machine: the standard library's distributions do not promise that.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace bundlecheck {

inline std::uint64_t hashOf(std::string_view text, std::uint64_t start = 0xcbf29ce484222325ull) {  // FNV-1a
    for (const char c : text) start = (start ^ static_cast<unsigned char>(c)) * 0x100000001b3ull;
    return start;
}

// SplitMix64 (Steele, Lea, Flood: Fast splittable pseudorandom number generators, 2014).
class Random {
  public:
    explicit Random(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t next() {
        std::uint64_t z = (m_state += 0x9e3779b97f4a7c15ull);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
        return z ^ (z >> 31);
    }
    double unit() { return static_cast<double>(next() >> 11) * 0x1p-53; }  // 0 to below 1
    double between(double low, double high) { return low + (high - low) * unit(); }
    int below(int count) { return static_cast<int>(next() % static_cast<std::uint64_t>(count > 0 ? count : 1)); }
    bool chance(double probability) { return unit() < probability; }

    template <class List>
    void shuffle(List& list) {
        for (std::size_t i = list.size(); i > 1; --i)
            std::swap(list[i - 1], list[static_cast<std::size_t>(next() % i)]);
    }

  private:
    std::uint64_t m_state;
};

}  // namespace bundlecheck
