// catalogue.json: what users' projects know of each effect, in the order of the bundle's index.
#pragma once

#include <fstream>
#include <nlohmann/json.hpp>

inline const nlohmann::json& catalogue() {
    static const nlohmann::json effects = nlohmann::json::parse(std::ifstream(CATALOGUE_FILE));
    return effects;
}
