#include "fftlib/fftlib.h"
