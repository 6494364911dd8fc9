// quillon render: an effect on picture files, frame by frame, by one instance.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <iomanip>
#include <memory>
#include <new>
#include <sstream>
#include <thread>

#include "host/cli/command.h"
#include "host/cli/failure.h"
#include "host/cli/frame.h"
#include "host/cli/frame_writer.h"
#include "host/cli/interrupt.h"
#include "host/cli/picture_file.h"
#include "host/cli/render_plan.h"
#include "ofx/ofx_names.h"

namespace quillon {

namespace {

using ofxhost::EffectInstance;
using ofxhost::ImagePtr;

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// As many as there are threads to read or write them, within what memory they may take.
std::size_t framesInHand(const ofxhost::ImageLayout& layout, unsigned threads) {
    constexpr std::size_t Bytes = std::size_t{2} << 30;
    constexpr std::size_t Copies = 3;  // of a frame: the host's image, floats, and those in the file's order
    const std::size_t frame = static_cast<std::size_t>(layout.width()) * static_cast<std::size_t>(layout.height()) * 16;
    return std::clamp<std::size_t>(Bytes / (Copies * std::max<std::size_t>(frame, 1)), 1, threads);
}

// One instance at work on the frames of a plan.
class FrameRenderer {
  public:
    FrameRenderer(Session& session, EffectInstance& instance, const RenderPlan& plan)
        : m_session(session),
          m_instance(instance),
          m_plan(plan),
          m_alpha(outputAlpha(instance)),
          m_layout(outputLayout(plan, m_alpha)),
          m_ahead(framesInHand(m_layout, m_threads)),
          m_writer(
              std::min<unsigned>(m_threads, static_cast<unsigned>(std::min<std::size_t>(plan.frames.size(), 1024))),
              m_ahead + 1) {}

    // Throws RunError when any frame fails; those before it have been written.
    void renderAll() {
        const auto [first, last] = std::minmax_element(m_plan.frames.begin(), m_plan.frames.end());
        const OfxRangeD range = {static_cast<double>(*first), static_cast<double>(*last)};
        const ofxhost::RenderRequest request = requestFor(*first);
        if (!answered(m_instance.beginSequence(request, range, 1.0)))
            throw RunError("the effect refuses to begin the render");
        for (const std::string& line : m_plan.warnings()) m_session.console().warn(line);
        for (const std::string& line : m_plan.summary(m_alpha)) m_session.console().tell(line);
        if (m_session.host().config().device && !m_instance.descriptor().takesDevicePictures())
            m_session.console().tell("the effect takes no pictures on a device: they lie in main memory");
        m_session.console().beginFrames(static_cast<int>(m_plan.frames.size()));
        std::string failure;
        try {
            renderFrames();
        } catch (const std::exception& error) {
            failure = error.what();
        }
        m_session.console().endFrames();
        m_instance.endSequence(request, range, 1.0);
        if (failure.empty()) return;
        m_session.console().log("failed: " + failure);
        throw RunError(failure + " (" + std::to_string(m_done) + " of " + std::to_string(m_plan.frames.size()) +
                       " frames rendered)");
    }

    // "  reading      100 x   12.345 ms   1234.500 ms"
    std::vector<StageTotal> times() const {
        InputSource::Times read;
        for (const auto& [clip, input] : m_plan.inputs) {
            if (std::find(m_plan.filled.begin(), m_plan.filled.end(), clip) != m_plan.filled.end()) continue;
            read.files += input->times().files;
            read.reading += input->times().reading;
        }
        const FrameWriter::Times written = m_writer.times();
        return {{"reading files", read.files, read.reading * 1000.0},
                {"rendering", m_done, m_rendering * 1000.0},
                {"encoding files", written.frames, written.encoding * 1000.0},
                {"writing files", written.frames, written.writing * 1000.0}};
    }

    double seconds() const { return secondsSince(m_start); }

  private:
    ofxhost::RenderRequest requestFor(int frame) const {
        ofxhost::RenderRequest request;
        request.time = frame;
        request.renderScale = m_plan.project.renderScale;
        return request;
    }

    // Files of the next frames are read, and those of the last ones written, while the effect works on a frame.
    void renderFrames() {
        for (std::size_t i = 0; i < m_plan.frames.size(); ++i) {
            readAhead(i);
            const int frame = m_plan.frames[i];
            const auto start = Clock::now();
            ImagePtr image;
            try {
                image = renderFrame(m_instance, requestFor(frame), m_layout, [this](OfxStatus s) { requireGood(s); });
            } catch (const std::exception& error) {
                m_writer.finish();
                throw ofFrame(frame, error);
            }
            m_rendering += secondsSince(start);
            tellOfDevice(frame);
            m_writer.put(fileOf(frame, image, start));
        }
        m_writer.finish();
    }

