// The gallery: what is written, and what a browser makes of it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/cli/gallery_page.h"
#include "host/cli/html.h"
#include "host/cli/picture_file.h"
#include "host/cli/webp_loop.h"

namespace quillon {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

std::string contents(const fs::path& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

TEST(GalleryPages, EscapeTextAndReferToNothingOutside) {
    DeclaredEffect effect;
    effect.name = "Q_A";
    effect.description = "a < b & \"c\"";
    effect.presets = {{"Demos", {"X"}, {"Black & White"}, {{"<1>"}}, true}};
    const auto pages = galleryPages({"7.00", "contact.jpg", 16, 9, {effect}, {"A.Demos-01"}});
    const std::string& index = pages.at("index.html");
    for (const char* text : {"a &lt; b &amp; &quot;c&quot;", "Black &amp; White", "X <b>&lt;1&gt;</b>",
                             "pictures/A.Demos-01.webp", "href=\"effects/A.html\""})
        EXPECT_THAT(index, HasSubstr(text));
    EXPECT_THAT(index, Not(HasSubstr("pictures/A.webp"))) << "it does not move";
    EXPECT_THAT(index, Not(HasSubstr(">source<"))) << "it is made from nothing";
    for (const auto& [name, text] : pages) EXPECT_THAT(text, Not(HasSubstr("://"))) << name;
}

TEST(Html, IsMadeOfTheMarkdownOfThePages) {
    EXPECT_EQ(htmlOfMarkdown("## A\n\n- **b** `c|<`\n\n| x | y\\|z |\n|---|---|\n| [l](m.md) | \\<n |\n\n> q\n"),
              "<h2>A</h2>\n<ul>\n<li><b>b</b> <code>c|&lt;</code></li>\n</ul>\n<div class=\"table\"><table>\n"
              "<tr><th>x</th><th>y|z</th></tr>\n<tr><td><a href=\"m.html\">l</a></td><td>&lt;n</td></tr>\n"
              "</table></div>\n<blockquote>q</blockquote>\n");
}

TEST(Loops, EndWhereTheyBegin) {
    std::vector<LoopFrame> frames;
    for (int i = 0; i < 6; ++i) frames.push_back({1, 1, {static_cast<std::uint8_t>(40 * i), 0, 0, 255}});
    const auto closed = closedLoop(frames, 4);
    ASSERT_EQ(closed.size(), 4u);
    EXPECT_NEAR(closed[0].levels[0], 160 * 2 / 3, 1) << "mostly what follows the last frame";
    EXPECT_NEAR(closed[1].levels[0], (40 * 2 + 200) / 3, 1);
    EXPECT_EQ(closed[2].levels[0], 80);
    EXPECT_EQ(closed[0].levels[3], 255);
}

int framesOf(const std::string& webp) {
    int frames = 0;
    for (auto at = webp.find("ANMF"); at != std::string::npos; at = webp.find("ANMF", at + 4)) ++frames;
    return frames;
}

TEST(Loop, KeepsWhatChangesSlowly) {
    std::vector<LoopFrame> frames;
    for (std::uint8_t level = 100; level < 124; level += 3)
        frames.push_back({64, 64, std::vector<std::uint8_t>(64 * 64 * 4, level)});
    EXPECT_EQ(framesOf(encodeLoop(frames, 25, 72)), 8);
    EXPECT_FALSE(looksOther(frames[1], frames[0]));
    EXPECT_TRUE(looksOther(frames[7], frames[0]));
    LoopFrame speck = frames[0];
    speck.levels[17] = 255;
    EXPECT_FALSE(looksOther(speck, frames[0]));
}

// ---- As a program, and in a browser ---------------------------------------------------------------------------

class WrittenGallery : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        s_folder = fs::temp_directory_path() / ("quillon-gallery-" + std::to_string(::getpid()));
        fs::create_directories(s_folder);
        s_code = run("gallery -o shown thermo Q_Burn NightVision --size 192x108");
    }
    static void TearDownTestSuite() { fs::remove_all(s_folder); }

    // With the pictures of examples/.
    static int run(const std::string& arguments) {
        const std::string command = "cd " + s_folder.string() + " && K7BM_HOME_DIR=home " QUILLON_PROGRAM " " +
                                    arguments + " --examples " QUILLON_SOURCE "/examples >out 2>err </dev/null";
        return WEXITSTATUS(std::system(command.c_str()));
    }
    static fs::path shown(const std::string& name) { return s_folder / "shown" / name; }

    static inline fs::path s_folder;
    static inline int s_code = -1;
};

