// Memory that can't be had, in the framework and in effects. Libraries answer null or false. made() makes an exception
// of that, which the action's entry catches: it tells the log, and the host's picture stays as it was.
#pragma once

#include <new>

// What was made: a pointer, or whether a library had the memory for its work.
template <class Result>
Result made(Result result) {
    if (!result) throw std::bad_alloc();
    return result;
}
