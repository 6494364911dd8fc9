// The parameter types as a table.
#pragma once

#include <cstdint>
#include <string_view>

namespace ofxhost {

enum class ParamType : std::uint8_t {
    Integer,
    Double,
    Boolean,
    Choice,
    RGBA,
    RGB,
    Double2D,
    Integer2D,
    Double3D,
    Integer3D,
    String,
    Custom,
    Group,
    Page,
    PushButton
};

enum class ParamStorage : std::uint8_t { None, Int, Double, Text };  // how values travel over the interface

struct ParamTypeInfo {
    ParamType type;
    const char* text;  // "OfxParamTypeDouble"
    ParamStorage storage;
    int dimension;      // numbers or texts in a value
    bool interpolates;  // between keys; others hold the value of the key before
    bool colour;

    bool hasValue() const { return storage != ParamStorage::None; }
    bool numeric() const;  // has Min to DisplayMax: all of numbers but Boolean and Choice
};

const ParamTypeInfo* findParamType(std::string_view text);  // null when unknown
const ParamTypeInfo& paramTypeInfo(ParamType type);

}  // namespace ofxhost
