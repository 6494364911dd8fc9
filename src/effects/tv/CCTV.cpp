#include "effects/tv/CCTV.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>

#include "effects/engines/television/Monitor.h"
#include "effects/engines/television/Video.h"
#include "effects/tv/SurveillanceCamera.h"
#include "graphicslib/bit_text.h"
#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr int CAMERAS = 4, GLITCH_FRAMES = 5;
constexpr int FEWEST_COLUMNS = 16, MOST_COLUMNS = 4096;

// White letters with a black border, as generators of captions write them.
void write(K7Image& picture, const std::string& text, float x, float y, float size, TextAnchor anchor) {
    if (text.empty()) return;
    BitText letters;
    letters.set_transparent(true);
    const float black[] = {0.02F, 0.02F, 0.02F, 1.0F}, white[] = {0.92F, 0.92F, 0.92F, 1.0F};
    const float border = std::max(std::round(size / BitText::CELL_HEIGHT), 1.0F);
    const auto draw = [&](float at_x, float at_y) {
        made(letters.draw(text.c_str(), &picture, at_x, at_y, size, anchor) > 0.0F);
    };
    letters.set_text_colour(black, 4);
    for (const auto& [dx, dy] : {std::pair{-1, 0}, {1, 0}, {0, -1}, {0, 1}})
        draw(x + border * static_cast<float>(dx), y + border * static_cast<float>(dy));
    letters.set_text_colour(white, 4);
    draw(x, y);
}

float width_of(const std::string& text, float size) {
    return static_cast<float>(text.size()) * BitText::CELL_WIDTH * size / BitText::CELL_HEIGHT;
}

void fill(K7Image& picture, float red, float green, float blue) {
    for (int y = 0; y < picture.height; ++y) {
        float* p = image_row<float>(&picture, y);
        for (int x = 0; x < picture.width; ++x, p += 4) p[0] = red, p[1] = green, p[2] = blue, p[3] = 1.0F;
    }
}

void paste(const K7Image& part, K7Image& picture, int left, int bottom) {
    const int width = std::min<int>(part.width, picture.width - left);
    for (int y = 0; y < part.height && bottom + y < picture.height; ++y)
        std::copy_n(image_row<float>(&part, y), 4 * std::max(width, 0),
                    image_row<float>(&picture, bottom + y) + 4 * left);
}

}  // namespace

// ---- Declaration ----------------------------------------------------------------------------------------------

CCTVInfo::CCTVInfo() {
    ghost({&Camera}, View, isNot(OneCamera));
    ghost({&Dwell, &CutGlitch}, View, isNot(Switcher));
    ghost({&LampRadius}, Infrared, isOff);
    ghost({&Colour}, Infrared, isOn);
    ghost({&CameraName}, ShowName, isOff);
    ghost({&DateStyle}, ShowClock, isOff);
    Infrared.followedByOverlay = true;
    lampWidget.colour = OVERLAY_YELLOW;
    declarePresets();
    scene.inputs = {"street-small.png"};
    scene.settings = {{"Lines", "240"}, {"Tracking", "40"}, {"DropOuts", "6"}};
    scene.frame = 40;
    scene.plates = {"street.jpg"};
    scene.look = {{"Demos", "Car Park Night"}};
}

void CCTV::PrepareOverlay() { lampWidget.visible = !Infrared.ghosted() && !LampRadius.ghosted(); }

// ---- The system -----------------------------------------------------------------------------------------------

struct CCTV::Moment {
    VideoMoment faults;
    long frame;  // of the shot
    double seconds;
    int camera;  // of the view, from 0
    bool connected[CAMERAS];
    float glitch;  // 1 at the switcher's cut, 0 some frames later
};

