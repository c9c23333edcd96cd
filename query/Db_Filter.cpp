// Row filters: one comparison of a field with a constant or with another
// field, made by DbTableDescr::AddFilter and evaluated row by row.

#include "query/Db_Filter.h"

#include <korvan/model.h>
#include <korvan/query.h>

#include <memory>
#include <string_view>

#include "model/Db_DecimalSeparator.h"
#include "model/Db_RowCells.h"
#include "platform/unicode.h"
#include "platform/variant_order.h"

namespace korvan {

bool VariantEqual(const CComVariant& left, const CComVariant& right) {
    HRESULT order = VARCMP_EQ;
    if (SameTypeOrder(left, right, order)) {
        return order == VARCMP_EQ;
    }
    // CComVariant's == already gives two nulls equal and different types
    // unequal before it asks VarCmp. (Naming the right side a VARIANT keeps
    // C++20 from also considering the reversed form.)
    return left == static_cast<const VARIANT&>(right);
}

namespace {

std::wstring_view TextOf(const VARIANT& v) {
    return {v.bstrVal, SysStringLen(v.bstrVal)};
}

bool BothText(const VARIANT& left, const VARIANT& right) {
    return left.vt == VT_BSTR && right.vt == VT_BSTR;
}

// Values of one plain type are ordered in line; any other pair through
// CComVariant's operators.
bool Less(const CComVariant& left, const CComVariant& right) {
    HRESULT order = VARCMP_EQ;
    if (SameTypeOrder(left, right, order)) {
        return order == VARCMP_LT;
    }
    return left < right;
}

bool LessOrEqual(const CComVariant& left, const CComVariant& right) {
    HRESULT order = VARCMP_EQ;
    if (SameTypeOrder(left, right, order)) {
        return order != VARCMP_GT;
    }
    return left < right || VariantEqual(left, right);
}

bool Greater(const CComVariant& left, const CComVariant& right) {
    HRESULT order = VARCMP_EQ;
    if (SameTypeOrder(left, right, order)) {
        return order == VARCMP_GT;
    }
    return left > right;
}

bool GreaterOrEqual(const CComVariant& left, const CComVariant& right) {
    HRESULT order = VARCMP_EQ;
    if (SameTypeOrder(left, right, order)) {
        return order != VARCMP_LT;
    }
    return left > right || VariantEqual(left, right);
}

// "==" on a text field: case is ignored between two texts; anything else
// (a null cell, say) falls back to the plain equality.
bool EqualNoCase(const CComVariant& left, const CComVariant& right) {
    if (BothText(left, right)) {
        return korvan::EqualNoCase(TextOf(left), TextOf(right));
    }
    return VariantEqual(left, right);
}

// Deliberately unlike "==": whether case is ignored is decided on every call
// from the left value's type, not once from the field types.
bool NotEqual(const CComVariant& left, const CComVariant& right) {
    if (left.vt == VT_BSTR) {
        return right.vt != VT_BSTR || !korvan::EqualNoCase(TextOf(left), TextOf(right));
    }
    return !VariantEqual(left, right);
}

DbFilter::CompareFn Comparison(const CString& op, bool textField) {
    if (op == L"<") {
        return Less;
    }
    if (op == L"<=") {
        return LessOrEqual;
    }
    if (op == L"==" || op == L"=") {
        return textField ? EqualNoCase : VariantEqual;
    }
    if (op == L">=") {
        return GreaterOrEqual;
    }
    if (op == L">") {
        return Greater;
    }
    if (op == L"!=" || op == L"<>") {
        return NotEqual;
    }
    return nullptr;
}

bool IsQuote(wchar_t ch) {
    return ch == L'\'' || ch == L'"' || ch == 0xFF91;
}

// A constant loses one quote character at each end; the two ends are judged
// independently, so "'abc" and "abc'" both give abc.
CString StripConstant(const CString& text) {
    CString stripped = text;
    if (!stripped.IsEmpty() && IsQuote(stripped[0])) {
        stripped = stripped.Mid(1);
    }
    if (!stripped.IsEmpty() && IsQuote(stripped[stripped.GetLength() - 1])) {
        stripped = stripped.Left(stripped.GetLength() - 1);
    }
    return stripped;
}

// Both "." and "," become the separator of the current locale, so 2.5 and
// 2,5 convert under any locale (a thousands separator is not supported).
void NormaliseDecimal(CString& constant, VARTYPE fieldType) {
    if (fieldType != VT_R4 && fieldType != VT_R8) {
        return;
    }
    const wchar_t separator = CurrentDecimalSeparator();
    constant.Replace(L'.', separator);
    constant.Replace(L',', separator);
}

// The constant as a value of the field's type; false when it does not convert.
bool ConstantValue(CString constant, VARTYPE fieldType, CComVariant& value) {
    NormaliseDecimal(constant, fieldType);
    value = constant;
    return SUCCEEDED(VariantChangeType(&value, &value, 0, fieldType));
}

}  // namespace
}  // namespace korvan

