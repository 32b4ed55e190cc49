// The class library's GDI wrappers: CGdiObject, CBitmap, CBrush, CPalette,
// CRgn and CDC, thin classes over the handles of gdi.h.
//
// As in the class library, a wrapper owns the handle it holds: its
// destructor deletes it (DeleteObject / DeleteDC) unless it was Detach()ed.
// SelectObject returns the previously selected object as a pointer to a
// temporary wrapper that the CDC keeps until it is destroyed; those
// temporaries never delete their handles.
#pragma once

#include <memory>
#include <vector>

#include "platform/gdi.h"
#include "platform/rect.h"

class VELLUM_API CGdiObject {
public:
    CGdiObject() = default;
    CGdiObject(const CGdiObject&) = delete;
    CGdiObject& operator=(const CGdiObject&) = delete;
    virtual ~CGdiObject() { DeleteObject(); }
    BOOL Attach(HGDIOBJ object) {
        if (m_hObject || !object) return FALSE;
        m_hObject = object;
        return TRUE;
    }
    HGDIOBJ Detach() {
        HGDIOBJ h = m_hObject;
        m_hObject = nullptr;
        return h;
    }
    BOOL DeleteObject() {
        if (!m_hObject) return FALSE;
        return ::DeleteObject(Detach());
    }
    HGDIOBJ GetSafeHandle() const { return m_hObject; }
    int GetObject(int bytes, LPVOID out) const { return ::GetObject(m_hObject, bytes, out); }
    HGDIOBJ m_hObject = nullptr;
};

class VELLUM_API CBitmap : public CGdiObject {
public:
    operator HBITMAP() const { return static_cast<HBITMAP>(m_hObject); }  // NOLINT
    BOOL CreateCompatibleBitmap(class CDC* dc, int width, int height);
    BOOL CreateBitmap(int width, int height, UINT planes, UINT bitsPerPixel, const void* bits) {
        return Attach(::CreateBitmap(width, height, planes, bitsPerPixel, bits));
    }
    int GetBitmap(BITMAP* out) const { return ::GetObject(m_hObject, sizeof(BITMAP), out); }
};

class VELLUM_API CBrush : public CGdiObject {
public:
    CBrush() = default;
    explicit CBrush(COLORREF colour) { CreateSolidBrush(colour); }
    operator HBRUSH() const { return static_cast<HBRUSH>(m_hObject); }  // NOLINT
    BOOL CreateSolidBrush(COLORREF colour) { return Attach(::CreateSolidBrush(colour)); }
    BOOL CreatePatternBrush(CBitmap* bitmap) {
        return bitmap ? Attach(::CreatePatternBrush(*bitmap)) : FALSE;
    }
};

class VELLUM_API CPalette : public CGdiObject {
public:
    operator HPALETTE() const { return static_cast<HPALETTE>(m_hObject); }  // NOLINT
    BOOL CreatePalette(const LOGPALETTE* palette) { return Attach(::CreatePalette(palette)); }
    UINT GetNearestPaletteIndex(COLORREF colour) const {
        return ::GetNearestPaletteIndex(*this, colour);
    }
    UINT GetPaletteEntries(UINT start, UINT count, PALETTEENTRY* entries) const {
        return ::GetPaletteEntries(*this, start, count, entries);
    }
};

class VELLUM_API CRgn : public CGdiObject {
public:
    operator HRGN() const { return static_cast<HRGN>(m_hObject); }  // NOLINT
    BOOL CreateRectRgn(int left, int top, int right, int bottom) {
        return Attach(::CreateRectRgn(left, top, right, bottom));
    }
    BOOL CreateRectRgnIndirect(const RECT* rect) { return Attach(::CreateRectRgnIndirect(rect)); }
    BOOL CreatePolygonRgn(const POINT* points, int count, int mode) {
        return Attach(::CreatePolygonRgn(points, count, mode));
    }
    void SetRectRgn(int left, int top, int right, int bottom) {
        ::SetRectRgn(*this, left, top, right, bottom);
    }
    void SetRectRgn(const RECT* rect) {
        if (rect) ::SetRectRgn(*this, rect->left, rect->top, rect->right, rect->bottom);
    }
    int CombineRgn(const CRgn* a, const CRgn* b, int mode) {
        return ::CombineRgn(*this, a ? HRGN(*a) : nullptr, b ? HRGN(*b) : nullptr, mode);
    }
    int CopyRgn(const CRgn* source) { return CombineRgn(source, nullptr, RGN_COPY); }
    int OffsetRgn(int dx, int dy) { return ::OffsetRgn(*this, dx, dy); }
    int OffsetRgn(POINT point) { return ::OffsetRgn(*this, point.x, point.y); }
    int GetRgnBox(LPRECT rect) const { return ::GetRgnBox(*this, rect); }
    BOOL PtInRegion(int x, int y) const { return ::PtInRegion(*this, x, y); }
    BOOL PtInRegion(POINT point) const { return ::PtInRegion(*this, point.x, point.y); }
    BOOL RectInRegion(const RECT* rect) const { return ::RectInRegion(*this, rect); }
    BOOL EqualRgn(const CRgn* other) const {
        return other ? ::EqualRgn(*this, *other) : FALSE;
    }
};

