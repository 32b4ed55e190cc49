// Logical palettes. The devices are true-colour, so a palette only answers
// questions about its entries; selecting and realising change no pixel.
#include <algorithm>
#include <cstring>

#include "platform/gdi_object.h"

using namespace vellum::gdi;

HPALETTE CreatePalette(const LOGPALETTE* palette) {
    if (!palette || palette->palVersion != 0x300 || palette->palNumEntries < 1 ||
        palette->palNumEntries > 1024) {
        return nullptr;
    }
    auto p = std::make_shared<Palette>();
    p->entries.resize(palette->palNumEntries);
    std::memcpy(p->entries.data(), palette->palPalEntry,
                sizeof(PALETTEENTRY) * palette->palNumEntries);
    return static_cast<HPALETTE>(Register(p));
}

UINT GetNearestPaletteIndex(HPALETTE palette, COLORREF colour) {
    auto p = Get<Palette>(palette, Kind::Palette);
    if (!p) return CLR_INVALID;
    const int r = GetRValue(colour), g = GetGValue(colour), b = GetBValue(colour);
    UINT best = 0;
    int bestDistance = 1 << 30;
    for (std::size_t i = 0; i < p->entries.size(); ++i) {
        const PALETTEENTRY& e = p->entries[i];
        const int dr = r - e.peRed, dg = g - e.peGreen, db = b - e.peBlue;
        const int distance = dr * dr + dg * dg + db * db;
        if (distance < bestDistance) best = static_cast<UINT>(i), bestDistance = distance;
    }
    return best;
}

UINT GetPaletteEntries(HPALETTE palette, UINT start, UINT count, PALETTEENTRY* entries) {
    auto p = Get<Palette>(palette, Kind::Palette);
    if (!p) return 0;
    const std::size_t n = p->entries.size();
    if (!entries) return static_cast<UINT>(n);
    if (start >= n) return 0;
    const std::size_t m = std::min<std::size_t>(count, n - start);
    std::memcpy(entries, p->entries.data() + start, sizeof(PALETTEENTRY) * m);
    return static_cast<UINT>(m);
}
