#include "codec/formats.h"

namespace vellum::codec {

bool DecodeJpeg2000(CxImage&, const std::uint8_t*, std::size_t, bool) { return false; }
bool EncodeJpeg2000(const CxImage&, bool, Bytes&) { return false; }

}  // namespace vellum::codec
