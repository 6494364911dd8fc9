// Whole pictures from and to files, by the format that a file's extension names.
//
// Extensions, compared without case: .pxr .rla .als .rgb .sgi .pic (vertigo) .tga .tif .ras .r .dump .gif .jpg .tk7.
// Other formats of imgio's table are chosen by name. Row 0 of the image is the top line of the picture: an effect,
// whose row 0 is the lowest, turns the image itself. Texts of failures are those of imgio_last_error.
//
// .tk7 is the library's own form, the image as it is: "TK7", a zero byte, then little-endian 32-bit words: version (1),
// width, height, channels, sample type, nine floats (physical width, height and aspect, pixel width, height and aspect,
// origin x and y, unit scale), then the rows.
#pragma once

#include "imagelib/imagelib.h"

// The name of the format that a path's extension stands for; null when there is none. `keeps_alpha` may be null.
const char* image_file_format(const char* path, bool* keeps_alpha = nullptr);

// Reads the header only. `depth`: bits of a sample. `format` overrides the extension. False: nothing is changed.
bool image_file_info(const char* path, int* width, int* height, int* channels, int* depth,
                     const char* format = nullptr);

// A new image of 8 or 16-bit integers (.tk7: as it was written), or null.
K7Image* image_read(const char* path, const char* format = nullptr);

// Writes 8 bits for images of 8, else 16, or 8 (rounded down) where the format has no more. 32-bit integers give their
// upper 16 bits; floats are scaled by 65535 and truncated, those below 0 and NaN give 0, those above 1 white. An alpha
// channel is left out where the table says that the format does not keep it. At most four channels, but in .tk7.
// `compress`: LZW in TIFF, runs in Targa; sets IMGIO_TIFF_COMPRESS, IMGIO_TIFF_ORIENT and IMGIO_TARGA_COMPRESS. False:
// there is no file.
bool image_write(const char* path, const K7Image* image, bool compress, const char* format = nullptr);
