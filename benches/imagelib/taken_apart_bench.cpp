// What takes pictures apart for effects that paint, tile and number them.
#include <vector>

#include "benches/support/bench.h"
#include "imagelib/imagelib_distance.h"
#include "imagelib/imagelib_palette.h"
#include "imagelib/imagelib_regions.h"
#include "imagelib/imagelib_structure.h"
#include "imagelib/imagelib_voronoi.h"

#ifdef QUILLON_RIVAL_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using Frame = decltype(test_frame());

Frame labels_of(const Frame& source, Palette& palette) {
    Frame lab = blank_frame();
    image_to_oklab(source.get(), lab.get());
    image_palette(lab.get(), 16, 1, palette);
    Frame labels(image_create(FRAME_WIDTH, FRAME_HEIGHT, 1, SAMPLE_U32, 1), ImageDeleter{});
    image_nearest_colours(lab.get(), palette, labels.get());
    return labels;
}

std::vector<VoronoiSite> grid_of_sites(float spacing) {
    std::vector<VoronoiSite> sites;
    for (float y = spacing / 2; y < FRAME_HEIGHT; y += spacing)
        for (float x = spacing / 2; x < FRAME_WIDTH; x += spacing) sites.push_back({x, y, 0.8f, 0.6f});
    return sites;
}

std::vector<Bench> taken_apart() {
    std::vector<Bench> list;
    list.emplace_back("structure tensor, half size", QUILLON, 2, [](int) {
        auto source = test_frame();
        return [=] { image_structure(source.get(), {.sigma = 3}); };
    });
    list.emplace_back("structure tensor", QUILLON, 2, [](int) {
        auto source = test_frame();
        return [=] { image_structure(source.get(), {.sigma = 3, .half_size = false}); };
    });
    list.emplace_back("to Oklab", QUILLON, 2, [](int) {
        auto source = test_frame(), result = blank_frame();
        return [=] { image_to_oklab(source.get(), result.get()); };
    });
    list.emplace_back("palette of 16", QUILLON, 1, [](int) {
        auto source = test_frame(), lab = blank_frame();
        image_to_oklab(source.get(), lab.get());
        return [=] {
            Palette palette;
            image_palette(lab.get(), 16, 1, palette);
        };
    });
    list.emplace_back("nearest of 16 colours", QUILLON, 2, [](int) {
        auto source = test_frame(), lab = blank_frame();
        Palette palette;
        auto labels = labels_of(source, palette);
        image_to_oklab(source.get(), lab.get());
        return [=] { image_nearest_colours(lab.get(), palette, labels.get()); };
    });
    list.emplace_back("regions of 16 colours", QUILLON, 2, [](int) {
        Palette palette;
        auto labels = labels_of(test_frame(), palette), regions = labels_of(test_frame(), palette);
        return [=] {
            std::vector<PictureRegion> found;
            image_regions(labels.get(), regions.get(), found);
        };
    });
    list.emplace_back("specks below 40 pixels", QUILLON, 2, [](int) {
        Palette palette;
        auto labels = labels_of(test_frame(), palette);
        return [=] {
            const ImagePtr copy(image_duplicate(labels.get()));
            image_merge_specks(copy.get(), 40);
        };
    });
    list.emplace_back("signed distance", QUILLON, 2, [](int) {
        auto source = test_frame();
        Frame distance(image_create(FRAME_WIDTH, FRAME_HEIGHT, 1, SAMPLE_F32, 1), ImageDeleter{});
        return [=] { image_signed_distance(source.get(), 1, 0.5f, distance.get()); };
    });
#ifdef QUILLON_RIVAL_OPENCV
    list.emplace_back("signed distance", "OpenCV, twice", 0, [](int) {
        auto source = test_frame();
        auto inside = std::make_shared<cv::Mat>(FRAME_HEIGHT, FRAME_WIDTH, CV_8U);
        for (int y = 0; y < FRAME_HEIGHT; ++y)
            for (int x = 0; x < FRAME_WIDTH; ++x)
                inside->at<unsigned char>(y, x) = image_row<float>(source.get(), y)[4 * x + 1] >= 0.5f ? 1 : 0;
        return [=] {
            cv::Mat outer, inner;
            cv::distanceTransform(*inside, inner, cv::DIST_L2, cv::DIST_MASK_PRECISE);
            cv::distanceTransform(1 - *inside, outer, cv::DIST_L2, cv::DIST_MASK_PRECISE);
        };
    });
#endif
    for (const VoronoiMetric metric : {VoronoiMetric::ROUND, VoronoiMetric::SQUARE})
        list.emplace_back(metric == VoronoiMetric::ROUND ? "round cells of 16" : "square cells of 16", QUILLON, 2,
                          [=](int) {
                              const auto sites = grid_of_sites(16);
                              Frame labels(image_create(FRAME_WIDTH, FRAME_HEIGHT, 1, SAMPLE_U32, 1), ImageDeleter{});
                              return [=] { voronoi_labels(sites, metric, labels.get()); };
                          });
    list.emplace_back("relaxed square cells of 16", QUILLON, 2, [](int) {
        const auto sites = grid_of_sites(16);
        return [=] {
            auto moved = sites;
            voronoi_relax(moved, {.width = FRAME_WIDTH, .height = FRAME_HEIGHT, .metric = VoronoiMetric::SQUARE});
        };
    });
    return list;
}

const std::vector<Bench> s_taken_apart = taken_apart();

}  // namespace
