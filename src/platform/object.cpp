#include "platform/object.h"

#include <cstdio>

#include "platform/messages.h"

CObject::~CObject() = default;

void CObject::Serialize(CArchive&) {}

CException::~CException() = default;

BOOL CException::GetErrorMessage(LPTSTR text, UINT maxChars, UINT* helpContext) const {
    if (helpContext) *helpContext = 0;
    if (text && maxChars > 0) text[0] = '\0';
    return FALSE;
}

int CException::ReportError(UINT type, UINT messageId) const {
    char text[512];
    if (GetErrorMessage(text, sizeof text)) return AfxMessageBox(text, type);
    if (messageId != 0) return AfxMessageBox(messageId, type);
    return AfxMessageBox("An unsupported operation was attempted.", type);
}
