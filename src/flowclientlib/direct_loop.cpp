#include <algorithm>
#include <cmath>

#include "flowclientlib/flowdirectlib.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

struct ErrorText {
    int code;
    const char* text;
};
constexpr ErrorText ERROR_TEXTS[] = {
    {0, "No error."},
    {1, "Image parameters not set."},
    {2, "Less than 2 input frames set."},
    {3, "Failed to allocate accumulator."},
    {4, "Failed to allocate Field 1 frame buffer."},
    {5, "Failed to allocate Field 2 frame buffer."},
    {6, "Failed to allocate output image buffer."},
    {7, "Failed to allocate Field 1 result buffer."},
    {8, "Failed to allocate Field 2 result buffer."},
    {9, "No get_input_frame() override supplied."},
    {10, "Image 1 get_input_frame override failed."},
    {11, "Image 2 get_input_frame override failed."},
    {12, "Images don't match (size/channels/type)."},
    {13, "flow_direct_new_pair() failed."},
    {14, "flow_direct_flow_setup() failed."},
    {15, "flow_direct_analyze() failed."},
    {16, "Failed to get flow fields."},
    {17, "Failed to set flow fields."},
    {18, "flow_direct_new_pair() failed."},
    {19, "flow_direct_do_inbetween_at_val() failed."},
    {20, "set_ofc_params() failed."},
    {21, "Failed to allocate Image 1 frame buffer."},
    {22, "Failed to allocate Image 2 frame buffer."},
    {23, "Failed to put flow fields to client."},
    {24, "No put_output_flowfield() override supplied & in FLOW_SAVE or FJM mode."},
    {25, "No get_input_flowfield() override supplied & in FLOW_REUSE or FJM mode."},
    {26, "Failed to get flow fields from client."},
    {27, "Failed to allocate flow field buffer."},
    {99, "Abort request satisfied."},
    {711, "Image 2 get_between_input_frame override failed."},
    {712, "Images for betweening don't match (size/channels/type)."},
    {721, "Failed to allocate Image 1 between frame buffer."},
    {722, "Failed to allocate Image 2 between frame buffer."},
};

constexpr double FIELD_TIME = 0.5;  // of a frame, from its first field to its second

}  // namespace

const char* FlowDirectLoop::error_text(int code) {
    for (const ErrorText& row : ERROR_TEXTS)
        if (row.code == code) return row.text;
    return "Unknown error code.";
}

FlowDirectLoop::FlowDirectLoop() = default;
FlowDirectLoop::~FlowDirectLoop() = default;

// ---- What a loop is told ------------------------------------------------------------------------------------------

void FlowDirectLoop::set_image_params(int width, int height, int channels, int sample_type) {
    m_width = width, m_height = height, m_channels = channels, m_sample_type = sample_type;
}
void FlowDirectLoop::set_input_frames(int first, int last) { m_first = first, m_last = last; }
void FlowDirectLoop::set_vsmap(const double* uvsmap, int uvsmaplen) {
    m_mapped = in_memory([&] { m_vsmap.assign(uvsmap, uvsmap + (uvsmap ? std::max(uvsmaplen, 0) : 0)); });
}
void FlowDirectLoop::set_shutter(double shutter, int samples) {
    m_shutter = shutter >= 0.0 ? std::min(shutter, 1.0) : 0.0;
    m_samples = std::max(samples, 1);
}

// Not overridden: remembered, so that the code can tell it from a failure.
bool FlowDirectLoop::get_input_frame(int, K7Image*) { return !(m_missing[InputFrame] = true); }
bool FlowDirectLoop::get_between_input_frame(int, K7Image*) { return false; }
bool FlowDirectLoop::get_input_flowfield(int, FlowFields*) { return !(m_missing[InputFlow] = true); }
bool FlowDirectLoop::put_output_flowfield(int, const FlowFields*) { return !(m_missing[OutputFlow] = true); }
bool FlowDirectLoop::put_output_frame(int, const K7Image*) { return true; }
bool FlowDirectLoop::set_ofc_params(Ofc&) { return true; }

int FlowDirectLoop::output_count() const { return m_mapped ? static_cast<int>(m_vsmap.size()) : m_last - m_first + 1; }

double FlowDirectLoop::time_of(int out_frame) const {
    const double time = m_mapped ? m_vsmap[static_cast<std::size_t>(out_frame)] : m_first + out_frame;
    return time >= m_first ? std::min(time, static_cast<double>(m_last)) : m_first;  // NaN: the first
}

