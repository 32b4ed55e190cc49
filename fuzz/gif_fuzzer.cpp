// Decodes the input through the codec as type CXIMAGE_FORMAT_GIF (see codec_fuzz.h).
#include "codec_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return vfuzz::DecodeOne(data, size, CXIMAGE_FORMAT_GIF);
}
