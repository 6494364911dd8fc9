// A hidden number that counts how often a button was pressed. The press itself reaches only the instance whose dialog
// shows the button; the number reaches every instance that the host renders with.
#pragma once

#include <string>

#include "Library2/EffectInfo.h"

class PressCounterK7 : public FloatControlK7 {
  public:
    static constexpr double END = 10000.0;  // where it begins again

    // `purpose`: what a press asks for, for the sentence: "the simulation begins anew".
    PressCounterK7(EffectInfo* owner, const char* name, const std::string& purpose)
        : FloatControlK7(
              owner, {name, name, 0.0, 0.0, END, {.secret = true, .keptByPresets = true}},
              ("Counts how often its button was pressed, so that " + purpose + " wherever the host renders; hidden.")
                  .c_str()) {}

    // One more. On the interface's thread.
    void count() const {
        double pressed = 0.0;
        GetValue(0.0, &pressed);
        SetValue(pressed + 1.0 < END ? pressed + 1.0 : 0.0);
    }
};
