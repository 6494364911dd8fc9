// Parameters: what a descriptor declares, and the values and animation of an instance.
#pragma once

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/core/param_type.h"
#include "host/core/property_set.h"

namespace ofxhost {

class Effect;
class EffectInstance;

class ParamDescriptor {
  public:
    ParamDescriptor(Host& host, const ParamTypeInfo& type, std::string name);

    const std::string& name() const { return m_name; }
    const ParamTypeInfo& type() const { return m_type; }
    PropertySet& properties() { return m_properties; }
    const PropertySet& properties() const { return m_properties; }

  private:
    const ParamTypeInfo& m_type;
    std::string m_name;
    PropertySet m_properties;
};

// Numbers for all types but String and Custom; integers are exact in a double.
struct ParamValue {
    std::array<double, 4> numbers{};
    std::string text;

    ParamValue() = default;
    ParamValue(double a, double b = 0.0, double c = 0.0, double d = 0.0) : numbers{a, b, c, d} {}
    ParamValue(std::string value) : text(std::move(value)) {}
    ParamValue(const char* value) : text(value) {}
    bool operator==(const ParamValue&) const = default;
};

// A parameter of an instance. Without keys it has one value; with keys its value runs linearly from key to key (texts,
// Booleans and choices hold the value of the key before) and stays constant before the first and after the last.
// Thread safe.
class Param {
  public:
    Param(EffectInstance& effect, const ParamDescriptor& descriptor);

    const std::string& name() const { return m_name; }
    const ParamTypeInfo& type() const { return m_type; }
    PropertySet& properties() { return m_properties; }
    const PropertySet& properties() const { return m_properties; }
    EffectInstance& effect() const { return m_effect; }
    OfxParamHandle handle() const { return m_ticket.as<OfxParamHandle>(); }

    ParamValue defaultValue() const;
    ParamValue value() const;  // at the instance's current time
    ParamValue valueAt(double time) const;
    // Without notification to the plug-in; EffectInstance::setParam sends it.
    void setValue(const ParamValue& value);  // with keys: a key at the instance's current time
    void setKey(double time, const ParamValue& value);
    bool deleteKey(double time);
    void deleteAllKeys();
    void resetToDefault();
    std::vector<double> keyTimes() const;
    bool animates() const;
    std::vector<std::string> choiceOptions() const;

    // Rate of change and integral of one number over time (frames).
    double derivative(double time, int index) const;
    double integral(double from, double to, int index) const;
    void copyFrom(const Param& other, double offset, const OfxRangeD* range);

    // For the interface: text that stays valid until the next call on this parameter by the same thread.
    char* holdText(std::string text) const;

  private:
    ParamValue lockedValueAt(double time) const;

    EffectInstance& m_effect;
    const ParamTypeInfo& m_type;
    std::string m_name;
    PropertySet m_properties;
    mutable std::recursive_mutex m_mutex;
    ParamValue m_value;
    std::map<double, ParamValue> m_keys;
    mutable std::map<std::thread::id, std::string> m_heldTexts;
    HandleTicket m_ticket;
};

}  // namespace ofxhost
