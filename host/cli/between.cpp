// quillon between: pictures between two others, or between all frames of a sequence.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <mutex>
#include <thread>

#include "host/cli/command.h"
#include "host/cli/console.h"
#include "host/cli/failure.h"
#include "host/cli/flow_frames.h"
#include "host/cli/frame_writer.h"
#include "host/cli/sequence.h"

namespace quillon {

namespace {

struct BetweenOptions {
    std::vector<std::string> inputs;
    std::string output, job;
    std::vector<std::string> params;
    double at = 0.5, shutter = 0.0;
    int factor = 0, samples = 16;
    unsigned threads = 0;
    bool quiet = false;
};

// The frames, and the number of the first one.
struct Frames {
    std::vector<std::string> files;
    int first = 0;
};

Frames framesOf(const std::vector<std::string>& inputs) {
    if (inputs.size() > 2) throw UsageError("name two pictures, or one sequence");
    if (inputs.size() == 2) return {inputs, 0};
    const FilePattern pattern(inputs.front());
    if (!pattern.numbered()) throw UsageError("one picture has nothing between it; name two, or a sequence");
    const std::vector<int> numbers = pattern.framesOnDisk();
    if (numbers.size() < 2) throw RunError("cannot read " + inputs.front() + ": a sequence has two files at least");
    Frames frames{{}, numbers.front()};
    for (std::size_t n = 0; n < numbers.size(); ++n) {
        const int expected = frames.first + static_cast<int>(n);
        if (numbers[n] != expected)
            throw RunError("frame " + std::to_string(expected) + " of " + inputs.front() + " is missing");
        frames.files.push_back(pattern.path(expected).string());
    }
    return frames;
}

// The times of the output frames, in frames of the clip.
std::vector<double> timesOf(const BetweenOptions& options, int count) {
    if (options.factor == 0) return {options.at};
    std::vector<double> times;
    for (int n = 0; n <= (count - 1) * options.factor; ++n) times.push_back(static_cast<double>(n) / options.factor);
    return times;
}

class BetweenLoop final : public ClipLoop {
  public:
    BetweenLoop(const FlowClip& clip, const Ofc& parameters, const BetweenOptions& options, int firstNumber)
        : ClipLoop(clip, parameters),
          m_console(options.quiet, false, {}),
          m_output(options.factor == 0 ? FilePattern::literal(options.output) : FilePattern(options.output)),
          m_times(timesOf(options, clip.count())),
          m_firstNumber(firstNumber),
          m_factor(std::max(options.factor, 1)),
          m_writer(std::max(1U, std::thread::hardware_concurrency()),
                   std::max(2U, std::thread::hardware_concurrency())) {
        set_vsmap(m_times.data(), static_cast<int>(m_times.size()));
        if (options.shutter > 0.0) set_shutter(options.shutter, options.samples);
        if (options.job.empty()) return;
        if (!m_job.set_job_name(options.job)) throw UsageError("\"" + options.job + "\" is no name for a job");
        if (!m_job.prepare()) throw RunError("cannot make the work directory " + m_job.work_directory());
        set_mode(FlowMode::Fjm);
    }
    void runAll() {
        m_console.beginFrames(static_cast<int>(m_times.size()));
        try {
            runClip();
            m_writer.finish();
        } catch (...) {
            m_console.endFrames();
            throw;
        }
        m_console.endFrames();
        if (m_job.ready() && m_job.write_catalog(0, m_clip.count() - 1) != FLOW_JOB_OK)
            throw RunError("cannot write " + m_job.catalog_file());
    }

  private:
    bool put_output_frame(int out, const K7Image* image) override {
        return guarded([&] {
            const int number = m_firstNumber + out;
            const std::filesystem::path path = m_output.path(number);
            WriteOptions options = m_clip.writeOptions(static_cast<int>(m_times[static_cast<std::size_t>(out)]));
            options.frameRate *= m_factor;
            const auto picture = std::make_shared<Picture>(pictureOf(*image));
            const auto start = std::chrono::steady_clock::now();
            m_writer.put({path, [=] { return encodePicture(path, *picture, options); },
                          [this, number, path, start] {
                              const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
                              m_console.frameDone(number, path.string(), time.count());
                          },
                          [](std::exception_ptr failure) { return failure; }});
        });
    }
    // A job of other pictures, or of other sizes, is no use.
    bool get_input_flowfield(int frame, FlowFields* fields) override {
        if (m_job.get_flow(frame, fields[0]) != FLOW_JOB_OK) return false;
        return fields[0].forward->width == m_clip.width() && fields[0].forward->height == m_clip.height();
    }
    bool put_output_flowfield(int frame, const FlowFields* fields) override {
        return m_job.put_flow(frame, fields[0]) == FLOW_JOB_OK;
    }

    Console m_console;
    FilePattern m_output;
    std::vector<double> m_times;
    int m_firstNumber, m_factor;
    FlowJob m_job;
    FrameWriter m_writer;  // last: its threads use the others
};

void between(const BetweenOptions& options) {
    const Ofc parameters = flowParameters(options.params);
    if (!options.job.empty() && parameters.fields_data != OFC_FRAMES)
        throw UsageError("a job keeps the flow of frames, not of fields");
    if (options.inputs.size() != 2 && options.factor == 0) throw UsageError("a sequence needs --factor");
    if (options.factor > 0 && !FilePattern(options.output).numbered())
        throw UsageError("several frames need a number in the output's name, such as out.%04d.png");
    requireWritableFormat(options.output);
    const Frames frames = framesOf(options.inputs);
    const FlowClip clip(frames.files);
    const RowPool rows(options.threads);
    BetweenLoop(clip, parameters, options, frames.first).runAll();
}

std::function<void()> declare(CLI::App& app) {
    const auto options = std::make_shared<BetweenOptions>();
    app.add_option("INPUT", options->inputs, "Two pictures of one size, or a sequence such as plate.%04d.exr")
        ->required();
    app.add_option("-o,--output", options->output, "The picture or sequence to write")->type_name("FILE")->required();
    auto* at = app.add_option("--at", options->at, "The time between two pictures, from 0 to 1")
                   ->check(CLI::Range(0.0, 1.0))
                   ->type_name("T")
                   ->capture_default_str();
    app.add_option("--factor", options->factor, "So many frames for each of the input; the output begins at its number")
        ->check(CLI::Range(1, 1000))
        ->type_name("N")
        ->excludes(at);
    app.add_option("--shutter", options->shutter,
                   "Motion blur: for how long the shutter is open, in frames of the input, from 0 to 1")
        ->check(CLI::Range(0.0, 1.0))
        ->type_name("PART");
    app.add_option("--samples", options->samples, "In-betweens that a motion blur is the mean of")
        ->check(CLI::Range(2, 1000))
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--job", options->job,
                   "Keep flow under this name in the work area (the variable KESTREL_WORK_AREA), and take from there "
                   "what an earlier run has kept")
        ->type_name("NAME");
    app.add_option("-p,--param", options->params, "A parameter of the search or the in-betweens, such as warp_mode=0")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    app.add_option("--threads", options->threads, "Threads (default: as many as there are)")
        ->check(CLI::Range(1u, 1024u))
        ->type_name("N");
    app.add_flag("-q,--quiet", options->quiet, "Print nothing but errors");
    app.footer("Parameters: " + ofc_names().substr(ofc_names().find(' ') + 1));
    return [options] { between(*options); };
}

}  // namespace

const Command betweenCommand{"between", "Make pictures between two others, or of a whole sequence", declare};

}  // namespace quillon
