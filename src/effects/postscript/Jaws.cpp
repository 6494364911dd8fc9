#include "effects/postscript/Jaws.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "graphicslib/bit_text.h"
#include "imagelib/imagelib_composite.h"
#include "jawslib/jawslib.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "simdlib/vectors.h"

using simd::Pixel;
using simd::store;

JawsInfo::JawsInfo() {
    ghost({&InOut, &Center, &MatchZooms, &ZoomWidth, &Spin}, ShowOriginal, isOff);
    const auto matched = [this] {
        int transform = 0, match = 0;
        if (ShowOriginal.GetValue(-1, &transform) && MatchZooms.GetValue(-1, &match))
            ZoomHeight.SetGhosted(transform == 0 || match != 0);
    };
    rule(ShowOriginal, matched, "Scale Y is greyed while Use Transform is off or Match XY Scale is on");
    rule(MatchZooms, matched, "Scale Y is greyed while Use Transform is off or Match XY Scale is on");
    // The scene needs no service: it shows the thumbnail.
    scene.inputs = {"trees-small.png"};
    scene.settings = {{"ViewAnyThumbnail", "on"}, {"Blend", "0.2"}};
    scene.look = {{"Oversampling", "5 (25) samples"},
                  {"ShowOriginal", "on"},
                  {"InOut", "on"},
                  {"ZoomWidth", "0.6"},
                  {"Center", "0.4,0.72"},
                  {"Spin", "-3"}};
}

namespace {

constexpr char OWN_FILE[] = "rhino.eps";  // in the data directory

// ---- What went wrong ------------------------------------------------------------------------------------------

const Pixel FAILURE_GREY = {0.235F, 0.235F, 0.235F, 1.0F};

struct Failure {
    const char* message;
    Pixel band;
};

enum FailureCode : int { NO_NAME, NO_SCRIPT, NO_EXCHANGE, NO_BOX, NO_THUMBNAIL };

const Failure FAILURES[] = {
    {"JAWS run failed (temp file setup).", {1.0F, 0.0F, 0.0F, 1.0F}},
    {"JAWS run failed (PS file write).", {0.0F, 1.0F, 0.0F, 1.0F}},
    {"JAWS run failed (see log file messages).", {0.0F, 0.0F, 1.0F, 1.0F}},
    {"grok_bounding_box() failed miserably.", {1.0F, 1.0F, 0.0F, 1.0F}},
    {"No thumbnail in the EPS file.", {1.0F, 0.0F, 1.0F, 1.0F}},
};

// ---- The thumbnail --------------------------------------------------------------------------------------------

// One axis of the fitted box: its first pixel, how many, and the steps in the thumbnail's pixels, with 16 bits behind
// the point.
struct ThumbnailAxis {
    int first, count;
    long long step;

    ThumbnailAxis(double from, double to, int pixels)
        : first(static_cast<int>(from)),
          count(std::max(static_cast<int>(to) - first, 1)),
          step((static_cast<long long>(pixels) << 16) / count) {}
    int last(int frame) const { return std::min(first + count, frame); }  // one past it
    std::size_t at(int place) const { return static_cast<std::size_t>((place - first) * step >> 16); }
};

Pixel colour_of(std::uint32_t word) {
    const auto part = [word](int shift) { return static_cast<float>(word >> shift & 255u) / 255.0F; };
    return Pixel{part(0), part(8), part(16), 1.0F};
}

// Gone with the frame, however that ends.
struct TemporaryScript {
    const std::string path;
    ~TemporaryScript() { remove_file(path.c_str()); }
};

}  // namespace

// Grey with a cross of two bands, and the message in the middle.
void Jaws::paintFailure(int code) {
    const Failure& failure = FAILURES[code];
    K7Image* picture = output.image.get();
    const int width = picture->width, height = picture->height;
    eachRow(height, [&](int y) {
        float* row = image_row<float>(picture, y);
        const double rising = static_cast<double>(y) * width / height, falling = width - rising;
        for (int x = 0; x < width; ++x) {
            const bool inBand = std::fabs(x - rising) <= 10.0 || (x - falling >= -11.0 && x - falling <= 8.0);
            store(row + 4 * x, inBand ? failure.band : FAILURE_GREY);
        }
    });
    BitText text;
    text.set_transparent(true);
    // All of the message is to be read in narrow frames too.
    constexpr float ASPECT = static_cast<float>(BitText::CELL_WIDTH) / BitText::CELL_HEIGHT, PART = 0.95F;
    const float cells = static_cast<float>(std::strlen(failure.message));
    const float size =
        std::min(static_cast<float>(height) / 20.0F, PART * static_cast<float>(width) / (cells * ASPECT));
    const float drawn =
        text.draw(failure.message, picture, static_cast<float>(width) * 0.5F, static_cast<float>(height) * 0.5F, size);
    made(drawn > 0.0F || size < 1.0F);  // smaller ones may be nothing
}

