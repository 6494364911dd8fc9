// An end that is asked for from outside.
#pragma once

#include <functional>

// Whether the picture is no longer wanted. Long operations take one and ask it between bands of rows, from any of their
// threads; an empty one never asks for an end.
using StopRequested = std::function<bool()>;
