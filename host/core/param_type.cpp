#include "host/core/param_type.h"

#include <iterator>

#include "ofx/ofx_names.h"

namespace ofxhost {
namespace {

namespace names = ofx::param_type;

// In the order of ParamType.
constexpr ParamTypeInfo types[] = {
    // type, text, storage, dimension, interpolates, colour
    {ParamType::Integer, names::Integer, ParamStorage::Int, 1, true, false},
    {ParamType::Double, names::Double, ParamStorage::Double, 1, true, false},
    {ParamType::Boolean, names::Boolean, ParamStorage::Int, 1, false, false},
    {ParamType::Choice, names::Choice, ParamStorage::Int, 1, false, false},
    {ParamType::RGBA, names::RGBA, ParamStorage::Double, 4, true, true},
    {ParamType::RGB, names::RGB, ParamStorage::Double, 3, true, true},
    {ParamType::Double2D, names::Double2D, ParamStorage::Double, 2, true, false},
    {ParamType::Integer2D, names::Integer2D, ParamStorage::Int, 2, true, false},
    {ParamType::Double3D, names::Double3D, ParamStorage::Double, 3, true, false},
    {ParamType::Integer3D, names::Integer3D, ParamStorage::Int, 3, true, false},
    {ParamType::String, names::String, ParamStorage::Text, 1, false, false},
    {ParamType::Custom, names::Custom, ParamStorage::Text, 1, false, false},
    {ParamType::Group, names::Group, ParamStorage::None, 0, false, false},
    {ParamType::Page, names::Page, ParamStorage::None, 0, false, false},
    {ParamType::PushButton, names::PushButton, ParamStorage::None, 0, false, false},
};
static_assert(std::size(types) == static_cast<std::size_t>(ParamType::PushButton) + 1);

}  // namespace

bool ParamTypeInfo::numeric() const {
    return (storage == ParamStorage::Int || storage == ParamStorage::Double) && interpolates;
}

const ParamTypeInfo* findParamType(std::string_view text) {
    for (const ParamTypeInfo& info : types) {
        if (text == info.text) return &info;
    }
    return nullptr;
}

const ParamTypeInfo& paramTypeInfo(ParamType type) { return types[static_cast<std::size_t>(type)]; }

}  // namespace ofxhost
