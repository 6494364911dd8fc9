#include "host/core/property_set.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>

#include "host/core/host.h"
#include "host/core/property_tables.h"
#include "ofx/ofx_names.h"

namespace ofxhost {

struct PropertySet::Property {
    std::string name;
    PropertyType type = PropertyType::Int;
    int dimension = 1;
    bool mayWrite = false;
    bool flag = false;
    std::vector<PropertyValue> initial;
    std::deque<PropertyValue> values;  // a deque: texts handed out must not move when it grows
};

std::string_view propertyTypeName(PropertyType type) {
    constexpr std::string_view names[] = {"int", "double", "string", "pointer"};
    return names[static_cast<std::size_t>(type)];
}

PropertyType typeOf(const PropertyValue& value) { return static_cast<PropertyType>(value.index()); }

std::string toText(const PropertyValue& value) {
    char buffer[64];
    switch (typeOf(value)) {
        case PropertyType::Int:
            return std::to_string(std::get<int>(value));
        case PropertyType::Double: {
            const auto end = std::to_chars(buffer, buffer + sizeof buffer, std::get<double>(value)).ptr;
            return {buffer, end};
        }
        case PropertyType::String:
            return std::get<std::string>(value);
        case PropertyType::Pointer:
            break;
    }
    return std::get<void*>(value) ? "pointer" : "null";
}

namespace {

PropertyValue zeroOf(PropertyType type) {
    switch (type) {
        case PropertyType::Int:
            return 0;
        case PropertyType::Double:
            return 0.0;
        case PropertyType::String:
            return std::string();
        case PropertyType::Pointer:
            break;
    }
    return static_cast<void*>(nullptr);
}

// The values that a row's `initial` text stands for.
std::vector<PropertyValue> initialValues(const PropertyRow& row) {
    std::vector<PropertyValue> values(static_cast<std::size_t>(row.dimension), zeroOf(row.type));
    if (!row.initial) return values;
    if (row.type == PropertyType::String) {
        values.assign(static_cast<std::size_t>(std::max(row.dimension, 1)), std::string(row.initial));
        return values;
    }
    values.clear();
    const std::string_view text = row.initial;
    for (std::size_t start = 0; start < text.size();) {
        std::size_t end = text.find(',', start);
        if (end == std::string_view::npos) end = text.size();
        double number = 0.0;
        std::from_chars(text.data() + start, text.data() + end, number);
        if (row.type == PropertyType::Int) {
            values.emplace_back(static_cast<int>(number));
        } else {
            values.emplace_back(number);
        }
        start = end + 1;
    }
    return values;
}

}  // namespace

PropertySet::PropertySet(Host& host, ObjectKind kind, std::string owner)
    : m_host(host), m_kind(kind), m_owner(std::move(owner)), m_ticket(host, HandleKind::PropertySet, this) {
    addStandardProperties(*this, kind);
}

PropertySet::~PropertySet() = default;

void PropertySet::addTable(const PropertyRow* rows, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        define(rows[i].name, rows[i].type, rows[i].dimension, rows[i].access == Access::ReadWrite);
        Property& property = require(rows[i].name);
        property.flag = rows[i].flag;
        property.initial = initialValues(rows[i]);
        property.values.assign(property.initial.begin(), property.initial.end());
    }
}

void PropertySet::define(std::string_view name, PropertyType type, int dimension, bool pluginMayWrite) {
    std::lock_guard lock(m_mutex);
    if (find(name)) throw std::logic_error("property defined twice: " + std::string(name));
    auto property = std::make_unique<Property>();
    property->name = name;
    property->type = type;
    property->dimension = dimension;
    property->mayWrite = pluginMayWrite;
    property->initial.assign(static_cast<std::size_t>(dimension), zeroOf(type));
    property->values.assign(property->initial.begin(), property->initial.end());
    m_index.emplace(property->name, property.get());
    m_properties.push_back(std::move(property));
}

void PropertySet::remove(std::string_view name) {
    std::lock_guard lock(m_mutex);
    Property* property = find(name);
    if (!property) return;
    m_index.erase(m_index.find(name));
    std::erase_if(m_properties, [property](const auto& entry) { return entry.get() == property; });
}

PropertySet::Property* PropertySet::find(std::string_view name) const {
    const auto found = m_index.find(name);
    return found == m_index.end() ? nullptr : found->second;
}

