// How the memory manager, which the log's own floor allocates with, reaches the log. Private to the folder.
#pragma once

inline constexpr int MEMORY_LOG_CONTINUATION = 0;  // in place of a level: more of the line before

using MemoryLog = void (*)(int level, const char* text);
extern MemoryLog memory_log;  // set by trace.cpp before any code runs
