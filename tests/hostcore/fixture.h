// The inverter in a recording host, described and created.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "inverter_plugin.h"
#include "ofx/ofx_names.h"
#include "support/recording_host.h"

struct InverterTest : testing::Test {
    static ofxhost::HostConfig config() {
        ofxhost::HostConfig made;
        made.threads = 3;
        made.checkSources = true;
        return made;
    }

    // Runs `body` as the plug-in, inside an action of the instance.
    void inside(const std::function<void(OfxImageEffectHandle)>& body, const char* action = ofx::action::PurgeCaches) {
        bool ran = false;
        const inverter::Interception interception([&](const inverter::Action& call) -> std::optional<OfxStatus> {
            if (!call.is(action) || ran) return std::nullopt;
            ran = true;
            body(call.effect());
            return ofx::status::OK;
        });
        effect.instance().simpleAction(action);
        EXPECT_TRUE(ran);
    }

    int errors() { return host.host().diagnostics().count(ofxhost::Severity::Error); }
    int notes() { return host.host().diagnostics().count(ofxhost::Severity::Note); }
    void forget() { host.host().diagnostics().clear(); }

    support::RecordingHost host{config(), {inverter::plugin()}};
    support::TestEffect& effect = host.effect(inverter::name);
    const inverter::Suites& suites = inverter::suites();
};
