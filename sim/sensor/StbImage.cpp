// The picture decoder of stb, compiled once. Only its BMP and JPEG halves, and no file access of its own.
#define STB_IMAGE_IMPLEMENTATION
#include "sim/sensor/StbImage.h"
