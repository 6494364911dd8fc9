#include "host/cli/jaws_beside.h"

#include <stdlib.h>

#include <algorithm>
#include <iostream>

#include "host/jaws/service.h"

namespace quillon {

JawsBeside::JawsBeside(const std::vector<DeclaredEffect>& effects) {
    const bool wanted = std::any_of(effects.begin(), effects.end(),
                                    [](const DeclaredEffect& effect) { return effect.name == "Q_Jaws"; });
    if (!wanted) return;
    try {
        m_service = std::make_unique<jaws::Service>(jaws::usualBase(), [](const std::string&) {});
        m_thread = std::thread([this] { m_service->run([this] { return m_stop.load(); }); });
    } catch (const std::exception& error) {
        std::cerr << "Q_Jaws has no picture: " << error.what() << std::endl;
        ::setenv("JAWS_DISABLE", "yes", 1);
    }
}

JawsBeside::~JawsBeside() {
    m_stop = true;
    if (m_thread.joinable()) m_thread.join();
}

}  // namespace quillon
