// Which sanitizer a test runs under.
#pragma once

#ifdef __SANITIZE_THREAD__
inline constexpr bool threadSanitizer = true;
#else
inline constexpr bool threadSanitizer = false;
#endif

#ifdef __SANITIZE_ADDRESS__
inline constexpr bool addressSanitizer = true;
#else
inline constexpr bool addressSanitizer = false;
#endif
