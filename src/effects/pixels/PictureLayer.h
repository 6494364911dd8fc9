// A picture as something to lay over another one.
#pragma once

#include "imagelib/imagelib.h"

// A copy with its colours multiplied by its alpha, which is 1 everywhere without `alpha`. Null where the picture is
// that already: it is opaque, or the user says that its colours are multiplied.
ImagePtr multiplied_layer(const K7Image& source, bool alpha, bool multiplied);
