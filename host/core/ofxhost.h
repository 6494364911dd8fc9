// An OpenFX image-effect host as a library.
//
//   Host host(hostConfig("nuke"));
//   Bundle bundle(host, "Quillon.ofx.bundle");
//   auto descriptor = bundle.find("Q_Darken")->describeInContext(ofx::context::Filter);
//   EffectInstance instance(*descriptor, project);
//   instance.create();
//   instance.findClip("Input")->connect(picture, 0, 99);
//   instance.render({.time = 3}, result);
//
// Objects are destroyed in the reverse order. Everything the plug-in does against the rules of the interface is in
// host.diagnostics().
#pragma once

#include "host/core/bundle.h"
#include "host/core/clip.h"
#include "host/core/diagnostics.h"
#include "host/core/effect.h"
#include "host/core/hooks.h"
#include "host/core/host.h"
#include "host/core/image.h"
#include "host/core/interact.h"
#include "host/core/param.h"
#include "host/core/settings.h"
#include "host/core/thread_pool.h"
