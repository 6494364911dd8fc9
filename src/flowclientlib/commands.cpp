// The commands, and what an instance keeps between them.
#include <cmath>
#include <new>
#include <vector>

#include "flowclientlib/flowclientlib.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

// A pair of frames, or of one field of each.
struct Pair {
    ImagePtr first, second;
    FlowFields flows;
};

ImagePtr copy_of(const K7Image* image) { return ImagePtr(image_duplicate(image)); }

bool is_flow_of(const K7Image* flow, const K7Image* picture) {
    return flow && flow->channels == 2 && flow->sample_type == SAMPLE_F32 && flow->width == picture->width &&
           flow->height == picture->height;
}

FlowFields copy_of(const FlowFields& flows) {
    FlowFields copy;
    copy.forward = copy_of(flows.forward.get());
    if (flows.backward) copy.backward = copy_of(flows.backward.get());
    return copy;
}
bool is_copy_of(const FlowFields& copy, const FlowFields& flows) {
    return copy.forward && !copy.backward == !flows.backward;
}

}  // namespace

struct FlowInstance {
    unsigned state = 0;
    int fields_data = OFC_FRAMES;
    std::vector<Pair> pairs;  // one, or that of the first output field and that of the second
    std::vector<std::unique_ptr<FlowFinder>> finders;
    int setup_width = 0, setup_height = 0;
    std::vector<std::unique_ptr<FlowBetween>> betweens;  // made when the first in-between is asked for
    BetweenSettings between_settings;

    int take_pair(const Ofc& ofc, const OfcData& data);
    int set_up(const Ofc& ofc);
    int analyze(const Ofc& ofc, const OfcData& data);
    int set_flows(const OfcData& data);
    int get_flows(const OfcData& data) const;
    int in_between(const Ofc& ofc, const OfcData& data);
    int motion_blur(const Ofc& ofc, const OfcData& data);

  private:
    bool prepare_betweens(const Ofc& ofc);
    bool is_odd(std::size_t pair) const { return (fields_data == OFC_ODD_FIELD_FIRST) == (pair == 0); }
    bool mix(const float (&scale)[2], const float (&mix)[2], K7Image* output, const StopRequested& stop);
    bool fits(const K7Image* output) const;
};

// Flow fields stay while the new pair is of their size: in-betweens may be made of other pictures than those that were
// analysed.
int FlowInstance::take_pair(const Ofc& ofc, const OfcData& data) {
    if (!image_same_layout(data.image1, data.image2) || ofc.fields_data < OFC_FRAMES ||
        ofc.fields_data > OFC_ODD_FIELD_FIRST || (ofc.fields_data != OFC_FRAMES && data.image1->height < 2))
        return OFC_BAD_ARGUMENTS;
    std::vector<Pair> taken(ofc.fields_data == OFC_FRAMES ? 1 : 2);
    for (std::size_t n = 0; n < taken.size(); ++n) {
        const bool odd = (ofc.fields_data == OFC_ODD_FIELD_FIRST) == (n == 0);
        const auto part = [&](const K7Image* image) {
            return ofc.fields_data == OFC_FRAMES ? copy_of(image) : flow_take_field(image, odd);
        };
        taken[n].first = part(data.image1);
        taken[n].second = part(data.image2);
        if (!taken[n].first || !taken[n].second) return OFC_FAILED;
    }
    const bool same_size = taken.size() == pairs.size() && ofc.fields_data == fields_data &&
                           taken[0].first->width == pairs[0].first->width &&
                           taken[0].first->height == pairs[0].first->height;
    for (std::size_t n = 0; same_size && n < taken.size(); ++n) taken[n].flows = std::move(pairs[n].flows);
    if (!same_size) state &= ~static_cast<unsigned>(OFC_HAS_FLOWS | OFC_IS_SET_UP);
    pairs = std::move(taken);
    betweens.clear();
    fields_data = ofc.fields_data;
    state |= OFC_HAS_PAIR;
    return OFC_OK;
}

