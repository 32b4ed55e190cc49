#include "geometry/scale_crop.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "dib/dib.h"
#include "dib/pixel_rows.h"
#include "geometry/reciprocal.h"
#include "platform/global_memory.h"

namespace {

using i64 = std::int64_t;
using vellum::geometry::DivideUnsigned;
using vellum::geometry::MakeReciprocal;
using vellum::geometry::Reciprocal;

LONG ClampLong(double v) {
    if (!(v > -2147483648.0)) return v != v ? 0 : INT32_MIN;
    if (v >= 2147483647.0) return INT32_MAX;
    return static_cast<LONG>(v);
}

// Copies a source that needs no resampling: stride x |height| bytes.
int CopySource(void** dstBits, const void* srcBits, const BITMAPINFOHEADER& h) {
    const i64 bytes = VellumDibStride(h.biBitCount, h.biWidth) * std::abs(i64{h.biHeight});
    void* block = GlobalAllocChecked(GPTR, bytes);
    if (!block) return 0;
    std::memcpy(block, srcBits, static_cast<std::size_t>(bytes));
    *dstBits = block;
    return 1;
}

// The horizontal resampler of one expanded row into the kept columns
// left..right-1 of a row of W' virtual columns; the per-column work is
// planned once per call.
class RowResampler {
  public:
    bool plan(i64 width, i64 scaledWidth, i64 left, i64 right, int channels) {
        width_ = width;
        channels_ = channels;
        const i64 count = right - left;
        shrink_ = width >= scaledWidth;
        first_.assign(static_cast<std::size_t>(count), 0);
        second_.assign(static_cast<std::size_t>(count), 0);
        if (shrink_) {
            // second_ holds the number of source pixels averaged.
            divide_.assign(static_cast<std::size_t>(count), Reciprocal{});
            i64 i = width * left / scaledWidth;
            i64 start = i;
            i64 d = left;
            for (; d < right && i < width; ++i) {
                if (i * scaledWidth / width >= d) {
                    first_[static_cast<std::size_t>(d - left)] = static_cast<std::int32_t>(start);
                    second_[static_cast<std::size_t>(d - left)] =
                        static_cast<std::int32_t>(i - start + 1);
                    divide_[static_cast<std::size_t>(d - left)] = MakeReciprocal(i - start + 1);
                    start = i + 1;
                    ++d;
                }
            }
        } else {
            weight_.assign(static_cast<std::size_t>(count), 0);
            for (i64 d = 0; d < count; ++d) {
                const i64 pos = width * (left + d);
                const i64 i = pos / scaledWidth;
                const auto k = static_cast<std::size_t>(d);
                first_[k] = static_cast<std::int32_t>(i);
                second_[k] = static_cast<std::int32_t>(std::min(i + 1, width - 1));
                weight_[k] = static_cast<std::int32_t>(((pos % scaledWidth) << 8) / scaledWidth);
            }
        }
        return true;
    }

    std::size_t bytes() const {
        return (first_.capacity() + second_.capacity() + weight_.capacity()) *
                   sizeof(std::int32_t) +
               divide_.capacity() * sizeof(Reciprocal);
    }

