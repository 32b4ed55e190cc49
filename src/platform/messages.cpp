#include "platform/messages.h"

#include <atomic>
#include <cstdio>

namespace {

constexpr const char* kStrings[] = {
    nullptr,
    "There is no enough memory.\nPlease close some programs or free some disk space in swap disk.",
    "File could not be opened.\nMake sure the special file exists and is openable.",
    "File could not be created. Make sure the special file is written.",
    "The file is not bmp format. Could not open it.",
    "The parameter is invalid.",
};

int defaultHandler(const char* text, UINT) {
    std::fprintf(stderr, "%s\n", text);
    return IDOK;
}

std::atomic<VellumMessageHandler> gHandler{&defaultHandler};

}  // namespace

const char* VellumLoadString(UINT id) {
    if (id == 0 || id >= sizeof kStrings / sizeof kStrings[0]) return nullptr;
    return kStrings[id];
}

VellumMessageHandler VellumSetMessageHandler(VellumMessageHandler handler) {
    return gHandler.exchange(handler ? handler : &defaultHandler);
}

int AfxMessageBox(LPCTSTR text, UINT type, UINT) {
    return gHandler.load()(text ? text : "", type);
}

int AfxMessageBox(UINT id, UINT type, UINT) {
    const char* text = VellumLoadString(id);
    return text ? gHandler.load()(text, type) : 0;
}
