#pragma once

#include "simdlib/cpu.h"