PropertySet::Property* PropertySet::visible(const char* name) const {
    if (m_kind == ObjectKind::Host && m_host.hooks().withheldHostProperties.contains(name)) return nullptr;
    return find(name);
}

PropertySet::Property& PropertySet::require(std::string_view name) const {
    if (Property* property = find(name)) return *property;
    throw std::logic_error("no property " + std::string(name) + " on " + m_owner);
}

// ---- Host side ------------------------------------------------------------------------------------------------

void PropertySet::set(std::string_view name, int index, PropertyValue value) {
    std::lock_guard lock(m_mutex);
    Property& property = require(name);
    const int count = static_cast<int>(property.values.size());
    const int limit = property.dimension > 0 ? property.dimension - 1 : count;
    if (typeOf(value) != property.type) throw std::logic_error("wrong type for property " + property.name);
    if (index < 0 || index > limit) throw std::logic_error("bad index for property " + property.name);
    store(property, index, std::move(value));
}

void PropertySet::store(Property& property, int index, PropertyValue value) {
    const auto at = static_cast<std::size_t>(index);
    if (at >= property.values.size()) {
        property.values.push_back(std::move(value));
    } else if (property.values[at] != value) {  // another thread may be reading what stays the same
        property.values[at] = std::move(value);
    }
}

void PropertySet::copyValuesFrom(const PropertySet& other) {
    std::scoped_lock lock(m_mutex, other.m_mutex);
    for (const auto& property : m_properties) {
        const Property* source = other.find(property->name);
        if (!source || source->type != property->type || property->name == ofx::prop::Type) continue;
        property->values = source->values;
        property->initial.assign(source->values.begin(), source->values.end());
    }
}

bool PropertySet::has(std::string_view name) const {
    std::lock_guard lock(m_mutex);
    return find(name) != nullptr;
}

int PropertySet::count(std::string_view name) const {
    std::lock_guard lock(m_mutex);
    const Property* property = find(name);
    return property ? static_cast<int>(property->values.size()) : 0;
}

PropertyType PropertySet::type(std::string_view name) const {
    std::lock_guard lock(m_mutex);
    return require(name).type;
}

PropertyValue PropertySet::value(std::string_view name, int index) const {
    std::lock_guard lock(m_mutex);
    const Property& property = require(name);
    if (index < 0 || index >= static_cast<int>(property.values.size())) {
        throw std::logic_error("property " + property.name + " has no value at that index");
    }
    return property.values[static_cast<std::size_t>(index)];
}

std::vector<PropertyValue> PropertySet::values(std::string_view name) const {
    std::lock_guard lock(m_mutex);
    const Property* property = find(name);
    if (!property) return {};
    return {property->values.begin(), property->values.end()};
}

std::vector<std::string> PropertySet::names() const {
    std::lock_guard lock(m_mutex);
    std::vector<std::string> found;
    for (const auto& property : m_properties) found.push_back(property->name);
    return found;
}

std::vector<PropertyWrite> PropertySet::writes() const {
    std::lock_guard lock(m_mutex);
    return m_writes;
}

std::vector<std::string> PropertySet::writtenProperties() const {
    std::lock_guard lock(m_mutex);
    std::vector<std::string> found;
    for (const PropertyWrite& entry : m_writes) {
        if (entry.status == ofx::status::OK && std::find(found.begin(), found.end(), entry.property) == found.end()) {
            found.push_back(entry.property);
        }
    }
    return found;
}

// ---- Plug-in side ---------------------------------------------------------------------------------------------

OfxStatus PropertySet::refuse(const char* call, const char* name, OfxStatus status, const std::string& message) const {
    const char* reason = toleranceOf(m_kind, name);
    const std::string text = m_owner + ": " + message + (reason ? std::string(" (") + reason + ")" : "");
    m_host.report(reason ? Severity::Note : Severity::Error, call, name, text);
    return status;
}

// The standard's way of finding out what a host can do is to ask: no fault.
OfxStatus PropertySet::refuseUnknown(const char* call, const char* name) const {
    const bool tolerated = toleranceOf(m_kind, name) != nullptr;
    m_host.report(tolerated ? Severity::Note : Severity::Probe, call, name, m_owner + ": no such property");
    return ofx::status::ErrUnknown;
}

