// The codec image: one decoded picture as the library's packed DIB, with the
// operations the DIB core, the image object and the region code call.
//
// Common rules:
//  - The image is a packed DIB in one block: the 40-byte BITMAPINFOHEADER,
//    the colour table (2^bits entries for 1, 4 and 8 bits, biClrUsed equal to
//    that count; none for 24 bits), then bottom-up rows of the usual stride.
//    Depths are 1, 4, 8 (palette images, grey included) and 24 (blue, green,
//    red). Every format is decoded to one of these.
//  - Alpha is a separate plane of width x height bytes without padding, rows
//    in the same order as the DIB's (bottom-up); 255 is opaque.
//  - The transparent palette index (GIF, PNG tRNS of a single entry, ICO
//    AND-mask of a palette image with a free entry) is kept; -1 means none.
//  - Decoders read from memory through a bounds-checked cursor or the
//    format library; any damage, warning or refusal leaves the image
//    invalid (TIFF excepted: damaged strips and tiles are tolerated the way
//    libtiff's own reader tolerates them, see tiff.cpp). No decoder
//    allocates an image of more than kCodecMaxPixels pixels: the size is
//    checked in 64 bits first.
//  - Format libraries never print: their error and warning handlers turn
//    every complaint into a failed decode or encode.
//  - Format numbers are the file-type numbers of ThFindType (CXIMAGE_FORMAT_*).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/export.h"
#include "platform/windows_types.h"

enum {
    CXIMAGE_FORMAT_UNKNOWN = 0,
    CXIMAGE_FORMAT_BMP = 1,
    CXIMAGE_FORMAT_GIF = 2,
    CXIMAGE_FORMAT_JPG = 3,
    CXIMAGE_FORMAT_PNG = 4,
    CXIMAGE_FORMAT_ICO = 5,
    CXIMAGE_FORMAT_TIF = 6,
    CXIMAGE_FORMAT_TGA = 7,
    CXIMAGE_FORMAT_PCX = 8,
    CXIMAGE_FORMAT_WBMP = 9,
    CXIMAGE_FORMAT_WMF = 10,
    CXIMAGE_FORMAT_JP2 = 11,
    CXIMAGE_FORMAT_JPC = 12,
    CXIMAGE_FORMAT_PGX = 13,
    CXIMAGE_FORMAT_PNM = 14,
    CXIMAGE_FORMAT_RAS = 15,
    CMAX_IMAGE_FORMATS = 16,
};

// Largest image any decoder builds: 2^27 pixels (134 megapixels, about 400 MB
// at 24 bits). Larger images are refused before anything is allocated.
inline constexpr std::int64_t kCodecMaxPixels = std::int64_t{1} << 27;

// What a format can do: decode, encode.
struct CxFormatInfo {
    DWORD type;
    const char* name;
    bool canRead;
    bool canWrite;
};
VELLUM_API const CxFormatInfo* CxImageFormats(int* count);

class VELLUM_API CxImage {
  public:
    // An empty (invalid) image that will be saved as `imagetype` by default.
    explicit CxImage(DWORD imagetype = 0);
    // Reads and decodes the file; IsValid() tells whether it worked.
    CxImage(const char* filename, DWORD imagetype);
    CxImage(const CxImage& src);
    CxImage& operator=(const CxImage& src);
    ~CxImage() = default;

    bool IsValid() const { return !dib_.empty(); }
    // The packed DIB (header, table, bits); null when invalid. It stays
    // owned by the image.
    void* GetDIB() const { return dib_.empty() ? nullptr : const_cast<BYTE*>(dib_.data()); }
    WORD GetBpp() const;
    DWORD GetWidth() const;
    DWORD GetHeight() const;
    DWORD GetType() const { return type_; }
    // A palette image whose every table entry is grey (red = green = blue).
    bool IsGrayScale() const;

    // Raises the depth to nbit (4, 8 or 24), keeping the colours. Raising to
    // 24 drops the transparent index. False for a lower or unsupported depth.
    bool IncreaseBpp(DWORD nbit);
    // Lowers the depth to nbit (1, 4 or 8). With ppal, pixels map to the
    // nearest of its clrimportant entries (all 2^nbit when 0); without, the
    // image's own palette is chosen: median cut for 4 and 8 bits, black and
    // white for 1 bit. errordiffusion spreads the error Floyd-Steinberg
    // fashion. A grey 8-bit image lowered to 8 bits is left as it is.
    bool DecreaseBpp(DWORD nbit, bool errordiffusion, RGBQUAD* ppal = nullptr,
                     DWORD clrimportant = 0);

    void SetJpegQuality(BYTE q) { jpegQuality_ = q > 100 ? 100 : q; }
    BYTE GetJpegQuality() const { return jpegQuality_; }

    // Encodes and writes the file; false when the format cannot be written
    // or the file cannot be created.
    bool Save(const char* filename, DWORD imagetype);
    bool Encode(std::vector<BYTE>& out, DWORD imagetype) const;
    bool Decode(const BYTE* data, std::size_t size, DWORD imagetype);
    bool Load(const char* filename, DWORD imagetype);
    bool Destroy();

