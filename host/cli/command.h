// A sub-command of the program: one file each, and a line in the table of main.cpp.
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace quillon {

struct Command {
    const char* name;
    const char* summary;
    // Adds the options to the command's part of the command line and answers what runs when it is the chosen one. That
    // throws UsageError, RunError or another exception when it fails.
    std::function<void()> (*declare)(CLI::App& app);
};

extern const Command listCommand;
extern const Command describeCommand;
extern const Command renderCommand;
extern const Command referenceCommand;
extern const Command galleryCommand;
extern const Command overlayCommand;
extern const Command checkCommand;
extern const Command imageInfoCommand;
extern const Command convertCommand;
extern const Command flowCommand;
extern const Command betweenCommand;
extern const Command jawsServiceCommand;

}  // namespace quillon