OfxStatus PropertySet::checkWrite(const char* call, const char* name, int index, const PropertyValue& value) const {
    using namespace ofx::status;
    const Property* property = find(name);
    if (!property) return refuseUnknown(call, name);
    if (property->type != typeOf(value)) {
        return refuse(call, name, ErrUnknown,
                      "the property holds " + std::string(propertyTypeName(property->type)) + ", not " +
                          std::string(propertyTypeName(typeOf(value))));
    }
    if (!property->mayWrite) return refuse(call, name, ErrValue, "the property is read-only");
    const int count = static_cast<int>(property->values.size());
    const int limit = property->dimension > 0 ? property->dimension - 1 : count;
    if (index < 0 || index > limit) {
        return refuse(call, name, ErrBadIndex,
                      "index " + std::to_string(index) + " is outside 0 to " + std::to_string(limit));
    }
    if (property->flag && (std::get<int>(value) & ~1)) {
        return refuse(call, name, ErrValue, toText(value) + " is neither 0 nor 1");
    }
    if (property->type == PropertyType::Double && std::isnan(std::get<double>(value))) {
        return refuse(call, name, ErrValue, "not a number");
    }
    if (const char* const* allowed = allowedTexts(name); allowed && property->type == PropertyType::String) {
        while (*allowed && std::get<std::string>(value) != *allowed) ++allowed;
        if (!*allowed) return refuse(call, name, ErrValue, "unknown value \"" + toText(value) + "\"");
    }
    return OK;
}

OfxStatus PropertySet::write(const char* call, const char* name, int index, PropertyValue value) {
    std::lock_guard lock(m_mutex);
    if (!name) return refuse(call, "", ofx::status::ErrUnknown, "null property name");
    const OfxStatus status = checkWrite(call, name, index, value);
    m_writes.push_back({name, index, value, status});
    if (status != ofx::status::OK) return status;
    store(*find(name), index, std::move(value));
    updateFollowers(name);
    return status;
}

void PropertySet::updateFollowers(const std::string& name) {
    for (const Follower& pair : followers()) {
        if (name != pair.source) continue;
        if (Property* follower = find(pair.follower)) follower->values = find(name)->values;
    }
}

OfxStatus PropertySet::read(const char* call, const char* name, int index, PropertyType type,
                            const PropertyValue** value) {
    using namespace ofx::status;
    std::lock_guard lock(m_mutex);
    if (!name) return refuse(call, "", ErrUnknown, "null property name");
    const Property* property = visible(name);
    if (!property) {
        // A plug-in may ask whether the host has an optional property: that is no fault if the standard knows it.
        for (const PropertyRow& row : standardProperties(m_kind)) {
            if (std::string_view(row.name) == name) {
                m_host.report(Severity::Note, call, name, m_owner + ": the host does not give this property");
                return ErrUnknown;
            }
        }
        return refuseUnknown(call, name);
    }
    if (property->type != type) {
        return refuse(call, name, ErrUnknown,
                      "the property holds " + std::string(propertyTypeName(property->type)) + ", not " +
                          std::string(propertyTypeName(type)));
    }
    const int count = static_cast<int>(property->values.size());
    if (index < 0 || index >= count) {
        return refuse(call, name, ErrBadIndex,
                      "index " + std::to_string(index) + " of " + std::to_string(count) + " values");
    }
    *value = &property->values[static_cast<std::size_t>(index)];
    return OK;
}

OfxStatus PropertySet::reset(const char* call, const char* name) {
    using namespace ofx::status;
    std::lock_guard lock(m_mutex);
    if (!name) return refuse(call, "", ErrUnknown, "null property name");
    Property* property = find(name);
    if (!property) return refuseUnknown(call, name);
    if (!property->mayWrite) return refuse(call, name, ErrValue, "the property is read-only");
    property->values.assign(property->initial.begin(), property->initial.end());
    return OK;
}

OfxStatus PropertySet::dimension(const char* call, const char* name, int* count) {
    using namespace ofx::status;
    std::lock_guard lock(m_mutex);
    if (!name) return refuse(call, "", ErrUnknown, "null property name");
    const Property* property = visible(name);
    if (!property) return refuseUnknown(call, name);
    if (!count) return refuse(call, name, ErrValue, "null result pointer");
    *count = static_cast<int>(property->values.size());
    return OK;
}

}  // namespace ofxhost
