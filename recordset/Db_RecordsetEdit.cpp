// DbRecordset: the add/edit/update/delete cycle and single field values.
#include <korvan/recordset.h>

#include "model/Db_Exception.h"

#include <climits>
#include <iterator>
#include <vector>

namespace {

LONG Previous(LONG position) {
    return position == INT32_MIN ? position : position - 1;
}

}  // namespace

void DbRecordset::AddNew() {
    CancelUpdate();
    m_editMode = 1;
}

void DbRecordset::Edit() {
    CancelUpdate();
    m_editMode = 2;
}

void DbRecordset::CancelUpdate() {
    m_editMode = 0;
    m_pendingValues.clear();
}

bool DbRecordset::CanUpdate() {
    if (m_database == nullptr || !IsOpen() || m_database->GetSource()->IsReadOnly()) {
        return false;
    }
    DbTableInfo* info = m_database->GetTableInfo(m_tableName);
    if (info == nullptr) {
        return false;
    }
    if (info->type == DbTableInfo::TABLE) {
        return true;
    }
    // A query answer can be changed only where it shows its source's rows.
    DbRows* rows = info->data != nullptr ? info->data->GetRows() : nullptr;
    return rows != nullptr && rows->IsBinded();
}

void DbRecordset::Update() {
    if (!CanUpdate()) {
        KORVAN_THROW("Db_Recordset",
                     L"Read only recordset (or database), cannot be modified (Update operation)");
    }
    if (m_editMode == 1) {
        m_cursor = static_cast<LONG>(m_tableData->AddRow());
    } else if (m_editMode != 2) {
        CancelUpdate();
        return;
    }
    // From here the cursor is a plain row number. In edit mode under an
    // index this writes the row whose number equals the position, not the
    // indexed row at that position: kept as it always was.
    SetCurrentIndex(static_cast<const DbTableDescr::DbIndex*>(nullptr));
    WriteTableRow(m_cursor);
    m_lastModified = m_cursor;
    CancelUpdate();
}

void DbRecordset::Delete() {
    if (!CanUpdate()) {
        KORVAN_THROW("Db_Recordset",
                     L"Read only recordset (or database), cannot be modified (Delete operation)");
    }
    m_editMode = 3;
    const int64_t row = RemapRowIndex(m_cursor);
    const bool exists = row >= 0 && row < static_cast<int64_t>(m_tableData->size());
    if (exists) {
        m_tableData->DeleteRow(static_cast<uint64_t>(row));
        if (const DbTableDescr::DbIndex* index = ActiveIndex()) {
            std::vector<uint64_t>& order = const_cast<DbTableDescr::DbIndex*>(index)->m_rowOrder;
            order.erase(order.begin() + m_cursor);
            for (uint64_t& entry : order) {
                if (entry > static_cast<uint64_t>(row)) {
                    --entry;
                }
            }
        }
    }
    m_cursor = Previous(m_cursor);
    m_editMode = 0;
    // Deliberately in this order: the bookmark of the row before the deleted
    // one goes, and those of the deleted row and later rows move back one.
    for (auto it = m_bookmarks.begin(); it != m_bookmarks.end();) {
        it = it->second == m_cursor ? m_bookmarks.erase(it) : std::next(it);
    }
    for (auto& [id, position] : m_bookmarks) {
        if (position > m_cursor) {
            --position;
        }
    }
}

// ---------------------------------------------------------------------------
// Single field values.

void DbRecordset::GetFieldValue(uint64_t i, CComVariant& value) {
    const DbTableRow* row = IsBOF() || IsEOF() ? nullptr : RowAt(m_cursor);
    if (row == nullptr) {
        KORVAN_THROW("Db_Recordset", L"Out of recordset range");
    }
    if (i >= row->GetFieldCount()) {
        KORVAN_THROW("Db_Recordset", StringBuilder(L"Column '%d' not found in table '%s'",
                                                   static_cast<int>(i), m_tableName.GetString()));
    }
    value = row->GetField(i).GetValue();
}

void DbRecordset::GetFieldValue(CString name, CComVariant& value) {
    const int field = GetFieldIndex(name);
    if (field < 0) {
        KORVAN_THROW("Db_Recordset", StringBuilder(L"Column '%s' not found in table '%s'",
                                                   name.GetString(), m_tableName.GetString()));
    }
    GetFieldValue(static_cast<uint64_t>(field), value);
}

CComVariant DbRecordset::GetFieldValue(CString name) {
    CComVariant value;
    GetFieldValue(name, value);
    return value;
}

void DbRecordset::SetFieldValue(uint64_t i, CComVariant& value) {
    if (m_editMode != 1 && m_editMode != 2) {
        KORVAN_THROW("Db_Recordset", L"SetFieldValue(...) without proper update operation");
    }
    m_pendingValues[i] = value;
}

void DbRecordset::SetFieldValue(CString name, CComVariant& value) {
    // Unlike GetFieldValue, a name that is no field is passed over.
    const int field = GetFieldIndex(name);
    if (field >= 0) {
        SetFieldValue(static_cast<uint64_t>(field), value);
    }
}
