// The class library's arrays: CArray<TYPE, ARG_TYPE> and CDWordArray.
//
// Contract:
//  - Indices are INT_PTR and zero-based; GetUpperBound is GetSize() - 1.
//  - SetSize, SetAtGrow and InsertAt past the end grow the array; new elements
//    are value-initialised (zero for numbers). growBy is accepted and only
//    stored: growth is amortised whatever it says.
//  - Append returns the index of the first appended element (the old size).
//    An array may be appended to, copied from or inserted into itself.
//  - An index outside the array (GetAt, SetAt, ElementAt, operator[],
//    RemoveAt), a negative size or a negative count is a programming error: it
//    asserts in debug builds. Without assertions it never touches memory
//    outside the array: SetAt and the changing calls do nothing, and the
//    reference-returning accessors answer a scratch element that is not part
//    of the array.
//  - Like a 32-bit process, an array holds at most 2^31 - 1 bytes of
//    elements; growing beyond that, or running out of memory, throws a
//    CMemoryException by pointer and leaves the array as it was.
//  - CDWordArray::Serialize stores the count as the class library does (a
//    WORD, or 0xFFFF and then a DWORD for 0xFFFF and more) and then each
//    element as a DWORD, little-endian. Loading replaces the contents only once every
//    element has been read; a count that cannot fit throws badIndex, a file
//    that ends early endOfFile, and the array keeps its old contents.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "platform/archive.h"
#include "platform/global_memory.h"
#include "platform/object.h"

template <class TYPE, class ARG_TYPE = const TYPE&>
class VELLUM_API CArray : public CObject {
    static_assert(!std::is_same_v<TYPE, bool>, "use BOOL or BYTE elements: GetData needs storage");

public:
    CArray() = default;

    INT_PTR GetSize() const { return static_cast<INT_PTR>(m_data.size()); }
    INT_PTR GetCount() const { return GetSize(); }
    BOOL IsEmpty() const { return m_data.empty(); }
    INT_PTR GetUpperBound() const { return GetSize() - 1; }

    void SetSize(INT_PTR newSize, INT_PTR growBy = -1) {
        if (!expect(newSize >= 0)) return;
        if (growBy >= 0) m_growBy = growBy;
        resize(newSize);
    }
    void FreeExtra() { m_data.shrink_to_fit(); }
    void RemoveAll() { std::vector<TYPE>().swap(m_data); }

    const TYPE& GetAt(INT_PTR index) const { return at(index); }
    TYPE& GetAt(INT_PTR index) { return at(index); }
    void SetAt(INT_PTR index, ARG_TYPE newElement) {
        if (expect(valid(index))) m_data[static_cast<std::size_t>(index)] = newElement;
    }
    const TYPE& ElementAt(INT_PTR index) const { return at(index); }
    TYPE& ElementAt(INT_PTR index) { return at(index); }
    const TYPE* GetData() const { return m_data.data(); }
    TYPE* GetData() { return m_data.data(); }

    void SetAtGrow(INT_PTR index, ARG_TYPE newElement) {
        if (!expect(index >= 0)) return;
        const TYPE value(newElement);  // may refer to an element that moves
        if (index >= GetSize()) resize(sum(index, 1));
        m_data[static_cast<std::size_t>(index)] = value;
    }
    INT_PTR Add(ARG_TYPE newElement) {
        const INT_PTR index = GetSize();
        SetAtGrow(index, newElement);
        return index;
    }
    INT_PTR Append(const CArray& src) {
        if (this == &src) {
            const std::vector<TYPE> copy(src.m_data);
            return appendValues(copy);
        }
        return appendValues(src.m_data);
    }
    void Copy(const CArray& src) {
        if (this == &src) return;
        std::vector<TYPE> copy(src.m_data);
        m_data.swap(copy);
    }

    // Inserting at or past the end first grows the array to index elements.
    void InsertAt(INT_PTR index, ARG_TYPE newElement, INT_PTR count = 1) {
        if (!expect(index >= 0 && count >= 0) || count == 0) return;
        const TYPE value(newElement);
        reserve(sum(std::max(index, GetSize()), count));
        if (index > GetSize()) resize(index);
        m_data.insert(m_data.begin() + index, static_cast<std::size_t>(count), value);
    }
    void InsertAt(INT_PTR startIndex, const CArray* newArray) {
        if (!expect(startIndex >= 0 && newArray != nullptr)) return;
        if (newArray->IsEmpty()) return;
        const std::vector<TYPE> copy(newArray->m_data);
        reserve(sum(std::max(startIndex, GetSize()), static_cast<INT_PTR>(copy.size())));
        if (startIndex > GetSize()) resize(startIndex);
        m_data.insert(m_data.begin() + startIndex, copy.begin(), copy.end());
    }
    void RemoveAt(INT_PTR index, INT_PTR count = 1) {
        if (!expect(index >= 0 && count >= 0 && count <= GetSize() - index)) return;
        m_data.erase(m_data.begin() + index, m_data.begin() + index + count);
    }

