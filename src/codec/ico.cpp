#include "codec/formats.h"

namespace vellum::codec {

bool DecodeIco(CxImage&, const std::uint8_t*, std::size_t) { return false; }
bool EncodeIco(const CxImage&, Bytes&) { return false; }

}  // namespace vellum::codec