int FlowInstance::set_up(const Ofc& ofc) {
    if (!flow_settings_are_valid(ofc.flow_settings())) return OFC_BAD_ARGUMENTS;
    finders.clear();
    for (std::size_t n = 0; n < pairs.size(); ++n) finders.push_back(std::make_unique<FlowFinder>());
    state |= OFC_IS_SET_UP;
    return OFC_OK;
}

int FlowInstance::analyze(const Ofc& ofc, const OfcData& data) {
    const FlowSettings settings = ofc.flow_settings();
    if (!flow_settings_are_valid(settings) || ofc.directions < 1 || ofc.directions > 2) return OFC_BAD_ARGUMENTS;
    std::vector<FlowFields> found(pairs.size());
    bool good = true;
    for (std::size_t n = 0; good && n < pairs.size(); ++n) {
        good = finders[n]->set_pair(pairs[n].first.get(), pairs[n].second.get(), settings) &&
               (found[n].forward = finders[n]->find(false, data.stop)) &&
               (ofc.directions == 1 || (found[n].backward = finders[n]->find(true, data.stop)));
    }
    if (!good) {
        Trace(TRACE_ERROR, "ANALYZE command: Failed to find flow fields.\n");
        return OFC_FAILED;
    }
    for (std::size_t n = 0; n < pairs.size(); ++n) pairs[n].flows = std::move(found[n]);
    betweens.clear();
    state |= OFC_HAS_FLOWS;
    return OFC_OK;
}

int FlowInstance::set_flows(const OfcData& data) {
    if (!data.flows) return OFC_BAD_ARGUMENTS;
    for (std::size_t n = 0; n < pairs.size(); ++n) {
        const FlowFields& flows = data.flows[n];
        if (!is_flow_of(flows.forward.get(), pairs[n].first.get()) ||
            (flows.backward && !is_flow_of(flows.backward.get(), pairs[n].first.get())))
            return OFC_BAD_ARGUMENTS;
    }
    std::vector<FlowFields> copies(pairs.size());
    for (std::size_t n = 0; n < pairs.size(); ++n) {
        copies[n] = copy_of(data.flows[n]);
        if (!is_copy_of(copies[n], data.flows[n])) return OFC_FAILED;
    }
    for (std::size_t n = 0; n < pairs.size(); ++n) pairs[n].flows = std::move(copies[n]);
    betweens.clear();
    state |= OFC_HAS_FLOWS;
    return OFC_OK;
}

int FlowInstance::get_flows(const OfcData& data) const {
    if (!data.flows) return OFC_BAD_ARGUMENTS;
    for (std::size_t n = 0; n < pairs.size(); ++n) {
        data.flows[n] = copy_of(pairs[n].flows);
        if (!is_copy_of(data.flows[n], pairs[n].flows)) return OFC_FAILED;
    }
    return OFC_OK;
}

bool FlowInstance::prepare_betweens(const Ofc& ofc) {
    const BetweenSettings settings = ofc.between_settings();
    if (betweens.size() == pairs.size() && settings == between_settings) return true;
    betweens.clear();
    for (const Pair& pair : pairs) {
        betweens.push_back(std::make_unique<FlowBetween>());
        if (betweens.back()->set_pair(pair.first.get(), pair.second.get(), pair.flows, settings)) continue;
        betweens.clear();
        return false;
    }
    between_settings = settings;
    return true;
}

bool FlowInstance::fits(const K7Image* output) const {
    const K7Image& first = *pairs[0].first;
    if (!output || output->width != first.width || output->channels != first.channels ||
        output->sample_type != first.sample_type)
        return false;
    return fields_data == OFC_FRAMES ? output->height == first.height
                                     : output->height == first.height + pairs[1].first->height;
}

bool FlowInstance::mix(const float (&scale)[2], const float (&mixed)[2], K7Image* output, const StopRequested& stop) {
    if (fields_data == OFC_FRAMES) return betweens[0]->at(scale[0], mixed[0], output, stop);
    for (std::size_t n = 0; n < 2; ++n) {
        const ImagePtr field(image_clone_layout(pairs[n].first.get()));
        if (!field || !betweens[n]->at(scale[n], mixed[n], field.get(), stop) ||
            !flow_put_field(field.get(), is_odd(n), output))
            return false;
    }
    return true;
}

