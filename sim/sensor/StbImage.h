// The picture decoder of stb, as this project uses it.
#pragma once

#define STBI_ONLY_BMP
#define STBI_ONLY_JPEG
#define STBI_NO_STDIO
#include <stb_image.h>
