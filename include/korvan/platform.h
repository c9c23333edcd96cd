// korvan/platform.h - the Windows interfaces the library is built on.
//
// Host code written against the Windows library uses CString, VARIANT,
// CComVariant, BSTR, byte SAFEARRAYs and the MFC/ATL exception classes. On
// Windows, VARIANT, BSTR, SAFEARRAY and their functions are the system's own
// (oleaut32); elsewhere this header gives the same names, numeric values and
// behaviour through the library's stand-ins, in the global namespace as on
// Windows. Conversions and comparisons of variants follow the OLE Automation
// rules for the types the library uses (empty, null, the integer types, R4,
// R8, DATE, BSTR, BOOL, ERROR and one-dimensional byte arrays);
// LOCALE_USER_DEFAULT stands for the process's C locale there, which behaves
// as en-US in the "C" locale. CString, CComVariant, CByteArray and the
// exceptions are the library's own classes on every system.
//
// Helpers that have no Windows name (UTF-8 and UTF-16LE coding, the monotonic
// clock) live in namespace korvan.
//
// Threads: the library is used from one thread at a time; nothing here locks.
// Ownership: a BSTR belongs to whoever allocated it until SysFreeString; a
// VARIANT owns its BSTR or SAFEARRAY (VariantClear frees it); exceptions
// derived from CException are thrown by pointer and belong to the catcher,
// who calls Delete().
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// KORVAN_STATIC: the program links the library's objects themselves (the
// tests do), not the DLL.
#if defined(_WIN32)
#if defined(KORVAN_BUILDING_LIBRARY)
#define KORVAN_API __declspec(dllexport)
#elif defined(KORVAN_STATIC)
#define KORVAN_API
#else
#define KORVAN_API __declspec(dllimport)
#endif
#else
#define KORVAN_API __attribute__((visibility("default")))
#endif

#if defined(_WIN32)

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// oleauto.h needs windows.h first.
#include <oleauto.h>

// The system's headers take the sources of these by non-const pointer,
// though nothing changes them; the forms with const sources are the ones the
// library and its callers use everywhere.
inline HRESULT VariantCopy(VARIANTARG* pvargDest, const VARIANTARG* pvargSrc) {
    return ::VariantCopy(pvargDest, const_cast<VARIANTARG*>(pvargSrc));
}
inline HRESULT VariantChangeType(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, USHORT wFlags,
                                 VARTYPE vt) {
    return ::VariantChangeType(pvargDest, const_cast<VARIANTARG*>(pvarSrc), wFlags, vt);
}
inline HRESULT VariantChangeTypeEx(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, LCID lcid,
                                   USHORT wFlags, VARTYPE vt) {
    return ::VariantChangeTypeEx(pvargDest, const_cast<VARIANTARG*>(pvarSrc), lcid, wFlags, vt);
}
inline HRESULT VarCmp(const VARIANT* pvarLeft, const VARIANT* pvarRight, LCID lcid, ULONG dwFlags) {
    return ::VarCmp(const_cast<VARIANT*>(pvarLeft), const_cast<VARIANT*>(pvarRight), lcid, dwFlags);
}

#else  // the stand-ins

// ---------------------------------------------------------------------------
// Scalar types with their Windows widths.

typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef int32_t LONG;  // 32 bits, as on Windows (a Linux long is 64 bits)
typedef uint32_t ULONG;
typedef int16_t SHORT;
typedef uint16_t USHORT;
typedef unsigned int UINT;
typedef long long LONGLONG;
typedef unsigned long long ULONGLONG;
typedef int32_t HRESULT;
typedef int32_t SCODE;
typedef uint32_t LCID;
typedef uint16_t VARTYPE;
typedef int16_t VARIANT_BOOL;
typedef double DATE;
typedef wchar_t OLECHAR;
typedef OLECHAR* BSTR;

#define VARIANT_TRUE (static_cast<VARIANT_BOOL>(-1))
#define VARIANT_FALSE (static_cast<VARIANT_BOOL>(0))

// Result codes, with the numeric values of Windows.
constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
constexpr HRESULT DISP_E_TYPEMISMATCH = static_cast<HRESULT>(0x80020005u);
constexpr HRESULT DISP_E_BADVARTYPE = static_cast<HRESULT>(0x80020008u);
constexpr HRESULT DISP_E_OVERFLOW = static_cast<HRESULT>(0x8002000Au);
constexpr HRESULT DISP_E_BADINDEX = static_cast<HRESULT>(0x8002000Bu);
constexpr HRESULT DISP_E_ARRAYISLOCKED = static_cast<HRESULT>(0x8002000Du);

