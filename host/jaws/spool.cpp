#include "host/jaws/spool.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "jawslib/jawslib.h"

namespace jaws {

namespace fs = std::filesystem;

namespace {

constexpr auto StandsStill = std::chrono::milliseconds(200);
constexpr auto LeftBehind = std::chrono::hours(1);
constexpr std::string_view LockEnding = ".lock", PartEnding = ".part", PictureEnding = ".tif";
constexpr std::string_view WorkPrefix = "quillon-jaws-";

bool isUuidWith(const std::string& name, std::string_view ending) {
    return name.ends_with(ending) && is_uuid(std::string_view(name).substr(0, name.size() - ending.size()));
}

// The path and the open file are the same: nobody has removed it meanwhile.
bool isStill(const fs::path& path, int descriptor) {
    struct stat opened, named;
    return ::fstat(descriptor, &opened) == 0 && ::lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

// Entries of a folder, as far as they can be read.
template <class Work>
void eachEntry(const fs::path& folder, Work work) {
    std::error_code error;
    fs::directory_iterator entry(folder, fs::directory_options::skip_permission_denied, error), end;
    for (; !error && entry != end; entry.increment(error)) work(*entry);
}

}  // namespace

// ---- Claims -------------------------------------------------------------------------------------------------------

std::optional<Claim> Claim::take(const fs::path& job) {
    fs::path lock = job;
    lock += LockEnding;
    const int descriptor = ::open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0) return std::nullopt;
    std::error_code error;
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0 || !isStill(lock, descriptor)) {
        ::close(descriptor);
        return std::nullopt;
    }
    Claim claim(std::move(lock), descriptor);
    if (!fs::exists(fs::symlink_status(job, error))) return std::nullopt;  // somebody was faster
    return claim;
}

Claim::Claim(Claim&& other) noexcept
    : m_lock(std::move(other.m_lock)), m_descriptor(std::exchange(other.m_descriptor, -1)) {}

// Removed while it is still locked: who waits for it sees that it is gone.
Claim::~Claim() {
    if (m_descriptor < 0) return;
    ::unlink(m_lock.c_str());
    ::close(m_descriptor);
}

// ---- Directories --------------------------------------------------------------------------------------------------

Spool::Spool(const fs::path& base) {
    for (const auto& [path, name] : {std::pair{&m_input, JAWS_INPUT}, std::pair{&m_output, JAWS_OUTPUT}}) {
        const fs::path folder = base / name;
        const bool isNew = fs::create_directories(folder);
        if (isNew) fs::permissions(folder, fs::perms::owner_all);
        *path = fs::canonical(folder);
    }
}

std::vector<std::string> Spool::readyJobs() {
    std::map<std::string, Seen> now;
    std::vector<std::pair<fs::file_time_type, std::string>> ready;
    const auto time = std::chrono::steady_clock::now();
    eachEntry(m_input, [&](const fs::directory_entry& entry) {
        const std::string name = entry.path().filename().string();
        std::error_code error;
        if (!is_uuid(name) || fs::is_directory(entry.symlink_status(error))) return;
        const bool regular = fs::is_regular_file(entry.symlink_status(error));
        Seen seen{regular ? entry.file_size(error) : 0, {}, time};
        if (regular && !error) seen.written = entry.last_write_time(error);
        if (error) return;  // gone already
        const auto before = m_seen.find(name);
        if (before != m_seen.end() && before->second.size == seen.size && before->second.written == seen.written)
            seen.since = before->second.since;
        if (time - seen.since >= StandsStill) ready.emplace_back(seen.written, name);
        now.emplace(name, seen);
    });
    m_seen = std::move(now);
    std::sort(ready.begin(), ready.end());
    std::vector<std::string> names;
    for (auto& [written, name] : ready) names.push_back(std::move(name));
    return names;
}

fs::path Spool::pictureFor(const std::string& asked) const {
    const fs::path path(asked);
    const std::string name = path.filename().string();
    std::error_code error;
    if (asked.find('\0') != std::string::npos || !path.is_absolute() || !isUuidWith(name, PictureEnding)) return {};
    const fs::path folder = fs::canonical(path.parent_path(), error);
    return error || folder != m_output ? fs::path() : m_output / name;
}

void Spool::sweep() const {
    const auto now = fs::file_time_type::clock::now();
    const auto isOld = [&now](const fs::directory_entry& entry) {
        std::error_code error;
        const auto written = entry.last_write_time(error);
        return !error && now - written > LeftBehind;
    };
    for (const fs::path* folder : {&m_input, &m_output})
        eachEntry(*folder, [&](const fs::directory_entry& entry) {
            const std::string name = entry.path().filename().string();
            const bool isPicture = folder == &m_output && isUuidWith(name, PictureEnding);
            std::error_code error;
            if ((isPicture || isUuidWith(name, PartEnding)) && isOld(entry)) fs::remove(entry.path(), error);
            if (folder == &m_input && isUuidWith(name, LockEnding))
                Claim::take(*folder / name.substr(0, name.size() - LockEnding.size()));
        });
}

// ---- Work folders -------------------------------------------------------------------------------------------------

// Their locks are free: nobody works in them.
void WorkFolder::removeLeft() {
    std::error_code missing;
    eachEntry(fs::temp_directory_path(missing), [](const fs::directory_entry& entry) {
        if (!entry.path().filename().string().starts_with(WorkPrefix)) return;
        struct stat status;
        if (::lstat(entry.path().c_str(), &status) != 0 || !S_ISDIR(status.st_mode) || status.st_uid != ::geteuid())
            return;
        const int descriptor = ::open(entry.path().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        std::error_code error;
        if (descriptor >= 0 && ::flock(descriptor, LOCK_EX | LOCK_NB) == 0) fs::remove_all(entry.path(), error);
        if (descriptor >= 0) ::close(descriptor);
    });
}

// Another service may take the folder for one that was left before it is locked; then the next one is tried.
WorkFolder::WorkFolder() {
    for (int attempt = 0; attempt < 10; ++attempt) {
        std::string pattern = (fs::temp_directory_path() / (std::string(WorkPrefix) + "XXXXXX")).string();
        if (!::mkdtemp(pattern.data())) break;
        const int descriptor = ::open(pattern.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (descriptor >= 0 && ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 && isStill(pattern, descriptor)) {
            m_path = pattern;
            m_descriptor = descriptor;
            return;
        }
        if (descriptor >= 0) ::close(descriptor);
    }
    throw fs::filesystem_error("cannot make a folder for a job", fs::temp_directory_path(),
                               std::error_code(errno, std::generic_category()));
}

WorkFolder::~WorkFolder() {
    std::error_code error;
    fs::remove_all(m_path, error);
    if (m_descriptor >= 0) ::close(m_descriptor);
}

}  // namespace jaws