    long GetTransIndex() const { return transIndex_; }
    void SetTransIndex(long index) { transIndex_ = index; }
    bool AlphaIsValid() const { return !alpha_.empty(); }
    // Alpha at (x, y), y counted from the bottom row; 255 without a plane,
    // 0 outside the image.
    BYTE GetAlpha(long x, long y) const;
    BYTE* AlphaGetPointer() { return alpha_.empty() ? nullptr : alpha_.data(); }
    const BYTE* AlphaGetPointer() const { return alpha_.empty() ? nullptr : alpha_.data(); }
    bool AlphaCreate();  // a plane of 255
    void AlphaDelete() { alpha_.clear(); }

    // Convolution with a Ksize x Ksize kernel (rows top to bottom on screen):
    // value = sum / Kfactor + Koffset, clamped to 0..255, per channel of a
    // 24-bit image or on the index of an 8-bit grey image (other depths are
    // raised to 24 bits first). Pixels beyond the edge repeat the edge pixel.
    // A Kfactor of 0 counts as 1. False when invalid or Ksize < 1.
    bool Filter(long* kernel, long Ksize, long Kfactor, long Koffset);

    // The largest image this object decodes, at most kCodecMaxPixels (a
    // smaller budget suits fuzzing and previews).
    void SetMaxPixels(std::int64_t pixels) {
        maxPixels_ = pixels < 1 ? 1 : pixels > kCodecMaxPixels ? kCodecMaxPixels : pixels;
    }
    bool PixelsAllowed(std::int64_t width, std::int64_t height) const {
        return width >= 1 && height >= 1 && width <= maxPixels_ && height <= maxPixels_ &&
               width * height <= maxPixels_;
    }

    // A load hint for thumbnails: the picture is wanted at about width x
    // height or smaller. A decoder that can reduce the picture cheaply while
    // decoding returns it reduced, never below width x height in either
    // direction; the others ignore the hint. JPEG uses libjpeg's DCT scaling
    // (1/2, 1/4 or 1/8, the largest reduction that still covers the size),
    // whose pixels are libjpeg's reduced inverse transform: they are close to,
    // not identical with, a full decode scaled down afterwards. 0 x 0 (the
    // default) always decodes in full. The hint stays set across decodes.
    void SetDecodeSizeHint(DWORD width, DWORD height) {
        hintWidth_ = width;
        hintHeight_ = height;
    }
    DWORD GetDecodeHintWidth() const { return hintWidth_; }
    DWORD GetDecodeHintHeight() const { return hintHeight_; }

    // Building blocks for decoders and the image object.
    // A zero-filled image (palette: grey ramp, black and white for 1 bit).
    // With zeroFill false the pixel bytes are left unset (row padding is
    // still zero): for decoders that write every pixel.
    bool Create(DWORD width, DWORD height, WORD bpp, DWORD imagetype = 0, bool zeroFill = true);
    BYTE* GetBits(DWORD row = 0);
    const BYTE* GetBits(DWORD row = 0) const;
    RGBQUAD* GetPalette();
    const RGBQUAD* GetPalette() const;
    DWORD GetPaletteSize() const;  // entries
    DWORD GetEffWidth() const;     // stride
    BITMAPINFOHEADER* GetHeader() { return reinterpret_cast<BITMAPINFOHEADER*>(dib_.data()); }
    const BITMAPINFOHEADER* GetHeader() const {
        return reinterpret_cast<const BITMAPINFOHEADER*>(dib_.data());
    }
    void SetGrayPalette();
    // Colour of pixel (x, y from the bottom), any depth.
    RGBQUAD GetPixelColor(long x, long y) const;
    BYTE GetPixelIndex(long x, long y) const;
    void SetPixelIndex(long x, long y, BYTE index);

  private:
    // An allocator that leaves bytes uninitialised, so that a decoder that
    // fills every pixel does not pay for clearing them first.
    template <typename T>
    struct NoInit : std::allocator<T> {
        template <typename U>
        struct rebind {
            using other = NoInit<U>;
        };
        NoInit() = default;
        template <typename U>
        NoInit(const NoInit<U>&) {}
        template <typename U>
        void construct(U* p) {
            ::new (static_cast<void*>(p)) U;
        }
        template <typename U, typename... A>
        void construct(U* p, A&&... args) {
            ::new (static_cast<void*>(p)) U(std::forward<A>(args)...);
        }
    };
    std::vector<BYTE, NoInit<BYTE>> dib_;
    std::vector<BYTE> alpha_;
    long transIndex_ = -1;
    DWORD type_ = 0;
    BYTE jpegQuality_ = 75;
    std::int64_t maxPixels_ = kCodecMaxPixels;
    DWORD hintWidth_ = 0;
    DWORD hintHeight_ = 0;
};