CCTV::Moment CCTV::momentNow() const {
    Moment now{};
    now.frame = static_cast<long>(std::floor(currentFrame + 0.5));
    now.seconds = static_cast<double>(now.frame) / ClockRate.limited();
    now.faults = {.seed = static_cast<std::uint32_t>(Seed.value),
                  .frame = Animate.value ? static_cast<int>(now.frame) : 0,
                  .seconds = Animate.value ? now.seconds : 0.0};
    const ClipRecord* clips[] = {&clip1, &clip2, &clip3, &clip4};
    int connected[CAMERAS], count = 0;
    for (int i = 0; i < CAMERAS; ++i)
        if ((now.connected[i] = i == 0 || clips[i]->isConnected())) connected[count++] = i;
    now.camera = std::clamp(Camera.value, 1, CAMERAS) - 1;
    if (View.value != Switcher) return now;
    const double turns = now.seconds / Dwell.limited(), turn = std::floor(turns);
    const double place = turn - count * std::floor(turn / count);  // of the list, before frame 0 too
    now.camera = connected[std::clamp(static_cast<int>(place), 0, count - 1)];
    const double frames = (turns - turn) * Dwell.limited() * ClockRate.limited();
    if (count > 1 && Animate.value)
        now.glitch = CutGlitch.percent() * static_cast<float>(std::max(1.0 - frames / GLITCH_FRAMES, 0.0));
    return now;
}

// A camera's picture, with its captions, at the size given; a card where no clip is connected.
ImagePtr CCTV::shotOf(int camera, int columns, int lines, const Moment& moment) const {
    const ClipRecord* clips[] = {&clip1, &clip2, &clip3, &clip4};
    ImagePtr shot = made(make_image_uncleared(columns, lines, 4, SAMPLE_F32));
    if (moment.connected[camera]) {
        made(image_scale(clips[camera]->image.get(), shot.get(), KERNEL_TRIANGLE, true));
        const SurveillanceCamera model{.distortion = Distortion.percent(),
                                       .centre_x = static_cast<float>(std::clamp(Centre.x, -10.0, 10.0)),
                                       .centre_y = static_cast<float>(std::clamp(Centre.y, -10.0, 10.0)),
                                       .infrared = Infrared.value,
                                       .lamp_radius = static_cast<float>(LampRadius.limited()),
                                       .gain = Gain.percent(),
                                       .contrast = Contrast.percent(),
                                       .colour = Colour.percent(),
                                       .noise = Noise.percent(),
                                       .sharpening = Sharpening.percent(),
                                       .bloom = Bloom.percent(),
                                       .smear = Smear.percent()};
        VideoMoment own = moment.faults;
        own.seed = place_hash(own.seed, static_cast<std::uint32_t>(camera));
        shoot(*shot, model, own);
    } else {
        fill(*shot, 0.02F, 0.03F, 0.16F);
        write(*shot, "VIDEO LOSS", 0.5F * static_cast<float>(columns), 0.5F * static_cast<float>(lines),
              std::max(0.06F * static_cast<float>(lines), 8.0F), TextAnchor::centre);
    }
    writeCaptions(camera, *shot, moment);
    return shot;
}

ImagePtr CCTV::composed(int columns, int lines, const Moment& moment) const {
    if (View.value != Quad) return shotOf(moment.camera, columns, lines, moment);
    ImagePtr picture = made(make_image_uncleared(columns, lines, 4, SAMPLE_F32));
    fill(*picture, 0.55F, 0.55F, 0.55F);
    const int gap = std::max(lines / 240, 1), width = std::max((columns - gap) / 2, 1),
              height = std::max((lines - gap) / 2, 1);
    for (int camera = 0; camera < CAMERAS; ++camera) {
        const int left = camera % 2 == 0 ? 0 : columns - width, bottom = camera < 2 ? lines - height : 0;
        paste(*shotOf(camera, width, height, moment), *picture, left, bottom);
    }
    return picture;
}

// ---- Captions -------------------------------------------------------------------------------------------------

