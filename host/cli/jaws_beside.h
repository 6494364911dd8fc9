// The service of Q_Jaws inside this program, for as long as pictures of many effects are rendered.
#pragma once

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "host/cli/declarations.h"

namespace jaws {
class Service;
}

namespace quillon {

// Where Q_Jaws is among the effects, a service runs in the directories that it uses. Where that can't be, for want of
// Ghostscript, it says so, and the effect is told not to wait.
class JawsBeside {
  public:
    explicit JawsBeside(const std::vector<DeclaredEffect>& effects);
    ~JawsBeside();
    JawsBeside(const JawsBeside&) = delete;
    JawsBeside& operator=(const JawsBeside&) = delete;

  private:
    std::unique_ptr<jaws::Service> m_service;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

}  // namespace quillon
