// What GEGL does of the same kind, as a user of GIMP would pick it instead: not the same pictures, but the same wish.
#include "benches/support/bench.h"

#ifdef QUILLON_RIVAL_GEGL
#include <gegl.h>

#include <mutex>

namespace {

// An operation of GEGL on float RGBA, at its defaults but for what `set` changes. GEGL keeps results with its nodes, so
// each run builds them anew; that takes microseconds.
using Set = void (*)(GeglNode* operation);

void start(int threads) {
    static std::once_flag once;
    std::call_once(once, [] {
        // Debian's GEGL brings its operations once for each kind of processor and warns of each that it finds again.
        g_log_set_handler(
            "GLib-GObject", G_LOG_LEVEL_WARNING, [](const char*, GLogLevelFlags, const char*, void*) {}, nullptr);
        g_setenv("GEGL_USE_OPENCL", "no", 1);
        gegl_init(nullptr, nullptr);
        // Else GEGL hands on its input instead of what is under that licence. This program is given to nobody.
        g_object_set(gegl_config(), "application-license", "GPL3", nullptr);
    });
    g_object_set(gegl_config(), "threads", threads, nullptr);
}

Bench::Factory gegl(const char* operation, Set set = nullptr) {
    return [=](int threads) -> Bench::Work {
        start(threads);
        auto source = test_frame(), result = blank_frame();
        return [=] {
            const GeglRectangle whole{0, 0, FRAME_WIDTH, FRAME_HEIGHT};
            const Babl* format = babl_format("RGBA float");
            GeglBuffer* buffer =
                gegl_buffer_linear_new_from_data(source->pixels, format, &whole, source->row_bytes, nullptr, nullptr);
            GeglNode* graph = gegl_node_new();
            GeglNode* from = gegl_node_new_child(graph, "operation", "gegl:buffer-source", "buffer", buffer, nullptr);
            GeglNode* work = gegl_node_new_child(graph, "operation", operation, nullptr);
            if (set) set(work);
            gegl_node_link(from, work);
            gegl_node_blit(work, 1.0, &whole, format, result->pixels, result->row_bytes, GEGL_BLIT_DEFAULT);
            g_object_unref(graph);
            g_object_unref(buffer);
        };
    };
}

const Bench newsprint("dots", "GEGL newsprint", 2,
                      gegl("gegl:newsprint", [](GeglNode* node) { gegl_node_set(node, "period", 15.36, nullptr); }));
const Bench oilify("brush", "GEGL oilify", 2, gegl("gegl:oilify"));
const Bench mosaic("RomanTile, default", "GEGL mosaic", 2, gegl("gegl:mosaic"));
const Bench canvas("cliptex, default", "GEGL texturize-canvas", 2, gegl("gegl:texturize-canvas"));
const Bench degradation("TVWall, default", "GEGL video-degradation", 2, gegl("gegl:video-degradation"));

}  // namespace
#endif
