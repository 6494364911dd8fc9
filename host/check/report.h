// The result of a run as text and as JSON.
#pragma once

#include <string>

#include "host/check/runner.h"

namespace bundlecheck {

std::string countsText(const RunResult& result);  // tables by invariant and by effect, and the sum
std::string toJson(const RunResult& result, const RunOptions& options);

// A table in Markdown, for a page: a line an effect, a column an invariant, in each cell the cases, with the findings
// if there are any.
std::string toMarkdown(const RunResult& result);

// Findings of one effect and invariant that say the same are shown once.
class FindingFilter {
  public:
    bool isNew(const Finding& finding);

  private:
    std::map<std::pair<std::string, std::string>, std::vector<std::string>> m_told;
};

}  // namespace bundlecheck
