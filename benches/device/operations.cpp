// Operations of the libraries: on the processor, on a device with pictures brought there and back, and with pictures
// that are there.
#include <cstdlib>
#include <memory>

#include "benches/device/measure.h"
#include "benches/support/bench.h"
#include "fftlib/fftlib.h"
#include "fluidlib/fluidlib.h"
#include "gpulib/gpulib.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_cuda.h"
#include "imagelib/imagelib_lic.h"
#include "imagelib/imagelib_pyramid.h"
#include "support/row_threads.h"

namespace device_bench {

namespace {

constexpr float MIDDLE_X = WIDTH / 2, MIDDLE_Y = HEIGHT / 2;

SharedImage picture() { return test_frame(4, SAMPLE_F32, WIDTH, HEIGHT); }

// Two sources, a result, one of half the size, and a map that twists the picture a little.
struct Pictures {
    SharedImage a = picture(), b = picture(), result = picture(),
                half = blank_frame(4, SAMPLE_F32, WIDTH / 2, HEIGHT / 2),
                map = blank_frame(2, SAMPLE_F32, WIDTH, HEIGHT), kernel = test_frame(4, SAMPLE_F32, 255, 255);
    Pictures() {
        for (int y = 0; y < HEIGHT; ++y)
            for (int x = 0; x < WIDTH; ++x) {
                float* place = image_row<float>(map.get(), y) + 2 * x;
                place[0] = static_cast<float>(x) + 0.1f * (static_cast<float>(y) - MIDDLE_Y);
                place[1] = static_cast<float>(y) - 0.1f * (static_cast<float>(x) - MIDDLE_X);
            }
    }
};

// The same on a device. What an operation does not read is not brought there.
struct OnDevice {
    OnDevice(const Pictures& of, GpuStream on)
        : stream(on),
          a(host_picture(of.a.get()), on),
          b(host_picture(of.b.get()), on),
          result(host_picture(of.result.get()), on),
          half(host_picture(of.half.get()), on),
          map({of.map->pixels, WIDTH, HEIGHT, 2 * sizeof(float), of.map->row_bytes}, on) {}
    GpuStream stream;
    DeviceImage a, b, result, half, map;
};

struct Operation {
    std::string name;
    std::function<bool()> on_processor;
    // Empty: the library's function does it by itself where there is a device.
    std::function<int(OnDevice&)> on_device;
    DeviceImage OnDevice::*to = &OnDevice::result;
};

std::vector<Operation> points(const Pictures& p) {
    K7Image *a = p.a.get(), *b = p.b.get(), *result = p.result.get();
    return {
        {"a constant added", [=] { return image_arithmetic_constant(result, ConstantOperator::add, 0.01f); },
         [](OnDevice& d) { return cuda_arith_image_constant(d.result, ConstantOperator::add, 0.01f, -1, d.stream); }},
        {"a picture subtracted", [=] { return image_arithmetic_image(result, ImageOperator::subtract, b); },
         [](OnDevice& d) { return cuda_arith_image_point(d.result, ImageOperator::subtract, d.b, -1, d.stream); }},
        {"gamma", [=] { return image_apply_gamma(a, result, 2.2f); },
         [](OnDevice& d) { return cuda_apply_gamma(d.a, d.result, 2.2f, d.stream); }},
        {"over", [=] { return image_composite(result, a, COMPOSITE_OVER, b, true, -1, -1, -1, -1); },
         [](OnDevice& d) {
             return cuda_pd_composite(d.result, d.a, COMPOSITE_OVER, d.b, true, -1, -1, -1, -1, d.stream);
         }},
        {"a fade", [=] { return image_unary(result, UNARY_DISSOLVE, 0.99f, -1, -1, -1, -1); },
         [](OnDevice& d) { return cuda_pd_unary(d.result, UNARY_DISSOLVE, 0.99f, -1, -1, -1, -1, d.stream); }},
        {"a dissolve", [=] { return image_cross_dissolve(result, b, 0.5f); },
         [](OnDevice& d) { return cuda_cross_dissolve(d.result, d.b, 0.5f, d.stream); }},
    };
}

Operation blur(const Pictures& p, const char* name, float radius) {
    K7Image *a = p.a.get(), *result = p.result.get();
    return {name, [=] { return image_gaussian_blur_to(a, result, radius, radius, 15); },
            [=](OnDevice& d) { return cuda_gaussian_box_blur_2_pass(d.a, d.result, radius, radius, d.stream); }};
}

Operation warp(const Pictures& p) {
    return {"a pyramid, and a warp through it",
            [&p] {
                const ImagelibPyramid pyramid(p.a.get(), KERNEL_BSPLINE, EDGE_CLAMP, false, true);
                return image_pyramid_warp(&pyramid, p.map.get(), p.result.get());
            },
            [](OnDevice& d) {
                DeviceMipmap mipmap;
                const int step = cuda_create_mipmap(d.a, KERNEL_BSPLINE, mipmap, d.stream);
                if (step != GPU_DONE) return step;
                return cuda_mipmap_warp(mipmap, ImagelibKernel(KERNEL_BSPLINE, EDGE_CLAMP), d.map, false, d.result,
                                        d.stream);
            }};
}

Operation arcs(const Pictures& p) {
    const auto turn = std::make_shared<TurnTable>();
    const ArcLengths lengths{0.5f, ArcProfile::Constant, 0, 0, 0, 1, false};
    const ArcGeometry geometry = arc_geometry(*p.a, MIDDLE_X, MIDDLE_Y);
    return {"averages along arcs of 30 degrees",
            [=, &p] {
                ImagelibCircles circles(geometry);
                const ArcRange range = range_of_arcs(lengths, circles.max_distance());
                return circles.valid() && circles.unwrap(*p.a, *turn, range.smallest, range.largest) &&
                       circles.average(*p.a, nullptr, lengths, *p.result);
            },
            [=](OnDevice& d) { return cuda_spin_blur(d.a, nullptr, d.result, geometry, *turn, lengths, d.stream); }};
}

std::vector<Operation> filters(const Pictures& p) {
    K7Image *a = p.a.get(), *b = p.b.get(), *result = p.result.get(), *half = p.half.get();
    constexpr float CLEAR = 200, SPEED = 0.1f;
    return {
        blur(p, "blur, radius 5.5", 5.5f),
        blur(p, "blur, radius 50", 50),
        {"line integrals to a centre",
         [=] { return image_radial_lic(a, result, MIDDLE_X, MIDDLE_Y, CLEAR, SPEED, 1, 1, 0, 0); },
         [](OnDevice& d) {
             return cuda_radial_lic(d.a, d.result, MIDDLE_X, MIDDLE_Y, CLEAR, SPEED, 1, 1, 1, 1, 0, 0, d.stream);
         }},
        {"likewise, around what a screen shows",
         [=] { return image_radial_lic_screened(a, b, result, MIDDLE_X, MIDDLE_Y, SPEED, 1, 1, 0.5f); },
         [](OnDevice& d) {
             return cuda_radial_lic_screened(d.a, d.b, d.result, MIDDLE_X, MIDDLE_Y, SPEED, 1, 1, 1, 1, 0.5f, d.stream);
         }},
        {"scaled to half", [=] { return image_scale(a, half, KERNEL_BSPLINE, false); },
         [](OnDevice& d) { return cuda_image_scale_2_pass(d.a, d.half, KERNEL_BSPLINE, false, d.stream); },
         &OnDevice::half},
        warp(p),
        arcs(p),
    };
}

void run_rows(void*, RowWorker worker, int rows, void* job) { image_dispatch_rows_float(worker, rows, job); }

std::vector<Operation> convolution_and_fluid(const Pictures& p) {
    const std::shared_ptr<FluidFlow> flow = create_fluid_flow(256, 256, FLUID_BOUNDED, WIDTH / 2, HEIGHT / 2);
    flow->set_executor(nullptr, run_rows);
    for (const char* name : {"heat", "density"}) flow->load_field(p.half.get(), flow->add_field(name), 1, false);
    flow->set_velocity_box(0.2F, 0.2F, 0.5F, 0.6F, 30.0F, 0.01F);
    return {{"four channels convolved with 255 x 255",
             [&p] {
                 FFTConvolver convolver;
                 convolver.set_multiprocess(fft_image_rows, nullptr);
                 return convolver.convolve(p.a.get(), p.kernel.get(), p.result.get());
             },
             {}},
            {"a fluid's step, two fields of 1920 x 1080",
             [flow] {
                 flow->step(false);
                 return true;
             },
             {}}};
}

double on_processor(const Operation& operation, int threads) {
    if (threads == 0) return NOT_MEASURED;
    const RowThreads rows(threads);
    return fastest_work(operation.on_processor);
}

double there_and_back(const Operation& operation, const Pictures& pictures) {
    if (!operation.on_device) {
        const RowThreads rows(static_cast<int>(std::thread::hardware_concurrency()));
        return fastest_work(operation.on_processor);
    }
    return fastest_work([&] {
        DeviceStream stream;
        if (stream.create() != GPU_SUCCESS) return false;
        OnDevice device(pictures, stream.get());
        return operation.on_device(device) == GPU_DONE && gpu_fetch(device.*operation.to) == GPU_DONE;
    });
}

double there(const Operation& operation, const Pictures& pictures) {
    if (!operation.on_device) return NOT_MEASURED;
    DeviceStream stream;
    if (stream.create() != GPU_SUCCESS) return -1;
    OnDevice device(pictures, stream.get());
    return fastest_work([&] { return operation.on_device(device) == GPU_DONE && stream.finish() == GPU_SUCCESS; });
}

// Decides anew whether there is a device.
void use_device(bool use) {
    setenv("CUDA_DISABLE", use ? "no" : "yes", 1);
    gpu_set_runtime(&gpu_runtime());
    cuda_available();
}

}  // namespace

bool measure_operations(const Options& options) {
    const Pictures pictures;
    bool passed = true;
    std::printf(
        "\n| Operation | 2 threads | 16 threads | device, there and back | pictures on the device |\n"
        "|---|---|---|---|---|\n");
    for (const auto& group : {points(pictures), filters(pictures), convolution_and_fluid(pictures)})
        for (const Operation& operation : group) {
            if (!options.wants(operation.name)) continue;
            std::vector<double> times;
            use_device(false);
            for (const int threads : options.threads) times.push_back(on_processor(operation, threads));
            use_device(true);
            times.push_back(options.device ? there_and_back(operation, pictures) : NOT_MEASURED);
            times.push_back(options.device ? there(operation, pictures) : NOT_MEASURED);
            for (const double time : times) passed = passed && (time >= 0 || time == NOT_MEASURED);
            print_row(operation.name, times);
        }
    return passed;
}

}  // namespace device_bench
