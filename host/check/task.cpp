#include "host/check/task.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "host/check/invariant.h"

namespace bundlecheck {

namespace {

using nlohmann::json;

std::string toJson(const TrialSetup& setup, const Task& task) {
    return json{
        {"bundle", setup.bundle.string()}, {"strictness", setup.strictness}, {"kind", static_cast<int>(task.kind)},
        {"effects", task.effects},         {"effect", task.id.effect},       {"invariant", task.id.invariant},
        {"index", task.id.index},          {"seed", task.id.seed},           {"facts", bundlecheck::toJson(task.facts)},
        {"timeout", task.timeout},         {"device", task.device}}
        .dump(-1, ' ', false, json::error_handler_t::replace);
}

void fromJson(const std::string& text, TrialSetup& setup, Task& task) {
    const json all = json::parse(text);
    setup.bundle = all.at("bundle").get<std::string>();
    setup.strictness = all.at("strictness");
    task.kind = static_cast<Task::Kind>(all.at("kind").get<int>());
    task.effects = all.at("effects");
    task.id = {all.at("effect"), all.at("invariant"), all.at("index"), all.at("seed")};
    task.facts = factsFromJson(all.at("facts"));
    task.timeout = all.at("timeout");
    task.device = all.at("device");
}

void runTheCase(const TrialSetup& setup, const Task& task, const Sender& sender) {
    const Invariant* const invariant = findInvariant(task.id.invariant);
    if (!invariant) throw std::runtime_error("there is no invariant " + task.id.invariant);
    Trial trial(setup, task.facts, task.id,
                {.step = [&](const std::string& text) { sender.send(MessageKind::Step, text); },
                 .finding = [&](const std::string& text) { sender.send(MessageKind::Finding, text); },
                 .note = [&](const std::string& text) { sender.send(MessageKind::Note, text); },
                 .call = {}},
                task.timeout);
    if (!runCase(*invariant, trial)) sender.send(MessageKind::GivenUp, "");
    sender.send(MessageKind::Renders, std::to_string(trial.renders()));
}

void perform(const TrialSetup& setup, const Task& task, const Sender& sender) {
    switch (task.kind) {
        case Task::Kind::Names:
            return sender.send(MessageKind::Text, bundlecheck::toJson(effectNames(setup.bundle)));
        case Task::Kind::Device:
            if (const auto device = setup.device.open ? setup.device.open() : nullptr; device && device->queue())
                sender.send(MessageKind::Text, "a device");
            return;
        case Task::Kind::Facts:
            return exploreEffects(
                setup.bundle, task.effects, task.device ? setup.device.open() : nullptr,
                [&](const EffectFacts& facts) { sender.send(MessageKind::Text, bundlecheck::toJson(facts)); });
        case Task::Kind::Case:
            return runTheCase(setup, task, sender);
    }
}

}  // namespace

ChildProcess::Work workFor(const TrialSetup& setup, const Task& task) {
    if (!setup.program.empty()) return becoming(setup.program, {"check", "--answer"}, toJson(setup, task));
    return [setup, task](const Sender& sender) { perform(setup, task, sender); };
}

void answerTask(const std::string& text, TrialSetup setup, int pipe) {
    workAsChild(
        [&](const Sender& sender) {
            Task task;
            fromJson(text, setup, task);
            perform(setup, task, sender);
        },
        pipe);
}

}  // namespace bundlecheck
