// Private to the image library: the file form of the image record itself, which imagelib_fileio.h describes.
#pragma once

#include "imagelib/imagelib.h"

bool tk7_info(const char* path, int* width, int* height, int* channels, int* depth);
K7Image* tk7_read(const char* path);
bool tk7_write(const char* path, const K7Image* image);  // false: there is no file
