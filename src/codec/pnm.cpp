#include "codec/formats.h"

namespace vellum::codec {

bool DecodePnm(CxImage&, const std::uint8_t*, std::size_t) { return false; }
bool EncodePnm(const CxImage&, Bytes&) { return false; }

}  // namespace vellum::codec
