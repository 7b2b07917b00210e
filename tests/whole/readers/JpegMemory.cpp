// Prints the memory limit that the JPEG encoder works with.
#include <cstddef>
#include <cstdio>
// Needs stdio's names.
#include <jpeglib.h>

int main() {
  jpeg_error_mgr errors;
  jpeg_compress_struct encoder;
  encoder.err = jpeg_std_error(&errors);
  jpeg_create_compress(&encoder);
  std::printf("%ld\n", encoder.mem->max_memory_to_use);
  jpeg_destroy_compress(&encoder);
}
