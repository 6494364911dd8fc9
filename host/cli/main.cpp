// quillon: an OpenFX host for the command line.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <functional>
#include <iostream>
#include <map>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "host/cli/command.h"
#include "host/cli/failure.h"
#include "host/cli/interrupt.h"
#include "host/cli/text.h"

namespace {

using namespace quillon;

const Command* const commands[] = {&listCommand,    &describeCommand,  &renderCommand,
                                   &overlayCommand, &galleryCommand,   &referenceCommand,
                                   &checkCommand,   &imageInfoCommand, &convertCommand,
                                   &flowCommand,    &betweenCommand,   &jawsServiceCommand};

std::vector<std::string> commandNames() {
    std::vector<std::string> names = {"help"};
    for (const Command* command : commands) names.emplace_back(command->name);
    return names;
}

// "help render" is "render --help"; a first word that is no command is told with the nearest one.
std::vector<std::string> wordsOf(int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    if (words.empty() || words[0].starts_with('-')) return words;
    if (words[0] == "help") {
        words.erase(words.begin());
        words.resize(std::min<std::size_t>(words.size(), 1));
        words.emplace_back("--help");
    }
    const std::vector<std::string> names = commandNames();
    if (!words[0].starts_with('-') && std::find(names.begin(), names.end(), words[0]) == names.end())
        throw UsageError("there is no command \"" + words[0] + "\"" + suggestion(words[0], names));
    return words;
}

int run(int argc, char** argv) {
    CLI::App app("quillon runs the effects of an OpenFX bundle on picture files.", "quillon");
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string("quillon ") + QUILLON_VERSION);
    app.footer(
        "quillon help COMMAND tells about one command. Exit codes: 0 all went well, 1 a file or a render "
        "failed, 2 the command line makes no sense; an interrupted program ends by its signal.");
    std::map<CLI::App*, std::function<void()>> actions;
    for (const Command* command : commands) {
        CLI::App* part = app.add_subcommand(command->name, command->summary);
        actions[part] = command->declare(*part);
    }
    try {
        std::vector<std::string> words = wordsOf(argc, argv);
        std::reverse(words.begin(), words.end());  // as the parser takes them
        app.parse(std::move(words));
    } catch (const CLI::ParseError& error) {
        if (app.exit(error) != 0) return ExitUsage;
    }
    for (CLI::App* chosen : app.get_subcommands())
        if (chosen->get_help_ptr()->count() == 0 && app.count("--version") + app.count("--help") == 0)
            actions.at(chosen)();
    return ExitOk;
}

// What is still in the stream's buffer may fail to arrive.
void requireAllTold() {
    if (!std::cout.flush()) throw RunError("cannot write to the standard output");
}

}  // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "C");
    catchInterrupts();
    int code = ExitFailed;
    const auto fail = [](const std::string& text, int exitCode) {
        std::cerr << "quillon: " << text << std::endl;
        return exitCode;
    };
    try {
        code = run(argc, argv);
        requireAllTold();
    } catch (const UsageError& error) {
        code = fail(error.what(), ExitUsage);
    } catch (const std::bad_alloc&) {
        code = fail("there is not enough memory", ExitFailed);
    } catch (const std::exception& error) {
        code = fail(error.what(), ExitFailed);
    }
    std::cout.flush();
    endByTheSignal();
    return code;
}
