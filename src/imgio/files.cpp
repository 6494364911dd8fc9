#include "imgio/files.h"

#include "imgio/format.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace imgio {

InputFile::~InputFile() {
    if (m_stream) std::fclose(m_stream);
}

bool InputFile::open(const char* path) {
    m_size = file_size(path);  // -1 for folders, pipes and devices, whose reading might not end
    if (m_size < 0 || m_size > MAX_BYTES) return false;
    m_stream = std::fopen(path, "rb");
    return m_stream != nullptr;
}

bool InputFile::read_all(std::vector<std::uint8_t>& bytes) {
    bytes.resize(static_cast<std::size_t>(m_size));
    return std::fread(bytes.data(), 1, bytes.size(), m_stream) == bytes.size();
}

OutputFile::~OutputFile() {
    if (!m_stream) return;
    std::fclose(m_stream);
    remove_file(m_path.c_str());
}

bool OutputFile::open(const char* path) {
    m_path = path;
    m_stream = std::fopen(path, "wb+");
    return m_stream != nullptr;
}

bool OutputFile::write(const void* bytes, std::size_t count) {
    if (std::fwrite(bytes, 1, count, m_stream) != count) m_failed = true;
    return !m_failed;
}

bool OutputFile::commit() {
    const bool flushed = std::fflush(m_stream) == 0 && !std::ferror(m_stream);
    if (m_failed || !flushed) return false;  // taken away when this goes
    const bool closed = std::fclose(m_stream) == 0;
    m_stream = nullptr;
    if (!closed) remove_file(m_path.c_str());
    return closed;
}

}  // namespace imgio
