// What the calling thread has selected to work on. Private to the folder.
#pragma once

#include "gpulib/gpulib_kept.h"

bool gpu_has_selected();      // by gpu_select, since the KeepsSelection began
bool gpu_works_for_host();    // within a HostsDevice
bool gpu_works_in_private();  // in a context that is the host's own: what is made there goes with it
bool gpu_works_without();     // within a WithoutDevice
