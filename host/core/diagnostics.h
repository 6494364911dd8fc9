// What the host has to say about a plug-in: every rule of the interface that a call broke, with the call and the
// property or parameter it was about. The host answers the call with a status as well; this is for people and tests.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace ofxhost {

enum class Severity {
    Note,     // outside the letter of the standard, but known and harmless (see toleranceOf in property_tables.h)
    Probe,    // asks for or sets a property that this host does not have, as plug-ins do to find out what a host can
    Warning,  // doubtful: works here, may not elsewhere
    Error     // breaks the interface
};

std::string_view severityName(Severity severity);  // "note", "probe", "warning", "error"

struct Diagnostic {
    Severity severity = Severity::Error;
    std::string call;     // suite function ("propSetInt"), action text, or the host's own step ("load")
    std::string subject;  // property, parameter or clip name; may be empty
    std::string message;
};

std::string toText(const Diagnostic& diagnostic);  // "error: propSetInt(OfxPropLabel): the property holds text"

// Thread safe. A repeated diagnostic is kept once for each occurrence; `sink` hears each one as it happens.
class Diagnostics {
  public:
    using Sink = std::function<void(const Diagnostic&)>;

    void setSink(Sink sink);
    void report(Severity severity, std::string_view call, std::string_view subject, std::string message);
    std::vector<Diagnostic> all() const;
    std::vector<Diagnostic> atLeast(Severity severity) const;
    int count(Severity severity) const;  // exactly this severity
    void clear();

  private:
    mutable std::mutex m_mutex;
    std::vector<Diagnostic> m_entries;
    Sink m_sink;
};

}  // namespace ofxhost
