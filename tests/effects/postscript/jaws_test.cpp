// Q_Jaws with a service beside it, and without one.
#include "effects/postscript/Jaws.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "host/jaws/service.h"
#include "imagelib/imagelib_fileio.h"
#include "imagelib/imagelib_geometry.h"
#include "jawslib/jawslib.h"
#include "k7pi_baselib/temporary_home.h"
#include "support/effect_shot.h"
#include "support/recording_host.h"
#include "support/same_bits.h"

namespace {

namespace fs = std::filesystem;

class JawsEffect : public TemporaryHome {
  protected:
    JawsEffect() { SetTraceLevel(TRACE_OFF); }

    // 100 x 50 points: the left half is red.
    EffectShot<Jaws>& shot(int width = 200, int height = 100) {
        write(root + "/half.eps",
              "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 10 20 110 70\n%%EndComments\n"
              "%%BeginPreview: 2 1 8 1\n% ff00\n%%EndPreview\n"
              "1 0 0 setrgbcolor 10 20 50 50 rectfill\n%%EOF\n");
        m_shot = std::make_unique<EffectShot<Jaws>>(flat(width, height, 0.0f, 1.0f, 0.0f));
        m_shot->effect.PathToFile.text = root + "/half.eps";
        return *m_shot;
    }
    static std::vector<float> pixel(const K7Image& image, int x, int y) {
        return {at(image, x, y, 0), at(image, x, y, 1), at(image, x, y, 2), at(image, x, y, 3)};
    }
    static inline const std::vector<float> RED = {1, 0, 0, 1}, PLATE = {0, 1, 0, 1};
    std::unique_ptr<EffectShot<Jaws>> m_shot;
};

class JawsWithService : public JawsEffect {
  protected:
    void SetUp() override {
        if (jaws::findGhostscript().empty()) GTEST_SKIP() << "Ghostscript is not installed: nothing is drawn";
        m_thread = std::thread([this] {
            jaws::Service(jaws::usualBase(), [](const std::string&) {}).run([this] { return m_stop.load(); });
        });
    }
    ~JawsWithService() override {
        m_stop = true;
        if (m_thread.joinable()) m_thread.join();
    }
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

TEST_F(JawsWithService, FitsTurnsScalesAndMovesTheDrawing) {
    auto& jaws = shot();
    const K7Image* frame = &jaws.render();
    EXPECT_EQ(pixel(*frame, 98, 50), RED);
    EXPECT_EQ(pixel(*frame, 101, 50), PLATE);

    Jaws& effect = jaws.effect;
    effect.ShowOriginal.value = true;
    effect.Spin.value = 90.0;  // the left half becomes the lower one
    frame = &jaws.render();
    EXPECT_EQ(pixel(*frame, 100, 48), RED);
    EXPECT_EQ(pixel(*frame, 100, 52), PLATE);
    EXPECT_EQ(pixel(*frame, 40, 20), PLATE) << "the drawing is 100 pixels wide now";

    effect.Spin.value = 0.0;
    effect.ZoomWidth.value = 2.0;  // sees twice as much
    frame = &jaws.render();
    EXPECT_EQ(pixel(*frame, 52, 50), RED);
    EXPECT_EQ(pixel(*frame, 48, 50), PLATE);
    EXPECT_EQ(pixel(*frame, 75, 80), PLATE) << "Scale Y follows";
    effect.InOut.value = true;  // twice as large
    effect.MatchZooms.value = false;
    effect.ZoomHeight.value = 0.5;
    effect.Center.x = 0.5, effect.Center.y = 0.5;
    frame = &jaws.render();
    EXPECT_EQ(pixel(*frame, 2, 50), RED);
    EXPECT_EQ(pixel(*frame, 2, 78), PLATE);
    effect.Center.x = 0.75;  // that place comes to the middle: the drawing goes to the left
    EXPECT_EQ(pixel(jaws.render(), 2, 50), PLATE);
    effect.Center.x = 0.25;
    EXPECT_EQ(pixel(jaws.render(), 198, 50), RED);
    EXPECT_TRUE(fs::is_empty(jaws_base_directory() + "/JawsServiceInput"));
    EXPECT_TRUE(fs::is_empty(jaws_base_directory() + "/JawsServiceOutput"));
}

// The edge of the red half lies 0.3 within a pixel, and Ghostscript paints every sample that it touches.
TEST_F(JawsWithService, AveragesSamplesAndMixesWithTheSource) {
    auto& jaws = shot(140, 100);
    Jaws& effect = jaws.effect;
    effect.ShowOriginal.value = true;
    effect.Center.x = 0.5 - 0.3 / 140.0;
    const double coverages[] = {0.4, 0.5, 1.0 / 3.0, 0.5, 0.4};
    for (int choice = 0; choice < 5; ++choice) {
        effect.Oversampling.value = choice + 1;
        const K7Image& frame = jaws.render();
        EXPECT_NEAR(at(frame, 70, 50, 0), coverages[choice], 0.006) << choice;
        EXPECT_NEAR(at(frame, 70, 50, 0) + at(frame, 70, 50, 1), 1.0, 0.006) << "the plate shows through the rest";
        EXPECT_EQ(at(frame, 71, 50, 0), 0.0f);
    }
    effect.Blend.value = 0.25;
    EXPECT_NEAR(at(jaws.render(), 30, 50, 1), 0.25, 1e-6);
}

// A circle is round in the viewer when pixels are twice as wide as high.
TEST_F(JawsWithService, KeepsItsShapeInWidePixels) {
    auto& jaws = shot();
    image_set_pixel_size(jaws.source.get(), 2.0f, 1.0f, 2);
    const K7Image& frame = jaws.render();
    EXPECT_EQ(pixel(frame, 52, 50), RED);
    EXPECT_EQ(pixel(frame, 48, 50), PLATE);
}

// What other services may give: three samples, and 16 bits.
TEST_F(JawsEffect, TakesPicturesOfThreeSamplesAndOf16Bits) {
    auto& jaws = shot(40, 30);
    const std::string input = jaws_base_directory() + "/JawsServiceInput";
    fs::create_directories(input);
    std::thread service([&] {
        for (fs::directory_iterator entry;; thread_sleep(20)) {
            entry = fs::directory_iterator(input);
            if (entry == fs::directory_iterator() || !is_uuid(entry->path().filename().string())) continue;
            JawsRequest request;
            read_jaws_job(entry->path().c_str(), (root + "/script").c_str(), &request);
            const ImagePtr image = make_image(40, 30, 3, SAMPLE_U16);
            image_fill(image.get(), 16384.0f);
            image_write(request.picture.c_str(), image.get(), false);
            fs::remove(entry->path());
            return;
        }
    });
    const K7Image& frame = jaws.render();
    service.join();
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(at(frame, 20, 15, c), 16384.0 / 65535.0, 1e-6);
    EXPECT_EQ(at(frame, 20, 15, 3), 1.0f);
}

// ---- Without a service ------------------------------------------------------------------------------------------

TEST_F(JawsEffect, ShowsTheThumbnailInTheFittedBox) {
    auto& jaws = shot(100, 100);
    jaws.effect.ViewAnyThumbnail.value = true;
    const ImagePtr frame = same_bits_everywhere([&] { return jaws.copy(); });
    EXPECT_EQ(pixel(*frame, 49, 25), (std::vector<float>{0, 0, 0, 1}));
    EXPECT_EQ(pixel(*frame, 52, 74), (std::vector<float>{1, 1, 1, 1}));
    EXPECT_EQ(pixel(*frame, 50, 75), PLATE);
    EXPECT_EQ(pixel(*frame, 50, 24), PLATE);
}

// The colour of the cross tells the cause. Nothing waits, since every one of them is known before a job is sent.
TEST_F(JawsEffect, PaintsItsFailures) {
    const ScopedEnvironment disabled("JAWS_DISABLE", "yes");
    auto& jaws = shot(100, 50);
    Jaws& effect = jaws.effect;
    const auto cross = [&] {
        const K7Image& frame = jaws.render();
        EXPECT_EQ(pixel(frame, 50, 2), (std::vector<float>{0.235f, 0.235f, 0.235f, 1}));
        EXPECT_EQ(pixel(frame, 6, 3), pixel(frame, 94, 3)) << "two bands";
        return pixel(frame, 6, 3);
    };
    EXPECT_EQ(cross(), (std::vector<float>{0, 0, 1, 1}));
    EXPECT_FALSE(fs::exists(jaws_base_directory() + "/JawsServiceInput")) << "nobody is asked";
    {
        const ScopedEnvironment nowhere("TMP", (root + "/none").c_str());
        EXPECT_EQ(cross(), (std::vector<float>{1, 0, 0, 1}));
    }
    effect.PathToFile.text = root + "/none.eps";
    EXPECT_EQ(cross(), (std::vector<float>{1, 1, 0, 1}));
    write(root + "/plain.eps", "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 10 10\n");
    effect.PathToFile.text = root + "/plain.eps";
    effect.ViewAnyThumbnail.value = true;
    EXPECT_EQ(cross(), (std::vector<float>{1, 0, 1, 1}));
}

// In a frame that is as wide as high, the message is not as high as it would be, so that it ends before the edges.
TEST_F(JawsEffect, ShowsAllOfItsMessageInNarrowFrames) {
    auto& jaws = shot(300, 300);
    jaws.effect.PathToFile.text = root + "/none.eps";
    const K7Image& frame = jaws.render();
    int first = 300, last = 0;
    for (int x = 0; x < 300; ++x)
        for (int y = 100; y < 200; ++y)
            if (at(frame, x, y, 2) > 0.4f) first = std::min(first, x), last = x;  // bands are yellow
    EXPECT_GT(first, 3);
    EXPECT_LT(first, 20);
    EXPECT_GT(last, 280);
    EXPECT_LT(last, 296);
}

TEST_F(JawsEffect, FailsAtOnceForAFrameThatNoServiceDraws) {
    EXPECT_EQ(pixel(shot(4097, 8).render(), 2000, 0), (std::vector<float>{0.235f, 0.235f, 0.235f, 1}));
    EXPECT_TRUE(fs::is_empty(jaws_base_directory() + "/JawsServiceInput"));
}

// Texts in a host: the path of our own drawing reaches the control, but never over what the user has chosen since.
TEST_F(JawsEffect, TellsThePathOfItsOwnDrawing) {
    const ScopedEnvironment disabled("JAWS_DISABLE", "yes");
    shot();
    const std::string own = jaws_base_directory() + "/rhino.eps", chosen = root + "/half.eps";
    fs::copy_file(chosen, own);
    support::RecordingHost host;
    support::TestEffect& effect = host.effect("Q_Jaws");
    const auto path = [&] { return effect.param("PathToFile").value().text; };
    effect.render();
    EXPECT_EQ(path(), "rhino.eps") << "until the next change";
    effect.set("Blend", 0.5);
    EXPECT_EQ(path(), own);
    effect.set("PathToFile", ofxhost::ParamValue());
    effect.render();
    ofxhost::ParamValue value;
    value.text = chosen;
    effect.set("PathToFile", value);
    EXPECT_EQ(path(), chosen);
    EXPECT_EQ(host.faults(), "");
}

}  // namespace
