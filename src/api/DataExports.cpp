// Parameter files, frame sizes and image files: no board is needed.
#include <windows.h>

#include "api/Dispatch.h"
#include "files/BinWriter.h"
#include "files/BmpWriter.h"
#include "files/CapParamReader.h"
#include "files/FrameSize.h"
#include "files/JpegWriter.h"

using namespace kvexa;

KVEXA_EXPORT(int32_t) kVexaGetCapFileParam(const char* path, CapParam* param) {
  return files::readCapParamFile(path, param);
}

KVEXA_EXPORT(uint32_t) kVexaCalcFrameSize(const CapParam* param, uint32_t alignment) {
  return param == nullptr ? 0 : files::roughFrameSize(*param, alignment);
}

KVEXA_EXPORT(int32_t)
kVexaCalcFrameSizeEx(const CapParam* param, uint32_t* frameBytes, uint32_t* bytesPerUnit, uint32_t* width,
                     uint32_t* height, uint32_t alignment) {
  if (param == nullptr || frameBytes == nullptr || bytesPerUnit == nullptr || width == nullptr ||
      height == nullptr) {
    return KVEXA_BAD_ARGUMENT;
  }
  const auto size = files::frameSize(*param, alignment);
  if (!size) return KVEXA_BAD_ARGUMENT;
  *frameBytes = size->bytes;
  *bytesPerUnit = size->bytesPerUnit;
  *width = size->width;
  *height = size->height;
  return KVEXA_OK;
}

KVEXA_EXPORT(int32_t)
kVexaSaveBinFile(const char* path, const void* image, uint32_t imageWidth, uint32_t imageHeight,
                 const SaveRect* rect, uint32_t format) {
  return files::saveBin(path, image, imageWidth, imageHeight, rect, format);
}

KVEXA_EXPORT(int32_t)
kVexaSaveBmpFile(const char* path, const void* image, uint32_t imageWidth, uint32_t imageHeight,
                 const SaveRect* rect, uint32_t format, uint32_t kind) {
  return files::saveBmp(path, image, imageWidth, imageHeight, rect, format, kind);
}

KVEXA_EXPORT(int32_t)
kVexaSaveJpegFile(const char* path, const void* image, uint32_t imageWidth, uint32_t imageHeight,
                  const SaveRect* rect, uint32_t format, uint32_t quality) {
  return files::saveJpeg(path, image, imageWidth, imageHeight, rect, format, quality);
}
