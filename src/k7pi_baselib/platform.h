// What the sources of this library need of the operating system beyond the public header. Private to the folder.
#pragma once

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