DbFilter::DbFilter() : leftField(-1), rightField(-1), evaluator(nullptr), compare(nullptr) {}

DbFilter::DbFilter(const DbFilter& other) = default;

DbFilter& DbFilter::operator=(const DbFilter& other) = default;

DbFilter::~DbFilter() {
    leftValue.Clear();
    rightValue.Clear();
}

void DbFilter::Evaluate(const DbTableRow& row) {
    if (evaluator == nullptr) {
        m_value = false;
        return;
    }
    (this->*evaluator)(row);
}

void DbFilter::EvalRefOpRef(const DbTableRow& row) {
    using korvan::RowCells;
    m_value = compare != nullptr &&
              compare(RowCells::At(row, static_cast<size_t>(leftField)).GetVariant(),
                      RowCells::At(row, static_cast<size_t>(rightField)).GetVariant());
}

void DbFilter::EvalRefOpVal(const DbTableRow& row) {
    m_value =
        compare != nullptr &&
        compare(korvan::RowCells::At(row, static_cast<size_t>(leftField)).GetVariant(), rightValue);
}

void DbFilter::EvalValOpRef(const DbTableRow& row) {
    m_value =
        compare != nullptr &&
        compare(leftValue, korvan::RowCells::At(row, static_cast<size_t>(rightField)).GetVariant());
}

DbFilter* DbTableDescr::AddFilter(CString left, CString op, CString right) {
    const int leftIndex = GetFieldIndex(left);
    const int rightIndex = GetFieldIndex(right);
    auto typeOf = [this](int index) -> VARTYPE {
        return index >= 0 ? m_fields[static_cast<size_t>(index)]->GetType() : VARTYPE{VT_EMPTY};
    };
    const VARTYPE leftType = typeOf(leftIndex);
    const VARTYPE rightType = typeOf(rightIndex);

    if (leftIndex < 0 && rightIndex < 0) {
        return nullptr;
    }
    auto filter = std::make_unique<DbFilter>();
    if (leftIndex < 0) {
        filter->rightField = rightIndex;
        filter->evaluator = &DbFilter::EvalValOpRef;
        if (!korvan::ConstantValue(korvan::StripConstant(left), rightType, filter->leftValue)) {
            return nullptr;
        }
    } else if (rightIndex < 0) {
        filter->leftField = leftIndex;
        filter->evaluator = &DbFilter::EvalRefOpVal;
        if (!korvan::ConstantValue(korvan::StripConstant(right), leftType, filter->rightValue)) {
            return nullptr;
        }
    } else {
        if (leftType == VT_EMPTY || leftType != rightType) {
            return nullptr;
        }
        filter->leftField = leftIndex;
        filter->rightField = rightIndex;
        filter->evaluator = &DbFilter::EvalRefOpRef;
    }
    const bool textField =
        (leftIndex >= 0 && leftType == VT_BSTR) || (rightIndex >= 0 && rightType == VT_BSTR);
    filter->compare = korvan::Comparison(op, textField);
    m_filters.push_back(filter.release());
    return m_filters.back();
}

void DbTableDescr::ClearFilters() {
    for (DbFilter* filter : m_filters) {
        delete filter;
    }
    m_filters.clear();
}

void DbTableDescr::Evaluate(const DbTableRow& row) {
    for (DbFilter* filter : m_filters) {
        filter->Evaluate(row);
    }
}

void DbTableRow::Evaluate() {
    if (m_descr != nullptr) {
        m_descr->Evaluate(*this);
    }
}
