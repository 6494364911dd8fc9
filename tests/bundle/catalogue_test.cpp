// The effects as each host finds them: names, menus, contexts, clips; and that each lives and dies there.
//
// What users' projects hang on is in catalogue.json. Where the effects have changed on purpose, renew it and read the
// difference:
//
//     QUILLON_RENEW_CATALOGUE=1 build/release/tests/bundle/bundle_test --gtest_filter='Catalogue.*'
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "catalogue.h"
#include "ofx/ofx_names.h"
#include "support/recording_host.h"

namespace {

namespace prop = ofx::prop;
using support::RecordingHost;
using testing::ElementsAre;

// What catalogue.json keeps of the declarations that the bundle carries.
std::string declaredCatalogue() {
    const auto declared = nlohmann::ordered_json::parse(std::ifstream(QUILLON_DECLARATIONS)).at("effects");
    std::string text;
    for (const auto& effect : declared) {
        nlohmann::ordered_json line;
        for (const char* key :
             {"name", "identifier", "menu", "description", "contexts", "hasOverlay", "otherFrames", "clips"})
            line[key] = effect.at(key);
        text += (text.empty() ? "[" : ",\n") + line.dump();
    }
    return text + "]\n";
}

TEST(Catalogue, IsAsUsersProjectsKnowIt) {
    const std::string declared = declaredCatalogue();
    if (std::getenv("QUILLON_RENEW_CATALOGUE")) std::ofstream(CATALOGUE_FILE, std::ios::binary) << declared;
    std::ifstream file(CATALOGUE_FILE, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), declared);
}

class CatalogueOnHost : public testing::TestWithParam<const char*> {
  protected:
    bool is(std::string_view word) const { return word == GetParam(); }
    bool sourceOnly() const { return is("vegas") || is("cdv"); }
    std::string grouping(const std::string& menu) const {
        if (is("nuke") || is("fusion")) return "Quillon/Quillon " + menu;
        if (is("toxik")) return "Q. " + menu;
        return "Quillon " + menu;
    }
    void expectClips(const std::vector<std::unique_ptr<ofxhost::ClipDescriptor>>& clips,
                     const nlohmann::json& declared) {
        ASSERT_EQ(clips.size(), sourceOnly() ? 2u : declared.size() + 1);
        EXPECT_EQ(clips[0]->name(), "Output");
        for (std::size_t i = 0; i < clips.size(); ++i) {
            const auto& set = clips[i]->properties();
            EXPECT_EQ(set.getString(prop::SupportedComponents), "OfxImageComponentRGBA");
            if (i == 0) continue;
            const nlohmann::json& clip = declared[i - 1];
            EXPECT_EQ(clips[i]->name(), sourceOnly() ? "Source" : clip.at("name"));
            EXPECT_EQ(set.getString(prop::Label), clip.at(is("nuke") ? "shortLabel" : "label"));
            EXPECT_EQ(clips[i]->optional(), !clip.at("required")) << clip;
            EXPECT_EQ(clips[i]->temporal(), clip.at("temporal")) << clip;
        }
    }
    RecordingHost host{GetParam()};
};

TEST_P(CatalogueOnHost, DescribesEveryEffectAndItsClips) {
    const auto& plugins = host.bundle().plugins();
    ASSERT_EQ(plugins.size(), catalogue().size());
    for (std::size_t i = 0; i < plugins.size(); ++i) {
        const nlohmann::json& effect = catalogue()[i];
        SCOPED_TRACE(effect.at("name").get<std::string>());
        EXPECT_EQ(plugins[i]->identifier(), effect.at("identifier"));
        const auto descriptor = plugins[i]->describeInContext(ofx::context::Filter);
        ASSERT_NE(descriptor, nullptr);
        const auto& set = descriptor->properties();
        EXPECT_EQ(descriptor->label(), effect.at("name"));
        EXPECT_EQ(set.getString(prop::PluginGrouping), grouping(effect.at("menu")));
        EXPECT_EQ(descriptor->supportedContexts(), effect.at("contexts").get<std::vector<std::string>>());
        EXPECT_EQ(descriptor->hasOverlay(), effect.at("hasOverlay"));
        EXPECT_EQ(set.getInt(prop::SupportsTiles), 0);
        EXPECT_EQ(set.getString(prop::PluginRenderThreadSafety), "OfxImageEffectRenderUnsafe");
        for (const auto& [index, depth] :
             {std::pair(0, "OfxBitDepthByte"), {1, "OfxBitDepthShort"}, {2, "OfxBitDepthFloat"}})
            EXPECT_EQ(set.getString(prop::SupportedPixelDepths, index), depth);
        EXPECT_EQ(set.getInt(prop::InstanceSequentialRender), is("toxik") ? 1 : 0);
        EXPECT_EQ(set.getInt(prop::TemporalClipAccess), effect.at("otherFrames") ? 1 : 0);
        expectClips(descriptor->clips(), effect.at("clips"));
    }
    EXPECT_EQ(host.faults(), "");
}

