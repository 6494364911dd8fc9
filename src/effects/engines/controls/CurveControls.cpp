#include "effects/engines/controls/CurveControls.h"

#include <utility>

namespace {

CurvePointControlK7 point(EffectInfo* owner, const CurveControls::Given& given, std::size_t i) {
    const std::string number = std::to_string(i + 1), name = given.name + number;
    const std::string sentence = "Point " + number + " of the curve from " + given.from + " to " + given.to +
                                 ": its height is the " + given.to + " at " + number + "/7 of the full " + given.from +
                                 ", 0 to 1" + given.note + "; its place across only tells the order of the points.";
    return CurvePointControlK7(owner, {name.c_str(), name.c_str(), given.points[i].x, given.points[i].y},
                               sentence.c_str());
}

FloatControlK7 presetNumber(EffectInfo* owner, const CurveControls::Given& given, std::size_t i) {
    return FloatControlK7(owner, {given.presetNumbers[i], "", 0.0, 0.0, 10000.0, {.secret = true}},
                          "Number of the preset that the curve comes from; hidden.");
}

template <std::size_t... I>
std::array<CurvePointControlK7, sizeof...(I)> points_of(EffectInfo* owner, const CurveControls::Given& given,
                                                        std::index_sequence<I...>) {
    return {point(owner, given, I)...};
}

}  // namespace

CurveControls::CurveControls(EffectInfo* owner, const Given& given)
    : points(points_of(owner, given, std::make_index_sequence<POINTS>())),
      presetNumbers{presetNumber(owner, given, 0), presetNumber(owner, given, 1)},
      widget(owner, {&points[0], &points[1], &points[2], &points[3], &points[4], &points[5]}, given.colour) {}

ControlCurve CurveControls::curve() const {
    std::array<CurvePoint, POINTS> values{};
    for (std::size_t i = 0; i < POINTS; ++i) values[i] = {points[i].x, points[i].y};
    return ControlCurve(values);
}
