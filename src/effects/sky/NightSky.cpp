#include "effects/sky/NightSky.h"

#include <algorithm>
#include <cmath>

#include "clk7/clk7.h"
#include "effects/sky/SkyCalendar.h"
#include "graphicslib/line_draw.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"

NightSkyInfo::NightSkyInfo() {
    declarePresets();
    ghost({&BlobScale}, DrawStyle, is(Points));
    ghost({&Sharp}, DrawStyle, isNot(BrightPoint));
    ghost({&MagScale}, IgnoreMag, isOn);
    ghost({&Streaks, &StreakLen, &StreakStrn, &StreakRot, &FRange}, DoStreaks, isOff);
    scene.inputs = {"nightroad-small.png"};
    scene.plates = {"nightroad.jpg", "nightroad-front.png"};
    // Orion goes down in the west on an evening of April, seen as the plate's lens saw the road.
    const auto evening = [](const char* scale, const char* streak) {
        return std::vector<Scene::Setting>{{"OnBlack", "off"},    {"Altitude", "10"},
                                           {"Azimuth", "246"},    {"Month", "5"},
                                           {"Day", "10"},         {"Hour", "21"},
                                           {"VField", "77"},      {"MagScale", "25"},
                                           {"BlobScale", scale},  {"DoStreaks", "on"},
                                           {"Streaks", "4"},      {"FRange", "2"},
                                           {"StreakLen", streak}, {"DrawStyle", "Bright Point"}};
    };
    scene.settings = evening("4", "12");
    scene.look = evening("9", "32");
}

std::vector<const char*> NightSkyInfo::siteNames() {
    std::vector<const char*> names;
    for (const SkySite& site : BUILT_IN_SITES) names.push_back(site.name);
    return names;
}

struct NightSky::Visible {
    float x, y;        // pixels
    float brightness;  // 0 to 1
    float colour[3];
};

namespace {

constexpr double PI = 3.141592653589793;
constexpr float RED = 0.3F, GREEN = 0.5F, BLUE = 0.2F;

// ---- Colour ---------------------------------------------------------------------------------------------------

constexpr int CLASSES = 8, DIGITS = 10;  // O B A F G K M, others, and digits 0 to 9

// W are as hot as O; C, N, R and S are cool giants.
int spectral_class(char letter) {
    constexpr std::string_view letters = "OBAFGKM";
    if (letter == 'W') return 0;
    if (letter == 'C' || letter == 'N' || letter == 'R' || letter == 'S') return 6;
    const std::size_t found = letters.find(letter);
    return found == std::string_view::npos ? 7 : static_cast<int>(found);
}

double temperature(int spectral, int digit) {
    constexpr double hottest[] = {25000, 25000, 11000, 7500, 6000, 5000, 3500, 6000};
    constexpr double step[] = {0, 1400, 350, 150, 100, 150, 350, 0};
    return hottest[spectral] - step[spectral] * digit;
}

struct StarColours {
    float rgb[CLASSES][DIGITS][3];

    explicit StarColours(double drain) {
        for (int spectral = 0; spectral < CLASSES; ++spectral)
            for (int digit = 0; digit < DIGITS; ++digit) {
                double xyz[3], mix[3];
                black_body_xyz(temperature(spectral, digit), xyz);
                mix_of_primaries(DEFAULT_PRIMARIES, xyz, mix);
                for (double& c : mix) c = std::clamp(c, 0.0, 1.0);
                const double most = std::max({mix[0], mix[1], mix[2]});
                for (int c = 0; c < 3; ++c)
                    rgb[spectral][digit][c] = static_cast<float>(most - (most - mix[c]) * (1.0 - drain));
            }
    }
};

// ---- Stamps ---------------------------------------------------------------------------------------------------

// A tent: 1 at the centre, 0 at the radius along both axes.
struct Blob {
    float x, y, radius_x, radius_y;  // pixels