// ---- The loop -----------------------------------------------------------------------------------------------------

int FlowDirectLoop::check() const {
    if (m_width < 1 || m_height < 1 || m_width > 65535 || m_height > 65535 || m_channels < 1 || m_channels > 4 ||
        image_bytes_per_sample(m_sample_type) < 0 || (m_samples > 1 && m_sample_type != SAMPLE_F32))
        return 1;
    return m_last <= m_first ? 2 : 0;
}

int FlowDirectLoop::prepare_buffers() {
    const auto make = [&](ImagePtr& image) {
        image = make_image(m_width, m_height, m_channels, m_sample_type);
        return image != nullptr;
    };
    if (m_samples > 1 && !make(m_accumulator)) return 3;
    if (!make(m_output)) return 6;
    if (!make(m_image1)) return 21;
    if (!make(m_image2)) return 22;
    if (m_between_frames && !make(m_between1)) return 721;
    if (m_between_frames && !make(m_between2)) return 722;
    return 0;
}

int FlowDirectLoop::run() {
    if (const int code = check()) return code;
    m_ofc = Ofc();
    m_ofc.fr_start = m_first, m_ofc.fr_end = m_last;
    if (!set_ofc_params(m_ofc)) return 20;
    if (const int code = prepare_buffers()) {
        Trace(TRACE_ERROR, "prepare_buffers(): %s\n", error_text(code));
        return code;
    }
    m_has_pair = false;
    std::fill(m_missing, m_missing + OVERRIDES, false);
    m_instance.reset(library_instance_data_create());
    if (!m_instance || command(OFC_OPEN, {}, 14)) return 14;
    Trace(TRACE_TRACE, "uvsmaplen=%d, uvsmap=%p\n", static_cast<int>(m_vsmap.size()),
          static_cast<const void*>(m_vsmap.data()));
    Trace(TRACE_TRACE, "n_out = %d\n", output_count());
    for (int n = 0; m_mapped && n < output_count(); ++n)
        Trace(TRACE_TRACE, "uvsmap[%d] = %f\n", n, m_vsmap[static_cast<std::size_t>(n)]);
    int code = 0;
    for (int n = 0; n < output_count() && code == 0; ++n) code = abort_requested() ? 99 : make_frame(n);
    command(OFC_CLOSE, {}, 0);
    return code;
}

// A single sample goes straight to the output; at an input frame's own time it is that frame.
int FlowDirectLoop::make_frame(int out_frame) {
    const double time = time_of(out_frame);
    Trace(TRACE_DEBUG, "... ... Taking: %d samples, field/frame index:%d\n", m_samples, out_frame);
    if (m_samples > 1) image_clear(m_accumulator.get());
    for (int sample = 0; sample < m_samples; ++sample) {
        const double start = monotonic_seconds();
        const double at = std::min(time + m_shutter * sample / m_samples, static_cast<double>(m_last));
        if (const int code = take_sample(at, out_frame, sample, m_output.get())) return code;
        if (m_samples > 1) {
            const float weight = 1.0F / static_cast<float>(m_samples);
            for_rows_float(m_height, [&](int first, int last) {
                for (int y = first; y <= last; ++y) {
                    const float* from = image_row<float>(m_output.get(), y);
                    float* to = image_row<float>(m_accumulator.get(), y);
                    for (int i = 0; i < m_width * m_channels; ++i) to[i] += weight * from[i];
                }
            });
        }
        Trace(TRACE_DEBUG, "... ... ... Sample Done. OutFrame:%d Sample:%d Secs:%.3f\n", out_frame, sample,
              monotonic_seconds() - start);
    }
    return put_output_frame(out_frame, m_samples > 1 ? m_accumulator.get() : m_output.get()) ? 0 : 99;
}

// How much later the second field of an output frame shows the input than its first.
double FlowDirectLoop::field_step(int out_frame) const {
    const int other = out_frame + 1 < output_count() ? out_frame + 1 : out_frame - 1;
    return other < 0 ? FIELD_TIME : FIELD_TIME * std::fabs(time_of(other) - time_of(out_frame));
}

int FlowDirectLoop::take_sample(double time, int out_frame, int, K7Image* picture) {
    const int frame = std::min(static_cast<int>(std::floor(time)), m_last - 1);
    if (const int code = use_pair(frame)) return code;
    if (abort_requested()) return 99;
    const auto part = [](double t) { return static_cast<float>(std::clamp(t, 0.0, 1.0)); };
    m_ofc.av_scale = m_ofc.av_mix = part(time - frame);
    m_ofc.av_scale_sf = m_ofc.av_mix_sf = part(time + field_step(out_frame) - FIELD_TIME - frame);
    OfcData data;
    data.output = picture;
    data.stop = [this] { return abort_requested(); };
    if (const int code = command(OFC_IN_BETWEEN_AT_VAL, data, 19)) return abort_requested() ? 99 : code;
    return 0;
}