constexpr bool SUCCEEDED(HRESULT hr) {
    return hr >= 0;
}
constexpr bool FAILED(HRESULT hr) {
    return hr < 0;
}

// Variant types.
enum VARENUM {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_CY = 6,
    VT_DATE = 7,
    VT_BSTR = 8,
    VT_DISPATCH = 9,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_VARIANT = 12,
    VT_UNKNOWN = 13,
    VT_DECIMAL = 14,
    VT_I1 = 16,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_INT = 22,
    VT_UINT = 23,
    VT_VOID = 24,
    VT_HRESULT = 25,
    VT_PTR = 26,
    VT_SAFEARRAY = 27,
    VT_CARRAY = 28,
    VT_USERDEFINED = 29,
    VT_LPSTR = 30,
    VT_LPWSTR = 31,
    VT_RECORD = 36,
    VT_FILETIME = 64,
    VT_CLSID = 72,
    VT_VECTOR = 0x1000,
    VT_ARRAY = 0x2000,
    VT_BYREF = 0x4000,
    VT_RESERVED = 0x8000,
    VT_TYPEMASK = 0x0fff,
};

// Flags of VariantChangeType.
constexpr USHORT VARIANT_NOVALUEPROP = 0x01;
constexpr USHORT VARIANT_ALPHABOOL = 0x02;
constexpr USHORT VARIANT_NOUSEROVERRIDE = 0x04;
constexpr USHORT VARIANT_LOCALBOOL = 0x10;

// Locales and VarCmp results.
constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x0800;
constexpr ULONG NORM_IGNORECASE = 0x00000001;
constexpr HRESULT VARCMP_LT = 0;
constexpr HRESULT VARCMP_EQ = 1;
constexpr HRESULT VARCMP_GT = 2;
constexpr HRESULT VARCMP_NULL = 3;

// ---------------------------------------------------------------------------
// SAFEARRAY: one-dimensional arrays of bytes (VT_UI1). Dimension numbers are
// 1-based; a zero-based array of n elements has the upper bound n - 1.

struct SAFEARRAYBOUND {
    ULONG cElements;
    LONG lLbound;
};

struct SAFEARRAY {
    USHORT cDims;
    USHORT fFeatures;
    ULONG cbElements;
    ULONG cLocks;
    void* pvData;
    SAFEARRAYBOUND rgsabound[1];
};

// Null for any element type other than VT_UI1 or more than one dimension.
KORVAN_API SAFEARRAY* SafeArrayCreate(VARTYPE vt, UINT cDims, SAFEARRAYBOUND* rgsabound);
KORVAN_API SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lLbound, ULONG cElements);
KORVAN_API HRESULT SafeArrayDestroy(SAFEARRAY* psa);  // DISP_E_ARRAYISLOCKED while accessed
KORVAN_API HRESULT SafeArrayCopy(SAFEARRAY* psa, SAFEARRAY** ppsaOut);
KORVAN_API HRESULT SafeArrayGetLBound(SAFEARRAY* psa, UINT nDim, LONG* plLbound);
KORVAN_API HRESULT SafeArrayGetUBound(SAFEARRAY* psa, UINT nDim, LONG* plUbound);
KORVAN_API UINT SafeArrayGetDim(SAFEARRAY* psa);
KORVAN_API UINT SafeArrayGetElemsize(SAFEARRAY* psa);
KORVAN_API HRESULT SafeArrayAccessData(SAFEARRAY* psa, void** ppvData);
KORVAN_API HRESULT SafeArrayUnaccessData(SAFEARRAY* psa);

// ---------------------------------------------------------------------------
// BSTR: a length-prefixed, zero-terminated wide string. SysStringLen counts
// characters; a null BSTR has length 0 and counts as "".

KORVAN_API BSTR SysAllocString(const OLECHAR* psz);
KORVAN_API BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui);
KORVAN_API void SysFreeString(BSTR bstrString);
KORVAN_API UINT SysStringLen(BSTR pbstr);

// ---------------------------------------------------------------------------
// VARIANT

struct tagVARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        LONGLONG llVal;
        LONG lVal;
        BYTE bVal;
        SHORT iVal;
        float fltVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        SCODE scode;
        DATE date;
        BSTR bstrVal;
        SAFEARRAY* parray;
        char cVal;
        USHORT uiVal;
        ULONG ulVal;
        ULONGLONG ullVal;
        int32_t intVal;
        uint32_t uintVal;
    };
};
typedef tagVARIANT VARIANT;
typedef tagVARIANT VARIANTARG;
typedef VARIANT* LPVARIANT;