    // Calls work(x, weight) for the pixels of row y where the weight is above 0.
    template <class Work>
    void row(int y_pixel, int width, const Work& work) const {
        const float up = 1.0F - std::fabs(static_cast<float>(y_pixel) + 0.5F - y) / radius_y;
        if (!(up > 0.0F)) return;
        const float limit = static_cast<float>(width);
        const int first = static_cast<int>(std::clamp(x - radius_x, 0.0F, limit));
        const int last = static_cast<int>(std::clamp(x + radius_x + 1.0F, 0.0F, limit));
        for (int i = first; i < last; ++i) {
            const float across = 1.0F - std::fabs(static_cast<float>(i) + 0.5F - x) / radius_x;
            if (across > 0.0F) work(i, across * up);
        }
    }
    // Rows that it may touch, within [first, last].
    template <class Work>
    void rows(int first, int last, const Work& work) const {
        const auto from = static_cast<float>(first), to = static_cast<float>(last);
        if (!(radius_x > 0.0F) || y + radius_y < from || y - radius_y > to + 1.0F) return;
        const int begin = static_cast<int>(std::clamp(y - radius_y, from, to));
        const int end = static_cast<int>(std::clamp(y + radius_y, from, to));
        for (int i = begin; i <= end; ++i) work(i);
    }
};

void cover(float* pixel, const float (&colour)[3], float weight) {
    const float alpha = RED * colour[0] + GREEN * colour[1] + BLUE * colour[2];
    for (int c = 0; c < 3; ++c) pixel[c] = (1.0F - weight) * pixel[c] + weight * colour[c];
    pixel[3] = (1.0F - weight) * pixel[3] + weight * alpha;
}

}  // namespace

// ---- Stars ----------------------------------------------------------------------------------------------------

void NightSky::InstanceCreated() {
    loadStars();
    PluginK7::InstanceCreated();
}

void NightSky::useStars(std::vector<CatalogueStar> stars) {
    useList(std::make_shared<const std::vector<CatalogueStar>>(std::move(stars)));
}

void NightSky::useList(StarList stars) {
    m_stars = std::move(stars);
    m_sites.assign(std::begin(BUILT_IN_SITES), std::end(BUILT_IN_SITES));
    m_loaded = true;
}

void NightSky::loadStars() {
    if (m_loaded) return;
    const StageTimer timer("NightSky catalogue");
    useList(shared_stars({data_file("fk5.dat"), data_file("fk5_ext.dat")}));
    const std::string sites = data_file("location.dat");
    const bool known = read_sites(sites, m_sites);
    if (!known) Trace(TRACE_WARN, "Error in loading location Data\n");
    const std::string folder = path_directory(sites);
    Trace(TRACE_DEBUG, "datapath=[%s], catcount=%d\n", folder.c_str(), static_cast<int>(m_stars->size()));
    Trace(TRACE_DEBUG, "datapath=[%s], loccount=%d\n", folder.c_str(), static_cast<int>(m_sites.size()));
}

// What the controls say of the place and the time has signs of its own; see their sentences.
StarPlaces NightSky::placesNow() const {
    const double minutes = LatitudeM.limited() / 60.0;
    const int degrees = LatitudeD.value;
    const double latitude = degrees == 0  ? minutes
                            : degrees < 0 ? degrees - std::fabs(minutes)
                                          : degrees + std::fabs(minutes);
    double longitude = LongitudeD.value + LongitudeM.limited() / 60.0;
    if (degrees < 0) longitude = -longitude;
    const double hours = std::floor(Hour.limited()) + Minute.limited() / 60.0;
    const double julian = julian_date(Year.value, Month.value - 1, Day.value, hours) + UTOffset.limited() / 24.0 +
                          currentFrame * 0.000695 * OverTime.limited() * 0.1;
    return {julian, latitude, longitude};
}

std::vector<NightSky::Visible> NightSky::visibleStars(const K7Image& frame, int faintest, double fading) const {
    const StageTimer timer("NightSky places");
    constexpr int BLOCK = 256;
    const StarPlaces places = placesNow();
    const StarColours colours(IgnoreSpec.limited() * 0.01);
    const double half = VField.limited() * 0.5, altitude = Altitude.limited(), azimuth = Azimuth.limited();
    const double scale = std::max(frame.width, frame.height) / 1.5 / k7_tan(half * (PI / 180.0));
    const double base = 1.0 / (1.0 + fading * 1.512 / 100.0);
    const int blocks = (static_cast<int>(m_stars->size()) + BLOCK - 1) / BLOCK;
    std::vector<std::vector<Visible>> found(static_cast<std::size_t>(blocks));
    eachRow(blocks, [&](int block) {
        const std::size_t first = static_cast<std::size_t>(block) * BLOCK;
        const std::size_t last = std::min(first + BLOCK, m_stars->size());
        for (std::size_t i = first; i < last; ++i) {
            const CatalogueStar& star = (*m_stars)[i];
            if (!(star.magnitude <= static_cast<float>(faintest))) continue;
            const Horizontal seen = places.place(star.position);
            const double up = seen.altitude - altitude, across = std::remainder(seen.azimuth - azimuth, 360.0);
            if (!(std::fabs(up) <= half) || !(std::fabs(across) <= half)) continue;
            Visible point{};
            point.x = static_cast<float>(frame.width * 0.5 + k7_tan(across * (PI / 180.0)) * scale);
            point.y = static_cast<float>(frame.height * 0.5 + k7_tan(up * (PI / 180.0)) * scale);
            const double magnitude = static_cast<double>(star.magnitude);
            point.brightness = IgnoreMag.value || magnitude <= 0.0 ? 1.0F : k7_pow_float(base, magnitude);
            std::copy_n(colours.rgb[spectral_class(star.letter)][star.digit], 3, point.colour);
            found[static_cast<std::size_t>(block)].push_back(point);
        }
    });
    std::vector<Visible> all;
    for (const std::vector<Visible>& part : found) all.insert(all.end(), part.begin(), part.end());
    return all;
}

