// What libtiff and libjpeg see as the standard error stream; see CMakeLists.txt.
#include <cstdio>

extern "C" {
[[gnu::visibility("hidden"), gnu::used]] std::FILE* imgio_stderr = stderr;
}
