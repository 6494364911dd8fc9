// quillon jaws-service: draws the PostScript files of Q_Jaws.

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "host/cli/command.h"
#include "host/cli/failure.h"
#include "host/cli/interrupt.h"
#include "host/jaws/service.h"

namespace quillon {

namespace {

struct ServiceOptions {
    std::string folder;
    bool quiet = false;
};

void serve(const ServiceOptions& options) {
    try {
        const auto tell = [&options](const std::string& line) {
            if (!options.quiet) std::cout << line << std::endl;
        };
        jaws::Service service(options.folder.empty() ? jaws::usualBase() : std::filesystem::path(options.folder), tell);
        tell("waiting for jobs in " + service.spool().input().string());
        service.run([] { return interrupted(); });
    } catch (const std::exception& error) {
        throw RunError(error.what());
    }
}

std::function<void()> declare(CLI::App& app) {
    const auto options = std::make_shared<ServiceOptions>();
    app.add_option("DIR", options->folder,
                   "The folder that jobs and pictures are exchanged in (default: Quillon's data directory, as Q_Jaws)");
    app.add_flag("-q,--quiet", options->quiet, "No line for each job");
    return [options] { serve(*options); };
}

}  // namespace

const Command jawsServiceCommand{"jaws-service", "Draw the PostScript files of Q_Jaws until interrupted", declare};

}  // namespace quillon