// ---- Drawing --------------------------------------------------------------------------------------------------

// A layer of single pixels, of which a later star replaces an earlier one, over the picture; straight alpha.
void NightSky::drawPoints(const std::vector<Visible>& stars, K7Image& picture) const {
    const ImagePtr layer = made(make_image(picture.width, picture.height, 4, SAMPLE_F32));
    for (const Visible& star : stars) {
        if (!(star.x >= 0.0F && star.x < static_cast<float>(picture.width))) continue;
        if (!(star.y >= 0.0F && star.y < static_cast<float>(picture.height))) continue;
        float* pixel = image_row<float>(layer.get(), static_cast<int>(star.y)) + 4 * static_cast<int>(star.x);
        std::copy_n(star.colour, 3, pixel);
        pixel[3] = star.brightness;
    }
    eachRow(picture.height, [&](int y) {
        const float* over = image_row<float>(layer.get(), y);
        float* out = image_row<float>(&picture, y);
        for (int x = 0; x < picture.width; ++x, over += 4, out += 4) {
            const float cover = over[3], under = out[3] * (1.0F - cover), alpha = cover + under;
            if (cover <= 0.0F) continue;
            for (int c = 0; c < 3; ++c) out[c] = (over[c] * cover + out[c] * under) / alpha;
            out[3] = alpha;
        }
    });
}

void NightSky::drawBlobs(const std::vector<Visible>& stars, K7Image& picture) const {
    const float aspect = picture.pixel_aspect;
    const float size = static_cast<float>(BlobScale.limited()) / picture.unit_scale;
    const float core = static_cast<float>(Sharp.limited() * 0.01);
    constexpr float WHITE[] = {1.0F, 1.0F, 1.0F};
    for_rows_float(picture.height, [&](int first, int last) {
        for (const Visible& star : stars) {
            if (abortRequested()) return;
            const float radius = star.brightness * size;
            const Blob soft{star.x, star.y, radius / aspect, radius};
            soft.rows(first, last, [&](int y) {
                float* row = image_row<float>(&picture, y);
                soft.row(y, picture.width, [&](int x, float w) { cover(row + 4 * x, star.colour, w); });
            });
            if (DrawStyle.value != BrightPoint) continue;
            const Blob bright{star.x, star.y, radius * core / aspect, radius * core};
            bright.rows(first, last, [&](int y) {
                float* row = image_row<float>(&picture, y);
                bright.row(y, picture.width, [&](int x, float w) { cover(row + 4 * x, WHITE, w); });
            });
        }
    });
}

