// The hooks by which tests and checkers disturb a plug-in, each seen from the plug-in's side.
#include "fixture.h"

using namespace ofx::status;

namespace {

struct FaultsTest : InverterTest {
    FaultsTest() { effect.connect(ofx::clip::Source, support::gradientImage(support::layoutOf(64, 48))); }
    const OfxImageEffectSuiteV1& s = *suites.effect;
};

TEST_F(FaultsTest, FailsTheCallAskedForAndNoOther) {
    ofxhost::HostHooks refusing, empty;
    refusing.failClipGetImageAt = 2;
    refusing.clipGetImageStatus = ErrMemory;
    empty.nullDataClip = ofx::clip::Output;
    host.setHooks(refusing);
    host.clearRecord();
    EXPECT_EQ(effect.renderStatus(), Failed) << "the output was refused";
    std::vector<OfxStatus> answers;
    for (const auto& call : host.calls())
        if (call.name == "clipGetImage") answers.push_back(call.status);
    EXPECT_THAT(answers, testing::ElementsAre(OK, ErrMemory));
    EXPECT_EQ(effect.renderStatus(), OK);
    host.failCall("clipGetHandle", 2, ErrBadHandle);
    EXPECT_EQ(effect.renderStatus(), Failed);
    EXPECT_EQ(effect.renderStatus(), OK);
    host.setHooks(empty);
    EXPECT_EQ(effect.renderStatus(), Failed) << "an output without pixels";
    EXPECT_TRUE(effect.imagesBalanced());
}

TEST_F(FaultsTest, WithholdsSuitesAndHostProperties) {
    ofxhost::HostHooks hooks;
    hooks.withheldSuites = {ofx::suite::Interact};
    hooks.withheldHostProperties = {ofx::prop::SupportsOverlays};
    host.setHooks(hooks);
    OfxHost* record = inverter::host();
    int value = 42;
    EXPECT_EQ(record->fetchSuite(record->host, ofx::suite::Interact, 1), nullptr);
    EXPECT_NE(record->fetchSuite(record->host, ofx::suite::Memory, 1), nullptr);
    EXPECT_EQ(suites.property->propGetInt(record->host, ofx::prop::SupportsOverlays, 0, &value), ErrUnknown);
    EXPECT_EQ(value, 42);
    EXPECT_EQ(errors(), 0) << "asking for what a host may leave out is no fault";
    host.clearHooks();
    EXPECT_EQ(suites.property->propGetInt(record->host, ofx::prop::SupportsOverlays, 0, &value), OK);
    EXPECT_EQ(value, 1);
}

TEST_F(FaultsTest, KeepsMessages) {
    EXPECT_EQ(suites.message->message(nullptr, "OfxMessageError", "id", "%s is %d", "this", 7), OK);
    host.host().setQuestionAnswer(ReplyNo);
    EXPECT_EQ(suites.message->message(effect.instance().handle(), "OfxMessageQuestion", nullptr, "Sure?"), ReplyNo);
    const auto messages = host.host().messages();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0].text, "this is 7");
    EXPECT_EQ(messages[0].type, "OfxMessageError");
    EXPECT_EQ(suites.message->message(nullptr, nullptr, nullptr, "x"), ErrValue);
}

}  // namespace
