// The reference pages: that those in docs/effects/ are what the declarations say now, and that they say it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "host/cli/failure.h"
#include "host/cli/manual.h"
#include "host/cli/reference_pages.h"

namespace quillon {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

const fs::path Docs = fs::path(QUILLON_SOURCE) / "docs";

TEST(Reference, PagesInDocsAreUpToDate) {
    const auto pages =
        referencePages(readDeclarations(QUILLON_BUNDLE),
                       {.has = [](const std::string& file) { return fs::exists(Docs / "images/effects" / file); }});
    ASSERT_EQ(pages.size(), 59u);
    for (const auto& [name, text] : pages) {
        std::ifstream file(Docs / "effects" / name, std::ios::binary);
        const std::string known{std::istreambuf_iterator<char>(file), {}};
        EXPECT_EQ(known, text) << name << " is stale: run ./run reference";
    }
    for (const auto& entry : fs::directory_iterator(Docs / "effects"))
        EXPECT_TRUE(pages.contains(entry.path().filename().string())) << entry.path() << " is of no effect";
}

DeclaredEffect glow() {
    DeclaredEffect effect;
    effect.name = "Q_Glow";
    effect.identifier = "com.example.Q_Glow";
    effect.menu = "Looks";
    effect.description = "  Adds a   glow. This effect is in Box Number 7";
    effect.usage = {"Put it last."};
    effect.scene.inputs = {"@ramp"};
    effect.scene.look = {"Size=4"};
    effect.contexts = {"OfxImageEffectContextFilter"};
    effect.pages = {"Main", "More"};
    effect.clips = {{"Input", "Clip to Glow", "In", true, true}};
    DeclaredParam size, mode, hidden;
    size = {"Size", "Size of it", "Size_of_it", "OfxParamTypeDouble",           "Number", "Main", "3", "0 .. 20",
            {},     true,         false,        "How wide it glows, in pixels."};
    mode = {"Demos", "Preset", "Preset", "OfxParamTypeChoice", "Choice", "More", "Soft", "", {"Soft", "Hard|er"},
            false,   false,    ""};
    hidden = {"Seed", "Seed", "Seed", "OfxParamTypeInteger", "Integer", "More", "1", "", {}, true, true, ""};
    effect.params = {size, mode, hidden};
    effect.presets = {{"Demos", {"Size", "Seed"}, {"Soft", "Hard|er"}, {{"3.0", ""}, {"9.5", "2"}}, false}};
    effect.rules = {{"Demos", {"Size", "Seed"}, "Preset is Soft", ""}, {"Demos", {}, "", "Seed follows Size"}};
    effect.widgets = {{"circle", {"Size"}}};
    effect.hosts = {{"Nuke", {"One.", "Two."}}};
    return effect;
}

TEST(Reference, TellsAllThatIsDeclared) {
    const auto pages = referencePages({"1.0", {glow()}}, {.has = [](const std::string&) { return true; }});
    const std::string& page = pages.at("Glow.md");
    for (const char* text :
         {"# Q_Glow\n\nAdds a glow.\n",
          "<img src=\"../images/effects/Glow.jpg\"",
          "/source-ramp.jpg\"",
          "\nWith Size of it 4.\n",
          "## How to use it\n\n- Put it last.\n",
          "| Contexts | filter |",
          "| Clip to Glow | `Input` | In | yes | yes |",
          "### Page Main",
          "| Size of it | `Size` | `Size_of_it` | Number | 3 | 0 .. 20 | How wide it glows, in pixels. |",
          "Choice (not animated) | Soft | Soft · Hard\\|er |  |",
          "Integer (hidden)",
          "- Size of it and Seed are greyed when Preset is Soft.\n",
          "- Seed follows Size.\n",
          "**Preset** (`Demos`) writes 2 parameters and leaves the others.",
          "/Glow.Demos-02.jpg\"",
          "> | Soft | the defaults |",
          "\n|  | Preset | Values |\n",
          "| Hard\\|er | Size of it 9.5 |",
          "- Circle: Size of it\n",
          "| Nuke | One. Two. |"})
        EXPECT_THAT(page, HasSubstr(text));
    EXPECT_THAT(pages.at("README.md"), HasSubstr("| [Q_Glow](Glow.md) | Adds a glow. |"));
    EXPECT_THAT(referencePage(glow(), {.has = [](const std::string&) { return false; }}), Not(HasSubstr("<img")))
        << "nothing to show";
}

// A reader finds every object through the table at the end of the file.
void expectSoundPdf(const std::string& file) {
    EXPECT_TRUE(file.starts_with("%PDF-1.4\n") && file.ends_with("%%EOF\n"));
    const std::size_t table = std::stoul(file.substr(file.rfind("startxref\n") + 10));
    ASSERT_EQ(file.substr(table, 7), "xref\n0 ");
    const std::size_t count = std::stoul(file.substr(table + 7));
    const std::size_t rows = file.find('\n', table + 5) + 1;
    for (std::size_t i = 1; i < count; ++i) {
        const std::size_t place = std::stoul(file.substr(rows + 20 * i, 10));
        const std::string head = std::to_string(i) + " 0 obj\n";
        EXPECT_EQ(file.substr(place, head.size()), head);
    }
}

TEST(Manual, IsASoundDocumentWithAllThatAnEffectDeclares) {
    DeclaredEffect effect = glow();
    effect.params[0].sentence = "Half (\\) of it \xE2\x80\x93 \xC2\xB7 \xE6\x97\xA5.";
    const std::string file = manualPdf({"1.0", {effect}});
    expectSoundPdf(file);
    for (const char* text : {"/Title (Q_Glow)", "(Adds a glow.)", "(Size of it)",
                             "(Half \\(\\\\\\) of it \x96 \xB7 ?.)", "(Number; default 3; range 0 to 20.)",
                             "(Q_Glow\xA0"
                             "2)",
                             "Soft, Hard|er", "(Nuke: One. Two.)"})
        EXPECT_THAT(file, HasSubstr(text));
    EXPECT_THAT(file, Not(HasSubstr("(Seed)"))) << "hidden";
    effect.params.assign(200, effect.params[0]);
    const std::string filled = manualPdf({"1.0", {effect}});
    expectSoundPdf(filled);
    EXPECT_THAT(filled, testing::ContainsRegex("/Count 1[0-9] >>")) << "18 parameters fill a page";
    EXPECT_THAT(filled, Not(testing::ContainsRegex(" (-[0-9]+|[0-9]|1[0-9]|29|[34][0-9])\\.[0-9] Td")))
        << "nothing in the lower margin but page numbers";
}

TEST(Manual, IsWhatTheBundlesHelpButtonsOpen) {
    std::ifstream stream(fs::path(QUILLON_BUNDLE).parent_path().parent_path() / "Resources/OFX_Quillon.pdf",
                         std::ios::binary);
    const std::string file{std::istreambuf_iterator<char>(stream), {}};
    expectSoundPdf(file);
    EXPECT_EQ(file, manualPdf(readDeclarations(QUILLON_BUNDLE)));
}

TEST(Declarations, AreRefusedWhenMissingOrDamaged) {
    const fs::path bundle = fs::path(testing::TempDir()) / "Damaged.ofx.bundle";
    EXPECT_THROW(readDeclarations(bundle), RunError);
    fs::create_directories(bundle / "Contents/Resources");
    for (const char* text :
         {"", "{", "[]", R"({"version": "1", "effects": [{}]})", R"({"version": 1, "effects": 2})"}) {
        std::ofstream(bundle / "Contents/Resources/effects.json") << text;
        EXPECT_THROW(readDeclarations(bundle), RunError) << text;
    }
    fs::remove_all(bundle);
}

}  // namespace
}  // namespace quillon
