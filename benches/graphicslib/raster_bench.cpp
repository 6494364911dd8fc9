#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "benches/support/bench.h"
#include "graphicslib/bit_text.h"
#include "graphicslib/line_draw.h"
#include "graphicslib/raster_graphics.h"
#include "noiselib/mtrandom.h"

#ifdef QUILLON_RIVAL_CAIRO
#include <cairo.h>
#endif

namespace {

struct Corner {
    float x, y;
};

// Hexagons, up to 200 pixels wide.
std::vector<std::vector<Corner>> polygons() {
    MTRandom random(1);
    std::vector<std::vector<Corner>> list;
    for (int i = 0; i < 1000; ++i) {
        const float x = random.next_float_in(0, FRAME_WIDTH), y = random.next_float_in(0, FRAME_HEIGHT);
        const float radius = random.next_float_in(5, 100), turn = random.next_float_in(0, 6);
        std::vector<Corner> shape;
        for (int k = 0; k < 6; ++k) {
            const double angle = double(turn) + k * M_PI / 3;
            shape.push_back({x + radius * float(std::cos(angle)), y + radius * float(std::sin(angle))});
        }
        list.push_back(std::move(shape));
    }
    return list;
}

// Curves of 200 short segments, as trails are.
std::vector<std::vector<Corner>> curves() {
    MTRandom random(2);
    std::vector<std::vector<Corner>> list;
    for (int i = 0; i < 100; ++i) {
        std::vector<Corner> curve;
        Corner at{random.next_float_in(200, 1700), random.next_float_in(200, 880)};
        double heading = random.next_float_in(0, 6);
        for (int k = 0; k <= 200; ++k) {
            curve.push_back(at);
            heading += random.next_float_in(-0.2F, 0.25F);
            at.x += 4 * float(std::cos(heading));
            at.y += 4 * float(std::sin(heading));
        }
        list.push_back(std::move(curve));
    }
    return list;
}

std::shared_ptr<RasterGraphics> device(int threads, int samples, int mode) {
    auto graphics = std::make_shared<RasterGraphics>();
    graphics->prepare_device(FRAME_WIDTH, FRAME_HEIGHT, 1, SAMPLE_F32);
    graphics->set_samples_per_side(samples);
    graphics->set_polygon_mode(mode);
    graphics->set_num_bands(threads);
    graphics->set_multiprocess(
        nullptr, [](void*, RowWorker worker, int rows, void* job) { image_dispatch_rows(worker, rows, job); });
    return graphics;
}

// What differs between the vertices of a stroke.
enum class Vertices { ALIKE, COLOURED, COLOURED_AND_DEEP };

void add_vertices(RasterGraphics& graphics, const std::vector<Corner>& shape, Vertices vertices, MTRandom& random) {
    for (const Corner& c : shape) {
        if (vertices != Vertices::ALIKE)
            graphics.set_vertex_colour(random.next_float(), random.next_float(), random.next_float(),
                                       random.next_float());
        graphics.add_vertex(c.x, c.y, vertices == Vertices::COLOURED_AND_DEEP ? -random.next_float_in(0, 1000) : 0);
    }
}

void draw_frame(RasterGraphics& graphics, const std::vector<std::vector<Corner>>& shapes, float width,
                Vertices vertices = Vertices::ALIKE) {
    MTRandom random(77);
    graphics.set_colour({0, 0, 0, 0});
    graphics.clear_device();
    graphics.enter_pixel_space();
    graphics.clear_list();
    graphics.set_line_width(width * 2 / (FRAME_WIDTH + FRAME_HEIGHT));
    graphics.set_colour({1, 0.5F, 0.25F, 0.5F});
    std::vector<float> points;
    for (const auto& shape : shapes) {
        if (width > 0) {
            graphics.begin_stroke();
            add_vertices(graphics, shape, vertices, random);
            graphics.end_stroke(false);
            continue;
        }
        points.clear();
        for (const Corner& c : shape) points.insert(points.end(), {c.x, c.y, 0});
        graphics.add_polygon(int(shape.size()), points.data());
    }
    graphics.leave_pixel_space();
    graphics.render_list();
}

#ifdef QUILLON_RIVAL_CAIRO
// Eight bits a channel, the only depth with which this rival is fast.
using CairoPicture = std::shared_ptr<cairo_t>;

CairoPicture cairo_picture() {
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, FRAME_WIDTH, FRAME_HEIGHT);
    CairoPicture context(cairo_create(surface), cairo_destroy);
    cairo_surface_destroy(surface);
    return context;
}

