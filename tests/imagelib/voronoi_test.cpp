// Nearest sites against a comparison with all of them, and sites that relax.
#include "imagelib/imagelib_voronoi.h"

#include <random>

#include "pictures.h"

namespace {

std::vector<VoronoiSite> scattered(int count, int width, int height, unsigned seed) {
    std::mt19937 random(seed);
    const auto unit = [&] { return float(random() >> 8) * 0x1p-24f; };
    std::vector<VoronoiSite> sites;
    for (int i = 0; i < count; ++i) {
        const float angle = 6.2831853f * unit();
        sites.push_back({unit() * float(width), unit() * float(height), std::cos(angle), std::sin(angle)});
    }
    return sites;
}

double distance(const VoronoiSite& s, VoronoiMetric metric, int x, int y, double aspect) {
    const double dx = x + 0.5 - double(s.x), dy = (y + 0.5 - double(s.y)) / aspect;
    if (metric == VoronoiMetric::ROUND) return std::hypot(dx, dy);
    return std::max(std::fabs(dx * double(s.ux) + dy * double(s.uy)), std::fabs(dy * double(s.ux) - dx * double(s.uy)));
}

void expect_cells(const std::vector<VoronoiSite>& sites, VoronoiMetric metric, int width, int height, float aspect) {
    ImagePtr nearest, second;
    const ImagePtr labels = same_bits_everywhere([&] {
        ImagePtr image = make_image(width, height, 1, SAMPLE_U32);
        image->pixel_aspect = aspect;
        nearest = make_image(width, height, 1, SAMPLE_F32), second = make_image(width, height, 1, SAMPLE_F32);
        EXPECT_TRUE(voronoi_labels(sites, metric, image.get(), nearest.get(), second.get()));
        return image;
    });
    const double spacing = std::sqrt(width * height / double(aspect) / double(sites.size()));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            double least = 1e9, next = 1e9;
            for (const VoronoiSite& site : sites) {
                const double d = distance(site, metric, x, y, double(aspect));
                next = std::min(next, std::max(d, least));
                least = std::min(least, d);
            }
            const std::uint32_t found = image_row<std::uint32_t>(labels.get(), y)[x];
            ASSERT_LT(found, sites.size());
            ASSERT_NEAR(distance(sites[found], metric, x, y, double(aspect)), least, 1e-4 * (1 + least));
            ASSERT_NEAR(double(at(nearest, x, y, 0)), least, 1e-4 * (1 + least));
            const double limit = std::max({std::min(next, 1.25 * spacing), std::min(next, 1.0), least});
            ASSERT_NEAR(double(at(second, x, y, 0)), limit, 1e-4 * (1 + limit));
        }
}

TEST(Voronoi, TheNearestSiteWinsHoweverSitesLie) {
    for (const VoronoiMetric metric : {VoronoiMetric::ROUND, VoronoiMetric::SQUARE})
        for (const float aspect : {1.0f, 2.0f, 0.5f}) {
            expect_cells(scattered(60, 97, 61, 3), metric, 97, 61, aspect);
            expect_cells(scattered(1, 30, 7, 5), metric, 30, 7, aspect);
            expect_cells(scattered(200, 20, 12, 5), metric, 80, 50, aspect);  // all in one corner
        }
    expect_cells({{-500, 900, 1, 0}, {4000, 3, 0, 1}}, VoronoiMetric::ROUND, 40, 20, 1);
}

TEST(Voronoi, SitesSpreadEvenlyAndKeepOffWhatHasNoWeight) {
    const int width = 240, height = 160, count = 150;
    auto sites = scattered(count, width, height, 9);
    const auto smallest_gap = [&] {
        double least = 1e9;
        for (std::size_t i = 0; i < sites.size(); ++i)
            for (std::size_t k = 0; k < i; ++k)
                least = std::min(least, std::hypot(double(sites[i].x - sites[k].x), double(sites[i].y - sites[k].y)));
        return least;
    };
    EXPECT_LT(smallest_gap(), 3);
    ImagePtr first;
    for (const int threads : {1, 3}) {
        const RowThreads rows(threads);
        sites = scattered(count, width, height, 9);
        ASSERT_TRUE(voronoi_relax(sites, {.width = width, .height = height, .rounds = 30},
                                  [](VoronoiSite& site) { site.ux = 1, site.uy = 0; }));
        ImagePtr places = picture(count, 1, [&](int i, int, int c) {
            const VoronoiSite& s = sites[std::size_t(i)];
            return c == 0 ? s.x : c == 1 ? s.y : c == 2 ? s.ux : s.uy;
        });
        EXPECT_TRUE(!first || same_pixels(first, places)) << threads;
        first = std::move(places);
    }
    EXPECT_GT(smallest_gap(), 0.6 * std::sqrt(double(width) * height / count));
    EXPECT_EQ(sites[7].ux, 1);

    const auto on_the_band = [&] {  // 12 pixels wide, less than a cell
        return std::count_if(sites.begin(), sites.end(), [](const VoronoiSite& s) { return s.x > 114 && s.x < 126; });
    };
    EXPECT_GT(on_the_band(), 4);
    const ImagePtr weights = picture(
        40, 5, [](int x, int, int) { return x == 19 || x == 20 ? 0 : 1; }, 1);
    sites = scattered(count, width, height, 9);
    ASSERT_TRUE(voronoi_relax(sites, {.width = width, .height = height, .rounds = 30, .weights = weights.get()}));
    EXPECT_LE(on_the_band(), 1);
}

TEST(Voronoi, RefusesWhatIsNoSite) {
    const ImagePtr labels = make_image(20, 10, 1, SAMPLE_U32);
    std::vector<VoronoiSite> sites{{3, 3, 1, 0}, {NOT_A_NUMBER, 3, 1, 0}};
    EXPECT_FALSE(voronoi_labels(sites, VoronoiMetric::ROUND, labels.get()));
    EXPECT_FALSE(voronoi_labels({}, VoronoiMetric::ROUND, labels.get()));
    EXPECT_FALSE(voronoi_relax(sites, {.width = 20, .height = 10}));
    sites.pop_back();
    EXPECT_FALSE(voronoi_relax(sites, {.width = 0, .height = 10}));
    EXPECT_FALSE(voronoi_labels(sites, VoronoiMetric::ROUND, labels.get(), nullptr, nullptr, [] { return true; }));
}

}  // namespace
