// Libraries do not throw: what they do with containers of the standard library goes through here.
#pragma once

#include <new>
#include <type_traits>

// What work() answers; false or null where there was no memory. Work that answers nothing: whether it was done.
template <class Work>
auto in_memory(Work&& work) {
    using Answer = decltype(work());
    if constexpr (std::is_void_v<Answer>) {
        return in_memory([&] {
            work();
            return true;
        });
    } else {
        try {
            return work();
        } catch (const std::bad_alloc&) {
            return Answer{};
        }
    }
}
