#include "codec/formats.h"

namespace vellum::codec {

bool DecodeWbmp(CxImage&, const std::uint8_t*, std::size_t) { return false; }
bool EncodeWbmp(const CxImage&, Bytes&) { return false; }

}  // namespace vellum::codec