    void tellOfDevice(int frame) {
        const ofxhost::DeviceRenders& now = m_instance.deviceRenders();
        if (now.refused == m_refused) return;
        m_refused = now.refused;
        const bool byEffect = now.answer != ofx::status::OK;
        m_session.console().warn("frame " + std::to_string(frame) + ": " +
                                 (byEffect
                                      ? "the effect gave up on the device (status " + std::to_string(now.answer) + ")"
                                      : std::string("the device failed")) +
                                 "; rendered in main memory");
    }

    void readAhead(std::size_t from) {
        const std::size_t to = std::min(from + 1 + m_ahead, m_plan.frames.size());
        const std::vector<double> times(m_plan.frames.begin() + static_cast<std::ptrdiff_t>(from),
                                        m_plan.frames.begin() + static_cast<std::ptrdiff_t>(to));
        for (const auto& [clip, input] : m_plan.inputs)
            if (input->isSequence()) input->readAhead(times);
    }

    FrameWriter::Frame fileOf(int frame, const ImagePtr& image, Clock::time_point start) {
        const std::filesystem::path path = m_plan.output.path(frame);
        return {.path = path,
                .encode =
                    [this, frame, path, image] {
                        return encodePicture(path, fromHostImage(*image), m_plan.writeOptions(frame, m_alpha));
                    },
                .written =
                    [this, frame, path, start] {
                        ++m_done;
                        m_session.console().frameDone(frame, path.string(), secondsSince(start));
                    },
                .failed =
                    [frame](const std::exception_ptr& failure) {
                        try {
                            std::rethrow_exception(failure);
                        } catch (const std::exception& error) {
                            return std::make_exception_ptr(ofFrame(frame, error));
                        }
                    }};
    }

    static RunError ofFrame(int frame, const std::exception& error) {
        const bool memory = dynamic_cast<const std::bad_alloc*>(&error) != nullptr;
        return RunError("frame " + std::to_string(frame) + ": " +
                        (memory ? "there is not enough memory" : error.what()));
    }

    // Throws RunError for all that spoils a frame.
    void requireGood(OfxStatus status) {
        for (const auto& [clip, input] : m_plan.inputs)
            if (const std::string failure = input->takeFailure(); !failure.empty()) throw RunError(failure);
        if (interrupted()) throw RunError("interrupted");
        if (status != ofx::status::OK) throw RunError("the effect failed (status " + std::to_string(status) + ")");
        m_session.console().requireClean();
    }

