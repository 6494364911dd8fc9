#include "host/cli/param_edit.h"

#include "host/cli/declarations.h"
#include "host/cli/failure.h"
#include "host/cli/param_text.h"
#include "host/cli/text.h"
#include "host/core/bundle.h"
#include "ofx/ofx_names.h"

namespace quillon {

using ofxhost::EffectInstance;
using ofxhost::Param;

namespace {

void apply(EffectInstance& instance, Param& param, const std::string& value) {
    const ParamEdit edit = parseParamText(shapeOf(param), value);
    OfxStatus status = ofx::status::OK;
    if (edit.press) {
        status = instance.pressButton(param);
    } else if (!edit.keys.front().time) {
        param.deleteAllKeys();
        status = instance.setParam(param, edit.keys.front().value);
    } else {
        // All keys in one change: the plug-in never sees a part of the animation.
        param.deleteAllKeys();
        for (const ParamKey& key : edit.keys) param.setKey(*key.time, key.value);
        instance.beginChanged(ofx::change::UserEdited);
        status = instance.instanceChanged(ofx::type::Parameter, param.name(), ofx::change::UserEdited);
        instance.endChanged(ofx::change::UserEdited);
    }
    if (status != ofx::status::OK && status != ofx::status::ReplyDefault)
        throw RunError("the effect refuses the change of parameter " + param.name() + " (status " +
                       std::to_string(status) + ")");
}

}  // namespace

Param& findParam(EffectInstance& instance, const std::string& name) {
    if (Param* exact = instance.findParam(name)) return *exact;
    std::vector<std::string> names;
    Param* byLabel = nullptr;
    for (const auto& param : instance.params()) {
        if (equalIgnoringCase(param->name(), name)) return *param;
        if (!param->type().hasValue() && param->type().type != ofxhost::ParamType::PushButton) continue;
        if (!byLabel && equalIgnoringCase(trimmed(param->properties().getString(ofx::prop::Label)), name))
            byLabel = param.get();
        names.push_back(param->name());
    }
    if (byLabel) return *byLabel;
    throw UsageError("there is no parameter \"" + name + "\"" + suggestion(name, names));
}

void applyAssignment(EffectInstance& instance, const std::string& text) {
    const Assignment assignment = parseAssignment(text);
    apply(instance, findParam(instance, assignment.name), assignment.value);
}

void applyPreset(EffectInstance& instance, const std::string& preset) {
    const ofxhost::Plugin& plugin = instance.plugin();
    for (const std::string& name : presetChoices(plugin.bundlePath(), plugin.name())) {
        Param* param = instance.findParam(name);
        if (param && param->type().type == ofxhost::ParamType::Choice) return apply(instance, *param, preset);
    }
    throw UsageError("the effect declares no presets");
}

}  // namespace quillon
