// quillon list: the effects of a bundle.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iomanip>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "host/cli/command.h"
#include "host/cli/session.h"
#include "ofx/ofx_names.h"

namespace quillon {

namespace {

struct ListOptions {
    SessionOptions session;
    bool json = false;
};

struct Entry {
    std::string identifier, name, label, grouping;
    unsigned major, minor;
    std::vector<std::string> contexts;
    bool overlay;
};

std::vector<Entry> collect(Session& session) {
    std::vector<Entry> entries;
    for (const auto& plugin : session.bundle().plugins()) {
        OfxStatus status = ofx::status::OK;
        const auto descriptor = plugin->describe(&status);
        if (!descriptor) {  // the others are still worth telling
            session.console().warn(plugin->name() + " refuses to be described (status " + std::to_string(status) + ")");
            continue;
        }
        Entry entry{plugin->identifier(), plugin->name(), descriptor->label(), {}, 0, 0, {}, descriptor->hasOverlay()};
        if (entry.label.empty()) entry.label = entry.name;
        if (descriptor->properties().count(ofx::prop::PluginGrouping) > 0)
            entry.grouping = descriptor->properties().getString(ofx::prop::PluginGrouping);
        entry.major = plugin->record().pluginVersionMajor;
        entry.minor = plugin->record().pluginVersionMinor;
        for (const std::string& context : descriptor->supportedContexts())
            entry.contexts.push_back(contextWord(context));
        entries.push_back(std::move(entry));
    }
    return entries;
}

void printTable(const std::vector<Entry>& entries) {
    std::size_t name = 0, grouping = 0;
    for (const Entry& entry : entries) {
        name = std::max(name, entry.label.size());
        grouping = std::max(grouping, entry.grouping.size());
    }
    for (const Entry& entry : entries) {
        std::cout << std::left << std::setw(static_cast<int>(name) + 2) << entry.label
                  << std::setw(static_cast<int>(grouping) + 2) << entry.grouping;
        for (std::size_t i = 0; i < entry.contexts.size(); ++i) std::cout << (i ? ", " : "") << entry.contexts[i];
        std::cout << '\n';
    }
}

void printJson(const std::vector<Entry>& entries) {
    auto list = nlohmann::ordered_json::array();
    for (const Entry& entry : entries) {
        nlohmann::ordered_json item;
        item["identifier"] = entry.identifier;
        item["name"] = entry.name;
        item["label"] = entry.label;
        item["grouping"] = entry.grouping;
        item["version"] = {entry.major, entry.minor};
        item["contexts"] = entry.contexts;
        item["overlay"] = entry.overlay;
        list.push_back(std::move(item));
    }
    std::cout << list.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

void list(const ListOptions& options) {
    Session session(options.session);
    const std::vector<Entry> entries = collect(session);
    options.json ? printJson(entries) : printTable(entries);
    session.finish();
}

std::function<void()> declare(CLI::App& app) {
    const auto options = std::make_shared<ListOptions>();
    app.add_flag("--json", options->json, "As JSON");
    options->session.addTo(app);
    return [options] { list(*options); };
}

}  // namespace

const Command listCommand{"list", "List the effects of the bundle", declare};

}  // namespace quillon
