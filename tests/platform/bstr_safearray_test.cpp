#include <gtest/gtest.h>
#include <korvan/platform.h>

#include <climits>
#include <cstring>
#include <string>

#include "tests/platform/variant_test_support.h"

namespace {

constexpr HRESULT kUnexpected = static_cast<HRESULT>(0x8000FFFFu);

TEST(Bstr, AllocationLengthAndTermination) {
    const BSTR abc = SysAllocString(L"abc");
    ASSERT_NE(abc, nullptr);
    EXPECT_EQ(SysStringLen(abc), 3u);
    EXPECT_EQ(std::wstring(abc), L"abc");

    const BSTR embedded = SysAllocStringLen(L"a\0b", 3);
    EXPECT_EQ(SysStringLen(embedded), 3u);
    EXPECT_EQ(std::wstring(embedded, 4), std::wstring(L"a\0b\0", 4));

    const BSTR blank = SysAllocStringLen(nullptr, 4);
    EXPECT_EQ(SysStringLen(blank), 4u);
    EXPECT_EQ(std::wstring(blank, 5), std::wstring(5, L'\0'));

    const BSTR empty = SysAllocString(L"");
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(SysStringLen(empty), 0u);

    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysAllocStringLen(L"", UINT_MAX), nullptr);
    SysFreeString(nullptr);
    for (BSTR text : {abc, embedded, blank, empty}) {
        SysFreeString(text);
    }
}

TEST(SafeArray, Bounds) {
    struct Row {
        LONG lower;
        ULONG count;
        LONG expectedUpper;
    };
    const Row rows[] = {{0, 3, 2}, {1, 3, 3}, {0, 0, -1}, {-2, 4, 1}};
    for (const Row& row : rows) {
        SAFEARRAYBOUND bound{row.count, row.lower};
        for (SAFEARRAY* array : {SafeArrayCreateVector(VT_UI1, row.lower, row.count),
                                 SafeArrayCreate(VT_UI1, 1, &bound)}) {
            ASSERT_NE(array, nullptr);
            LONG lower = 99;
            LONG upper = 99;
            EXPECT_EQ(SafeArrayGetLBound(array, 1, &lower), S_OK);
            EXPECT_EQ(SafeArrayGetUBound(array, 1, &upper), S_OK);
            EXPECT_EQ(lower, row.lower);
            EXPECT_EQ(upper, row.expectedUpper);
            EXPECT_EQ(SafeArrayGetUBound(array, 0, &upper), DISP_E_BADINDEX);
            EXPECT_EQ(SafeArrayGetLBound(array, 2, &lower), DISP_E_BADINDEX);
            EXPECT_EQ(SafeArrayGetUBound(array, 1, nullptr), E_INVALIDARG);
            EXPECT_EQ(SafeArrayDestroy(array), S_OK);
        }
    }
    LONG bound = 0;
    EXPECT_EQ(SafeArrayGetLBound(nullptr, 1, &bound), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetDim(nullptr), 0u);
    EXPECT_EQ(SafeArrayDestroy(nullptr), S_OK);
}

