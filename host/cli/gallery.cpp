// quillon gallery: the scene of every effect, and every preset, as pictures, on a sheet and on a page.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>

#include "host/cli/atomic_file.h"
#include "host/cli/command.h"
#include "host/cli/contact_sheet.h"
#include "host/cli/declarations.h"
#include "host/cli/failure.h"
#include "host/cli/gallery_page.h"
#include "host/cli/input_source.h"
#include "host/cli/interrupt.h"
#include "host/cli/picture_file.h"
#include "host/cli/scene.h"
#include "host/cli/session.h"
#include "host/cli/text.h"

namespace quillon {

namespace fs = std::filesystem;

namespace {

constexpr char PictureFolder[] = "pictures", SheetName[] = "contact.jpg";

struct GalleryOptions {
    SessionOptions session;
    std::string folder = "gallery", examples;
    std::vector<std::string> effects;
};

// The effects asked for, or all that have a picture of their own.
std::vector<const DeclaredEffect*> chosen(Session& session, const Declarations& declarations,
                                          const std::vector<std::string>& names) {
    std::vector<const DeclaredEffect*> effects;
    const auto find = [&](const std::string& identifier) {
        return std::find_if(declarations.effects.begin(), declarations.effects.end(),
                            [&](const auto& effect) { return effect.identifier == identifier; });
    };
    for (const std::string& name : names) {
        const auto found = find(session.effect(name).identifier());
        if (found == declarations.effects.end()) throw RunError("the bundle does not tell of its effect " + name);
        effects.push_back(&*found);
    }
    if (names.empty())
        for (const DeclaredEffect& effect : declarations.effects)
            if (effect.hasPicture) effects.push_back(&effect);
    return effects;
}

// What is transparent shows a dark ground.
void putOnGround(Picture& picture) {
    constexpr float Ground = 0.16f;
    for (std::size_t i = 0; i < picture.rgba.size(); i += 4) {
        const float alpha = std::clamp(picture.rgba[i + 3], 0.0f, 1.0f);
        for (std::size_t c = 0; c < 3; ++c) picture.rgba[i + c] = alpha * picture.rgba[i + c] + (1.0f - alpha) * Ground;
        picture.rgba[i + 3] = 1.0f;
    }
}

class GalleryMaker {
  public:
    GalleryMaker(Session& session, fs::path folder, fs::path examples)
        : m_session(session), m_folder(std::move(folder)), m_examples(std::move(examples)) {}

    GalleryEffect render(const DeclaredEffect& effect) {
        GalleryEffect entry{effect.name, effect.menu,        std::string(trimmed(effect.description)),
                            {},          effect.scene.width, effect.scene.height,
                            {}};
        for (const std::string& setting : effect.scene.settings)
            entry.settings += (entry.settings.empty() ? "" : "  ") + setting;
        const std::vector<Picture> inputs = sceneInputs(effect.scene, m_examples);
        add(entry, effect, inputs, {}, effect.shortName(), "");
        for (const DeclaredPresets& presets : effect.presets)
            for (std::size_t i = 0; i < presets.names.size(); ++i)
                add(entry, effect, inputs, presets.choice + "=" + std::to_string(i),
                    effect.shortName() + "." + presets.choice + "-" + (i < 9 ? "0" : "") + std::to_string(i + 1),
                    std::string(trimmed(presets.names[i])));
        std::cout << effect.name << "  " << entry.pictures.size()
                  << (entry.pictures.size() == 1 ? " picture" : " pictures") << std::endl;
        return entry;
    }
    const std::vector<SheetEntry>& sheet() const { return m_sheet; }

  private:
    void add(GalleryEffect& entry, const DeclaredEffect& effect, const std::vector<Picture>& inputs,
             const std::string& preset, const std::string& file, const std::string& caption) {
        const auto image =
            renderScene(m_session.effect(effect.identifier), effect.scene, inputs, ofxhost::Depth::Float, preset);
        Picture picture = fromHostImage(*image);
        putOnGround(picture);
        const std::string path = std::string(PictureFolder) + "/" + file + ".jpg";
        writePicture(m_folder / path, picture, {.depth = 8});
        entry.pictures.push_back({path, caption});
        m_sheet.push_back({std::move(picture), effect.name + (caption.empty() ? "" : ": " + caption)});
    }

    Session& m_session;
    fs::path m_folder, m_examples;
    std::vector<SheetEntry> m_sheet;
};

void makeGallery(const GalleryOptions& options) {
    Session session(options.session);
    const Declarations declarations =
        readDeclarations(options.session.bundle.empty() ? findBundle() : fs::path(options.session.bundle));
    const auto effects = chosen(session, declarations, options.effects);
    const fs::path folder = options.folder;
    std::error_code error;
    fs::create_directories(folder / PictureFolder, error);
    if (!fs::is_directory(folder / PictureFolder)) throw RunError("cannot make the folder " + folder.string());

    Gallery gallery{declarations.version, SheetName, {}, {}};
    const AbortOnInterrupt abort(session.host());
    GalleryMaker maker(session, folder, options.examples.empty() ? findExamples() : fs::path(options.examples));
    for (const DeclaredEffect* effect : effects) gallery.effects.push_back(maker.render(*effect));
    if (options.effects.empty())
        for (const DeclaredEffect& effect : declarations.effects)
            if (!effect.hasPicture) gallery.withoutPicture.push_back(effect.name);
    writePicture(folder / SheetName, contactSheet(maker.sheet()), {.depth = 8});
    const std::string page = galleryPage(gallery);
    writeFileAtomically(folder / "index.html", page.data(), page.size());
    std::cout << (folder / "index.html").string() << std::endl;
    session.finish();
}

std::function<void()> declare(CLI::App& app) {
    const auto options = std::make_shared<GalleryOptions>();
    app.add_option("EFFECT", options->effects, "The effects to show (default: all that have a picture of their own)");
    app.add_option("-o,--output", options->folder, "The folder to write into")->type_name("DIR")->capture_default_str();
    app.add_option("--examples", options->examples, "The folder with the example pictures")->type_name("DIR");
    options->session.addTo(app);
    return [options] { makeGallery(*options); };
}

}  // namespace

const Command galleryCommand{"gallery", "Render the scene and the presets of every effect into pictures and a page",
                             declare};

}  // namespace quillon