void CCTV::writeCaptions(int camera, K7Image& picture, const Moment& moment) const {
    using namespace std::chrono;
    const auto width = static_cast<float>(picture.width), height = static_cast<float>(picture.height);
    // Whole multiples of the font's height, where there are that many lines: its strokes stay even.
    const float wanted = TextSize.percent() * height * (View.value == Quad ? 1.6F : 1.0F);
    constexpr float CELL = BitText::CELL_HEIGHT;
    const float size = wanted >= CELL ? CELL * std::round(wanted / CELL) : std::max(std::round(wanted), 6.0F);
    const auto x = static_cast<float>(std::clamp(CaptionPos.x, -2.0, 3.0)) * width;
    const auto y = static_cast<float>(std::clamp(CaptionPos.y, -2.0, 3.0)) * height;
    float end = x;
    if (ShowName.value) {
        std::string name;
        for (const char c : CameraName.text.substr(0, 40))
            name += c == '#' ? std::to_string(camera + 1) : std::string(1, c);
        write(picture, name, x, y, size, TextAnchor::left);
        end = x + width_of(name + " ", size);
    }
    const bool first = View.value != Quad || camera == 0;
    if (ShowRec.value && first && moment.seconds - std::floor(moment.seconds) < 0.5)
        write(picture, "REC", end, y, size, TextAnchor::left);
    if (!ShowClock.value || !first) return;
    const year_month_day begin{year(Year.value), month(static_cast<unsigned>(Month.value)), day(1)};
    const auto start =
        sys_days(begin) + days(Day.value - 1) + hours(Hour.value) + minutes(Minute.value) + seconds(Second.value);
    const auto now = time_point_cast<seconds>(start) + seconds(static_cast<long>(std::floor(moment.seconds)));
    const auto today = floor<days>(now);
    const year_month_day date{today};
    const hh_mm_ss clock{now - today};
    const int y4 = int(date.year());
    const unsigned m2 = unsigned(date.month()), d2 = unsigned(date.day());
    char text[64] = "";
    switch (DateStyle.value) {
        case 1:
            std::snprintf(text, sizeof text, "%02u-%02u-%04d ", d2, m2, y4);
            break;
        case 2:
            std::snprintf(text, sizeof text, "%02u-%02u-%04d ", m2, d2, y4);
            break;
        case 3:
            std::snprintf(text, sizeof text, "%04d-%02u-%02u ", y4, m2, d2);
            break;
        default:
            break;
    }
    std::string line = text;
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", int(clock.hours().count()), int(clock.minutes().count()),
                  int(clock.seconds().count()));
    line += text;
    write(picture, line, x, height - y, size, TextAnchor::left);
}

// ---- The picture ----------------------------------------------------------------------------------------------

void CCTV::ProcessFrame() {
    const StageTimer timer("CCTV (CPU)");
    const K7Image& source = *clip1.image;
    const int lines = std::clamp(Lines.value, Lines.min(), Lines.max());
    const double aspect = double(source.width) * double(source.pixel_aspect) / source.height;
    const int columns =
        static_cast<int>(std::clamp(std::round(lines * aspect), double(FEWEST_COLUMNS), double(MOST_COLUMNS)));
    const auto across = static_cast<float>(columns);
    const Moment moment = momentNow();

    VideoFrame video(*composed(columns, lines, moment));
    if (abortRequested()) return;
    play_tape(video,
              {.generations = Generations.value,
               .jitter = (Jitter.percent() + 2.0F * moment.glitch) * 0.02F * across,
               .skew = (Skew.percent() + moment.glitch) * 0.1F * across,
               .head_switch = static_cast<float>(HeadSwitch.limited()),
               .tracking = Tracking.percent(),
               .drop_outs = static_cast<float>(DropOuts.limited()),
               .chroma_delay = Generations.value > 0 ? static_cast<float>(ChromaDelay.limited()) : 0.0F},
              moment.faults);
    if (abortRequested()) return;
    add_ghost(video, Ghost.percent(), GhostDelay.percent() * across);
    const float starved = Compression.percent();
    compress_blocks(video, 14.0F * starved * starved + 1.5F * starved);
    VideoMoment quarter = moment.faults;
    quarter.frame = static_cast<int>(std::floor(moment.faults.seconds * 4.0));
    misplace_blocks(video, BlockErrors.percent(), quarter);
    add_snow(video, std::min(Snow.percent() + 0.5F * moment.glitch, 1.0F), moment.faults);
    if (abortRequested()) return;

    const double climbs = moment.faults.seconds / 8.0, rolls = moment.faults.seconds * Roll.limited() / 100.0;
    show_on_monitor(*video.image(),
                    {.scan_lines = ScanLines.percent(),
                     .hum = HumBar.percent(),
                     .hum_place = static_cast<float>(climbs - std::floor(climbs)),
                     .roll = static_cast<float>(rolls - std::floor(rolls)) + 0.4F * moment.glitch * moment.glitch,
                     .curvature = 0.12F * Curvature.percent(),
                     .vignette = Vignette.percent(),
                     .tint = {Tint.red, Tint.green, Tint.blue}},
                    *output.image, stopRequested());
}