class VELLUM_API CDC {
public:
    CDC() = default;
    CDC(const CDC&) = delete;
    CDC& operator=(const CDC&) = delete;
    virtual ~CDC();
    operator HDC() const { return m_hDC; }  // NOLINT(google-explicit-constructor)
    HDC GetSafeHdc() const { return m_hDC; }
    BOOL Attach(HDC dc);
    HDC Detach();
    BOOL CreateCompatibleDC(CDC* dc);
    BOOL DeleteDC();

    CBitmap* SelectObject(CBitmap* bitmap);
    CBrush* SelectObject(CBrush* brush);
    CGdiObject* SelectStockObject(int index);
    CPalette* SelectPalette(CPalette* palette, BOOL forceBackground);
    UINT RealizePalette() { return ::RealizePalette(m_hDC); }

    int SetBkMode(int mode) { return ::SetBkMode(m_hDC, mode); }
    int GetBkMode() const { return ::GetBkMode(m_hDC); }
    COLORREF SetBkColor(COLORREF colour) { return ::SetBkColor(m_hDC, colour); }
    COLORREF GetBkColor() const { return ::GetBkColor(m_hDC); }
    COLORREF SetTextColor(COLORREF colour) { return ::SetTextColor(m_hDC, colour); }
    int SetROP2(int mode) { return ::SetROP2(m_hDC, mode); }
    int GetROP2() const { return ::GetROP2(m_hDC); }
    int SetStretchBltMode(int mode) { return ::SetStretchBltMode(m_hDC, mode); }
    int GetStretchBltMode() const { return ::GetStretchBltMode(m_hDC); }
    int GetDeviceCaps(int index) const { return ::GetDeviceCaps(m_hDC, index); }

    // As the class library: sets the background colour to `colour` and
    // fills with it (the background colour stays changed)
    // [quirk: fillsolidrect-bkcolor].
    void FillSolidRect(LPCRECT rect, COLORREF colour);
    void FillSolidRect(int x, int y, int width, int height, COLORREF colour);
    void FillRect(LPCRECT rect, CBrush* brush) {
        if (brush) ::FillRect(m_hDC, rect, *brush);
    }
    BOOL FillRgn(CRgn* region, CBrush* brush) {
        return region && brush ? ::FillRgn(m_hDC, *region, *brush) : FALSE;
    }
    BOOL PaintRgn(CRgn* region) { return region ? ::PaintRgn(m_hDC, *region) : FALSE; }
    BOOL BitBlt(int x, int y, int width, int height, CDC* src, int xSrc, int ySrc, DWORD rop) {
        return ::BitBlt(m_hDC, x, y, width, height, src ? src->m_hDC : nullptr, xSrc, ySrc, rop);
    }
    BOOL StretchBlt(int x, int y, int width, int height, CDC* src, int xSrc, int ySrc,
                    int srcWidth, int srcHeight, DWORD rop) {
        return ::StretchBlt(m_hDC, x, y, width, height, src ? src->m_hDC : nullptr, xSrc, ySrc,
                            srcWidth, srcHeight, rop);
    }
    BOOL PatBlt(int x, int y, int width, int height, DWORD rop) {
        return ::PatBlt(m_hDC, x, y, width, height, rop);
    }
    COLORREF SetPixel(int x, int y, COLORREF colour) { return ::SetPixel(m_hDC, x, y, colour); }
    BOOL SetPixelV(int x, int y, COLORREF colour) { return ::SetPixelV(m_hDC, x, y, colour); }
    BOOL SetPixelV(POINT point, COLORREF colour) {
        return ::SetPixelV(m_hDC, point.x, point.y, colour);
    }
    COLORREF GetPixel(int x, int y) const { return ::GetPixel(m_hDC, x, y); }

    HDC m_hDC = nullptr;

private:
    template <class T>
    T* Temporary(HGDIOBJ handle);
    std::vector<std::unique_ptr<CGdiObject>> temporaries_;
};

// The screen's device context for the life of the object (GetDC/ReleaseDC).
class VELLUM_API CClientDC : public CDC {
public:
    explicit CClientDC(class CWnd* window);
    ~CClientDC() override;
};
