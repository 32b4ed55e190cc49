// USER stand-ins: the screen device context, the in-process clipboard, and
// the class library's window and thread objects as thin stand-ins.
//
// Clipboard rules (the platform's):
//  - One clipboard per process; OpenClipboard fails (FALSE) while another
//    window, or another thread, has it open. Opening it again from the same
//    owner succeeds.
//  - EmptyClipboard, SetClipboardData, GetClipboardData and CloseClipboard
//    need it open (otherwise FALSE / null).
//  - SetClipboardData hands the global block over: the clipboard owns it from
//    then on and frees it on EmptyClipboard or when the format is set again;
//    the caller must not free it. It returns the block, null on failure (the
//    caller keeps the block then).
//  - GetClipboardData returns the clipboard's own block (do not free it);
//    null when the format is absent.
#pragma once

#include "platform/windows_types.h"

#define CF_TEXT 1
#define CF_BITMAP 2
#define CF_DIB 8

// The screen: every window shares the virtual screen surface (see gdi.h).
// ReleaseDC returns 1, 0 for a handle GetDC did not give.
VELLUM_API HDC GetDC(HWND window);
VELLUM_API int ReleaseDC(HWND window, HDC dc);

VELLUM_API BOOL OpenClipboard(HWND owner);
VELLUM_API BOOL CloseClipboard();
VELLUM_API BOOL EmptyClipboard();
VELLUM_API HANDLE SetClipboardData(UINT format, HANDLE data);
VELLUM_API HANDLE GetClipboardData(UINT format);
VELLUM_API BOOL IsClipboardFormatAvailable(UINT format);

// A window: only its handle. Hosts that own real windows make a CWnd per
// window (the handle is any value they like) and set the thread's main one.
class VELLUM_API CWnd {
public:
    CWnd() = default;
    explicit CWnd(HWND window) : m_hWnd(window) {}
    virtual ~CWnd() = default;
    HWND GetSafeHwnd() const { return m_hWnd; }
    operator HWND() const { return m_hWnd; }  // NOLINT(google-explicit-constructor)
    BOOL OpenClipboard() { return ::OpenClipboard(m_hWnd); }
    HWND m_hWnd = nullptr;
};

// The running thread object: each thread has its own, whose main window
// starts null.
class VELLUM_API CWinThread {
public:
    virtual ~CWinThread() = default;
    virtual CWnd* GetMainWnd() { return m_pMainWnd; }
    CWnd* m_pMainWnd = nullptr;
};

VELLUM_API CWinThread* AfxGetThread();
VELLUM_API CWnd* AfxGetMainWnd();
