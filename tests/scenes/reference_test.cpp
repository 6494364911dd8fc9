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
    const auto pages = referencePages(readDeclarations(QUILLON_BUNDLE), [](const std::string& effect) {
        return fs::exists(Docs / "images/effects" / (effect + ".jpg"));
    });
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
    effect.description = "  Adds a   glow. ";
    effect.contexts = {"OfxImageEffectContextFilter"};
    effect.hasPicture = true;
    effect.pages = {"Main", "More"};
    effect.clips = {{"Input", "Clip to Glow", "In", true, true}};
    DeclaredParam size, mode, hidden;
    size = {"Size", "Size of it", "Size_of_it", "OfxParamTypeDouble",           "Number", "Main", "3", "0 .. 20",
            {},     true,         false,        "How wide it glows, in pixels."};
    mode = {"Demos", "Preset", "Preset", "OfxParamTypeChoice", "Choice", "More", "Soft", "", {"Soft", "Hard|er"},
            false,   false,    ""};
    hidden = {"Seed", "Seed", "Seed", "OfxParamTypeInteger", "Integer", "More", "1", "", {}, true, true, ""};
    effect.params = {size, mode, hidden};
    effect.presets = {{"Demos", {"Size"}, {"Soft", "Hard|er"}, {{"2"}, {"9.5"}}, false}};
    effect.rules = {{"Demos", {"Size", "Seed"}, "Preset is Soft", ""}, {"Demos", {}, "", "Seed follows Size"}};
    effect.widgets = {{"circle", {"Size"}}};
    effect.hosts = {{"Nuke", {"One.", "Two."}}};
    return effect;
}

TEST(Reference, TellsAllThatIsDeclared) {
    const auto pages = referencePages({"1.0", {glow()}}, [](const std::string&) { return true; });
    const std::string& page = pages.at("Glow.md");
    for (const char* text :
         {"# Q_Glow\n\nAdds a glow.\n", "![Q_Glow](../images/effects/Glow.jpg)", "| Contexts | filter |",
          "| Clip to Glow | `Input` | In | yes | yes |", "### Page Main",
          "| Size of it | `Size` | `Size_of_it` | Number | 3 | 0 .. 20 | How wide it glows, in pixels. |",
          "Choice (not animated) | Soft | Soft · Hard\\|er |  |", "Integer (hidden)",
          "- Size of it and Seed are greyed when Preset is Soft.\n", "- Seed follows Size.\n",
          "**Preset** (`Demos`) sets these values and leaves all others", "| Hard\\|er | 9.5 |",
          "- Circle: Size of it\n", "| Nuke | One. Two. |"})
        EXPECT_THAT(page, HasSubstr(text));
    EXPECT_THAT(page, Not(HasSubstr("hands on its input")));
    EXPECT_THAT(pages.at("README.md"), HasSubstr("| [Q_Glow](Glow.md) | Adds a glow. | yes |"));
}

TEST(Reference, SaysWhenAnEffectHasNoPicture) {
    DeclaredEffect effect = glow();
    effect.hasPicture = false;
    const std::string page = referencePages({"1.0", {effect}}, [](const std::string&) { return false; }).at("Glow.md");
    EXPECT_THAT(page, HasSubstr("hands on its input"));
    EXPECT_THAT(page, Not(HasSubstr("![")));
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
        EXPECT_EQ(file.compare(place, 20, std::to_string(i) + " 0 obj", 0, std::to_string(i).size() + 6), 0) << i;
    }
}

TEST(Manual, IsASoundDocumentWithAllThatAnEffectDeclares) {
    DeclaredEffect effect = glow();
    effect.params[0].sentence = "Half (\\) of it \xE2\x80\x93 \xC2\xB7 \xE6\x97\xA5.";
    const std::string file = manualPdf({"1.0", {effect}});
    expectSoundPdf(file);
    for (const char* text :
         {"/Title (Q_Glow)", "(Adds a glow.)", "(Size of it)", "(Half \\(\\\\\\) of it \x96 \xB7 ?.)",
          "(Number; default 3; range 0 .. 20.)", "Soft, Hard|er", "(Nuke: One. Two.)"})
        EXPECT_THAT(file, HasSubstr(text));
    EXPECT_THAT(file, Not(HasSubstr("(Seed)"))) << "hidden";
    effect.params.assign(200, effect.params[0]);
    EXPECT_THAT(manualPdf({"1.0", {effect}}), HasSubstr("/Count 10 >>")) << "pages fill one after another";
}

TEST(Manual, IsWhatTheBundlesHelpButtonsOpen) {
    std::ifstream stream(fs::path(QUILLON_BUNDLE).parent_path().parent_path() / "Resources/OFX_Quillon.pdf",
                         std::ios::binary);
    const std::string file{std::istreambuf_iterator<char>(stream), {}};
    expectSoundPdf(file);
    EXPECT_EQ(file, manualPdf(readDeclarations(QUILLON_BUNDLE)));
}

TEST(Declarations, OfTheBundleHoldWhatAHostIsTold) {
    const Declarations declarations = readDeclarations(QUILLON_BUNDLE);
    ASSERT_EQ(declarations.effects.size(), 58u);
    const auto crash = std::find_if(declarations.effects.begin(), declarations.effects.end(),
                                    [](const auto& effect) { return effect.name == "Q_CrashZoom"; });
    ASSERT_NE(crash, declarations.effects.end());
    ASSERT_EQ(crash->widgets.size(), 2u);
    EXPECT_EQ(crash->widgets[1].params, (std::vector<std::string>{"Centre", "Radius"}));
    ASSERT_NE(crash->findParam("Radius"), nullptr);
    EXPECT_EQ(crash->findParam("Radius")->kind, "Size");
    const auto vegas =
        std::find_if(crash->hosts.begin(), crash->hosts.end(), [](const auto& h) { return h.host == "Vegas"; });
    ASSERT_NE(vegas, crash->hosts.end());
    EXPECT_THAT(vegas->texts, testing::Contains("The clip Input is called Source. There are no further clips."));
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
