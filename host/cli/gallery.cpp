// quillon gallery: the scene of every effect, and every preset, as pictures and short loops on pages for a browser.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <deque>
#include <filesystem>
#include <future>
#include <iostream>
#include <memory>
#include <thread>

#include "host/cli/atomic_file.h"
#include "host/cli/command.h"
#include "host/cli/contact_sheet.h"
#include "host/cli/effect_painter.h"
#include "host/cli/failure.h"
#include "host/cli/gallery_page.h"
#include "host/cli/interrupt.h"
#include "host/cli/jaws_beside.h"
#include "host/cli/picture_file.h"
#include "host/cli/render_plan.h"
#include "host/cli/scene.h"

namespace quillon {

namespace fs = std::filesystem;

namespace {

constexpr char PictureFolder[] = "pictures", SheetName[] = "contact.jpg";
constexpr int StillQuality = 88, LoopQuality = 72;
constexpr int LoopWidth = 960;  // about, of a loop's frames

struct GalleryOptions {
    SessionOptions session;
    std::string folder = "gallery", examples, size = "1920x1080";
    std::vector<std::string> effects;
    bool stills = false;
};

// Files are encoded and written by as many threads as the machine has while the next pictures are rendered.
class FileWriters {
  public:
    void add(std::function<void()> write) {
        if (m_running.size() >= std::max(1u, std::thread::hardware_concurrency())) waitForOne();
        m_running.push_back(std::async(std::launch::async, std::move(write)));
    }
    void finish() {
        while (!m_running.empty()) waitForOne();
    }

  private:
    void waitForOne() {
        std::future<void> first = std::move(m_running.front());
        m_running.pop_front();
        first.get();
    }
    std::deque<std::future<void>> m_running;
};

class GalleryMaker {
  public:
    GalleryMaker(Session& session, const GalleryOptions& options, const std::vector<DeclaredEffect>& effects)
        : m_session(session),
          m_pictures(fs::path(options.folder) / PictureFolder),
          m_examples(options.examples.empty() ? findExamples() : fs::path(options.examples)),
          m_size(parseSize(options.size)),
          m_loops(!options.stills) {
        for (const DeclaredEffect& effect : effects) m_total += effect.views().size();
    }

    void render(const DeclaredEffect& effect) {
        const EffectPainter painter(m_session, m_examples, effect, m_size.width, m_size.height);
        if (auto source = painter.source()) write(effect.sourceFile(), std::move(*source));
        for (const DeclaredView& view : effect.views()) {
            std::cout << ++m_done << "/" << m_total << "  " << effect.name
                      << (view.caption.empty() ? "" : ": " + view.caption) << std::endl;
            Picture still = painter.still(view);
            m_sheet.push_back({boxScaled(still, std::min(1.0, 240.0 / still.width)),
                               effect.name + (view.caption.empty() ? "" : ": " + view.caption)});
            write(view.file, std::move(still));
            if (m_loops) loop(painter, view);
        }
    }

    void finish() { m_writers.finish(); }
    const std::vector<SheetEntry>& sheet() const { return m_sheet; }
    const std::set<std::string>& moving() const { return m_moving; }

  private:
    void write(const std::string& name, Picture picture) {
        m_writers.add([path = m_pictures / (name + ".jpg"), picture = std::move(picture)] {
            writePicture(path, picture, {.depth = 8, .quality = StillQuality});
        });
    }
    void loop(const EffectPainter& painter, const DeclaredView& view) {
        auto frames = painter.loop(view, std::min(1.0, static_cast<double>(LoopWidth) / m_size.width));
        if (frames.empty()) return;
        m_moving.insert(view.file);
        m_writers.add([path = m_pictures / (view.file + ".webp"), frames = std::move(frames)] {
            const std::string file = encodeLoop(frames, LoopRate, LoopQuality);
            writeFileAtomically(path, file.data(), file.size());
        });
    }

    Session& m_session;
    fs::path m_pictures, m_examples;
    PixelSize m_size;
    bool m_loops;
    std::size_t m_done = 0, m_total = 0;
    std::vector<SheetEntry> m_sheet;
    std::set<std::string> m_moving;
    FileWriters m_writers;  // last: its threads end before what they use
};

void makeFolder(const fs::path& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (!fs::is_directory(folder, error)) throw RunError("cannot make the folder " + folder.string());
}

void makeGallery(const GalleryOptions& options) {
    Session session(options.session);
    const Declarations declarations =
        readDeclarations(options.session.bundle.empty() ? findBundle() : fs::path(options.session.bundle));
    const PixelSize size = parseSize(options.size);
    Gallery gallery{declarations.version,
                    SheetName,
                    size.width,
                    size.height,
                    chosenEffects(session, declarations, options.effects),
                    {}};
    const fs::path folder = options.folder;
    for (const char* part : {PictureFolder, "effects"}) makeFolder(folder / part);
    const AbortOnInterrupt abort(session.host());
    const JawsBeside service(gallery.effects);
    GalleryMaker maker(session, options, gallery.effects);
    for (const DeclaredEffect& effect : gallery.effects) maker.render(effect);
    maker.finish();
    gallery.moving = maker.moving();
    writePicture(folder / SheetName, contactSheet(maker.sheet()), {.depth = 8});
    for (const auto& [name, text] : galleryPages(gallery)) writeFileAtomically(folder / name, text.data(), text.size());
    std::cout << (folder / "index.html").string() << std::endl;
    session.finish();
}

std::function<void()> declare(CLI::App& app) {
    const auto options = std::make_shared<GalleryOptions>();
    app.add_option("EFFECT", options->effects, "The effects to show (default: all that have a picture of their own)");
    app.add_option("-o,--output", options->folder, "The folder to write into")->type_name("DIR")->capture_default_str();
    app.add_option("--size", options->size, "Of the pictures")->type_name("WxH")->capture_default_str();
    app.add_flag("--stills", options->stills, "No loops of what moves, which take most of the time");
    app.add_option("--examples", options->examples, "The folder with the example pictures")->type_name("DIR");
    options->session.addTo(app);
    return [options] { makeGallery(*options); };
}

}  // namespace

const Command galleryCommand{"gallery",
                             "Render the scene and the presets of every effect, and how they move, into pages for "
                             "a browser",
                             declare};

}  // namespace quillon