void cairo_frame(cairo_t* context, const std::vector<std::vector<Corner>>& shapes, double width) {
    cairo_set_operator(context, CAIRO_OPERATOR_CLEAR);
    cairo_paint(context);
    cairo_set_operator(context, CAIRO_OPERATOR_OVER);
    cairo_set_source_rgba(context, 1, 0.5, 0.25, 0.5);
    cairo_set_line_width(context, width);
    for (const auto& shape : shapes) {
        for (const Corner& c : shape) cairo_line_to(context, double(c.x), double(c.y));
        if (width > 0) {
            cairo_stroke(context);
        } else {
            cairo_close_path(context);
            cairo_fill(context);
        }
    }
}
#endif

struct Subject {
    std::string name;
    float width;
};

std::vector<Bench> rendering() {
    std::vector<Bench> list;
    for (const Subject& subject :
         {Subject{"1000 polygons", 0}, {"100 curves 8 px wide", 8}, {"100 curves 30 px wide", 30}}) {
        const auto shapes = [subject] { return subject.width > 0 ? curves() : polygons(); };
        for (const int samples : {1, 4})
            list.emplace_back(subject.name + (samples == 1 ? ", exact" : ", 16 samples"), QUILLON, 0, [=](int threads) {
                auto graphics =
                    device(threads, samples, samples == 1 ? PolygonRasterizer::EXACT : PolygonRasterizer::PLAIN);
                return [=, drawn = shapes()] { draw_frame(*graphics, drawn, subject.width); };
            });
#ifdef QUILLON_RIVAL_CAIRO
        list.emplace_back(subject.name + ", exact", "cairo 8 bits", 0, [=](int) {
            auto context = cairo_picture();
            return [=, drawn = shapes()] { cairo_frame(context.get(), drawn, double(subject.width)); };
        });
#endif
    }
    for (const auto& [name, vertices] :
         {std::pair{"100 coloured curves 8 px wide, exact", Vertices::COLOURED},
          std::pair{"100 coloured, deep curves 8 px wide, exact", Vertices::COLOURED_AND_DEEP}})
        list.emplace_back(name, QUILLON, 0, [vertices = vertices](int threads) {
            auto graphics = device(threads, 1, PolygonRasterizer::EXACT);
            return [=, drawn = curves()] { draw_frame(*graphics, drawn, 8, vertices); };
        });
    list.emplace_back("10000 lines of 30 px, straight into the picture", QUILLON, 0, [](int) {
        auto image = blank_frame();
        return [=] {
            MTRandom random(3);
            const float colour[4] = {1, 1, 1, 0.5F};
            for (int i = 0; i < 10000; ++i) {
                const float x = random.next_float_in(0, FRAME_WIDTH), y = random.next_float_in(0, FRAME_HEIGHT);
                draw_line(image.get(), colour, x, y, x + random.next_float_in(-21, 21), y - 30);
            }
        };
    });
    list.emplace_back("two lines of text", QUILLON, 0, [](int) {
        auto image = blank_frame();
        return [=] {
            const BitText text;
            text.draw("Pre-processing too slow.", image.get(), 960, 560, 40);
            text.draw("Clear Cache and render sequentially", image.get(), 960, 500, 40);
        };
    });
    return list;
}

const std::vector<Bench> s_rendering = rendering();

}  // namespace
