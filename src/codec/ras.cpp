#include "codec/formats.h"

namespace vellum::codec {

bool DecodeRas(CxImage&, const std::uint8_t*, std::size_t) { return false; }
bool EncodeRas(const CxImage&, Bytes&) { return false; }

}  // namespace vellum::codec