TEST_P(CatalogueOnHost, CreatesRendersAndDestroysEveryEffect) {
    for (const nlohmann::json& effect : catalogue()) {
        SCOPED_TRACE(effect.at("name").get<std::string>());
        auto& instance = host.effect(effect.at("name").get<std::string>(), ofx::context::General);
        EXPECT_EQ(instance.createStatus(), ofx::status::OK);
        instance.connect(instance.primaryClip().name(),
                         support::gradientImage(support::layoutOf(64, 48, support::Depth::Byte)));
        EXPECT_EQ(instance.renderStatus(), ofx::status::OK);
        EXPECT_TRUE(instance.imagesBalanced());
        std::map<std::string, ofxhost::FrameRanges> frames;
        EXPECT_EQ(instance.instance().framesNeeded(3.0, frames),
                  effect.at("otherFrames") ? ofx::status::OK : ofx::status::ReplyDefault);
        instance.destroyInstance();
    }
    EXPECT_EQ(host.faults(), "");
}

INSTANTIATE_TEST_SUITE_P(Hosts, CatalogueOnHost,
                         testing::Values("generic", "nuke", "toxik", "scratch", "fusion", "filmmaster", "baselight",
                                         "avid", "mistika", "vegas", "cdv"),
                         [](const auto& host) { return std::string(host.param); });

TEST(Catalogue, IsAsLargeAsTheReadmeSays) {
    std::ifstream file(QUILLON_SOURCE "/README.md");
    const std::string readme(std::istreambuf_iterator<char>(file), {});
    const std::string told = "a bundle of " + std::to_string(catalogue().size()) + " OpenFX";
    EXPECT_NE(readme.find(told), std::string::npos) << told;
}

TEST(Catalogue, HasNoOverlayInAHostWithoutThem) {
    ofxhost::HostConfig config;
    config.overlays = false;
    RecordingHost host(config);
    for (const auto& plugin : host.bundle().plugins()) EXPECT_FALSE(plugin->describe()->hasOverlay()) << plugin->name();
}

// Which effects stand where others start is nobody's business but the host's: facts once, suites at every describe.
TEST(Catalogue, AsksTheHostForFactsOnceAndForSuitesAtEveryDescribe) {
    RecordingHost host("baselight");
    const auto suites = [&] { return host.count("fetchSuite"); };
    const auto facts = [&] {
        int reads = 0;
        for (const auto& call : host.calls())
            reads += call.name.starts_with("propGet") &&
                     (call.arguments.find("OfxParamHostPropMaxPages") != std::string::npos ||
                      call.arguments.find("OfxImageEffectPropSupportsOverlays") != std::string::npos);
        return reads;
    };
    for (int i = 0; i < 3; ++i) {
        host.bundle().plugins()[static_cast<std::size_t>(i * 20)]->describe();
        EXPECT_EQ(suites(), 7 * (i + 1));
        EXPECT_EQ(facts(), 2);
    }
}

TEST(Catalogue, EveryControlOfAPictureTellsWhatItDoes) {
    const auto declared = nlohmann::json::parse(std::ifstream(QUILLON_DECLARATIONS));
    for (const auto& effect : declared.at("effects")) {
        for (const auto& control : effect.at("parameters"))
            EXPECT_THAT(control.at("sentence").get<std::string>(), testing::MatchesRegex("[A-Z].*[.]"))
                << effect.at("name") << " " << control.at("name");
    }
}

}  // namespace
