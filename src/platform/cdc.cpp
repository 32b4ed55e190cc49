// The class library's device-context wrapper.
#include "platform/cdc.h"

#include <cstdint>

#include "platform/user.h"

BOOL CBitmap::CreateCompatibleBitmap(CDC* dc, int width, int height) {
    return dc ? Attach(::CreateCompatibleBitmap(dc->m_hDC, width, height)) : FALSE;
}

CDC::~CDC() {
    for (auto& t : temporaries_) t->Detach();
    if (m_hDC) ::DeleteDC(Detach());
}

BOOL CDC::Attach(HDC dc) {
    if (m_hDC || !dc) return FALSE;
    m_hDC = dc;
    return TRUE;
}

HDC CDC::Detach() {
    HDC h = m_hDC;
    m_hDC = nullptr;
    return h;
}

BOOL CDC::CreateCompatibleDC(CDC* dc) {
    return Attach(::CreateCompatibleDC(dc ? dc->m_hDC : nullptr));
}

BOOL CDC::DeleteDC() {
    if (!m_hDC) return FALSE;
    return ::DeleteDC(Detach());
}

template <class T>
T* CDC::Temporary(HGDIOBJ handle) {
    if (!handle || handle == HGDI_ERROR) return nullptr;
    auto t = std::make_unique<T>();
    t->m_hObject = handle;
    T* raw = t.get();
    temporaries_.push_back(std::move(t));
    return raw;
}

CBitmap* CDC::SelectObject(CBitmap* bitmap) {
    return bitmap ? Temporary<CBitmap>(::SelectObject(m_hDC, bitmap->m_hObject)) : nullptr;
}

CBrush* CDC::SelectObject(CBrush* brush) {
    return brush ? Temporary<CBrush>(::SelectObject(m_hDC, brush->m_hObject)) : nullptr;
}

CGdiObject* CDC::SelectStockObject(int index) {
    return Temporary<CGdiObject>(::SelectObject(m_hDC, ::GetStockObject(index)));
}

CPalette* CDC::SelectPalette(CPalette* palette, BOOL forceBackground) {
    if (!palette) return nullptr;
    return Temporary<CPalette>(::SelectPalette(m_hDC, *palette, forceBackground));
}

void CDC::FillSolidRect(LPCRECT rect, COLORREF colour) {
    if (!rect) return;
    ::SetBkColor(m_hDC, colour);
    HBRUSH brush = ::CreateSolidBrush(colour);
    ::FillRect(m_hDC, rect, brush);
    ::DeleteObject(brush);
}

void CDC::FillSolidRect(int x, int y, int width, int height, COLORREF colour) {
    const auto clamp = [](long long v) {
        return static_cast<LONG>(v < INT32_MIN ? INT32_MIN : v > INT32_MAX ? INT32_MAX : v);
    };
    const RECT rect{x, y, clamp(static_cast<long long>(x) + width),
                    clamp(static_cast<long long>(y) + height)};
    FillSolidRect(&rect, colour);
}

CClientDC::CClientDC(CWnd* window) { m_hDC = ::GetDC(window ? window->m_hWnd : nullptr); }

CClientDC::~CClientDC() { ::ReleaseDC(nullptr, Detach()); }