    void run(const BYTE* src, BYTE* dst) const {
        const std::size_t count = first_.size();
        if (shrink_) {
            if (channels_ == 3) {
                for (std::size_t k = 0; k < count; ++k) {
                    const BYTE* p = src + 3 * i64{first_[k]};
                    const std::uint32_t n = static_cast<std::uint32_t>(second_[k]);
                    std::uint32_t b = 0, g = 0, r = 0;
                    for (std::uint32_t m = 0; m < n; ++m, p += 3) {
                        b += p[0];
                        g += p[1];
                        r += p[2];
                    }
                    if (n == 0) continue;  // never planned so; kept safe
                    const Reciprocal& by = divide_[k];
                    dst[3 * k] = static_cast<BYTE>(DivideUnsigned(b, by));
                    dst[3 * k + 1] = static_cast<BYTE>(DivideUnsigned(g, by));
                    dst[3 * k + 2] = static_cast<BYTE>(DivideUnsigned(r, by));
                }
            } else {
                for (std::size_t k = 0; k < count; ++k) {
                    const BYTE* p = src + first_[k];
                    const std::uint32_t n = static_cast<std::uint32_t>(second_[k]);
                    std::uint32_t s = 0;
                    for (std::uint32_t m = 0; m < n; ++m) s += p[m];
                    if (n == 0) continue;
                    dst[k] = static_cast<BYTE>(DivideUnsigned(s, divide_[k]));
                }
            }
            return;
        }
        if (channels_ == 3) {
            for (std::size_t k = 0; k < count; ++k) {
                const BYTE* a = src + 3 * i64{first_[k]};
                const BYTE* b = src + 3 * i64{second_[k]};
                const int f = weight_[k];
                for (int c = 0; c < 3; ++c) {
                    dst[3 * k + c] = static_cast<BYTE>((a[c] * (256 - f) + b[c] * f) >> 8);
                }
            }
        } else {
            for (std::size_t k = 0; k < count; ++k) {
                const int f = weight_[k];
                dst[k] = static_cast<BYTE>((src[first_[k]] * (256 - f) + src[second_[k]] * f) >> 8);
            }
        }
    }

  private:
    i64 width_ = 0;
    int channels_ = 3;
    bool shrink_ = true;
    std::vector<std::int32_t> first_, second_, weight_;
    std::vector<Reciprocal> divide_;
};

}  // namespace

