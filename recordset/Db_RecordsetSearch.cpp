// DbRecordset: searching with condition texts and seeking through the
// current index.
#include <korvan/recordset.h>

#include <algorithm>
#include <climits>

#include "query/Db_Analyze.h"
#include "query/Db_Where.h"

namespace {

// The value of a seek key as the right side of a condition: numbers (and
// everything else but text) in their text form with a decimal point; texts
// without one enclosing quote at each end and one pair of square brackets,
// then quoted.
CString ConditionValue(const CComVariant& key) {
    if (key.vt != VT_BSTR) {
        CComVariant text;
        CString value;
        if (SUCCEEDED(VariantChangeType(&text, &key, 0, VT_BSTR)) && text.bstrVal != nullptr) {
            value = text.bstrVal;
        }
        value.Replace(L',', L'.');
        return value;
    }
    CString value(key.bstrVal);
    const auto isQuote = [](wchar_t ch) { return ch == L'\'' || ch == L'"' || ch == 0xFF91; };
    if (!value.IsEmpty() && isQuote(value[0])) {
        value = value.Mid(1);
    }
    if (!value.IsEmpty() && isQuote(value[value.GetLength() - 1])) {
        value = value.Left(value.GetLength() - 1);
    }
    return L"'" + korvan::StripBrackets(value) + L"'";
}

}  // namespace

bool DbRecordset::Find(eFindOperation operation, CString criteria) {
    CancelUpdate();
    switch (operation) {
        case foNext:
            return FindNext(criteria);
        case foPrev:
            return FindPrev(criteria);
        case foFirst:
            return FindFirst(criteria);
        case foLast:
            return FindLast(criteria);
        default:
            return false;
    }
}

bool DbRecordset::FindFirst(CString criteria) {
    CancelUpdate();
    return FindRow(criteria, 0, GetRecordCount(), fdForward);
}

bool DbRecordset::FindNext(CString criteria) {
    CancelUpdate();
    return FindRow(criteria, static_cast<int64_t>(m_cursor) + 1, GetRecordCount(), fdForward);
}

bool DbRecordset::FindPrev(CString criteria) {
    CancelUpdate();
    if (m_cursor < 1) {
        return false;
    }
    return FindRow(criteria, static_cast<int64_t>(m_cursor) - 1, 0, fdBackward);
}

bool DbRecordset::FindLast(CString criteria) {
    CancelUpdate();
    const LONG rows = GetRecordCount();
    if (rows == 0) {
        return false;
    }
    return FindRow(criteria, rows - 1, 0, fdBackward);
}

bool DbRecordset::FindRow(CString criteria, int64_t start, int64_t end, eFindDirection direction) {
    const double begin = korvan::MonotonicSeconds();
    if (m_database == nullptr || !IsOpen()) {
        return false;
    }
    // The filters the analysis attaches to the table go with the condition.
    korvan::TableCondition condition(*m_database, m_tableName, criteria);
    if (!condition.IsUsable()) {
        return false;
    }
    bool found = false;
    // Reading rows into members does not change the current index.
    const DbTableDescr::DbIndex* index = ActiveIndex();
    const auto visit = [&](int64_t position) {
        DbTableRow* row = RowAt(position, index);
        if (row != nullptr && condition.Matches(*row)) {
            m_cursor = static_cast<LONG>(position);
            // A row that cannot be read into the members is passed over.
            found = ReadTableRow(position);
        }
    };
    if (direction == fdForward) {
        // Unsigned, deliberately: a start before the first row finds nothing.
        for (uint64_t p = static_cast<uint64_t>(start); p < static_cast<uint64_t>(end) && !found;
             ++p) {
            visit(static_cast<int64_t>(p));
        }
    } else {
        // Positions past the last row hold nothing to find.
        const int64_t last = std::min<int64_t>(start, GetRecordCount() - 1);
        for (int64_t p = last; p >= end && !found; --p) {
            visit(p);
        }
    }
    m_database->Log(StringBuilder(L"FindRow '%s' processed in %.4f [s]", criteria.GetString(),
                                  korvan::MonotonicSeconds() - begin));
    return found;
}

bool DbRecordset::Seek(CString op, CComVariant* keys) {
    return Seek(op, keys, 1);
}

bool DbRecordset::Seek(CString op, CComVariant* keys, uint64_t count) {
    const DbTableDescr::DbIndex* index = ActiveIndex();
    if (index == nullptr || (keys == nullptr && count > 0)) {
        return false;
    }
    if (op.CompareNoCase(L"=") == 0 || op.CompareNoCase(L"==") == 0) {
        const int keyCount = static_cast<int>(std::min<uint64_t>(count, INT_MAX));
        // A row order built before rows were deleted, or key positions past
        // the row's cells, cannot be searched.
        const uint64_t rows = m_tableData->size();
        if (index->m_rowOrder.size() > rows) {
            return false;
        }
        const DbTableRow* first = rows > 0 ? m_tableData->GetRow(0) : nullptr;
        const size_t used = std::min<size_t>(index->m_fieldPositions.size(), keyCount);
        for (size_t i = 0; i < used && first != nullptr; ++i) {
            if (index->m_fieldPositions[i] >= first->GetFieldCount()) {
                return false;
            }
        }
        uint64_t position = 0;
        if (m_tableData->SpatialIndex(const_cast<DbTableDescr::DbIndex*>(index), keys, keyCount,
                                      position) != DbTableRow::cmpEqual) {
            return false;
        }
        m_cursor = static_cast<LONG>(position);
        return ReadTableRow(m_cursor);
    }
    CString criteria;
    const size_t terms = std::min<uint64_t>(count, index->m_fieldNames.size());
    for (size_t i = 0; i < terms; ++i) {
        if (i > 0) {
            criteria += L" and ";
        }
        criteria += StringBuilder(L"%s %s %s", index->m_fieldNames[i].GetString(), op.GetString(),
                                  ConditionValue(keys[i]).GetString());
    }
    return FindRow(criteria, 0, GetRecordCount(), fdForward);
}
