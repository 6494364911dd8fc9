// A walk over everything that a simulation's state consists of: one function names the values, and the walk measures,
// saves or restores them. Values are copied byte by byte, and restored in the order and with the types in which they
// were saved.
//
//     void walkState(StateWalk& walk) override {
//         walk.value(m_random);
//         walk.array(m_heights);
//     }
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

class StateWalk {
  public:
    static StateWalk measuring() { return {nullptr, nullptr}; }
    static StateWalk saving(std::byte* to) { return {to, nullptr}; }
    static StateWalk restoring(const std::byte* from) { return {nullptr, from}; }

    template <class T>
    void value(T& part) {
        static_assert(std::is_trivially_copyable_v<T>);
        bytes(&part, sizeof part);
    }
    // An array of any length: restored, it has the length that was saved.
    template <class T>
    void array(std::vector<T>& part) {
        static_assert(std::is_trivially_copyable_v<T>);
        std::uint64_t count = part.size();
        value(count);
        if (isRestoring()) part.resize(count);
        bytes(part.data(), part.size() * sizeof(T));
    }
    void bytes(void* part, std::size_t size) {
        if (size > 0 && m_to) std::memcpy(m_to + m_size, part, size);
        if (size > 0 && m_from) std::memcpy(part, m_from + m_size, size);
        m_size += size;
    }

    bool isRestoring() const { return m_from != nullptr; }
    std::size_t size() const { return m_size; }  // bytes of the parts so far

  private:
    StateWalk(std::byte* to, const std::byte* from) : m_to(to), m_from(from) {}

    std::byte* m_to;
    const std::byte* m_from;
    std::size_t m_size = 0;
};
