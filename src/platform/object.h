// The class library's root classes: CObject (base of the serialisable
// classes) and CException (base of the exceptions the file classes throw).
//
// Exceptions follow the class library's convention: they are thrown as
// pointers to heap objects (`throw new CFileException(...)`) and the catcher
// releases them with Delete(): `catch (CFileException* e) { e->Delete(); }`.
#pragma once

#include "platform/windows_types.h"

class CArchive;

class VELLUM_API CObject {
public:
    CObject() = default;
    CObject(const CObject&) = default;
    CObject& operator=(const CObject&) = default;
    virtual ~CObject();
    virtual void Serialize(CArchive& ar);
    virtual BOOL IsSerializable() const { return FALSE; }
};

class VELLUM_API CException : public CObject {
public:
    ~CException() override;
    // Releases an exception that was thrown by pointer.
    void Delete() { delete this; }
    // Writes the exception's text (at most maxChars - 1 characters and a
    // terminating zero) and returns TRUE when there is one.
    virtual BOOL GetErrorMessage(LPTSTR text, UINT maxChars, UINT* helpContext = nullptr) const;
    // Shows the text in a message box; returns the button pressed.
    virtual int ReportError(UINT type = 0x30u /* MB_ICONEXCLAMATION */, UINT messageId = 0) const;
};

class VELLUM_API CMemoryException : public CException {};
