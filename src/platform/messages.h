// Message boxes. The library's only user-visible reports are a handful of
// texts from its string table, shown through AfxMessageBox. On Linux the text
// goes to a handler that the host may replace (a GUI host shows a dialog, a
// test records the text); the default handler writes it to standard error.
// Handlers are process-wide and guarded, as the platform's own would be.
#pragma once

#include "platform/windows_types.h"

// Message box types and results (only what the library uses).
#define MB_OK 0x00000000u
#define MB_OKCANCEL 0x00000001u
#define MB_YESNO 0x00000004u
#define MB_ICONSTOP 0x00000010u
#define MB_ICONHAND 0x00000010u
#define MB_ICONEXCLAMATION 0x00000030u
#define MB_ICONINFORMATION 0x00000040u
#define IDOK 1
#define IDCANCEL 2
#define IDYES 6
#define IDNO 7

// The library's string table.
#define IDS_NO_ENOUGH_MEMORY 1
#define IDS_FILE_NOT_OPENED 2
#define IDS_FILE_NOT_CREATED 3
#define IDS_NOT_BMP_FORMAT 4
#define IDS_INVALID_PARAMETER 5

// Returns the text of a string id, or null for an id the table lacks.
VELLUM_API const char* VellumLoadString(UINT id);

// A handler receives the text and the box type and returns the button pressed.
using VellumMessageHandler = int (*)(const char* text, UINT type);

// Installs a handler (null restores the default) and returns the previous one.
VELLUM_API VellumMessageHandler VellumSetMessageHandler(VellumMessageHandler handler);

// Shows a text. Returns the handler's answer (IDOK from the default handler).
VELLUM_API int AfxMessageBox(LPCTSTR text, UINT type = MB_OK, UINT helpId = 0);

// Shows a string-table text by id; an unknown id shows nothing and returns 0.
VELLUM_API int AfxMessageBox(UINT id, UINT type = MB_OK, UINT helpId = static_cast<UINT>(-1));
