// quillon flow: where the pixels of one picture lie in another one.

#include <CLI/CLI.hpp>
#include <bit>
#include <cstring>
#include <memory>

#include "host/cli/atomic_file.h"
#include "host/cli/command.h"
#include "host/cli/failure.h"
#include "host/cli/flow_frames.h"

namespace quillon {

namespace {

struct FlowOptions {
    std::string first, second, output, backward;
    std::vector<std::string> params;
    unsigned threads = 0;
};

// The Middlebury format: a float for a mark, width and height as 32-bit integers, then (u, v) for each pixel, top row
// first, all little endian. (S. Baker and others, "A Database and Evaluation Methodology for Optical Flow", 2011)
std::vector<unsigned char> encodeFlow(const K7Image& flow) {
    constexpr float Mark = 202021.25F;
    std::vector<unsigned char> bytes;
    bytes.reserve(12 + static_cast<std::size_t>(flow.row_bytes) * flow.height);
    const auto put = [&](std::uint32_t word) {
        for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<unsigned char>(word >> shift & 255U));
    };
    put(std::bit_cast<std::uint32_t>(Mark));
    put(flow.width);
    put(flow.height);
    for (int y = 0; y < flow.height; ++y)
        for (int i = 0; i < 2 * flow.width; ++i) put(std::bit_cast<std::uint32_t>(image_row<float>(&flow, y)[i]));
    return bytes;
}

// Ends as soon as the flow is there: no picture is asked for.
class FlowOfPair final : public ClipLoop {
  public:
    using ClipLoop::ClipLoop;
    FlowFields find() {
        set_mode(FlowMode::FlowSave);
        const double time = 0.0;
        set_vsmap(&time, 1);
        const int code = run();
        if (m_failure || !m_fields.forward) {
            if (code == 99) m_failure = std::make_exception_ptr(RunError("interrupted"));
            if (m_failure) std::rethrow_exception(m_failure);
            throw RunError(error_text(code));
        }
        return std::move(m_fields);
    }

  private:
    bool put_output_flowfield(int, const FlowFields* fields) override {
        m_fields.forward.reset(image_duplicate(fields->forward.get()));
        if (fields->backward) m_fields.backward.reset(image_duplicate(fields->backward.get()));
        return m_fields.forward && !m_fields.backward == !fields->backward;
    }
    bool abort_requested() override { return m_fields.forward || ClipLoop::abort_requested(); }

    FlowFields m_fields;
};

void writeFlow(const std::string& path, const K7Image& flow) {
    const std::vector<unsigned char> bytes = encodeFlow(flow);
    writeFileAtomically(path, bytes.data(), bytes.size());
}

void flow(const FlowOptions& options) {
    Ofc parameters = flowParameters(options.params);
    if (parameters.fields_data != OFC_FRAMES) throw UsageError("a .flo file holds the flow of frames, not of fields");
    parameters.directions = options.backward.empty() ? 1 : 2;
    const FlowClip clip({options.first, options.second});
    requireWritable(options.output);
    if (!options.backward.empty()) requireWritable(options.backward);
    const RowPool rows(options.threads);
    const FlowFields fields = FlowOfPair(clip, parameters).find();
    writeFlow(options.output, *fields.forward);
    if (!options.backward.empty()) writeFlow(options.backward, *fields.backward);
}

std::function<void()> declare(CLI::App& app) {
    const auto options = std::make_shared<FlowOptions>();
    app.add_option("A", options->first, "A picture")->required();
    app.add_option("B", options->second, "Another one of its size")->required();
    app.add_option("-o,--output", options->output,
                   "The flow file to write (.flo): pixel (x, y) of A lies at (x + u, y + v) of B, y downwards")
        ->type_name("OUT.flo")
        ->required();
    app.add_option("--backward", options->backward, "Also write the flow from B to A")->type_name("OUT2.flo");
    app.add_option("-p,--param", options->params, "A parameter of the search, such as smoothness=2")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    app.add_option("--threads", options->threads, "Threads (default: as many as there are)")
        ->check(CLI::Range(1u, 1024u))
        ->type_name("N");
    app.footer("Parameters: " + ofc_names().substr(ofc_names().find(' ') + 1));
    return [options] { flow(*options); };
}

}  // namespace

const Command flowCommand{"flow", "Find the motion from one picture to another", declare};

}  // namespace quillon
