// quillon: an OpenFX host for the command line.

#include <CLI/CLI.hpp>
#include <clocale>
#include <functional>
#include <iostream>
#include <map>

#include "host/cli/command.h"
#include "host/cli/failure.h"
#include "host/cli/interrupt.h"

namespace {

using namespace quillon;

const Command* const commands[] = {&listCommand,    &describeCommand,  &renderCommand, &overlayCommand,
                                   &galleryCommand, &referenceCommand, &checkCommand};

int run(int argc, char** argv) {
    CLI::App app("quillon runs the effects of an OpenFX bundle on picture files.", "quillon");
    app.require_subcommand(1);
    app.footer(
        "quillon COMMAND --help tells about one command. Exit codes: 0 all went well, 1 a file or a render "
        "failed, 2 the command line makes no sense.");
    std::map<CLI::App*, std::function<void()>> actions;
    for (const Command* command : commands) {
        CLI::App* part = app.add_subcommand(command->name, command->summary);
        actions[part] = command->declare(*part);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? ExitOk : ExitUsage;
    }
    for (CLI::App* chosen : app.get_subcommands()) actions.at(chosen)();
    return ExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "C");
    catchInterrupts();
    const auto fail = [](const std::exception& error, int code) {
        std::cerr << "quillon: " << error.what() << std::endl;
        return code;
    };
    try {
        return run(argc, argv);
    } catch (const UsageError& error) {
        return fail(error, ExitUsage);
    } catch (const std::exception& error) {
        return fail(error, ExitFailed);
    }
}
