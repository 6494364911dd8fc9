// The property suite.
#include "host/core/property_set.h"
#include "host/core/suites.h"

namespace ofxhost {
namespace {

std::string propertyArguments(OfxPropertySetHandle handle, const char* name, const std::string& rest) {
    const auto* set = static_cast<PropertySet*>(findHandle(handle, HandleKind::PropertySet).object);
    return (set ? set->owner() : "bad handle") + ", " + quoted(name) + (rest.empty() ? "" : ", " + rest);
}

template <class Body>
OfxStatus onSet(const char* call, OfxPropertySetHandle handle, const char* name, Body&& body) {
    return callOn<PropertySet>(
        call, handle, HandleKind::PropertySet, name, [=] { return propertyArguments(handle, name, ""); }, body);
}

// How each C type is kept, and made of what is kept.
PropertyValue kept(void* value) { return value; }
PropertyValue kept(int value) { return value; }
PropertyValue kept(double value) { return value; }
PropertyValue kept(const char* value) { return std::string(value); }

template <class Value>
constexpr PropertyType keptType = PropertyType::Pointer;
template <>
constexpr PropertyType keptType<int> = PropertyType::Int;
template <>
constexpr PropertyType keptType<double> = PropertyType::Double;
template <>
constexpr PropertyType keptType<char*> = PropertyType::String;

template <class Value>
Value given(const PropertyValue& value) {
    if constexpr (std::is_same_v<Value, char*>) {
        return const_cast<char*>(std::get<std::string>(value).c_str());  // the interface's type; plug-ins only read it
    } else {
        return std::get<Value>(value);
    }
}

template <class Value>
OfxStatus setOne(PropertySet& set, const char* call, const char* name, int index, Value value) {
    if constexpr (std::is_same_v<Value, const char*>) {
        if (!value) {
            set.host().report(Severity::Error, call, name ? name : "", set.owner() + ": null text");
            return ofx::status::ErrValue;
        }
    }
    return set.write(call, name, index, kept(value));
}

template <class Value>
std::string valueText(Value value) {
    if constexpr (std::is_same_v<Value, const char*>) {
        return quoted(value);
    } else {
        return toText(kept(value));
    }
}

template <class Value>
OfxStatus set(const char* call, OfxPropertySetHandle handle, const char* name, int index, Value value) {
    return callOn<PropertySet>(
        call, handle, HandleKind::PropertySet, name,
        [=] { return propertyArguments(handle, name, std::to_string(index) + ", " + valueText(value)); },
        [=](PropertySet& target) { return setOne(target, call, name, index, value); });
}

OfxStatus badArray(PropertySet& set, const char* call, const char* name, int count) {
    set.host().report(Severity::Error, call, name ? name : "",
                      set.owner() + (count < 0 ? ": negative count" : ": null values"));
    return count < 0 ? ofx::status::ErrBadIndex : ofx::status::ErrValue;
}

template <class Value>
OfxStatus setN(const char* call, OfxPropertySetHandle handle, const char* name, int count, const Value* values) {
    return onSet(call, handle, name, [=](PropertySet& target) {
        if (count < 0 || (count > 0 && !values)) return badArray(target, call, name, count);
        OfxStatus status = ofx::status::OK;
        for (int i = 0; i < count && status == ofx::status::OK; ++i) {
            status = setOne(target, call, name, i, values[i]);
        }
        return status;
    });
}

template <class Value>
OfxStatus getOne(PropertySet& set, const char* call, const char* name, int index, Value* value) {
    const PropertyValue* found = nullptr;
    const OfxStatus status = set.read(call, name, index, keptType<Value>, &found);
    if (status == ofx::status::OK) *value = given<Value>(*found);
    return status;
}

template <class Value>
OfxStatus get(const char* call, OfxPropertySetHandle handle, const char* name, int index, Value* value) {
    return callOn<PropertySet>(
        call, handle, HandleKind::PropertySet, name,
        [=] { return propertyArguments(handle, name, std::to_string(index)); },
        [=](PropertySet& target) {
            return value ? getOne(target, call, name, index, value) : badArray(target, call, name, 1);
        });
}

template <class Value>
OfxStatus getN(const char* call, OfxPropertySetHandle handle, const char* name, int count, Value* values) {
    return onSet(call, handle, name, [=](PropertySet& target) {
        if (count < 0 || (count > 0 && !values)) return badArray(target, call, name, count);
        OfxStatus status = ofx::status::OK;
        for (int i = 0; i < count && status == ofx::status::OK; ++i) {
            status = getOne(target, call, name, i, &values[i]);
        }
        return status;
    });
}

OfxStatus reset(OfxPropertySetHandle handle, const char* name) {
    return onSet("propReset", handle, name, [=](PropertySet& target) { return target.reset("propReset", name); });
}

OfxStatus dimension(OfxPropertySetHandle handle, const char* name, int* count) {
    return onSet("propGetDimension", handle, name,
                 [=](PropertySet& target) { return target.dimension("propGetDimension", name, count); });
}

using Set = OfxPropertySetHandle;
using Name = const char*;

}  // namespace

const OfxPropertySuiteV1 propertySuite = {
    .propSetPointer = [](Set s, Name n, int i, void* v) { return set("propSetPointer", s, n, i, v); },
    .propSetString = [](Set s, Name n, int i, const char* v) { return set("propSetString", s, n, i, v); },
    .propSetDouble = [](Set s, Name n, int i, double v) { return set("propSetDouble", s, n, i, v); },
    .propSetInt = [](Set s, Name n, int i, int v) { return set("propSetInt", s, n, i, v); },
    .propSetPointerN = [](Set s, Name n, int c, void* const* v) { return setN("propSetPointerN", s, n, c, v); },
    .propSetStringN = [](Set s, Name n, int c, const char* const* v) { return setN("propSetStringN", s, n, c, v); },
    .propSetDoubleN = [](Set s, Name n, int c, const double* v) { return setN("propSetDoubleN", s, n, c, v); },
    .propSetIntN = [](Set s, Name n, int c, const int* v) { return setN("propSetIntN", s, n, c, v); },
    .propGetPointer = [](Set s, Name n, int i, void** v) { return get("propGetPointer", s, n, i, v); },
    .propGetString = [](Set s, Name n, int i, char** v) { return get("propGetString", s, n, i, v); },
    .propGetDouble = [](Set s, Name n, int i, double* v) { return get("propGetDouble", s, n, i, v); },
    .propGetInt = [](Set s, Name n, int i, int* v) { return get("propGetInt", s, n, i, v); },
    .propGetPointerN = [](Set s, Name n, int c, void** v) { return getN("propGetPointerN", s, n, c, v); },
    .propGetStringN = [](Set s, Name n, int c, char** v) { return getN("propGetStringN", s, n, c, v); },
    .propGetDoubleN = [](Set s, Name n, int c, double* v) { return getN("propGetDoubleN", s, n, c, v); },
    .propGetIntN = [](Set s, Name n, int c, int* v) { return getN("propGetIntN", s, n, c, v); },
    .propReset = reset,
    .propGetDimension = dimension,
};

}  // namespace ofxhost
