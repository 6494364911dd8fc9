#include "effects/light/FlareLens.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iterator>
#include <string_view>

#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr LensSurface ANGULON_21[] = {{50, 15, 0.4F},  {8, 12, 1.2F},   {15, 7.5F, 0.8F}, {9, 6, 1.5F},
                                      {-5, 2, 1.2F},   {0, 1, 0.7F},    {0, -1, 1.3F},    {11, -2, 0.4F},
                                      {-11, -4.5F, 1}, {-16, -7.5F, 1}, {-9, -12, 1},     {-70, -15, 0.5F}};
constexpr LensSurface SUMMICRON_35[] = {{20, 10, 0.3F},  {32, 8, 0.6F}, {16, 7.5F, 0.4F}, {0, 5, 1},
                                        {10, 4, 0.7F},   {-10, -3, 1},  {-32, -5, 0.8F},  {-14, -7, 1},
                                        {-60, -7, 1.2F}, {-25, -9, 1}};
constexpr LensSurface SUMMILUX_50[] = {{32, 17, 1},    {66, 13.5F, 1}, {17, 11.5F, 0.7F}, {27, 7, 1},
                                       {100, 6, 0.4F}, {13, 4, 1},     {-13, -4, 0.6F},   {-65, -5, 1},
                                       {-20, -7, 1},   {52, -8, 0.5F}, {-12, -12, 1},     {-38, -13, 1}};
constexpr LensSurface TELE_ELMAR_135[] = {{22, 19, 1}, {0, 15.5F, 1}, {30, 14, 0.3F}, {16, 13, 1},
                                          {-37, 9, 1}, {14, 2, 1},    {14, -6, 1},    {14, -7.5F, 0.4F}};

}  // namespace

LensSurfaces built_in_lens(int number) {
    const auto listed = [](const auto& lens) { return LensSurfaces(std::begin(lens), std::end(lens)); };
    switch (number) {
        case 0:
            return listed(ANGULON_21);
        case 2:
            return listed(SUMMILUX_50);
        case 3:
            return listed(TELE_ELMAR_135);
        default:
            return listed(SUMMICRON_35);
    }
}

namespace {

bool take_number(std::string_view& text, double& value) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    if (text.starts_with('+')) text.remove_prefix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return error == std::errc() && std::fabs(value) < 1e9;
}

// The numbers that the next line begins with; false where it has too few.
template <class... Numbers>
bool take_line(std::string_view& text, Numbers&... numbers) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return (take_number(line, numbers) && ...);
}

}  // namespace

std::optional<LensSurfaces> read_lens(const std::string& file) {
    constexpr std::size_t MOST = 65536;  // bytes, of which 50 lines need few
    if (file_size(file.c_str()) < 0) return {};
    std::ifstream in(file, std::ios::binary);
    std::string bytes(MOST, '\0');
    in.read(bytes.data(), MOST);
    std::string_view text(bytes.data(), static_cast<std::size_t>(in.gcount()));
    double count = 0.0;
    if (!take_line(text, count)) return {};
    LensSurfaces lens;
    for (int i = std::clamp(static_cast<int>(count), 1, MOST_LENS_LINES); i > 0; --i) {
        double radius = 0.0, axial = 0.0, aperture = 0.0;
        if (!take_line(text, radius, axial, aperture)) return {};
        lens.push_back({static_cast<float>(radius), static_cast<float>(axial), static_cast<float>(aperture)});
    }
    return lens;
}

std::string lens_file(const std::string& name) {
    const bool extended = name.find('.', name.find_last_of(PATH_SEP) + 1) != std::string::npos;
    const std::string full = extended ? name : name + ".txt";
    return full.front() == PATH_SEP ? full : data_file(full);
}

LensSurfaces normalised(const LensSurfaces& lens) {
    LensSurfaces result = lens;
    if (lens.empty()) return result;
    const float first = lens.front().axial, last = lens.back().axial, range = first - last;
    const float scale = range == 0.0F ? 1.0F : 2.0F / range;
    for (LensSurface& surface : result) {
        surface.axial = range == 0.0F ? 0.0F : (surface.axial - 0.5F * (first + last)) * scale;
        surface.radius *= scale;
    }
    return result;
}

namespace {

bool meet_plane(double axial, const LensRay& ray, double& way) {
    constexpr double PARALLEL = 1e-5;
    if (std::fabs(ray.dz) < PARALLEL) return false;
    way = (axial - ray.z) / ray.dz;
    return way >= 0.0;
}

// The roots by the sum that does not cancel, and by the product of both.
bool meet_sphere(const LensSurface& surface, const LensRay& ray, double& way) {
    const double radius = static_cast<double>(surface.radius), centre = static_cast<double>(surface.axial) - radius;
    const double z = ray.z - centre;
    const double b = ray.x * ray.dx + ray.y * ray.dy + z * ray.dz;
    const double c = ray.x * ray.x + ray.y * ray.y + z * z - radius * radius;
    const double inside = b * b - c;
    if (!(inside >= 0.0)) return false;
    const double sum = -b - std::copysign(std::sqrt(inside), b), other = sum == 0.0 ? 0.0 : c / sum;
    const double near = std::min(sum, other), far = std::max(sum, other);
    way = near >= 0.0 ? near : far;
    if (!(way >= 0.0)) return false;
    const double met = z + way * ray.dz;
    return radius > 0.0 ? met >= 0.0 : met <= 0.0;
}

}  // namespace

bool meet(const LensSurface& surface, const LensRay& ray, double& x, double& y) {
    double way = 0.0;
    const bool met = surface.radius == 0.0F ? meet_plane(static_cast<double>(surface.axial), ray, way)
                                            : meet_sphere(surface, ray, way);
    if (!met) return false;
    x = ray.x + way * ray.dx, y = ray.y + way * ray.dy;
    return true;
}