    const TYPE& operator[](INT_PTR index) const { return at(index); }
    TYPE& operator[](INT_PTR index) { return at(index); }

private:
    INT_PTR appendValues(const std::vector<TYPE>& values) {
        const INT_PTR oldSize = GetSize();
        reserve(sum(oldSize, static_cast<INT_PTR>(values.size())));
        m_data.insert(m_data.end(), values.begin(), values.end());
        return oldSize;
    }

    static bool expect(bool condition) {
        assert(condition && "CArray: index, size or count out of range");
        return condition;
    }
    bool valid(INT_PTR index) const { return index >= 0 && index < GetSize(); }

    TYPE& at(INT_PTR index) {
        if (expect(valid(index))) return m_data[static_cast<std::size_t>(index)];
        return scratch();
    }
    const TYPE& at(INT_PTR index) const {
        if (expect(valid(index))) return m_data[static_cast<std::size_t>(index)];
        return scratch();
    }
    static TYPE& scratch() {
        static thread_local TYPE element{};
        element = TYPE{};
        return element;
    }

    // Makes room for n elements without changing the contents. Capacity at
    // least doubles so that a run of Add calls stays linear.
    void reserve(INT_PTR n) {
        checkLimit(n);
        const auto capacity = static_cast<INT_PTR>(m_data.capacity());
        if (n <= capacity) return;
        const INT_PTR target = std::max(n, std::min(capacity * 2, kMaxElements));
        try {
            m_data.reserve(static_cast<std::size_t>(target));
        } catch (const std::bad_alloc&) {
            throw new CMemoryException;
        } catch (const std::length_error&) {
            throw new CMemoryException;
        }
    }
    void resize(INT_PTR n) {
        reserve(n);
        m_data.resize(static_cast<std::size_t>(n));
    }
    static constexpr INT_PTR kMaxElements = static_cast<INT_PTR>(kGlobalAllocLimit / sizeof(TYPE));

    static void checkLimit(INT_PTR n) {
        if (n < 0 || n > kMaxElements) throw new CMemoryException;
    }
    // a + b for sizes, throwing where the result could not be held (and
    // before it could overflow).
    static INT_PTR sum(INT_PTR a, INT_PTR b) {
        checkLimit(a);
        checkLimit(b);
        return a + b;
    }

    std::vector<TYPE> m_data;
    INT_PTR m_growBy = -1;
};

class VELLUM_API CDWordArray : public CArray<DWORD, DWORD> {
public:
    void Serialize(CArchive& ar) override {
        CObject::Serialize(ar);
        if (ar.IsStoring()) {
            if (GetSize() < 0xFFFF) {
                ar << static_cast<WORD>(GetSize());
            } else {
                ar << static_cast<WORD>(0xFFFF) << static_cast<DWORD>(GetSize());
            }
            const DWORD* data = GetData();
            for (INT_PTR i = 0; i < GetSize(); ++i) ar << data[i];
            return;
        }
        WORD shortCount = 0;
        ar >> shortCount;
        DWORD count = shortCount;
        if (shortCount == 0xFFFF) ar >> count;
        if (count > kGlobalAllocLimit / sizeof(DWORD)) {
            const CFile* file = ar.GetFile();
            throw new CArchiveException(CArchiveException::badIndex,
                                        file ? file->GetFilePath().c_str() : nullptr);
        }
        // Elements are read before any room is made for them, so that a
        // corrupt count runs into the end of the file, not into a large block.
        std::vector<DWORD> values;
        values.reserve(std::min<DWORD>(count, 1u << 16));
        for (DWORD i = 0; i < count; ++i) {
            DWORD value = 0;
            ar >> value;
            values.push_back(value);
        }
        SetSize(static_cast<INT_PTR>(values.size()));
        std::copy(values.begin(), values.end(), GetData());
    }
};
