#include "host/check/report.h"

#include <algorithm>
#include <cctype>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>

namespace bundlecheck {

namespace {

// Without its numbers: the same fault at another place or of another size.
std::string shapeOf(const std::string& text) {
    std::string shape;
    for (const char c : text) {
        const bool digit = std::isdigit(static_cast<unsigned char>(c)) || c == '.' || c == '-';
        if (!digit)
            shape += c;
        else if (shape.empty() || shape.back() != '#')
            shape += '#';
    }
    return shape;
}

void addRow(std::ostringstream& text, const std::string& name, const Tally& tally, std::size_t width) {
    text << "  " << std::left << std::setw(static_cast<int>(width)) << name << std::right << std::setw(10)
         << tally.cases << std::setw(12) << tally.renders << std::setw(10) << tally.givenUp << std::setw(11)
         << tally.findings << '\n';
}

void addHead(std::ostringstream& text, const char* what, std::size_t width) {
    text << "  " << std::left << std::setw(static_cast<int>(width)) << what << std::right << std::setw(10) << "cases"
         << std::setw(12) << "renders" << std::setw(10) << "given up" << std::setw(11) << "findings" << '\n';
}

}  // namespace

bool FindingFilter::isNew(const Finding& finding) {
    std::vector<std::string>& told = m_told[{finding.id.effect, finding.id.invariant}];
    const std::string shape = shapeOf(finding.text);
    if (std::find(told.begin(), told.end(), shape) != told.end()) return false;
    told.push_back(shape);
    return true;
}

std::string countsText(const RunResult& result) {
    std::size_t width = 12;
    for (const std::string& effect : result.effects) width = std::max(width, effect.size() + 2);
    for (const Invariant* invariant : result.invariants)
        width = std::max(width, std::string_view(invariant->name).size() + 2);
    std::ostringstream text;
    addHead(text, "invariant", width);
    for (const Invariant* invariant : result.invariants)
        if (const Tally tally = result.ofInvariant(invariant->name); tally.cases + tally.findings > 0)
            addRow(text, invariant->name, tally, width);
    text << '\n';
    addHead(text, "effect", width);
    for (const std::string& effect : result.effects)
        if (const Tally tally = result.ofEffect(effect); tally.cases + tally.findings > 0)
            addRow(text, effect, tally, width);
    text << '\n';
    const auto effects = std::count_if(result.effects.begin(), result.effects.end(),
                                       [](const std::string& name) { return name != wholeBundle; });
    addRow(text, std::to_string(effects) + (effects == 1 ? " effect" : " effects"), result.total(), width);
    return text.str();
}

std::string toJson(const RunResult& result, const RunOptions& options) {
    using Json = nlohmann::ordered_json;
    const auto tallyJson = [](const Tally& tally) {
        return Json{{"cases", tally.cases},
                    {"renders", tally.renders},
                    {"givenUp", tally.givenUp},
                    {"findings", tally.findings}};
    };
    Json all;
    all["bundle"] = options.setup.bundle.string();
    all["strictness"] = options.setup.strictness;
    all["seed"] = options.seed;
    all["seconds"] = result.seconds;
    all["complete"] = result.complete;
    all["total"] = tallyJson(result.total());
    all["invariants"] = Json::array();
    for (const Invariant* invariant : result.invariants) {
        Json entry = {{"name", invariant->name}, {"claim", invariant->claim}};
        entry.update(tallyJson(result.ofInvariant(invariant->name)));
        all["invariants"].push_back(std::move(entry));
    }
    all["effects"] = Json::array();
    for (const std::string& effect : result.effects) {
        Json entry = {{"name", effect}};
        entry.update(tallyJson(result.ofEffect(effect)));
        entry["invariants"] = Json::object();
        for (const auto& [cell, tally] : result.tallies)
            if (cell.first == effect) entry["invariants"][cell.second] = tallyJson(tally);
        all["effects"].push_back(std::move(entry));
    }
    all["findings"] = Json::array();
    for (const Finding& finding : result.findings)
        all["findings"].push_back({{"effect", finding.id.effect},
                                   {"invariant", finding.id.invariant},
                                   {"token", tokenOf(finding.id)},
                                   {"text", finding.text},
                                   {"output", finding.output}});
    return all.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string toMarkdown(const RunResult& result) {
    const auto cell = [](long cases, long findings) {
        if (cases + findings == 0) return std::string(" |");
        const std::string count = " " + std::to_string(cases);
        return findings == 0 ? count + " |" : count + " (**" + std::to_string(findings) + " found**) |";
    };
    const auto sums = [&](const Tally& tally) {
        return cell(tally.cases, tally.findings) + " " + std::to_string(tally.renders) + " |";
    };
    std::string text = "| Effect | Cases | Renders |", rule = "|---|---|---|", last = "| All |" + sums(result.total());
    for (const Invariant* invariant : result.invariants) {
        const Tally tally = result.ofInvariant(invariant->name);
        text += " `" + std::string(invariant->name) + "` |";
        rule += "---|";
        last += cell(tally.cases, tally.findings);
    }
    text += "\n" + rule + "\n";
    for (const std::string& effect : result.effects) {
        text += "| " + effect + " |" + sums(result.ofEffect(effect));
        for (const Invariant* invariant : result.invariants) {
            const auto found = result.tallies.find({effect, invariant->name});
            const Tally tally = found == result.tallies.end() ? Tally{} : found->second;
            text += cell(tally.cases, tally.findings);
        }
        text += "\n";
    }
    return text + last + "\n";
}

}  // namespace bundlecheck