KORVAN_API void VariantInit(VARIANTARG* pvarg);
// Frees the BSTR or array and leaves VT_EMPTY; DISP_E_BADVARTYPE for an
// invalid type (the variant is then left as it was).
KORVAN_API HRESULT VariantClear(VARIANTARG* pvarg);
// Deep copy (BSTRs and arrays are duplicated).
KORVAN_API HRESULT VariantCopy(VARIANTARG* pvargDest, const VARIANTARG* pvargSrc);
// Converts with the OLE Automation rules. On failure the destination is not
// touched; on success it is cleared first and receives exactly the type vt.
// pvargDest may equal pvarSrc.
KORVAN_API HRESULT VariantChangeType(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc,
                                     USHORT wFlags, VARTYPE vt);
KORVAN_API HRESULT VariantChangeTypeEx(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, LCID lcid,
                                       USHORT wFlags, VARTYPE vt);
// VARCMP_LT, VARCMP_EQ, VARCMP_GT or VARCMP_NULL, or a failure code.
KORVAN_API HRESULT VarCmp(const VARIANT* pvarLeft, const VARIANT* pvarRight, LCID lcid,
                          ULONG dwFlags);
// Text comparison: lcid 0 compares the UTF-16LE bytes, any other lcid is a
// linguistic comparison (NORM_IGNORECASE in dwFlags ignores case).
KORVAN_API HRESULT VarBstrCmp(BSTR bstrLeft, BSTR bstrRight, LCID lcid, ULONG dwFlags);

#endif  // the stand-ins

// ---------------------------------------------------------------------------
// Exceptions. CException and its derivations are thrown by pointer (created
// with new) and released by the catcher with Delete(); CAtlException is
// thrown by value.

class KORVAN_API CException {
  public:
    CException() = default;
    CException(const CException&) = default;
    CException& operator=(const CException&) = default;
    virtual ~CException();

    // Copies the message into buffer (at most maxChars - 1 characters and a
    // terminating zero), stores 0 in *helpContext when given; nonzero when a
    // message was given.
    virtual int GetErrorMessage(wchar_t* buffer, unsigned int maxChars,
                                unsigned int* helpContext = nullptr) const;
    // Destroys the exception object; the catcher's duty.
    void Delete();
};

class KORVAN_API CMemoryException : public CException {
  public:
    int GetErrorMessage(wchar_t* buffer, unsigned int maxChars,
                        unsigned int* helpContext = nullptr) const override;
};

class KORVAN_API CInvalidArgException : public CException {
  public:
    int GetErrorMessage(wchar_t* buffer, unsigned int maxChars,
                        unsigned int* helpContext = nullptr) const override;
};

[[noreturn]] KORVAN_API void AfxThrowMemoryException();
[[noreturn]] KORVAN_API void AfxThrowInvalidArgException();

class KORVAN_API CAtlException {
  public:
    explicit CAtlException(HRESULT hr = E_FAIL) : m_hr(hr) {}
    operator HRESULT() const { return m_hr; }

    HRESULT m_hr;
};

[[noreturn]] KORVAN_API void AtlThrow(HRESULT hr);

// ---------------------------------------------------------------------------
// CString: a wide string with the MFC operations the library and its callers
// use. Case mapping is Unicode simple case mapping for every character,
// independent of the process locale. Format follows the Windows wide printf:
// %s takes a wide string, %S and %hs a narrow (UTF-8) one, %c a wide
// character, %I64d/%I64u 64-bit integers; the rest is C99.

class KORVAN_API CString {
  public:
    CString() = default;
    CString(const wchar_t* text);  // null gives an empty string
    CString(const wchar_t* text, int length);
    CString(const char* utf8);  // invalid sequences become U+FFFD
    CString(wchar_t ch, int repeat = 1);
    CString(std::wstring text) : m_text(std::move(text)) {}
    CString(std::wstring_view text) : m_text(text) {}

    int GetLength() const { return static_cast<int>(m_text.size()); }
    bool IsEmpty() const { return m_text.empty(); }
    void Empty() { m_text.clear(); }
    const wchar_t* GetString() const { return m_text.c_str(); }
    operator const wchar_t*() const { return m_text.c_str(); }
    const std::wstring& str() const { return m_text; }
    std::string ToUtf8() const;
    // A new BSTR holding the text; the caller frees it with SysFreeString.
    BSTR AllocSysString() const;