int FlowDirectLoop::command(int number, const OfcData& data, int failure) {
    m_ofc.command = number;
    return execute_ofc_command(m_instance.get(), m_ofc, data) == OFC_OK ? 0 : failure;
}

// ---- A pair of frames ---------------------------------------------------------------------------------------------

int FlowDirectLoop::read_frame(int frame, bool between, ImagePtr& buffer) {
    const ImagePtr layout(image_create(m_width, m_height, m_channels, m_sample_type, 0));
    const bool first = &buffer == &m_image1 || &buffer == &m_between1;
    if (!(between ? get_between_input_frame(frame, buffer.get()) : get_input_frame(frame, buffer.get()))) {
        if (between) return 711;
        return m_missing[InputFrame] ? 9 : (first ? 10 : 11);
    }
    if (!image_same_layout(buffer.get(), layout.get())) return between ? 712 : 12;
    return 0;
}

// Frames, flow and the pictures for in-betweens of (frame, frame + 1). What the last pair had is used again.
int FlowDirectLoop::use_pair(int frame) {
    if (m_has_pair && m_pair == frame) return 0;
    Trace(TRACE_DEBUG, "... Reading input images %d and %d.\n", frame, frame + 1);
    const bool next = m_has_pair && m_pair + 1 == frame;
    m_has_pair = false;
    if (next) m_image1.swap(m_image2);
    if (const int code = next ? 0 : read_frame(frame, false, m_image1)) return code;
    if (const int code = read_frame(frame + 1, false, m_image2)) return code;
    OfcData pair;
    pair.image1 = m_image1.get(), pair.image2 = m_image2.get();
    Trace(TRACE_DEBUG, "... Sending images to FlowFinder.\n");
    if (const int code = command(OFC_NEW_PAIR, pair, 13)) return code;
    if (!(library_instance_state(m_instance.get()) & OFC_IS_SET_UP)) {
        Trace(TRACE_DEBUG, "... Asking FlowFinder to allocate internal buffers as needed.\n");
        if (const int code = command(OFC_FLOW_SETUP, {}, 14)) return code;
    }
    if (const int code = find_flows(frame)) return code;
    if (m_between_frames) {
        if (const int code = read_frame(frame, true, m_between1)) return code;
        if (const int code = read_frame(frame + 1, true, m_between2)) return code;
        pair.image1 = m_between1.get(), pair.image2 = m_between2.get();
        Trace(TRACE_DEBUG, "... Sending images for in-betweening.\n");
        if (const int code = command(OFC_NEW_PAIR, pair, 18)) return code;
    }
    m_pair = frame;
    m_has_pair = true;
    return 0;
}

int FlowDirectLoop::find_flows(int frame) {
    if (m_mode == FlowMode::FlowReuse) return reuse_flows(frame);
    if (m_mode == FlowMode::Fjm) {
        const int code = reuse_flows(frame);
        if (code != 26) return code;
    }
    return analyze_pair(frame);
}

int FlowDirectLoop::reuse_flows(int frame) {
    for (FlowFields& fields : m_flows) fields = {};
    if (!get_input_flowfield(frame, m_flows)) return m_missing[InputFlow] ? 25 : 26;
    OfcData data;
    data.flows = m_flows;
    Trace(TRACE_DEBUG, "... Setting the flow field in FlowFinder.\n");
    return command(OFC_SET_FLOWS, data, 17);
}

int FlowDirectLoop::analyze_pair(int frame) {
    OfcData data;
    data.stop = [this] { return abort_requested(); };
    data.flows = m_flows;
    Trace(TRACE_DEBUG, "... Asking flowfinder service to analyse motion.\n");
    if (const int code = command(OFC_ANALYZE, data, 15)) return abort_requested() ? 99 : code;
    if (m_mode == FlowMode::Direct) return 0;
    Trace(TRACE_DEBUG, "... Retrieving flow fields.\n");
    if (const int code = command(OFC_GET_FLOWS, data, 16)) return code;
    if (put_output_flowfield(frame, m_flows)) return 0;
    return m_missing[OutputFlow] ? 24 : 23;
}
