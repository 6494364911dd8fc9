// An effect's declaration as data, for tools: the reference pages, the gallery, the scene tests.
#pragma once

#include <span>
#include <string>

#include "Library2/PluginK7.h"

// A JSON text of all effects: traits, clips, pages, parameters, presets, enable rules, overlay widgets, scenes; and
// the table of host deviations. Written into the bundle's Resources when it is built.
std::string declarationsAsJson(std::span<const EffectDefinition> effects);
