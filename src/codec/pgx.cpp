#include "codec/formats.h"

namespace vellum::codec {

bool DecodePgx(CxImage&, const std::uint8_t*, std::size_t) { return false; }
bool EncodePgx(const CxImage&, Bytes&) { return false; }

}  // namespace vellum::codec
