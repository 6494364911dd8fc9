// The service behind Q_Jaws: takes jobs (jawslib/jawslib.h tells what they are), draws them by Ghostscript, and puts
// the pictures where the jobs ask for them. Any number of services may work in the same directories.
//
// A job is a program of unknown origin. It runs in a process with limits that reaches no files but its own
// (ghostscript.h), and what it asks for is only written into the output directory. Every job ends: by its picture or,
// when it is broken, too large or too slow, or when the disk is full, without one.
#pragma once

#include <filesystem>
#include <functional>
#include <set>
#include <string>

#include "host/jaws/ghostscript.h"
#include "host/jaws/spool.h"

namespace jaws {

class Service {
  public:
    using Tell = std::function<void(const std::string& line)>;
    using Stop = std::function<bool()>;

    // Throws std::runtime_error where there is no Ghostscript or the directories below `base` can't be made.
    Service(const std::filesystem::path& base, Tell tell, RunLimits limits = {});

    // Works until `stop` says so. A job that is then being drawn is left for the next service.
    void run(const Stop& stop);
    const Spool& spool() const { return m_spool; }

  private:
    void serve(const std::string& name, const Stop& stop);
    std::string draw(const std::filesystem::path& job, const Stop& stop);

    std::filesystem::path m_program;
    Spool m_spool;
    Tell m_tell;
    RunLimits m_limits;
    std::set<std::string> m_stuck;  // jobs that can't be removed
};

// The directories that Q_Jaws uses in this process.
std::filesystem::path usualBase();

}  // namespace jaws
