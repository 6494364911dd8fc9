// The 58 effects as each host finds them: names, menus, contexts, clips; and that each lives and dies there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bundle/Registry.h"
#include "expected_effects.h"
#include "ofx/ofx_names.h"
#include "support/recording_host.h"

namespace {

namespace prop = ofx::prop;
using support::RecordingHost;
using testing::ElementsAre;

std::string labelOf(const expected::Effect& effect) { return std::string("Q_") + effect.name; }

class CatalogueOnHost : public testing::TestWithParam<const char*> {
  protected:
    bool is(std::string_view word) const { return word == GetParam(); }
    bool sourceOnly() const { return is("vegas") || is("cdv"); }
    std::string grouping(const std::string& menu) const {
        if (is("nuke") || is("fusion")) return "Quillon/Quillon " + menu;
        if (is("toxik")) return "Q. " + menu;
        return "Quillon " + menu;
    }
    RecordingHost host{GetParam()};
};

TEST_P(CatalogueOnHost, DescribesEveryEffect) {
    const auto& plugins = host.bundle().plugins();
    ASSERT_EQ(plugins.size(), expected::effects().size());
    for (std::size_t i = 0; i < plugins.size(); ++i) {
        const expected::Effect& effect = expected::effects()[i];
        SCOPED_TRACE(effect.name);
        EXPECT_EQ(plugins[i]->identifier(),
                  std::string("com.brindlemoor.quillon.") + effect.group + ".Q_" + effect.name);
        const auto descriptor = plugins[i]->describe();
        ASSERT_NE(descriptor, nullptr);
        const auto& set = descriptor->properties();
        EXPECT_EQ(descriptor->label(), labelOf(effect));
        EXPECT_EQ(set.getString(prop::PluginGrouping), grouping(effect.menu));
        std::vector<std::string> contexts{"OfxImageEffectContextGeneral", "OfxImageEffectContextFilter"};
        if (effect.generator) contexts.emplace_back("OfxImageEffectContextGenerator");
        EXPECT_EQ(descriptor->supportedContexts(), contexts);
        EXPECT_EQ(descriptor->hasOverlay(), effect.overlay);
        EXPECT_EQ(set.getInt(prop::MultipleClipDepths), 0);
        EXPECT_EQ(set.getInt(prop::SupportsTiles), 0);
        EXPECT_EQ(set.getString(prop::PluginRenderThreadSafety), "OfxImageEffectRenderUnsafe");
        EXPECT_EQ(set.getInt(prop::PluginHostFrameThreading), 0);
        EXPECT_EQ(set.getString(prop::SupportedPixelDepths, 0), "OfxBitDepthByte");
        EXPECT_EQ(set.getString(prop::SupportedPixelDepths, 1), "OfxBitDepthShort");
        EXPECT_EQ(set.getString(prop::SupportedPixelDepths, 2), "OfxBitDepthFloat");
        EXPECT_EQ(set.getInt(prop::InstanceSequentialRender), is("toxik") ? 1 : 0);
    }
    EXPECT_EQ(host.faults(), "");
}

TEST_P(CatalogueOnHost, DeclaresTheClipsOfEveryEffect) {
    for (const expected::Effect& effect : expected::effects()) {
        SCOPED_TRACE(effect.name);
        const auto descriptor = host.describe(labelOf(effect));
        ASSERT_NE(descriptor, nullptr);
        EXPECT_EQ(descriptor->properties().getInt(prop::TemporalClipAccess), effect.otherFrames ? 1 : 0);
        const auto& clips = descriptor->clips();
        ASSERT_EQ(clips.size(), sourceOnly() ? 2u : effect.clips.size() + 1);
        EXPECT_EQ(clips[0]->name(), "Output");
        EXPECT_EQ(clips[0]->properties().getString(prop::SupportedComponents), "OfxImageComponentRGBA");
        for (std::size_t i = 1; i < clips.size(); ++i) {
            const expected::Clip& clip = effect.clips[i - 1];
            const auto& set = clips[i]->properties();
            EXPECT_EQ(clips[i]->name(), sourceOnly() ? "Source" : clip.name);
            EXPECT_EQ(set.getString(prop::Label), is("nuke") ? clip.nukeLabel : clip.label);
            EXPECT_EQ(clips[i]->optional(), !clip.required) << clip.name;
            EXPECT_EQ(clips[i]->temporal(), clip.temporal) << clip.name;
            EXPECT_EQ(set.getString(prop::SupportedComponents), "OfxImageComponentRGBA");
        }
    }
    EXPECT_EQ(host.faults(), "");
}

TEST_P(CatalogueOnHost, CreatesRendersAndDestroysEveryEffect) {
    for (const expected::Effect& effect : expected::effects()) {
        SCOPED_TRACE(effect.name);
        auto& instance = host.effect(labelOf(effect), ofx::context::General);
        EXPECT_EQ(instance.createStatus(), ofx::status::OK);
        instance.connect(instance.primaryClip().name(),
                         support::gradientImage(support::layoutOf(64, 48, support::Depth::Byte)));
        EXPECT_EQ(instance.renderStatus(), ofx::status::OK);
        EXPECT_TRUE(instance.imagesBalanced());
        std::map<std::string, ofxhost::FrameRanges> frames;
        EXPECT_EQ(instance.instance().framesNeeded(3.0, frames),
                  effect.otherFrames ? ofx::status::OK : ofx::status::ReplyDefault);
        instance.destroyInstance();
    }
    EXPECT_EQ(host.faults(), "");
}

INSTANTIATE_TEST_SUITE_P(Hosts, CatalogueOnHost,
                         testing::Values("generic", "nuke", "toxik", "scratch", "fusion", "filmmaster", "baselight",
                                         "avid", "mistika", "vegas", "cdv"),
                         [](const auto& host) { return std::string(host.param); });

TEST(Catalogue, CarriesTheTextsOfTheHelpPage) {
    for (std::size_t i = 0; i < expected::effects().size(); ++i)
        EXPECT_STREQ(registry()[i].traits->description, expected::effects()[i].description);
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
    EXPECT_THAT(std::vector<std::string>(host.callTexts("fetchSuite")).size(), 21u);
}

TEST(Catalogue, EveryControlOfAPictureTellsWhatItDoes) {
    for (const EffectDefinition& effect : registry()) {
        if (!effect.hasPicture) continue;
        const auto info = effect.declare();
        for (const ControlK7* control : info->controls())
            EXPECT_THAT(std::string(control->sentence()), testing::MatchesRegex("[A-Z].*[.]"))
                << effect.traits->name << " " << control->name();
    }
}

}  // namespace
