// Lenses as lists of surfaces, and where a ray meets one.
#pragma once

#include <optional>
#include <string>
#include <vector>

struct LensSurface {
    float radius;    // of curvature; positive bulges towards the light, 0 is flat
    float axial;     // place on the axis, the light's side first
    float aperture;  // scale of the light's circle on it
};
using LensSurfaces = std::vector<LensSurface>;

inline constexpr int BUILT_IN_LENSES = 4;
inline constexpr int STANDARD_LENS = 1;     // what stands in for a file that can't be read
inline constexpr int MOST_LENS_LINES = 50;  // of a file

// 0 to 3: Angulon 21mm, Summicron 35mm, Summilux 50mm, Tele-Elmar 135mm. Any other: STANDARD_LENS.
LensSurfaces built_in_lens(int number);

// A text: how many surfaces there are (1 to 50), then a line for each: radius, place, aperture. Numbers have a decimal
// point in every locale. Nothing when the file can't be read, or a line lacks a number.
std::optional<LensSurfaces> read_lens(const std::string& file);

// `name` in the user's data directory, or else in the bundle's; ".txt" is added to a name without an extension.
std::string lens_file(const std::string& name);

// So many further surfaces between each two, evenly spread; `chance` gives a number from 0 to 1 for each, by which its
// aperture is smaller.
template <class Chance>
LensSurfaces with_more_surfaces(const LensSurfaces& lens, int more, const Chance& chance) {
    LensSurfaces result;
    for (std::size_t i = 0; i < lens.size(); ++i) {
        result.push_back(lens[i]);
        if (i + 1 == lens.size()) break;
        const LensSurface &a = lens[i], &b = lens[i + 1];
        for (int j = 1; j <= more; ++j) {
            const float part = static_cast<float>(j) / static_cast<float>(more + 1);
            const auto between = [part](float from, float to) { return from + (to - from) * part; };
            result.push_back({between(a.radius, b.radius), between(a.axial, b.axial),
                              between(a.aperture, b.aperture) * static_cast<float>(chance())});
        }
    }
    return result;
}

// The same lens from 1 on the axis, its first surface, to -1. One surface alone, or all in one place: in the middle.
LensSurfaces normalised(const LensSurfaces& lens);

struct LensRay {
    double x, y, z;     // where it begins
    double dx, dy, dz;  // of length 1
};

// Where a ray meets a surface of a normalised lens: the first point ahead that lies on its sphere, if that is on the
// surface's side of the sphere's centre. False where it misses.
bool meet(const LensSurface& surface, const LensRay& ray, double& x, double& y);
