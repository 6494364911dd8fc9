// Jaws: what the host waits for besides the service. The drawing itself is Ghostscript's.
#include <cstdio>

#include "benches/support/bench.h"
#include "effects/postscript/Jaws.h"
#include "imagelib/imagelib_composite.h"
#include "jawslib/jawslib.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

std::string eps_file() {
    static const std::string path = temporary_name() + ".eps";
    if (std::FILE* file = std::fopen(path.c_str(), "w")) {
        std::fputs("%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 192 108\n%%EndComments\n%%BeginPreview: 16 9 8 9\n",
                   file);
        for (int row = 0; row < 9; ++row) std::fputs("% 000102030405060708090a0b0c0d0e0f\n", file);
        std::fputs("%%EndPreview\nshowpage\n%%EOF\n", file);
        std::fclose(file);
    }
    return path;
}

const Bench thumbnail("jaws, thumbnail", QUILLON, 3, [](int) -> Bench::Work {
    auto effect = std::make_shared<Jaws>();
    effect->input.image.reset(image_duplicate(test_frame().get()));
    effect->output.image.reset(image_duplicate(test_frame().get()));
    effect->PathToFile.text = eps_file();
    effect->ViewAnyThumbnail.value = true;
    return [=] { effect->ProcessFrame(); };
});

// A script of 4 MB becomes a job: reading, enciphering, writing.
const Bench job("jaws, job of 4 MB", QUILLON, 0, [](int) -> Bench::Work {
    const std::string script = temporary_name(), target = temporary_name();
    if (std::FILE* file = std::fopen(script.c_str(), "w")) {
        for (int i = 0; i < 64 * 1024; ++i)
            std::fputs("0.123 0.456 moveto 12.34 56.78 lineto 90.12 34.56 lineto stroke\n", file);
        std::fclose(file);
    }
    return [=] {
        const JawsRequest request{.picture = "/out.tif"};
        write_jaws_job(script.c_str(), &request, target.c_str());
        remove_file(target.c_str());
    };
});

}  // namespace
