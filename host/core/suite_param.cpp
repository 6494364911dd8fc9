// The parameter suite.
#include <algorithm>
#include <cmath>
#include <cstdarg>

#include "host/core/effect.h"
#include "host/core/suites.h"
#include "ofx/ofx_names.h"

namespace ofxhost {
namespace {

OfxStatus nullResult(Host& host, const char* call, const std::string& subject) {
    host.report(Severity::Error, call, subject, "null result pointer");
    return ofx::status::ErrValue;
}

template <class Body>
OfxStatus onParamSet(const char* call, OfxParamSetHandle handle, const char* subject, Body&& body) {
    return callOn<Effect>(
        call, handle, HandleKind::ParamSet, subject, [=] { return subject ? quoted(subject) : std::string(); }, body);
}

template <class Body>
OfxStatus onParam(const char* call, OfxParamHandle handle, const std::string& rest, Body&& body) {
    const auto* param = static_cast<Param*>(findHandle(handle, HandleKind::Param).object);
    const char* subject = param ? param->name().c_str() : "";
    return callOn<Param>(
        call, handle, HandleKind::Param, subject, [&] { return (param ? param->name() : "bad handle") + rest; }, body);
}

OfxStatus paramDefine(OfxParamSetHandle handle, const char* type, const char* name, OfxPropertySetHandle* properties) {
    const auto arguments = [=] { return quoted(type) + ", " + quoted(name); };
    return callOn<Effect>("paramDefine", handle, HandleKind::ParamSet, name, arguments, [=](Effect& effect) {
        EffectDescriptor* descriptor = effect.asDescriptor();
        if (!descriptor) {
            effect.host().report(Severity::Error, "paramDefine", name ? name : "",
                                 "parameters are defined on descriptors");
            return ofx::status::ErrBadHandle;
        }
        OfxStatus status = ofx::status::OK;
        ParamDescriptor* param = descriptor->defineParam(type, name, status);
        if (param && properties) *properties = param->properties().handle();
        return status;
    });
}

OfxStatus paramGetHandle(OfxParamSetHandle handle, const char* name, OfxParamHandle* param,
                         OfxPropertySetHandle* properties) {
    return onParamSet("paramGetHandle", handle, name, [=](Effect& effect) {
        EffectInstance* instance = effect.asInstance();
        if (!instance) {
            effect.host().report(Severity::Error, "paramGetHandle", name ? name : "",
                                 "only instances have parameters to get");
            return ofx::status::ErrBadHandle;
        }
        if (!param) return nullResult(effect.host(), "paramGetHandle", name ? name : "");
        Param* found = name ? instance->findParam(name) : nullptr;
        if (!found) {
            effect.host().report(Severity::Error, "paramGetHandle", name ? name : "",
                                 "the effect has no such parameter");
            return ofx::status::ErrUnknown;
        }
        *param = found->handle();
        if (properties) *properties = found->properties().handle();
        return ofx::status::OK;
    });
}

OfxStatus paramSetGetPropertySet(OfxParamSetHandle handle, OfxPropertySetHandle* properties) {
    return onParamSet("paramSetGetPropertySet", handle, nullptr, [=](Effect& effect) {
        if (!properties) return nullResult(effect.host(), "paramSetGetPropertySet", "");
        *properties = effect.paramSetProperties().handle();
        return ofx::status::OK;
    });
}

OfxStatus paramGetPropertySet(OfxParamHandle handle, OfxPropertySetHandle* properties) {
    return onParam("paramGetPropertySet", handle, "", [=](Param& param) {
        if (!properties) return nullResult(param.effect().host(), "paramGetPropertySet", param.name());
        *properties = param.properties().handle();
        return ofx::status::OK;
    });
}

// ---- Values: what stands behind the fixed arguments depends on the parameter's type ---------------------------

struct Variadic {
    va_list list;
};

OfxStatus hasNoValue(Param& param, const char* call) {
    param.effect().host().report(Severity::Error, call, param.name(), "the parameter has no value");
    return ofx::status::ErrUnsupported;
}

// Null among the result pointers leaves that result out and is refused, as nobody could have meant it.
OfxStatus give(Param& param, const char* call, const ParamValue& value, Variadic& results) {
    const ParamTypeInfo& type = param.type();
    if (!type.hasValue()) return hasNoValue(param, call);
    OfxStatus status = ofx::status::OK;
    for (int i = 0; i < type.dimension; ++i) {
        void* result = va_arg(results.list, void*);
        if (!result) {
            status = nullResult(param.effect().host(), call, param.name());
            continue;
        }
        switch (type.storage) {
            case ParamStorage::Int:
                *static_cast<int*>(result) = static_cast<int>(value.numbers[static_cast<std::size_t>(i)]);
                break;
            case ParamStorage::Double:
                *static_cast<double*>(result) = value.numbers[static_cast<std::size_t>(i)];
                break;
            case ParamStorage::Text:
                *static_cast<char**>(result) = param.holdText(value.text);
                break;
            case ParamStorage::None:
                break;
        }
    }
    return status;
}

OfxStatus take(Param& param, const char* call, ParamValue& value, Variadic& arguments) {
    const ParamTypeInfo& type = param.type();
    if (!type.hasValue()) return hasNoValue(param, call);
    for (int i = 0; i < type.dimension; ++i) {
        double& number = value.numbers[static_cast<std::size_t>(i)];
        switch (type.storage) {
            case ParamStorage::Int:
                number = va_arg(arguments.list, int);
                break;
            case ParamStorage::Double:
                number = va_arg(arguments.list, double);
                break;
            case ParamStorage::Text: {
                const char* text = va_arg(arguments.list, const char*);
                if (!text) {
                    param.effect().host().report(Severity::Error, call, param.name(), "null text");
                    return ofx::status::ErrValue;
                }
                value.text = text;
                break;
            }
            case ParamStorage::None:
                break;
        }
    }
    return ofx::status::OK;
}

OfxStatus checkValue(Param& param, const char* call, const ParamValue& value) {
    const auto refuse = [&](const char* message) {
        param.effect().host().report(Severity::Error, call, param.name(), message);
        return ofx::status::ErrValue;
    };
    const double first = value.numbers[0];
    for (const double number : value.numbers) {
        if (!std::isfinite(number)) return refuse("the value is no finite number");
    }
    if (param.type().type == ParamType::Boolean && first != 0.0 && first != 1.0) return refuse("neither 0 nor 1");
    if (param.type().type == ParamType::Choice &&
        (first < 0.0 || first >= param.properties().count(ofx::prop::ParamChoiceOption))) {
        return refuse("no such option");
    }
    return ofx::status::OK;
}

void noteIfRendering(Param& param, const char* call) {
    const char* action = param.effect().currentAction();
    if (action && std::string_view(action) == ofx::action::Render) {
        param.effect().host().report(Severity::Note, call, param.name(),
                                     "values are not meant to be set while rendering");
    }
}

std::string timeText(OfxTime time) { return afterComma(toText(PropertyValue(time))); }

OfxStatus paramGetValue(OfxParamHandle handle, ...) {
    Variadic results;
    va_start(results.list, handle);
    const OfxStatus status = onParam("paramGetValue", handle, "", [&](Param& param) {
        return give(param, "paramGetValue", param.value(), results);
    });
    va_end(results.list);
    return status;
}

OfxStatus paramGetValueAtTime(OfxParamHandle handle, OfxTime time, ...) {
    Variadic results;
    va_start(results.list, time);
    const OfxStatus status = onParam("paramGetValueAtTime", handle, timeText(time), [&](Param& param) {
        return give(param, "paramGetValueAtTime", param.valueAt(time), results);
    });
    va_end(results.list);
    return status;
}

template <class Compute>
OfxStatus giveRates(Param& param, const char* call, Variadic& results, Compute&& compute) {
    if (param.type().storage != ParamStorage::Double) {
        param.effect().host().report(Severity::Error, call, param.name(), "only double and colour parameters have one");
        return ofx::status::ErrUnsupported;
    }
    ParamValue value;
    for (int i = 0; i < param.type().dimension; ++i) value.numbers[static_cast<std::size_t>(i)] = compute(i);
    return give(param, call, value, results);
}

OfxStatus paramGetDerivative(OfxParamHandle handle, OfxTime time, ...) {
    Variadic results;
    va_start(results.list, time);
    const OfxStatus status = onParam("paramGetDerivative", handle, timeText(time), [&](Param& param) {
        return giveRates(param, "paramGetDerivative", results, [&](int i) { return param.derivative(time, i); });
    });
    va_end(results.list);
    return status;
}

OfxStatus paramGetIntegral(OfxParamHandle handle, OfxTime from, OfxTime to, ...) {
    Variadic results;
    va_start(results.list, to);
    const OfxStatus status = onParam("paramGetIntegral", handle, timeText(from) + timeText(to), [&](Param& param) {
        return giveRates(param, "paramGetIntegral", results, [&](int i) { return param.integral(from, to, i); });
    });
    va_end(results.list);
    return status;
}

OfxStatus paramSetValue(OfxParamHandle handle, ...) {
    Variadic arguments;
    va_start(arguments.list, handle);
    const OfxStatus status = onParam("paramSetValue", handle, "", [&](Param& param) {
        ParamValue value;
        OfxStatus answer = take(param, "paramSetValue", value, arguments);
        if (answer == ofx::status::OK) answer = checkValue(param, "paramSetValue", value);
        if (answer != ofx::status::OK) return answer;
        noteIfRendering(param, "paramSetValue");
        param.setValue(value);
        param.effect().changedByPlugin(param);
        return answer;
    });
    va_end(arguments.list);
    return status;
}

OfxStatus paramSetValueAtTime(OfxParamHandle handle, OfxTime time, ...) {
    Variadic arguments;
    va_start(arguments.list, time);
    const OfxStatus status = onParam("paramSetValueAtTime", handle, timeText(time), [&](Param& param) {
        ParamValue value;
        OfxStatus answer = take(param, "paramSetValueAtTime", value, arguments);
        if (answer == ofx::status::OK) answer = checkValue(param, "paramSetValueAtTime", value);
        if (answer != ofx::status::OK) return answer;
        if (!param.animates() || !std::isfinite(time)) {
            param.effect().host().report(Severity::Error, "paramSetValueAtTime", param.name(),
                                         param.animates() ? "no finite time" : "the parameter does not animate");
            return param.animates() ? ofx::status::ErrValue : ofx::status::ErrUnsupported;
        }
        noteIfRendering(param, "paramSetValueAtTime");
        param.setKey(time, value);
        param.effect().changedByPlugin(param);
        return answer;
    });
    va_end(arguments.list);
    return status;
}

// ---- Keys -----------------------------------------------------------------------------------------------------

OfxStatus paramGetNumKeys(OfxParamHandle handle, unsigned int* count) {
    return onParam("paramGetNumKeys", handle, "", [=](Param& param) {
        if (!count) return nullResult(param.effect().host(), "paramGetNumKeys", param.name());
        *count = static_cast<unsigned int>(param.keyTimes().size());
        return ofx::status::OK;
    });
}

OfxStatus paramGetKeyTime(OfxParamHandle handle, unsigned int index, OfxTime* time) {
    return onParam("paramGetKeyTime", handle, afterComma(std::to_string(index)), [=](Param& param) {
        if (!time) return nullResult(param.effect().host(), "paramGetKeyTime", param.name());
        const std::vector<double> times = param.keyTimes();
        if (index >= times.size()) {
            param.effect().host().report(Severity::Error, "paramGetKeyTime", param.name(), "no such key");
            return ofx::status::ErrBadIndex;
        }
        *time = times[index];
        return ofx::status::OK;
    });
}

// direction below 0: the last key before the time; 0: the key at the time; above 0: the first key after it.
OfxStatus paramGetKeyIndex(OfxParamHandle handle, OfxTime time, int direction, int* index) {
    return onParam("paramGetKeyIndex", handle, timeText(time) + afterComma(std::to_string(direction)),
                   [=](Param& param) {
                       if (!index) return nullResult(param.effect().host(), "paramGetKeyIndex", param.name());
                       const std::vector<double> times = param.keyTimes();
                       const auto below = std::lower_bound(times.begin(), times.end(), time);
                       const bool exact = below != times.end() && *below == time;
                       auto found = below;
                       if (direction < 0) {
                           found = below == times.begin() ? times.end() : below - 1;
                       } else if (direction > 0) {
                           found = exact ? below + 1 : below;
                       } else if (!exact) {
                           found = times.end();
                       }
                       if (found == times.end()) return ofx::status::Failed;
                       *index = static_cast<int>(found - times.begin());
                       return ofx::status::OK;
                   });
}

OfxStatus paramDeleteKey(OfxParamHandle handle, OfxTime time) {
    return onParam("paramDeleteKey", handle, timeText(time), [=](Param& param) {
        if (!param.deleteKey(time)) {
            param.effect().host().report(Severity::Error, "paramDeleteKey", param.name(), "no key at that time");
            return ofx::status::ErrBadIndex;
        }
        param.effect().changedByPlugin(param);
        return ofx::status::OK;
    });
}

OfxStatus paramDeleteAllKeys(OfxParamHandle handle) {
    return onParam("paramDeleteAllKeys", handle, "", [=](Param& param) {
        param.deleteAllKeys();
        param.effect().changedByPlugin(param);
        return ofx::status::OK;
    });
}

OfxStatus paramCopy(OfxParamHandle to, OfxParamHandle from, OfxTime offset, const OfxRangeD* range) {
    return onParam("paramCopy", to, "", [=](Param& param) {
        const auto* source = static_cast<Param*>(findHandle(from, HandleKind::Param).object);
        if (!source) {
            param.effect().host().report(Severity::Error, "paramCopy", param.name(), "bad handle of the source");
            return ofx::status::ErrBadHandle;
        }
        if (&source->type() != &param.type() || !param.type().hasValue()) {
            param.effect().host().report(Severity::Error, "paramCopy", param.name(),
                                         "the types differ or have no value");
            return ofx::status::ErrValue;
        }
        param.copyFrom(*source, offset, range);
        param.effect().changedByPlugin(param);
        return ofx::status::OK;
    });
}

OfxStatus onEdit(const char* call, OfxParamSetHandle handle, OfxStatus (EffectInstance::*edit)()) {
    return onParamSet(call, handle, nullptr, [=](Effect& effect) {
        EffectInstance* instance = effect.asInstance();
        if (instance) return (instance->*edit)();
        effect.host().report(Severity::Error, call, "", "only instances are edited");
        return ofx::status::ErrBadHandle;
    });
}

OfxStatus paramEditBegin(OfxParamSetHandle handle, const char*) {
    return onEdit("paramEditBegin", handle, &EffectInstance::editBegin);
}
OfxStatus paramEditEnd(OfxParamSetHandle handle) { return onEdit("paramEditEnd", handle, &EffectInstance::editEnd); }

}  // namespace

const OfxParameterSuiteV1 parameterSuite = {
    .paramDefine = paramDefine,
    .paramGetHandle = paramGetHandle,
    .paramSetGetPropertySet = paramSetGetPropertySet,
    .paramGetPropertySet = paramGetPropertySet,
    .paramGetValue = paramGetValue,
    .paramGetValueAtTime = paramGetValueAtTime,
    .paramGetDerivative = paramGetDerivative,
    .paramGetIntegral = paramGetIntegral,
    .paramSetValue = paramSetValue,
    .paramSetValueAtTime = paramSetValueAtTime,
    .paramGetNumKeys = paramGetNumKeys,
    .paramGetKeyTime = paramGetKeyTime,
    .paramGetKeyIndex = paramGetKeyIndex,
    .paramDeleteKey = paramDeleteKey,
    .paramDeleteAllKeys = paramDeleteAllKeys,
    .paramCopy = paramCopy,
    .paramEditBegin = paramEditBegin,
    .paramEditEnd = paramEditEnd,
};

}  // namespace ofxhost
