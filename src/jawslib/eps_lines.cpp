#include <algorithm>
#include <cstdio>
#include <cstring>

#include "jawslib/jawslib_eps.h"
#include "k7pi_baselib/k7pi_baselib.h"

// Only regular files: a pipe would keep the host waiting for ever.
EpsLines::EpsLines(const char* path, bool macintosh)
    : m_file(file_exists(path) ? std::fopen(path, "rbe") : nullptr), m_macintosh(macintosh) {}

bool EpsLines::seek(long long offset, long long length) {
    m_first = m_last = 0;
    m_left = length;
    return m_file && offset >= 0 && ::fseeko(m_file.get(), static_cast<off_t>(offset), SEEK_SET) == 0;
}

bool EpsLines::fill() {
    std::size_t wanted = sizeof m_buffer;
    if (m_left >= 0) wanted = static_cast<std::size_t>(std::min<long long>(m_left, static_cast<long long>(wanted)));
    m_first = 0;
    m_last = wanted && m_file ? std::fread(m_buffer, 1, wanted, m_file.get()) : 0;
    if (m_left >= 0) m_left -= static_cast<long long>(m_last);
    return m_last > 0;
}

bool EpsLines::next(std::string_view* line) {
    std::size_t length = 0;
    bool ended = false;
    while (!ended && length < LONGEST && (m_first < m_last || fill())) {
        const char* begin = m_buffer + m_first;
        const std::size_t most = std::min(m_last - m_first, LONGEST - length);
        const char* end = begin + most;
        const char* stop = std::find_if(begin, end, [&](char c) { return c == '\n' || (m_macintosh && c == '\r'); });
        ended = stop != end;
        const std::size_t count = static_cast<std::size_t>(stop - begin) + (ended ? 1 : 0);
        std::memcpy(m_line + length, begin, count);
        length += count;
        m_first += count;
    }
    if (ended) m_line[length - 1] = '\n';
    *line = {m_line, length};
    return length > 0;
}