int FlowInstance::in_between(const Ofc& ofc, const OfcData& data) {
    if (!fits(data.output) || !between_settings_are_valid(ofc.between_settings())) return OFC_BAD_ARGUMENTS;
    const double scale = static_cast<double>(ofc.av_scale), mixed = static_cast<double>(ofc.av_mix);
    if (fields_data == OFC_FRAMES) {
        Trace(TRACE_DEBUG, "In-between parameters: scale=%f, mix=%f\n", scale, mixed);
    } else {
        Trace(TRACE_DEBUG, "First  output field In-between parameters: scale=%f, mix=%f\n", scale, mixed);
        Trace(TRACE_DEBUG, "Second output field In-between parameters: scale=%f, mix=%f\n",
              static_cast<double>(ofc.av_scale_sf), static_cast<double>(ofc.av_mix_sf));
    }
    const bool done = prepare_betweens(ofc) &&
                      mix({ofc.av_scale, ofc.av_scale_sf}, {ofc.av_mix, ofc.av_mix_sf}, data.output, data.stop);
    return done ? OFC_OK : OFC_FAILED;
}

// Samples at the middles of equal parts of the time until av_scale.
int FlowInstance::motion_blur(const Ofc& ofc, const OfcData& data) {
    if (!fits(data.output) || data.output->sample_type != SAMPLE_F32 || ofc.betweens < 1 || ofc.betweens > 1000 ||
        !(ofc.mob_weight >= 0.0F && ofc.mob_weight <= 1.0F) || !between_settings_are_valid(ofc.between_settings()))
        return OFC_BAD_ARGUMENTS;
    const ImagePtr sample(image_clone_layout(data.output)), sum(image_clone_layout(data.output));
    if (!sample || !sum || !prepare_betweens(ofc)) return OFC_FAILED;
    const auto part = [&](int n) { return (static_cast<float>(n) + 0.5F) / static_cast<float>(ofc.betweens); };
    const auto weight = [&](int n) { return 1.0F - ofc.mob_weight * std::fabs(2.0F * part(n) - 1.0F); };
    float total = 0;
    for (int n = 0; n < ofc.betweens; ++n) total += weight(n);
    for (int n = 0; n < ofc.betweens; ++n) {
        const float w = weight(n) / total;
        Trace(TRACE_DEBUG, "Motion blur: sample = %d, weight = %f\n", n, static_cast<double>(w));
        if (!mix({ofc.av_scale * part(n), ofc.av_scale_sf * part(n)}, {ofc.av_mix * part(n), ofc.av_mix_sf * part(n)},
                 sample.get(), data.stop))
            return OFC_FAILED;
        for_rows_float(sum->height, [&](int first, int last) {
            for (int y = first; y <= last; ++y) {
                const float* from = image_row<float>(sample.get(), y);
                float* to = image_row<float>(sum.get(), y);
                for (int i = 0; i < sum->width * sum->channels; ++i) to[i] += w * from[i];
            }
        });
    }
    return image_copy(sum.get(), data.output) ? OFC_OK : OFC_FAILED;
}

// ---- The instance -------------------------------------------------------------------------------------------------

FlowInstance* library_instance_data_create() { return new (std::nothrow) FlowInstance; }

void library_instance_data_cleanup(FlowInstance* instance) {
    if (!instance) {
        Trace(TRACE_ERROR, "library_instance_data_cleanup() was passed invalid arguments.\n");
        return;
    }
    *instance = FlowInstance{};
}

void library_instance_data_destroy(FlowInstance* instance) { delete instance; }

unsigned library_instance_state(const FlowInstance* instance) { return instance ? instance->state : 0; }

// ---- The table of commands ----------------------------------------------------------------------------------------

