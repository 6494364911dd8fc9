#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "flowclientlib/flowclientlib.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

struct Field {
    const char* name;
    int Ofc::*whole;
    float Ofc::*number;
};

constexpr Field whole(const char* name, int Ofc::*member) { return {name, member, nullptr}; }
constexpr Field number(const char* name, float Ofc::*member) { return {name, nullptr, member}; }

constexpr Field FIELDS[] = {
    whole("command", &Ofc::command),
    whole("endian", &Ofc::endian),
    whole("fr_start", &Ofc::fr_start),
    whole("fr_end", &Ofc::fr_end),
    whole("betweens", &Ofc::betweens),
    whole("directions", &Ofc::directions),
    whole("num_stages", &Ofc::num_stages),
    whole("num_iterations", &Ofc::num_iterations),
    whole("oflow_res", &Ofc::oflow_res),
    whole("proc_chan", &Ofc::proc_chan),
    whole("pyr_filter", &Ofc::pyr_filter),
    whole("flow_interp", &Ofc::flow_interp),
    whole("warp_mode", &Ofc::warp_mode),
    whole("fields_data", &Ofc::fields_data),
    whole("dc_fix", &Ofc::dc_fix),
    number("lambda1", &Ofc::lambda1),
    number("lambda2", &Ofc::lambda2),
    number("sigma1_init", &Ofc::sigma1_init),
    number("sigma1_end", &Ofc::sigma1_end),
    number("sigma2_init", &Ofc::sigma2_init),
    number("sigma2_end", &Ofc::sigma2_end),
    number("smoothness", &Ofc::smoothness),
    number("max_disp", &Ofc::max_disp),
    number("mob_weight", &Ofc::mob_weight),
    number("pf_filtrad", &Ofc::pf_filtrad),
    number("cover_thresh", &Ofc::cover_thresh),
    number("velocity_thresh", &Ofc::velocity_thresh),
    number("fill_r_blur", &Ofc::fill_r_blur),
    number("fill_r_error", &Ofc::fill_r_error),
    number("av_scale", &Ofc::av_scale),
    number("av_mix", &Ofc::av_mix),
    number("av_scale_sf", &Ofc::av_scale_sf),
    number("av_mix_sf", &Ofc::av_mix_sf),
};

}  // namespace

Ofc::Ofc() {
    const FlowSettings flow;
    lambda1 = flow.lambda1, lambda2 = flow.lambda2;
    sigma1_init = flow.sigma1_init, sigma1_end = flow.sigma1_end;
    sigma2_init = flow.sigma2_init, sigma2_end = flow.sigma2_end;
    smoothness = flow.smoothness, max_disp = flow.max_disp;
    pf_filtrad = static_cast<float>(flow.pf_filtrad);
    num_iterations = flow.num_iterations;
    const BetweenSettings between;
    cover_thresh = between.cover_thresh, velocity_thresh = between.velocity_thresh;
    fill_r_blur = between.fill_r_blur, fill_r_error = between.fill_r_error;
}

FlowSettings Ofc::flow_settings() const {
    FlowSettings s;
    s.lambda1 = lambda1, s.lambda2 = lambda2, s.smoothness = smoothness, s.max_disp = max_disp;
    s.sigma1_init = sigma1_init, s.sigma1_end = sigma1_end, s.sigma2_init = sigma2_init, s.sigma2_end = sigma2_end;
    s.pyr_filter = pyr_filter, s.num_stages = num_stages, s.num_iterations = num_iterations;
    s.oflow_res = oflow_res, s.proc_chan = proc_chan, s.dc_fix = dc_fix != 0;
    s.pf_filtrad = pf_filtrad >= 0.0F && pf_filtrad <= 1000.0F ? static_cast<int>(pf_filtrad) : -1;
    return s;
}

BetweenSettings Ofc::between_settings() const {
    BetweenSettings s;
    s.cover_thresh = cover_thresh, s.velocity_thresh = velocity_thresh;
    s.fill_r_blur = fill_r_blur, s.fill_r_error = fill_r_error;
    s.fill_covered = flow_interp != 0;
    s.warp_mode = warp_mode;
    return s;
}

bool ofc_set(Ofc& ofc, const std::string& name, const std::string& value) {
    for (const Field& field : FIELDS) {
        if (name != field.name) continue;
        char* end = nullptr;
        errno = 0;
        const double v = std::strtod(value.c_str(), &end);
        if (value.empty() || *end != '\0' || !std::isfinite(v)) return false;
        if (field.number) {
            if (std::fabs(v) > std::numeric_limits<float>::max()) return false;
            ofc.*field.number = static_cast<float>(v);
            return true;
        }
        if (v != std::floor(v) || std::fabs(v) > std::numeric_limits<int>::max()) return false;
        ofc.*field.whole = static_cast<int>(v);
        return true;
    }
    return false;
}

std::string ofc_names() {
    std::string names;
    for (const Field& field : FIELDS) names += (names.empty() ? "" : ", ") + std::string(field.name);
    return names;
}

void ofc_log(const Ofc& ofc) {
    if (GetTraceLevel() < TRACE_DEBUG) return;
    for (const Field& field : FIELDS) {
        if (field.whole)
            Trace(TRACE_DEBUG, "ofc.%s: %d\n", field.name, ofc.*field.whole);
        else
            Trace(TRACE_DEBUG, "ofc.%s: %f\n", field.name, static_cast<double>(ofc.*field.number));
    }
}
