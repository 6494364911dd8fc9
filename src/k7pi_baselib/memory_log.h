// How the memory manager reaches the log, which itself allocates through the manager. Private to the folder.
#pragma once

inline constexpr int MEMORY_LOG_CONTINUATION = 0;  // in place of a level: more of the line before

using MemoryLog = void (*)(int level, const char* text);
extern MemoryLog memory_log;  // set by trace.cpp before any code runs
