// quillon reference: the pages of the effect reference.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <memory>

#include "host/cli/atomic_file.h"
#include "host/cli/command.h"
#include "host/cli/effect_painter.h"
#include "host/cli/failure.h"
#include "host/cli/interrupt.h"
#include "host/cli/jaws_beside.h"
#include "host/cli/picture_file.h"
#include "host/cli/reference_pages.h"
#include "host/cli/scene.h"
#include "host/cli/session.h"

namespace quillon {

namespace fs = std::filesystem;

namespace {

struct ReferenceOptions {
    SessionOptions session;
    std::string folder = "docs/effects", examples;
    std::vector<std::string> effects;
    bool pictures = false;
};

constexpr int SceneWidth = 1920, SceneHeight = 1080;
constexpr double SceneScale = 2.0 / 3.0, PresetScale = 1.0 / 3.0;  // of it that a page's pictures have

// Rendered large and then scaled down, as a compositor sees them whose viewer shows the whole picture.
void writePictures(Session& session, const ReferenceOptions& options, const Declarations& declarations,
                   const fs::path& folder) {
    const fs::path examples = options.examples.empty() ? findExamples() : fs::path(options.examples);
    const AbortOnInterrupt abort(session.host());
    const auto write = [&](const std::string& name, const Picture& picture, double scale) {
        writePicture(folder / (name + ".jpg"), boxScaled(picture, scale), {.depth = 8, .quality = 82});
    };
    const std::vector<DeclaredEffect> effects = chosenEffects(session, declarations, options.effects);
    const JawsBeside service(effects);
    for (const DeclaredEffect& effect : effects) {
        std::cout << effect.name << std::endl;
        const EffectPainter painter(session, examples, effect, SceneWidth, SceneHeight);
        if (const auto source = painter.source()) write(effect.sourceFile(), *source, SceneScale);
        for (const DeclaredView& view : effect.views())
            write(view.file, painter.still(view), view.preset.empty() ? SceneScale : PresetScale);
    }
}

void writeReference(const ReferenceOptions& options) {
    const Declarations declarations =
        readDeclarations(options.session.bundle.empty() ? findBundle() : fs::path(options.session.bundle));
    const fs::path folder = options.folder;
    const fs::path pictures = (folder / ".." / "images" / "effects").lexically_normal();
    std::error_code error;
    fs::create_directories(folder, error);
    if (!fs::is_directory(folder)) throw RunError("cannot make the folder " + folder.string());
    if (options.pictures) {
        fs::create_directories(pictures, error);
        Session session(options.session);
        writePictures(session, options, declarations, pictures);
        session.finish();
    }
    const auto pages =
        referencePages(declarations, {.has = [&](const std::string& file) { return fs::exists(pictures / file); }});
    for (const auto& [name, text] : pages) writeFileAtomically(folder / name, text.data(), text.size());
    std::cout << pages.size() << " pages in " << folder.string() << std::endl;
}

std::function<void()> declare(CLI::App& app) {
    const auto options = std::make_shared<ReferenceOptions>();
    app.add_option("EFFECT", options->effects, "The effects to render with --pictures (default: all)");
    app.add_option("-o,--output", options->folder, "The folder to write into")->type_name("DIR")->capture_default_str();
    app.add_flag("--pictures", options->pictures, "Render the pages' pictures too, into ../images/effects beside them");
    app.add_option("--examples", options->examples, "The folder with the example pictures")->type_name("DIR");
    options->session.addTo(app);
    return [options] { writeReference(*options); };
}

}  // namespace

const Command referenceCommand{"reference", "Write a page about each effect, from what the bundle declares", declare};

}  // namespace quillon
