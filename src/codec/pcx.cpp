#include "codec/formats.h"

namespace vellum::codec {

bool DecodePcx(CxImage&, const std::uint8_t*, std::size_t) { return false; }
bool EncodePcx(const CxImage&, Bytes&) { return false; }

}  // namespace vellum::codec