int VellumScaleCropEngine(BITMAPINFO* dstInfo, void** dstBits, BITMAPINFO* srcInfo, void* srcBits,
                          SIZE* size, int left, int top, int right, int bottom, int mode,
                          std::size_t* workingBytes) {
    if (workingBytes) *workingBytes = 0;
    if (dstBits) *dstBits = nullptr;
    if (!srcInfo || !srcBits || !dstInfo || !dstBits || !size) return 0;
    if (size->cx < 1) size->cx = 1;
    if (size->cy < 1) size->cy = 1;

    const BITMAPINFOHEADER& sh = srcInfo->bmiHeader;
    const int bitCount = sh.biBitCount;
    const i64 width = sh.biWidth;
    const i64 height = std::abs(i64{sh.biHeight});
    if (width < 1 || height < 1) return 0;
    if (bitCount != 1 && bitCount != 4 && bitCount != 8 && bitCount != 16 && bitCount != 24 &&
        bitCount != 32) {
        return 0;
    }

    // The source header and its full table go first into the caller's block.
    const int tableEntries = bitCount <= 8 ? 1 << bitCount : 0;
    std::memcpy(dstInfo, srcInfo, 40 + 4 * static_cast<std::size_t>(tableEntries));
    BITMAPINFOHEADER& dh = dstInfo->bmiHeader;

    i64 l = left, t = top, r = right, b = bottom;
    if ((l == -1 && t == -1 && r == -1 && b == -1) || mode == 0) {
        l = 0;
        t = 0;
        r = size->cx;
        b = size->cy;
    }
    if (r - l < 1 || b - t < 1) return 0;

    i64 scaledW = size->cx;
    i64 scaledH = size->cy;
    if (mode == 1) {
        l = std::max<i64>(l, 0);
        t = std::max<i64>(t, 0);
        r = std::min(r, width);
        b = std::min(b, height);
        // A rectangle wholly outside the image selects nothing: fail rather
        // than divide by its empty size.
        if (r - l < 1 || b - t < 1) return 0;
        const i64 rectW = r - l;
        const i64 rectH = b - t;
        scaledW = std::max<i64>(1, i64{size->cx} * width / rectW);
        scaledH = std::max<i64>(1, i64{size->cy} * height / rectH);
        l = i64{size->cx} * l / rectW;
        r = l + size->cx;
        t = i64{size->cy} * t / rectH;
        b = t + size->cy;
    }
    // Into the scaled picture, then flipped to memory rows.
    l = std::max<i64>(l, 0);
    t = std::max<i64>(t, 0);
    r = std::min(r, scaledW);
    b = std::min(b, scaledH);
    if (scaledW < 1 || scaledH < 1 || r - l < 1 || b - t < 1) return 0;
    // A scaled picture past 2^31 - 1 pixels a side could not be held by any
    // caller; refusing it keeps every position product inside 64 bits.
    if (scaledW > INT32_MAX || scaledH > INT32_MAX) return 0;
    {
        const i64 flippedTop = scaledH - b;
        const i64 flippedBottom = scaledH - t;
        t = flippedTop;
        b = flippedBottom;
    }

    if (mode == 0) {
        i64 effectiveH = height;
        if (dh.biXPelsPerMeter != dh.biYPelsPerMeter && dh.biXPelsPerMeter >= 1 &&
            dh.biYPelsPerMeter >= 1) {
            effectiveH = i64{dh.biXPelsPerMeter} * height / dh.biYPelsPerMeter;
            dh.biYPelsPerMeter = dh.biXPelsPerMeter;
        }
        // A correction that leaves no rows is taken as one row.
        effectiveH = std::max<i64>(effectiveH, 1);
        const double rx = static_cast<double>(size->cx) / static_cast<double>(width);
        const float ry = static_cast<float>(static_cast<double>(size->cy) /
                                            static_cast<double>(effectiveH));
        if (rx < ry) {
            size->cy = ClampLong(static_cast<double>(effectiveH) * rx);
        } else {
            size->cx = ClampLong(static_cast<double>(width) * static_cast<double>(ry));
        }
        if (size->cx >= width && size->cy >= effectiveH) return CopySource(dstBits, srcBits, sh);
        if (size->cx < 1) size->cx = 1;
        if (size->cy < 1) size->cy = 1;
        l = 0;
        t = 0;
        r = size->cx;
        b = size->cy;
        scaledW = size->cx;
        scaledH = size->cy;
    }
    if (scaledW == width && scaledH == height && l == 0 && t == 0 && r == width && b == height) {
        return CopySource(dstBits, srcBits, sh);
    }

    // Output depth: grey and 1-bit sources are carried one byte per pixel.
    const RGBQUAD* srcTable = VellumColorTable(srcInfo);
    RGBQUAD table[256] = {};
    for (int k = 0; k < tableEntries; ++k) table[k] = srcTable[k];
    bool grey = bitCount == 1;
    if (bitCount == 4 || bitCount == 8) {
        i64 count = dh.biClrUsed ? i64{dh.biClrUsed} : tableEntries;
        count = std::min<i64>(count, tableEntries);
        grey = true;
        for (i64 k = 0; k < count; ++k) {
            const RGBQUAD& c = table[k];
            if (c.rgbRed != c.rgbGreen || c.rgbGreen != c.rgbBlue) grey = false;
        }
    }
    const int channels = grey ? 1 : 3;
    const int outBitCount = grey ? 8 : 24;
    const i64 outW = r - l;
    const i64 outH = b - t;
    const i64 outStride = VellumDibStride(outBitCount, outW);
    BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GPTR, outStride * outH));
    if (!out) return 0;

    const i64 srcStride = VellumDibStride(bitCount, width);
    const auto* src = static_cast<const BYTE*>(srcBits);
    const std::size_t rowBytes = static_cast<std::size_t>(outW * channels);
    std::vector<BYTE> expanded, rowA, rowB;
    std::vector<std::uint32_t> sums;
    RowResampler resampler;
    try {
        if (!(bitCount == 24)) expanded.resize(static_cast<std::size_t>(width * channels));
        rowA.resize(rowBytes);
        resampler.plan(width, scaledW, l, r, channels);
        if (height >= scaledH) {
            sums.assign(rowBytes, 0);
        } else {
            rowB.resize(rowBytes);
        }
    } catch (const std::bad_alloc&) {
        GlobalFree(out);
        return 0;
    }
    if (workingBytes) {
        *workingBytes = expanded.capacity() + rowA.capacity() + rowB.capacity() +
                        sums.capacity() * sizeof(std::uint32_t) + resampler.bytes();
    }

    // Expands source row y and resamples it into dst.
    auto resampleRow = [&](i64 y, BYTE* dst) {
        const BYTE* s = src + srcStride * y;
        const BYTE* row = expanded.data();
        switch (bitCount) {
            case 24: row = s; break;
            case 32: vellum::Row32To24(s, expanded.data(), width); break;
            case 16: vellum::Row16To24(s, expanded.data(), width); break;
            case 1: vellum::Row1To255(s, expanded.data(), width); break;
            default:
                if (grey) {
                    vellum::RowIndexedToBlue(s, expanded.data(), width, bitCount, table);
                } else {
                    vellum::RowIndexedTo24(s, expanded.data(), width, bitCount, table);
                }
                break;
        }
        resampler.run(row, dst);
    };

    if (height >= scaledH) {
        // Shrink: box average of the rows that close each output row.
        i64 y = t;
        std::uint32_t n = 0;
        for (i64 srcRow = height * t / scaledH; y < b && srcRow < height; ++srcRow) {
            resampleRow(srcRow, rowA.data());
            for (std::size_t k = 0; k < rowBytes; ++k) sums[k] += rowA[k];
            ++n;
            if (srcRow * scaledH / height >= y) {
                BYTE* d = out + outStride * (y - t);
                const Reciprocal by = MakeReciprocal(n);
                for (std::size_t k = 0; k < rowBytes; ++k) {
                    d[k] = static_cast<BYTE>(DivideUnsigned(sums[k], by));
                    sums[k] = 0;
                }
                n = 0;
                ++y;
            }
        }
    } else {
        // Enlarge: two resampled rows, reused while they stay the neighbours.
        i64 idA = -1, idB = -1;
        for (i64 y = t; y < b; ++y) {
            const i64 pos = y * height;
            const i64 i = pos / scaledH;
            const i64 j = std::min(i + 1, height - 1);
            const int f = static_cast<int>(((pos % scaledH) << 8) / scaledH);
            if (idA != i) {
                if (idB == i) {
                    std::swap(rowA, rowB);
                    std::swap(idA, idB);
                } else {
                    resampleRow(i, rowA.data());
                    idA = i;
                }
            }
            if (idB != j) {
                resampleRow(j, rowB.data());
                idB = j;
            }
            BYTE* d = out + outStride * (y - t);
            const BYTE* pa = rowA.data();
            const BYTE* pb = rowB.data();
            for (std::size_t k = 0; k < rowBytes; ++k) {
                d[k] = static_cast<BYTE>((pa[k] * (256 - f) + pb[k] * f) >> 8);
            }
        }
    }

    if (grey) {
        RGBQUAD* ramp = VellumColorTable(dstInfo);
        const RGBQUAD e0 = table[0];
        const RGBQUAD e1 = table[1];
        for (int k = 0; k < 256; ++k) {
            if (bitCount == 1) {
                ramp[k].rgbBlue = static_cast<BYTE>(e0.rgbBlue + (e1.rgbBlue - e0.rgbBlue) * k / 255);
                ramp[k].rgbGreen =
                    static_cast<BYTE>(e0.rgbGreen + (e1.rgbGreen - e0.rgbGreen) * k / 255);
                ramp[k].rgbRed = static_cast<BYTE>(e0.rgbRed + (e1.rgbRed - e0.rgbRed) * k / 255);
            } else {
                ramp[k].rgbBlue = ramp[k].rgbGreen = ramp[k].rgbRed = static_cast<BYTE>(k);
            }
            ramp[k].rgbReserved = 0;
        }
        dh.biClrUsed = 256;
    }
    dh.biWidth = static_cast<LONG>(outW);
    dh.biHeight = static_cast<LONG>(outH);
    dh.biBitCount = static_cast<WORD>(outBitCount);
    dh.biSizeImage = static_cast<DWORD>(outStride * outH);
    *dstBits = out;
    return 1;
}

extern "C" int MemScaleCrop(BITMAPINFO* outInfo, HGLOBAL* outBits, BITMAPINFO* srcInfo,
                            void* srcBits, SIZE* size, RECT crop, int flag) {
    if (!outInfo || !outBits || !srcInfo || !srcBits || !size) return 0;
    if (size->cx < 1) size->cx = 1;
    if (size->cy < 1) size->cy = 1;
    void* made = nullptr;
    const int result = VellumScaleCropEngine(outInfo, &made, srcInfo, srcBits, size, crop.left,
                                             crop.top, crop.right, crop.bottom, flag);
    *outBits = made;
    return result;
}
