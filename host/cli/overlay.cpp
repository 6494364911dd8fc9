// quillon overlay: a frame with the effect's handles drawn on it, as a viewer would show it.
#include "host/cli/overlay.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <sstream>
#include <vector>

#include "host/cli/command.h"
#include "host/cli/failure.h"
#include "host/cli/frame.h"
#include "host/cli/interrupt.h"
#include "host/cli/offscreen_gl.h"
#include "host/core/bundle.h"
#include "host/core/interact.h"
#include "ofx/ofx_names.h"

namespace quillon {

// Overlays draw in the project's units at the render scale; a pixel scale of project to picture makes one screen pixel
// one pixel of the picture.
Picture overlayDrawing(ofxhost::EffectInstance& instance, double time, int width, int height, int samples,
                       std::span<const OfxPointD> pen) {
    const auto extent = [&](int axis, double renderScale) {
        const OfxPointD whole = instance.projectExtent();
        return (axis == 0 ? whole.x : whole.y) * renderScale;
    };
    const OfxPointD scale = instance.project().renderScale;
    const double right = extent(0, scale.x), top = extent(1, scale.y);
    ofxhost::ViewState view;
    view.time = time;
    view.renderScale = scale;
    view.pixelScale = {right / width, top / height};
    view.viewport = {static_cast<double>(width), static_cast<double>(height)};
    const OffscreenGl canvas(width, height, right, top, samples);
    const auto interact = ofxhost::Interact::create(instance, view);
    if (!interact) throw RunError(instance.plugin().name() + " has no handles in the viewer");
    const auto inPicture = [&](OfxPointD place) { return OfxPointD{place.x * right, place.y * top}; };
    if (!pen.empty()) interact->penMotion(inPicture(pen.front()));
    if (pen.size() > 1) interact->penDown(inPicture(pen.front()));
    for (const OfxPointD& place : pen.subspan(pen.empty() ? 0 : 1)) interact->penMotion(inPicture(place));
    if (!answered(interact->draw())) throw RunError(instance.plugin().name() + " failed to draw its handles");
    return canvas.drawn();
}

namespace {

constexpr int Samples = 4;  // of each pixel and axis, for smooth lines

// "0.5,0.25", and "0.5,0.25:0.7,0.3" for a way.
std::vector<OfxPointD> parsePen(const std::string& text) {
    std::vector<OfxPointD> way;
    std::istringstream places(text);
    for (std::string place; std::getline(places, place, ':');) {
        std::istringstream numbers(place);
        OfxPointD point{};
        char comma = 0;
        if (!(numbers >> point.x >> comma >> point.y) || comma != ',' || !(numbers >> std::ws).eof())
            throw UsageError("'" + place +
                             "' is no place; write X,Y with 0,0 at the lower left corner and 1,1 opposite");
        way.push_back(point);
    }
    return way;
}

void renderWithOverlay(const RenderOptions& options, const std::string& penText) {
    const std::vector<OfxPointD> pen = parsePen(penText);
    Session session(options.session);
    {
        const RenderPlan plan = makePlan(session, options);
        if (plan.frames.size() != 1) throw UsageError("one frame is drawn at a time; name it with --frame");
        const auto instance = makeInstance(plan, options);
        const AbortOnInterrupt abort(session.host());
        const auto check = [&](OfxStatus status) {
            for (const auto& [clip, input] : plan.inputs)
                if (const std::string failure = input->takeFailure(); !failure.empty()) throw RunError(failure);
            if (interrupted()) throw RunError("interrupted");
            if (status != ofx::status::OK) throw RunError("the effect failed (status " + std::to_string(status) + ")");
        };
        const int frame = plan.frames.front();
        ofxhost::RenderRequest request;
        request.time = frame;
        request.renderScale = plan.project.renderScale;
        const Alpha alpha = outputAlpha(*instance);
        const auto render = [&] {
            return fromHostImage(*renderFrame(*instance, request, outputLayout(plan, alpha), check));
        };
        Picture picture = render();
        const Picture handles = overlayDrawing(*instance, frame, picture.width, picture.height, Samples, pen);
        if (pen.size() > 1) picture = render();  // with what the pen has changed
        drawOver(picture, handles);
        writePicture(plan.output.path(frame), picture, plan.writeOptions(frame, alpha));
    }
    session.finish();
}

std::function<void()> declare(CLI::App& app) {
    const auto options = std::make_shared<RenderOptions>();
    app.add_option("EFFECT", options->effect, "Q_CrashZoom, CrashZoom, crashzoom or the full identifier")->required();
    app.add_option("-i,--input", options->inputs, "A picture, or a sequence; without CLIP= in the order of the clips")
        ->type_name("[CLIP=]FILE")
        ->allow_extra_args(false);
    app.add_option("-o,--output", options->output, "The picture to write")->type_name("FILE")->required();
    app.add_option("-f,--frame", options->frames, "The frame (default: the first of the input)")->type_name("FRAME");
    app.add_option("-p,--param", options->params, "Set a parameter, as for quillon render")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    app.add_option("--preset", options->preset, "Choose a preset by text or index, before -p")->type_name("TEXT");
    app.add_option("--size", options->size, "Size of the project (default: that of the first input, else 1920x1080)")
        ->type_name("WxH");
    app.add_option("--render-scale", options->renderScale, "Render at this part of the size")
        ->check(CLI::Range(0.001, 1.0))
        ->capture_default_str();
    const auto pen = std::make_shared<std::string>();
    app.add_option("--pen", *pen,
                   "The pen hovers there, in parts of the picture from its lower left corner; X,Y:X,Y drags")
        ->type_name("X,Y");
    options->session.addTo(app);
    return [options, pen] { renderWithOverlay(*options, *pen); };
}

}  // namespace

const Command overlayCommand{"overlay", "Render a frame with the effect's handles drawn on it", declare};

}  // namespace quillon