// Every lit pixel of the brighter stars throws spokes, as long as it is bright.
void NightSky::addTwinkle(K7Image& picture) const {
    constexpr double FADING = 10.0;
    constexpr float RADIUS = 3.0F, FADE_START = 0.85F;
    constexpr struct {
        double angle;
        float length;
    } SPOKES[] = {{0, 1},          {PI / 2, 1},         {PI / 4, 0.55F},     {3 * PI / 4, 0.55F},
                  {PI / 8, 0.15F}, {3 * PI / 8, 0.15F}, {5 * PI / 8, 0.15F}, {7 * PI / 8, 0.15F}};
    const float aspect = picture.pixel_aspect, strength = static_cast<float>(StreakStrn.limited() * 0.01);
    const int entries = static_cast<int>(static_cast<float>(StreakLen.value) / picture.unit_scale / aspect);
    if (entries <= 0 || Streaks.value <= 0 || !(strength > 0.0F)) return;
    const StageTimer timer("NightSky twinkle");
    const std::vector<Visible> stars = visibleStars(picture, FRange.value, FADING);
    if (stars.empty()) return;

    const ImagePtr layer = made(make_image(picture.width, picture.height, 4, SAMPLE_F32));
    for (const Visible& star : stars) {
        const float radius = star.brightness * RADIUS / picture.unit_scale;
        const Blob blob{star.x, star.y, radius / aspect, radius};
        blob.rows(0, picture.height - 1, [&](int y) {
            float* row = image_row<float>(layer.get(), y);
            blob.row(y, picture.width, [&](int x, float w) {
                for (int c = 0; c < 3; ++c) row[4 * x + c] = w * star.colour[c];
            });
        });
    }
    const int half = (entries + 1) / 2;  // the drawing wants an even number of entries
    std::vector<float> table(static_cast<std::size_t>(6 * half));
    for (int i = 0; i < 2 * half; ++i)
        std::fill_n(&table[static_cast<std::size_t>(3 * i)], 3,
                    std::max(1.0F - static_cast<float>(i) / static_cast<float>(entries), 0.0F) * strength);
    const ImagePtr light = made(make_image(picture.width, picture.height, 3, SAMPLE_F32));
    for_rows_float(picture.height, [&](int first, int last) {
        if (first > last) return;
        StreakLineDraw line(light.get(), table.data(), half, FADE_START);
        if (!line.set_clip(0, first, picture.width - 1, last)) return;
        const int reach = static_cast<int>(static_cast<float>(entries + 1) * std::max(aspect, 1.0F)) + 2;
        for (int y = std::max(first - reach, 0); y <= std::min(last + reach, picture.height - 1); ++y) {
            if (abortRequested()) return;
            const float* row = image_row<float>(layer.get(), y);
            for (int x = 0; x < picture.width; ++x, row += 4) {
                const float luminance = RED * row[0] + GREEN * row[1] + BLUE * row[2];
                if (!(luminance > 0.0F)) continue;
                for (int i = 0; i < Streaks.value; ++i) {
                    const double angle = SPOKES[i].angle + StreakRot.limited() * (PI / 180.0);
                    const K7SineCosine turn = k7_sine_cosine(angle);
                    const float length = static_cast<float>(entries + 1) * SPOKES[i].length * luminance;
                    const float dx = static_cast<float>(turn.cosine) * length;
                    const float dy = static_cast<float>(turn.sine) * length * aspect;
                    const auto px = static_cast<float>(x), py = static_cast<float>(y);
                    line.draw(px, py, px + dx, py + dy);
                    line.draw(px, py, px - dx, py - dy);
                }
            }
        }
    });
    eachRow(picture.height, [&](int y) {
        const float* added = image_row<float>(light.get(), y);
        float* out = image_row<float>(&picture, y);
        for (int x = 0; x < picture.width; ++x, added += 3, out += 4) {
            const float luminance = RED * added[0] + GREEN * added[1] + BLUE * added[2];
            if (!(luminance > 0.0F)) continue;
            for (int c = 0; c < 3; ++c) out[c] = std::max(out[c] + added[c], 0.0F);
            out[3] = std::clamp(out[3] + luminance, 0.0F, 1.0F);
        }
    });
}

void NightSky::ProcessFrame() {
    loadStars();
    const StageTimer timer("NightSky (CPU)");
    K7Image* picture = output.image.get();  // begins as a copy of the input
    if (OnBlack.value)
        eachRow(picture->height, [&](int y) { std::fill_n(image_row<float>(picture, y), 4 * picture->width, 0.0F); });
    const std::vector<Visible> stars = visibleStars(*picture, MinMag.value, MagScale.limited());
    if (DrawStyle.value == Points)
        drawPoints(stars, *picture);
    else
        drawBlobs(stars, *picture);
    if (DoStreaks.value) addTwinkle(*picture);
}

// ---- Interface ------------------------------------------------------------------------------------------------

void NightSky::ControlChanged(ControlK7& control) {
    int number = 0;
    if (&control != &Location || !Location.currentIndex(&number) || number < 0 || number >= SKY_SITES) return;
    const SkySite site = m_loaded ? m_sites[static_cast<std::size_t>(number)] : BUILT_IN_SITES[number];
    const auto split = [](double angle, const IntegerControlK7& degrees, const FloatControlK7& minutes) {
        const int whole = static_cast<int>(std::clamp(angle, -180.0, 180.0));
        degrees.SetValue(whole);
        minutes.SetValue(std::round((angle - whole) * 60.0 * 1e6) / 1e6);
    };
    split(site.latitude, LatitudeD, LatitudeM);
    split(site.longitude, LongitudeD, LongitudeM);
    UTOffset.SetValue(site.offset);
}
