// The in-process clipboard and the thread objects.
#include "platform/user.h"

#include <map>
#include <mutex>
#include <thread>

#include "platform/global_memory.h"

namespace {

struct Clipboard {
    std::mutex lock;
    bool open = false;
    HWND owner = nullptr;
    std::thread::id thread;
    std::map<UINT, HANDLE> data;
};

Clipboard& clipboard() {
    static Clipboard* c = new Clipboard;
    return *c;
}

// True when the calling thread holds the clipboard open.
bool HeldHere(const Clipboard& c) { return c.open && c.thread == std::this_thread::get_id(); }

}  // namespace

BOOL OpenClipboard(HWND owner) {
    Clipboard& c = clipboard();
    std::lock_guard<std::mutex> guard(c.lock);
    if (c.open && !(HeldHere(c) && c.owner == owner)) return FALSE;
    c.open = true;
    c.owner = owner;
    c.thread = std::this_thread::get_id();
    return TRUE;
}

BOOL CloseClipboard() {
    Clipboard& c = clipboard();
    std::lock_guard<std::mutex> guard(c.lock);
    if (!HeldHere(c)) return FALSE;
    c.open = false;
    c.owner = nullptr;
    return TRUE;
}

BOOL EmptyClipboard() {
    Clipboard& c = clipboard();
    std::lock_guard<std::mutex> guard(c.lock);
    if (!HeldHere(c)) return FALSE;
    for (auto& [format, block] : c.data) GlobalFree(block);
    c.data.clear();
    return TRUE;
}

HANDLE SetClipboardData(UINT format, HANDLE data) {
    Clipboard& c = clipboard();
    std::lock_guard<std::mutex> guard(c.lock);
    if (!HeldHere(c) || !data) return nullptr;
    auto it = c.data.find(format);
    if (it != c.data.end()) {
        if (it->second != data) GlobalFree(it->second);
        it->second = data;
    } else {
        c.data.emplace(format, data);
    }
    return data;
}

HANDLE GetClipboardData(UINT format) {
    Clipboard& c = clipboard();
    std::lock_guard<std::mutex> guard(c.lock);
    if (!HeldHere(c)) return nullptr;
    const auto it = c.data.find(format);
    return it == c.data.end() ? nullptr : it->second;
}

BOOL IsClipboardFormatAvailable(UINT format) {
    Clipboard& c = clipboard();
    std::lock_guard<std::mutex> guard(c.lock);
    return c.data.count(format) ? TRUE : FALSE;
}

CWinThread* AfxGetThread() {
    thread_local CWinThread thread;
    return &thread;
}

CWnd* AfxGetMainWnd() { return AfxGetThread()->GetMainWnd(); }
