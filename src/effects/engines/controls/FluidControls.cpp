#include "effects/engines/controls/FluidControls.h"

#include <algorithm>

#include "k7pi_baselib/portable_math.h"

FluidWindControls::FluidWindControls(EffectInfo* owner, const Given& given)
    : on(owner, {("WindOn" + given.letter).c_str(), ("Wind " + given.letter).c_str()},
         ("Lets wind " + given.letter + " push the fluid.").c_str()),
      start(
          owner,
          {("WindStart" + given.letter).c_str(), ("Wind Start " + given.letter).c_str(), given.start.x, given.start.y},
          "Point that the wind blows from, as fractions of the width and height of the picture."),
      end(owner, {("WindEnd" + given.letter).c_str(), ("Wind End " + given.letter).c_str(), given.end.x, given.end.y},
          "Point that the wind blows towards, as fractions of the width and height of the picture."),
      strength(owner,
               {("WindStrength" + given.letter).c_str(), ("Wind Strength " + given.letter).c_str(), given.strength, 0.0,
                1.0},
               "How hard the wind pushes; 0 is not at all."),
      tightness(
          owner, {("WindTight" + given.letter).c_str(), ("Wind Tight " + given.letter).c_str(), 1.0, 0.0, 200.0},
          "How closely the wind keeps to its line, as the exponent of a power: 0 pushes all that lies ahead alike."),
      local(controlIf<CheckboxControlK7>(
          given.canDieAway, owner,
          CheckboxParam{("WindLocal" + given.letter).c_str(), ("Wind Local " + given.letter).c_str(), true},
          "Lets the wind die away towards its end; otherwise it blows on beyond it.")),
      arrow(owner, start, end, true) {
    on.followedByOverlay = true;
    owner->ghost({&start, &end, &strength, &tightness}, on, isOff);
    if (local) owner->ghost({&*local}, on, isOff);
}

VortexControls::VortexControls(EffectInfo* owner, const Given& given)
    : on(owner, {("VortexOn" + given.letter).c_str(), ("Vortex " + given.letter).c_str()},
         ("Lets vortex " + given.letter + " turn the fluid.").c_str()),
      strength(owner,
               {("VortexStrength" + given.letter).c_str(), ("Vortex Strength " + given.letter).c_str(), given.strength,
                -1.0, 1.0},
               "How hard the vortex turns the fluid, anticlockwise; below 0 clockwise."),
      centre(owner,
             {("VortexCenter" + given.letter).c_str(), ("Vortex Center " + given.letter).c_str(), given.centre.x,
              given.centre.y},
             "Centre of the vortex, as fractions of the width and height of the picture."),
      radius(owner,
             {("VortexRadius" + given.letter).c_str(), ("Vortex Radius " + given.letter).c_str(), given.radius, 0.001,
              given.largest},
             "Distance from the centre beyond which the vortex turns nothing, in widths of the picture along x and in "
             "heights along y."),
      circle(owner, centre, radius) {
    on.followedByOverlay = true;
    owner->ghost({&strength, &centre, &radius}, on, isOff);
}

// ---- The handle of a vortex -----------------------------------------------------------------------------------

double VortexOverlayK7::reachOf(Point place) const {
    const double x = place.x / std::max(view().width, 1) - m_centre.overlayX;
    const double y = place.y / std::max(view().height, 1) - m_centre.overlayY;
    return k7_hypot(x, y);
}
Point VortexOverlayK7::partPlace(int part, Point towards) const {
    if (part == 1) return middle();
    const double reach = reachOf(towards);
    if (!(reach > 0.0)) return view().place(m_centre.overlayX + m_radius.overlayValue, m_centre.overlayY);
    return middle() + (towards - middle()) * static_cast<float>(m_radius.overlayValue / reach);
}
// The outline, where a side of the picture is nearer to the centre than it and a corner farther.
bool VortexOverlayK7::inPicture(int part) const {
    if (part == 1) return OverlayControlK7::inPicture(part);
    const auto width = static_cast<float>(view().width), height = static_cast<float>(view().height);
    const Point centre = middle();
    double most = 0.0;
    for (const Point corner : {Point{0, 0}, Point{width, 0}, Point{0, height}, Point{width, height}})
        most = std::max(most, reachOf(corner));
    const double least = reachOf({std::clamp(centre.x, 0.0F, width), std::clamp(centre.y, 0.0F, height)});
    return least <= m_radius.overlayValue && m_radius.overlayValue <= most;
}
std::vector<ControlK7*> VortexOverlayK7::partControls(int part) const {
    if (part == 1) return {&m_centre};
    return {&m_radius};
}
void VortexOverlayK7::moveTo(int part, Point pen) {
    if (part == 1) {
        m_centre.overlayX = static_cast<double>(pen.x) / std::max(view().width, 1);
        m_centre.overlayY = static_cast<double>(pen.y) / std::max(view().height, 1);
    } else {
        m_radius.overlayValue = std::clamp(reachOf(pen), m_radius.min(), m_radius.max());
    }
}
void VortexOverlayK7::draw(const OverlayPen& pen) const {
    const Point radii = view().place(m_radius.overlayValue, m_radius.overlayValue);
    pen.ellipse(middle(), radii.x, radii.y, 0.0F, false);
    pen.handle(middle(), hovered == 1);
}
