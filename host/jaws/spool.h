// The two directories that jobs and pictures are exchanged in, shared with clients and with other services.
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace jaws {

// A job that is ours: nobody else works at it while this lives, and a service that has died leaves it to others. A lock
// on a file beside the job, since the job itself must stay until its picture is there.
class Claim {
  public:
    static std::optional<Claim> take(const std::filesystem::path& job);
    ~Claim();
    Claim(Claim&& other) noexcept;
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;

  private:
    Claim(std::filesystem::path lock, int descriptor) : m_lock(std::move(lock)), m_descriptor(descriptor) {}
    std::filesystem::path m_lock;
    int m_descriptor;
};

class Spool {
  public:
    // Makes the directories below `base`. Throws std::filesystem::filesystem_error.
    explicit Spool(const std::filesystem::path& base);

    const std::filesystem::path& input() const { return m_input; }
    const std::filesystem::path& output() const { return m_output; }

    // Jobs whose size and time have stood still for a while, the oldest first: clients may write under the final name.
    std::vector<std::string> readyJobs();
    // The file that a job asks for, inside our own output directory; empty for any other path.
    std::filesystem::path pictureFor(const std::string& asked) const;
    // Removes what clients and services that died have left behind for an hour.
    void sweep() const;

  private:
    struct Seen {
        std::uintmax_t size;
        std::filesystem::file_time_type written;
        std::chrono::steady_clock::time_point since;
    };
    std::filesystem::path m_input, m_output;
    std::map<std::string, Seen> m_seen;
};

// A folder of its own for one job, with all that is in it gone afterwards. Throws std::filesystem::filesystem_error.
class WorkFolder {
  public:
    static void removeLeft();  // those of services that were killed
    WorkFolder();
    ~WorkFolder();
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;
    const std::filesystem::path& path() const { return m_path; }

  private:
    std::filesystem::path m_path;
    int m_descriptor = -1;
};

}  // namespace jaws