    Session& m_session;
    EffectInstance& m_instance;
    const RenderPlan& m_plan;
    Alpha m_alpha;
    ofxhost::ImageLayout m_layout;
    unsigned m_threads = std::max(1u, std::thread::hardware_concurrency());  // for files
    std::size_t m_ahead;  // frames in hand on either side of the one being rendered
    std::atomic<int> m_done{0};
    double m_rendering = 0.0;  // seconds
    int m_refused = 0;         // of the renders on a device
    Clock::time_point m_start = Clock::now();
    FrameWriter m_writer;  // last: its threads use the others
};

// A line for each: "  Radial LIC     4 x   12.345 ms     49.380 ms"
std::string timesText(const std::vector<StageTotal>& stages) {
    std::size_t width = 0;
    for (const StageTotal& stage : stages) width = std::max(width, stage.stage.size());
    std::ostringstream text;
    text << std::fixed << std::setprecision(3);
    for (const StageTotal& stage : stages)
        text << "  " << std::left << std::setw(static_cast<int>(width)) << stage.stage << std::right << std::setw(6)
             << stage.times << std::setw(12) << stage.milliseconds / std::max(stage.times, 1) << std::setw(13)
             << stage.milliseconds << '\n';
    return text.str();
}

std::string allTimes(Session& session, const FrameRenderer& renderer) {
    const std::vector<StageTotal> stages = session.pluginOutput().stages();
    std::ostringstream text;
    text << "Time of the program (times, mean, sum over all threads in ms; files are read and written meanwhile):\n"
         << timesText(renderer.times()) << std::fixed << std::setprecision(3) << "  in all, by the clock "
         << renderer.seconds() * 1000.0 << "\n";
    if (stages.empty())
        text << "The effect has told nothing of its times.\n";
    else
        text << "Time in the effect, by stage (times, mean, sum in ms):\n" << timesText(stages);
    return text.str();
}

void render(const RenderOptions& options) {
    Session session(options.session);
    {
        const RenderPlan plan = makePlan(session, options);
        const auto instance = makeInstance(plan, options);
        const AbortOnInterrupt abort(session.host());
        if (options.session.timing) session.pluginOutput().takeOverLog();
        FrameRenderer renderer(session, *instance, plan);
        renderer.renderAll();
        if (options.session.timing) session.console().report(allTimes(session, renderer));
    }
    session.finish();
}

void addFileOptions(CLI::App& app, RenderOptions& options) {
    app.add_option("--colour-in", options.colourIn,
                   "What the numbers of the first input mean: srgb, linear or rec709 (default: as its file says); the "
                   "effect gets them as they are")
        ->check(CLI::IsMember({"srgb", "linear", "rec709"}));
    app.add_option("--colour-out", options.colourOut,
                   "What those of the output are to mean; they are converted (default: linear in .exr and .hdr, srgb "
                   "in others)")
        ->check(CLI::IsMember({"srgb", "linear", "rec709"}));
    app.add_option("--file-depth", options.fileDepth,
                   "How the output stores samples: 8, 16, half or float, as its format can (default: as the effect "
                   "gives them; half in .exr where the first input is half)")
        ->check(CLI::IsMember({"8", "16", "half", "float"}));
    app.add_option(
           "--compression", options.compression,
           "Of the output: zip, none, rle, zips, piz, pxr24, b44, b44a, dwaa or dwab in .exr; zip, none, lzw or "
           "packbits in .tif; 0 to 9 in .png")
        ->type_name("NAME");
    app.add_option("--quality", options.quality,
                   "Of .jpg, 1 to 100 (default: 95); of dwaa and dwab in .exr their level")
        ->check(CLI::Range(1, 1000));
}

void addOptions(CLI::App& app, RenderOptions& options) {
    app.add_option("EFFECT", options.effect, "Q_Darken, Darken, darken or the full identifier")->required();
    app.add_option("-i,--input", options.inputs,
                   "A picture, or a sequence such as plate.%04d.exr or plate.####.exr; without CLIP= the inputs fill "
                   "the effect's clips in order; a layer or part of an .exr is FILE:LAYER")
        ->type_name("[CLIP=]FILE")
        ->allow_extra_args(false);
    app.add_option("-o,--output", options.output, "The picture or sequence to write")->type_name("FILE")->required();
    app.add_option("-f,--frames", options.frames,
                   "A, A-B, A-BxS or a comma list of these: times, rendered in this order by one instance (default: "
                   "those of the first input)")
        ->type_name("FRAMES");
    app.add_option("-p,--param", options.params,
                   "Set a parameter: a number, numbers joined by commas, a choice by index or text, on or off, a text, "
                   "press for a button, or keys @0:1,@24:5 (of several components: @0:1/2/3,@24:5/6/7)")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    app.add_option("--preset", options.preset, "Choose a preset by text or index, before -p")->type_name("TEXT");
    app.add_option("--depth", options.depth,
                   "Bits of a sample that the effect gets and gives: 8, 16 or 32 (float; default: the most that the "
                   "effect can)")
        ->check(CLI::IsMember({8, 16, 32}));
    app.add_option("--size", options.size, "Size of the project (default: that of the first input, else 1920x1080)")
        ->type_name("WxH");
    app.add_option("--pixel-aspect", options.pixelAspect,
                   "Width of a pixel, its height being 1 (default: as the first input says, else 1)")
        ->check(CLI::Range(0.01, 100.0));
    app.add_option("--render-scale", options.renderScale, "Render at this part of the size")
        ->check(CLI::Range(0.001, 1.0))
        ->capture_default_str();
    app.add_option("--fps", options.frameRate,
                   "Frames in a second of the project (default: as the first input says, else 25)")
        ->check(CLI::Range(0.001, 100000.0));
    app.add_option("--missing", options.missing,
                   "What stands for frames that a sequence has no file for: hold (the frame before) or black; without "
                   "it they are an error")
        ->check(CLI::IsMember({"hold", "black"}));
    addFileOptions(app, options);
    app.add_option("--threads", options.session.threads, "Threads for the effect (default: as many as there are)")
        ->check(CLI::Range(1u, 1024u))
        ->type_name("N");
    app.add_option("--gpu", options.session.gpu,
                   "cuda: be a host whose pictures lie on a CUDA device, for effects that take them there")
        ->check(CLI::IsMember({"cuda"}))
        ->type_name("WORD");
    app.add_option("--context", options.context, "general, filter or generator")
        ->check(CLI::IsMember({"general", "filter", "generator"}));
    app.add_flag("--time", options.session.timing,
                 "Tell at the end what time the effect took, by stage, and the files");
    app.add_flag("-q,--quiet", options.session.quiet, "Print nothing but errors");
    options.session.addTo(app);
}

std::function<void()> declare(CLI::App& app) {
    const auto options = std::make_shared<RenderOptions>();
    addOptions(app, *options);
    return [options] { render(*options); };
}

}  // namespace

const Command renderCommand{"render", "Render frames of an effect into picture files", declare};

}  // namespace quillon