TEST(SafeArray, LocksAndCopies) {
    SAFEARRAY* array = SafeArrayCreateVector(VT_UI1, 1, 3);
    void* data = nullptr;
    ASSERT_EQ(SafeArrayAccessData(array, &data), S_OK);
    std::memcpy(data, "xyz", 3);
    void* again = nullptr;
    ASSERT_EQ(SafeArrayAccessData(array, &again), S_OK);
    EXPECT_EQ(again, data);

    SAFEARRAY* copy = nullptr;
    ASSERT_EQ(SafeArrayCopy(array, &copy), S_OK);
    EXPECT_NE(copy->pvData, array->pvData);
    EXPECT_EQ(std::memcmp(copy->pvData, "xyz", 3), 0);
    EXPECT_EQ(copy->rgsabound[0].lLbound, 1);
    EXPECT_EQ(SafeArrayDestroy(copy), S_OK);  // the copy is not locked

    EXPECT_EQ(SafeArrayDestroy(array), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(SafeArrayUnaccessData(array), S_OK);
    EXPECT_EQ(SafeArrayDestroy(array), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(SafeArrayUnaccessData(array), S_OK);
    EXPECT_EQ(SafeArrayUnaccessData(array), kUnexpected);
    EXPECT_EQ(SafeArrayAccessData(array, nullptr), E_INVALIDARG);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);

    SAFEARRAY* empty = SafeArrayCreateVector(VT_UI1, 0, 0);
    ASSERT_EQ(SafeArrayAccessData(empty, &data), S_OK);
    EXPECT_NE(data, nullptr);
    EXPECT_EQ(SafeArrayUnaccessData(empty), S_OK);
    EXPECT_EQ(SafeArrayDestroy(empty), S_OK);

    EXPECT_EQ(SafeArrayCopy(nullptr, &copy), S_OK);
    EXPECT_EQ(copy, nullptr);
    EXPECT_EQ(SafeArrayCopy(nullptr, nullptr), E_INVALIDARG);
}

TEST(Variant, ClearAndCopy) {
    CComVariant bytes = variant_test::Bytes(L"A");
    void* data = nullptr;
    ASSERT_EQ(SafeArrayAccessData(bytes.parray, &data), S_OK);
    if (!variant_test::UnderWine()) {  // Wine clears the variant all the same
        EXPECT_EQ(VariantClear(&bytes), DISP_E_ARRAYISLOCKED);
        EXPECT_EQ(bytes.vt, VT_ARRAY | VT_UI1);
    }
    ASSERT_EQ(SafeArrayUnaccessData(bytes.parray), S_OK);

    CComVariant copy(L"replaced");
    ASSERT_EQ(VariantCopy(&copy, &bytes), S_OK);
    EXPECT_NE(copy.parray, bytes.parray);
    EXPECT_EQ(variant_test::Render(copy), "[41 00]");
    EXPECT_EQ(VariantClear(&bytes), S_OK);
    EXPECT_EQ(bytes.vt, VT_EMPTY);

    const CComVariant text(L"text");
    ASSERT_EQ(VariantCopy(&copy, &text), S_OK);
    EXPECT_NE(copy.bstrVal, text.bstrVal);
    EXPECT_EQ(variant_test::Render(copy), "text");
    EXPECT_EQ(VariantCopy(&copy, &copy), S_OK);
    EXPECT_EQ(variant_test::Render(copy), "text");

    const CComVariant null = variant_test::NullText();
    ASSERT_EQ(VariantCopy(&copy, &null), S_OK);
    ASSERT_NE(copy.bstrVal, nullptr);
    EXPECT_EQ(SysStringLen(copy.bstrVal), 0u);

    VARIANT invalid;
    invalid.vt = VT_VOID;
    invalid.llVal = 0;
    EXPECT_EQ(VariantCopy(&copy, &invalid), DISP_E_BADVARTYPE);
    EXPECT_EQ(copy.vt, VT_BSTR);
    EXPECT_EQ(VariantClear(&invalid), DISP_E_BADVARTYPE);
    EXPECT_EQ(invalid.vt, VT_VOID);
    EXPECT_EQ(VariantCopy(&invalid, &text), DISP_E_BADVARTYPE);
}

// An odd number of bytes makes a text of the whole UTF-16 units; the last byte
// is no character, yet it comes back with the bytes, also from a copy.
TEST(Variant, OddByteArrayRoundTrip) {
    const BYTE bytes[] = {0x41, 0x42, 0x43};
    CComVariant array;
    array.vt = VT_ARRAY | VT_UI1;
    array.parray = SafeArrayCreateVector(VT_UI1, 0, 3);
    ASSERT_NE(array.parray, nullptr);
    void* data = nullptr;
    ASSERT_EQ(SafeArrayAccessData(array.parray, &data), S_OK);
    std::memcpy(data, bytes, sizeof bytes);
    ASSERT_EQ(SafeArrayUnaccessData(array.parray), S_OK);

    CComVariant text;
    ASSERT_EQ(VariantChangeType(&text, &array, 0, VT_BSTR), S_OK);
    ASSERT_EQ(SysStringLen(text.bstrVal), 1u);
    EXPECT_EQ(text.bstrVal[0], static_cast<wchar_t>(0x4241));
    const CComVariant copy(text);
    const CComVariant* sources[] = {&text, &copy};
    for (const CComVariant* source : sources) {
        EXPECT_EQ(variant_test::Convert(*source, VT_ARRAY | VT_UI1), "[41 42 43]");
    }
    EXPECT_EQ(VarBstrCmp(text.bstrVal, copy.bstrVal, 0, 0), VARCMP_EQ);
}

// Characters beyond U+FFFF are two UTF-16 units in the bytes of a text,
// whatever the width of wchar_t.
TEST(Variant, TextBeyondTheBasicPlaneAsBytes) {
    const CComVariant text(L"\U0001F600x");
    EXPECT_EQ(variant_test::Convert(text, VT_ARRAY | VT_UI1), "[3d d8 00 de 78 00]");
    const CComVariant bytes = variant_test::Bytes(L"\U0001F600x");
    CComVariant back;
    ASSERT_EQ(VariantChangeType(&back, &bytes, 0, VT_BSTR), S_OK);
    EXPECT_EQ(std::wstring(back.bstrVal, SysStringLen(back.bstrVal)), L"\U0001F600x");
}

}  // namespace
