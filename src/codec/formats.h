// Per-format decoders and encoders behind CxImage (internal).
//
// Each decoder fills `image` from `size` bytes at `data` and returns true,
// or returns false leaving `image` in any state (the caller destroys it).
// Each encoder appends the file to `out`; the image it gets is valid.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "codec/ximage.h"

namespace vellum::codec {

using Bytes = std::vector<std::uint8_t>;

// True when width x height is at least 1 x 1 and within kCodecMaxPixels.
bool SizeAllowed(std::int64_t width, std::int64_t height);

bool DecodeBmp(CxImage& image, const std::uint8_t* data, std::size_t size);
bool EncodeBmp(const CxImage& image, Bytes& out);
bool DecodeJpeg(CxImage& image, const std::uint8_t* data, std::size_t size);
bool EncodeJpeg(const CxImage& image, int quality, Bytes& out);
bool DecodePng(CxImage& image, const std::uint8_t* data, std::size_t size);
bool EncodePng(const CxImage& image, Bytes& out);
bool DecodeGif(CxImage& image, const std::uint8_t* data, std::size_t size);
bool EncodeGif(const CxImage& image, Bytes& out);
bool DecodeTiff(CxImage& image, const std::uint8_t* data, std::size_t size);
bool EncodeTiff(const CxImage& image, Bytes& out);
bool DecodeJpeg2000(CxImage& image, const std::uint8_t* data, std::size_t size, bool codestream);
bool EncodeJpeg2000(const CxImage& image, bool codestream, Bytes& out);
bool DecodeIco(CxImage& image, const std::uint8_t* data, std::size_t size);
bool EncodeIco(const CxImage& image, Bytes& out);
bool DecodeTga(CxImage& image, const std::uint8_t* data, std::size_t size);
bool EncodeTga(const CxImage& image, Bytes& out);
bool DecodePcx(CxImage& image, const std::uint8_t* data, std::size_t size);
bool EncodePcx(const CxImage& image, Bytes& out);
bool DecodeWbmp(CxImage& image, const std::uint8_t* data, std::size_t size);
bool EncodeWbmp(const CxImage& image, Bytes& out);
bool DecodePgx(CxImage& image, const std::uint8_t* data, std::size_t size);
bool EncodePgx(const CxImage& image, Bytes& out);
bool DecodePnm(CxImage& image, const std::uint8_t* data, std::size_t size);
bool EncodePnm(const CxImage& image, Bytes& out);
bool DecodeRas(CxImage& image, const std::uint8_t* data, std::size_t size);
bool EncodeRas(const CxImage& image, Bytes& out);

}  // namespace vellum::codec
