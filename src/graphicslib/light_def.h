// A light: where it stands, what it shines, and how narrowly.
#pragma once

#include <string>
#include <utility>

#include "graphicslib/geometric_transform.h"

class LightDef : public GeometricTransform {
  public:
    explicit LightDef(std::string light_name) : name(std::move(light_name)) {}

    std::string name;
    float position[3] = {0, 0, 0};
    float direction[3] = {0, 0, 0};
    float red = 0, green = 0, blue = 0;
    float intensity = 1;
    float cone_half_angle = 90;  // degrees
    float exponent = 1;
};
