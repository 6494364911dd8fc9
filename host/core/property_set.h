// A property set: typed values under names, with the standard's rules on who may write what.
//
// The host side (set..., get...) is free of access rules and throws std::logic_error when the host itself gets a name,
// type or index wrong. The plug-in side (write, read, reset, dimension) answers a status and reports what was wrong.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/core/handles.h"

namespace ofxhost {

enum class PropertyType : std::uint8_t { Int, Double, String, Pointer };
std::string_view propertyTypeName(PropertyType type);  // "int", "double", "string", "pointer"

using PropertyValue = std::variant<int, double, std::string, void*>;  // alternatives in the order of PropertyType
PropertyType typeOf(const PropertyValue& value);
std::string toText(const PropertyValue& value);

// The kinds of object that own a property set; each has its table of standard properties (property_tables.h).
enum class ObjectKind : std::uint8_t {
    Host,
    EffectDescriptor,
    EffectInstance,
    ClipDescriptor,
    ClipInstance,
    Image,
    ParamDescriptor,
    ParamInstance,
    ParamSet,
    InteractDescriptor,
    InteractInstance,
    InArgs,
    OutArgs
};

// One attempt of the plug-in to set a value, in the order made; refused ones too.
struct PropertyWrite {
    std::string property;
    int index = 0;
    PropertyValue value;
    OfxStatus status = ofx::status::OK;
};

struct PropertyRow;  // property_tables.h
struct ParamTypeInfo;

class PropertySet {
  public:
    // `owner` names the object in messages: "effect Q_Darken", "parameter Radius".
    PropertySet(Host& host, ObjectKind kind, std::string owner);
    ~PropertySet();
    PropertySet(const PropertySet&) = delete;
    PropertySet& operator=(const PropertySet&) = delete;

    OfxPropertySetHandle handle() const { return m_ticket.as<OfxPropertySetHandle>(); }
    ObjectKind kind() const { return m_kind; }
    const std::string& owner() const { return m_owner; }
    Host& host() const { return m_host; }

    // ---- Host side ----
    void define(std::string_view name, PropertyType type, int dimension, bool pluginMayWrite);  // dimension 0: any
    void remove(std::string_view name);
    void setInt(std::string_view name, int value, int index = 0) { set(name, index, value); }
    void setDouble(std::string_view name, double value, int index = 0) { set(name, index, value); }
    void setString(std::string_view name, std::string value, int index = 0) { set(name, index, std::move(value)); }
    void setPointer(std::string_view name, void* value, int index = 0) { set(name, index, value); }
    void set(std::string_view name, int index, PropertyValue value);
    void copyValuesFrom(const PropertySet& other);  // of the properties that both have, but for OfxPropType

    bool has(std::string_view name) const;
    int count(std::string_view name) const;  // number of values; 0 for an unknown property
    PropertyType type(std::string_view name) const;
    PropertyValue value(std::string_view name, int index = 0) const;
    int getInt(std::string_view name, int index = 0) const { return std::get<int>(value(name, index)); }
    double getDouble(std::string_view name, int index = 0) const { return std::get<double>(value(name, index)); }
    std::string getString(std::string_view name, int index = 0) const {
        return std::get<std::string>(value(name, index));
    }
    void* getPointer(std::string_view name, int index = 0) const { return std::get<void*>(value(name, index)); }
    std::vector<PropertyValue> values(std::string_view name) const;  // empty for an unknown property
    std::vector<std::string> names() const;                          // standard order, then as defined

    // Everything the plug-in tried to set, in its order, and the properties it set with success, each once.
    std::vector<PropertyWrite> writes() const;
    std::vector<std::string> writtenProperties() const;

    // ---- Plug-in side; `call` is the suite function for the report ----
    OfxStatus write(const char* call, const char* name, int index, PropertyValue value);
    // Gives a pointer to the stored value, which stays valid until the value is set again.
    OfxStatus read(const char* call, const char* name, int index, PropertyType type, const PropertyValue** value);
    OfxStatus reset(const char* call, const char* name);
    OfxStatus dimension(const char* call, const char* name, int* count);

  private:
    struct Property;
    Property* find(std::string_view name) const;
    Property* visible(const char* name) const;  // find, but for host properties that the hooks withhold
    Property& require(std::string_view name) const;
    void addTable(const PropertyRow* rows, std::size_t count);
    OfxStatus refuse(const char* call, const char* name, OfxStatus status, const std::string& message) const;
    OfxStatus refuseUnknown(const char* call, const char* name) const;
    OfxStatus checkWrite(const char* call, const char* name, int index, const PropertyValue& value) const;
    void store(Property& property, int index, PropertyValue value);
    void updateFollowers(const std::string& name);

    friend void addStandardProperties(PropertySet& set, ObjectKind kind);
    friend void addArgumentProperties(PropertySet& set, std::string_view action);
    friend void addParamProperties(PropertySet& set, bool instance, const ParamTypeInfo& type);

    Host& m_host;
    ObjectKind m_kind;
    std::string m_owner;
    mutable std::recursive_mutex m_mutex;
    std::vector<std::unique_ptr<Property>> m_properties;  // in order
    std::map<std::string, Property*, std::less<>> m_index;
    std::vector<PropertyWrite> m_writes;
    HandleTicket m_ticket;
};

}  // namespace ofxhost