    wchar_t GetAt(int i) const { return m_text[static_cast<size_t>(i)]; }
    wchar_t operator[](int i) const { return GetAt(i); }
    void SetAt(int i, wchar_t ch) { m_text[static_cast<size_t>(i)] = ch; }

    CString& MakeLower();
    CString& MakeUpper();
    CString Left(int count) const;
    CString Right(int count) const;
    CString Mid(int first) const;
    CString Mid(int first, int count) const;

    // -1 when absent.
    int Find(wchar_t ch, int start = 0) const;
    int Find(const wchar_t* sub, int start = 0) const;
    int ReverseFind(wchar_t ch) const;

    // Return the number of replacements or removals.
    int Replace(wchar_t from, wchar_t to);
    int Replace(const wchar_t* from, const wchar_t* to);
    int Remove(wchar_t ch);
    int Insert(int index, wchar_t ch);
    int Insert(int index, const wchar_t* text);
    int Delete(int index, int count = 1);

    // Without arguments: white space; otherwise the given characters.
    CString& Trim();
    CString& Trim(wchar_t ch);
    CString& Trim(const wchar_t* chars);
    CString& TrimLeft();
    CString& TrimLeft(wchar_t ch);
    CString& TrimLeft(const wchar_t* chars);
    CString& TrimRight();
    CString& TrimRight(wchar_t ch);
    CString& TrimRight(const wchar_t* chars);

    // <0, 0 or >0; Compare is ordinal by code point, CompareNoCase compares
    // the simple case folding of both texts.
    int Compare(const wchar_t* other) const;
    int CompareNoCase(const wchar_t* other) const;

    void Format(const wchar_t* format, ...);
    void FormatV(const wchar_t* format, va_list args);
    void AppendFormat(const wchar_t* format, ...);
    void AppendFormatV(const wchar_t* format, va_list args);

    CString& operator+=(const CString& other) {
        m_text += other.m_text;
        return *this;
    }
    CString& operator+=(const wchar_t* other);
    CString& operator+=(wchar_t ch) {
        m_text += ch;
        return *this;
    }

    friend CString operator+(const CString& a, const CString& b) {
        return CString(a.m_text + b.m_text);
    }
    friend CString operator+(const CString& a, const wchar_t* b) { return a + CString(b); }
    friend CString operator+(const wchar_t* a, const CString& b) { return CString(a) + b; }
    friend CString operator+(const CString& a, wchar_t b) { return CString(a.m_text + b); }
    friend bool operator==(const CString& a, const CString& b) { return a.m_text == b.m_text; }
    friend bool operator==(const CString& a, const wchar_t* b) { return a.Compare(b) == 0; }
    friend bool operator!=(const CString& a, const CString& b) { return !(a == b); }
    friend bool operator!=(const CString& a, const wchar_t* b) { return !(a == b); }
    // By code point, as Compare orders.
    friend KORVAN_API bool operator<(const CString& a, const CString& b);

  private:
    std::wstring m_text;
};

template <>
struct std::hash<CString> {
    size_t operator()(const CString& s) const noexcept {
        return std::hash<std::wstring>{}(s.str());
    }
};

// ---------------------------------------------------------------------------
// CComVariant: a VARIANT that manages its own content, with ATL's
// constructors and comparison operators. == is false for different types; <
// and > compare through VarCmp (except VT_I1, VT_UI2, VT_UI4 and VT_UI8 on
// the left, which compare the raw fields); any comparison failure makes ==,
// < and > false.

class KORVAN_API CComVariant : public tagVARIANT {
  public:
    CComVariant() noexcept;
    ~CComVariant();
    CComVariant(const CComVariant& src);
    CComVariant(CComVariant&& src) noexcept;  // src is left empty
    CComVariant(const VARIANT& src);
    CComVariant(const wchar_t* text);  // null gives an empty BSTR
    CComVariant(const CString& text);
    CComVariant(bool value);                               // VT_BOOL
    CComVariant(char value);                               // VT_I1
    CComVariant(BYTE value);                               // VT_UI1
    CComVariant(short value);                              // VT_I2
    CComVariant(unsigned short value);                     // VT_UI2
    CComVariant(int value, VARTYPE vt = VT_I4);            // VT_I4 or VT_INT
    CComVariant(unsigned int value, VARTYPE vt = VT_UI4);  // VT_UI4 or VT_UINT
    CComVariant(long value, VARTYPE vt = VT_I4);           // VT_I4 (32 bits kept) or VT_ERROR
    CComVariant(unsigned long value);                      // VT_UI4 (32 bits kept)
    CComVariant(long long value);                          // VT_I8
    CComVariant(unsigned long long value);                 // VT_UI8
    CComVariant(float value);                              // VT_R4
    CComVariant(double value, VARTYPE vt = VT_R8);         // VT_R8 or VT_DATE

