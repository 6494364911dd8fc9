#include "host/cli/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include "host/cli/failure.h"
#include "host/cli/interrupt.h"

namespace quillon {

namespace fs = std::filesystem;

namespace {

// The temporary file: removed again unless it has been kept.
class TemporaryFile {
  public:
    explicit TemporaryFile(const fs::path& target) : m_target(target) {
        std::string name(1, '.');
        name.append(target.filename().string()).append(".tmp").append(std::to_string(::getpid()));
        m_path = target.parent_path() / name;
        m_descriptor = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (m_descriptor < 0) fail(errno);
        m_cleanUp.emplace(m_path.string());
    }
    ~TemporaryFile() {
        if (m_descriptor >= 0) ::close(m_descriptor);
        if (!m_kept) ::unlink(m_path.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void write(const char* bytes, std::size_t count) {
        constexpr std::size_t Most = 64u << 20;  // so that an interruption is noticed in time
        while (count > 0) {
            const ssize_t written = ::write(m_descriptor, bytes, std::min(count, Most));
            if (written < 0 && errno == EINTR && !interrupted()) continue;
            if (written < 0) fail(errno);
            bytes += written;
            count -= static_cast<std::size_t>(written);
        }
    }
    void keep() {
        const int descriptor = std::exchange(m_descriptor, -1);
        if (::close(descriptor) != 0) fail(errno);
        if (interrupted()) throw RunError("interrupted while writing " + m_target.string());
        if (::rename(m_path.c_str(), m_target.c_str()) != 0) fail(errno);
        m_kept = true;
    }

  private:
    [[noreturn]] void fail(int error) {
        throw RunError("cannot write " + m_target.string() + ": " + std::strerror(error));
    }

    fs::path m_target, m_path;
    std::optional<RemoveWhenKilled> m_cleanUp;
    int m_descriptor = -1;
    bool m_kept = false;
};

}  // namespace

void writeFileAtomically(const fs::path& path, const void* bytes, std::size_t count) {
    TemporaryFile file(path);
    file.write(static_cast<const char*>(bytes), count);
    file.keep();
}

void requireWritable(const fs::path& path) {
    if (fs::is_directory(path)) throw RunError("cannot write " + path.string() + ": it is a folder");
    const TemporaryFile probe(path);
}

}  // namespace quillon
