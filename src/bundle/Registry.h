// The bundle's effects, in the order of the index that a host asks by: that of effects.list, from which the table is
// made when the build is configured.
#pragma once

#include <span>

#include "Library2/PluginK7.h"

inline constexpr int EFFECT_COUNT = QUILLON_EFFECT_COUNT;

std::span<const EffectDefinition, EFFECT_COUNT> registry();