namespace {

struct Row {
    int command;
    const char* name;
    unsigned needs;       // of OfcState
    const char* missing;  // told when it is not there
    int (*run)(FlowInstance& instance, const Ofc& ofc, const OfcData& data);
};

constexpr char NO_OPEN[] = "No OPEN command yet!\n";
constexpr char NO_SETUP[] = "No flow setup (FLOW_SETUP command) yet!\n";

int close(FlowInstance& instance, const Ofc&, const OfcData&) {
    library_instance_data_cleanup(&instance);
    return OFC_OK;
}

int open(FlowInstance& instance, const Ofc&, const OfcData&) {
    if (instance.state & OFC_IS_OPEN) {
        Trace(TRACE_ERROR, "OPEN command when already OPEN. (CANNOT HAPPEN)\n");
        return OFC_OUT_OF_ORDER;
    }
    instance.state |= OFC_IS_OPEN;
    return OFC_OK;
}

constexpr Row ROWS[] = {
    {OFC_OPEN, "OPEN", 0, "", open},
    {OFC_NEW_PAIR, "NEW_PAIR", OFC_IS_OPEN, NO_OPEN,
     [](FlowInstance& i, const Ofc& ofc, const OfcData& data) { return i.take_pair(ofc, data); }},
    {OFC_FLOW_SETUP, "FLOW_SETUP", OFC_HAS_PAIR, NO_OPEN,
     [](FlowInstance& i, const Ofc& ofc, const OfcData&) { return i.set_up(ofc); }},
    {OFC_ANALYZE, "ANALYZE", OFC_IS_SET_UP, NO_SETUP,
     [](FlowInstance& i, const Ofc& ofc, const OfcData& data) { return i.analyze(ofc, data); }},
    {OFC_SET_FLOWS, "SET_FLOWS", OFC_IS_SET_UP, NO_SETUP,
     [](FlowInstance& i, const Ofc&, const OfcData& data) { return i.set_flows(data); }},
    {OFC_GET_FLOWS, "GET_FLOWS", OFC_HAS_FLOWS, "No flow fields (ANALYZE command) yet!\n",
     [](FlowInstance& i, const Ofc&, const OfcData& data) { return i.get_flows(data); }},
    {OFC_CLOSE, "CLOSE", 0, "", close},
    {OFC_QUIT, "QUIT", 0, "", close},
    {OFC_IN_BETWEEN_AT_VAL, "IN_BETWEEN_AT_VAL", OFC_HAS_FLOWS, "No flow fields (GET_FLOWS command) yet!\n",
     [](FlowInstance& i, const Ofc& ofc, const OfcData& data) { return i.in_between(ofc, data); }},
    {OFC_MOTION_BLUR, "MOTION_BLUR", OFC_HAS_FLOWS, "No flow fields (GET_FLOWS command) yet!\n",
     [](FlowInstance& i, const Ofc& ofc, const OfcData& data) { return i.motion_blur(ofc, data); }},
};

int run(const Row& row, FlowInstance& instance, const Ofc& ofc, const OfcData& data) {
    if (row.needs && !(instance.state & OFC_IS_OPEN)) {
        Trace(TRACE_ERROR, NO_OPEN);
        return OFC_OUT_OF_ORDER;
    }
    if ((instance.state & row.needs) != row.needs) {
        Trace(TRACE_ERROR, "%s", row.missing);
        return OFC_OUT_OF_ORDER;
    }
    try {
        return row.run(instance, ofc, data);
    } catch (const std::bad_alloc&) {
        return OFC_FAILED;
    }
}

}  // namespace

int execute_ofc_command(FlowInstance* instance, const Ofc& ofc, const OfcData& data) {
    if (!instance) return OFC_BAD_ARGUMENTS;
    const double start = monotonic_seconds();
    Trace(TRACE_DEBUG, "Entered execute_ofc_command(). Free mem = %u KBytes.\n",
          static_cast<unsigned>(available_memory() / 1024));
    ofc_log(ofc);
    for (const Row& row : ROWS) {
        if (row.command != ofc.command) continue;
        Trace(TRACE_DEBUG, "Got %s command.\n", row.name);
        const int status = run(row, *instance, ofc, data);
        if (status != OFC_OK) return status;
        Trace(TRACE_DEBUG, "Done %s command.\n", row.name);
        Trace(TRACE_DEBUG, "Command completed. Elapsed time = %9.4f secs.\n", monotonic_seconds() - start);
        return OFC_OK;
    }
    return OFC_UNKNOWN_COMMAND;
}
