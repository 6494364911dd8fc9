// The tags of a picture file as OpenImageIO has them. Private to the files that read and write pictures.
#pragma once

#include <OpenImageIO/imageio.h>

namespace quillon {

class PictureTags {
  public:
    // Those of a file just opened that still hold when its picture is written into another file.
    explicit PictureTags(const OIIO::ImageSpec& header);
    // Adds them; a colour profile only where the colours stay what they are.
    void addTo(OIIO::ImageSpec& header, bool sameColours) const;

  private:
    OIIO::ParamValueList m_list;
};

}  // namespace quillon
