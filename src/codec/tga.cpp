#include "codec/formats.h"

namespace vellum::codec {

bool DecodeTga(CxImage&, const std::uint8_t*, std::size_t) { return false; }
bool EncodeTga(const CxImage&, Bytes&) { return false; }

}  // namespace vellum::codec