    CComVariant& operator=(const CComVariant& src);
    CComVariant& operator=(CComVariant&& src) noexcept;
    CComVariant& operator=(const VARIANT& src);
    CComVariant& operator=(const wchar_t* text);
    CComVariant& operator=(const CString& text);
    CComVariant& operator=(bool value);
    CComVariant& operator=(short value);
    CComVariant& operator=(int value);
    CComVariant& operator=(long value);
    CComVariant& operator=(float value);
    CComVariant& operator=(double value);

    bool operator==(const VARIANT& other) const;
    bool operator!=(const VARIANT& other) const { return !operator==(other); }
    // Exact matches for two CComVariants, so that C++20's reversed candidates
    // of the VARIANT forms do not compete.
    bool operator==(const CComVariant& other) const {
        return operator==(static_cast<const VARIANT&>(other));
    }
    bool operator!=(const CComVariant& other) const { return !operator==(other); }
    bool operator<(const VARIANT& other) const;
    bool operator>(const VARIANT& other) const;

    HRESULT Clear() { return VariantClear(this); }
    HRESULT Copy(const VARIANT* src);
    // VariantChangeType(this, src ? src : this, 0, vt).
    HRESULT ChangeType(VARTYPE vt, const VARIANT* src = nullptr);

  private:
    // Copy; on failure VT_ERROR holding the failure, which is then raised.
    void InternalCopy(const VARIANT* src);
    // Clear; a failure is raised.
    void ClearThrow();
    // Clears a value of another type and takes the new type.
    void SetType(VARTYPE type);
    // A new BSTR; VT_ERROR and E_OUTOFMEMORY raised when it cannot be made.
    void SetText(const wchar_t* text, size_t length);
};

// ---------------------------------------------------------------------------
// CByteArray: a growable byte array with MFC's interface.

class KORVAN_API CByteArray {
  public:
    int64_t GetSize() const { return static_cast<int64_t>(m_bytes.size()); }
    int64_t GetCount() const { return GetSize(); }
    bool IsEmpty() const { return m_bytes.empty(); }
    void SetSize(int64_t size) { m_bytes.resize(static_cast<size_t>(size)); }
    BYTE* GetData() { return m_bytes.data(); }
    const BYTE* GetData() const { return m_bytes.data(); }
    BYTE GetAt(int64_t i) const { return m_bytes[static_cast<size_t>(i)]; }
    void SetAt(int64_t i, BYTE b) { m_bytes[static_cast<size_t>(i)] = b; }
    BYTE& operator[](int64_t i) { return m_bytes[static_cast<size_t>(i)]; }
    BYTE operator[](int64_t i) const { return m_bytes[static_cast<size_t>(i)]; }
    // Returns the index of the added byte.
    int64_t Add(BYTE b) {
        m_bytes.push_back(b);
        return GetSize() - 1;
    }
    void Copy(const CByteArray& other) { m_bytes = other.m_bytes; }
    void RemoveAll() { m_bytes.clear(); }

  private:
    std::vector<BYTE> m_bytes;
};

// ---------------------------------------------------------------------------
// Helpers without a Windows name.

namespace korvan {

// Strict UTF-8 decoding: false (and out left empty) on any invalid sequence:
// a stray continuation byte, a truncated sequence, an overlong form, a
// surrogate or a value above U+10FFFF. A leading byte order mark is kept.
KORVAN_API bool DecodeUtf8(std::string_view bytes, std::wstring& out);
// UTF-8 encoding; a lone surrogate or an invalid code point becomes U+FFFD.
KORVAN_API std::string EncodeUtf8(std::wstring_view text);
// The UTF-16LE bytes of a text (characters above U+FFFF as surrogate pairs).
KORVAN_API std::vector<BYTE> EncodeUtf16LE(std::wstring_view text);
// The reverse; a dangling odd byte becomes one character of its own value.
// Wide texts are UTF-16 where wchar_t has 16 bits (Windows), UTF-32
// otherwise: every helper here converts characters beyond U+FFFF (surrogate
// pairs in UTF-16) whole.
KORVAN_API std::wstring DecodeUtf16LE(const BYTE* bytes, size_t count);

// Seconds of a monotonic clock; only differences are meaningful.
KORVAN_API double MonotonicSeconds();

}  // namespace korvan
