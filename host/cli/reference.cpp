// quillon reference: the pages of the effect reference.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <memory>

#include "host/cli/atomic_file.h"
#include "host/cli/command.h"
#include "host/cli/failure.h"
#include "host/cli/reference_pages.h"
#include "host/cli/session.h"

namespace quillon {

namespace fs = std::filesystem;

namespace {

struct ReferenceOptions {
    std::string bundle, folder = "docs/effects";
};

void writeReference(const ReferenceOptions& options) {
    const Declarations declarations =
        readDeclarations(options.bundle.empty() ? findBundle() : fs::path(options.bundle));
    const fs::path folder = options.folder;
    std::error_code error;
    fs::create_directories(folder, error);
    if (!fs::is_directory(folder)) throw RunError("cannot make the folder " + folder.string());
    const auto pages = referencePages(declarations, [&](const std::string& effect) {
        return fs::exists(folder.lexically_normal() / ".." / "images" / "effects" / (effect + ".jpg"));
    });
    for (const auto& [name, text] : pages) writeFileAtomically(folder / name, text.data(), text.size());
    std::cout << pages.size() << " pages in " << folder.string() << std::endl;
}

std::function<void()> declare(CLI::App& app) {
    const auto options = std::make_shared<ReferenceOptions>();
    app.add_option("-o,--output", options->folder, "The folder to write into")->type_name("DIR")->capture_default_str();
    app.add_option("--bundle", options->bundle, "The bundle to read (a .ofx.bundle folder or the .ofx file in it)")
        ->type_name("PATH");
    return [options] { writeReference(*options); };
}

}  // namespace

const Command referenceCommand{"reference", "Write a page about each effect, from what the bundle declares", declare};

}  // namespace quillon
