#include "host/core/diagnostics.h"

#include <algorithm>

namespace ofxhost {

std::string_view severityName(Severity severity) {
    switch (severity) {
        case Severity::Note:
            return "note";
        case Severity::Probe:
            return "probe";
        case Severity::Warning:
            return "warning";
        case Severity::Error:
            break;
    }
    return "error";
}

std::string toText(const Diagnostic& diagnostic) {
    std::string text(severityName(diagnostic.severity));
    text += ": " + diagnostic.call;
    if (!diagnostic.subject.empty()) text += "(" + diagnostic.subject + ")";
    return text + ": " + diagnostic.message;
}

void Diagnostics::setSink(Sink sink) {
    std::lock_guard lock(m_mutex);
    m_sink = std::move(sink);
}

void Diagnostics::report(Severity severity, std::string_view call, std::string_view subject, std::string message) {
    Diagnostic entry{severity, std::string(call), std::string(subject), std::move(message)};
    Sink sink;
    {
        std::lock_guard lock(m_mutex);
        m_entries.push_back(entry);
        sink = m_sink;
    }
    if (sink) sink(entry);
}

std::vector<Diagnostic> Diagnostics::all() const {
    std::lock_guard lock(m_mutex);
    return m_entries;
}

std::vector<Diagnostic> Diagnostics::atLeast(Severity severity) const {
    std::lock_guard lock(m_mutex);
    std::vector<Diagnostic> found;
    std::copy_if(m_entries.begin(), m_entries.end(), std::back_inserter(found),
                 [severity](const Diagnostic& entry) { return entry.severity >= severity; });
    return found;
}

int Diagnostics::count(Severity severity) const {
    std::lock_guard lock(m_mutex);
    return static_cast<int>(std::count_if(m_entries.begin(), m_entries.end(),
                                          [severity](const Diagnostic& entry) { return entry.severity == severity; }));
}

void Diagnostics::clear() {
    std::lock_guard lock(m_mutex);
    m_entries.clear();
}

}  // namespace ofxhost
