#include "effects/sky/StarCatalogue.h"

#include <sys/stat.h>

#include <charconv>
#include <fstream>
#include <mutex>
#include <string_view>

#include "k7pi_baselib/k7pi_baselib.h"

// As published with the effect; the latitude of Prague and the longitudes of Prague and Beijing too.
const SkySite BUILT_IN_SITES[SKY_SITES] = {{"Amsterdam", 52.35, -4.9, -1},      {"Anchorage", 61.17, 149.88, 9},
                                           {"Baghdad", 33.33, -44.43, -3},      {"Bangkok", 13.75, -100.33, -7},
                                           {"Beijing", 39.92, 116.42, -8},      {"Berlin", 52.5, -13.43, -1},
                                           {"Brussels", 50.83, -4.53, -1},      {"Budapest", 47.5, -19.0, -1},
                                           {"Chicago", 41.93, 87.63, 6},        {"Christchurch", -43.55, -172.67, -12},
                                           {"Copenhagen", 55.72, -12.57, -1},   {"Dublin", 53.33, 6.25, 0},
                                           {"Edinburgh", 55.93, 3.23, 0},       {"Hanoi", 21.02, -105.87, -7},
                                           {"Helsinki", 60.13, -25.0, -2},      {"Istanbul", 41.03, -28.98, -2},
                                           {"Johannesburg", -26.25, -28.0, -2}, {"Lagos", 6.45, -3.47, -1},
                                           {"Lisbon", 38.73, 9.13, 0},          {"London", 51.5, 0.17, 0},
                                           {"Los Angeles", 34.05, 118.23, 8},   {"Madrid", 40.42, 3.72, -1},
                                           {"Montreal", 45.52, 73.55, 5},       {"Moscow", 55.75, -37.58, -3},
                                           {"Nairobi", -1.28, -36.83, -3},      {"New York", 40.75, 74.0, 5},
                                           {"Oslo", 59.93, -10.28, -1},         {"Paris", 48.87, -2.33, -1},
                                           {"Prague", 50.83, 14.43, -1},        {"Rio de Janeiro", -22.9, 43.27, 3},
                                           {"Rome", 41.88, -12.5, -1},          {"Seoul", 37.53, -127.0, -9},
                                           {"Stockholm", 59.92, -18.08, -1},    {"Sydney", -33.54, -151.17, -10},
                                           {"Tehran", 35.66, -51.43, -3.5},     {"Tel Aviv", 32.08, -34.77, -2},
                                           {"Tokyo", 35.7, -139.77, -9},        {"Vancouver", 49.15, 123.07, 8},
                                           {"Vienna", 48.22, -16.37, -1},       {"Warsaw", 52.25, -21.0, -1}};

namespace {

// The next number of a text, in the "C" locale whatever that of the host; false where there is none.
bool take_number(std::string_view& text, double& value) {
    const std::size_t begin = text.find_first_not_of(" \t\r");
    if (begin == std::string_view::npos) return false;
    text.remove_prefix(begin);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc()) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

double column(std::string_view line, std::size_t offset, std::size_t length) {
    std::string_view text = line.substr(offset, length);
    double value = 0.0;
    return take_number(text, value) ? value : 0.0;
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool read_star(std::string_view line, CatalogueStar& star) {
    constexpr std::size_t LINE = 191, MAGNITUDE = 124, SPECTRUM = 130, PARALLAX = 138, VELOCITY = 146;
    if (line.size() != LINE) return false;
    enum { Number, Hours, Minutes, Seconds, MotionRa, Degrees, ArcMinutes, ArcSeconds, MotionDec, COUNT };
    double v[COUNT];
    bool south = false;
    std::string_view rest = line;
    for (int i = 0; i < COUNT; ++i) {
        if (i == Degrees) {  // "-00" is south of the equator too
            const std::size_t begin = rest.find_first_not_of(' ');
            south = begin != std::string_view::npos && rest[begin] == '-';
        }
        if (!take_number(rest, v[i])) return false;
    }
    const double parts = v[ArcMinutes] / 60.0 + v[ArcSeconds] / 3600.0;
    const double declination = south ? v[Degrees] - parts : v[Degrees] + parts;
    star.position = star_position(v[Hours] + v[Minutes] / 60.0 + v[Seconds] / 3600.0, declination, v[MotionRa],
                                  v[MotionDec], column(line, PARALLAX, 6), column(line, VELOCITY, 6));
    star.number = static_cast<int>(v[Number] > -1e9 && v[Number] < 1e9 ? v[Number] : 0.0);
    star.magnitude = static_cast<float>(column(line, MAGNITUDE, 5));
    star.letter = line[SPECTRUM];
    star.digit = is_digit(line[SPECTRUM + 1]) ? line[SPECTRUM + 1] - '0' : 0;
    star.marked = false;
    for (const int plough : {907, 913, 912, 590, 550, 569, 612}) star.marked = star.marked || star.number == plough;
    return true;
}

}  // namespace

void read_stars(const std::string& file, std::vector<CatalogueStar>& stars) {
    std::ifstream in(file, std::ios::binary);
    in.exceptions(std::ios::badbit);  // memory that can't be had would read as the end of the file
    CatalogueStar star{};
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (read_star(line, star)) stars.push_back(star);
    }
}

StarList shared_stars(const std::vector<std::string>& files) {
    std::string state;
    for (const std::string& file : files) {
        struct stat info {};
        const bool known = stat(file.c_str(), &info) == 0;
        state += file + '\n' + std::to_string(known ? info.st_size : -1) + ' ' + std::to_string(info.st_mtim.tv_sec) +
                 ' ' + std::to_string(info.st_mtim.tv_nsec) + '\n';
    }
    static std::mutex guard;
    static std::string latest_state;
    static std::weak_ptr<const std::vector<CatalogueStar>> latest;
    const std::lock_guard lock(guard);
    StarList list = state == latest_state ? latest.lock() : nullptr;
    if (list) return list;
    auto stars = std::make_shared<std::vector<CatalogueStar>>();
    for (const std::string& file : files) read_stars(file, *stars);
    latest = list = std::move(stars);
    latest_state = state;
    return list;
}

bool read_sites(const std::string& file, std::vector<SkySite>& sites) {
    std::ifstream in(file, std::ios::binary);
    if (!in) return false;
    in.exceptions(std::ios::badbit);
    std::size_t next = 0;
    for (std::string line; std::getline(in, line) && next < sites.size();) {
        std::string_view rest = line;
        SkySite site = sites[next];
        if (take_number(rest, site.latitude) && take_number(rest, site.longitude) && take_number(rest, site.offset))
            sites[next++] = site;
    }
    return true;
}
