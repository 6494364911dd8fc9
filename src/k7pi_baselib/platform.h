// What the sources of this library need of the operating system beyond the public header. Private to the folder.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

struct LocalTime {
    int month, day, year;  // month and day count from 1, the year is the full one
    double seconds;        // since local midnight
};

LocalTime local_time();

std::FILE* open_log_stream(const char* path, bool truncate);  // appending, unbuffered, not inherited by children
std::FILE* open_console_stream();                             // the controlling terminal, or null
bool standard_error_is_terminal();

// Zeroed pages straight from the system, in large pages where it has them. `alignment` is a power of two.
void* platform_map_pages(std::size_t bytes, std::size_t alignment);
void platform_unmap_pages(void* pages, std::size_t bytes);