TEST_F(WrittenGallery, HasAPictureForEachPresetAndLoopsOfWhatMoves) {
    ASSERT_EQ(s_code, 0) << contents(s_folder / "err");
    for (const char* name : {"Burn", "Thermo", "Thermo.Demos-01", "NightVision.Demos-08", "source-portrait"})
        EXPECT_EQ(readPictureInfo(shown(std::string("pictures/") + name + ".jpg")).width, 192) << name;
    EXPECT_GT(framesOf(contents(shown("pictures/Burn.webp"))), 20)
        << "it burns for 20 frames; frames that stay alike become one";
    EXPECT_FALSE(fs::exists(shown("pictures/Thermo.webp")));
    EXPECT_THAT(contents(shown("index.html")), Not(HasSubstr("Lighten")));
    EXPECT_THAT(contents(shown("effects/Thermo.html")), HasSubstr("../pictures/Thermo.Demos-02.jpg"));
    EXPECT_GT(readPictureInfo(shown("contact.jpg")).width, 480);
    EXPECT_EQ(run("gallery -o shown thermos"), 2);
    EXPECT_THAT(contents(s_folder / "err"), HasSubstr("Thermo"));
}

// Measures what a visitor sees, and leaves the findings in the page: pictures that have not arrived, things wider than
// the window, and rows of cards that leave room at their ends.
constexpr char Inspection[] = R"(<script>
(function () {
  var faults = [], images = Array.from(document.images).filter(function (i) { return !i.closest("dialog"); });
  function inspect() {
    images.forEach(function (i) { if (!i.naturalWidth) faults.push("broken " + i.currentSrc); });
    if (document.documentElement.scrollWidth > innerWidth) faults.push("wider than the window");
    document.querySelectorAll(".cards").forEach(function (grid) {
      var box = grid.getBoundingClientRect(), rows = {};
      Array.from(grid.children).forEach(function (card) {
        var place = card.getBoundingClientRect(), row = rows[Math.round(place.top)] || [Infinity, -Infinity];
        rows[Math.round(place.top)] = [Math.min(row[0], place.left), Math.max(row[1], place.right)];
      });
      Object.values(rows).forEach(function (row) {
        if (row[0] > box.left + 1 || row[1] < box.right - 1) faults.push("a hole in " + grid.parentNode.id);
      });
    });
    document.querySelector(".card [data-full]").click();
    var dialog = document.querySelector("dialog"), large = dialog.querySelector(".after img");
    if (!dialog.open || !large.currentSrc || large.getBoundingClientRect().width < innerWidth * 0.5)
      faults.push("a click does not enlarge");
    document.title = "seen " + images.length + " " + innerWidth + ": " + faults.join(", ") + ".";
  }
  function wait() {
    if (images.every(function (i) { return i.complete; })) inspect(); else setTimeout(wait, 50);
  }
  images.forEach(function (i) { i.loading = "eager"; });
  wait();
})();
</script>)";

TEST_F(WrittenGallery, LooksRightInABrowserOfAnyWidth) {
    if (std::system("command -v chromium >/dev/null") != 0)
        GTEST_SKIP() << "Chromium is not installed: the gallery is not looked at in a browser";
    ASSERT_EQ(s_code, 0);
    std::ofstream(shown("inspected.html")) << contents(shown("index.html")) << Inspection;
    const auto browse = [&](const std::string& arguments) {
        return std::system(("cd " + s_folder.string() +
                            " && timeout 120 chromium --headless --no-sandbox --disable-gpu --hide-scrollbars "
                            "--user-data-dir=browser --virtual-time-budget=20000 " +
                            arguments + " 2>/dev/null")
                               .c_str());
    };
    for (const int width : {500, 1000, 1600}) {
        const std::string window = "--window-size=" + std::to_string(width) + ",1400 ";
        ASSERT_EQ(browse(window + "--dump-dom file://" + shown("inspected.html").string() + " >dom"), 0);
        EXPECT_THAT(contents(s_folder / "dom"),
                    testing::ContainsRegex("<title>seen [0-9]+ " + std::to_string(width) + ": \\.</title>"));
        ASSERT_EQ(browse(window + "--screenshot=seen.png file://" + shown("index.html").string()), 0);
        const Picture seen = readPicture(s_folder / "seen.png");
        ASSERT_EQ(seen.width, width);
        const float* corner = seen.row(seen.height - 1);
        EXPECT_GT(*std::max_element(corner, corner + 3), 0.9f) << "the ground of a light theme";
    }
}

}  // namespace
}  // namespace quillon
