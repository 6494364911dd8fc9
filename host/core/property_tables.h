// The standard properties of each kind of object, as tables.
#pragma once

#include <span>

#include "host/core/param_type.h"
#include "host/core/property_set.h"

namespace ofxhost {

enum class Access : std::uint8_t { ReadOnly, ReadWrite };  // from the plug-in's side

struct PropertyRow {
    const char* name;
    PropertyType type;
    int dimension;  // 0: any number of values
    Access access;
    // Numbers: one text with a value for each index, "10,10". Texts: the value of every index. Null: zeros or empty
    // texts for a fixed dimension, no values for a variable one.
    const char* initial = nullptr;
    bool flag = false;  // an int that may only be 0 or 1
};

// Rows of everything but parameters, whose rows depend on their type (addParamProperties).
std::span<const PropertyRow> standardProperties(ObjectKind kind);
void addStandardProperties(PropertySet& set, ObjectKind kind);
void addParamProperties(PropertySet& set, bool instance, const ParamTypeInfo& type);

// The properties that an action carries in (a set of kind InArgs) or out (OutArgs); those composed with the names of
// clips are added by the sender.
void addArgumentProperties(PropertySet& set, std::string_view action);
inline constexpr char keySymbolProperty[] = "kOfxPropKeySym";
inline constexpr char keyStringProperty[] = "kOfxPropKeyString";

// Null when any text will do, else the allowed values of a text property, ended by a null pointer.
const char* const* allowedTexts(std::string_view property);

// A property that follows another until the plug-in sets it itself, as the short label follows the label.
struct Follower {
    const char* source;
    const char* follower;
};
std::span<const Follower> followers();

// Accesses that the standard does not provide for but that bundles in the field make and every host shrugs off: still
// answered with an error status, but reported as a note. Null when the access is an ordinary error, else the reason.
const char* toleranceOf(ObjectKind kind, std::string_view property);

}  // namespace ofxhost
