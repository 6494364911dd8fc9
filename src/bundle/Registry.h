// The bundle's effects, in the order of the index that a host asks by.
#pragma once

#include <span>

#include "Library2/PluginK7.h"

inline constexpr int EFFECT_COUNT = 58;

std::span<const EffectDefinition, EFFECT_COUNT> registry();
