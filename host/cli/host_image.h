// Pictures as a host hands them to a plug-in, and back.
#pragma once

#include "host/cli/colour.h"
#include "host/cli/picture.h"
#include "host/core/image.h"

namespace quillon {

// How the plug-in is to get the pictures.
struct PictureForm {
    ofxhost::Depth depth = ofxhost::Depth::Float;
    double pixelAspect = 1.0;
    double renderScale = 1.0;
    Alpha alpha = Alpha::Straight;
};
const char* premultiplicationText(Alpha alpha);  // the interface's word

// Samples rounded to the form's depth; bounds begin at 0, 0.
ofxhost::ImagePtr toHostImage(const Picture& picture, const PictureForm& form);
// Levels of an integer depth become level / 255 or level / 65535.
Picture fromHostImage(const ofxhost::Image& image);

}  // namespace quillon