void Jaws::layThumbnail(const EpsFile& eps) {
    K7Image* picture = output.image.get();
    const EpsThumbnail& thumbnail = eps.thumbnail;
    const EpsRectangle box = fitted_box(eps.box, picture->width, picture->height);
    const ThumbnailAxis across(box.left, box.right, thumbnail.width), up(box.bottom, box.top, thumbnail.height);
    const int last = across.last(picture->width);
    eachRow(picture->height, [&](int y) {
        if (y < up.first || y >= up.last(picture->height)) return;
        const std::uint32_t* line = thumbnail.pixels.data() + up.at(y) * static_cast<std::size_t>(thumbnail.width);
        float* row = image_row<float>(picture, y);
        for (int x = std::max(across.first, 0); x < last; ++x) store(row + 4 * x, colour_of(line[across.at(x)]));
    });
}

// ---- The service ----------------------------------------------------------------------------------------------

// The file to draw; where it is our own, its path goes back to the control.
std::string Jaws::givenPath() {
    if (!PathToFile.text.empty() && PathToFile.text != OWN_FILE) return PathToFile.text;
    std::string own = data_file(OWN_FILE);
    PathToFile.SetText(renderContext.time, own.c_str());
    return own;
}

EpsPlacement Jaws::placement() const {
    const K7Image& frame = *output.image;
    const double across = ZoomWidth.limited(), up = MatchZooms.value ? across : ZoomHeight.limited();
    return {.width = frame.width,
            .height = frame.height,
            .pixel_aspect = frame.pixel_aspect > 0.0F ? static_cast<double>(frame.pixel_aspect) : 1.0,
            .transform = ShowOriginal.value,
            .centre_x = frame.width * Center.x,
            .centre_y = frame.height * Center.y,
            .scale_x = InOut.value ? across : 1.0 / across,
            .scale_y = InOut.value ? up : 1.0 / up,
            .degrees = Spin.limited()};
}

// The picture that the service makes of a script; null: there is none.
ImagePtr Jaws::exchange(const std::string& script) {
    if (read_variable_is_yes("JAWS_DISABLE")) {
        Trace(TRACE_DEBUG, "JAWS_DISABLE: no service is asked.\n");
        return nullptr;
    }
    const K7Image& frame = *output.image;
    JwrsClient client(jaws_base_directory());
    if (!client.SetResolution(frame.width, frame.height)) {
        Trace(TRACE_ERROR, "RipFile, SetResolution() failed.\n");
        return nullptr;
    }
    client.SetDepth(Oversampling.value - 1);  // 0 is refused, and leaves the service's default
    if (!client.SendPostScriptToService(script.c_str(), true)) {
        Trace(TRACE_ERROR, "RipFile, SendPostScriptToService() failed.\n");
        return nullptr;
    }
    const ImagePtr drawn = client.GetImageFromService(TimeOut.value * 1000, true, stopRequested());
    if (!drawn || drawn->channels < 3) {
        if (client.status() != JawsStatus::Stopped) Trace(TRACE_ERROR, "RipFile, GetImageFromService() failed.\n");
        return nullptr;
    }
    constexpr int OPAQUE = 3;  // where the file has no alpha
    ImagePtr picture = made(make_image_uncleared(frame.width, frame.height, 4, SAMPLE_F32));
    made(image_convert(drawn.get(), picture.get(), true, OPAQUE));
    return picture;
}

bool Jaws::ripFile(const EpsFile& eps) {
    const StageTimer timer("Jaws RipFile");
    const std::string folder = temporary_directory();
    if (!directory_exists(folder.c_str())) return paintFailure(NO_NAME), false;
    const TemporaryScript script{path_join(folder, make_uuid() + ".jwd")};
    const EpsScript written = write_eps_script(eps, placement(), script.path.c_str());
    made(written != EpsScript::NoMemory);
    if (written != EpsScript::Done) return paintFailure(NO_SCRIPT), false;
    const ImagePtr drawn = exchange(script.path);
    if (!drawn) return paintFailure(NO_EXCHANGE), false;
    K7Image* picture = output.image.get();
    return image_composite(picture, drawn.get(), COMPOSITE_OVER, picture, true, -1, -1, -1, -1);
}

void Jaws::ProcessFrame() {
    const EpsReading how{
        .viewAnyThumbnail = ViewAnyThumbnail.value, .tryNonEPS = TryNonEPS.value, .fromMacintosh = FromMacintosh.value};
    EpsFile eps;
    const bool usable = read_eps(givenPath().c_str(), how, &eps);
    made(!eps.noMemory);
    if (!usable) return paintFailure(NO_BOX);
    if (!ViewAnyThumbnail.value) {
        if (!ripFile(eps)) return;
    } else if (eps.hasThumbnail()) {
        layThumbnail(eps);
    } else {
        Trace(TRACE_ERROR, "... and neither real thumb nor right size o_out. ErrorImage().\n");
        return paintFailure(NO_THUMBNAIL);
    }
    made(image_cross_dissolve(output.image.get(), input.image.get(), static_cast<float>(Blend.limited())));
}

void Jaws::PrepareOverlay() { centreWidget.visible = spinWidget.visible = !Center.ghosted(); }
