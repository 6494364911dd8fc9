#include "host/core/param.h"

#include <algorithm>
#include <cmath>

#include "host/core/effect.h"
#include "host/core/property_tables.h"
#include "ofx/ofx_names.h"

namespace ofxhost {

namespace prop = ofx::prop;

ParamDescriptor::ParamDescriptor(Host& host, const ParamTypeInfo& type, std::string name)
    : m_type(type), m_name(std::move(name)), m_properties(host, ObjectKind::ParamDescriptor, "parameter " + m_name) {
    addParamProperties(m_properties, false, type);
    for (const char* property : {prop::Name, prop::Label, prop::ShortLabel, prop::LongLabel, prop::ParamScriptName}) {
        m_properties.setString(property, m_name);
    }
}

Param::Param(EffectInstance& effect, const ParamDescriptor& descriptor)
    : m_effect(effect),
      m_type(descriptor.type()),
      m_name(descriptor.name()),
      m_properties(effect.host(), ObjectKind::ParamInstance, "parameter " + m_name),
      m_ticket(effect.host(), HandleKind::Param, this) {
    addParamProperties(m_properties, true, m_type);
    m_properties.copyValuesFrom(descriptor.properties());
    m_value = defaultValue();
}

ParamValue Param::defaultValue() const {
    ParamValue value;
    const std::vector<PropertyValue> defaults = m_properties.values(prop::ParamDefault);
    for (std::size_t i = 0; i < defaults.size(); ++i) {
        switch (m_type.storage) {
            case ParamStorage::Int:
                value.numbers[i] = std::get<int>(defaults[i]);
                break;
            case ParamStorage::Double:
                value.numbers[i] = std::get<double>(defaults[i]);
                break;
            case ParamStorage::Text:
                value.text = std::get<std::string>(defaults[i]);
                break;
            case ParamStorage::None:
                break;
        }
    }
    return value;
}

ParamValue Param::value() const { return valueAt(m_effect.currentTime()); }

ParamValue Param::valueAt(double time) const {
    std::lock_guard lock(m_mutex);
    return lockedValueAt(time);
}

ParamValue Param::lockedValueAt(double time) const {
    if (m_keys.empty()) return m_value;
    const auto after = m_keys.upper_bound(time);
    if (after == m_keys.begin()) return after->second;
    const auto before = std::prev(after);
    if (after == m_keys.end() || !m_type.interpolates || before->first == time) return before->second;
    const double fraction = (time - before->first) / (after->first - before->first);
    ParamValue value = before->second;
    for (std::size_t i = 0; i < value.numbers.size(); ++i) {
        value.numbers[i] += (after->second.numbers[i] - before->second.numbers[i]) * fraction;
        if (m_type.storage == ParamStorage::Int) value.numbers[i] = std::round(value.numbers[i]);
    }
    return value;
}

void Param::setValue(const ParamValue& value) {
    std::lock_guard lock(m_mutex);
    if (!m_keys.empty()) {
        m_keys[m_effect.currentTime()] = value;
    } else {
        m_value = value;
    }
}

void Param::setKey(double time, const ParamValue& value) {
    std::lock_guard lock(m_mutex);
    m_keys[time] = value;
    m_properties.setInt(prop::ParamIsAnimating, 1);
}

bool Param::deleteKey(double time) {
    std::lock_guard lock(m_mutex);
    const auto found = m_keys.find(time);
    if (found == m_keys.end()) return false;
    if (m_keys.size() == 1) m_value = found->second;
    m_keys.erase(found);
    if (m_keys.empty()) m_properties.setInt(prop::ParamIsAnimating, 0);
    return true;
}

void Param::deleteAllKeys() {
    std::lock_guard lock(m_mutex);
    if (m_keys.empty()) return;
    m_value = lockedValueAt(m_effect.currentTime());
    m_keys.clear();
    m_properties.setInt(prop::ParamIsAnimating, 0);
}

void Param::resetToDefault() {
    std::lock_guard lock(m_mutex);
    if (m_type.hasValue()) m_properties.setInt(prop::ParamIsAnimating, 0);
    m_keys.clear();
    m_value = defaultValue();
}

std::vector<double> Param::keyTimes() const {
    std::lock_guard lock(m_mutex);
    std::vector<double> times;
    for (const auto& [time, value] : m_keys) times.push_back(time);
    return times;
}

bool Param::animates() const { return m_type.hasValue() && m_properties.getInt(prop::ParamAnimates) != 0; }

std::vector<std::string> Param::choiceOptions() const {
    std::vector<std::string> options;
    for (const PropertyValue& option : m_properties.values(prop::ParamChoiceOption)) {
        options.push_back(std::get<std::string>(option));
    }
    return options;
}

double Param::derivative(double time, int index) const {
    std::lock_guard lock(m_mutex);
    const auto after = m_keys.upper_bound(time);
    if (after == m_keys.begin() || after == m_keys.end()) return 0.0;
    const auto before = std::prev(after);
    const auto i = static_cast<std::size_t>(index);
    return (after->second.numbers[i] - before->second.numbers[i]) / (after->first - before->first);
}

double Param::integral(double from, double to, int index) const {
    if (to < from) return -integral(to, from, index);
    std::lock_guard lock(m_mutex);
    const auto i = static_cast<std::size_t>(index);
    // Exact: between two keys the value is linear, so a trapezium is its area.
    double sum = 0.0, start = from;
    double startValue = lockedValueAt(from).numbers[i];
    const auto advance = [&](double end) {
        const double endValue = lockedValueAt(end).numbers[i];
        sum += (startValue + endValue) * 0.5 * (end - start);
        start = end, startValue = endValue;
    };
    for (auto key = m_keys.upper_bound(from); key != m_keys.end() && key->first < to; ++key) advance(key->first);
    advance(to);
    return sum;
}

void Param::copyFrom(const Param& other, double offset, const OfxRangeD* range) {
    if (&other == this && offset == 0.0) return;
    std::scoped_lock lock(m_mutex, other.m_mutex);
    const std::map<double, ParamValue> keys = other.m_keys;
    m_value = other.m_value;
    m_keys.clear();
    for (const auto& [time, value] : keys) {
        if (!range || (time >= range->min && time <= range->max)) m_keys[time + offset] = value;
    }
    m_properties.setInt(prop::ParamIsAnimating, !m_keys.empty());
}

char* Param::holdText(std::string text) const {
    std::lock_guard lock(m_mutex);
    std::string& held = m_heldTexts[std::this_thread::get_id()];
    held = std::move(text);
    return held.data();
}

}  // namespace ofxhost
