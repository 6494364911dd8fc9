// Private to imgio: libtiff on our own streams, with its messages in the trace log.
//
// Files are never mapped into memory: one that another process shortens while it is read must not end this one.
#pragma once

#include <tiffio.h>

#include "imgio/files.h"

namespace imgio {

TIFF* open_tiff(InputFile& file, const char* name);     // null when it is no TIFF file
TIFF* create_tiff(OutputFile& file, const char* name);  // in this machine's order of bytes

}  // namespace imgio
